#include <limits>
#include <string_view>

#include "apps/vesca/AutomationFile.h"
#include "apps/vesca/CommandError.h"
#include "tests/fuzz/FuzzEngine.h"

namespace {

struct Rig {
    Fuzz::Engine engine{&Fuzz::OneModule};
    App::ParameterIndex parameters{engine.plugin.Components()};
};

Rig& TheRig() {
    static Rig rig;
    return rig;
}

void Remove(const std::vector<App::AutomationTrack>& tracks) {
    for (const auto& [parameter, segments] : tracks) {
        Component& owner = parameter.Owner();
        owner.Envelopes().RemoveSegments(parameter.Group(), parameter.Index(),
                                         std::numeric_limits<std::int64_t>::min(),
                                         std::numeric_limits<std::int64_t>::max());
        owner.SetAutomationActive(owner.HasAutomation());
    }
}

}  // namespace

bool Fuzz::TryInput(std::span<const std::uint8_t> input) {
    auto& [engine, parameters] = TheRig();
    const std::string strJson(input.begin(), input.end());
    const auto before = engine.Values();
    std::vector<App::AutomationTrack> tracks;
    bool bTaken = true;
    try {
        std::vector<std::string> warnings;
        tracks = App::ParseAutomation(strJson, "curve.json", parameters, warnings);
    } catch (const App::UsageError&) {
        bTaken = false;
    } catch (const App::FileFailure&) {
        bTaken = false;
    }
    Demand(engine.Values() == before, "reading automation changes no value");
    for (const auto& [parameter, segments] : tracks) {
        for (const EnvelopeSegment& segment : segments) {
            Demand(segment.nStart <= segment.nEnd, "a segment does not end before it starts");
            Demand(std::isfinite(segment.fStart) && std::isfinite(segment.fEnd), "values are finite");
        }
    }
    App::InstallAutomation(tracks);
    for (const std::int64_t nTime : {std::int64_t{0}, std::int64_t{10'000'000}}) {
        std::vector<float> samples(64, 0.5f);
        engine.plugin.SetBlockStart(nTime);
        engine.plugin.Process(64, samples.data(), nullptr, samples.data(), nullptr);
        engine.DemandValuesInRange();
    }
    static_cast<Test::FakeModule&>(engine.plugin.Find("Fake")).calls.clear();
    Remove(tracks);
    for (const Component* component : engine.plugin.Components())
        Demand(!component->HasAutomation(), "all segments can be removed");
    engine.Reset();
    engine.plugin.Set("Global: Bypass", 0);
    return bTaken;
}

std::vector<Fuzz::Bytes> Fuzz::GoodInputs() {
    constexpr std::string_view kInputs[] = {"[]",
                                            R"([{"parameter": "Fake: Factor", "segments": [
            {"start": 0, "end": 1.5, "from": -1, "to": 9e1, "curve": "square"},
            {"start": 2, "end": 2, "from": "0.5", "to": 1, "curve": "jump"}]},
            {"parameter": "Fake: On", "segments": [
            {"start": -1, "end": 1, "from": true, "to": "off", "curve": "linear"}]}])",
                                            R"([{"parameter": "Global: Bypass", "segments": [
            {"start": 0, "end": 1e9, "from": "on", "to": false, "curve": "inverse-square"}]},
            {"parameter": "Fake: Size", "segments": []}])"};
    std::vector<Bytes> inputs;
    for (const std::string_view input : kInputs)
        inputs.emplace_back(input.begin(), input.end());
    return inputs;
}
