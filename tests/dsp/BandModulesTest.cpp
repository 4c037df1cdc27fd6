#include <doctest/doctest.h>

#include <algorithm>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "dsp/CrossOver.h"
#include "dsp/Dynamics.h"
#include "dsp/Exciter.h"
#include "dsp/Imager.h"
#include "hvBase/Util/ByteStream.h"
#include "hvBase/Util/Exception.h"
#include "tests/support/ModuleRun.h"
#include "tests/support/TestContext.h"

// What the crossover and the modules on its bands have in common.

using Test::RunBlocks;
using Test::RunWhole;
using Test::Stereo;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
enum : std::uint32_t { kBypass, kSoloMute };

struct Modules {
    Test::TestContext context;
    DSP::CrossOver crossOver{context};
    DSP::Dynamics dynamics{context};
    DSP::Exciter exciter{context, nullptr};
    DSP::Imager imager{context};

    /// A module whose floats go by fields, and within a field by bands.
    struct OnBands {
        Component& component;
        std::uint32_t uFirst;   ///< float of the first field
        std::uint32_t uFields;  ///< that belong to a band

        std::uint32_t Id(std::uint32_t uField, std::uint32_t uBand) const {
            return uFirst + 4 * uField + uBand;
        }
    };
    std::vector<OnBands> onBands{{dynamics, 1, 13}, {exciter, 0, 3}, {imager, 0, 2}};
};

}  // namespace

TEST_CASE_FIXTURE(Modules, "Bypass, Solo Mute and a stage beyond the bands leave the audio as it is") {
    const Stereo input = Test::StereoNoise(1, 500);
    for (const OnBands& module : onBands) {
        Component& component = module.component;
        CAPTURE(component.Name());
        component.SetFloat(0, 1);
        const auto passes = [&](std::uint32_t uStage) {
            return Same(RunWhole(component, uStage, input), input);
        };
        const auto isOff = [&] { return !component.IsActive() && passes(0); };
        const int nBefore = context.nActivityRequests;
        CHECK(isOff());
        component.SetBool(kBypass, false);
        CHECK(component.IsActive());
        CHECK_FALSE(passes(0));
        CHECK(passes(4));
        CHECK(passes(5));
        component.SetBool(kSoloMute, true);
        CHECK(isOff());
        CHECK(context.nActivityRequests == nBefore + 2);
        // The end of a preset change asks for all modules at once.
        component.SetPresetChanging(true);
        component.SetBool(kSoloMute, false);
        CHECK(context.nActivityRequests == nBefore + 2);
    }
}

TEST_CASE_FIXTURE(Modules, "A band is copied as its floats, and pasted or reset whole with the host told") {
    for (const OnBands& module : onBands) {
        Component& component = module.component;
        CAPTURE(component.Name());
        const auto band = [&](std::uint32_t uBand) {
            std::vector<float> values;
            for (std::uint32_t k = 0; k < module.uFields; ++k)
                values.push_back(component.GetFloat(module.Id(k, uBand)));
            return values;
        };
        const auto hostHeardOf = [&](std::uint32_t uBand) {
            std::vector<Test::TestContext::Event> expected;
            for (std::uint32_t k = 0; k < module.uFields; ++k) {
                expected.push_back({ParameterGroup::Float, ParameterPhase::Value, module.Id(k, uBand),
                                    component.GetFloat(module.Id(k, uBand))});
            }
            return std::exchange(context.events, {}) == expected;
        };
        std::vector<float> defaults, values, clamped;
        for (std::uint32_t k = 0; k < module.uFields; ++k) {
            const FloatRecord& record = component.FloatInfo(module.Id(k, 1));
            defaults.push_back(record.fDefault);
            values.push_back(record.fMin + 0.125f * static_cast<float>(k + 1));
            clamped.push_back(k == 1 ? record.fDefault : record.fMax);
            component.SetFloat(module.Id(k, 1), values[k]);
        }
        Util::ByteStream stream;
        component.CopyBand(1, stream);
        component.CopyBand(4, stream);
        CHECK(stream.Length() == 4 * module.uFields);
        stream.Seek(0);
        std::vector<float> copied(module.uFields);
        stream.ExtractElements(copied);
        CHECK(copied == values);
        stream.Seek(0);
        component.PasteBand(3, stream);
        CHECK(band(3) == values);
        CHECK(hostHeardOf(3));
        component.ResetBand(3);
        CHECK(band(3) == defaults);
        CHECK(band(1) == values);
        CHECK(hostHeardOf(3));

        // Values beyond the range and NaNs come from strangers; a stream that ends too soon changes nothing.
        Util::ByteStream wild;
        for (std::uint32_t k = 0; k < module.uFields; ++k)
            wild.InsertF32(static_cast<float>(k == 1 ? kNaN : 1e9));
        wild.Seek(0);
        component.PasteBand(2, wild);
        CHECK(band(2) == clamped);
        CHECK(hostHeardOf(2));
        stream.Seek(4);
        CHECK_THROWS_AS(component.PasteBand(2, stream), ::Exception::Base);
        CHECK(band(2) == clamped);
        CHECK(context.events.empty());
    }
}

