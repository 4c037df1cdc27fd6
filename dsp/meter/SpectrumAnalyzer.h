#pragma once

#include <cstdint>
#include <vector>

#include "dsp/meter/SpectrumBands.h"
#include "dsp/vector/AlignedVector.h"
#include "dsp/vector/Fft.h"

namespace DSP::Meter {

/// The choices that make a spectrum, as indices into the labels of the meter's parameters.
struct SpectrumSettings {
    SpectrumType type = SpectrumType::Linear;
    std::int32_t nAverage = 0;     ///< 0 real time, 1 to 4 a moving average, 5 the mean of everything
    std::int32_t nWindowSize = 3;  ///< 512 to 8192; bands always take 8192
    std::int32_t nOverlap = 5;     ///< tenths
    std::int32_t nWindowType = 4;  ///< Hamming, Blackman, Bartlett, Kaiser, Hann
    std::uint32_t uSampleRate = 44100;
};

/// The magnitude spectrum of the mean of two channels: frames of N samples, overlapping as set, are windowed
/// and transformed, and the magnitudes held or averaged. Built for one choice of settings.
///
/// Values:    "Linear": |X[k]| 2 / N for bins 0 to N / 2, so that a sine on a bin reads its amplitude times
///            the window's mean. Bands: the root of the mean of (|X[k]| 2 / N)^2 over the bins of the band,
///            with bin N / 2 at half its magnitude.
/// Averages:  in real time the maximum of all frames, which falls by 120 dB a second of frames while a
///            display reads: one step a read. The others give the mean of the last 1, 3, 5 or 10 seconds'
///            frames or of all, and sum in double so that a loud passage leaves nothing behind.
/// Range:     samples beyond +80 dB count as that, NaNs as 0.
/// Threads:   one at a time: the owner's lock covers it.
/// Real time: only the constructor and Current allocate. A frame is transformed by the block that fills it.
/// Blocks:    values do not depend on how a stream is cut.
class SpectrumAnalyzer {
public:
    /// The most values of any setting.
    static constexpr std::uint32_t kMaxValues = 4097;

    explicit SpectrumAnalyzer(const SpectrumSettings& settings);

    /// Goes on where another one has stopped: with its sign of the denormal guard and its display's last
    /// read.
    void ContinueFrom(const SpectrumAnalyzer& other) noexcept;

    /// Adds a block; a null right is mono.
    void Feed(std::uint32_t uFrames, const float* left, const float* right) noexcept;

    /// Drops frame, averages and values.
    void Reset() noexcept;

    /// Averages begin anew with the next frame; the values stay until then.
    void RestartAverage() noexcept;

    /// A display takes the values if a frame or a change of settings has made new ones since the last call:
    /// returns their number, at most kMaxValues, or 0 if there is nothing new.
    std::uint32_t Take(float* values) noexcept;

    const SpectrumSettings& Settings() const noexcept { return m_settings; }
    const std::vector<float>& Values() const noexcept { return m_values; }

    /// The frequency of each value in Hz: a bin's own, the middle of a band, the edge of the last band.
    const std::vector<float>& Frequencies() const noexcept { return m_frequencies; }

private:
    bool IsLinear() const noexcept { return m_settings.type == SpectrumType::Linear; }
    void Analyse() noexcept;
    void MeasureBins() noexcept;
    void MeasureBands() noexcept;
    void UpdateValues() noexcept;
    void UpdateMovingAverage() noexcept;

    // Set-up: written at construction only.
    SpectrumSettings m_settings;
    std::uint32_t m_uLength = 0;   ///< N
    std::uint32_t m_uOverlap = 0;  ///< samples that a frame shares with the next
    std::uint32_t m_uRows = 0;     ///< frames of a moving average
    float m_fDecay = 1.0f;         ///< factor of one step of the fall
    RealFft m_fft;
    AlignedVector<float> m_window;
    std::vector<SpectrumBins> m_bands;
    std::vector<float> m_frequencies;

    // State: Reset clears every member of this group.
    AlignedVector<float> m_frame;
    std::uint32_t m_uFill = 0;
    std::vector<float> m_values;
    std::vector<double> m_sums;    ///< of the frames in an average
    std::vector<float> m_history;  ///< the rows of a moving average
    std::uint32_t m_uRow = 0;      ///< the next to be written
    double m_fAveraged = 0.0;      ///< frames in m_sums
    bool m_bNewData = true;
    bool m_bDecayPending = false;
    std::uint8_t m_uGuardPhase = 0;

    // Scratch: means nothing between two calls.
    AlignedVector<float> m_spectrum;
    AlignedVector<float> m_work;
    std::vector<float> m_measured;  ///< one frame's values
};

}  // namespace DSP::Meter
