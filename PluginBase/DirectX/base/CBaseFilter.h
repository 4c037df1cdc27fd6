#pragma once

#include "PluginBase/DirectX/base/CCritSec.h"
#include "PluginBase/DirectX/base/CRefTime.h"
#include "PluginBase/DirectX/base/CUnknown.h"
#include "hvBase/Util/Relaxed.h"

class CBasePin;

/// What every filter does: state, clock, place in the graph, and the enumeration of its pins.
///
/// A derived class says how many pins there are, and which. It owns them: a pin has no count of its own and
/// passes its references on to the filter.
///
/// Threads: the filter lock, given at construction, covers state, clock, graph and connections. Streaming
///          threads never take it. The state may be read on any thread without it.
/// Counts:  the clock is counted; the graph and its event sink are not, since the graph holds the filter.
class CBaseFilter : public CUnknown, public IBaseFilter {
public:
    DECLARE_IUNKNOWN

    CBaseFilter(LPCTSTR pName, LPUNKNOWN pUnk, CCritSec* pLock, REFCLSID clsid);
    CBaseFilter(LPCTSTR pName, LPUNKNOWN pUnk, CCritSec* pLock, REFCLSID clsid, HRESULT* phr);
    ~CBaseFilter() override;

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    // IPersist
    STDMETHODIMP GetClassID(CLSID* pClsID) override;

    // IMediaFilter
    STDMETHODIMP GetState(DWORD dwMSecs, FILTER_STATE* State) override;
    STDMETHODIMP SetSyncSource(IReferenceClock* pClock) override;
    STDMETHODIMP GetSyncSource(IReferenceClock** pClock) override;
    /// Tells every connected pin, decommits with that, and is stopped whatever a pin answers. The answer is
    /// the first failure.
    STDMETHODIMP Stop() override;
    /// From stopped, every connected pin becomes active. A pin's failure is the answer, the pins before it
    /// become inactive again, and the filter stays stopped.
    STDMETHODIMP Pause() override;
    /// From stopped it pauses first. `tStart` is the reference time of stream time 0.
    STDMETHODIMP Run(REFERENCE_TIME tStart) override;

    // IBaseFilter
    STDMETHODIMP EnumPins(IEnumPins** ppEnum) override;
    STDMETHODIMP FindPin(LPCWSTR Id, IPin** ppPin) override;
    STDMETHODIMP QueryFilterInfo(FILTER_INFO* pInfo) override;
    STDMETHODIMP JoinFilterGraph(IFilterGraph* pGraph, LPCWSTR pName) override;
    STDMETHODIMP QueryVendorInfo(LPWSTR* pVendorInfo) override;

    virtual int GetPinCount() = 0;
    /// Pin `n`, 0 and up, not counted; null when there is none.
    virtual CBasePin* GetPin(int n) = 0;

    BOOL IsActive() const { return m_State != State_Stopped; }
    BOOL IsStopped() const { return m_State == State_Stopped; }
    /// The clock's time since Run. VFW_E_NO_CLOCK without a clock.
    virtual HRESULT StreamTime(CRefTime& rtStream);
    /// Sends an event to the graph; of EC_COMPLETE the second parameter becomes this filter. E_NOTIMPL
    /// outside a graph.
    HRESULT NotifyEvent(long EventCode, LONG_PTR EventParam1, LONG_PTR EventParam2);
    /// The graph that holds the filter, not counted, or null.
    IFilterGraph* GetFilterGraph() const { return m_pGraph; }
    /// Asks the graph to connect a pin again, with `pmt` if that is not null. VFW_E_NOT_IN_GRAPH outside one.
    HRESULT ReconnectPin(IPin* pPin, const AM_MEDIA_TYPE* pmt);
    /// Enumerators made before the last increment are out of sync.
    virtual LONG GetPinVersion() { return m_PinVersion; }
    void IncrementPinVersion() { ++m_PinVersion; }

protected:
    // Set-up: written by the constructor only.
    const CLSID m_clsid;
    CCritSec* const m_pLock;

    // State, under the filter lock.
    Util::Relaxed<FILTER_STATE> m_State = State_Stopped;
    IReferenceClock* m_pClock = nullptr;
    CRefTime m_tStart;
    WCHAR m_szName[MAX_FILTER_NAME] = {};
    IFilterGraph* m_pGraph = nullptr;
    IMediaEventSink* m_pSink = nullptr;
    std::atomic<LONG> m_PinVersion = 1;

private:
    /// Calls for each connected pin, in order, until one fails; -1 when none did, else that pin's position.
    template <class Call>
    int ForConnectedPins(int nEnd, HRESULT& result, Call call);
};
