#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "tests/support/Signals.h"

namespace Test {

/// White noise in -1 .. 1 in either precision.
template <class T>
std::vector<T> Noise(std::uint32_t uSeed, std::size_t uLength) {
    std::vector<T> noise(uLength);
    Random random(uSeed);
    for (T& value : noise)
        value = static_cast<T>(static_cast<double>(random.Next()) / 2147483648.0 - 1.0);
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

}  // namespace Test
