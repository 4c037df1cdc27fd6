#include "PluginBase/DirectX/base/CBaseFilter.h"

#include <new>

#include "PluginBase/DirectX/base/CBasePin.h"
#include "PluginBase/DirectX/base/CEnumPins.h"

CBaseFilter::CBaseFilter(LPCTSTR pName, LPUNKNOWN pUnk, CCritSec* pLock, REFCLSID clsid)
    : CUnknown(pName, pUnk), m_clsid(clsid), m_pLock(pLock) {}

CBaseFilter::CBaseFilter(LPCTSTR pName, LPUNKNOWN pUnk, CCritSec* pLock, REFCLSID clsid, HRESULT*)
    : CBaseFilter(pName, pUnk, pLock, clsid) {}

CBaseFilter::~CBaseFilter() {
    if (m_pClock != nullptr) m_pClock->Release();
}

STDMETHODIMP CBaseFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IBaseFilter || riid == IID_IMediaFilter || riid == IID_IPersist)
        return GetInterface(static_cast<IBaseFilter*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CBaseFilter::GetClassID(CLSID* pClsID) {
    if (pClsID == nullptr) return E_POINTER;
    *pClsID = m_clsid;
    return NOERROR;
}

STDMETHODIMP CBaseFilter::GetState(DWORD, FILTER_STATE* State) {
    if (State == nullptr) return E_POINTER;
    *State = m_State;
    return S_OK;
}

STDMETHODIMP CBaseFilter::SetSyncSource(IReferenceClock* pClock) {
    const CAutoLock lock(m_pLock);
    if (pClock != nullptr) pClock->AddRef();
    if (m_pClock != nullptr) m_pClock->Release();
    m_pClock = pClock;
    return NOERROR;
}

STDMETHODIMP CBaseFilter::GetSyncSource(IReferenceClock** pClock) {
    if (pClock == nullptr) return E_POINTER;
    const CAutoLock lock(m_pLock);
    if (m_pClock != nullptr) m_pClock->AddRef();
    *pClock = m_pClock;
    return NOERROR;
}

template <class Call>
int CBaseFilter::ForConnectedPins(int nEnd, HRESULT& result, Call call) {
    for (int i = 0; i < nEnd; ++i) {
        CBasePin* pPin = GetPin(i);
        if (pPin == nullptr || !pPin->IsConnected()) continue;
        result = call(*pPin);
        if (FAILED(result)) return i;
    }
    return -1;
}

STDMETHODIMP CBaseFilter::Stop() {
    const CAutoLock lock(m_pLock);
    HRESULT firstFailure = NOERROR;
    if (m_State != State_Stopped) {
        HRESULT ignored = NOERROR;
        ForConnectedPins(GetPinCount(), ignored, [&](CBasePin& pin) {
            const HRESULT hr = pin.Inactive();
            if (FAILED(hr) && SUCCEEDED(firstFailure)) firstFailure = hr;
            return NOERROR;
        });
    }
    m_State = State_Stopped;
    return firstFailure;
}

STDMETHODIMP CBaseFilter::Pause() {
    const CAutoLock lock(m_pLock);
    if (m_State == State_Stopped) {
        HRESULT hr = NOERROR;
        const int iFailed = ForConnectedPins(GetPinCount(), hr, [](CBasePin& pin) { return pin.Active(); });
        if (iFailed >= 0) {
            HRESULT ignored = NOERROR;
            ForConnectedPins(iFailed, ignored, [](CBasePin& pin) {
                pin.Inactive();
                return NOERROR;
            });
            return hr;
        }
    }
    m_State = State_Paused;
    return NOERROR;
}

STDMETHODIMP CBaseFilter::Run(REFERENCE_TIME tStart) {
    const CAutoLock lock(m_pLock);
    m_tStart = tStart;
    if (m_State == State_Stopped) {
        const HRESULT hr = Pause();
        if (FAILED(hr)) return hr;
    }
    if (m_State != State_Running) {
        HRESULT hr = NOERROR;
        if (ForConnectedPins(GetPinCount(), hr, [&](CBasePin& pin) { return pin.Run(tStart); }) >= 0)
            return hr;
    }
    m_State = State_Running;
    return NOERROR;
}

STDMETHODIMP CBaseFilter::EnumPins(IEnumPins** ppEnum) {
    if (ppEnum == nullptr) return E_POINTER;
    *ppEnum = new (std::nothrow) CEnumPins(this, nullptr);
    return *ppEnum != nullptr ? NOERROR : E_OUTOFMEMORY;
}

STDMETHODIMP CBaseFilter::FindPin(LPCWSTR Id, IPin** ppPin) {
    if (Id == nullptr || ppPin == nullptr) return E_POINTER;
    const CAutoLock lock(m_pLock);
    for (int i = 0; i < GetPinCount(); ++i) {
        CBasePin* pPin = GetPin(i);
        if (pPin != nullptr && lstrcmpW(pPin->Name(), Id) == 0) {
            pPin->AddRef();
            *ppPin = pPin;
            return S_OK;
        }
    }
    *ppPin = nullptr;
    return VFW_E_NOT_FOUND;
}

STDMETHODIMP CBaseFilter::QueryFilterInfo(FILTER_INFO* pInfo) {
    if (pInfo == nullptr) return E_POINTER;
    const CAutoLock lock(m_pLock);
    lstrcpynW(pInfo->achName, m_szName, MAX_FILTER_NAME);
    pInfo->pGraph = m_pGraph;
    if (m_pGraph != nullptr) m_pGraph->AddRef();
    return NOERROR;
}

STDMETHODIMP CBaseFilter::JoinFilterGraph(IFilterGraph* pGraph, LPCWSTR pName) {
    const CAutoLock lock(m_pLock);
    m_pGraph = pGraph;
    m_pSink = nullptr;
    if (pGraph != nullptr) {
        void* pSink = nullptr;
        if (SUCCEEDED(pGraph->QueryInterface(IID_IMediaEventSink, &pSink))) {
            m_pSink = static_cast<IMediaEventSink*>(pSink);
            // The graph holds this filter: a counted reference would keep both alive for ever.
            m_pSink->Release();
        }
    }
    lstrcpynW(m_szName, pName != nullptr ? pName : L"", MAX_FILTER_NAME);
    return NOERROR;
}

STDMETHODIMP CBaseFilter::QueryVendorInfo(LPWSTR*) {
    return E_NOTIMPL;
}

HRESULT CBaseFilter::StreamTime(CRefTime& rtStream) {
    const CAutoLock lock(m_pLock);
    if (m_pClock == nullptr) return VFW_E_NO_CLOCK;
    const HRESULT hr = m_pClock->GetTime(&rtStream.m_time);
    if (FAILED(hr)) return hr;
    rtStream -= m_tStart;
    return S_OK;
}

HRESULT CBaseFilter::NotifyEvent(long EventCode, LONG_PTR EventParam1, LONG_PTR EventParam2) {
    // Without the lock, since streaming threads call: the graph lets a filter go only after stopping it.
    IMediaEventSink* pSink = m_pSink;
    if (pSink == nullptr) return E_NOTIMPL;
    if (EventCode == EC_COMPLETE) EventParam2 = reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this));
    return pSink->Notify(EventCode, EventParam1, EventParam2);
}

HRESULT CBaseFilter::ReconnectPin(IPin* pPin, const AM_MEDIA_TYPE* pmt) {
    if (m_pGraph == nullptr) return VFW_E_NOT_IN_GRAPH;
    void* pGraph2 = nullptr;
    if (FAILED(m_pGraph->QueryInterface(IID_IFilterGraph2, &pGraph2))) return m_pGraph->Reconnect(pPin);
    auto* pFilterGraph2 = static_cast<IFilterGraph2*>(pGraph2);
    const HRESULT hr = pFilterGraph2->ReconnectEx(pPin, pmt);
    pFilterGraph2->Release();
    return hr;
}
