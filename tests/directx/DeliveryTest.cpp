#include <doctest/doctest.h>

#include <new>
#include <stdexcept>

#include "apps/dxhost/GraphDriver.h"
//
#include "PluginBase/DirectX/DXPlugin.h"
#include "PluginBase/DirectX/Delivery.h"
#include "hvBase/Util/MemorySettingsStore.h"
#include "tests/directx/HostRig.h"
#include "tests/support/FakeModules.h"

// What of the connected filter no stream of a built plug-in shows.

namespace {

/// A module in the equalizer's place that throws what it is told to.
class Thrower final : public Test::FakeModule {
public:
    explicit Thrower(PluginContext& plugin) : FakeModule(plugin, "Thrower") { SetOn(true); }
    std::uint32_t ProcessBlock(std::uint32_t uFrames, float*, float*) override {
        if (s_failure) s_failure();
        return uFrames;
    }
    static inline void (*s_failure)() = nullptr;
};

ModuleSet ThrowerOnly(PluginContext& plugin) {
    ModuleSet modules;
    modules.equalizer = modules.Add<Thrower>(plugin);
    return modules;
}

struct Rig {
    HRESULT Feed() {
        graph.Arrived().Clear();
        graph.Pause();
        REQUIRE(graph.Source().Output().Feed().WaitUntilFed(Test::kPatience));
        const HRESULT result = graph.Source().Output().Feed().LastResult();
        graph.Stop();
        return result;
    }

    const DxHost::Apartment apartment;
    HRESULT hr = S_OK;
    DxHost::ComPtr<DXPlugin> plugin{
        new DXPlugin(nullptr, &hr, std::make_unique<Util::MemorySettingsStore>(), &ThrowerOnly)};
    DxHost::GraphDriver graph{plugin.Get()};
};

}  // namespace

TEST_CASE("What a module throws reaches the host as a code, and the stream goes on") {
    Rig rig;
    DxHost::SourcePlan plan;
    plan.sound = Test::NoiseSound({true, 32, 2, 44100}, 64);
    rig.graph.Connect(plan);
    struct Row {
        void (*failure)();
        HRESULT expected;
    };
    for (const Row& row : {Row{+[] { throw std::runtime_error("odd"); }, E_UNEXPECTED},
                           Row{+[] { throw std::bad_alloc(); }, E_OUTOFMEMORY},
                           Row{+[] { throw Exception::Base("known"); }, E_FAIL},
                           Row{+[] { throw Exception::Delivery(VFW_E_TIMEOUT, "late"); }, VFW_E_TIMEOUT},
                           Row{+[] { throw 1; }, E_UNEXPECTED}, Row{nullptr, S_OK}}) {
        Thrower::s_failure = row.failure;
        CHECK(rig.Feed() == row.expected);
    }
    Thrower::s_failure = nullptr;
    // A buffer without room for a frame.
    rig.graph.Arrived().SetBufferBytes(7);
    rig.graph.Connect(plan);
    CHECK(rig.Feed() == E_FAIL);
    CHECK(rig.plugin->CheckTransform(nullptr, nullptr) == E_INVALIDARG);
    CHECK(rig.plugin->Receive(nullptr) == E_POINTER);
}

TEST_CASE("The frames received are counted from where a discontinuity lies, those delivered from there on") {
    Rig rig;
    DxHost::SourcePlan plan;
    plan.sound = Test::NoiseSound({false, 16, 1, 44100}, 400);
    plan.nStart = DxHost::TimeOfFrame(1000, 44100) + 1;
    rig.graph.Connect(plan);
    CHECK(rig.Feed() == S_OK);
    CHECK(rig.plugin->FramesReceived() == 1000 + 400);
    CHECK(rig.plugin->FramesDelivered() == 400);
}

TEST_CASE("A new input format that no conversion covers has the graph connect the output anew") {
    Rig rig;
    DxHost::SourcePlan plan;
    plan.sound = Test::NoiseSound({false, 16, 2, 44100}, 400);
    rig.graph.Connect(plan);
    rig.graph.Source().Output().Disconnect();
    rig.plugin->GetPin(0)->Disconnect();
    plan.sound = Test::NoiseSound({false, 24, 2, 44100}, 400);
    rig.graph.Source().SetPlan(plan);
    REQUIRE(SUCCEEDED(rig.graph.Source().Output().Connect(rig.plugin->GetPin(0), nullptr)));
    CHECK(rig.Feed() == S_OK);
    CHECK(rig.graph.Arrived().Bytes() == plan.sound.bytes);
}
