#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "dsp/vector/FirScatter.h"
#include "dsp/vector/RightAngleFft.h"
#include "tests/support/Signals.h"
#include "tests/vector/KernelCases.h"

TEST_CASE("VectorFirScatter has the bits of the plain sum and writes nothing else") {
    Test::AtEveryLevel([] {
        for (const int nLength : Test::KernelLengths()) {
            for (const int nInputs : {1, 2, 7, 16, 64, 129}) {
                if (nInputs > nLength) continue;
                for (const std::size_t uOffset : {0u, 1u, 3u}) {
                    const auto inputs = Test::Noise(1, static_cast<std::size_t>(nInputs) + uOffset);
                    const auto head = Test::Noise(2, static_cast<std::size_t>(nLength));
                    std::vector<float> taps(static_cast<std::size_t>(nInputs) - 1 + uOffset);
                    taps.insert(taps.end(), head.begin(), head.end());
                    std::vector<float> destination =
                        Test::Noise(3, static_cast<std::size_t>(nLength) + uOffset + 1);
                    std::vector<float> expected = destination;
                    for (int n = 0; n < nLength; ++n) {
                        float& fSum = expected[static_cast<std::size_t>(n) + uOffset];
                        for (int j = 0; j < nInputs && j <= n; ++j) {
                            const float fProduct = inputs[static_cast<std::size_t>(j) + uOffset] *
                                                   head[static_cast<std::size_t>(n - j)];
                            fSum = fSum + fProduct;
                        }
                    }
                    const auto status = DSP::VectorFirScatter(inputs.data() + uOffset, nInputs,
                                                              taps.data() + nInputs - 1 + uOffset,
                                                              destination.data() + uOffset, nLength);
                    CAPTURE(nLength);
                    CAPTURE(nInputs);
                    CHECK(status == DSP::kVectorOk);
                    CHECK(Test::FirstDifference(destination, expected) == -1);
                }
            }
        }
    });
    float fSample = 0.0f;
    CHECK(DSP::VectorFirScatter(nullptr, 1, &fSample, &fSample, 1) == DSP::kVectorNullPointer);
    CHECK(DSP::VectorFirScatter(&fSample, 0, &fSample, &fSample, 1) == DSP::kVectorBadLength);
}

TEST_CASE("RightAngleFft convolves blocks without padding, with the same bits at every level") {
    for (const int nOrder : {4, 5, 6, 7, 8, 10, 13}) {
        CAPTURE(nOrder);
        const DSP::RightAngleFft fft(nOrder);
        const std::size_t N = fft.Length();
        REQUIRE(N == std::size_t{1} << nOrder);
        const auto a = Test::Noise(1, N);
        auto b = Test::Noise(2, N);
        // Few taps keep the model affordable at the long orders.
        for (std::size_t i = 0; i < N; ++i)
            b[i] = N > 256 && i % 97 != 0 && i + 1 != N ? 0.0f : b[i];
        std::vector<double> model(2 * N);
        for (std::size_t i = 0; i < N; ++i) {
            if (b[i] == 0.0f) continue;
            for (std::size_t n = 0; n < N; ++n)
                model[i + n] += double{b[i]} * double{a[n]};
        }
        std::vector<float> first;
        Test::AtEveryLevel([&] {
            std::vector<float> spectrumA(fft.SpectrumLength()), spectrumB(fft.SpectrumLength());
            std::vector<float> product(fft.SpectrumLength()), work(fft.WorkLength());
            fft.Forward(a.data(), spectrumA.data(), work.data());
            fft.Forward(b.data(), spectrumB.data(), work.data());
            const float* left[] = {spectrumA.data()};
            const float* right[] = {spectrumB.data()};
            fft.MultiplyAdd(left, right, 1, product.data());
            std::vector<float> output(2 * N, 1.0f);
            fft.InverseAdd(product.data(), output.data(), output.data() + N, work.data());
            double fWorst = 0.0, fSquares = 0.0;
            for (std::size_t n = 0; n < 2 * N; ++n) {
                fWorst = std::max(fWorst, std::abs(double{output[n]} - 1.0 - model[n]));
                fSquares += model[n] * model[n];
            }
            CHECK(fWorst / std::sqrt(fSquares / static_cast<double>(2 * N)) < 4e-6);
            if (first.empty()) first = output;
            CHECK(Test::FirstDifference(output, first) == -1);
        });
    }
}
