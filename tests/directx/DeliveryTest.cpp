#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <stdexcept>

#include "PluginBase/DirectX/Delivery.h"
#include "tests/directx/FilterRig.h"
#include "tests/support/FakeModules.h"
#include "tests/support/Signals.h"

// Blocks through the connected filter, one sample at a time.

namespace {

using Test::AudioType;
using Test::FilterRig;

constexpr std::uint32_t kRate = 44100;

/// A chain of one module in the equalizer's place, which delays by 100 frames.
class Delay final : public Test::FakeModule {
public:
    explicit Delay(PluginContext& plugin) : FakeModule(plugin, "Fake") {
        SetLatency(100);
        SetOn(true);
    }
    std::uint32_t ProcessBlock(std::uint32_t uFrames, float* left, float* right) override {
        if (failure) failure();
        return FakeModule::ProcessBlock(uFrames, left, right);
    }
    void (*failure)() = nullptr;
};

ModuleSet DelayOnly(PluginContext& plugin) {
    ModuleSet modules;
    modules.equalizer = modules.Add<Delay>(plugin);
    return modules;
}

Delay& TheDelay(FilterRig& rig) {
    for (Component* component : rig.plugin->Components())
        if (component->Name() == "Fake") return static_cast<Delay&>(*component);
    throw std::logic_error("no module");
}

void Compensate(FilterRig& rig, bool bOn) {
    for (const ParameterRef& parameter : AllParameters(rig.plugin->Components()))
        if (parameter.Name() == "Global: Delay Compensation") parameter.Set(bOn ? 1 : 0);
}

std::int64_t Ticks(std::int64_t nFrames) {
    return nFrames * 10'000'000 / kRate;
}

/// The guard against denormals adds 1e-10. Buffers of different lengths are infinitely far apart.
double WorstError(const std::vector<float>& a, const std::vector<float>& b) {
    if (a.size() != b.size()) return INFINITY;
    double fWorst = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        fWorst = std::max(fWorst, std::abs(double{a[i]} - double{b[i]}));
    return fWorst;
}

}  // namespace

TEST_CASE("A block larger than the host's buffers goes out in pieces whose times follow each other") {
    FilterRig rig(+[](PluginContext&) { return ModuleSet(); });
    REQUIRE(rig.ConnectInput(AudioType(3, 2, kRate, 32)) == S_OK);
    REQUIRE(rig.ConnectOutput() == S_OK);
    rig.LimitBuffers(64 * 8 + 7);
    REQUIRE(rig.Run() == S_OK);
    const auto noise = Test::Noise(3, 400);
    FilterRig::Stamps stamps;
    stamps.nStart = Ticks(1000);
    stamps.nMediaStart = 1000;
    stamps.bDiscontinuity = true;
    CHECK(rig.Send(noise, stamps) == S_OK);

    const auto& arrivals = rig.sink->pin.arrivals;
    REQUIRE(arrivals.size() == 4);
    std::int64_t nTime = stamps.nStart;
    std::int64_t nMedia = stamps.nMediaStart;
    for (const Test::Arrival& arrival : arrivals) {
        const long nFrames = &arrival == &arrivals.back() ? 8 : 64;
        CHECK(arrival.nBytes == nFrames * 8);
        CHECK(arrival.nStart == nTime);
        CHECK(arrival.nEnd == (nTime += Ticks(nFrames)));
        CHECK(arrival.nMediaStart == nMedia);
        CHECK(arrival.nMediaEnd == (nMedia += nFrames));
        CHECK(arrival.sync == S_OK);
        CHECK(arrival.preroll == S_FALSE);
        CHECK(arrival.discontinuity == S_OK);
    }
    CHECK(WorstError(rig.sink->pin.Floats(), noise) < 1e-9);
    CHECK(rig.plugin->FramesReceived() == 1000 - 1 + 200);
    CHECK(rig.plugin->FramesDelivered() == 200);

    CHECK(rig.Send(noise) == S_OK);
    CHECK(arrivals.back().time == VFW_E_SAMPLE_TIME_NOT_SET);
    CHECK(arrivals.back().mediaTime == VFW_E_MEDIA_TIME_NOT_SET);
    CHECK(arrivals.back().discontinuity == S_FALSE);
    const std::size_t uSent = arrivals.size();
    CHECK(rig.Send(noise.data(), 0, {}) == S_OK);
    CHECK(arrivals.size() == uSent);

    // A buffer without room for a frame, and a refusal downstream, come back as they are.
    rig.sink->pin.answer = S_FALSE;
    CHECK(rig.Send(noise) == S_FALSE);
    rig.sink->pin.answer = VFW_E_RUNTIME_ERROR;
    CHECK(rig.Send(noise) == VFW_E_RUNTIME_ERROR);
    rig.Stop();
    rig.LimitBuffers(7);
    rig.sink->pin.answer = S_OK;
    REQUIRE(rig.Run() == S_OK);
    CHECK(rig.Send(noise) == E_FAIL);
}

