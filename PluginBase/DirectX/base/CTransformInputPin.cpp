#include "PluginBase/DirectX/base/CTransformInputPin.h"

#include "PluginBase/DirectX/base/CTransformOutputPin.h"

CTransformInputPin::CTransformInputPin(LPCTSTR pObjectName, CTransformFilter* pTransformFilter, HRESULT* phr,
                                       LPCWSTR pName)
    : CBaseInputPin(pObjectName, pTransformFilter, &pTransformFilter->m_csFilter, phr, pName),
      m_pTransformFilter(pTransformFilter) {}

STDMETHODIMP CTransformInputPin::QueryId(LPWSTR* Id) {
    return CopyToTaskMemory(L"In", Id);
}

STDMETHODIMP CTransformInputPin::EndOfStream() {
    const CAutoLock receiveLock(&m_pTransformFilter->m_csReceive);
    const HRESULT hr = CheckStreaming();
    return hr == S_OK ? m_pTransformFilter->EndOfStream() : hr;
}

STDMETHODIMP CTransformInputPin::BeginFlush() {
    const CAutoLock filterLock(&m_pTransformFilter->m_csFilter);
    if (!m_pTransformFilter->BothConnected()) return VFW_E_NOT_CONNECTED;
    const HRESULT hr = CBaseInputPin::BeginFlush();
    return FAILED(hr) ? hr : m_pTransformFilter->BeginFlush();
}

STDMETHODIMP CTransformInputPin::EndFlush() {
    const CAutoLock filterLock(&m_pTransformFilter->m_csFilter);
    if (!m_pTransformFilter->BothConnected()) return VFW_E_NOT_CONNECTED;
    // Downstream first: nothing may come through here before it is ready.
    const HRESULT hr = m_pTransformFilter->EndFlush();
    return FAILED(hr) ? hr : CBaseInputPin::EndFlush();
}

STDMETHODIMP CTransformInputPin::NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) {
    const CAutoLock receiveLock(&m_pTransformFilter->m_csReceive);
    CBasePin::NewSegment(tStart, tStop, dRate);
    if (!m_pTransformFilter->BothConnected()) return VFW_E_NOT_CONNECTED;
    return m_pTransformFilter->NewSegment(tStart, tStop, dRate);
}

STDMETHODIMP CTransformInputPin::Receive(IMediaSample* pSample) {
    const CAutoLock receiveLock(&m_pTransformFilter->m_csReceive);
    const HRESULT hr = CBaseInputPin::Receive(pSample);
    return hr == S_OK ? m_pTransformFilter->Receive(pSample) : hr;
}

HRESULT CTransformInputPin::CheckConnect(IPin* pPin) {
    const HRESULT hr = m_pTransformFilter->CheckConnect(PINDIR_INPUT, pPin);
    return FAILED(hr) ? hr : CBaseInputPin::CheckConnect(pPin);
}

HRESULT CTransformInputPin::BreakConnect() {
    m_pTransformFilter->BreakConnect(PINDIR_INPUT);
    return CBaseInputPin::BreakConnect();
}

HRESULT CTransformInputPin::CompleteConnect(IPin* pReceivePin) {
    const HRESULT hr = m_pTransformFilter->CompleteConnect(PINDIR_INPUT, pReceivePin);
    return FAILED(hr) ? hr : CBaseInputPin::CompleteConnect(pReceivePin);
}

HRESULT CTransformInputPin::CheckMediaType(const CMediaType* mtIn) {
    const HRESULT hr = m_pTransformFilter->CheckInputType(mtIn);
    if (hr != S_OK) return hr;
    CTransformOutputPin* pOutput = m_pTransformFilter->m_pOutput;
    if (pOutput == nullptr || !pOutput->IsConnected()) return S_OK;
    return m_pTransformFilter->CheckTransform(mtIn, &pOutput->CurrentMediaType());
}

HRESULT CTransformInputPin::SetMediaType(const CMediaType* mt) {
    const HRESULT hr = CBasePin::SetMediaType(mt);
    return FAILED(hr) ? hr : m_pTransformFilter->SetMediaType(PINDIR_INPUT, mt);
}

HRESULT CTransformInputPin::CheckStreaming() {
    CTransformOutputPin* pOutput = m_pTransformFilter->m_pOutput;
    if (pOutput == nullptr || !pOutput->IsConnected()) return VFW_E_NOT_CONNECTED;
    return CBaseInputPin::CheckStreaming();
}
