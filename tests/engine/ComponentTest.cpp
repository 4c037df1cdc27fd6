#include "PluginBase/Component.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>

#include "PluginBase/ParameterRef.h"
#include "tests/support/FakeModules.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

using Test::FakeModule;
using Test::TestContext;

namespace {

constexpr std::uint32_t kRate = 44100;

/// A component whose accessors have index arguments, and labels of two kinds.
class Indexed : public ComponentImpl<Indexed> {
public:
    explicit Indexed(PluginContext& plugin) : ComponentImpl(plugin, "Indexed") {
        UInt("U0", "u", 0, 4000000000u, 1, &Indexed::Get0, &Indexed::Set0);
        UInt("U3", "", 0, 9, 1, &Indexed::Get3, &Indexed::Set3, 5, 6, 7);
        Int("Three labels for four values", "", 0, 3, 0, &Indexed::Number, &Indexed::SetNumber)
            .Labelled({"a", "b", "c"});
        Int("Labels from minus one", "", -1, 1, 0, &Indexed::Number, &Indexed::SetNumber)
            .Labelled({"a", "b", "c"});
        FinishTables();
    }
    bool IsActive() const override { return false; }

    std::uint32_t Get0() const { return uLast; }
    void Set0(std::uint32_t u) { uLast = u; }
    std::uint32_t Get3(std::uint32_t i, std::uint32_t j, std::uint32_t k) const {
        return 1000 * i + 100 * j + 10 * k;
    }
    void Set3(std::uint32_t i, std::uint32_t j, std::uint32_t k, std::uint32_t u) {
        uLast = 1000 * i + 100 * j + 10 * k + u;
    }
    std::int32_t Number() const { return 0; }
    void SetNumber(std::int32_t) {}

    std::uint32_t uLast = 0;
};

/// A component by itself, which is on.
struct Rig {
    explicit Rig(std::int32_t nSize = 0) {
        module.SetOn(true);
        module.SetActive(true);
        module.SetSize(nSize);
    }
    void Automate(ParameterGroup group, const EnvelopeSegment& segment) {
        module.Envelopes().AddSegments(group, 0, {&segment, 1});
    }
    std::uint32_t Process(std::vector<float>& samples, std::int64_t nFrame = 0, bool bForce = false) {
        const StageContext stage{kRate, nFrame * 10'000'000 / kRate, 50, &bRefresh};
        return module.ProcessAutomated(stage, static_cast<std::uint32_t>(samples.size()), samples.data(),
                                       nullptr, bForce);
    }

    TestContext context;
    FakeModule module{context, "Fake"};
    Util::Relaxed<bool> bRefresh = false;
};

EnvelopeSegment Line(std::int64_t nFrames, float fFrom, float fTo) {
    return {0, nFrames * 10'000'000 / kRate, fFrom, fTo, 0, EnvelopeCurve::Linear};
}

}  // namespace

TEST_CASE(
    "Accessors get the index arguments that were bound to the parameter, and only whole enumerations labels") {
    TestContext context;
    Indexed indexed(context);
    Component& table = indexed;
    CHECK(table.GetUInt(1) == 5670);
    table.SetUInt(1, 4);
    CHECK(indexed.uLast == 5674);
    CHECK(indexed.Lock().Name() == "DSP::Component Indexed");

    const ParameterRef partly(indexed, ParameterGroup::Int, 0), whole(indexed, ParameterGroup::Int, 1);
    CHECK(partly.EnumerationLabels().empty());
    CHECK(partly.Text(1) == "1");
    CHECK(whole.EnumerationLabels().size() == 3);
    CHECK(whole.Text(-1) == "a");
    CHECK(whole.Text(1) == "c");
}

TEST_CASE("ParameterRef carries every value of every group, and NaN into none") {
    Rig rig;
    Indexed indexed(rig.context);
    const ParameterRef factor(rig.module, ParameterGroup::Float, 0);
    factor.Set(std::numeric_limits<double>::quiet_NaN());
    CHECK(factor.Get() == 1.0);
    factor.Set(std::numeric_limits<double>::infinity());
    CHECK(factor.Get() == 10.0);
    factor.Set(0.1);
    CHECK(factor.Get() == double{0.1f});
    CHECK(factor.Text(factor.Get()) == "0.1");
    rig.module.SetFloat(0, NAN);
    CHECK(rig.module.Factor() == 0.1f);

    const ParameterRef size(rig.module, ParameterGroup::Int, 0);
    size.Set(-1e300);
    CHECK(size.Get() == 0.0);
    const ParameterRef wide(indexed, ParameterGroup::UInt, 0);
    wide.Set(3999999999.7);
    CHECK(wide.Get() == 3999999999.0);
    wide.Set(-4.0);
    CHECK(wide.Get() == 0.0);
    const ParameterRef on(rig.module, ParameterGroup::Bool, 0);
    on.Set(0.49);
    CHECK(on.Get() == 0.0);
}

