#include <array>
#include <memory>
#include <vector>

#include <doctest/doctest.h>

#include "dsp/Dynamics.h"
#include "dsp/vector/Dispatch.h"
#include "tests/support/CountingAllocator.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

namespace {

using DSP::DynamicsBand;
using DSP::DynamicsField;

constexpr std::size_t kBands = DynamicsBand::kMostBands;

/// Four bands of audio, loud and soft by turns, each for itself.
struct Signals {
    std::array<std::vector<float>, kBands> left, right;

    Signals(std::uint64_t uSeed, std::size_t uFrames) {
        Test::Random random(uSeed);
        for (std::size_t b = 0; b < kBands; ++b) {
            left[b] = Test::Noise(random.Next(), uFrames);
            right[b] = Test::Noise(random.Next(), uFrames);
            float fGain = 1.0f;
            for (std::size_t i = 0; i < uFrames; ++i) {
                if (i % 200 == 0) fGain = random.Uniform(0.0f, 1.0f) * random.Uniform(0.0f, 1.0f);
                left[b][i] *= fGain;
                right[b][i] *= fGain;
            }
        }
    }
};

/// The last band has idle stages and stays at rest.
void Configure(DynamicsBand& band, std::size_t iBand) {
    if (iBand + 1 == kBands) return;
    const auto fStep = static_cast<float>(iBand);
    band.Set(DynamicsField::CompThreshold, -20.0f - 3.0f * fStep);
    band.Set(DynamicsField::CompRatio, 2.0f + fStep);
    band.Set(DynamicsField::LimThreshold, -8.0f);
    band.Set(DynamicsField::GateThreshold, -24.0f);
    band.Set(DynamicsField::GateRatio, 1.5f + fStep);
    band.Set(DynamicsField::GateAttack, 3.0f + 5.0f * fStep);
}

using Bank = std::array<DynamicsBand, kBands>;

std::unique_ptr<Bank> MakeBank() {
    auto bank = std::make_unique<Bank>();
    for (std::size_t b = 0; b < kBands; ++b)
        Configure((*bank)[b], b);
    return bank;
}

}  // namespace

TEST_CASE("Dynamics: bands side by side, any of them and at any phase, are what each is by itself") {
    constexpr std::uint32_t kFrames = 4000;
    Test::Random random(61);
    for (const DSP::ProcessorLevel& level : DSP::AvailableProcessorLevels()) {
        CAPTURE(level.strName);
        DSP::UseProcessorLevel(level);
        for (std::uint32_t uMode = 0; uMode < 8; ++uMode) {
            CAPTURE(uMode);
            const DSP::DynamicsMode mode{(uMode & 1) != 0, (uMode & 2) != 0, true, 0.99f, 1.1f};
            const bool bMono = (uMode & 4) != 0;
            Signals together(random.Next(), kFrames);
            Signals apart = together;
            const auto bankTogether = MakeBank();
            const auto bankApart = MakeBank();
            const auto cuts = Test::RandomCuts(random.Next(), kFrames, 500);
            std::size_t uPosition = 0;
            for (const std::uint32_t uLength : cuts) {
                // A band that is left out falls behind in its delay and its noise.
                const std::uint32_t uBands = random.Next() % 16;
                std::vector<DynamicsBand::Audio> audio;
                for (std::size_t b = 0; b < kBands; ++b) {
                    if ((uBands >> b & 1) == 0) continue;
                    const auto right = [&](Signals& signals) {
                        return bMono ? nullptr : signals.right[b].data() + uPosition;
                    };
                    audio.push_back(
                        {&(*bankTogether)[b], together.left[b].data() + uPosition, right(together)});
                    (*bankApart)[b].Process(mode, static_cast<std::int32_t>(uLength),
                                            apart.left[b].data() + uPosition, right(apart));
                }
                const Test::AllocationCounter counter;
                DynamicsBand::ProcessBands(mode, static_cast<std::int32_t>(uLength), audio);
                REQUIRE(counter.Count() == 0);
                uPosition += uLength;
            }
            for (std::size_t b = 0; b < kBands; ++b) {
                CAPTURE(b);
                CHECK(Test::FirstDifference(together.left[b], apart.left[b]) == -1);
                CHECK(Test::FirstDifference(together.right[b], apart.right[b]) == -1);
                DynamicsBand& x = (*bankTogether)[b];
                DynamicsBand& y = (*bankApart)[b];
                CHECK(x.MinimumCompGain().Read() == y.MinimumCompGain().Read());
                CHECK(x.MinimumGateGain().Read() == y.MinimumGateGain().Read());
                CHECK(x.LevelPeak().Read() == y.LevelPeak().Read());
                CHECK(x.Histogram() == y.Histogram());
            }
        }
    }
    DSP::UseBestProcessorLevel();
}

TEST_CASE("Dynamics: a call with bands reaches each band's own settings and leaves a missing band alone") {
    Test::TestContext context;
    DSP::Dynamics together(context), apart(context);
    for (DSP::Dynamics* const dynamics : {&together, &apart}) {
        Component& component = *dynamics;
        component.SetSampleRate(44100);
        component.SetBool(0, false);
        component.SetActive(true);
        for (std::uint32_t b = 0; b < kBands; ++b)
            component.SetFloat(1 + b, 3.0f * static_cast<float>(b) - 5.0f);
    }
    Signals x(62, 700);
    const Signals before = x;
    Signals y = x;
    std::array<float*, kBands> left, right;
    for (std::size_t b = 0; b < kBands; ++b) {
        left[b] = b == 1 ? nullptr : x.left[b].data();
        right[b] = b == 1 ? nullptr : x.right[b].data();
        if (b == 1) continue;
        static_cast<Component&>(apart).SetStage(static_cast<std::uint32_t>(b));
        apart.ProcessAutomated({}, 700, y.left[b].data(), y.right[b].data());
    }
    std::vector<float> unsplit(700), unsplitRight(700);
    REQUIRE(together.TakesAllBands());
    together.ProcessAutomated({}, 700, unsplit.data(), unsplitRight.data(), false, left.data(), right.data());
    CHECK(x.left == y.left);
    CHECK(x.right == y.right);
    CHECK(x.left[1] == before.left[1]);
    CHECK(x.left[0] != before.left[0]);
    CHECK(unsplit == std::vector<float>(700));
}
