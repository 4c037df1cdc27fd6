#include "dsp/vector/Fft.h"

#include <doctest/doctest.h>
#include <fftw3.h>

#include <algorithm>
#include <array>
#include <complex>
#include <thread>
#include <vector>

#include "dsp/vector/ComplexMulAdd.h"
#include "tests/vector/KernelCases.h"
#include "tests/vector/Signals.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

// The definition, term by term.
std::vector<double> DirectSpectrum(const std::vector<float>& x) {
    std::vector<double> spectrum;
    for (std::size_t k = 0; k <= x.size() / 2; ++k) {
        std::complex<double> sum = 0.0;
        for (std::size_t n = 0; n < x.size(); ++n) {
            const double turns = static_cast<double>(k * n % x.size()) / static_cast<double>(x.size());
            sum += std::polar(static_cast<double>(x[n]), -2.0 * kPi * turns);
        }
        spectrum.push_back(sum.real());
        spectrum.push_back(sum.imag());
    }
    return spectrum;
}

std::vector<double> RefereeSpectrum(const std::vector<float>& x) {
    std::vector<double> input(x.begin(), x.end());
    std::vector<double> spectrum(x.size() + 2);
    const fftw_plan plan =
        fftw_plan_dft_r2c_1d(static_cast<int>(x.size()), input.data(),
                             reinterpret_cast<fftw_complex*>(spectrum.data()), FFTW_ESTIMATE);
    fftw_execute(plan);
    fftw_destroy_plan(plan);
    return spectrum;
}

std::vector<float> Forward(const DSP::RealFft& fft, const std::vector<float>& x) {
    std::vector<float> spectrum(fft.SpectrumLength());
    std::vector<float> work(fft.WorkLength());
    fft.Forward(x.data(), spectrum.data(), work.data());
    return spectrum;
}

std::vector<float> Inverse(const DSP::RealFft& fft, const std::vector<float>& spectrum) {
    std::vector<float> x(fft.Length());
    std::vector<float> work(fft.WorkLength());
    fft.Inverse(spectrum.data(), x.data(), work.data());
    return x;
}

}  // namespace

TEST_CASE("RealFft: the spectrum is the sum that defines it, its ends are real and the inverse undoes it") {
    for (int nOrder = 1; nOrder <= 18; ++nOrder) {
        CAPTURE(nOrder);
        const DSP::RealFft fft(nOrder);
        REQUIRE(fft.Order() == nOrder);
        const auto x = Test::Noise<float>(static_cast<std::uint32_t>(nOrder), fft.Length());
        const auto spectrum = Forward(fft, x);
        const double bound = 0.6e-7 * (nOrder + 1);
        CHECK(Test::RelativeError(spectrum, nOrder <= 10 ? DirectSpectrum(x) : RefereeSpectrum(x)) < bound);
        CHECK(spectrum[1] == 0.0f);
        CHECK(spectrum.back() == 0.0f);
        CHECK(Test::RelativeError(Inverse(fft, spectrum), x) < 1.4 * bound);
    }
}

TEST_CASE("RealFft: a pulse has the spectrum 1 bin by bin, and a flat spectrum gives a pulse of height 1") {
    for (const int nOrder : {1, 2, 5, 6, 7, 8, 9, 10, 13}) {
        CAPTURE(nOrder);
        const DSP::RealFft fft(nOrder);
        std::vector<float> pulse(fft.Length());
        pulse[0] = 1.0f;
        std::vector<float> flat(fft.SpectrumLength());
        for (std::size_t k = 0; k < flat.size(); k += 2)
            flat[k] = 1.0f;
        CHECK(Forward(fft, pulse) == flat);
        CHECK(Inverse(fft, flat) == pulse);
        const DSP::RealFft plain(nOrder, DSP::FftScaling::kNone);
        CHECK(Inverse(plain, flat)[0] == static_cast<float>(fft.Length()));
        // The imaginary parts of the ends count for nothing.
        flat[1] = 5.0f;
        flat.back() = -3.0f;
        CHECK(Inverse(fft, flat) == pulse);
    }
}

TEST_CASE("RealFft: every level, any alignment and one buffer for both sides give the same bits") {
    for (int nOrder = 1; nOrder <= 15; ++nOrder) {
        CAPTURE(nOrder);
        const DSP::RealFft fft(nOrder);
        const auto x = Test::Noise<float>(77, fft.Length());
        const auto spectrum = Forward(fft, x);
        const auto back = Inverse(fft, spectrum);
        Test::AtEveryLevel([&] {
            Test::Guarded<float> buffer(static_cast<int>(fft.SpectrumLength()), 1);
            Test::Guarded<float> work(static_cast<int>(fft.WorkLength()), 1);
            std::copy(x.begin(), x.end(), buffer.Data());
            fft.Forward(buffer.Data(), buffer.Data(), work.Data());
            CHECK(Test::FirstBitDifference(buffer.Values(), spectrum) == -1);
            fft.Inverse(buffer.Data(), buffer.Data(), work.Data());
            CHECK(std::equal(back.begin(), back.end(), buffer.Data()));
            CHECK((buffer.Intact() && work.Intact()));
        });
    }
}