TEST_CASE_FIXTURE(Modules,
                  "A delay line keeps what it holds through the same rate, and through nothing else") {
    // An exciter without mix is its delay alone.
    exciter.SetInt(0, 0);
    exciter.SetFloat(0, 15);
    exciter.SetFloat(4, 0);
    const Stereo ones{std::vector<float>(1000, 1.0f), std::vector<float>(1000, 1.0f)};
    const Stereo silence{std::vector<float>(100, 0.0f), std::vector<float>(100, 0.0f)};
    for (const auto& [component, uDelay] :
         {std::pair<Component*, std::uint32_t>{&exciter, 8}, {&imager, 4}}) {
        const auto holdsAfter = [&, module = component](auto&& change) {
            RunWhole(*module, 0, ones);
            change(*module);
            return RunWhole(*module, 0, silence).right[0] != 0.0f;
        };
        component->SetBool(kBypass, false);
        component->SetFloat(uDelay, 10);
        CHECK(holdsAfter([](Component& module) { module.SetSampleRate(44100); }));
        CHECK_FALSE(holdsAfter([](Component& module) { module.SetSampleRate(48000); }));
        CHECK_FALSE(holdsAfter([u = uDelay](Component& module) { module.SetFloat(u, 9); }));
        CHECK_FALSE(holdsAfter([](Component& module) { module.ClearState(); }));
    }
}

TEST_CASE("A second after a sample that is no sound a band module goes on as if it had not been") {
    // The chain repairs its input, but not what one module hands to the next.
    constexpr std::uint32_t kRate = 8000;
    // The detectors of the dynamics, the modes of the exciter.
    using Mode = std::pair<std::size_t, int>;
    for (const auto& mode : {Mode{0, 0}, Mode{0, 1}, Mode{1, 0}, Mode{1, 1}, Mode{1, 2}, Mode{2, 0}}) {
        for (const double fDamage : {kNaN, kInfinity, -kInfinity, 1e30, -3e38}) {
            const auto render = [&](const Stereo& input) {
                Modules modules;
                const Modules::OnBands& module = modules.onBands[mode.first];
                Component& component = module.component;
                component.SetSampleRate(kRate);
                component.SetBool(kBypass, false);
                if (mode.first == 0) component.SetBool(2, mode.second == 0);
                if (mode.first == 1) component.SetInt(0, mode.second);
                for (std::uint32_t k = 0; k < module.uFields; ++k) {
                    const FloatRecord& record = component.FloatInfo(module.Id(k, 0));
                    component.SetFloat(module.Id(k, 0), record.fMin + (record.fMax - record.fMin) * 0.05f);
                }
                return RunBlocks(component, 0, input, Test::RandomCuts(3, 2 * kRate, 500));
            };
            Stereo input = Test::StereoNoise(5, 2 * kRate, 0.5f);
            const Stereo clean = render(input);
            std::fill_n(input.left.begin() + 1000, 300, static_cast<float>(fDamage));
            input.right[1100] = static_cast<float>(fDamage);
            const Stereo damaged = render(input);
            const auto tail = [](const std::vector<float>& samples) {
                return std::vector<float>(samples.begin() + 1300 + kRate, samples.end());
            };
            CAPTURE(mode.first);
            CAPTURE(mode.second);
            CAPTURE(fDamage);
            CHECK(Test::WorstDifference(tail(damaged.left), tail(clean.left)) < 1e-5f);
            CHECK(Test::WorstDifference(tail(damaged.right), tail(clean.right)) < 1e-5f);
        }
    }
}
