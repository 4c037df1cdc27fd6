#include "dsp/vector/HostFormat.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "tests/support/CountingAllocator.h"
#include "tests/vector/KernelCases.h"

using namespace Test;
using DSP::HostSample;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

constexpr HostSample kIntegers[] = {HostSample::Unsigned8, HostSample::Signed16, HostSample::Signed24,
                                    HostSample::Signed32};
constexpr HostSample kAll[] = {HostSample::Unsigned8, HostSample::Signed16, HostSample::Signed24,
                               HostSample::Signed32,  HostSample::Float32,  HostSample::Float64};

using Bytes = std::vector<unsigned char>;

int Bits(HostSample sample) {
    return 8 * DSP::BytesPerSample(sample);
}

// ---- one sample at a time, by the words of the format

/// The integer that a level should become, worked out in double, where the scaled level is exact.
long long Quantised(HostSample sample, float fLevel) {
    const double fScale = std::ldexp(1.0, Bits(sample) - 1);
    if (std::isnan(fLevel)) return 0;
    const double fScaled = double{fLevel} * fScale;
    if (fScaled >= fScale - 1.0) return static_cast<long long>(fScale) - 1;
    if (fScaled <= -fScale) return -static_cast<long long>(fScale);
    return std::llround(fScaled);
}

Bytes Stored(HostSample sample, long long n) {
    if (sample == HostSample::Unsigned8) n += 128;
    Bytes bytes;
    for (int i = 0; i < DSP::BytesPerSample(sample); ++i)
        bytes.push_back(static_cast<unsigned char>(n >> (8 * i)));
    return bytes;
}

Bytes Stored(HostSample sample, float fLevel) {
    Bytes bytes(static_cast<std::size_t>(DSP::BytesPerSample(sample)));
    if (sample == HostSample::Float32) {
        std::memcpy(bytes.data(), &fLevel, sizeof fLevel);
    } else if (sample == HostSample::Float64) {
        const double fWide = double{fLevel};
        std::memcpy(bytes.data(), &fWide, sizeof fWide);
    } else {
        bytes = Stored(sample, Quantised(sample, fLevel));
    }
    return bytes;
}

float Loaded(HostSample sample, const unsigned char* bytes) {
    if (sample == HostSample::Float32) {
        float fLevel;
        std::memcpy(&fLevel, bytes, sizeof fLevel);
        return fLevel;
    }
    if (sample == HostSample::Float64) {
        double fWide;
        std::memcpy(&fWide, bytes, sizeof fWide);
        return static_cast<float>(fWide);
    }
    unsigned long long uWord = 0;
    for (int i = 0; i < DSP::BytesPerSample(sample); ++i)
        uWord |= static_cast<unsigned long long>(bytes[i]) << (8 * i);
    auto n = static_cast<long long>(uWord);
    if (sample == HostSample::Unsigned8) {
        n -= 128;
    } else if (n >= 1ll << (Bits(sample) - 1)) {
        n -= 1ll << Bits(sample);
    }
    return static_cast<float>(static_cast<double>(n) / std::ldexp(1.0, Bits(sample) - 1));
}

Bytes Interleaved(HostSample sample, const std::vector<const float*>& planes, int nFrames) {
    Bytes host;
    for (int i = 0; i < nFrames; ++i) {
        for (const float* plane : planes) {
            const Bytes bytes = Stored(sample, plane[i]);
            host.insert(host.end(), bytes.begin(), bytes.end());
        }
    }
    return host;
}

/// A host buffer of any bytes; floats come from the list of special numbers.
Bytes AnyHost(HostSample sample, unsigned uSeed, int nSamples) {
    if (sample == HostSample::Float32 || sample == HostSample::Float64) {
        const std::vector<float> levels = AnyFloats(uSeed, nSamples);
        return Interleaved(sample, {levels.data()}, nSamples);
    }
    std::mt19937 generator(uSeed);
    Bytes host(static_cast<std::size_t>(nSamples * DSP::BytesPerSample(sample)));
    for (unsigned char& byte : host)
        byte = static_cast<unsigned char>(generator());
    return host;
}

/// Levels that meet every branch of the rounding: halves, their neighbours, the ends and what lies beyond.
std::vector<float> EdgeLevels(HostSample sample) {
    const float fScale = std::ldexp(1.0f, Bits(sample) - 1);
    std::vector<float> levels = {0.0f,
                                 -0.0f,
                                 1.0f,
                                 -1.0f,
                                 2.0f,
                                 -2.0f,
                                 kInfinity,
                                 -kInfinity,
                                 kNaN,
                                 1e-30f,
                                 std::nextafter(1.0f, 0.0f),
                                 std::nextafter(-1.0f, 0.0f),
                                 -1.0000001f,
                                 3e38f,
                                 -3e38f};
    for (const float fStep :
         {0.5f, 1.5f, 2.5f, 3.0f, 100.5f, 126.5f, 127.5f, 32766.5f, 32767.5f, 8388607.5f}) {
        for (const float fSign : {1.0f, -1.0f}) {
            const float fLevel = fSign * fStep / fScale;
            levels.push_back(fLevel);
            levels.push_back(std::nextafter(fLevel, 0.0f));
            levels.push_back(std::nextafter(fLevel, fSign));
        }
    }
    return levels;
}

}  // namespace

