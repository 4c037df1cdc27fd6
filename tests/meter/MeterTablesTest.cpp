#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "dsp/meter/AutoNormalize.h"
#include "dsp/meter/Bit.h"
#include "dsp/meter/Level.h"
#include "dsp/meter/Phase.h"
#include "dsp/meter/Spectrum.h"
#include "dsp/meter/SpectrumState.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

using namespace DSP::Meter;

namespace {

struct Meters {
    Test::TestContext context;
    Level level{context};
    SpectrumState spectrumState{context};
    Spectrum spectrum{context, spectrumState};
    Phase phase{context};
    Bit bit{context};
    AutoNormalize autoNormalize{context};
};

struct Expected {
    std::vector<std::pair<std::string, bool>> bools;
    std::vector<std::tuple<std::string, std::vector<std::string>, std::int32_t>> ints;
};

void CheckTable(Component& component, const std::string& strName, const Expected& expected) {
    CAPTURE(strName);
    CHECK(component.Name() == strName);
    CHECK(component.Lock().Name() == "DSP::Component " + strName);
    CHECK(component.Count(ParameterGroup::Float) == 0);
    CHECK(component.Count(ParameterGroup::UInt) == 0);
    REQUIRE(component.Count(ParameterGroup::Bool) == expected.bools.size());
    for (std::uint32_t i = 0; i < expected.bools.size(); ++i) {
        const BoolRecord& record = component.BoolInfo(i);
        CHECK(record.strName == expected.bools[i].first);
        CHECK(record.bDefault == expected.bools[i].second);
        CHECK(component.GetBool(i) == record.bDefault);
        CHECK(record.presetGroup == PresetGroup::Meters);
        CHECK(record.storageClass == StorageClass::StateBlock);
        CHECK_FALSE(record.bAutomatable);
    }
    REQUIRE(component.Count(ParameterGroup::Int) == expected.ints.size());
    for (std::uint32_t i = 0; i < expected.ints.size(); ++i) {
        const IntRecord& record = component.IntInfo(i);
        const auto& [strParameter, labels, nDefault] = expected.ints[i];
        CHECK(record.strName == strParameter);
        CHECK(record.labels == labels);
        CHECK(record.IsEnumeration());
        CHECK(record.nDefault == nDefault);
        CHECK(component.GetInt(i) == nDefault);
        CHECK(record.presetGroup == PresetGroup::Meters);
        CHECK(record.storageClass == StorageClass::StateBlock);
        CHECK_FALSE(record.bAutomatable);
    }
}

const std::vector<std::string> kHoldTimes = {"5", "250", "500", "1000", "5000", "Infinite"};

}  // namespace

TEST_CASE("Each meter has its table: names, labels, defaults, order") {
    Meters m;
    CheckTable(m.level, "LevelMeter",
               {{{"Level Meter Enable", true}, {"Level Meter Show Peak Hold", true}},
                {{"Level Meter Type", {"RMS", "PPM"}, 1},
                 {"Level Meter RMS Time", {"10", "50", "300", "1475", "2650", "3825", "5000"}, 2},
                 {"Level Meter Peak Hold Time", kHoldTimes, 2},
                 {"Level Meter Readout Type", {"Peak", "Actual"}, 0}}});
    CheckTable(m.spectrumState, "SpectrumState",
               {{{"Spectrum Show Musical Units", false},
                 {"Spectrum Show Hz/dB Readout", true},
                 {"Spectrum Enable EQ Spectrum", true},
                 {"Spectrum Enable Mini-Spectrum", true},
                 {"Spectrum Show Mini-Spectrum Slider Handles", true}},
                {}});
    CheckTable(m.spectrum, "Spectrum",
               {{{"Spectrum Show Peak Hold", false}},
                {{"Spectrum Type", {"Linear", "1/3 Octave", "Critical"}, 0},
                 {"Spectrum Average Window Size",
                  {"Real Time", "1 sec", "3 secs", "5 secs", "10 secs", "Infinite"},
                  0},
                 {"Spectrum Peak Hold Time", kHoldTimes, 2},
                 {"Spectrum Window Size", {"512", "1024", "2048", "4096", "8192"}, 3},
                 {"Spectrum Overlap", {"0%", "10%", "20%", "30%", "40%", "50%"}, 5},
                 {"Spectrum Window Type", {"Hamming", "Blackman", "Bartlett", "Kaiser", "Hann"}, 4}}});
    CheckTable(m.phase, "PhaseMeter",
               {{{"PhaseMeter Enable Vectorscope", true},
                 {"Phasemeter Vectorscope History", true},
                 {"Phasemeter Enable Correlation Meter", true},
                 {"Phasemeter Correlation Meter History", true}},
                {}});
    CheckTable(m.bit, "BitMeter",
               {{{"BitMeter Enable", true}, {"BitMeter Show Peak Hold", true}},
                {{"BitMeter Peak Hold Time", kHoldTimes, 2}}});
    CheckTable(m.autoNormalize, "AutoNormalize", {});
}

