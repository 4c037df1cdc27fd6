#include "apps/dxhost/GraphDriver.h"

namespace DxHost {

namespace {

/// A stream that takes longer hangs.
constexpr std::uint32_t kPatience = 60'000;

}  // namespace

ComPtr<IPin> FindPin(IBaseFilter* filter, PIN_DIRECTION direction) {
    ComPtr<IEnumPins> pins;
    Check(filter->EnumPins(pins.GetAddressOf()), "EnumPins");
    ComPtr<IPin> pin;
    while (pins->Next(1, pin.ReleaseAndGetAddressOf(), nullptr) == S_OK) {
        PIN_DIRECTION its = PINDIR_INPUT;
        Check(pin->QueryDirection(&its), "QueryDirection");
        if (its == direction) return pin;
    }
    return nullptr;
}

GraphDriver::GraphDriver(IBaseFilter* transform) {
    Check(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER,
                           IID_PPV_ARGS(m_graph.GetAddressOf())),
          "can't make a filter graph");
    m_control = Query<IMediaControl>(m_graph.Get(), "IMediaControl");
    // The compiler's headers tie no identifier to this interface.
    Check(m_graph.CopyTo(IID_IMediaEvent, reinterpret_cast<void**>(m_events.GetAddressOf())), "IMediaEvent");
    Check(m_graph->AddFilter(m_source.Get(), L"Source"), "AddFilter for the source");
    if (transform) {
        Check(m_graph->AddFilter(transform, L"Transform"), "AddFilter for the transform");
        m_transformIn = FindPin(transform, PINDIR_INPUT);
        m_transformOut = FindPin(transform, PINDIR_OUTPUT);
        if (!m_transformIn || !m_transformOut) throw Failure(E_FAIL, "the transform has not both pins");
    }
    Check(m_graph->AddFilter(m_sink.Get(), L"Sink"), "AddFilter for the sink");
    Check(Query<IMediaFilter>(m_graph.Get(), "IMediaFilter")->SetSyncSource(nullptr), "SetSyncSource");
}

GraphDriver::~GraphDriver() {
    m_control->Stop();
}

void GraphDriver::Attach(IPin* output, IPin* input) {
    Check(m_graph->ConnectDirect(output, input, nullptr), "ConnectDirect");
}

void GraphDriver::Detach(IPin* output, IPin* input) {
    Check(m_graph->Disconnect(output), "Disconnect of an output");
    Check(m_graph->Disconnect(input), "Disconnect of an input");
}

void GraphDriver::Disconnect() {
    Stop();
    if (m_transformIn) {
        Detach(m_transformOut.Get(), &m_sink->Input());
        Detach(&m_source->Output(), m_transformIn.Get());
    } else {
        Detach(&m_source->Output(), &m_sink->Input());
    }
}

void GraphDriver::Connect(const SourcePlan& plan) {
    Disconnect();
    m_source->SetPlan(plan);
    m_sink->Input().Clear();
    if (m_transformIn) {
        Attach(&m_source->Output(), m_transformIn.Get());
        Attach(m_transformOut.Get(), &m_sink->Input());
    } else {
        Attach(&m_source->Output(), &m_sink->Input());
    }
}

void GraphDriver::ConnectMonoToStereo(const SourcePlan& plan) {
    SourcePlan stereo = plan;
    stereo.sound.format.uChannels = 2;
    Connect(stereo);
    Detach(&m_source->Output(), m_transformIn.Get());
    m_source->SetPlan(plan);
    Attach(&m_source->Output(), m_transformIn.Get());
}

void GraphDriver::Pause() {
    Check(m_control->Pause(), "Pause");
}

void GraphDriver::Run() {
    Check(m_control->Run(), "Run");
}

void GraphDriver::Stop() {
    Check(m_control->Stop(), "Stop");
}

void GraphDriver::Seek(std::int64_t nTime) {
    LONGLONG nCurrent = nTime;
    Check(Query<IMediaSeeking>(m_graph.Get(), "IMediaSeeking")
              ->SetPositions(&nCurrent, AM_SEEKING_AbsolutePositioning, nullptr, AM_SEEKING_NoPositioning),
          "SetPositions");
}

bool GraphDriver::WaitForComplete(std::uint32_t uMilliseconds) {
    // The graph's own wait for completion may answer for an earlier run; its events do not.
    const ULONGLONG uEnd = GetTickCount64() + uMilliseconds;
    for (;;) {
        const ULONGLONG uNow = GetTickCount64();
        if (uNow >= uEnd) return false;
        long nCode = 0;
        LONG_PTR nFirst = 0;
        LONG_PTR nSecond = 0;
        const HRESULT hr = m_events->GetEvent(&nCode, &nFirst, &nSecond, static_cast<long>(uEnd - uNow));
        if (hr == E_ABORT) {
            // Some graphs give up at once when they have just handed out their last event.
            Sleep(1);
            continue;
        }
        Check(hr, "GetEvent");
        const auto hrStream = static_cast<HRESULT>(nFirst);
        m_events->FreeEventParams(nCode, nFirst, nSecond);
        if (nCode == EC_COMPLETE) return true;
        if (nCode == EC_ERRORABORT) throw Failure(hrStream, "the stream broke");
    }
}

std::vector<std::uint8_t> GraphDriver::Play() {
    m_sink->Input().Clear();
    Run();
    const bool bComplete = WaitForComplete(kPatience);
    Stop();
    if (!bComplete) throw Failure(E_ABORT, "the stream did not end");
    return m_sink->Input().Bytes();
}

}  // namespace DxHost
