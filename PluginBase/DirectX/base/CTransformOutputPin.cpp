#include "PluginBase/DirectX/base/CTransformOutputPin.h"

#include "PluginBase/DirectX/base/CTransformInputPin.h"

CTransformOutputPin::CTransformOutputPin(LPCTSTR pObjectName, CTransformFilter* pTransformFilter,
                                         HRESULT* phr, LPCWSTR pName)
    : CBaseOutputPin(pObjectName, pTransformFilter, &pTransformFilter->m_csFilter, phr, pName),
      m_pTransformFilter(pTransformFilter) {}

CTransformOutputPin::~CTransformOutputPin() {
    if (m_pPosition != nullptr) m_pPosition->Release();
}

STDMETHODIMP CTransformOutputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid != IID_IMediaSeeking && riid != IID_IMediaPosition)
        return CBaseOutputPin::NonDelegatingQueryInterface(riid, ppv);
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    const CAutoLock lock(&m_csPosition);
    if (m_pPosition == nullptr) {
        const HRESULT hr = CreatePassThrough();
        if (FAILED(hr)) return hr;
    }
    return m_pPosition->QueryInterface(riid, ppv);
}

HRESULT CTransformOutputPin::CreatePassThrough() {
    IPin* pInput = m_pTransformFilter->GetPin(0);
    if (pInput == nullptr) return E_OUTOFMEMORY;
    void* pNew = nullptr;
    HRESULT hr =
        CoCreateInstance(CLSID_SeekingPassThru, GetOwner(), CLSCTX_INPROC_SERVER, IID_IUnknown, &pNew);
    if (FAILED(hr)) return hr;
    auto* pInner = static_cast<IUnknown*>(pNew);
    void* pInterface = nullptr;
    hr = pInner->QueryInterface(IID_ISeekingPassThru, &pInterface);
    if (SUCCEEDED(hr)) {
        auto* pPassThrough = static_cast<ISeekingPassThru*>(pInterface);
        hr = pPassThrough->Init(FALSE, pInput);
        pPassThrough->Release();
    }
    if (FAILED(hr))
        pInner->Release();
    else
        m_pPosition = pInner;
    return hr;
}

STDMETHODIMP CTransformOutputPin::QueryId(LPWSTR* Id) {
    return CopyToTaskMemory(L"Out", Id);
}

STDMETHODIMP CTransformOutputPin::Notify(IBaseFilter*, Quality q) {
    const HRESULT hr = m_pTransformFilter->AlterQuality(q);
    return hr != S_FALSE ? hr : m_pTransformFilter->m_pInput->PassNotify(q);
}

HRESULT CTransformOutputPin::CheckConnect(IPin* pPin) {
    if (!InputConnected()) return E_UNEXPECTED;
    const HRESULT hr = m_pTransformFilter->CheckConnect(PINDIR_OUTPUT, pPin);
    return FAILED(hr) ? hr : CBaseOutputPin::CheckConnect(pPin);
}

HRESULT CTransformOutputPin::BreakConnect() {
    m_pTransformFilter->BreakConnect(PINDIR_OUTPUT);
    return CBaseOutputPin::BreakConnect();
}

HRESULT CTransformOutputPin::CompleteConnect(IPin* pReceivePin) {
    const HRESULT hr = m_pTransformFilter->CompleteConnect(PINDIR_OUTPUT, pReceivePin);
    return FAILED(hr) ? hr : CBaseOutputPin::CompleteConnect(pReceivePin);
}

HRESULT CTransformOutputPin::CheckMediaType(const CMediaType* mtOut) {
    if (!InputConnected()) return E_INVALIDARG;
    return m_pTransformFilter->CheckTransform(&m_pTransformFilter->m_pInput->CurrentMediaType(), mtOut);
}

HRESULT CTransformOutputPin::SetMediaType(const CMediaType* pmt) {
    const HRESULT hr = CBasePin::SetMediaType(pmt);
    return FAILED(hr) ? hr : m_pTransformFilter->SetMediaType(PINDIR_OUTPUT, pmt);
}

HRESULT CTransformOutputPin::DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProp) {
    return m_pTransformFilter->DecideBufferSize(pAlloc, pProp);
}

HRESULT CTransformOutputPin::GetMediaType(int iPosition, CMediaType* pMediaType) {
    if (iPosition < 0) return E_INVALIDARG;
    return InputConnected() ? m_pTransformFilter->GetMediaType(iPosition, pMediaType) : VFW_S_NO_MORE_ITEMS;
}

bool CTransformOutputPin::InputConnected() const {
    return m_pTransformFilter->m_pInput != nullptr && m_pTransformFilter->m_pInput->IsConnected();
}
