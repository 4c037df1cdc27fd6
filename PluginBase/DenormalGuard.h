#pragma once

#include <cstdint>

#include "dsp/vector/Elementwise.h"
#include "hvBase/Util/Relaxed.h"

/// An offset of about -200 dB that keeps the recursive filters of the chain out of denormal numbers. Its
/// sign turns over every 128 samples, so that it has no constant part: it must neither charge the filters
/// behind it nor show up in a meter of DC. It belongs to the chain's sound; removing it changes samples.
///
/// Threads: the audio thread applies it; Reset on any thread, where a lost reset costs nothing.
class DenormalGuard {
public:
    static constexpr float kLeft = 1e-10f;
    static constexpr float kRight = 2e-10f;

    /// Adds the offset: plus while the phase, read as signed, is not negative. In stereo right gets twice
    /// left's. A null right is mono. The phase runs on only if bCommit is set.
    void Apply(std::uint32_t uFrames, float* left, float* right, bool bCommit = true) {
        Add(uFrames, left, right, kRight, bCommit);
    }

    /// The same with equal offsets, for filling silence.
    void Fill(std::uint32_t uFrames, float* left, float* right) { Add(uFrames, left, right, kLeft, true); }

    void Reset() { m_uPhase = 0; }

private:
    void Add(std::uint32_t uFrames, float* left, float* right, float fRight, bool bCommit) {
        const auto nFrames = static_cast<std::int32_t>(uFrames);
        const std::uint8_t uPhase = m_uPhase;
        const std::uint8_t uAfter = DSP::VectorGuard(left, nFrames, kLeft, uPhase);
        if (right) DSP::VectorGuard(right, nFrames, fRight, uPhase);
        if (bCommit) m_uPhase = uAfter;
    }

    Util::Relaxed<std::uint8_t> m_uPhase = 0;
};
