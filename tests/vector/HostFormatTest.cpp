#include "dsp/vector/HostFormat.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "tests/vector/KernelCases.h"

using namespace Test;
using DSP::HostSample;

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

constexpr HostSample kAll[] = {HostSample::Unsigned8, HostSample::Signed16, HostSample::Signed24,
                               HostSample::Signed32,  HostSample::Float32,  HostSample::Float64};

using Bytes = std::vector<unsigned char>;

bool IsFloat(HostSample sample) {
    return sample == HostSample::Float32 || sample == HostSample::Float64;
}
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

void Store(HostSample sample, float fLevel, Bytes& bytes) {
    const double fWide = double{fLevel};
    unsigned char raw[8];
    std::memcpy(raw, &fWide, sizeof fWide);
    if (sample == HostSample::Float32) std::memcpy(raw, &fLevel, sizeof fLevel);
    const long long nZero = sample == HostSample::Unsigned8 ? 128 : 0;
    const long long n = IsFloat(sample) ? 0 : nZero + Quantised(sample, fLevel);
    for (int i = 0; i < DSP::BytesPerSample(sample); ++i)
        bytes.push_back(IsFloat(sample) ? raw[i] : static_cast<unsigned char>(n >> (8 * i)));
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
    long long n = 0;
    for (int i = 0; i < DSP::BytesPerSample(sample); ++i)
        n |= static_cast<long long>(bytes[i]) << (8 * i);
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
        for (const float* plane : planes)
            Store(sample, plane[i], host);
    }
    return host;
}

/// A host buffer of any bytes; floats come from the list of special numbers.
Bytes AnyHost(HostSample sample, unsigned uSeed, int nSamples) {
    if (IsFloat(sample)) return Interleaved(sample, {AnyFloats(uSeed, nSamples).data()}, nSamples);
    std::mt19937 generator(uSeed);
    Bytes host(static_cast<std::size_t>(nSamples * DSP::BytesPerSample(sample)));
    for (unsigned char& byte : host)
        byte = static_cast<unsigned char>(generator());
    return host;
}

/// Levels that meet every branch of the rounding: halves, their neighbours, the ends and what lies beyond.
std::vector<float> EdgeLevels(HostSample sample) {
    const float fScale = std::ldexp(1.0f, Bits(sample) - 1);
    std::vector<float> levels = {0.0f,      -0.0f,      1.0f,          -1.0f,  2.0f,  -2.0f,
                                 kInfinity, -kInfinity, std::nanf(""), 1e-30f, 3e38f, -3e38f};
    for (const float fStep :
         {0.5f, 1.5f, 2.5f, 3.0f, 100.5f, 126.5f, 127.5f, 32766.5f, 32767.5f, 8388607.5f, fScale}) {
        for (const float fSign : {1.0f, -1.0f}) {
            const float fLevel = fSign * fStep / fScale;
            levels.insert(levels.end(),
                          {fLevel, std::nextafter(fLevel, 0.0f), std::nextafter(fLevel, 2 * fLevel)});
        }
    }
    return levels;
}

/// Byte by byte; but the payload of a NaN of 64 bits is free.
bool SameBytes(HostSample sample, const Bytes& a, const Bytes& b) {
    if (sample != HostSample::Float64) return a == b;
    std::vector<double> wideA(a.size() / 8), wideB(b.size() / 8);
    std::memcpy(wideA.data(), a.data(), a.size());
    std::memcpy(wideB.data(), b.data(), b.size());
    return FirstDifference(wideA, wideB) == -1;
}

}  // namespace

TEST_CASE("Host formats: to planes and back is by the format's words, at every level, length and pairing") {
    AtEveryLevel([] {
        for (const HostSample sample : kAll) {
            CAPTURE(static_cast<int>(sample));
            const int nBytes = DSP::BytesPerSample(sample);
            const int nAlign = sample == HostSample::Signed24 ? 1 : nBytes;
            std::vector<int> lengths = KernelLengths();
            lengths.push_back(1300);  // more than the kernels take in one piece
            for (const int n : lengths) {
                // One channel in and one out, one and two, two and one, two and two.
                for (int nPairing = 0; nPairing < 4; ++nPairing) {
                    const int nInputs = 1 + nPairing / 2, nOutputs = 1 + nPairing % 2;
                    CAPTURE(n);
                    CAPTURE(nPairing);
                    const auto conversion = DSP::ChooseConversion(sample, nInputs, nOutputs);
                    Guarded<unsigned char> in(AnyHost(sample, 31, n * nInputs), nAlign * (n % 3));
                    Guarded<float> left(AnyFloats(32, n), n % 4), right(AnyFloats(33, n), 0);
                    std::vector<float> expected[2] = {left.Values(), right.Values()};
                    for (int i = 0; i < n * nInputs; ++i) {
                        expected[i % nInputs][static_cast<std::size_t>(i / nInputs)] =
                            Loaded(sample, in.Data() + i * nBytes);
                    }
                    CHECK(conversion.deinterleave(n, in.Data(), left.Data(), right.Data()) == DSP::kVectorOk);
                    CHECK(FirstDifference(left.Values(), expected[0]) == -1);
                    CHECK(FirstDifference(right.Values(), expected[1]) == -1);
                    CHECK((left.Intact() && right.Intact()));

                    // Mono becomes stereo in both channels.
                    const auto outLeft = AnyFloats(34, n), outRight = AnyFloats(35, n);
                    std::vector<const float*> planes = {outLeft.data()};
                    if (nOutputs == 2) planes.push_back(nInputs == 2 ? outRight.data() : outLeft.data());
                    Guarded<unsigned char> out(n * nOutputs * nBytes, nAlign * (n % 3));
                    CHECK(conversion.interleave(n, outLeft.data(), nInputs == 2 ? outRight.data() : nullptr,
                                                out.Data()) == DSP::kVectorOk);
                    CHECK(SameBytes(sample, out.Values(), Interleaved(sample, planes, n)));
                    CHECK(out.Intact());
                }
            }
        }
    });
}

TEST_CASE("Host formats: halves go away from zero, the ends saturate exactly, a NaN is silence") {
    AtEveryLevel([] {
        for (const HostSample sample : kAll) {
            if (IsFloat(sample)) continue;
            CAPTURE(static_cast<int>(sample));
            const std::vector<float> levels = EdgeLevels(sample);
            const int n = static_cast<int>(levels.size());
            Guarded<unsigned char> host(n * DSP::BytesPerSample(sample), 0);
            DSP::ChooseConversion(sample, 1, 1).interleave(n, levels.data(), nullptr, host.Data());
            CHECK(host.Values() == Interleaved(sample, {levels.data()}, n));
        }
    });
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
