#include "PluginBase/Component.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>

#include "PluginBase/ParameterRef.h"
#include "tests/support/CountingAllocator.h"
#include "tests/support/FakeModules.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

using Test::FakeModule;
using Test::TestContext;

namespace {

constexpr std::uint32_t kRate = 44100;

/// A component whose accessors use every number of index arguments.
class Indexed : public ComponentImpl<Indexed> {
public:
    explicit Indexed(PluginContext& plugin) : ComponentImpl(plugin, "Indexed") {
        UInt("U0", "u", 0, 4000000000u, 1, &Indexed::Get0, &Indexed::Set0);
        UInt("U1", "", 0, 9, 1, &Indexed::Get1, &Indexed::Set1, 5);
        UInt("U2", "", 0, 9, 1, &Indexed::Get2, &Indexed::Set2, 5, 6);
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
    std::uint32_t Get1(std::uint32_t i) const { return 10 * i; }
    void Set1(std::uint32_t i, std::uint32_t u) { uLast = 10 * i + u; }
    std::uint32_t Get2(std::uint32_t i, std::uint32_t j) const { return 100 * i + 10 * j; }
    void Set2(std::uint32_t i, std::uint32_t j, std::uint32_t u) { uLast = 100 * i + 10 * j + u; }
    std::uint32_t Get3(std::uint32_t i, std::uint32_t j, std::uint32_t k) const {
        return 1000 * i + 100 * j + 10 * k;
    }
    void Set3(std::uint32_t i, std::uint32_t j, std::uint32_t k, std::uint32_t u) {
        uLast = 1000 * i + 100 * j + 10 * k + u;
    }
    std::int32_t Number() const { return nNumber; }
    void SetNumber(std::int32_t n) { nNumber = n; }

    std::uint32_t uLast = 0;
    std::int32_t nNumber = 0;
};

EnvelopeSegment Line(std::int64_t nFrames, float fFrom, float fTo) {
    return {0, nFrames * 10'000'000 / kRate, fFrom, fTo, 0, EnvelopeCurve::Linear};
}

void Automate(Component& component, ParameterGroup group, const EnvelopeSegment& segment) {
    component.Envelopes().AddSegments(group, 0, {&segment, 1});
}

}  // namespace

TEST_CASE("Accessors get the index arguments that were bound to the parameter, in their order") {
    TestContext context;
    Indexed indexed(context);
    const Component& table = indexed;
    CHECK(table.GetUInt(1) == 50);
    CHECK(table.GetUInt(2) == 560);
    CHECK(table.GetUInt(3) == 5670);
    Component& writable = indexed;
    const std::uint32_t expected[] = {4, 54, 564, 5674};
    for (std::uint32_t i = 0; i < 4; ++i) {
        writable.SetUInt(i, 4);
        CHECK(indexed.uLast == expected[i]);
    }
    REQUIRE(context.components == std::vector<Component*>{&indexed});
    CHECK(indexed.Lock().Name() == "DSP::Component Indexed");
}

TEST_CASE("A parameter is an enumeration only if each of its values has a label") {
    TestContext context;
    Indexed indexed(context);
    CHECK_FALSE(indexed.IntInfo(0).IsEnumeration());
    CHECK(indexed.IntInfo(1).IsEnumeration());
    const ParameterRef labelled(indexed, ParameterGroup::Int, 1);
    CHECK(labelled.Text(-1) == "a");
    CHECK(labelled.Text(1) == "c");
    CHECK(ParameterRef(indexed, ParameterGroup::Int, 0).Text(1) == "1");
}

TEST_CASE("A highlight beyond the last colour leaves the old one") {
    TestContext context;
    FakeModule module(context, "Fake");
    FloatRecord& record = module.FloatInfo(0);
    CHECK(record.GetHighlight() == Highlight::None);
    record.SetHighlight(2);
    record.SetHighlight(5);
    CHECK(record.GetHighlight() == Highlight::Green);
}

TEST_CASE("ParameterRef carries every value of every group, and NaN into none") {
    TestContext context;
    FakeModule module(context, "Fake");
    Indexed indexed(context);
    const ParameterRef factor(module, ParameterGroup::Float, 0);
    factor.Set(std::numeric_limits<double>::quiet_NaN());
    CHECK(factor.Get() == 1.0);
    factor.Set(std::numeric_limits<double>::infinity());
    CHECK(factor.Get() == 10.0);
    factor.Set(0.1);
    CHECK(factor.Get() == double{0.1f});
    CHECK(factor.Text(factor.Get()) == "0.1");
    module.SetFloat(0, NAN);
    CHECK(module.Factor() == 0.1f);

    const ParameterRef size(module, ParameterGroup::Int, 0);
    size.Set(-1e300);
    CHECK(size.Get() == 0.0);
    const ParameterRef wide(indexed, ParameterGroup::UInt, 0);
    wide.Set(3999999999.7);
    CHECK(wide.Get() == 3999999999.0);
    wide.Set(-4.0);
    CHECK(wide.Get() == 0.0);
    const ParameterRef on(module, ParameterGroup::Bool, 0);
    on.Set(0.49);
    CHECK(on.Get() == 0.0);
    CHECK(on.Text(1) == "on");
}

TEST_CASE("A component runs only while it is active, automated or forced") {
    TestContext context;
    FakeModule module(context, "Fake");
    float left[4] = {};
    const StageContext stage{kRate, 0, 50, nullptr};
    module.ProcessAutomated(stage, 4, left, nullptr);
    CHECK(module.calls.empty());
    module.ProcessAutomated(stage, 4, left, nullptr, true);
    CHECK(module.calls.size() == 1);
    module.SetAutomationActive(true);
    module.ProcessAutomated(stage, 4, left, nullptr);
    CHECK(module.calls.size() == 2);
    module.SetAutomationActive(false);
    module.SetActive(true);
    module.ProcessAutomated(stage, 4, left, nullptr);
    CHECK(module.calls.size() == 3);
}

TEST_CASE("Automation cuts a block into strides and sets a parameter before the stride it holds for") {
    TestContext context;
    FakeModule module(context, "Fake");
    module.SetOn(true);
    module.SetActive(true);
    Automate(module, ParameterGroup::Float, Line(1000, 0.0f, 10.0f));
    Util::Relaxed<bool> refresh = false;
    std::vector<float> left(120, 1.0f);
    module.ProcessAutomated({kRate, 0, 50, &refresh}, 120, left.data(), nullptr);
    REQUIRE(module.calls.size() == 3);
    CHECK(module.calls[2].uFrames == 20);
    CHECK(module.calls[2].nPosition == 100ll * 10'000'000 / kRate);
    for (std::size_t i = 0; i < 3; ++i) {
        CHECK(std::abs(module.calls[i].fFactor - 0.5f * static_cast<float>(i)) < 1e-5f);
    }
    CHECK(refresh);

    // A touched parameter keeps the user's value and takes up the envelope when it is released.
    module.FloatInfo(0).bTouched = true;
    module.SetFactor(-3.0f);
    module.ProcessAutomated({kRate, 0, 50, &refresh}, 120, left.data(), nullptr);
    CHECK(module.calls.back().fFactor == -3.0f);
    module.FloatInfo(0).bTouched = false;
    module.ProcessAutomated({kRate, 0, 50, &refresh}, 120, left.data(), nullptr);
    CHECK(std::abs(module.calls.back().fFactor - 1.0f) < 1e-5f);
}

TEST_CASE("With a block buffer each block is one stride, at the time at which it entered") {
    TestContext context;
    FakeModule module(context, "Fake");
    module.SetOn(true);
    module.SetActive(true);
    module.SetSize(100);
    Automate(module, ParameterGroup::Float, Line(100000, 0.0f, 1.0f));
    std::vector<float> left(1000, 1.0f);
    std::int64_t nFrame = 0;
    for (const std::uint32_t uFrames : {130u, 1u, 400u, 69u, 400u}) {
        module.ProcessAutomated({kRate, nFrame * 10'000'000 / kRate, 50, nullptr}, uFrames, left.data(),
                                nullptr);
        nFrame += uFrames;
    }
    REQUIRE(module.calls.size() == 10);
    for (std::size_t i = 0; i < 10; ++i) {
        CHECK(module.calls[i].uFrames == 100);
        CHECK(std::abs(module.calls[i].fFactor - static_cast<float>(i) * 100.0f / 100000.0f) < 1e-6f);
    }
}

TEST_CASE("Automation that changes the block size lets the rest of the block pass") {
    TestContext context;
    FakeModule module(context, "Fake");
    module.SetOn(true);
    module.SetActive(true);
    module.SetFactor(0.0f);
    // 0 until frame 50, then 64: the second stride finds a new size.
    Automate(module, ParameterGroup::Int, {0, 75ll * 10'000'000 / kRate, 0, 64, 0, EnvelopeCurve::Linear});
    const auto input = Test::Noise(1, 200);
    auto left = input;
    CHECK(module.ProcessAutomated({kRate, 0, 50, nullptr}, 200, left.data(), nullptr) == 200);
    for (std::size_t i = 0; i < 200; ++i)
        REQUIRE(left[i] == (i < 50 ? 0.0f : input[i]));
    CHECK(module.Size() != 0);
}

TEST_CASE("Automation of a switch changes what the engine takes for active, at the end of the block") {
    TestContext context;
    FakeModule module(context, "Fake");
    module.SetAutomationActive(true);
    Automate(module, ParameterGroup::Bool, Line(1000, 1.0f, 1.0f));
    float left[100] = {};
    module.ProcessAutomated({kRate, 0, 50, nullptr}, 100, left, nullptr);
    CHECK(module.On());
    CHECK(module.Active());
}

TEST_CASE("The colour of automation lands on parameters with segments and leaves all others") {
    TestContext context;
    FakeModule module(context, "Fake");
    Automate(module, ParameterGroup::Bool, Line(10, 0, 0));
    module.FloatInfo(0).SetHighlight(0);
    module.SpreadHighlight(Highlight::Yellow);
    CHECK(module.BoolInfo(0).GetHighlight() == Highlight::Yellow);
    CHECK(module.FloatInfo(0).GetHighlight() == Highlight::None);
    CHECK(module.HasAutomation());
    module.SpreadHighlight(Highlight::None);
    CHECK(module.BoolInfo(0).GetHighlight() == Highlight::None);
}

TEST_CASE("An automated block allocates nothing once its strides have been seen") {
    TestContext context;
    FakeModule module(context, "Fake");
    module.SetOn(true);
    module.SetActive(true);
    module.calls.reserve(10000);
    Automate(module, ParameterGroup::Float, Line(100000, 0.0f, 10.0f));
    Automate(module, ParameterGroup::Bool, Line(100000, 1.0f, 1.0f));
    std::vector<float> left(512), right(512);
    module.ProcessAutomated({kRate, 0, 10, nullptr}, 512, left.data(), right.data());
    Test::AllocationCounter counter;
    for (std::uint32_t uFrames = 0; uFrames < 512; uFrames += 37) {
        module.ProcessAutomated({kRate, uFrames * 1000, 10, nullptr}, uFrames, left.data(), right.data());
    }
    CHECK(counter.Count() == 0);
}
