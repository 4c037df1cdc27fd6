#pragma once

#include <cstdint>
#include <vector>

#include "PluginBase/Component.h"
#include "PluginBase/DenormalGuard.h"
#include "PluginBase/Global.h"

class Plugin;

/// Everything of the chain that does not depend on which modules exist: the entry of a block, bypass and its
/// automation, the mono fold, the trimming of the system delay, rate changes, pending updates.
///
/// Threads:   Run and Flush on the host's streaming thread. Reconfigure and ResetStreams on the host's
/// control
///            thread while nothing streams, or inside Run. The Request operations, ResetAll and the queries
///            anywhere.
/// Real time: Run allocates only for a block longer than every block before.
/// Damage:    a NaN, an infinity or a magnitude of 2^40 and more enters the chain as silence. A bypassed
/// chain
///            copies it.
class TransformBase {
public:
    explicit TransformBase(Plugin& plugin);
    virtual ~TransformBase() = default;
    TransformBase(const TransformBase&) = delete;
    TransformBase& operator=(const TransformBase&) = delete;

    /// One block. The inputs are scratch and are worked on in place; the outputs are written. A null right
    /// pointer is mono. Returns the frames written, fewer than uFrames while the head of the stream is being
    /// trimmed. 0 frames do nothing.
    std::uint32_t Run(std::uint32_t uFrames, float* inLeft, float* inRight, float* outLeft, float* outRight);

    /// Prepares the chain for a stream at a rate in Hz: drops all history and tells every component.
    void Reconfigure(std::uint32_t uSampleRate);

    /// The tail of a compensated stream: runs silence of the system delay's length through the chain and
    /// returns its frames, 0 when nothing is compensated. The vectors are grown as needed; a null right is
    /// mono.
    std::uint32_t Flush(std::vector<float>& outLeft, std::vector<float>* outRight);

    /// Marks the activity and the system delay, or only the delay, as out of date. Acted upon at the head of
    /// the next block while a block runs, otherwise at once on this thread.
    void RequestActivityUpdate();
    void RequestDelayUpdate();

    /// Acts on everything that is out of date. Not during a block.
    void UpdateNow();

    /// Tells every component that streaming has stopped.
    void ResetStreams();

    /// Drops the audio history of every component and restarts the trimming of the delay.
    void ResetAll();

    /// Puts out the clip lights of the level meter.
    virtual void ClearLatches() = 0;

    void SetChannels(std::uint32_t uInput, std::uint32_t uOutput);
    std::uint32_t InputChannels() const { return m_uInputChannels; }
    std::uint32_t OutputChannels() const { return m_uOutputChannels; }
    std::uint32_t SampleRate() const { return m_uSampleRate; }

    /// Frames by which the chain delays, as the sum of its active components or as frozen.
    std::uint32_t SystemDelay() const { return m_uSystemDelay; }

    /// Frames that have been removed from the head of the stream so far.
    std::uint32_t DelayTrimmed() const { return m_uDelayTrimmed; }

    /// The time of the next block's first frame, 100 ns. Audio thread.
    void SetStreamPosition(std::int64_t nPosition) { m_nStreamPosition = nPosition; }

    Global& GlobalSettings() { return m_global; }
    const Global& GlobalSettings() const { return m_global; }
    GlobalDerived& DerivedSettings() { return m_globalDerived; }

protected:
    void MarkAllDirty() {
        m_bActivityDirty = true;
        m_bDelayDirty = true;
    }

    /// The whole chain on a stretch of audio. Returns the frames written to the outputs.
    virtual std::uint32_t ProcessChain(const StageContext& context, std::uint32_t uFrames, float* inLeft,
                                       float* inRight, float* outLeft, float* outRight) = 0;

    /// What a bypassed chain does: copies input to output.
    virtual void ProcessBypassed(std::uint32_t uFrames, const float* inLeft, const float* inRight,
                                 float* outLeft, float* outRight);

    /// Takes the memory that blocks of so many frames need, whatever is switched on or automated later.
    virtual void ReserveBlocks(std::uint32_t uFrames);

    /// Guards of the derived class start anew.
    virtual void ResetGuards() {}

    Plugin& m_plugin;

private:
    std::uint32_t TrimDelay(std::uint32_t uFrames, float* inLeft, float* inRight, float* outLeft,
                            float* outRight);
    std::uint32_t RunAutomated(std::uint32_t uFrames, float* inLeft, float* inRight, float* outLeft,
                               float* outRight);
    std::uint32_t RunStrides(std::uint32_t uFrames, float* inLeft, float* inRight, float* outLeft,
                             float* outRight, std::uint32_t uStride);
    std::uint32_t RunSegment(std::uint32_t uFrames, float* inLeft, float* inRight, float* outLeft,
                             float* outRight, std::uint32_t uStride, std::int64_t nPosition);
    void ApplyAutomatedBypass(bool bBypass);
    void RefreshDisplay();
    bool HardBypass();
    bool IsCompensating() const;
    void UpdateActivity();
    void UpdateSystemDelay();

    Global m_global;
    GlobalDerived m_globalDerived;

    // Set-up: written while nothing streams.
    Util::Relaxed<std::uint32_t> m_uInputChannels = 1;
    Util::Relaxed<std::uint32_t> m_uOutputChannels = 1;
    Util::Relaxed<std::uint32_t> m_uSampleRate = 44100;

    // State of the stream.
    std::int64_t m_nStreamPosition = 0;
    bool m_bMono = false;               ///< the state of "Global: Process As Mono" that the chain acts on
    bool m_bRanMono = false;            ///< the last block had one channel when it reached the chain
    bool m_bDelayCompensation = false;  ///< as it was at the block's head
    DenormalGuard m_entryGuard;
    Util::Relaxed<std::uint32_t> m_uSystemDelay = 0;
    Util::Relaxed<std::uint32_t> m_uDelayTrimmed = 0;
    Util::Relaxed<bool> m_bActivityDirty = false;
    Util::Relaxed<bool> m_bDelayDirty = false;
    Util::Relaxed<bool> m_bInBlock = false;

    // The display.
    Util::Relaxed<bool> m_bRefreshWanted = false;
    std::uint32_t m_uLastRefresh = 0;  ///< ms

    // Scratch: means nothing between two calls.
    std::uint32_t m_uReserved = 0;  ///< frames of a block that there is memory for
    std::vector<std::uint8_t> m_bypassValues;
    std::vector<float> m_flushLeft;
    std::vector<float> m_flushRight;
};
