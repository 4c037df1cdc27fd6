#include "apps/dxhost/SinkFilter.h"

namespace DxHost {

HRESULT SinkFilter::FindInterface(REFIID riid, void** ppv) {
    if (riid != IID_IMediaSeeking && riid != IID_IMediaPosition) return E_NOINTERFACE;
    if (!m_seeking) {
        ComPtr<IUnknown> helper;
        HRESULT hr =
            CoCreateInstance(CLSID_SeekingPassThru, static_cast<IBaseFilter*>(this), CLSCTX_INPROC_SERVER,
                             IID_IUnknown, reinterpret_cast<void**>(helper.GetAddressOf()));
        if (FAILED(hr)) return hr;
        ComPtr<ISeekingPassThru> settings;
        hr = helper.CopyTo(IID_ISeekingPassThru, reinterpret_cast<void**>(settings.GetAddressOf()));
        if (SUCCEEDED(hr)) hr = settings->Init(TRUE, &m_pin);
        if (FAILED(hr)) return hr;
        m_seeking = helper;
    }
    return m_seeking->QueryInterface(riid, ppv);
}

void SinkFilter::OnActivate() {
    {
        const std::lock_guard lock(m_endLock);
        m_bEndOwed = false;
    }
    m_pin.Activate();
}

void SinkFilter::OnRun() {
    const std::lock_guard lock(m_endLock);
    if (m_bEndOwed) TellGraph();
    m_bEndOwed = false;
}

void SinkFilter::OnEnd() {
    const std::lock_guard lock(m_endLock);
    if (State() == State_Running) {
        TellGraph();
    } else {
        m_bEndOwed = true;
    }
}

void SinkFilter::TellGraph() {
    IFilterGraph* const graph = Graph();
    ComPtr<IMediaEventSink> events;
    if (graph && SUCCEEDED(graph->QueryInterface(IID_PPV_ARGS(events.GetAddressOf()))))
        events->Notify(EC_COMPLETE, S_OK, reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this)));
}

}  // namespace DxHost
