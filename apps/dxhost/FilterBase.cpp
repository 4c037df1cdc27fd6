#include "apps/dxhost/FilterBase.h"

#include <algorithm>

#include "apps/dxhost/Enumerator.h"

namespace DxHost {

STDMETHODIMP FilterBase::QueryInterface(REFIID riid, void** ppv) {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    if (riid != IID_IUnknown && riid != IID_IPersist && riid != IID_IMediaFilter && riid != IID_IBaseFilter)
        return FindInterface(riid, ppv);
    *ppv = static_cast<IBaseFilter*>(this);
    AddRef();
    return S_OK;
}

STDMETHODIMP_(ULONG) FilterBase::Release() {
    const ULONG uLeft = --m_uReferences;
    if (uLeft == 0) delete this;
    return uLeft;
}

STDMETHODIMP FilterBase::GetClassID(CLSID* clsid) {
    if (!clsid) return E_POINTER;
    *clsid = GUID_NULL;
    return E_NOTIMPL;
}

STDMETHODIMP FilterBase::Stop() {
    const std::lock_guard lock(m_stateLock);
    if (m_state.exchange(State_Stopped) != State_Stopped) OnDeactivate();
    return S_OK;
}

STDMETHODIMP FilterBase::Pause() {
    const std::lock_guard lock(m_stateLock);
    if (m_state.exchange(State_Paused) == State_Stopped) OnActivate();
    return S_OK;
}

STDMETHODIMP FilterBase::Run(REFERENCE_TIME /*nStart*/) {
    const std::lock_guard lock(m_stateLock);
    const FILTER_STATE before = m_state.exchange(State_Running);
    if (before == State_Stopped) OnActivate();
    if (before != State_Running) OnRun();
    return S_OK;
}

STDMETHODIMP FilterBase::GetState(DWORD /*uMilliseconds*/, FILTER_STATE* state) {
    if (!state) return E_POINTER;
    *state = m_state;
    return S_OK;
}

STDMETHODIMP FilterBase::SetSyncSource(IReferenceClock* clock) {
    m_clock = clock;
    return S_OK;
}

STDMETHODIMP FilterBase::GetSyncSource(IReferenceClock** ppClock) {
    if (!ppClock) return E_POINTER;
    *ppClock = nullptr;
    return m_clock ? m_clock.CopyTo(ppClock) : S_OK;
}

STDMETHODIMP FilterBase::EnumPins(IEnumPins** ppEnum) {
    if (!ppEnum) return E_POINTER;
    *ppEnum = new PinEnumerator({ComPtr<IPin>(&Pin())});
    return S_OK;
}

STDMETHODIMP FilterBase::FindPin(LPCWSTR id, IPin** ppPin) {
    if (!id || !ppPin) return E_POINTER;
    *ppPin = nullptr;
    if (Pin().Name() != id) return VFW_E_NOT_FOUND;
    *ppPin = &Pin();
    AddRef();
    return S_OK;
}

STDMETHODIMP FilterBase::QueryFilterInfo(FILTER_INFO* info) {
    if (!info) return E_POINTER;
    const std::size_t uLength = std::min<std::size_t>(m_strName.size(), std::size(info->achName) - 1);
    std::copy_n(m_strName.begin(), uLength, info->achName);
    info->achName[uLength] = 0;
    info->pGraph = m_graph;
    if (info->pGraph) info->pGraph->AddRef();
    return S_OK;
}

STDMETHODIMP FilterBase::JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) {
    m_graph = graph;
    m_strName = name ? name : L"";
    return S_OK;
}

STDMETHODIMP FilterBase::QueryVendorInfo(LPWSTR* /*info*/) {
    return E_NOTIMPL;
}

}  // namespace DxHost
