#include "dsp/NoiseShapingFilter.h"

#include <algorithm>
#include <array>

#include "dsp/NoiseShaperTables.h"

namespace DSP {

namespace {

constexpr float kTypePeak = 100.0f;

constexpr std::array<float, 2> kSimple = {1.0f, -1.0f};
constexpr std::array<float, 13> kClear = {
    -1.0f,     1.47933f,   -1.59032f,  1.64436f,    -1.36613f,    0.926704f, -0.557931f,
    0.267859f, -0.106726f, 0.0285161f, 0.00123066f, -0.00616555f, 0.003067f,
};
constexpr std::array<float, 6> kPsych5 = {-1.0f, 2.033f, -2.165f, 1.959f, -1.59f, 0.6149f};
constexpr std::array<float, 10> kPsych9 = {
    -1.0f, 2.412f, -3.37f, 3.937f, -4.174f, 3.353f, -2.205f, 1.281f, -0.569f, 0.0847f,
};

// "Light" from 140001 Hz up: a fixed table beside the designed ones.
constexpr float kQuadrupleLightPeak = 1.0f;
constexpr std::array<float, 16> kQuadrupleLight = {
    0.24564f,    -0.113948f,  -0.106459f,    -0.0107835f,   0.0426476f,    0.0415108f,
    0.0130285f,  -0.0110114f, -0.0170312f,   -0.00973863f,  -0.000220252f, 0.0044306f,
    0.00384447f, 0.0012929f,  -0.000367187f, -0.000493021f,
};

/// The lowest rate of each class but the last, in Hz.
constexpr std::array<std::uint32_t, 4> kClassStarts = {140001, 65001, 35001, 15001};

}  // namespace

NoiseShapingFilter::Table NoiseShapingFilter::ForShape(std::uint32_t uShape) noexcept {
    switch (uShape) {
        case 1:
            return {kSimple, kTypePeak};
        case 2:
            return {kClear, kTypePeak};
        case 3:
            return {kPsych5, kTypePeak};
        case 4:
            return {kPsych9, kTypePeak};
        default:
            return {};
    }
}

std::uint32_t NoiseShapingFilter::RateClass(std::uint32_t uSampleRate) noexcept {
    const auto start = std::find_if(kClassStarts.begin(), kClassStarts.end(),
                                    [uSampleRate](std::uint32_t uStart) { return uSampleRate >= uStart; });
    return static_cast<std::uint32_t>(start - kClassStarts.begin());
}

NoiseShapingFilter::Table NoiseShapingFilter::ForRate(std::uint32_t uRateClass,
                                                      std::uint32_t uShape) noexcept {
    if (uRateClass == 0 && uShape == 1) return {kQuadrupleLight, kQuadrupleLightPeak};
    for (const DesignedShaper& shaper : DesignedShapers()) {
        if (shaper.uRateClass == uRateClass && uShape >= shaper.uFirstShape && uShape <= shaper.uLastShape) {
            return {shaper.coefficients, shaper.fPeak};
        }
    }
    return {};
}

NoiseShapingFilter::NoiseShapingFilter(const Table& table, bool bUseAmount) noexcept
    : m_table(table), m_bUseAmount(bUseAmount) {
    if (!table.coefficients.empty()) {
        m_taps.uOrder = std::min(table.coefficients.size() - 1, NoiseShapingTaps::kMaxOrder);
    }
    Rebuild(1.0f);
}

void NoiseShapingFilter::Rebuild(float fAmount) noexcept {
    const auto& s = m_table.coefficients;
    for (std::size_t i = 1; i <= m_taps.uOrder; ++i) {
        const float t = m_bUseAmount ? s[i] - (1.0f - fAmount) * s[i - 1] / 3.0f : s[i];
        m_taps.Set(i - 1, t / -s[0]);
    }
}

}  // namespace DSP
