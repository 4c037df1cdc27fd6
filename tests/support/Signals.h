#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace Test {

/// A small generator with a seed: the same numbers on every machine (the 64-bit linear congruential
/// generator of Knuth, The Art of Computer Programming, volume 2).
class Random {
public:
    explicit Random(std::uint64_t uSeed) : m_uState(uSeed * 2654435761u + 1) {}

    std::uint32_t Next() {
        m_uState = m_uState * 6364136223846793005u + 1442695040888963407u;
        return static_cast<std::uint32_t>(m_uState >> 32);
    }
    /// From uLow to uHigh, both included.
    std::uint32_t Between(std::uint32_t uLow, std::uint32_t uHigh) {
        return uLow + Next() % (uHigh - uLow + 1);
    }
    /// From fLow up to fHigh.
    float Uniform(float fLow, float fHigh) {
        return fLow + (fHigh - fLow) * (static_cast<float>(Next() >> 8) / 16777216.0f);
    }

private:
    std::uint64_t m_uState;
};

/// White noise between -1 and 1.
inline std::vector<float> Noise(std::uint64_t uSeed, std::size_t uLength) {
    Random random(uSeed);
    std::vector<float> samples(uLength);
    for (float& fSample : samples)
        fSample = random.Uniform(-1.0f, 1.0f);
    return samples;
}

/// The first index at which two buffers differ in any bit of value, -1 if none does. Buffers of different
/// length differ at the end of the shorter.
inline std::ptrdiff_t FirstDifference(const std::vector<float>& a, const std::vector<float>& b) {
    const std::size_t uCommon = a.size() < b.size() ? a.size() : b.size();
    for (std::size_t i = 0; i < uCommon; ++i) {
        if (!(a[i] == b[i])) return static_cast<std::ptrdiff_t>(i);
    }
    return a.size() == b.size() ? -1 : static_cast<std::ptrdiff_t>(uCommon);
}

/// The greatest absolute difference over the common length; infinite if any is not a number.
inline float WorstDifference(const std::vector<float>& a, const std::vector<float>& b) {
    float fWorst = 0.0f;
    for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
        const float fDifference = a[i] > b[i] ? a[i] - b[i] : b[i] - a[i];
        if (!(fDifference <= fWorst))
            fWorst = fDifference > fWorst ? fDifference : std::numeric_limits<float>::infinity();
    }
    return fWorst;
}

/// Block lengths that add up to uTotal, drawn from 1 to uLongest.
inline std::vector<std::uint32_t> RandomCuts(std::uint64_t uSeed, std::uint32_t uTotal,
                                             std::uint32_t uLongest) {
    Random random(uSeed);
    std::vector<std::uint32_t> cuts;
    while (uTotal > 0) {
        const std::uint32_t uLength = random.Between(1, uLongest < uTotal ? uLongest : uTotal);
        cuts.push_back(uLength);
        uTotal -= uLength;
    }
    return cuts;
}

}  // namespace Test
