#include "dsp/RoomImpulse.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "dsp/ImpulseResampler.h"
#include "dsp/KaiserWindow.h"
#include "dsp/vector/Elementary.h"
#include "dsp/vector/ElementaryVector.h"

namespace DSP {

namespace {

/// Where the highs are neither damped nor lengthened.
constexpr float kNeutralDamping = 0.7f;

// Below this an impulse's samples are inaudible by 100 dB and more, and next to subnormal in products.
float Flush(float f) {
    return std::abs(f) < 1e-10f ? 0.0f : f;
}

std::size_t DelayFrames(float fMs, std::uint32_t uSampleRate) {
    return static_cast<std::size_t>(
        std::max(double{fMs} * static_cast<double>(uSampleRate) / 1000.0 + 0.5, 0.0));
}

}  // namespace

void RoomImpulse::Load(const float* const* channels, int nFrames, int nChannels, std::uint32_t uSampleRate) {
    m_stored.clear();
    for (int c = 0; c < nChannels; ++c) {
        std::vector<float> channel(1);
        if (nFrames > 0) channel.assign(channels[c], channels[c] + nFrames);
        m_stored.push_back(std::move(channel));
    }
    m_uStoredRate = uSampleRate;
    m_uResampledRate = 0;
}

int RoomImpulse::Reserve(std::uint32_t uSampleRate, float fMaxPreDelayMs) {
    if (m_stored.empty()) return 1;
    if (uSampleRate != m_uResampledRate) Resample(uSampleRate);
    const std::size_t uFrames = std::max<std::size_t>(m_resampled[0].size(), 2);
    const std::size_t uLongest = uFrames + DelayFrames(fMaxPreDelayMs, uSampleRate);
    m_work.resize(m_resampled.size());
    for (auto& channel : m_work)
        channel.reserve(uLongest);
    // A result moves with its memory.
    for (std::size_t c = 0; c < m_taps.size(); ++c)
        m_taps[c] = m_work[c].data();
    m_taps.reserve(m_work.size());
    m_window.reserve(uFrames);
    m_damping.reserve(uFrames);
    m_low.reserve(uFrames);
    m_kaiser.reserve(2 * uFrames);
    return static_cast<int>(uLongest);
}

bool RoomImpulse::Make(const RoomShape& shape, std::uint32_t uSampleRate, const Util::Relaxed<bool>& stop) {
    m_taps.clear();
    if (m_stored.empty()) return true;
    if (uSampleRate != m_uResampledRate) Resample(uSampleRate);
    if (stop) return false;

    const std::size_t uFrames = m_resampled[0].size();
    const auto uLength = static_cast<std::size_t>(
        std::max(static_cast<int>(static_cast<double>(uFrames) * double{shape.fSize} + 0.49), 2));
    BuildWindow(uLength);
    BuildDamping(uLength, shape.fDamping);
    if (stop) return false;

    m_work.resize(m_resampled.size());
    for (std::size_t c = 0; c < m_work.size(); ++c) {
        std::vector<float>& channel = m_work[c];
        channel.assign(uLength, 0.0f);
        std::copy_n(m_resampled[c].begin(), std::min(uLength, uFrames), channel.begin());
        for (std::size_t i = 0; i < uLength; ++i)
            channel[i] = Flush(channel[i] * m_window[i]);
    }
    ApplyWidth(shape.fWidth);
    for (auto& channel : m_work) {
        ApplyDamping(channel, uSampleRate);
        AddDelay(channel, shape.fPreDelayMs, uSampleRate);
        ApplyCutoffs(channel, shape.cutoffs, uSampleRate);
        if (stop) return false;
    }
    for (const auto& channel : m_work)
        m_taps.push_back(channel.data());
    return true;
}

void RoomImpulse::Resample(std::uint32_t uSampleRate) {
    ChannelList resampled;
    for (const auto& channel : m_stored)
        resampled.push_back(ResampleImpulse(channel, m_uStoredRate, uSampleRate));
    m_resampled = std::move(resampled);
    m_uResampledRate = uSampleRate;
}

void RoomImpulse::BuildWindow(std::size_t uLength) {
    if (m_window.size() == uLength) return;
    m_window.resize(uLength);
    for (std::size_t i = 0; i < uLength; ++i) {
        const double fAngle = static_cast<double>(i) * 3.1415927 / static_cast<double>(uLength + 1);
        m_window[i] = Flush(static_cast<float>(Cos(fAngle) * 0.5 + 0.5));
    }
}

void RoomImpulse::BuildDamping(std::size_t uLength, float fDamping) {
    if (m_damping.size() == uLength && fDamping == m_fDampingOf) return;
    m_fDampingOf = fDamping;
    m_damping.assign(uLength, 1.0f);
    if (fDamping > kNeutralDamping) {
        const double fExcess = double{fDamping} - double{kNeutralDamping};
        // The later half of a window of twice the length, made steeper.
        m_kaiser.assign(2 * uLength, 1.0f);
        ApplyKaiserWindow(m_kaiser.data(), static_cast<int>(m_kaiser.size()), fExcess * 20.0);
        const auto fPower = static_cast<float>(fExcess * 1000.0 * fExcess + 1.0);
        VectorPow(m_kaiser.data() + uLength, fPower, m_damping.data(), static_cast<std::int32_t>(uLength));
        std::transform(m_damping.begin(), m_damping.end(), m_damping.begin(), Flush);
    } else if (fDamping < kNeutralDamping) {
        // The highs grow against the lows, the more the later.
        const double fDepth = Pow((double{kNeutralDamping} - double{fDamping}) / 0.71, 0.2);
        for (std::size_t i = 0; i < uLength; ++i) {
            const double fDecay = Exp(static_cast<double>(i) * -10.0 / static_cast<double>(uLength));
            m_damping[i] = static_cast<float>(1.0 / (fDecay * fDepth + (1.0 - fDepth)));
        }
    }
}

void RoomImpulse::ApplyWidth(float fWidth) {
    if (m_work.size() < 2) return;
    const double a = 1.0 - double{fWidth}, b = 2.0 - a;
    const double fScale = 1.0 / std::sqrt(a * a + b * b);
    const auto fOther = static_cast<float>(a * fScale), fOwn = static_cast<float>(b * fScale);
    std::vector<float>& left = m_work[0];
    std::vector<float>& right = m_work[1];
    for (std::size_t i = 0; i < left.size(); ++i) {
        const float l = left[i], r = right[i];
        left[i] = Flush(fOther * r + fOwn * l);
        right[i] = Flush(fOwn * r + fOther * l);
    }
}

void RoomImpulse::ApplyDamping(std::vector<float>& channel, std::uint32_t uSampleRate) {
    const auto c = static_cast<float>(1.0 - Exp(-1.0 / (static_cast<double>(uSampleRate) * 2.5e-5)));
    const float fKeep = 1.0f - c;
    m_low = channel;
    for (std::size_t i = 1; i < m_low.size(); ++i)
        m_low[i] = Flush(c * m_low[i] + fKeep * m_low[i - 1]);
    // Backwards too: without phase, the highs are what is left over.
    for (std::size_t i = m_low.size() - 1; i-- > 0;)
        m_low[i] = Flush(c * m_low[i] + fKeep * m_low[i + 1]);
    for (std::size_t i = 0; i < channel.size(); ++i) {
        const float fHigh = Flush(channel[i] - m_low[i]);
        channel[i] = Flush(m_damping[i] * fHigh + m_low[i]);
    }
}

void RoomImpulse::AddDelay(std::vector<float>& channel, float fMs, std::uint32_t uSampleRate) const {
    channel.insert(channel.begin(), DelayFrames(fMs, uSampleRate), 0.0f);
}

void RoomImpulse::ApplyCutoffs(std::vector<float>& channel, const ReverbCutoffs& cutoffs,
                               std::uint32_t uSampleRate) {
    for (const ReverbTaps& taps : {ReverbLowCutTaps(uSampleRate, cutoffs.fLowHz, cutoffs.fLowQ),
                                   ReverbHighCutTaps(uSampleRate, cutoffs.fHighHz, cutoffs.fHighQ)}) {
        m_filter.SetTaps(taps.data());
        m_filter.Reset();
        m_filter.Process(channel.data(), static_cast<int>(channel.size()));
    }
    std::transform(channel.begin(), channel.end(), channel.begin(), Flush);
}

}  // namespace DSP
