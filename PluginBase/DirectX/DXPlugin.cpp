#include "PluginBase/DirectX/DXPlugin.h"

#include <algorithm>
#include <span>
#include <utility>

#include "PluginBase/DirectX/AtBorder.h"
#include "PluginBase/DirectX/HostPointer.h"
#include "PluginBase/DirectX/PluginInputPin.h"
#include "hvBase/Util/Text.h"

// The object, its interfaces and its formats. What streams stands in DXPluginStreaming.cpp.

namespace {

constexpr LONG kDefaultBufferSize = 16384;

/// The format of a media type that the plug-in takes.
std::optional<StreamFormat> FormatOf(const CMediaType* pType) {
    if (!pType || *pType->Type() != MEDIATYPE_Audio || *pType->FormatType() != FORMAT_WaveFormatEx) {
        return std::nullopt;
    }
    if (pType->IsTemporalCompressed() || !pType->Format()) return std::nullopt;
    return StreamFormat::Read({pType->Format(), pType->FormatLength()});
}

}  // namespace

CUnknown* WINAPI DXPlugin::CreateInstance(IUnknown* pOuter, HRESULT* phr) {
    DXPlugin* plugin = nullptr;
    const HRESULT hr = AtBorder([&] {
        HRESULT made = S_OK;
        auto owned = std::make_unique<DXPlugin>(pOuter, &made, Util::OpenUserSettings(kSettingsKey));
        if (SUCCEEDED(made)) plugin = owned.release();
        return made;
    });
    if (FAILED(hr)) *phr = hr;
    return plugin;
}

DXPlugin::DXPlugin(IUnknown* pOuter, HRESULT* phr, std::unique_ptr<Util::SettingsStore> settings,
                   ModuleFactory buildModules)
    : Plugin(std::move(settings), buildModules),
      CTransformFilter(TEXT("Halvane Vesca 3"), pOuter, CLSID_DXPlugin),
      m_state(*GetOwner(), *this),
      m_presets(*GetOwner(), *this),
      m_mediaParams(*GetOwner(), *this),
      m_instrument(*GetOwner()) {
    // Made here, and not when the host first asks for a pin, so that a failure is one of construction.
    m_pInput = new CPluginInputPin(*this, phr);
    m_pOutput = new CTransformOutputPin(TEXT("Vesca output"), this, phr, L"Output");
    // Installers look for it to see whether an instance lives.
    m_mutex = CreateMutexA(nullptr, TRUE, Util::Format("%1%2Mutex", "Halvane", "Vesca3").c_str());
}

DXPlugin::~DXPlugin() {
    if (m_mutex) CloseHandle(m_mutex);
}

STDMETHODIMP DXPlugin::NonDelegatingQueryInterface(REFIID iid, void** ppObject) {
    if (iid == IID_IDXPlugin) return GetInterface(static_cast<IDXPlugin*>(this), ppObject);
    if (iid == IID_IPersistStream) return GetInterface(static_cast<IPersistStream*>(&m_state), ppObject);
    if (iid == IID_IDXPluginPresets)
        return GetInterface(static_cast<IDXPluginPresets*>(&m_presets), ppObject);
    if (iid == IID_IMediaParams) return GetInterface(static_cast<IMediaParams*>(&m_mediaParams), ppObject);
    if (iid == IID_IMediaParamInfo) {
        return GetInterface(static_cast<IMediaParamInfo*>(&m_mediaParams), ppObject);
    }
    if (iid == IID_IMediaParamsSetUICallback) {
        return GetInterface(static_cast<IMediaParamsSetUICallback*>(&m_mediaParams), ppObject);
    }
    if (iid == IID_IMfxSoftSynth) return GetInterface(static_cast<IMfxSoftSynth*>(&m_instrument), ppObject);
    return CTransformFilter::NonDelegatingQueryInterface(iid, ppObject);
}

HRESULT DXPlugin::CheckInputType(const CMediaType* pType) {
    return FormatOf(pType) ? S_OK : E_INVALIDARG;
}

HRESULT DXPlugin::CheckTransform(const CMediaType* pInput, const CMediaType* pOutput) {
    const auto input = FormatOf(pInput);
    const auto output = FormatOf(pOutput);
    return input && output && *input == *output ? S_OK : E_INVALIDARG;
}

