#include <doctest/doctest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "PluginBase/DirectX/AutomatedParameters.h"
#include "PluginBase/DirectX/BlockConverter.h"
#include "PluginBase/DirectX/Delivery.h"
#include "PluginBase/DirectX/StreamFormat.h"
#include "PluginBase/DirectX/StreamTime.h"
#include "PluginBase/DirectX/StringMap.h"
#include "tests/support/CountingAllocator.h"
#include "tests/support/Signals.h"
#include "tests/support/TestPlugin.h"

namespace {

std::vector<std::uint8_t> WaveFormat(unsigned uTag, unsigned uChannels, unsigned uRate, unsigned uBits) {
    const unsigned uAlign = uChannels * uBits / 8;
    std::vector<std::uint8_t> bytes;
    const auto put = [&](unsigned uValue, int nBytes) {
        for (int i = 0; i < nBytes; ++i)
            bytes.push_back(static_cast<std::uint8_t>(uValue >> (8 * i)));
    };
    put(uTag, 2), put(uChannels, 2), put(uRate, 4), put(uRate * uAlign, 4), put(uAlign, 2), put(uBits, 2);
    return bytes;
}

}  // namespace

TEST_CASE("StreamFormat takes six sample formats in mono and stereo, and nothing else") {
    int nTaken = 0;
    for (unsigned uTag : {0u, 1u, 2u, 3u, 6u, 85u, 0xFFFEu}) {
        for (unsigned uBits = 0; uBits <= 80; ++uBits) {
            for (unsigned uChannels : {0u, 1u, 2u, 3u, 6u}) {
                const auto format = StreamFormat::Read(WaveFormat(uTag, uChannels, 96000, uBits));
                if (!format) continue;
                ++nTaken;
                BlockConverter converter;
                CHECK(converter.Select(*format, uChannels, 0));
                CHECK(converter.OutputFrameSize() == uChannels * uBits / 8);
                CHECK(format->uSampleRate == 96000);
                CHECK(format->bFloat == (uTag == 3));
                CHECK((uTag == 1 ? uBits <= 32 : uTag == 3 && uBits >= 32));
            }
        }
    }
    CHECK(nTaken == 12);
    CHECK_FALSE(StreamFormat::Read(WaveFormat(1, 2, 0, 16)));
    auto cut = WaveFormat(1, 2, 44100, 16);
    CHECK(*StreamFormat::Read(cut) != *StreamFormat::Read(WaveFormat(1, 2, 48000, 16)));
    cut.pop_back();
    CHECK_FALSE(StreamFormat::Read(cut));
}

TEST_CASE("BlockConverter gives back what it read, from any frame on, and spreads mono to stereo") {
    constexpr std::uint32_t kFrames = 37;
    const auto noise = Test::Noise(5, 2 * kFrames);
    struct Pair {
        unsigned uIn, uOut;
    };
    for (const Pair pair : {Pair{1, 1}, {2, 2}, {1, 2}}) {
        CAPTURE(pair.uIn);
        CAPTURE(pair.uOut);
        BlockConverter converter;
        CHECK_FALSE(converter.IsReady());
        CHECK(converter.Select(*StreamFormat::Read(WaveFormat(3, pair.uIn, 44100, 32)), pair.uIn, pair.uOut));
        converter.Resize(kFrames);
        const Test::AllocationCounter allocations;
        converter.Resize(kFrames - 1);
        converter.Read(kFrames, noise.data());
        CHECK((converter.InputRight() != nullptr) == (pair.uIn == 2));
        CHECK((converter.OutputRight() != nullptr) == (pair.uOut == 2));
        std::copy_n(converter.InputLeft(), kFrames, converter.OutputLeft());
        if (pair.uIn == 2) std::copy_n(converter.InputRight(), kFrames, converter.OutputRight());
        std::array<float, 2 * kFrames + 1> host;
        host.fill(9.0f);
        converter.Write(3, kFrames - 3, host.data());
        CHECK(allocations.Count() == 0);

        int nWrong = 0;
        for (std::uint32_t i = 0; i < (kFrames - 3) * pair.uOut; ++i)
            nWrong += host[i] != noise[3 * pair.uIn + (pair.uIn == pair.uOut ? i : i / 2)];
        CHECK(nWrong == 0);
        CHECK(host[(kFrames - 3) * pair.uOut] == 9.0f);
    }
}

