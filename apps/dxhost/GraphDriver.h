#pragma once

#include <cstdint>

#include "apps/dxhost/SinkFilter.h"
#include "apps/dxhost/SourceFilter.h"

namespace DxHost {

/// A filter graph of the platform with a source, a transform and a sink in it, and the calls of a host that
/// plays it. Without a transform the source is connected to the sink.
///
/// Threads: the control thread's. The graph runs without a clock, as fast as it goes.
class GraphDriver {
public:
    explicit GraphDriver(IBaseFilter* transform = nullptr);
    ~GraphDriver();
    GraphDriver(const GraphDriver&) = delete;
    GraphDriver& operator=(const GraphDriver&) = delete;

    SourceFilter& Source() noexcept { return *m_source.Get(); }
    SinkFilter& Sink() noexcept { return *m_sink.Get(); }
    SinkPin& Arrived() noexcept { return m_sink->Input(); }
    IPin* TransformInput() noexcept { return m_transformIn.Get(); }
    IPin* TransformOutput() noexcept { return m_transformOut.Get(); }

    /// Connects everything anew for a plan: the source with the transform first, then that with the sink.
    void Connect(const SourcePlan& plan);
    /// The same for a mono plan, with a stereo output: all is connected in stereo, and then the source in
    /// mono.
    void ConnectMonoToStereo(const SourcePlan& plan);
    void Disconnect();

    void Pause();
    void Run();
    void Stop();
    /// Moves to a time of the file in 100 ns units through the graph's own seeking, in any state.
    void Seek(std::int64_t nTime);
    /// Waits until the running graph says that the stream is complete. False after the milliseconds; throws a
    /// Failure when the graph says that the stream broke.
    bool WaitForComplete(std::uint32_t uMilliseconds);

    /// The whole stream: run, complete, stop. Gives the bytes that arrived. Throws a Failure if it does not
    /// end within a minute.
    std::vector<std::uint8_t> Play();

private:
    void Attach(IPin* output, IPin* input);
    void Detach(IPin* output, IPin* input);

    ComPtr<SourceFilter> m_source = Make<SourceFilter>();
    ComPtr<SinkFilter> m_sink = Make<SinkFilter>();
    ComPtr<IGraphBuilder> m_graph;
    ComPtr<IMediaControl> m_control;
    ComPtr<IMediaEvent> m_events;
    ComPtr<IPin> m_transformIn;
    ComPtr<IPin> m_transformOut;
};

/// The first pin of a filter with a direction; null if there is none.
ComPtr<IPin> FindPin(IBaseFilter* filter, PIN_DIRECTION direction);

}  // namespace DxHost
