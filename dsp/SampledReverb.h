#pragma once

#include <cstdint>
#include <memory>

#include "dsp/AudioProcessor.h"
#include "dsp/DataTail.h"
#include "dsp/PartConv.h"
#include "dsp/RoomImpulse.h"
#include "hvBase/Util/Relaxed.h"

namespace DSP {

/// What a sampled reverb is asked to be: the room, and the stream that it runs on.
struct RoomTarget {
    RoomShape shape;
    std::uint32_t uSampleRate = 44100;  ///< Hz
    int nBlock = 1024;                  ///< frames
    int nChannels = 2;

    bool operator==(const RoomTarget&) const = default;
};

/// A room: the convolution of the audio with a stored impulse that is shaped first (see RoomImpulse), added
/// to the dry sound:
///
///     out = wet * (impulse * in) + dry * in
///
/// Use:       LoadImpulse once, Update before Process whenever the target may have changed.
/// Latency:   none. Fastest with blocks of the target's length; other lengths work, see PartConv.
/// Threads:   the gains anywhere. Update, Process and Reset exclude one another; the owner sees to that.
///            Update does nothing if the target is the last one, and else allocates and takes a while; a
///            change between one and two channels alone does not, nor does another shape after Reserve
///            allocate. Process and Reset do not, but for the first block longer than every block before.
/// Update:    an impulse of the same length goes on working on what was heard before; with any other
///            change the history is dropped.
/// NaN:       damaged samples count as 0 in the convolution and are soon past in the dry sound.
class SampledReverb final : public AudioProcessor {
public:
    SampledReverb();

    /// Copies an impulse at a rate in Hz, which is rounded. The next Update makes the room from it.
    void LoadImpulse(const float* const* channels, int nFrames, int nChannels, double fSampleRate);

    /// Becomes what is asked for. False if `stop` was seen to be true: then everything is as before.
    bool Update(const RoomTarget& target, const Util::Relaxed<bool>& stop);

    /// Takes memory for any shape with pre-delays up to the given one, at the rate and block of the last
    /// Update: several megabytes. Does nothing where that has been done.
    void Reserve(float fMaxPreDelayMs);

    void SetDryGain(float fGain) { m_fDryGain = fGain; }
    void SetWetGain(float fGain) { m_fWetGain = fGain; }

    /// As many outputs as inputs are written.
    void Configure(int nInputs, int nOutputs, int nMaxFrames) override;
    void Process(float* const* inputs, int nFrames, float* const* outputs) override;
    void Reset() override;
    /// Keeps the history.
    void Grow(int nMaxFrames) override;

    /// In force, never null.
    const PartConvImpulse& Impulse() const { return *m_convolver.Impulse(); }

private:
    void Prepare(const float* const* taps, int nLength, int nChannels, int nBlock);

    // Set-up: written by LoadImpulse, Update, Reserve and Configure. Two impulses take turns in the
    // convolver.
    RoomImpulse m_impulse;
    std::shared_ptr<PartConvImpulse> m_inForce;
    std::shared_ptr<PartConvImpulse> m_spare;
    PartConvImpulse::Workshop m_workshop;
    RoomTarget m_reserved;     ///< the rate and block that memory is reserved for
    bool m_bReserved = false;  ///< it is
    bool m_bMade = false;      ///< there is something in m_made, and it is in force
    RoomTarget m_made;
    // Parameters: written by setters, read once at the head of a block.
    Util::Relaxed<float> m_fDryGain = 1.0f;
    Util::Relaxed<float> m_fWetGain = 0.1f;
    // State: Reset clears every member of this group.
    PartConv m_convolver;
    DataTail m_dry;  ///< the block's input, while the convolver writes over it
};

}  // namespace DSP
