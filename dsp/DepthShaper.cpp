#include "dsp/DepthShaper.h"

#include <algorithm>
#include <cmath>

#include "dsp/vector/Elementwise.h"

namespace DSP {

namespace {

constexpr std::int32_t kShortestWord = 2;
constexpr std::int32_t kLongestWord = 24;

constexpr std::uint32_t kSeed = 1;
// The right channel draws from the same sequence a golden section of its length further on: hours of audio
// away, and no power of two, at which the numbers of this kind of generator resemble one another.
constexpr std::uint32_t kChannelDistance = 820'265'763;
constexpr std::int32_t kFirstLast = 16383;  // half way: the first difference is no larger than any other

constexpr double kHoldSeconds = 0.7;
constexpr std::size_t kLookBack = 16;       // samples
constexpr std::size_t kFirstBlankable = 5;  // index in a block

// How often the bias against harmonics changes its sign, by the sample's place between two steps.
constexpr std::array<std::uint32_t, 7> kTogglePeriods = {2, 6, 3, 2, 3, 6, 2};

}  // namespace

DepthShaper::DepthShaper() {
    SetSampleRate(44100);
    Set({}, {});
}

std::uint32_t DepthShaper::Seed(std::size_t uChannel) noexcept {
    static_assert(kChannels == 2);
    return uChannel == 0 ? kSeed : DitherRandom::After(kChannelDistance)(kSeed);
}

void DepthShaper::Configure(int nInputs, int nOutputs, int nMaxFrames) {
    AudioProcessor::Configure(nInputs, nOutputs, nMaxFrames);
    Clear();
}

void DepthShaper::SetSampleRate(std::uint32_t uSampleRate) noexcept {
    m_nHold = static_cast<std::int64_t>(uSampleRate * kHoldSeconds);
    Clear();
}

void DepthShaper::Set(const DepthShaperSettings& settings, const NoiseShapingFilter& filter) noexcept {
    const std::int32_t nBits = std::clamp(settings.nWordLength, kShortestWord, kLongestWord);
    m_filter = filter;
    m_mode.fScale = static_cast<float>(std::int32_t{1} << (nBits - 1));
    m_mode.fNoise = settings.fNoiseAmount / static_cast<float>(DitherRandom::kGreatest);
    m_mode.noise = settings.bHighPassNoise ? DitherNoise::kHighPass : DitherNoise::kUniform;
    m_mode.bLimit = settings.bLimitPeaks && filter.Order() > 0;
    m_mode.fMoveLimit = filter.Peak() + 0.499f;
    m_mode.fFeedbackLimit = m_mode.fMoveLimit + 1.0f;
    m_fSilence = 0.5f / m_mode.fScale / 1000.0f;
    m_bBlanks = settings.bAutoBlank && filter.Order() > 0;
    m_fBiasShare = 1.0f - settings.fNoiseAmount;
    // With whole noise the bias has no share.
    m_bKillHarmonics = settings.bKillHarmonics && m_fBiasShare != 0.0f;
    Clear();
}

void DepthShaper::Clear() noexcept {
    for (std::size_t c = 0; c < kChannels; ++c)
        m_state.random[c] = DitherRandom(Seed(c));
    m_state.last.fill(kFirstLast);
    m_state.sums.fill(0.0f);
    m_blanking.fill({true, m_nHold});
    m_toggles.fill(0);
}

void DepthShaper::Process(float* const* inputs, int nFrames, float* const* outputs) {
    AudioProcessor::Process(inputs, nFrames, outputs);
    if (nFrames <= 0) return;
    const auto uFrames = static_cast<std::size_t>(nFrames);
    const auto uChannels = std::min(static_cast<std::size_t>(m_nInputs), kChannels);
    std::array<float*, kChannels> channels{};
    for (std::size_t c = 0; c < uChannels; ++c) {
        channels[c] = outputs ? outputs[c] : inputs[c];
        if (outputs) VectorMove(inputs[c], outputs[c], nFrames);
    }
    if (uChannels == 0) return;

    std::array<bool, kChannels> fast{};
    for (std::size_t c = 0; c < uChannels; ++c)
        fast[c] = !m_bKillHarmonics && (!m_bBlanks || StaysAwake(c, channels[c], uFrames));
    if (fast[0] && (uChannels == 1 || fast[1])) {
        ShapeNoise(m_filter.Taps(), m_mode, m_state, channels[0], channels[1], uFrames);
        return;
    }
    for (std::size_t c = 0; c < uChannels; ++c)
        fast[c] ? ShapeAlone(c, channels[c], uFrames) : ProcessChannel(c, channels[c], uFrames);
}

bool DepthShaper::IsSilent(float fSample) const noexcept {
    return !(std::abs(NoiseShapingRead(fSample)) >= m_fSilence);
}

/// Whether no sample of the block meets a blanked channel; then the block's silence is counted.
bool DepthShaper::StaysAwake(std::size_t uChannel, const float* samples, std::size_t uFrames) noexcept {
    if (m_blanking[uChannel].bBlanked) return false;
    std::int64_t nSilence = m_blanking[uChannel].nSilence;
    std::int64_t nLongest = 0;
    for (std::size_t i = 0; i < uFrames; ++i) {
        nSilence = IsSilent(samples[i]) ? nSilence + 1 : 0;
        nLongest = std::max(nLongest, nSilence);
    }
    if (nLongest > m_nHold) return false;
    m_blanking[uChannel].nSilence = nSilence;
    return true;
}

/// Runs the kernel on one channel while the other one is blanked.
void DepthShaper::ShapeAlone(std::size_t uChannel, float* samples, std::size_t uFrames) noexcept {
    NoiseShapingState alone;
    alone.random[0] = m_state.random[uChannel];
    alone.last[0] = m_state.last[uChannel];
    for (std::size_t k = 0; k < m_filter.Order(); ++k)
        alone.sums[2 * k] = m_state.sums[2 * k + uChannel];
    ShapeNoise(m_filter.Taps(), m_mode, alone, samples, nullptr, uFrames);
    m_state.random[uChannel] = alone.random[0];
    m_state.last[uChannel] = alone.last[0];
    for (std::size_t k = 0; k < m_filter.Order(); ++k)
        m_state.sums[2 * k + uChannel] = alone.sums[2 * k];
}

/// One sample of the blanking stage; returns whether the sample is to be left as it is.
bool DepthShaper::Blank(std::size_t uChannel, float* samples, std::size_t i) noexcept {
    Blanking& blanking = m_blanking[uChannel];
    if (!IsSilent(samples[i])) {
        blanking = {false, 0};
        return false;
    }
    if (!blanking.bBlanked) {
        ++blanking.nSilence;
        if (blanking.nSilence <= m_nHold || i < kFirstBlankable) return false;
        blanking = {true, m_nHold + 1};
        const auto quieter = [](float a, float b) { return std::abs(a) < std::abs(b); };
        float* const quietest =
            std::min_element(samples + (i - std::min(i, kLookBack)), samples + i, quieter);
        std::fill(quietest + 1, samples + i, 0.0f);
    }
    samples[i] = NoiseShapingRead(samples[i]);
    return true;
}

void DepthShaper::ProcessChannel(std::size_t uChannel, float* samples, std::size_t uFrames) noexcept {
    for (std::size_t i = 0; i < uFrames; ++i) {
        if (m_bBlanks && Blank(uChannel, samples, i)) continue;
        samples[i] = ShapeSample(uChannel, samples[i]);
    }
}

// The kernel's sample, and the bias. In steps.
float DepthShaper::ShapeSample(std::size_t uChannel, float fSample) noexcept {
    const float x = NoiseShapingRead(fSample) * m_mode.fScale;
    float e = m_state.sums[uChannel];
    if (m_mode.bLimit) e = std::clamp(e, -m_mode.fFeedbackLimit, m_mode.fFeedbackLimit);
    const float v = x + e;
    // The bias is worked out before the noise is drawn.
    const float fBias = m_bKillHarmonics ? m_fBiasShare * HarmonicBias(uChannel, v) : 0.0f;
    float w = v + (DrawNoise(uChannel) + fBias);
    if (m_mode.bLimit && w - x > m_mode.fMoveLimit) w = x + m_mode.fMoveLimit;
    if (m_mode.bLimit && w - x < -m_mode.fMoveLimit) w = x - m_mode.fMoveLimit;
    const float r = NoiseShapingTruncate(w < 0.0f ? w - 0.5f : w + 0.5f);
    NoiseShapingAdvance(m_filter.Taps(), uChannel, v - r, m_state);
    // Adding 0 makes a zero positive.
    return r * (1.0f / m_mode.fScale) + 0.0f;
}

float DepthShaper::DrawNoise(std::size_t uChannel) noexcept {
    DitherRandom& random = m_state.random[uChannel];
    if (m_mode.noise == DitherNoise::kUniform) {
        random.Next();
        random.Next();
        return static_cast<float>(2 * random.Next() - DitherRandom::kGreatest) * m_mode.fNoise;
    }
    const std::int32_t nBefore = m_state.last[uChannel];
    m_state.last[uChannel] = random.Next();
    return static_cast<float>(m_state.last[uChannel] - nBefore) * m_mode.fNoise;
}

/// Half a step up or down, or nothing close to a step, in a pattern that repeats after a few samples: less
/// noise than noise, but enough to take a quiet tone off its harmonics.
float DepthShaper::HarmonicBias(std::size_t uChannel, float v) noexcept {
    constexpr float kHalfStep = 0.5f;
    const float fPlace = v - NoiseShapingTruncate(v + (v >= 0.0f ? 0.0f : -1.0f));
    const auto uPlace = static_cast<std::size_t>(std::clamp(fPlace * 6.0f + 0.499f, 0.0f, 6.0f));
    std::uint32_t& uToggle = m_toggles[uChannel];
    float fBias = 0.0f;
    if (uPlace >= 1 && uPlace <= 3) fBias = uToggle == 0 ? kHalfStep : -kHalfStep;
    if (uPlace == 4 || uPlace == 5) fBias = uToggle != 0 ? kHalfStep : -kHalfStep;
    if (++uToggle >= kTogglePeriods[uPlace]) uToggle = 0;
    return fBias;
}

}  // namespace DSP
