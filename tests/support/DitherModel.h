#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>

namespace Test {

/// One channel of dither and noise shaping in units of full scale, sample by sample with a history of errors:
/// the slow, obvious model of DSP::DepthShaper. Its samples have the same bits.
class DitherModel {
public:
    // Set before the first block.
    std::span<const float> source;  ///< the filter's source coefficients; none for order 0
    bool bUseAmount = true;
    float fPeak = 1.0f;
    int nWordLength = 16;
    float fAmount = 1.0f;
    bool bHighPass = true;
    bool bLimit = false;
    bool bBlank = false;
    bool bKill = false;
    long nHold = 30869;
    std::uint32_t uSeed = 1;

    void Process(float* samples, std::size_t uFrames) {
        if (m_history.empty()) Begin();
        for (std::size_t i = 0; i < uFrames; ++i) {
            if (!(std::abs(samples[i]) < 0x1p64f)) samples[i] = 0.0f;
            if (bBlank && Order() > 0 && Blank(samples, i)) continue;
            samples[i] = Quantise(samples[i]);
        }
    }

private:
    std::size_t Order() const { return source.empty() ? 0 : source.size() - 1; }

    void Begin() {
        m_uRandom = uSeed;
        m_nSilence = nHold;
        m_history.assign(Order() + 1, 0.0f);
        for (std::size_t i = 1; i <= Order(); ++i) {
            float t = source[i];
            if (bUseAmount) t = source[i] - (1.0f - fAmount) * source[i - 1] / 3.0f;
            m_taps.push_back(t / -source[0]);
        }
        for (int n = 1; n < nWordLength; ++n)
            m_fScale *= 2.0f;
        m_fStep = 1.0f / m_fScale;
    }

    int Draw() {
        m_uRandom = m_uRandom * 214013u + 2531011u;
        return static_cast<int>((m_uRandom >> 16) & 0x7fffu);
    }

    bool Blank(float* samples, std::size_t i) {
        if (std::abs(samples[i]) >= m_fStep / 2.0f / 1000.0f) {
            m_nSilence = 0;
            m_bBlanked = false;
            return false;
        }
        if (m_bBlanked) return true;
        if (!(++m_nSilence > nHold && i > 4)) return false;
        m_nSilence = nHold + 1;
        std::size_t uBest = i > 16 ? i - 16 : 0;
        for (std::size_t j = uBest; j < i; ++j) {
            if (std::abs(samples[j]) < std::abs(samples[uBest])) uBest = j;
        }
        for (std::size_t j = uBest + 1; j < i; ++j)
            samples[j] = 0.0f;
        return m_bBlanked = true;
    }

    float Bias(float v) {
        const float t = v * m_fScale;
        const float f = t - static_cast<float>(static_cast<long long>(t + (v >= 0.0f ? 0.0f : -1.0f)));
        const int k = std::clamp(static_cast<int>(f * 6.0f + 0.499f), 0, 6);
        const float h = m_fStep * 0.5f;
        float b = 0.0f;
        if (k == 1 || k == 2 || k == 3) b = m_nToggle == 0 ? h : -h;
        if (k == 4 || k == 5) b = m_nToggle != 0 ? h : -h;
        const int periods[] = {2, 6, 3, 2, 3, 6, 2};
        if (++m_nToggle >= periods[k]) m_nToggle = 0;
        return b;
    }

    float Noise(float v) {
        const float b = bKill ? Bias(v) : 0.0f;
        const int p = bUseAmount ? m_nLast : Draw();
        m_nLast = Draw();
        const int r = bHighPass ? m_nLast - p : Draw() * 2 - 32767;
        const float n = m_fStep * fAmount / 32767.0f;
        return bKill ? static_cast<float>(r) * n + (1.0f - fAmount) * b : static_cast<float>(r) * n;
    }

    float Quantise(float x) {
        const float fLimit = (fPeak + 0.499f) * m_fStep;
        const bool bLimits = bLimit && Order() > 0;
        float e = 0.0f;
        for (std::size_t k = Order(); k-- > 0;)
            e += m_taps[k] * m_history[k];
        if (bLimits) e = std::clamp(e, -(fLimit + m_fStep), fLimit + m_fStep);
        const float v = x + e;
        float w = v + Noise(v);
        if (bLimits && w - x > fLimit) w = x + fLimit;
        if (bLimits && w - x < -fLimit) w = x - fLimit;
        const float fScaled = w * m_fScale;
        // Beyond 2^24 every float is an integer.
        if (std::abs(fScaled) > 16777216.0f) return Output(v, fScaled);
        return Output(v, static_cast<float>(static_cast<int>(w < 0.0f ? fScaled - 0.5f : fScaled + 0.5f)));
    }

    float Output(float v, float r) {
        m_history.push_front(v - r * m_fStep);
        m_history.pop_back();
        return r * m_fStep;
    }

    std::deque<float> m_history;  ///< newest first
    std::deque<float> m_taps;
    float m_fScale = 1.0f;
    float m_fStep = 1.0f;
    std::uint32_t m_uRandom = 1;
    int m_nLast = 16383;
    int m_nToggle = 0;
    bool m_bBlanked = true;
    long m_nSilence = 0;
};

}  // namespace Test