TEST_CASE("A compensated stream is as long as its input and keeps its times, however short it is") {
    for (const bool bCompensate : {true, false}) {
        for (std::uint32_t uFrames : {30u, 100u, 101u, 1000u}) {
            CAPTURE(bCompensate);
            CAPTURE(uFrames);
            FilterRig rig(&DelayOnly);
            Compensate(rig, bCompensate);
            REQUIRE(rig.ConnectInput(AudioType(3, 1, kRate, 32)) == S_OK);
            REQUIRE(rig.ConnectOutput() == S_OK);
            REQUIRE(rig.Run() == S_OK);
            const auto noise = Test::Noise(4, uFrames);
            for (std::uint32_t uDone = 0; uDone < uFrames;) {
                const std::uint32_t uBlock = std::min(64u, uFrames - uDone);
                FilterRig::Stamps stamps;
                stamps.nStart = Ticks(uDone);
                stamps.nMediaStart = uDone;
                CHECK(rig.Send(std::span(noise).subspan(uDone, uBlock), stamps) == S_OK);
                uDone += uBlock;
            }
            CHECK(rig.source->pin.DeliverEndOfStream() == S_OK);
            CHECK(rig.sink->pin.nEnds == 1);

            auto expected = noise;
            if (!bCompensate) {
                expected.insert(expected.begin(), 100, 0.0f);
                expected.resize(uFrames);
            }
            const auto output = rig.sink->pin.Floats();
            REQUIRE(output.size() == expected.size());
            CHECK(WorstError(output, expected) < 1e-9);
            std::int64_t nMedia = 0;
            for (const Test::Arrival& arrival : rig.sink->pin.arrivals) {
                CHECK(arrival.nMediaStart == nMedia);
                CHECK(std::abs(arrival.nStart - Ticks(nMedia)) <= 20);
                nMedia = arrival.nMediaEnd;
            }
        }
    }
}

TEST_CASE("A flush leaves nothing of what was before it, and the head is trimmed anew") {
    FilterRig rig(&DelayOnly);
    Compensate(rig, true);
    REQUIRE(rig.ConnectInput(AudioType(3, 1, kRate, 32)) == S_OK);
    REQUIRE(rig.ConnectOutput() == S_OK);
    REQUIRE(rig.Run() == S_OK);
    const std::vector<float> before(500, 0.5f);
    const auto after = Test::Noise(9, 500);
    CHECK(rig.Send(before) == S_OK);
    CHECK(rig.source->pin.DeliverBeginFlush() == S_OK);
    CHECK(rig.Send(before) != S_OK);
    CHECK(rig.source->pin.DeliverEndFlush() == S_OK);
    rig.sink->pin.bytes.clear();
    CHECK(rig.Send(after) == S_OK);
    CHECK(WorstError(rig.sink->pin.Floats(), {after.begin(), after.end() - 100}) < 1e-9);
}

TEST_CASE("A mono input in front of a connected stereo output plays on both channels") {
    FilterRig rig(+[](PluginContext&) { return ModuleSet(); });
    REQUIRE(rig.ConnectInput(AudioType(WAVE_FORMAT_PCM, 2, kRate, 16)) == S_OK);
    REQUIRE(rig.ConnectOutput() == S_OK);
    rig.DisconnectInput();
    // A difference that no conversion covers would need the graph to connect the output anew.
    CHECK(FAILED(rig.ConnectInput(AudioType(WAVE_FORMAT_PCM, 2, kRate, 24))));
    REQUIRE(rig.ConnectInput(AudioType(WAVE_FORMAT_PCM, 1, kRate, 16)) == S_OK);
    REQUIRE(rig.Run() == S_OK);
    const std::vector<std::int16_t> samples = {0, 1, -1, 32767, -32768, 1234, -4321};
    CHECK(rig.Send(samples.data(), static_cast<long>(samples.size() * 2), {}) == S_OK);
    std::vector<std::int16_t> output(samples.size() * 2);
    REQUIRE(rig.sink->pin.bytes.size() == output.size() * 2);
    std::memcpy(output.data(), rig.sink->pin.bytes.data(), output.size() * 2);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        CHECK(output[2 * i] == samples[i]);
        CHECK(output[2 * i + 1] == samples[i]);
    }
}

TEST_CASE("What a module throws reaches the host as a code, and the stream goes on") {
    FilterRig rig(&DelayOnly);
    REQUIRE(rig.ConnectInput(AudioType(3, 2, kRate, 32)) == S_OK);
    CHECK(rig.plugin->CheckTransform(nullptr, nullptr) == E_INVALIDARG);
    REQUIRE(rig.ConnectOutput() == S_OK);
    REQUIRE(rig.Run() == S_OK);
    const auto noise = Test::Noise(3, 64);
    struct Case {
        void (*failure)();
        HRESULT expected;
    };
    for (const Case& c : {Case{+[] { throw std::runtime_error("odd"); }, E_UNEXPECTED},
                          Case{+[] { throw std::bad_alloc(); }, E_OUTOFMEMORY},
                          Case{+[] { throw Exception::Base("known"); }, E_FAIL},
                          Case{+[] { throw Exception::Delivery(VFW_E_TIMEOUT, "late"); }, VFW_E_TIMEOUT},
                          Case{+[] { throw 1; }, E_UNEXPECTED}}) {
        TheDelay(rig).failure = c.failure;
        CHECK(rig.Send(noise) == c.expected);
    }
    Compensate(rig, true);
    CHECK(rig.source->pin.DeliverEndOfStream() == S_OK);
    CHECK(rig.sink->pin.nEnds == 1);
    rig.Stop();
    TheDelay(rig).failure = nullptr;
    REQUIRE(rig.Run() == S_OK);
    CHECK(rig.Send(noise) == S_OK);
}