TEST_CASE(
    "Host formats: to planes and back agrees with the format's words, at every level, length and channel count") {
    AtEveryLevel([] {
        for (const HostSample sample : kAll) {
            CAPTURE(static_cast<int>(sample));
            const int nAlign = sample == HostSample::Signed24 ? 1 : DSP::BytesPerSample(sample);
            std::vector<int> lengths = KernelLengths();
            lengths.push_back(1300);  // more than the kernels take in one piece
            for (const int n : lengths) {
                for (const int nChannels : {1, 2}) {
                    CAPTURE(n);
                    CAPTURE(nChannels);
                    const auto conversion = DSP::ChooseConversion(sample, nChannels, nChannels);
                    Guarded<unsigned char> host(AnyHost(sample, 31, n * nChannels), nAlign * (n % 3));
                    Guarded<float> left(AnyFloats(32, n), n % 4), right(AnyFloats(33, n), 0);
                    std::vector<float> expected[2] = {left.Values(), right.Values()};
                    for (int i = 0; i < n * nChannels; ++i) {
                        expected[i % nChannels][static_cast<std::size_t>(i / nChannels)] =
                            Loaded(sample, host.Data() + i * DSP::BytesPerSample(sample));
                    }
                    CHECK(conversion.deinterleave(n, host.Data(), left.Data(), right.Data()) ==
                          DSP::kVectorOk);
                    CHECK(FirstDifference(left.Values(), expected[0]) == -1);
                    CHECK(FirstDifference(right.Values(), expected[1]) == -1);
                    CHECK((left.Intact() && right.Intact()));

                    Guarded<float> outLeft(AnyFloats(34, n), n % 4), outRight(AnyFloats(35, n), 1);
                    std::vector<const float*> planes = {outLeft.Data()};
                    if (nChannels == 2) planes.push_back(outRight.Data());
                    const Bytes stored = Interleaved(sample, planes, n);
                    CHECK(conversion.interleave(n, outLeft.Data(), outRight.Data(), host.Data()) ==
                          DSP::kVectorOk);
                    // NaNs of 64-bit floats may differ in their payload; all else is equal byte by byte.
                    if (sample != HostSample::Float64) {
                        CHECK(host.Values() == stored);
                    } else {
                        std::vector<double> got(stored.size() / 8), want(stored.size() / 8);
                        std::memcpy(got.data(), host.Data(), stored.size());
                        std::memcpy(want.data(), stored.data(), stored.size());
                        CHECK(FirstDifference(got, want) == -1);
                    }
                    CHECK(host.Intact());
                }
            }
        }
    });
}

TEST_CASE("Host formats: halves go away from zero, the ends saturate exactly, a NaN is silence") {
    AtEveryLevel([] {
        for (const HostSample sample : kIntegers) {
            CAPTURE(static_cast<int>(sample));
            const std::vector<float> levels = EdgeLevels(sample);
            const int n = static_cast<int>(levels.size());
            Guarded<unsigned char> host(n * DSP::BytesPerSample(sample), 0);
            DSP::ChooseConversion(sample, 1, 1).interleave(n, levels.data(), nullptr, host.Data());
            CHECK(host.Values() == Interleaved(sample, {levels.data()}, n));
        }
        // The greatest and the least integer, spelled out.
        const float ends[] = {1.0f, -1.0f, kNaN, 0.99999994f};
        std::int32_t wide[4];
        DSP::ChooseConversion(HostSample::Signed32, 1, 1).interleave(4, ends, nullptr, wide);
        CHECK(wide[0] == 2147483647);
        CHECK(wide[1] == -2147483647 - 1);
        CHECK(wide[2] == 0);
        CHECK(wide[3] == 2147483520);
        std::uint8_t bytes[4];
        DSP::ChooseConversion(HostSample::Unsigned8, 1, 1).interleave(4, ends, nullptr, bytes);
        CHECK((bytes[0] == 255 && bytes[1] == 0 && bytes[2] == 128 && bytes[3] == 255));
    });
}