TEST_CASE("Automation cuts a block into strides and sets a parameter before the stride it holds for") {
    Rig rig;
    rig.Automate(ParameterGroup::Float, Line(1000, 0.0f, 10.0f));
    std::vector<float> left(120, 1.0f);
    const auto& calls = rig.module.calls;
    rig.Process(left);
    REQUIRE(calls.size() == 3);
    CHECK(calls[2].uFrames == 20);
    CHECK(calls[2].nPosition == 100ll * 10'000'000 / kRate);
    for (std::size_t i = 0; i < 3; ++i)
        CHECK(std::abs(calls[i].fFactor - 0.5f * static_cast<float>(i)) < 1e-5f);
    CHECK(rig.bRefresh);

    // A touched parameter keeps the user's value and takes up the envelope when it is released.
    rig.module.FloatInfo(0).bTouched = true;
    rig.module.SetFactor(-3.0f);
    rig.Process(left);
    CHECK(calls.back().fFactor == -3.0f);
    rig.module.FloatInfo(0).bTouched = false;
    rig.Process(left);
    CHECK(std::abs(calls.back().fFactor - 1.0f) < 1e-5f);
}

TEST_CASE("With a block buffer each block is one stride, at the time at which it entered") {
    Rig rig(100);
    rig.Automate(ParameterGroup::Float, Line(100000, 0.0f, 1.0f));
    std::int64_t nFrame = 0;
    for (const std::uint32_t uFrames : {130u, 1u, 400u, 69u, 400u}) {
        std::vector<float> left(uFrames, 1.0f);
        CHECK(rig.Process(left, nFrame) == uFrames);
        nFrame += uFrames;
    }
    REQUIRE(rig.module.calls.size() == 10);
    for (std::size_t i = 0; i < 10; ++i) {
        CHECK(rig.module.calls[i].uFrames == 100);
        CHECK(std::abs(rig.module.calls[i].fFactor - static_cast<float>(i) * 1e-3f) < 1e-6f);
    }
}

TEST_CASE("Automation runs a component that is off, and its switch is in force at the end of the block") {
    Rig rig;
    rig.module.SetOn(false);
    rig.module.SetActive(false);
    std::vector<float> left(100);
    rig.Automate(ParameterGroup::Bool, Line(1000, 1.0f, 1.0f));
    rig.Process(left);
    CHECK_FALSE(rig.module.On());
    rig.module.SetAutomationActive(true);
    rig.Process(left);
    CHECK(rig.module.On());
    CHECK(rig.module.Active());
}

TEST_CASE("Automation that changes the block size lets the rest of the block pass") {
    Rig rig;
    rig.module.SetFactor(0.0f);
    // 0 until frame 50, then 64: the second stride finds a new size.
    rig.Automate(ParameterGroup::Int, {0, 75ll * 10'000'000 / kRate, 0, 64, 0, EnvelopeCurve::Linear});
    const auto input = Test::Noise(1, 200);
    auto left = input;
    CHECK(rig.Process(left) == 200);
    for (std::size_t i = 0; i < 200; ++i)
        REQUIRE(left[i] == (i < 50 ? 0.0f : input[i]));
    CHECK(rig.module.Size() != 0);
}

TEST_CASE("The colour of automation lands on parameters with segments, and one that is none leaves the old") {
    Rig rig;
    FloatRecord& factor = rig.module.FloatInfo(0);
    factor.SetHighlight(2);
    factor.SetHighlight(5);
    CHECK(factor.GetHighlight() == Highlight::Green);
    rig.Automate(ParameterGroup::Bool, Line(10, 0, 0));
    rig.module.SpreadHighlight(Highlight::Yellow);
    CHECK(rig.module.BoolInfo(0).GetHighlight() == Highlight::Yellow);
    CHECK(factor.GetHighlight() == Highlight::None);
    rig.module.SpreadHighlight(Highlight::None);
    CHECK(rig.module.BoolInfo(0).GetHighlight() == Highlight::None);
}