TEST_CASE("VectorFft: the state's functions are RealFft and refuse what is no order") {
    DSP::FftState* state = nullptr;
    std::size_t uWork = 0;
    CHECK(DSP::VectorFftInit(&state, 0, DSP::FftScaling::kInverseByLength, &uWork) == DSP::kVectorBadLength);
    CHECK(DSP::VectorFftInit(&state, 23, DSP::FftScaling::kInverseByLength, &uWork) == DSP::kVectorBadLength);
    CHECK(DSP::VectorFftInit(nullptr, 9, DSP::FftScaling::kInverseByLength, &uWork) ==
          DSP::kVectorNullPointer);
    CHECK(state == nullptr);
    REQUIRE(DSP::VectorFftInit(&state, 9, DSP::FftScaling::kInverseByLength, &uWork) == DSP::kVectorOk);

    const DSP::RealFft fft(9);
    const auto x = Test::Noise<float>(3, fft.Length());
    std::vector<float> spectrum(fft.SpectrumLength());
    std::vector<float> back(fft.Length());
    std::vector<float> work(uWork);
    CHECK(DSP::VectorFftForward(x.data(), spectrum.data(), state, work.data()) == DSP::kVectorOk);
    CHECK(DSP::VectorFftInverse(spectrum.data(), back.data(), state, work.data()) == DSP::kVectorOk);
    CHECK(Test::FirstBitDifference(spectrum, Forward(fft, x)) == -1);
    CHECK(Test::FirstBitDifference(back, Inverse(fft, spectrum)) == -1);
    CHECK(DSP::VectorFftForward(nullptr, spectrum.data(), state, work.data()) == DSP::kVectorNullPointer);
    CHECK(DSP::VectorFftInverse(spectrum.data(), back.data(), nullptr, work.data()) ==
          DSP::kVectorNullPointer);
    CHECK(DSP::VectorFftFree(state) == DSP::kVectorOk);
    CHECK(DSP::VectorFftFree(nullptr) == DSP::kVectorNullPointer);
}

TEST_CASE("RealFft: objects made, used and dropped on several threads at once are those of one thread") {
    std::vector<std::vector<float>> expected;
    for (int nOrder = 1; nOrder <= 12; ++nOrder) {
        const DSP::RealFft fft(nOrder);
        expected.push_back(Forward(fft, Test::Noise<float>(5, fft.Length())));
    }
    const DSP::RealFft shared(10);
    std::array<int, 4> wrong{};
    std::vector<std::thread> threads;
    for (int& nWrong : wrong) {
        threads.emplace_back([&] {
            for (int nRound = 0; nRound < 120; ++nRound) {
                const int nOrder = 1 + nRound % 12;
                const DSP::RealFft own(nOrder);
                const DSP::RealFft& fft = nOrder == shared.Order() ? shared : own;
                const auto spectrum = Forward(fft, Test::Noise<float>(5, fft.Length()));
                if (spectrum != expected[static_cast<std::size_t>(nOrder - 1)]) ++nWrong;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    CHECK(wrong == std::array<int, 4>{});
}

TEST_CASE("VectorComplexMulAdd: every level and length gives the plain loop's bits, in place as well") {
    for (int nCount = 0; nCount <= 67; ++nCount) {
        CAPTURE(nCount);
        const std::size_t uFloats = 2 * static_cast<std::size_t>(nCount);
        const auto a = Test::Noise<float>(1, uFloats + 1);
        const auto b = Test::Noise<float>(2, uFloats + 1);
        const auto start = Test::Noise<float>(3, uFloats + 1);
        auto expected = start;
        auto expectedInPlace = a;
        for (std::size_t i = 0; i < uFloats; i += 2) {
            const float re = a[i] * b[i] - a[i + 1] * b[i + 1];
            const float im = a[i] * b[i + 1] + a[i + 1] * b[i];
            expected[i] += re;
            expected[i + 1] += im;
            expectedInPlace[i] += re;
            expectedInPlace[i + 1] += im;
        }
        Test::AtEveryLevel([&] {
            auto sum = start;
            const auto expectedStatus = nCount < 1 ? DSP::kVectorBadLength : DSP::kVectorOk;
            CHECK(DSP::VectorComplexMulAdd(a.data(), b.data(), sum.data(), nCount) == expectedStatus);
            CHECK(Test::FirstBitDifference(sum, expected) == -1);
            auto inPlace = a;
            DSP::VectorComplexMulAdd(inPlace.data(), b.data(), inPlace.data(), nCount);
            CHECK(Test::FirstBitDifference(inPlace, expectedInPlace) == -1);
        });
    }
    CHECK(DSP::VectorComplexMulAdd(nullptr, nullptr, nullptr, 1) == DSP::kVectorNullPointer);
}
