#include <doctest/doctest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <thread>

#include "dsp/CrossOver.h"
#include "dsp/Parametric.h"
#include "dsp/vector/Dispatch.h"
#include "tests/support/ChainModes.h"
#include "tests/support/Sanitized.h"

using Test::Random;
using Test::TestPlugin;

namespace {

/// scripts/storm asks for other seeds and for longer storms.
std::uint64_t FromEnvironment(const char* name, std::uint64_t uDefault) {
    const char* const text = std::getenv(name);
    return text ? std::strtoull(text, nullptr, 10) : uDefault;
}

/// A host that listens to nothing: several threads would tell it at once.
class StormPlugin : public TestPlugin {
    void NotifyParameterEvent(ParameterGroup, ParameterPhase, Component&, std::uint32_t, const float*,
                              const bool*, const std::int32_t*) override {}
    void OnDelayCompensationChanged(bool) override {}
};

/// What other threads do to a plug-in while it streams. Each is called again and again on a thread of its
/// own, with a generator of its own.
class Storm {
public:
    explicit Storm(TestPlugin& plugin) : m_plugin(plugin), m_parameters(AllParameters(plugin.Components())) {
        plugin.CaptureState(m_factory);
        // A bypass would keep the storm from the chain.
        std::erase(m_parameters, plugin.Parameter("Global: Bypass"));
        std::erase(m_parameters, plugin.Parameter("Global: Preset Change Mode"));
        plugin.Set("Global: Preset Change Mode", 0);
    }

    void SetParameters(Random& random) {
        const ParameterRef& parameter = Draw(random);
        parameter.Set(Test::DrawValue(random, parameter));
        // Too far, or no number at all: what a broken host may send.
        if (random.Between(0, 15) == 0) parameter.Set(random.Between(0, 1) != 0 ? 1e30 : -1e30);
    }

    void LoadStates(Random& random) {
        std::vector<std::uint8_t> state;
        m_plugin.CaptureState(state);
        SetParameters(random);
        m_plugin.ApplyState(random.Between(0, 3) == 0 ? m_factory : state, Plugin::ApplyMode::Silent);
    }

    void ChangePresets(Random& random) {
        m_plugin.BeginPresetChange();
        for (int i = 0; i < 20; ++i)
            SetParameters(random);
        m_plugin.EndPresetChange();
    }

    void Automate(Random& random) {
        const ParameterRef& parameter = Draw(random);
        if (!parameter.Info().bAutomatable) return;
        EnvelopeHandler& envelopes = parameter.Owner().Envelopes();
        const auto nStart = std::int64_t{random.Between(0, 20'000'000)};
        const EnvelopeSegment segment{nStart,
                                      nStart + random.Between(1, 2'000'000),
                                      static_cast<float>(Test::DrawValue(random, parameter)),
                                      static_cast<float>(Test::DrawValue(random, parameter)),
                                      0,
                                      EnvelopeCurve::Linear};
        envelopes.AddSegments(parameter.Group(), parameter.Index(), {&segment, 1});
        parameter.Info().bTouched = random.Between(0, 7) == 0;
        if (random.Between(0, 3) == 0) StopAutomation();
    }

    void StopAutomation() {
        for (const ParameterRef& parameter : m_parameters) {
            parameter.Owner().Envelopes().RemoveSegments(parameter.Group(), parameter.Index(), INT64_MIN,
                                                         INT64_MAX);
        }
    }

    void Display(Random& random) {
        for (const ParameterRef& parameter : m_parameters)
            m_fSeen = m_fSeen + parameter.Get();
        DSP::ResponseCurve curve;
        Find<DSP::CrossOver>("CrossOver").ComputeBandResponse(random.Between(0, 3), curve);
        auto& equalizer = Find<DSP::Equalizer::Parametric>("Equalizer::Parametric");
        equalizer.TotalResponse(curve);
        equalizer.NodeResponse(random.Between(0, 7), curve);
        equalizer.MatchingResponse(curve);
        // What the editor does without a parameter, and takes back.
        equalizer.SetAuditionFilter(1000.0f, std::nullopt, std::nullopt);
        m_plugin.GetTransform().Snapshots()->SetTarget(8);
        m_plugin.GetTransform().Snapshots()->SetTarget(0);
        equalizer.ClearAuditionFilter();
        m_plugin.FinishBackgroundWork();
    }

private:
    template <class Module>
    Module& Find(const char* name) {
        return static_cast<Module&>(m_plugin.Find(name));
    }
    const ParameterRef& Draw(Random& random) const {
        return m_parameters[random.Between(0, static_cast<std::uint32_t>(m_parameters.size()) - 1)];
    }

