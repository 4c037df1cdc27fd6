#include "dsp/vector/FftStereo.h"

#include <doctest/doctest.h>

#include <vector>

#include "tests/vector/KernelCases.h"
#include "tests/vector/Signals.h"

namespace {

std::vector<float> Spectrum(int nOrder, const std::vector<float>& x) {
    const DSP::RealFft fft(nOrder);
    std::vector<float> spectrum(fft.SpectrumLength());
    std::vector<float> work(fft.WorkLength());
    fft.Forward(x.data(), spectrum.data(), work.data());
    return spectrum;
}

// The cyclic convolution, term by term.
std::vector<double> Convolved(const std::vector<float>& x, const std::vector<float>& h) {
    std::vector<double> y(x.size());
    for (std::size_t n = 0; n < x.size(); ++n) {
        for (std::size_t m = 0; m < h.size(); ++m) {
            y[(n + m) % x.size()] += static_cast<double>(x[n]) * static_cast<double>(h[m]);
        }
    }
    return y;
}

struct Stereo {
    std::vector<float> left;
    std::vector<float> right;
};

struct Tiles {
    explicit Tiles(int nOrder) : fft(nOrder), work(fft.WorkLength()) {}

    std::vector<float> Forward(const std::vector<float>& left, const std::vector<float>* right) {
        std::vector<float> tiles(fft.TilesLength(), 55.0f);
        fft.ForwardTiles(left.data(), right != nullptr ? right->data() : nullptr, tiles.data(), work.data());
        return tiles;
    }
    Stereo Inverse(const std::vector<float>& tiles) {
        Stereo out{std::vector<float>(fft.Length()), std::vector<float>(fft.Length())};
        fft.InverseTiles(tiles.data(), out.left.data(), out.right.data(), work.data());
        return out;
    }

    DSP::StereoFft fft;
    std::vector<float> work;
};

}  // namespace

TEST_CASE(
    "StereoFft: each channel has its own real spectrum, mono has the left one, and the inverse undoes it") {
    for (int nOrder = 1; nOrder <= 16; ++nOrder) {
        CAPTURE(nOrder);
        const DSP::StereoFft fft(nOrder);
        REQUIRE(fft.Order() == nOrder);
        const double bound = 0.6e-7 * (nOrder + 1);
        const auto left = Test::Noise<float>(1, fft.Length());
        const auto right = Test::Noise<float>(2, fft.Length());
        std::vector<float> work(fft.WorkLength());
        std::vector<float> leftSpectrum(fft.SpectrumLength());
        std::vector<float> rightSpectrum(fft.SpectrumLength());
        fft.Forward(left.data(), right.data(), leftSpectrum.data(), rightSpectrum.data(), work.data());
        CHECK(Test::RelativeError(leftSpectrum, Spectrum(nOrder, left)) < 2 * bound);
        CHECK(Test::RelativeError(rightSpectrum, Spectrum(nOrder, right)) < 2 * bound);
        CHECK(leftSpectrum[1] == 0.0f);
        CHECK(rightSpectrum.back() == 0.0f);

        // What stands in the imaginary parts of the ends does not leak into the other channel.
        leftSpectrum[1] = 3.0f;
        rightSpectrum.back() = 7.0f;
        std::vector<float> l(fft.Length());
        std::vector<float> r(fft.Length());
        fft.Inverse(leftSpectrum.data(), rightSpectrum.data(), l.data(), r.data(), work.data());
        CHECK(Test::RelativeError(l, left) < 1.4 * bound);
        CHECK(Test::RelativeError(r, right) < 1.4 * bound);

        std::vector<float> mono(fft.SpectrumLength());
        fft.Forward(left.data(), nullptr, mono.data(), nullptr, work.data());
        CHECK(Test::RelativeError(mono, Spectrum(nOrder, left)) < 2 * bound);
        fft.Inverse(mono.data(), nullptr, l.data(), nullptr, work.data());
        CHECK(Test::RelativeError(l, left) < 1.4 * bound);
    }
}