TEST_CASE("Host formats: every integer up to 24 bits survives the way to float and back") {
    for (const HostSample sample : {HostSample::Unsigned8, HostSample::Signed16, HostSample::Signed24}) {
        CAPTURE(static_cast<int>(sample));
        const long long nHalf = 1ll << (Bits(sample) - 1);
        const long long nStep = sample == HostSample::Signed24 ? 101 : 1;
        Bytes host;
        for (long long n = -nHalf; n < nHalf; n += nStep) {
            const Bytes bytes = Stored(sample, n);
            host.insert(host.end(), bytes.begin(), bytes.end());
        }
        const int nFrames = static_cast<int>(host.size()) / DSP::BytesPerSample(sample);
        std::vector<float> plane(static_cast<std::size_t>(nFrames));
        // The standard allocator aligns well enough for 16 bits.
        Bytes back(host.size());
        const auto conversion = DSP::ChooseConversion(sample, 1, 1);
        conversion.deinterleave(nFrames, host.data(), plane.data(), nullptr);
        CHECK(plane.front() == -1.0f);
        conversion.interleave(nFrames, plane.data(), nullptr, back.data());
        CHECK(back == host);
    }
}

TEST_CASE("Host formats: mono becomes stereo in both channels, and other pairings keep the channels apart") {
    for (const HostSample sample : kAll) {
        CAPTURE(static_cast<int>(sample));
        const std::vector<float> level = {0.25f, -0.5f, 0.75f};
        const auto nBytes = static_cast<std::size_t>(DSP::BytesPerSample(sample));
        std::vector<double> buffer(6);  // room and alignment for every format
        auto* host = reinterpret_cast<unsigned char*>(buffer.data());
        const auto widening = DSP::ChooseConversion(sample, 1, 2);
        CHECK(widening.interleave(3, level.data(), nullptr, host) == DSP::kVectorOk);
        const Bytes twice = Interleaved(sample, {level.data(), level.data()}, 3);
        CHECK(std::memcmp(host, twice.data(), 6 * nBytes) == 0);
        // A mono input reads one sample a frame.
        float left[6] = {}, right[3] = {9.0f, 9.0f, 9.0f};
        CHECK(widening.deinterleave(6, host, left, nullptr) == DSP::kVectorOk);
        CHECK((left[0] == 0.25f && left[1] == 0.25f && left[5] == 0.75f));
        // A stereo input to a mono output reads both channels and writes the left one.
        const auto narrowing = DSP::ChooseConversion(sample, 2, 1);
        CHECK(narrowing.deinterleave(3, host, left, right) == DSP::kVectorOk);
        CHECK((left[1] == -0.5f && right[2] == 0.75f));
        CHECK(narrowing.interleave(3, level.data(), nullptr, host) == DSP::kVectorOk);
        const Bytes once = Interleaved(sample, {level.data()}, 3);
        CHECK(std::memcmp(host, once.data(), 3 * nBytes) == 0);
    }
}

TEST_CASE("Host formats: what does not exist is refused, and bad arguments touch nothing") {
    HostSample found = HostSample::Float64;
    CHECK((DSP::FindHostSample(false, 3, &found) && found == HostSample::Signed24));
    CHECK((DSP::FindHostSample(true, 4, &found) && found == HostSample::Float32));
    CHECK((DSP::FindHostSample(true, 8, &found) && found == HostSample::Float64));
    CHECK((DSP::FindHostSample(false, 4, &found) && found == HostSample::Signed32));
    for (const int n : {0, 5, 8, -1})
        CHECK(!DSP::FindHostSample(false, n, &found));
    for (const int n : {0, 1, 2, 3, 16})
        CHECK(!DSP::FindHostSample(true, n, &found));
    CHECK(found == HostSample::Signed32);
    CHECK(!DSP::FindHostSample(false, 2, nullptr));
    for (const int n : {0, 3, -1}) {
        CHECK(!DSP::ChooseConversion(HostSample::Signed16, n, 2).deinterleave);
        CHECK(!DSP::ChooseConversion(HostSample::Signed16, 2, n).interleave);
    }
    float left = 5.0f, right = 6.0f;
    std::int16_t host[2] = {1, 2};
    const auto conversion = DSP::ChooseConversion(HostSample::Signed16, 2, 2);
    CHECK(conversion.deinterleave(0, host, &left, &right) == DSP::kVectorBadLength);
    CHECK(conversion.deinterleave(1, nullptr, &left, &right) == DSP::kVectorNullPointer);
    CHECK(conversion.deinterleave(1, host, &left, nullptr) == DSP::kVectorNullPointer);
    CHECK(conversion.interleave(-1, &left, &right, host) == DSP::kVectorBadLength);
    CHECK(conversion.interleave(1, &left, nullptr, host) == DSP::kVectorNullPointer);
    CHECK((left == 5.0f && right == 6.0f && host[0] == 1 && host[1] == 2));
}

TEST_CASE("Host formats: no conversion allocates") {
    std::vector<float> left(1000, 0.5f), right(1000, 0.25f);
    std::vector<double> host(2000);
    for (const HostSample sample : kAll) {
        const AllocationCounter counter;
        const auto conversion = DSP::ChooseConversion(sample, 2, 2);
        conversion.interleave(1000, left.data(), right.data(), host.data());
        conversion.deinterleave(1000, host.data(), left.data(), right.data());
        CHECK(counter.Count() == 0);
    }
}
