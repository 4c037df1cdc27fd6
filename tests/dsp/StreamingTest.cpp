#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "dsp/DataTail.h"
#include "dsp/DataTail1D.h"
#include "dsp/KaiserWindow.h"
#include "dsp/LookAheadProcessor.h"
#include "dsp/LookAheadStreamer.h"
#include "dsp/ResampleInt.h"
#include "tests/support/CountingAllocator.h"
#include "tests/support/Signals.h"

namespace {

/// Replaces each sample by the sum of it and the look-ahead samples behind it, of its own channel.
class SumAhead : public DSP::LookAheadProcessor {
public:
    explicit SumAhead(int nLookAhead) : m_nLookAhead(nLookAhead) {}
    int LookAhead() const noexcept override { return m_nLookAhead; }
    int Delay() const noexcept override { return 0; }
    void Process(float* const* channels, int nFrames, float* const*) override {
        for (int c = 0; c < m_nInputs; ++c) {
            for (int i = 0; i < nFrames; ++i) {
                for (int j = 1; j <= m_nLookAhead; ++j)
                    channels[c][i] += channels[c][i + j];
            }
        }
    }

private:
    int m_nLookAhead;
};

std::vector<float> Stream(DSP::AudioProcessor& processor, std::vector<float> left, std::vector<float> right,
                          const std::vector<std::uint32_t>& cuts) {
    std::size_t uPosition = 0;
    for (const std::uint32_t uFrames : cuts) {
        float* pointers[] = {left.data() + uPosition, right.data() + uPosition};
        processor.Process(pointers, static_cast<int>(uFrames), nullptr);
        uPosition += uFrames;
    }
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

}  // namespace

TEST_CASE("LookAheadStreamer lets each sample see those that follow it, and delays by as many") {
    const auto left = Test::Noise(1, 600);
    const auto right = Test::Noise(2, 600);
    for (const int nLookAhead : {0, 1, 25, 200}) {
        CAPTURE(nLookAhead);
        std::vector<float> expected;
        for (const auto* channel : {&left, &right}) {
            for (int n = 0; n < 600; ++n) {
                const auto at = [&](int i) { return i < 0 ? 0.0f : (*channel)[static_cast<std::size_t>(i)]; };
                float fSum = at(n - nLookAhead);
                for (int j = 1; j <= nLookAhead; ++j)
                    fSum += at(n - nLookAhead + j);
                expected.push_back(fSum);
            }
        }
        SumAhead inner(nLookAhead);
        DSP::LookAheadStreamer streamer(inner);
        for (std::uint64_t uSeed = 0; uSeed < 5; ++uSeed) {
            CAPTURE(uSeed);
            // Set up for 16 frames: longer blocks grow it in mid-stream and lose nothing.
            streamer.Configure(2, 2, 16);
            CHECK(streamer.Latency() == nLookAhead);
            const std::uint32_t uLongest = std::vector<std::uint32_t>{1, 10, 24, 100, 600}[uSeed];
            const auto output = Stream(streamer, left, right, Test::RandomCuts(uSeed, 600, uLongest));
            CHECK(Test::FirstDifference(output, expected) == -1);
            streamer.Reset();
            CHECK(Test::FirstDifference(Stream(streamer, left, right, {600}), expected) == -1);
        }
    }
}

TEST_CASE("LookAheadStreamer: zero frames change nothing, and nothing is allocated once it has grown") {
    SumAhead inner(25);
    DSP::LookAheadStreamer streamer(inner);
    streamer.Configure(2, 2, 64);
    std::vector<float> left(64, 1.0f), right(64, 1.0f);
    float* pointers[] = {left.data(), right.data()};
    streamer.Process(pointers, 64, nullptr);
    Test::AllocationCounter counter;
    for (const int nFrames : {0, 1, 64, 63})
        streamer.Process(pointers, nFrames, nullptr);
    CHECK(counter.Count() == 0);
}

TEST_CASE("DataTail keeps its tail through drops and growth, and starts from silence") {
    DSP::DataTail tail;
    tail.SetUp(2, 2, 8, 5);
    CHECK(tail.Fill() == 5);
    CHECK(tail.Capacity() == 13);
    const auto left = Test::Noise(3, 40);
    const auto right = Test::Noise(4, 40);
    for (std::size_t u = 0; u < 40; u += 8) {
        if (u == 16) tail.Grow(100);
        const float* inputs[] = {left.data() + u, right.data() + u};
        tail.Append(inputs, 8);
        CHECK(tail.Fill() == 13);
        for (std::size_t i = 0; i < 13; ++i) {
            const float fLeft = u + i < 5 ? 0.0f : left[u + i - 5];
            const float fRight = u + i < 5 ? 0.0f : right[u + i - 5];
            REQUIRE(tail.Data(0)[i] == fLeft);
            REQUIRE(tail.Data(1)[i] == fRight);
        }
        tail.Drop(8);
    }
    CHECK(tail.Capacity() == 105);
    tail.Reset();
    CHECK(tail.Fill() == 5);
    CHECK(tail.Data(1)[4] == 0.0f);

    // More than there is room for is not taken; a tail of nothing at all still has a sample.
    DSP::DataTail tiny;
    tiny.SetUp(1, 1, -3, 0);
    CHECK(tiny.Capacity() == 1);
    const float* inputs[] = {left.data()};
    tiny.Append(inputs, 5);
    CHECK(tiny.Fill() == 1);
}

TEST_CASE("ApplyKaiserWindow follows the integral of the Bessel function, symmetrically") {
    // I0(x) = 1 / pi times the integral of exp(x cos t) over 0 .. pi, by the trapezoidal rule, which
    // converges beyond all powers for a periodic function.
    const auto bessel = [](double x) {
        double fSum = 0.0;
        for (int i = 0; i < 400; ++i)
            fSum += std::exp(x * std::cos((i + 0.5) * std::numbers::pi / 400));
        return fSum / 400;
    };
    for (const int nLength : {2, 63, 64, 1023}) {
        for (const double fBeta : {0.0, 5.0, 9.0, 20.0}) {
            CAPTURE(nLength);
            CAPTURE(fBeta);
            std::vector<double> window(static_cast<std::size_t>(nLength), 1.0);
            DSP::ApplyKaiserWindow(window.data(), nLength, fBeta);
            double fWorst = 0.0;
            bool bSymmetric = true;
            for (std::size_t i = 0; i < window.size(); ++i) {
                const double m = (nLength - 1) / 2.0;
                const double x = (static_cast<double>(i) - m) / m;
                const double fExpected = bessel(fBeta * std::sqrt(std::max(0.0, 1 - x * x))) / bessel(fBeta);
                fWorst = std::max(fWorst, std::abs(window[i] - fExpected));
                bSymmetric = bSymmetric && window[i] == window[window.size() - 1 - i];
            }
            CHECK(fWorst < 1e-9);
            CHECK(bSymmetric);
        }
    }
    float fOne = 0.5f;
    DSP::ApplyKaiserWindow(&fOne, 1, 9.0);
    CHECK(fOne == 0.5f);
    DSP::ApplyKaiserWindow(&fOne, 0, 9.0);
}

TEST_CASE("ResampleInt by five has its images 60 dB down, a flat passband and a delay of 31") {
    DSP::ResampleInt resampler;
    resampler.Design(5, 1, 64, 5.0);
    resampler.Configure(1, 1, 256);
    CHECK(resampler.Delay() == 31);
    CHECK(resampler.Length() == 64);
    double fSum = 0.0;
    for (const float fTap : resampler.Taps())
        fSum += double{fTap};
    CHECK(std::abs(fSum - 5.0) < 1e-5);
    for (std::size_t i = 0; i < 63; ++i)
        CHECK(resampler.Taps()[i] == resampler.Taps()[62 - i]);
    CHECK(resampler.Taps()[63] == 0.0f);

    // The response of the taps at a fraction of the low rate; 1 at DC, 0 at its multiples.
    const auto magnitude = [&](double fCycles) {
        double re = 0.0, im = 0.0;
        for (std::size_t i = 0; i < 64; ++i) {
            const double fAngle = 2 * std::numbers::pi * fCycles * static_cast<double>(i) / 5.0;
            re += double{resampler.Taps()[i]} * std::cos(fAngle);
            im += double{resampler.Taps()[i]} * std::sin(fAngle);
        }
        return std::hypot(re, im) / 5.0;
    };
    for (double f = 0.0; f < 0.35; f += 0.01)
        CHECK(std::abs(magnitude(f) - 1.0) < 0.01);
    for (double f = 0.65; f <= 2.5; f += 0.01)
        CHECK(magnitude(f) < 1e-2);
    for (double f = 0.8; f <= 2.5; f += 0.01)
        CHECK(magnitude(f) < 1.5e-3);
}

TEST_CASE("ResampleInt gives the plain sum, however the stream is cut, phase by phase or interleaved") {
    const auto input = Test::Noise(5, 400);
    DSP::ResampleInt resampler;
    resampler.Design(5, 1, 64, 5.0);
    resampler.Configure(1, 1, 400);
    const auto& taps = resampler.Taps();
    std::vector<float> expected(2000);
    double fWorst = 0.0;
    for (std::size_t m = 0; m < 2000; ++m) {
        double fSum = 0.0;
        for (std::size_t i = m % 5; i < 64 && i / 5 <= m / 5; i += 5) {
            fSum += double{taps[i]} * double{input[m / 5 - i / 5]};
        }
        expected[m] = static_cast<float>(fSum);
    }
    const auto run = [&](const std::vector<std::uint32_t>& cuts) {
        resampler.Reset();
        std::vector<float> output(2000);
        std::size_t uPosition = 0;
        for (const std::uint32_t uFrames : cuts) {
            float* in = const_cast<float*>(input.data()) + uPosition;
            float* out = output.data() + 5 * uPosition;
            resampler.Process(&in, static_cast<int>(uFrames), &out);
            uPosition += uFrames;
        }
        return output;
    };
    const auto whole = run({400});
    for (std::size_t m = 0; m < 2000; ++m)
        fWorst = std::max(fWorst, std::abs(double{whole[m] - expected[m]}));
    CHECK(fWorst < 1e-6);
    for (std::uint64_t uSeed = 0; uSeed < 4; ++uSeed) {
        CHECK(Test::FirstDifference(run(Test::RandomCuts(uSeed, 400, 37)), whole) == -1);
    }
    resampler.Reset();
    std::vector<std::vector<float>> phases(5, std::vector<float>(400));
    float* pointers[] = {phases[0].data(), phases[1].data(), phases[2].data(), phases[3].data(),
                         phases[4].data()};
    resampler.ProcessPhases(0, input.data(), 400, pointers);
    bool bEqual = true;
    for (std::size_t m = 0; m < 2000; ++m)
        bEqual = bEqual && phases[m % 5][m / 5] == whole[m];
    CHECK(bEqual);
}
