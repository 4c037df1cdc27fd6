#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "dsp/DelayLine.h"
#include "dsp/ReverbFilter.h"
#include "dsp/vector/AlignedVector.h"
#include "dsp/vector/CombBank.h"
#include "dsp/vector/Iir.h"

namespace DSP {

/// An artificial plate: per channel eight damped combs side by side and four allpasses in a row, then a width
/// mix, a delay, a low cut and a high cut, added to the dry sound.
///
/// Units:     dry and wet in percent, 0 to 100; room size and damping as the parameters have them, 0 to 1;
///            width 0 to 3, 1 is plain stereo; delay in ms, 0 to 100; cutoffs in Hz. Callers clamp.
/// Rates:     the lines are 225 to 1640 samples long at every rate: the network sounds smaller at a
///            higher one, on purpose. The delay and the filters follow the rate.
/// Mono:      the left bank alone, fed with twice the sample. A loud left channel and a silent right one do
///            not give the same as that, because a bank hears both channels.
/// Latency:   none.
/// Threads:   no lock: under the owner's. Construction and SetSampleRate allocate; nothing else does.
/// Blocks:    any length, in place; the output does not depend on how a stream is cut.
/// NaN:       damaged samples (see VectorRepair) count as 0 in the wet sound, so that nothing can stay in the
///            network; what the dry sound does with them is over with the sample. The filters are looked at
///            after every block and cleared should their delays have left the range of sound.
class CombReverb {
public:
    CombReverb();
    CombReverb(const CombReverb&) = delete;
    CombReverb& operator=(const CombReverb&) = delete;

    /// Hz; 0 reads as 1. Designs the filters, clears their delays and rebuilds the delay.
    void SetSampleRate(std::uint32_t uSampleRate);

    void SetDry(float fPercent);
    void SetWet(float fPercent);
    void SetSoloWet(bool bSolo) { m_bSoloWet = bSolo; }
    void SetWidth(float fWidth);
    void SetRoomSize(float fSize);
    void SetDamping(float fDamping);
    /// Clears the delay.
    void SetReflectionsDelay(float fMs);
    /// The filters keep their delays.
    void SetCutoffs(const ReverbCutoffs& cutoffs);

    /// A null right is mono.
    void Process(int nFrames, float* left, float* right);

    /// Clears combs, allpasses, filters and the delay.
    void Reset() noexcept;

private:
    void ComputeWetGains();
    void DesignFilters();
    void RebuildDelay();
    void ProcessPiece(int nFrames, float* left, float* right);
    void FilterWet(int nFrames, bool bStereo) noexcept;

    // Set-up: written by construction and SetSampleRate only.
    std::uint32_t m_uSampleRate = 44100;
    // Parameters: written by the setters.
    bool m_bSoloWet = false;
    float m_fWetPercent = 0.0f;
    float m_fWidth = 1.0f;
    float m_fDelayMs = 0.0f;
    ReverbCutoffs m_cutoffs;
    // What they come to.
    float m_fDryGain = 1.0f;
    float m_fWet1 = 0.0f;  ///< from a bank to its own channel
    float m_fWet2 = 0.0f;  ///< to the other channel
    CombFactors m_factors;
    // State: Reset clears every member of this group.
    std::array<CombChannel, 2> m_banks;
    AlignedVector<float> m_rings;  ///< of all lines
    std::array<DelayLine, 2> m_delays;
    std::array<std::array<IirCascade, 2>, 2> m_filters;  ///< by stage, low cut and high cut; then by channel
    // Scratch: means nothing between two calls.
    static constexpr int kPiece = 8192;  ///< frames; longer blocks are cut
    std::vector<float> m_input = std::vector<float>(kPiece);
    std::array<std::vector<float>, 2> m_wet{m_input, m_input};
};

}  // namespace DSP
