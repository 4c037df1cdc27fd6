#include "PluginBase/StateBlock.h"

#include <doctest/doctest.h>

#include "tests/support/FakeModules.h"
#include "tests/support/TestPlugin.h"

using Test::FakeModule;
using Test::TestPlugin;
using Bytes = std::vector<std::uint8_t>;

namespace {

/// A component with bytes beyond its tables.
class Extra : public ComponentImpl<Extra> {
public:
    explicit Extra(PluginContext& plugin) : ComponentImpl(plugin, "Extra") { FinishTables(); }
    bool IsActive() const override { return false; }
    std::uint32_t GetExtraByteCount() const override { return 3; }
    std::uint32_t GetExtraDataClass() const override { return 1; }
    void WriteExtraBytes(Bytes& bytes, std::size_t uOffset) const override {
        std::copy(content.begin(), content.end(), bytes.begin() + static_cast<std::ptrdiff_t>(uOffset));
    }
    void ReadExtraBytes(const Bytes& bytes, std::size_t uOffset) override {
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(uOffset), 3, content.begin());
    }
    Bytes content = {1, 2, 3};
};

ModuleSet GainFakeExtra(PluginContext& plugin) {
    ModuleSet modules = BuildModules(plugin);
    modules.equalizer = modules.Add<FakeModule>(plugin, "Fake");
    modules.Add<Extra>(plugin);
    return modules;
}

}  // namespace

TEST_CASE("A state block has its header, then each component's values in table order, little-endian") {
    TestPlugin plugin(&GainFakeExtra);
    static_cast<FakeModule&>(plugin.Find("Fake")).SetFactor(-2.5f);
    plugin.Set("Fake: On", 1);
    plugin.Set("Fake: Size", 258);
    Bytes bytes;
    plugin.CaptureState(bytes);
    // 12 header; Global and GlobalDerived only their extra lengths; everything of the fake; the extra bytes.
    const std::size_t uFake = bytes.size() - (4 + 1 + 4 + 4) - (4 + 3);
    CHECK(plugin.StateSize() == bytes.size());
    CHECK(Bytes(bytes.begin(), bytes.begin() + 8) == Bytes{0x04, 0x2B, 0x9C, 0x05, 13, 0, 0, 0});
    CHECK(bytes[8] + 256 * bytes[9] == static_cast<int>(bytes.size()));
    CHECK(Bytes(bytes.begin() + 12, bytes.begin() + 20) == Bytes(8, 0));
    CHECK(Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(uFake), bytes.end()) ==
          Bytes{0x00, 0x00, 0x20, 0xC0, 1, 2, 1, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 1, 2, 3});
}

TEST_CASE("Capture, apply, capture gives the same bytes, and the default state leaves preferences alone") {
    TestPlugin plugin(&GainFakeExtra);
    for (std::uint64_t uSeed = 0; uSeed < 50; ++uSeed) {
        CAPTURE(uSeed);
        TestPlugin from(&GainFakeExtra);
        from.Randomise(uSeed);
        static_cast<Extra&>(from.Find("Extra")).content = {9, static_cast<std::uint8_t>(uSeed), 7};
        Bytes captured, again;
        from.CaptureState(captured);
        REQUIRE(plugin.ApplyState(captured, Plugin::ApplyMode::Silent));
        plugin.CaptureState(again);
        CHECK(captured == again);
    }
    CHECK(plugin.events.empty());
    plugin.Set("Global: FPS", 44);
    Bytes defaults;
    plugin.CaptureDefaultState(defaults);
    REQUIRE(plugin.ApplyState(defaults, Plugin::ApplyMode::Silent));
    for (const ParameterRef& parameter : AllParameters(plugin.Components())) {
        CAPTURE(parameter.Name());
        if (parameter.Info().storageClass == StorageClass::StateBlock)
            CHECK(parameter.Get() == parameter.Default());
    }
    CHECK(plugin.Get("Global: FPS") == 44);
}

TEST_CASE("A block that does not fit by length, magic, version, size or extra length changes nothing") {
    TestPlugin from(&GainFakeExtra);
    from.Randomise(1);
    Bytes good;
    from.CaptureState(good);
    TestPlugin plugin(&GainFakeExtra);
    plugin.Randomise(2);
    plugin.Set("Global: Bypass", 0);
    plugin.events.clear();
    const auto before = plugin.Values();
    const auto refused = [&](Bytes bytes) {
        CHECK_FALSE(plugin.ApplyState(bytes, Plugin::ApplyMode::Notify));
        CHECK(plugin.Values() == before);
        CHECK(plugin.events.empty());
    };
    for (std::size_t uLength = 0; uLength < good.size(); ++uLength)
        refused(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(uLength)));
    Bytes longer = good;
    longer.push_back(0);
    refused(longer);
    for (const std::size_t uByte : {std::size_t{0}, std::size_t{4}, std::size_t{8}, good.size() - 7}) {
        Bytes wrong = good;
        wrong[uByte] = static_cast<std::uint8_t>(wrong[uByte] + 1);
        CAPTURE(uByte);
        refused(wrong);
    }
    CHECK(plugin.ApplyState(good, Plugin::ApplyMode::Silent));
}

TEST_CASE("Values of a block are clamped by their setters, and NaN is not taken") {
    TestPlugin plugin(&GainFakeExtra);
    plugin.Set("Gain: Output Left", -6);
    Bytes bytes;
    plugin.CaptureState(bytes);
    std::size_t uGain = StateBlock::kHeaderSize;  // the floats open a component's section
    for (const Component* component : plugin.Components()) {
        if (component->Name() == "Gain") break;
        uGain += StateBlock::SectionSize(*component);
    }
    // For the second float on: infinity, -1000, NaN.
    const Bytes bad = {0, 0, 0x80, 0x7F, 0, 0, 0x7A, 0xC4, 0, 0, 0xC0, 0x7F};
    std::copy(bad.begin(), bad.end(), bytes.begin() + static_cast<std::ptrdiff_t>(uGain + 4));
    REQUIRE(plugin.ApplyState(bytes, Plugin::ApplyMode::Silent));
    CHECK(plugin.Get("Gain: Input Left") == 10);
    CHECK(plugin.Get("Gain: Input Right") == -144);
    CHECK(plugin.Get("Gain: Output Left") == -6);
}

TEST_CASE("The host hears of each value that differs, and of no other") {
    TestPlugin plugin(&GainFakeExtra);
    plugin.Set("Fake: Factor", 3);
    plugin.Set("Fake: On", 1);
    Bytes bytes;
    plugin.CaptureState(bytes);
    plugin.Set("Fake: Factor", 4);
    plugin.Set("Fake: On", 0);
    plugin.events.clear();
    REQUIRE(plugin.ApplyState(bytes, Plugin::ApplyMode::Notify));
    REQUIRE(plugin.events.size() == 2);
    CHECK(plugin.events[0].group == ParameterGroup::Float);
    CHECK(plugin.events[0].phase == ParameterPhase::Value);
    CHECK(plugin.events[0].fValue == 3.0f);
    CHECK(plugin.events[1].group == ParameterGroup::Bool);
    CHECK(plugin.events[1].component == &plugin.Find("Fake"));
}
