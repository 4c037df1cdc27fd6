#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "PluginBase/DirectX/BlockConverter.h"
#include "PluginBase/DirectX/DefaultPreset.h"
#include "PluginBase/DirectX/HostInstrument.h"
#include "PluginBase/DirectX/IDXPlugin.h"
#include "PluginBase/DirectX/MediaParams.h"
#include "PluginBase/DirectX/PersistedState.h"
#include "PluginBase/DirectX/StreamFormat.h"
#include "PluginBase/DirectX/base/streams.h"
#include "PluginBase/Plugin.h"

/// The engine as a DX host sees it: a transform filter with one input and one output pin. It converts the
/// host's interleaved samples to planes and back, delivers the result in pieces that fit the host's buffers,
/// and offers the engine's state, its automation and the transport as interfaces.
///
/// Threads:   Receive, EndOfStream and delivery on the host's streaming thread, under the platform's receive
///            lock. Formats, streaming, state and automation on the host's control thread, formats under the
///            platform's filter lock. The editor's thread sets parameters.
/// Real time: a block allocates only if it is longer than every block before; delivery waits for a buffer of
///            the host's.
/// Failures:  every operation answers with an HRESULT; nothing is thrown past it.
class DXPlugin final : public Plugin, public CTransformFilter, public IDXPlugin {
public:
    /// For the class factory. Gives null and a code in *phr when the object can't be made.
    static CUnknown* WINAPI CreateInstance(IUnknown* pOuter, HRESULT* phr);

    DXPlugin(IUnknown* pOuter, HRESULT* phr, std::unique_ptr<Util::SettingsStore> settings,
             ModuleFactory buildModules = &BuildModules);
    ~DXPlugin() override;

    /// The object behind its marker interface.
    static DXPlugin& FromInterface(IDXPlugin& marker) { return static_cast<DXPlugin&>(marker); }

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID iid, void** ppObject) override;

    /// The thread of the editor while one lives, 0 otherwise: the host hears of nothing from other threads.
    void SetUiThread(std::uint32_t uThread) { m_mediaParams.SetUiThread(uThread); }

    /// Where the host's transport stands, 100 ns, while it runs.
    const HostInstrument& Instrument() const { return m_instrument; }

    /// The output pin, or null while the filter is being made.
    CTransformOutputPin* OutputPin() const { return m_pOutput; }

    /// Frames since streaming started, the tail included. A discontinuity with a time sets the first to where
    /// that time stands in the stream, and the second, which counts what is to be delivered from there, to 0.
    std::uint64_t FramesReceived() const { return m_uFramesReceived; }
    std::uint64_t FramesDelivered() const { return m_uFramesDelivered; }

    // CTransformFilter, formats -----------------------------------------------------------------------

    HRESULT CheckInputType(const CMediaType* pType) override;
    /// Input and output agree in everything that counts.
    HRESULT CheckTransform(const CMediaType* pInput, const CMediaType* pOutput) override;
    HRESULT DecideBufferSize(IMemAllocator* pAllocator, ALLOCATOR_PROPERTIES* pRequest) override;
    HRESULT GetMediaType(int iPosition, CMediaType* pType) override;
    HRESULT SetMediaType(PIN_DIRECTION direction, const CMediaType* pType) override;
    HRESULT CompleteConnect(PIN_DIRECTION direction, IPin* pReceivePin) override;
    HRESULT BreakConnect(PIN_DIRECTION direction) override;

    // CTransformFilter, streaming ---------------------------------------------------------------------

    HRESULT Receive(IMediaSample* pSample) override;
    HRESULT StartStreaming() override;
    HRESULT StopStreaming() override;
    HRESULT EndOfStream() override;
    /// What was flushed must not sound again: the chain forgets its audio.
    HRESULT EndFlush() override;

    // Plugin ------------------------------------------------------------------------------------------

    void NotifyParameterEvent(ParameterGroup group, ParameterPhase phase, Component& component,
                              std::uint32_t uIndex, const float* fValue, const bool* bValue,
                              const std::int32_t* nValue) override;

private:
    /// A property of a sample that is copied from the input to the output; nothing if the host did not tell.
    using SampleFlag = std::optional<bool>;

    HRESULT ReceiveSample(IMediaSample& sample);
    void CountDiscontinuity(IMediaSample& sample);
    void ReadTimes(IMediaSample& sample);
    /// The time of the next block's first frame, 100 ns.
    std::int64_t StreamPosition() const;
    void CountFrames(std::uint32_t uFrames);
    HRESULT ProcessFrames(std::uint32_t uFrames, const void* host);
    HRESULT Deliver(std::uint32_t uFrom, std::uint32_t uFrames);
    HRESULT DeliverPiece(std::uint32_t uFrom, std::uint32_t uFrames, std::uint32_t& uDelivered);
    void StampPiece(IMediaSample& sample, std::uint32_t uFrames);
    HRESULT DeliverTail();

    // Set-up: written while nothing streams.
    StreamFormat m_format;               ///< of the last connection; its channels are the two below
    std::uint32_t m_uInputChannels = 0;  ///< 0: not connected
    std::uint32_t m_uOutputChannels = 0;
    BlockConverter m_converter;
    HANDLE m_mutex = nullptr;

    // State of the stream, on the streaming thread.
    std::int64_t m_nBlockStart = 0;  ///< of the next delivery, 100 ns
    std::int64_t m_nBlockEnd = 0;
    bool m_bHasTime = false;
    std::int64_t m_nMediaStart = 0;  ///< of the next delivery, frames
    std::int64_t m_nMediaEnd = 0;
    bool m_bHasMediaTime = false;
    SampleFlag m_syncPoint;
    SampleFlag m_preroll;
    SampleFlag m_discontinuity;
    Util::Relaxed<std::uint64_t> m_uFramesReceived = 0;
    Util::Relaxed<std::uint64_t> m_uFramesDelivered = 0;

    // The other interfaces of the filter.
    PersistedState m_state;
    DefaultPreset m_presets;
    MediaParams m_mediaParams;
    HostInstrument m_instrument;
};
