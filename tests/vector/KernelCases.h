#pragma once

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <type_traits>
#include <vector>

#include <doctest/doctest.h>

#include "dsp/vector/Dispatch.h"

/// What the tests of all kernels share: the levels, the lengths, and buffers that notice a write beside them.
namespace Test {

/// Runs a body at every processor level that this machine has.
template <class Body>
void AtEveryLevel(Body&& body) {
    for (const auto& level : DSP::AvailableProcessorLevels()) {
        DSP::UseProcessorLevel(level);
        CAPTURE(level.strName);
        body();
    }
    DSP::UseBestProcessorLevel();
}

/// Every remainder of every vector width, below and above whole vectors.
inline std::vector<int> KernelLengths() {
    std::vector<int> lengths;
    for (int n = 1; n <= 17; ++n)
        lengths.push_back(n);
    for (int n : {31, 32, 33, 63, 64, 65, 100, 127, 129, 255, 999})
        lengths.push_back(n);
    return lengths;
}

/// A buffer at a chosen misalignment (in elements) between two guarded margins.
template <typename T>
class Guarded {
public:
    Guarded(int nLength, int nOffset)
        : m_uLength(static_cast<std::size_t>(nLength)),
          m_uStart(kMargin + static_cast<std::size_t>(nOffset)),
          m_bytes(sizeof(T) * (m_uStart + m_uLength + kMargin) + kAlign, kSentinel) {
        void* begin = m_bytes.data();
        std::size_t uSpace = m_bytes.size();
        m_first = static_cast<T*>(std::align(kAlign, 1, begin, uSpace)) + m_uStart;
    }
    template <typename U>
    Guarded(const std::vector<U>& values, int nOffset) : Guarded(static_cast<int>(values.size()), nOffset) {
        std::memcpy(m_first, values.data(), values.size() * sizeof(T));
    }
    T* Data() { return m_first; }
    std::vector<T> Values() const { return {m_first, m_first + m_uLength}; }

    /// True while no byte of the margins has changed.
    bool Intact() const {
        const auto* first = reinterpret_cast<const unsigned char*>(m_first);
        const unsigned char* last = first + m_uLength * sizeof(T);
        for (const unsigned char* p = m_bytes.data(); p < first; ++p) {
            if (*p != kSentinel) return false;
        }
        for (const unsigned char* p = last; p < m_bytes.data() + m_bytes.size(); ++p) {
            if (*p != kSentinel) return false;
        }
        return true;
    }

private:
    static constexpr std::size_t kMargin = 32;
    static constexpr std::size_t kAlign = 64;
    static constexpr unsigned char kSentinel = 0xa5;

    std::size_t m_uLength;
    std::size_t m_uStart;
    std::vector<unsigned char> m_bytes;
    T* m_first;
};

/// Equal bits; for floating point two NaNs are equal, whichever they are.
template <typename T>
bool SameBits(T a, T b) {
    if constexpr (std::is_floating_point_v<T>) {
        if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
    }
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

/// The first index at which two arrays differ, -1 if none, -2 for different lengths.
template <typename T>
int FirstDifference(const std::vector<T>& a, const std::vector<T>& b) {
    if (a.size() != b.size()) return -2;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (!SameBits(a[i], b[i])) return static_cast<int>(i);
    }
    return -1;
}

/// Samples around full scale, with every kind of special number among them.
inline std::vector<float> AnyFloats(unsigned uSeed, int nLength) {
    constexpr float kSpecial[] = {0.0f,      -0.0f, 1.0f,         -1.0f,   INFINITY,
                                  -INFINITY, NAN,   FLT_TRUE_MIN, FLT_MAX, -FLT_MIN};
    std::mt19937 generator(uSeed);
    std::uniform_real_distribution<float> level(-2.0f, 2.0f);
    std::vector<float> samples(static_cast<std::size_t>(nLength));
    for (float& sample : samples) {
        const auto uDraw = generator() % 64;
        sample = uDraw < std::size(kSpecial) ? kSpecial[uDraw] : level(generator);
    }
    return samples;
}

/// Floats of any bit pattern: half of them are astronomical or minute.
inline std::vector<float> AnyBits(unsigned uSeed, int nLength) {
    std::mt19937 generator(uSeed);
    std::vector<float> samples(static_cast<std::size_t>(nLength));
    for (float& sample : samples)
        sample = std::bit_cast<float>(static_cast<std::uint32_t>(generator()));
    return samples;
}

}  // namespace Test