    TestPlugin& m_plugin;
    std::vector<ParameterRef> m_parameters;
    std::vector<std::uint8_t> m_factory;
    double m_fSeen = 0;
};

/// Streams so many random blocks of noise and counts them; a host changes rate and channels in between, on
/// the thread that streams. Returns whether all of the output was finite.
bool Stream(TestPlugin& plugin, Random& random, std::uint64_t uBlocks, std::atomic<std::uint64_t>& uDone) {
    bool bFinite = true;
    bool bStereo = true;
    std::int64_t nPosition = 0;
    for (; uDone < uBlocks; ++uDone) {
        if (random.Between(0, 255) == 0) {
            plugin.EndStreaming();
            constexpr std::uint32_t kRates[] = {8000, 44100, 48000, 96000, 384000};
            plugin.BeginStreaming(kRates[random.Between(0, 3 + random.Between(0, 1))]);
            bStereo = random.Between(0, 3) != 0;
        }
        const std::uint32_t uFrames = random.Between(1, random.Between(0, 3) == 0 ? 3000 : 128);
        TestPlugin::Audio input{Test::Noise(random.Next(), uFrames), Test::Noise(random.Next(), uFrames)};
        TestPlugin::Audio output{std::vector<float>(uFrames), std::vector<float>(uFrames)};
        if (random.Between(0, 31) == 0) input.left[uFrames / 2] = 1e30f;
        plugin.SetBlockStart(nPosition);
        nPosition = (nPosition + std::int64_t{uFrames} * 10'000'000 / plugin.SampleRate()) % 20'000'000;
        plugin.Process(uFrames, input.left.data(), bStereo ? input.right.data() : nullptr, output.left.data(),
                       bStereo ? output.right.data() : nullptr);
        bFinite = bFinite && Test::FindFaults(output).uNotFinite == 0;
        // A host waits for its sound card between two blocks; without a pause the transform lock is never
        // free.
        std::this_thread::yield();
    }
    return bFinite;
}

}  // namespace

TEST_CASE("A storm of settings, states, presets, automation and rates leaves the sound to the parameters") {
    const std::uint64_t uSeed = FromEnvironment("VESCA_STORM_SEED", 1);
    const std::uint64_t uRounds = FromEnvironment("VESCA_STORM_ROUNDS", 1);
    CAPTURE(uSeed);
    // The thread sanitizer sees no access that is wider than 16 bytes.
    if (Test::kThreadSanitized) DSP::UseProcessorLevel(DSP::AvailableProcessorLevels().back());
    StormPlugin plugin;
    Storm storm(plugin);
    plugin.BeginStreaming(44100);

    constexpr std::uint64_t kBlocks = 400;
    struct Work {
        void (Storm::*act)(Random&);
        std::uint64_t uTimes;  ///< in kBlocks blocks
    };
    constexpr Work kWork[] = {{&Storm::SetParameters, 800}, {&Storm::SetParameters, 400},
                              {&Storm::LoadStates, 20},     {&Storm::ChangePresets, 20},
                              {&Storm::Automate, 300},      {&Storm::Display, 20}};
    std::atomic<std::uint64_t> uDone = 0;
    std::vector<std::thread> threads;
    for (const Work& work : kWork) {
        threads.emplace_back([&, work, uOwnSeed = 100 * uSeed + threads.size()] {
            Random random(uOwnSeed);
            for (std::uint64_t i = 0; i < work.uTimes * uRounds; ++i) {
                // Spread over the stream: a thread that does nothing else would starve it.
                while (uDone * work.uTimes < i * kBlocks)
                    std::this_thread::yield();
                (storm.*work.act)(random);
            }
        });
    }
    Random random(uSeed);
    CHECK(Stream(plugin, random, kBlocks * uRounds, uDone));
    for (std::thread& thread : threads)
        thread.join();

    // A plug-in that never saw the storm sounds the same with the same parameters. What depends on the past
    // by design is set anew: cutoffs out of order keep the filters, the partner of a linked gain goes beyond
    // its range, and a new reverb's room is of its own.
    storm.StopAutomation();
    plugin.EndStreaming();
    constexpr std::pair<const char*, double> kAnew[] = {
        {"Global: Process As Mono", 0}, {"Global: Delay Compensation", 0}, {"Input Gain Slider Lock", 0},
        {"Output Gain Slider Lock", 0}, {"Gain: Input Left", -3},          {"Gain: Input Right", -4},
        {"Gain: Output Left", -5},      {"Gain: Output Right", -6},        {"CrossOver: Cutoff 1", 100},
        {"CrossOver: Cutoff 2", 1000},  {"CrossOver: Cutoff 3", 10000},    {"RVB: Room Size", 0.3}};
    for (const auto& [name, fValue] : kAnew) {
        plugin.Set(name, plugin.Parameter(name).Default());
        plugin.Set(name, fValue);
    }
    StormPlugin fresh;
    std::vector<std::uint8_t> state;
    plugin.CaptureState(state);
    fresh.ApplyState(state, Plugin::ApplyMode::Silent);
    std::vector<std::vector<float>> outputs;
    for (TestPlugin* const one : {&plugin, &fresh}) {
        one->GetTransform().GlobalSettings().SetFilterGraph({0, 1, 2, 3, 4, 5, 6, 7, 8});
        one->FinishBackgroundWork();
        one->GetTransform().UpdateNow();
        one->BeginStreaming(48000);
        outputs.push_back(one->Render({Test::Noise(5, 20000), Test::Noise(6, 20000)}, {512}).left);
    }
    CHECK(Test::FirstDifference(outputs[0], outputs[1]) == -1);
    CHECK(plugin.GetTransform().SystemDelay() == fresh.GetTransform().SystemDelay());
}