HRESULT DXPlugin::DecideBufferSize(IMemAllocator* pAllocator, ALLOCATOR_PROPERTIES* pRequest) {
    if (!pAllocator || !pRequest) return E_POINTER;
    if (!m_pInput || !m_pInput->IsConnected()) return E_UNEXPECTED;
    ALLOCATOR_PROPERTIES input{};
    IMemAllocator* const inputAllocator = m_pInput->Allocator();
    if (inputAllocator && SUCCEEDED(inputAllocator->GetProperties(&input)) && input.cbBuffer > 0) {
        pRequest->cbBuffer = input.cbBuffer;
    } else {
        pRequest->cbBuffer = pRequest->cbBuffer > 0 ? pRequest->cbBuffer * 2 : kDefaultBufferSize;
    }
    pRequest->cBuffers = std::max(pRequest->cBuffers, 1L);
    ALLOCATOR_PROPERTIES actual{};
    const HRESULT hr = pAllocator->SetProperties(pRequest, &actual);
    if (FAILED(hr)) return hr;
    return actual.cBuffers < 1 ? E_FAIL : S_OK;
}

HRESULT DXPlugin::GetMediaType(int iPosition, CMediaType* pType) {
    if (!pType) return E_POINTER;
    if (iPosition < 0) return E_INVALIDARG;
    if (!m_pInput || !m_pInput->IsConnected()) return E_UNEXPECTED;
    if (iPosition > 0) return VFW_S_NO_MORE_ITEMS;
    return AtBorder([&] { return m_pInput->ConnectionMediaType(pType); });
}

HRESULT DXPlugin::SetMediaType(PIN_DIRECTION direction, const CMediaType* pType) {
    return AtBorder([&]() -> HRESULT {
        const auto format = FormatOf(pType);
        if (!format) return E_FAIL;
        m_format = *format;
        (direction == PINDIR_INPUT ? m_uInputChannels : m_uOutputChannels) = format->uChannels;
        if (!m_converter.Select(m_format, m_uInputChannels, m_uOutputChannels)) return E_FAIL;

        const std::uint32_t uInput = m_uInputChannels ? m_uInputChannels : m_uOutputChannels;
        const std::uint32_t uOutput = m_uOutputChannels ? m_uOutputChannels : m_uInputChannels;
        auto& transform = GetTransform();
        if (uInput != transform.InputChannels() || uOutput != transform.OutputChannels()) {
            transform.SetChannels(uInput, uOutput);
            PostToEditor(EditorNotifyCode::Refresh);
        }
        return S_OK;
    });
}

HRESULT DXPlugin::CompleteConnect(PIN_DIRECTION direction, IPin* pReceivePin) {
    return AtBorder([&] {
        const HRESULT hr = CTransformFilter::CompleteConnect(direction, pReceivePin);
        if (FAILED(hr) || direction != PINDIR_INPUT || !m_pOutput || !m_pOutput->IsConnected()) return hr;
        // A new input in front of a connected output. Mono in front of stereo is what the conversion spreads;
        // any other difference needs the output connected anew with the input's format.
        StreamFormat input = *FormatOf(&m_pInput->CurrentMediaType());
        const StreamFormat output = *FormatOf(&m_pOutput->CurrentMediaType());
        if (input == output) return hr;
        if (input.uChannels == 1 && output.uChannels == 2) {
            input.uChannels = output.uChannels;
            input.uBlockAlign = output.uBlockAlign;
            if (input == output) return hr;
        }
        return ReconnectPin(m_pOutput, &m_pInput->CurrentMediaType());
    });
}

HRESULT DXPlugin::BreakConnect(PIN_DIRECTION direction) {
    (direction == PINDIR_INPUT ? m_uInputChannels : m_uOutputChannels) = 0;
    return CTransformFilter::BreakConnect(direction);
}

void DXPlugin::NotifyParameterEvent(ParameterGroup group, ParameterPhase phase, Component& component,
                                    std::uint32_t uIndex, const float* fValue, const bool* bValue,
                                    const std::int32_t* nValue) {
    float fHostValue = 0;
    if (fValue) fHostValue = *fValue;
    if (bValue) fHostValue = *bValue ? 1.0f : 0.0f;
    if (nValue) fHostValue = static_cast<float>(*nValue);
    m_mediaParams.Notify(phase, component, group, uIndex, fHostValue);
}
