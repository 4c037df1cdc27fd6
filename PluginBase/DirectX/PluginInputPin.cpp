#include "PluginBase/DirectX/PluginInputPin.h"

#include "PluginBase/DirectX/AtBorder.h"
#include "PluginBase/DirectX/DXPlugin.h"

CPluginInputPin::CPluginInputPin(DXPlugin& filter, HRESULT* phr)
    : CTransformInputPin(TEXT("Vesca input"), &filter, phr, L"Input"), m_filter(filter) {}

HRESULT CPluginInputPin::CheckMediaType(const CMediaType* pType) {
    return AtBorder([&] {
        HRESULT hr = m_filter.CheckInputType(pType);
        if (FAILED(hr)) return hr;
        CTransformOutputPin* const output = m_filter.OutputPin();
        if (!output || !output->IsConnected()) return hr;
        hr = m_filter.CheckTransform(pType, &output->CurrentMediaType());
        if (SUCCEEDED(hr)) return hr;
        return output->GetConnected()->QueryAccept(pType) == S_OK ? S_OK : hr;
    });
}
