#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <cstdint>
#include <vector>

#include "bench/support/Rounds.h"
#include "dsp/vector/AlignedVector.h"
#include "dsp/vector/ComplexMulAdd.h"
#include "dsp/vector/Fft.h"
#include "dsp/vector/FftStereo.h"
#include "tests/support/Signals.h"

// Two channels there and back, with each round's input a fresh copy. Items are stereo frames.

namespace {

using Floats = DSP::AlignedVector<float>;

Floats Noise(std::uint32_t uSeed, std::size_t uLength) {
    const auto noise = Test::Noise(uSeed, uLength);
    return {noise.begin(), noise.end()};
}

void StereoTiles(benchmark::State& state) {
    const Bench::Level level(state, state.range(1));
    if (!level) return;
    const DSP::StereoFft fft(static_cast<int>(state.range(0)));
    const auto left = Noise(1, fft.Length());
    const auto right = Noise(2, fft.Length());
    Floats tiles(fft.TilesLength());
    Floats l(fft.Length());
    Floats r(fft.Length());
    Floats work(fft.WorkLength());
    for (auto _ : state) {
        fft.ForwardTiles(left.data(), right.data(), tiles.data(), work.data());
        fft.InverseTiles(tiles.data(), l.data(), r.data(), work.data());
        benchmark::ClobberMemory();
    }
    Bench::Report(state, fft.Length());
}

void StereoNatural(benchmark::State& state) {
    const Bench::Level level(state, state.range(1));
    if (!level) return;
    const DSP::StereoFft fft(static_cast<int>(state.range(0)));
    const auto left = Noise(1, fft.Length());
    const auto right = Noise(2, fft.Length());
    Floats leftSpectrum(fft.SpectrumLength());
    Floats rightSpectrum(fft.SpectrumLength());
    Floats l(fft.Length());
    Floats r(fft.Length());
    Floats work(fft.WorkLength());
    for (auto _ : state) {
        fft.Forward(left.data(), right.data(), leftSpectrum.data(), rightSpectrum.data(), work.data());
        fft.Inverse(leftSpectrum.data(), rightSpectrum.data(), l.data(), r.data(), work.data());
        benchmark::ClobberMemory();
    }
    Bench::Report(state, fft.Length());
}

void RealTwice(benchmark::State& state) {
    const Bench::Level level(state, state.range(1));
    if (!level) return;
    const DSP::RealFft fft(static_cast<int>(state.range(0)));
    const auto left = Noise(1, fft.Length());
    const auto right = Noise(2, fft.Length());
    Floats leftSpectrum(fft.SpectrumLength());
    Floats rightSpectrum(fft.SpectrumLength());
    Floats l(fft.Length());
    Floats r(fft.Length());
    Floats work(fft.WorkLength());
    for (auto _ : state) {
        fft.Forward(left.data(), leftSpectrum.data(), work.data());
        fft.Forward(right.data(), rightSpectrum.data(), work.data());
        fft.Inverse(leftSpectrum.data(), l.data(), work.data());
        fft.Inverse(rightSpectrum.data(), r.data(), work.data());
        benchmark::ClobberMemory();
    }
    Bench::Report(state, fft.Length());
}

// The peer: two real transforms each way, planned by measurement. Inverse plans may destroy their input.
void FftwTwice(benchmark::State& state) {
    const int nLength = 1 << state.range(0);
    const auto uLength = static_cast<std::size_t>(nLength);
    auto left = Noise(1, uLength);
    auto right = Noise(2, uLength);
    Floats leftSpectrum(uLength + 2);
    Floats rightSpectrum(uLength + 2);
    Floats l(uLength);
    Floats r(uLength);
    const auto bins = [](Floats& spectrum) { return reinterpret_cast<fftwf_complex*>(spectrum.data()); };
    const fftwf_plan plans[] = {
        fftwf_plan_dft_r2c_1d(nLength, left.data(), bins(leftSpectrum), FFTW_MEASURE),
        fftwf_plan_dft_r2c_1d(nLength, right.data(), bins(rightSpectrum), FFTW_MEASURE),
        fftwf_plan_dft_c2r_1d(nLength, bins(leftSpectrum), l.data(), FFTW_MEASURE),
        fftwf_plan_dft_c2r_1d(nLength, bins(rightSpectrum), r.data(), FFTW_MEASURE)};
    left = Noise(1, uLength);
    right = Noise(2, uLength);
    for (auto _ : state) {
        for (const fftwf_plan& plan : plans)
            fftwf_execute(plan);
        benchmark::ClobberMemory();
    }
    for (const fftwf_plan& plan : plans)
        fftwf_destroy_plan(plan);
    Bench::Report(state, uLength);
}

// The multiply of a convolution: eight spectra of two channels against eight of an impulse, 2048 points.
void MultiplyTiles(benchmark::State& state) {
    const DSP::StereoFft fft(11);
    constexpr int kPairs = 8;
    std::vector<Floats> spectra;
    std::vector<const float*> a;
    std::vector<const float*> b;
    for (std::uint32_t i = 0; i < 2 * kPairs; ++i)
        spectra.push_back(Noise(i + 1, fft.TilesLength()));
    for (std::size_t i = 0; i < kPairs; ++i) {
        a.push_back(spectra[2 * i].data());
        b.push_back(spectra[2 * i + 1].data());
    }
    Floats sum(fft.TilesLength());
    for (auto _ : state) {
        fft.MultiplyAddTiles(a.data(), b.data(), kPairs, sum.data());
        benchmark::ClobberMemory();
    }
    Bench::Report(state, fft.Length() * kPairs);
}

void MultiplyInterleaved(benchmark::State& state) {
    constexpr int kCount = 2048;
    const auto a = Noise(1, 2 * kCount);
    const auto b = Noise(2, 2 * kCount);
    Floats sum(2 * kCount);
    for (auto _ : state) {
        DSP::VectorComplexMulAdd(a.data(), b.data(), sum.data(), kCount);
        benchmark::ClobberMemory();
    }
    Bench::Report(state, kCount);
}

BENCHMARK(StereoTiles)->ArgsProduct({{7, 8, 10, 11, 12, 13}, {0, 1}});
BENCHMARK(StereoNatural)->ArgsProduct({{10, 12, 13}, {0, 1}});
BENCHMARK(RealTwice)->ArgsProduct({{10, 12, 13}, {0, 1}});
BENCHMARK(FftwTwice)->Args({7})->Args({8})->Args({10})->Args({11})->Args({12})->Args({13});
BENCHMARK(MultiplyTiles);
BENCHMARK(MultiplyInterleaved);

}  // namespace
