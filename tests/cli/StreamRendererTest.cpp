#include "apps/vesca/StreamRenderer.h"

#include <doctest/doctest.h>

#include "tests/support/FakeModules.h"
#include "tests/support/Signals.h"
#include "tests/support/TestPlugin.h"

namespace {

/// A chain of one module that delays; it stands where the equalizer does.
ModuleSet BuildDelay(PluginContext& plugin) {
    ModuleSet modules;
    modules.equalizer = modules.Add<Test::FakeModule>(plugin, "Delay");
    return modules;
}

struct Rig {
    Test::TestPlugin plugin{&BuildDelay};
    Test::FakeModule& delay = dynamic_cast<Test::FakeModule&>(plugin.Find("Delay"));

    explicit Rig(std::size_t uDelay, bool bCompensate = true) {
        delay.SetLatency(uDelay);
        delay.SetOn(true);
        plugin.Set("Global: Delay Compensation", bCompensate ? 1 : 0);
    }

    struct Result {
        std::vector<float> left;
        std::vector<float> right;
        std::uint64_t uFramesIn;
        std::uint64_t uFramesOut;
        std::uint32_t uSystemDelay;
    };
    Result Render(const std::vector<float>& left, const std::vector<float>& right,
                  const std::vector<std::uint32_t>& blocks, std::uint64_t uTail = 0) {
        App::StreamRenderer renderer(plugin, 44100, right.empty() ? 1 : 2, blocks);
        Result result{};
        std::size_t uRead = 0;
        renderer.Render(
            [&](std::uint32_t uFrames, float* toLeft, float* toRight) {
                const std::size_t uCount = std::min<std::size_t>(uFrames, left.size() - uRead);
                std::copy_n(left.begin() + static_cast<std::ptrdiff_t>(uRead), uCount, toLeft);
                if (toRight) std::copy_n(right.begin() + static_cast<std::ptrdiff_t>(uRead), uCount, toRight);
                uRead += uCount;
                return static_cast<std::uint32_t>(uCount);
            },
            uTail,
            [&](std::uint32_t uFrames, const float* fromLeft, const float* fromRight) {
                result.left.insert(result.left.end(), fromLeft, fromLeft + uFrames);
                if (fromRight) result.right.insert(result.right.end(), fromRight, fromRight + uFrames);
            });
        result.uFramesIn = renderer.FramesIn();
        result.uFramesOut = renderer.FramesOut();
        result.uSystemDelay = renderer.SystemDelay();
        return result;
    }
};

/// The input behind so many zeros, cut or filled with zeros to a length.
std::vector<float> Shifted(const std::vector<float>& input, std::size_t uZeros, std::size_t uLength) {
    std::vector<float> shifted(uZeros);
    shifted.insert(shifted.end(), input.begin(), input.end());
    shifted.resize(uLength);
    return shifted;
}

/// The chain's guard against denormal numbers, twice for the flush: 2e-10 on the right.
constexpr float kGuard = 3e-10f;

}  // namespace

TEST_CASE("Renderer: a stream is as long as its input and its tail, and compensated in line with it") {
    const struct {
        bool bCompensate;
        std::uint32_t uTail;
    } ways[] = {{true, 0}, {true, 1}, {true, 299}, {true, 5000}, {false, 0}, {false, 100}};
    for (const std::size_t uDelay : {0u, 1u, 100u, 1000u}) {
        for (const std::size_t uLength : {0u, 1u, 99u, 100u, 101u, 999u, 3000u}) {
            const auto left = Test::Noise(1, uLength), right = Test::Noise(2, uLength);
            for (const auto& way : ways) {
                for (const std::vector<std::uint32_t>& blocks :
                     {std::vector<std::uint32_t>{1}, {64}, {500, 1, 7}, {8192}}) {
                    CAPTURE(uDelay);
                    CAPTURE(uLength);
                    CAPTURE(way.bCompensate);
                    CAPTURE(way.uTail);
                    CAPTURE(blocks.front());
                    Rig rig(uDelay, way.bCompensate);
                    const auto result = rig.Render(left, right, blocks, way.uTail);
                    const std::size_t uFrames = uLength + way.uTail, uZeros = way.bCompensate ? 0 : uDelay;
                    CHECK(result.uFramesIn == uLength);
                    CHECK(result.uFramesOut == uFrames);
                    CHECK(result.uSystemDelay == uDelay);
                    REQUIRE(result.left.size() == uFrames);
                    // Nothing at all has no right channel either.
                    REQUIRE(result.right.size() == (uLength == 0 ? 0 : uFrames));
                    CHECK(Test::WorstDifference(result.left, Shifted(left, uZeros, uFrames)) <= kGuard);
                    CHECK(Test::WorstDifference(result.right, Shifted(right, uZeros, uFrames)) <= kGuard);
                }
            }
        }
    }
}

TEST_CASE("Renderer: a delay or a bypass that is switched in mid-stream leaves the length exact") {
    const auto input = Test::Noise(6, 44100);
    const EnvelopeSegment switches[] = {{3'000'000, 5'000'000, 1, 1, 0, EnvelopeCurve::Jump},
                                        {5'000'000, 6'000'000, 0, 0, 0, EnvelopeCurve::Jump}};
    for (const char* const name : {"Global", "Delay"}) {
        CAPTURE(name);
        Rig rig(1000);
        rig.plugin.Find(name).Envelopes().AddSegments(ParameterGroup::Bool, 0, switches);
        CHECK(rig.Render(input, {}, {512}).left.size() == input.size());
    }
}

TEST_CASE("Renderer: a block starts at the running frame count in ticks, truncated, and lengths take turns") {
    Rig rig(0);
    rig.Render(std::vector<float>(2000), {}, {441, 1, 1000});
    const auto& calls = rig.delay.calls;
    REQUIRE(calls.size() == 6);
    const std::uint32_t lengths[] = {441, 1, 1000, 441, 1, 116};
    std::int64_t nFrames = 0;
    for (std::size_t i = 0; i < 6; ++i) {
        CAPTURE(i);
        CHECK(calls[i].uFrames == lengths[i]);
        CHECK(calls[i].nPosition == nFrames * 10'000'000 / 44100);
        nFrames += calls[i].uFrames;
    }
}
