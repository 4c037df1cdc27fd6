#pragma once

#include <array>
#include <cstdint>

#include "dsp/DelayLine.h"
#include "dsp/vector/ExciterKernels.h"

namespace DSP {

enum class ExciterMode : std::uint32_t { Retro = 0, Tape = 1, Tube = 2 };

/// What one band runs with, for one block.
struct ExciterSettings {
    ExciterMode mode = ExciterMode::Tube;
    float fAmount = 0.0f;               ///< 0 to 15, the drive
    float fMix = 100.0f;                ///< percent
    float fUpperEdge = 22050.0f;        ///< Hz: the band's upper cutoff, half the rate for the top band
    std::uint32_t uSampleRate = 44100;  ///< Hz

    friend bool operator==(const ExciterSettings&, const ExciterSettings&) = default;
};

/// Adds harmonics to one band: a saturator, and a delay behind it. The formulas of the saturators stand in
/// ExciterKernels.h; this class finds their factors.
///
///     Retro    drive = amount in dB; cross-fades to the saturated signal
///     Tape     drive = amount mapped to 0 to 10 dB; cross-fades likewise
///     Tube     drive = (amount - 7) / 2 in dB; the dry signal stays, times 1 + mix amount / 5
///
/// Tube's envelope moves by 1 - exp(t / (rate / 2)) of the way each sample, with t = -40 (edge / 200 Hz)^0.7:
/// the higher the band, the faster. It starts at 1, above nearly all audio, so that the first samples are not
/// driven hard.
///
/// Amount 0:  the audio passes bit by bit, and the delay does not apply; it keeps what it holds.
/// Delay:     a line of length N delays by N - 1 samples, as DelayLine has it.
/// Mono:      a null right leaves the right channel's state alone.
/// Blocks:    any length, in place; the output does not depend on how a stream is cut.
/// Threads:   under the owner's lock, all of it.
/// Real time: Process and Reset neither allocate nor wait. SetDelay allocates only beyond what was reserved.
/// Recovery:  a NaN or an infinity passes the delay and leaves; an envelope beyond sound starts again behind
///            its sample.
class ExciterBand {
public:
    static constexpr float kMaxAmount = 15.0f;
    static constexpr float kMaxDelayMs = 10.0f;

    /// The length of the delay lines for a time: rounded to nearest, halves away from zero; at least 1.
    static int LineLength(float fDelayMs, std::uint32_t uSampleRate);

    /// Sets both lines' length and clears them.
    void SetDelay(int nLength);
    void ReserveDelay(int nLength);

    void Process(const ExciterSettings& settings, std::int32_t nFrames, float* left, float* right) noexcept;

    /// Clears the lines and sets the envelopes to 1.
    void Reset() noexcept;

private:
    void Design(const ExciterSettings& settings) noexcept;

    // Set-up: the factors for the settings of the latest block.
    ExciterSettings m_settings;
    ExciterRetroLaw m_retro;
    ExciterTapeLaw m_tape;
    ExciterTubeLaw m_tube;

    // State: Reset clears every member of this group.
    std::array<DelayLine, 2> m_lines;
    ExciterEnvelopes m_envelopes;
};

}  // namespace DSP
