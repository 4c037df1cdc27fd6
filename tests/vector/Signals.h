#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "dsp/vector/Dispatch.h"

namespace Test {

/// White noise in -1 .. 1 from a seed, the same on every platform.
template <class T>
std::vector<T> Noise(std::uint32_t uSeed, std::size_t uLength) {
    std::vector<T> noise(uLength);
    std::uint64_t uState = uSeed * 0x9E3779B97F4A7C15ull + 1;
    for (T& value : noise) {
        uState = uState * 6364136223846793005ull + 1442695040888963407ull;
        value = static_cast<T>(static_cast<double>(uState >> 11) / 4503599627370496.0 - 1.0);
    }
    return noise;
}

/// The index of the first element whose bits differ, or -1.
template <class T>
long FirstBitDifference(const std::vector<T>& a, const std::vector<T>& b) {
    if (a.size() != b.size()) return 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (std::memcmp(&a[i], &b[i], sizeof(T)) != 0) return static_cast<long>(i);
    }
    return -1;
}

/// The rms of the difference over the rms of the expectation.
template <class A, class B>
double RelativeError(const A& actual, const B& expected) {
    double difference = 0.0;
    double power = 0.0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const double e = static_cast<double>(expected[i]);
        const double d = static_cast<double>(actual[i]) - e;
        difference += d * d;
        power += e * e;
    }
    return std::sqrt(difference / power);
}

/// Runs a body at every processor level, and leaves the best one in force.
template <class Body>
void ForEachLevel(Body&& body) {
    for (const DSP::ProcessorLevel& level : DSP::AvailableProcessorLevels()) {
        DSP::UseProcessorLevel(level);
        body(level.strName);
    }
    DSP::UseBestProcessorLevel();
}

}  // namespace Test
