#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

/// What the chain's own meters show at one moment. Levels and gains are linear, full scale 1. A meter that is
/// switched off shows its last values, or those of silence.
struct MeterReadings {
    struct Level {
        float fValue = 0.0f;
        float fHeld = 0.0f;
        bool bClip = false;
    };
    std::array<Level, 4> levels;  ///< input left and right, output left and right

    std::string strSpectrumType;     ///< the label of "Spectrum Type"
    std::vector<float> frequencies;  ///< Hz, of a bin or of the middle of a band
    std::vector<float> magnitudes;

    std::vector<std::uint32_t> correlations;  ///< how often each was met, from -1 to +1
    std::vector<std::int32_t> trace;  ///< column and row of the vectorscope's last points, oldest first

    std::array<std::vector<std::uint8_t>, 2> bits;  ///< left, right: entry k is the bit of weight 2^-k

    struct Band {
        float fMinimumCompGain = 1.0f;
        float fMinimumGateGain = 1.0f;
        std::vector<std::uint32_t> histogram;  ///< counts of levels, 1 dB apart from full scale down
    };
    std::array<Band, 4> dynamics;

    float fMaximizerMinimumGain = 1.0f;
    std::vector<std::uint32_t> maximizerHistogram;

    std::array<float, 2> offsetMinimum{};  ///< left, right
    std::array<float, 2> offsetMaximum{};
};
