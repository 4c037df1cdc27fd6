#include "dsp/vector/BandBank.h"

#include <doctest/doctest.h>

#include <array>
#include <limits>
#include <vector>

#include "dsp/vector/Iir.h"
#include "tests/support/Signals.h"
#include "tests/vector/KernelCases.h"

using DSP::BandBank;

namespace {

constexpr std::size_t kBands = BandBank::kBands;

/// One band of one channel: a filter twice, a gain, and perhaps another filter twice, as cascades.
struct PlainBand {
    bool bUsed = false;
    float fGain = 1.0f;
    DSP::IirCascade first, second;

    std::vector<float> Run(std::vector<float> x) {
        first.Process(x.data(), static_cast<int>(x.size()));
        for (float& fSample : x)
            fSample *= fGain;
        second.Process(x.data(), static_cast<int>(x.size()));
        return x;
    }
};
DSP::IirCascade Twice(const BandBank::Biquad& taps) {
    const double two[] = {1.0, taps.b1, 1.0, 1.0, taps.a1, taps.a2, 1.0, taps.b1, 1.0, 1.0, taps.a1, taps.a2};
    return {two, 2};
}

using PlainBank = std::array<std::array<PlainBand, kBands>, 2>;

/// A bank and its model with the same random filters. Bit i of the masks stands for band i.
void SetUp(Test::Random& random, unsigned uBands, unsigned uSecond, BandBank& bank, PlainBank& plain) {
    const auto draw = [&random] {
        const float fRadius = random.Uniform(0.3f, 0.999f);
        return BandBank::Biquad{random.Next() % 2 == 0 ? 2.0 : -2.0,
                                double{fRadius * random.Uniform(-2.0f, 2.0f)}, double{fRadius * fRadius}};
    };
    for (std::size_t iBand = 0; iBand < kBands; ++iBand) {
        if ((uBands >> iBand & 1u) == 0) continue;
        const bool bSecond = (uSecond >> iBand & 1u) != 0;
        const BandBank::Biquad first = draw();
        const BandBank::Biquad second = draw();
        const float fGain = random.Uniform(0.0f, 2.0f);
        bank.SetBand(static_cast<int>(iBand), first, bSecond ? &second : nullptr, fGain);
        const PlainBand band{true, fGain, Twice(first), bSecond ? Twice(second) : DSP::IirCascade()};
        plain[0][iBand] = plain[1][iBand] = band;
    }
}

struct Bands {
    std::array<std::vector<float>, kBands> left;
    std::array<std::vector<float>, kBands> right;
};

Bands RunPlain(PlainBank& plain, const std::vector<float>& left, const std::vector<float>& right) {
    Bands bands;
    for (std::size_t iBand = 0; iBand < kBands; ++iBand) {
        if (!plain[0][iBand].bUsed) continue;
        bands.left[iBand] = plain[0][iBand].Run(left);
        bands.right[iBand] = plain[1][iBand].Run(right);
    }
    return bands;
}

/// Runs the bank over the signal in pieces. An empty right is mono.
Bands Run(BandBank& bank, const std::vector<float>& left, const std::vector<float>& right,
          const std::vector<std::uint32_t>& cuts) {
    const int nFrames = static_cast<int>(left.size());
    std::vector<Test::Guarded<float>> outputs;
    for (std::size_t i = 0; i < 2 * kBands; ++i)
        outputs.emplace_back(nFrames, static_cast<int>(i % 3));
    std::uint32_t uDone = 0;
    for (const std::uint32_t uLength : cuts) {
        std::array<float*, kBands> leftBands{};
        std::array<float*, kBands> rightBands{};
        for (std::size_t i = 0; i < kBands; ++i) {
            if (!bank.HasBand(static_cast<int>(i))) continue;
            leftBands[i] = outputs[i].Data() + uDone;
            rightBands[i] = right.empty() ? nullptr : outputs[kBands + i].Data() + uDone;
        }
        bank.Process(left.data() + uDone, right.empty() ? nullptr : right.data() + uDone, leftBands.data(),
                     rightBands.data(), static_cast<int>(uLength));
        uDone += uLength;
    }
    Bands bands;
    for (std::size_t i = 0; i < kBands; ++i) {
        CHECK(outputs[i].Intact());
        CHECK(outputs[kBands + i].Intact());
        if (!bank.HasBand(static_cast<int>(i))) continue;
        bands.left[i] = outputs[i].Values();
        if (!right.empty()) bands.right[i] = outputs[kBands + i].Values();
    }
    return bands;
}

void CheckEqual(const Bands& a, const Bands& b) {
    for (std::size_t iBand = 0; iBand < kBands; ++iBand) {
        CAPTURE(iBand);
        CHECK(Test::FirstDifference(a.left[iBand], b.left[iBand]) == -1);
        CHECK(Test::FirstDifference(a.right[iBand], b.right[iBand]) == -1);
    }
}

}  // namespace