TEST_CASE("Meter setters clamp, and mark the plug-in dirty only where the value changes") {
    Meters m;
    for (Component* component : m.context.Components()) {
        CAPTURE(component->Name());
        for (std::uint32_t i = 0; i < component->Count(ParameterGroup::Int); ++i) {
            CAPTURE(i);
            const IntRecord& record = component->IntInfo(i);
            component->SetInt(i, record.nMin - 7);
            CHECK(component->GetInt(i) == record.nMin);
            component->SetInt(i, record.nMax + 7);
            CHECK(component->GetInt(i) == record.nMax);
            const int nDirty = m.context.nDirty;
            component->SetInt(i, record.nMax + 9);
            CHECK(m.context.nDirty == nDirty);
            component->SetInt(i, record.nDefault);
            CHECK(m.context.nDirty == nDirty + (record.nDefault != record.nMax));
        }
        for (std::uint32_t i = 0; i < component->Count(ParameterGroup::Bool); ++i) {
            CAPTURE(i);
            const bool bValue = component->GetBool(i);
            const int nDirty = m.context.nDirty;
            component->SetBool(i, bValue);
            CHECK(m.context.nDirty == nDirty);
            component->SetBool(i, !bValue);
            CHECK(component->GetBool(i) == !bValue);
            CHECK(m.context.nDirty == nDirty + 1);
        }
    }
}

TEST_CASE("A meter is active while its own switch and the engine's are on, and asks for the update") {
    Meters m;
    for (Component* component : {static_cast<Component*>(&m.level), static_cast<Component*>(&m.bit)}) {
        CAPTURE(component->Name());
        CHECK(component->IsActive());
        component->SetMetersEnabled(false);
        CHECK_FALSE(component->IsActive());
        component->SetMetersEnabled(true);
        const int nRequests = m.context.nActivityRequests;
        component->SetBool(0, false);
        CHECK_FALSE(component->IsActive());
        CHECK(m.context.nActivityRequests == nRequests + 1);
        component->SetBool(1, false);
        CHECK(m.context.nActivityRequests == nRequests + 1);
        component->SetPresetChanging(true);
        component->SetBool(0, true);
        CHECK(m.context.nActivityRequests == nRequests + 1);
    }

    m.phase.SetBool(0, false);
    CHECK(m.phase.IsActive());
    m.phase.SetBool(2, false);
    CHECK_FALSE(m.phase.IsActive());

    CHECK(m.spectrum.IsActive());
    m.spectrumState.SetBool(2, false);
    CHECK(m.spectrum.IsActive());
    m.spectrumState.SetBool(3, false);
    CHECK_FALSE(m.spectrumState.IsActive());
    CHECK_FALSE(m.spectrum.IsActive());
    m.spectrumState.SetBool(2, true);
    m.spectrum.SetMetersEnabled(false);
    CHECK_FALSE(m.spectrum.IsActive());

    CHECK_FALSE(m.autoNormalize.IsActive());
    m.autoNormalize.SetEnabled(true);
    CHECK(m.autoNormalize.IsActive());
}
