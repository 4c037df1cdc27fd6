#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "apps/vesca/TruePeak.h"

namespace App {

/// What a stretch of audio measures. A level of silence is nothing: below 1e-20 there is no level.
struct Levels {
    std::optional<double> peakDb;           ///< largest sample of any channel, dB of full scale
    std::optional<double> truePeakDb;       ///< the same between the samples
    std::optional<double> rmsDb;            ///< root of the mean square of all samples of all channels
    std::optional<double> integratedLufs;   ///< gated loudness
    std::optional<double> loudnessRangeLu;  ///< nothing where there is no loudness
    std::vector<double> dcOffset;           ///< mean of each channel, full scale 1
};

/// Measures a stream, fed in blocks of any length. Loudness follows ITU-R BS.1770, its range EBU Tech 3342.
/// For the true peak see TruePeak.
/// Samples that are no number, or infinite, count as 0.
class Measurement {
public:
    /// One or two channels. Throws ::Exception::Base for a rate that can't be measured.
    Measurement(std::uint32_t uChannels, std::uint32_t uSampleRate);
    ~Measurement();

    /// A null right is mono.
    void Add(std::uint32_t uFrames, const float* left, const float* right);
    Levels Finish() const;

private:
    struct Loudness;  ///< the measuring library's state
    struct Channel {
        double fSum = 0.0;
        double fSquares = 0.0;
        float fPeak = 0.0f;
        TruePeak truePeak;
        std::vector<float> samples;  ///< scratch: those of the block, each of them a number
    };

    std::unique_ptr<Loudness> m_loudness;
    std::vector<Channel> m_channels;
    std::uint64_t m_uFrames = 0;
    std::vector<float> m_interleaved;  ///< scratch
};

}  // namespace App