TEST_CASE("StereoFft: products in tiles convolve both channels with one impulse, and with one impulse each") {
    for (const int nOrder : {1, 2, 3, 4, 5, 6, 7, 8, 9, 11}) {
        CAPTURE(nOrder);
        Tiles t(nOrder);
        const auto left = Test::Noise<float>(1, t.fft.Length());
        const auto right = Test::Noise<float>(2, t.fft.Length());
        const auto h = Test::Noise<float>(3, t.fft.Length());
        const auto g = Test::Noise<float>(4, t.fft.Length());
        const auto z = t.Forward(left, &right);
        const auto hTiles = t.Forward(h, nullptr);
        const auto gTiles = t.Forward(g, nullptr);
        const double bound = 2.5e-7 * (nOrder + 1);

        // The bins are in natural order, sixteen real parts before sixteen imaginary ones.
        std::vector<float> bins;
        for (std::size_t k = 0; k <= t.fft.Length() / 2; ++k) {
            bins.push_back(hTiles[k / 16 * 32 + k % 16]);
            bins.push_back(hTiles[k / 16 * 32 + 16 + k % 16]);
        }
        CHECK(Test::RelativeError(bins, Spectrum(nOrder, h)) < 1.2e-7 * nOrder);
        if (t.fft.Length() < 16) CHECK(hTiles[t.fft.Length()] == 0.0f);

        std::vector<float> first(t.fft.TilesLength());
        t.fft.MultiplyAddTiles(z.data(), hTiles.data(), first.data());
        const Stereo both = t.Inverse(first);
        CHECK(Test::RelativeError(both.left, Convolved(left, h)) < bound);
        CHECK(Test::RelativeError(both.right, Convolved(right, h)) < bound);

        std::vector<float> second(t.fft.TilesLength());
        t.fft.MultiplyAddTiles(z.data(), gTiles.data(), second.data());
        std::vector<float> merged(t.fft.TilesLength());
        t.fft.MergeTiles(first.data(), second.data(), merged.data());
        const Stereo own = t.Inverse(merged);
        CHECK(Test::RelativeError(own.left, Convolved(left, h)) < bound);
        CHECK(Test::RelativeError(own.right, Convolved(right, g)) < bound);

        auto onto = first;
        t.fft.MergeTiles(onto.data(), second.data(), onto.data());
        CHECK(Test::FirstBitDifference(onto, merged) == -1);
        onto = second;
        t.fft.MergeTiles(first.data(), onto.data(), onto.data());
        CHECK(Test::FirstBitDifference(onto, merged) == -1);
    }
}

TEST_CASE("StereoFft: many products in one call are as many calls, at every level") {
    Tiles t(6);
    const auto noise = Test::Noise<float>(10, 14 * t.fft.TilesLength());
    std::vector<const float*> a, b;
    std::vector<float> expected(t.fft.TilesLength());
    for (std::size_t i = 0; i < 7; ++i) {
        a.push_back(&noise[2 * i * t.fft.TilesLength()]);
        b.push_back(&noise[(2 * i + 1) * t.fft.TilesLength()]);
        t.fft.MultiplyAddTiles(a[i], b[i], expected.data());
    }
    Test::AtEveryLevel([&] {
        std::vector<float> sum(t.fft.TilesLength());
        t.fft.MultiplyAddTiles(a.data(), b.data(), 0, sum.data());
        CHECK(sum == std::vector<float>(t.fft.TilesLength()));
        t.fft.MultiplyAddTiles(a.data(), b.data(), 3, sum.data());
        t.fft.MultiplyAddTiles(a.data() + 3, b.data() + 3, 4, sum.data());
        CHECK(Test::FirstBitDifference(sum, expected) == -1);
    });
}

TEST_CASE("StereoFft: every level gives the same bits in both forms") {
    for (int nOrder = 1; nOrder <= 15; ++nOrder) {
        CAPTURE(nOrder);
        Tiles t(nOrder);
        const auto left = Test::Noise<float>(21, t.fft.Length());
        const auto right = Test::Noise<float>(22, t.fft.Length());
        std::vector<float> first;
        std::vector<float> all(2 * t.fft.SpectrumLength() + 2 * t.fft.TilesLength() + 4 * t.fft.Length());
        Test::AtEveryLevel([&] {
            float* l = all.data();
            float* r = l + t.fft.SpectrumLength();
            float* z = r + t.fft.SpectrumLength();
            float* merged = z + t.fft.TilesLength();
            float* out = merged + t.fft.TilesLength();
            t.fft.Forward(left.data(), right.data(), l, r, t.work.data());
            t.fft.Inverse(l, r, out, out + t.fft.Length(), t.work.data());
            t.fft.ForwardTiles(left.data(), right.data(), z, t.work.data());
            // Of the same channels turned round the merge takes a channel each.
            t.fft.ForwardTiles(right.data(), left.data(), merged, t.work.data());
            t.fft.MergeTiles(z, merged, merged);
            t.fft.InverseTiles(merged, out + 2 * t.fft.Length(), out + 3 * t.fft.Length(), t.work.data());
            if (first.empty()) first = all;
            CHECK(Test::FirstBitDifference(all, first) == -1);
        });
        first.erase(first.begin(), first.end() - 2 * static_cast<std::ptrdiff_t>(t.fft.Length()));
        auto twice = left;
        twice.insert(twice.end(), left.begin(), left.end());
        CHECK(Test::RelativeError(first, twice) < 1e-6);
    }
}