TEST_CASE("StreamTime truncates like exact arithmetic, also after years of streaming") {
    for (std::uint32_t uRate : {1u, 22050u, 44100u, 192000u, 4294967295u}) {
        for (std::int64_t nValue : {0LL, 1LL, 44099LL, 123456789LL, 9'000'000'000'000'000LL}) {
            CAPTURE(uRate);
            CAPTURE(nValue);
            const long double fTicks = static_cast<long double>(nValue) * 1e7L / uRate;
            if (fTicks < 9e18L) {
                CHECK(TicksFromFrames(nValue, uRate) == static_cast<std::int64_t>(std::trunc(fTicks)));
            }
            const long double fFrames = static_cast<long double>(nValue) * uRate / 1e7L;
            if (fFrames < 9e18L) {
                CHECK(FramesFromTicks(nValue, uRate) == static_cast<std::int64_t>(std::trunc(fFrames)));
            }
        }
    }
}

TEST_CASE("The controllers are 128 with a volume, the other lists are empty; names keep to their range") {
    CHECK(ControllerNames().Title() == "Controllers");
    CHECK(ControllerNames().Count() == 128);
    CHECK(*ControllerNames().Find(7) == "Volume");
    for (const StringMap& empty : {RpnNames(), NrpnNames()})
        CHECK(empty.Count() == 0);
    StringMap sparse("Sparse", 10);
    for (int nNumber : {9, -1, 10, 2, 9})
        sparse.Set(nNumber, std::to_string(nNumber));
    REQUIRE(sparse.Count() == 2);
    CHECK(sparse.At(0)->first == 2);
    CHECK(sparse.At(1)->second == "9");
    CHECK(sparse.At(2) == nullptr);
    CHECK(sparse.At(-1) == nullptr);
}

TEST_CASE("A delivery failure carries its code, and tells it in hexadecimal behind the report") {
    const Exception::Delivery failure(static_cast<std::int32_t>(0x80040211), "Can't get delivery buffer");
    CHECK(static_cast<std::uint32_t>(failure.Result()) == 0x80040211);
    const std::string strText = failure.Text();
    CHECK(strText.ends_with("Base:\n\tCan't get delivery buffer\nDelivery: 0x80040211"));
    CHECK(strText.starts_with("AdapterCoreTest.cpp ("));
}

TEST_CASE("A host finds every automatable parameter by one index, in list order, and comes back by it") {
    Test::TestPlugin plugin;
    AutomatedParameters parameters(plugin);
    std::uint32_t uNext = 0;
    for (const ParameterRef& parameter : AllParameters(plugin.Components())) {
        const auto index =
            AutomatedParameters::IndexOf(parameter.Owner(), parameter.Group(), parameter.Index());
        REQUIRE(index.has_value() == parameter.Info().bAutomatable);
        if (!index) continue;
        CHECK(*index == uNext);
        CHECK(parameters.At(uNext++) == parameter);
        CHECK(parameters.Get(*index) == static_cast<float>(parameter.Get()));
        // Each end of the range is reached, and what lies beyond is held there.
        parameters.Set(*index, static_cast<float>(parameter.Max()) + 1);
        CHECK(parameters.Get(*index) == static_cast<float>(parameter.Max()));
        parameters.Set(*index, static_cast<float>(parameter.Min()) - 1);
        CHECK(parameters.Get(*index) == static_cast<float>(parameter.Min()));
        parameters.Set(*index, NAN);
        CHECK(parameters.Get(*index) == static_cast<float>(parameter.Min()));
    }
    CHECK(uNext == parameters.Count());
}

TEST_CASE("An envelope marks its parameter in the user's colour until its last segment is flushed") {
    Test::TestPlugin plugin;
    AutomatedParameters parameters(plugin);
    const auto gain = *plugin.Parameter("Gain: Input Left").Info().optionSlot;
    const ParameterRef& parameter = parameters.At(gain);
    const auto highlight = [&] { return parameter.Info().GetHighlight(); };
    const EnvelopeSegment segments[] = {{0, 100, 0, 1}, {200, 300, 1, 0}};

    parameters.AddSegments(gain, segments);
    CHECK(highlight() == Highlight::None);
    plugin.Set("Global: DX Automation Highlight", 2);
    CHECK(highlight() == Highlight::Green);
    CHECK(parameter.Owner().HasAutomation());

    parameters.RemoveSegments(gain, 100, 200);
    CHECK(parameter.Owner().Envelopes().SegmentCount(parameter.Group(), parameter.Index()) == 2);
    parameters.RemoveSegments(gain, 99, 200);
    CHECK(parameter.Owner().Envelopes().SegmentCount(parameter.Group(), parameter.Index()) == 1);
    CHECK(highlight() == Highlight::Green);
    parameters.RemoveSegments(gain, 0, 1000);
    CHECK(highlight() == Highlight::None);
    CHECK_FALSE(parameter.Owner().HasAutomation());
    parameters.AddSegments(gain, segments);
    CHECK(highlight() == Highlight::Green);
}