TEST_CASE("BandBank: every level, length and set of bands gives the bits of the plain loop") {
    Test::AtEveryLevel([] {
        Test::Random random(5);
        auto lengths = Test::KernelLengths();
        lengths.push_back(0);
        for (const int nFrames : lengths) {
            const unsigned uBands = random.Next() % 16;
            const unsigned uSecond = random.Next() % 4 * 2;
            CAPTURE(nFrames);
            CAPTURE(uBands);
            CAPTURE(uSecond);
            BandBank bank;
            PlainBank plain;
            SetUp(random, uBands, uSecond, bank, plain);
            const auto uFrames = static_cast<std::uint32_t>(nFrames);
            const auto left = Test::Noise(random.Next(), uFrames);
            const auto right = Test::Noise(random.Next(), uFrames);
            CheckEqual(Run(bank, left, right, {uFrames}), RunPlain(plain, left, right));
            CHECK(bank.IsFinite());
        }
    });
}

TEST_CASE("BandBank: cuts, mono stretches and resets go on as the plain loop does") {
    Test::AtEveryLevel([] {
        Test::Random random(6);
        BandBank bank;
        PlainBank plain;
        SetUp(random, 15, 6, bank, plain);
        const PlainBank fresh = plain;
        const auto left = Test::Noise(1, 3000);
        const auto right = Test::Noise(2, 3000);
        CheckEqual(Run(bank, left, right, Test::RandomCuts(3, 3000, 300)), RunPlain(plain, left, right));
        // The right channel stands still in mono: the stretch behind it goes on where it was left.
        CheckEqual(Run(bank, left, {}, {300, 2700}), RunPlain(plain, left, {}));
        CheckEqual(Run(bank, right, left, {3000}), RunPlain(plain, right, left));
        bank.Reset();
        plain = fresh;
        CheckEqual(Run(bank, left, right, {3000}), RunPlain(plain, left, right));
        bank.Clear();
        for (int iBand = 0; iBand < 4; ++iBand)
            CHECK_FALSE(bank.HasBand(iBand));
    });
}

TEST_CASE("BandBank: a NaN or an infinity in either channel shows until a reset") {
    Test::AtEveryLevel([] {
        for (const float fBad :
             {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
            for (const bool bRight : {false, true}) {
                Test::Random random(7);
                BandBank bank;
                PlainBank plain;
                SetUp(random, 15, 6, bank, plain);
                auto bad = Test::Noise(1, 64);
                const auto good = Test::Noise(2, 64);
                bad.back() = fBad;
                Run(bank, bRight ? good : bad, bRight ? bad : good, {64});
                CHECK_FALSE(bank.IsFinite());
                bank.Reset();
                CHECK(bank.IsFinite());
                CheckEqual(Run(bank, good, good, {64}), RunPlain(plain, good, good));
            }
        }
    });
}
