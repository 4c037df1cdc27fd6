#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "apps/dxhost/PinBase.h"

namespace DxHost {

/// What the source and the sink have in common: a filter with one pin and three states.
///
/// Life:    counted by references, made with one.
/// Threads: state changes on the graph's threads, one at a time under a lock of the filter's own.
class FilterBase : public IBaseFilter {
public:
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_uReferences; }
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP GetClassID(CLSID* clsid) override;
    STDMETHODIMP Stop() override;
    STDMETHODIMP Pause() override;
    STDMETHODIMP Run(REFERENCE_TIME nStart) override;
    STDMETHODIMP GetState(DWORD uMilliseconds, FILTER_STATE* state) override;
    STDMETHODIMP SetSyncSource(IReferenceClock* clock) override;
    STDMETHODIMP GetSyncSource(IReferenceClock** ppClock) override;
    STDMETHODIMP EnumPins(IEnumPins** ppEnum) override;
    STDMETHODIMP FindPin(LPCWSTR id, IPin** ppPin) override;
    STDMETHODIMP QueryFilterInfo(FILTER_INFO* info) override;
    STDMETHODIMP JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override;
    STDMETHODIMP QueryVendorInfo(LPWSTR* info) override;

protected:
    FilterBase() = default;
    virtual ~FilterBase() = default;

    virtual PinBase& Pin() = 0;
    /// Further interfaces of the filter, with a reference; E_NOINTERFACE for one it does not have.
    virtual HRESULT FindInterface(REFIID /*riid*/, void** /*ppv*/) { return E_NOINTERFACE; }
    /// From stopped to paused, and back. From paused to running.
    virtual void OnActivate() = 0;
    virtual void OnDeactivate() = 0;
    virtual void OnRun() {}

    FILTER_STATE State() const noexcept { return m_state; }
    /// The graph that the filter is in; without a reference, since the graph holds the filter.
    IFilterGraph* Graph() const noexcept { return m_graph; }

private:
    std::atomic<ULONG> m_uReferences{1};
    std::mutex m_stateLock;
    std::atomic<FILTER_STATE> m_state{State_Stopped};
    std::atomic<IFilterGraph*> m_graph{nullptr};
    std::wstring m_strName;
    ComPtr<IReferenceClock> m_clock;
};

}  // namespace DxHost
