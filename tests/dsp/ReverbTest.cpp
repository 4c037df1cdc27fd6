#include "dsp/Reverb.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "resources/EmbeddedFile.h"
#include "tests/support/CountingAllocator.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

using DSP::Reverb;

namespace {

enum Float : std::uint32_t { kDry, kWet, kSize, kDamping, kDelay, kWidth, kLowHz, kLowQ, kHighHz, kHighQ };
enum Bool : std::uint32_t { kBypass, kSoloMute, kSoloWet };
enum Int : std::uint32_t { kType, kBuffer, kOffload };
constexpr std::int32_t kPlate = 0, kRoom = 1;

using Stereo = std::array<std::vector<float>, 2>;  // an empty right channel is mono

struct Fixture {
    Test::TestContext context;
    Reverb reverb{context};

    Component& Base() { return reverb; }
    void Set(Float index, float fValue) { Base().SetFloat(index, fValue); }
    void Set(Bool index, bool bValue) { Base().SetBool(index, bValue); }
    void Set(Int index, std::int32_t nValue) { Base().SetInt(index, nValue); }

    /// Runs a stream through the block buffer, as the engine does; the last length repeats.
    Stereo Run(Stereo audio, const std::vector<std::uint32_t>& cuts) {
        reverb.SetActive(true);
        std::size_t uDone = 0;
        for (std::size_t i = 0; uDone < audio[0].size(); ++i) {
            const auto uFrames = static_cast<std::uint32_t>(
                std::min<std::size_t>(cuts[std::min(i, cuts.size() - 1)], audio[0].size() - uDone));
            reverb.ProcessAutomated({}, uFrames, audio[0].data() + uDone,
                                    audio[1].empty() ? nullptr : audio[1].data() + uDone);
            uDone += uFrames;
        }
        return audio;
    }
};

Stereo Impulse(std::size_t uLength) {
    Stereo impulse{std::vector<float>(uLength), std::vector<float>(uLength)};
    impulse[0][0] = impulse[1][0] = 1.0f;
    return impulse;
}

/// The room as it is stored, shaped apart from the component.
DSP::RoomImpulse& ShapedRoom(const DSP::RoomShape& shape, std::uint32_t uRate = 44100) {
    static DSP::RoomImpulse room;
    const auto* file = Util::FindEmbeddedFile(Util::kEmbeddedImpulses, "Impulse1.pcm");
    Stereo stored{std::vector<float>(77184), std::vector<float>(77184)};
    for (std::size_t i = 0; i < 2 * 77184; ++i) {
        const auto nSample = static_cast<std::int16_t>(file->data[2 * i] + 256 * file->data[2 * i + 1]);
        stored[i % 2][i / 2] = static_cast<float>(nSample * 3.0517578e-5);
    }
    const float* pointers[] = {stored[0].data(), stored[1].data()};
    room.Load(pointers, 77184, 2, 44100);
    room.Make(shape, uRate, false);
    return room;
}

/// The greatest difference between a response and a room at a wet gain, delayed.
float Worst(const Stereo& response, const DSP::RoomImpulse& room, float fWet, std::size_t uDelay) {
    float fWorst = 0.0f;
    for (std::size_t c = 0; c < 2; ++c) {
        for (std::size_t n = 0; n < response[c].size(); ++n) {
            const bool bInside = n >= uDelay && n - uDelay < static_cast<std::size_t>(room.Length());
            const float fExpected = bInside ? fWet * room.Taps()[c][n - uDelay] : 0.0f;
            fWorst = std::max(fWorst, std::abs(response[c][n] - fExpected));
        }
    }
    return fWorst;
}

}  // namespace

TEST_CASE("Reverb declares its tables") {
    Fixture f;
    CHECK(f.reverb.Name() == "Reverb::Reverb");
    struct Row {
        const char* name;
        float fMin, fMax, fDefault;
        const char* units;
    };
    const Row rows[] = {{"RVB: Dry Out", 0, 100, 100, ""},
                        {"RVB: Wet Out", 0, 100, 0, ""},
                        {"RVB: Room Size", 0.1f, 0.8f, 0.8f, ""},
                        {"RVB: Damping", 0.1f, 1, 0.73f, ""},
                        {"RVB: Reflections Delay", 0, 100, 0, "ms"},
                        {"RVB: Width", 0, 3, 1, ""},
                        {"RVB: Low Cutoff Freq", 20, 20000, 50, "Hz"},
                        {"RVB: Low Cutoff Q", 0.2f, 12, 2, ""},
                        {"RVB: High Cutoff Freq", 20, 20000, 7000, "Hz"},
                        {"RVB: High Cutoff Q", 0.2f, 12, 2, ""}};
    REQUIRE(f.reverb.Count(ParameterGroup::Float) == 10);
    for (std::uint32_t i = 0; i < 10; ++i) {
        const FloatRecord& record = f.reverb.FloatInfo(i);
        CAPTURE(record.strName);
        CHECK(record.strName == rows[i].name);
        CHECK(record.strUnits == rows[i].units);
        CHECK(record.fMin == rows[i].fMin);
        CHECK(record.fMax == rows[i].fMax);
        CHECK(record.fDefault == rows[i].fDefault);
        CHECK(f.Base().GetFloat(i) == record.fDefault);
        CHECK(record.bAutomatable);
        CHECK(record.presetGroup == PresetGroup::Reverb);
        CHECK(record.storageClass == StorageClass::StateBlock);
    }
    const char* const bools[] = {"RVB: Bypass", "RVB: Solo Mute", "RVB: Solo Wet"};
    REQUIRE(f.reverb.Count(ParameterGroup::Bool) == 3);
    for (std::uint32_t i = 0; i < 3; ++i) {
        CHECK(f.reverb.BoolInfo(i).strName == bools[i]);
        CHECK(f.reverb.BoolInfo(i).bDefault == (i == kBypass));
        CHECK(f.Base().GetBool(i) == (i == kBypass));
        CHECK(f.reverb.BoolInfo(i).bAutomatable == (i != kSoloMute));
    }
    const char* const ints[] = {"RVB: Type", "RVB: Buffer Size", "RVB: Offload Mode"};
    const std::vector<std::string> labels[] = {
        {"Plate", "Room"}, {"128", "256", "512", "1024", "2048", "4096", "8192"}, {"None", "UI Only", "All"}};
    REQUIRE(f.reverb.Count(ParameterGroup::Int) == 3);
    for (std::uint32_t i = 0; i < 3; ++i) {
        const IntRecord& record = f.reverb.IntInfo(i);
        CHECK(record.strName == ints[i]);
        CHECK(record.labels == labels[i]);
        CHECK(record.IsEnumeration());
        CHECK(f.Base().GetInt(i) == record.nDefault);
        CHECK(record.bAutomatable == (i == kType));
    }
    CHECK(f.reverb.IntInfo(kType).nDefault == 1);
    CHECK(f.reverb.IntInfo(kBuffer).nDefault == 3);
    CHECK(f.reverb.IntInfo(kOffload).nDefault == 2);
}

TEST_CASE("Setters keep to their ranges, and only a change makes the plug-in dirty") {
    Fixture f;
    f.Set(kOffload, 0);
    for (std::uint32_t i = 0; i < 10; ++i) {
        CAPTURE(i);
        const FloatRecord& record = f.reverb.FloatInfo(i);
        for (const float fBeyond : {1e9f, -1e9f}) {
            f.Base().SetFloat(i, fBeyond);
            CHECK(f.Base().GetFloat(i) == (fBeyond > 0 ? record.fMax : record.fMin));
        }
        const int nDirty = f.context.nDirty;
        f.Base().SetFloat(i, record.fMin);
        CHECK(f.context.nDirty == nDirty);
        f.Base().SetFloat(i, record.fMax);
        CHECK(f.context.nDirty == nDirty + 1);
    }
    for (std::uint32_t i = 0; i < 3; ++i) {
        const IntRecord& record = f.reverb.IntInfo(i);
        f.Base().SetInt(i, 1000);
        CHECK(f.Base().GetInt(i) == record.nMax);
        f.Base().SetInt(i, -1000);
        CHECK(f.Base().GetInt(i) == 0);
        const int nDirty = f.context.nDirty;
        f.Base().SetInt(i, -1000);
        CHECK(f.context.nDirty == nDirty);
    }
    CHECK_FALSE(f.reverb.IsActive());
    const int nRequests = f.context.nActivityRequests;
    f.Set(kBypass, false);
    CHECK(f.reverb.IsActive());
    f.Set(kSoloMute, true);
    CHECK_FALSE(f.reverb.IsActive());
    f.Set(kSoloMute, true);
    CHECK(f.context.nActivityRequests == nRequests + 2);
}

TEST_CASE("The room answers with the stored impulse, shaped, one block late") {
    Fixture f;
    f.Set(kDry, 0);
    f.Set(kWet, 100);
    DSP::RoomShape shape;
    shape.fSize = 0.8f;  // of a new reverb, whose parameter shows the greatest size
    CHECK(Worst(f.Run(Impulse(70000), {1024}), ShapedRoom(shape), 0.1f, 1023) < 1e-6f);

    f.Set(kBuffer, 0);
    f.Set(kSize, 0.4f);
    f.Set(kDamping, 0.9f);
    f.Set(kDelay, 20);
    f.Set(kWidth, 0.5f);
    f.Set(kLowHz, 200);
    f.Set(kHighQ, 0.7f);
    shape = {0.4f / 0.8f, 0.9f, 20.0f, 0.5f, {200.0f, 2.0f, 7000.0f, 0.7f}};
    f.reverb.FinishBackgroundWork();
    f.reverb.ClearAudio();
    CHECK(Worst(f.Run(Impulse(50000), {333}), ShapedRoom(shape), 0.1f, 127) < 1e-6f);

    // At the greatest size, set by hand, all of the impulse; and at a higher rate as many times more frames.
    f.Set(kSize, 0.8f);
    shape.fSize = 1.0f;
    f.reverb.SetSampleRate(88200);
    f.reverb.ClearAudio();
    CHECK(Worst(f.Run(Impulse(160000), {4096}), ShapedRoom(shape, 88200), 0.1f, 127) < 1e-6f);
}

TEST_CASE("With the offload thread or without, the room becomes the same") {
    Stereo responses[4];
    for (std::int32_t nCase = 0; nCase < 4; ++nCase) {
        Fixture f;
        f.Set(kOffload, std::min(nCase, 2));
        f.reverb.SetUserEditing(nCase == 3);
        if (nCase == 3) f.Set(kOffload, 1);
        f.Set(kWet, 100);
        f.Set(kSize, 0.3f);
        f.Set(kDamping, 0.5f);
        f.Set(kBuffer, 1);
        // Without the thread nothing has to be waited for: the next block makes the room.
        if (nCase >= 2) f.reverb.FinishBackgroundWork();
        responses[nCase] = f.Run({Test::Noise(1, 9000), Test::Noise(2, 9000)}, {256});
        CHECK(responses[nCase] == responses[0]);
    }
}

TEST_CASE("The plate is the comb network with the same settings, and has no latency") {
    Fixture f;
    f.reverb.SetSampleRate(48000);
    f.Set(kType, kPlate);
    f.Set(kDry, 80);
    f.Set(kWet, 40);
    f.Set(kSize, 0.3f);
    f.Set(kDamping, 0.2f);
    f.Set(kDelay, 7);
    f.Set(kWidth, 2);
    f.Set(kLowHz, 100);
    f.Set(kLowQ, 0.7f);
    f.Set(kHighHz, 9000);
    f.Set(kHighQ, 3);
    DSP::CombReverb comb;
    comb.SetSampleRate(48000);
    comb.SetDry(80);
    comb.SetWet(40);
    comb.SetRoomSize(0.3f);
    comb.SetDamping(0.2f);
    comb.SetReflectionsDelay(7);
    comb.SetWidth(2);
    comb.SetCutoffs({100, 0.7f, 9000, 3});
    const Stereo input{Test::Noise(1, 6000), Test::Noise(2, 6000)};
    Stereo expected = input;
    comb.Process(6000, expected[0].data(), expected[1].data());
    CHECK(f.Run(input, {500, 3}) == expected);
    CHECK(f.reverb.GetLatency() + f.reverb.BlockBufferLatency() == 0);

    f.Set(kSoloWet, true);
    comb.SetSoloWet(true);
    expected = input;
    comb.Process(6000, expected[0].data(), expected[1].data());
    CHECK(f.Run(input, {6000}) == expected);
}

TEST_CASE("The latency is the buffer's, as reported and as heard") {
    Fixture f;
    f.Set(kOffload, 0);
    constexpr std::uint32_t kSizes[] = {128, 256, 512, 1024, 2048, 4096, 8192};
    for (std::int32_t i = 0; i < 7; ++i) {
        const int nRequests = f.context.nDelayRequests;
        f.Set(kBuffer, i);
        CHECK(f.context.nDelayRequests == nRequests + 1);
        CHECK(f.reverb.GetLatency() == 0);
        REQUIRE(f.reverb.BlockBufferLatency() == kSizes[i] - 1);
        const Stereo output = f.Run(Impulse(10000), {100});
        CHECK(output[0][kSizes[i] - 1] == 1.0f);
        CHECK(std::count(output[0].begin(), output[0].end(), 0.0f) == 9999);
    }
    const int nRequests = f.context.nDelayRequests;
    f.Set(kType, kPlate);
    CHECK(f.context.nDelayRequests == nRequests + 1);
    CHECK(f.reverb.BlockBufferLatency() == 0);
    f.Set(kBuffer, 2);
    CHECK(f.reverb.BlockBufferLatency() == 0);
    f.Set(kType, kRoom);
    CHECK(f.reverb.BlockBufferLatency() == 511);
}

TEST_CASE("Either type's stream may be cut anywhere, and a reset forgets it") {
    for (const std::int32_t nType : {kPlate, kRoom}) {
        CAPTURE(nType);
        Fixture f;
        f.Set(kOffload, 0);
        f.Set(kType, nType);
        f.Set(kBuffer, 1);
        f.Set(kWet, 70);
        const Stereo input{Test::Noise(1, 12000), Test::Noise(2, 12000)};
        const Stereo whole = f.Run(input, {12000});
        for (const auto& cuts :
             {std::vector<std::uint32_t>{1}, {511, 0, 1, 513}, Test::RandomCuts(4, 12000, 700)}) {
            f.reverb.ClearAudio();
            CHECK(f.Run(input, cuts) == whole);
        }
    }
}

TEST_CASE("A mono room is the left channel alone, and solo wet takes the dry sound away") {
    Fixture f;
    f.Set(kOffload, 0);
    f.Set(kWet, 50);
    const Stereo input{Test::Noise(1, 9000), Test::Noise(2, 9000)};
    const Stereo stereo = f.Run(input, {600});
    f.reverb.ClearAudio();
    CHECK(f.Run({input[0], {}}, {600})[0] == stereo[0]);

    f.Set(kSoloWet, true);
    f.Set(kWet, 0);
    for (const std::int32_t nType : {kRoom, kPlate}) {
        f.Set(kType, nType);
        f.reverb.ClearAudio();
        CHECK(f.Run(input, {600})[0] == std::vector<float>(9000, 0.0f));
    }
}

TEST_CASE("While the room is made only the dry sound is heard, and afterwards all of it") {
    // Which blocks those are is the thread's matter; that there is nothing in between is ours.
    Fixture f;
    f.reverb.SetSampleRate(384000);
    f.Set(kBuffer, 0);
    f.Set(kDry, 50);
    f.reverb.FinishBackgroundWork();
    std::vector<float> left(128), right(128);
    for (int i = 0; i < 20; ++i) {
        f.Set(kDamping, i % 2 == 0 ? 0.9f : 0.8f);
        f.Set(kWet, 100);
        std::fill(left.begin(), left.end(), 1.0f);
        std::fill(right.begin(), right.end(), 1.0f);
        f.reverb.ClearState();
        f.reverb.ProcessBlock(128, left.data(), right.data());
        const bool bDry = left == std::vector<float>(128, 0.5f) && right == left;
        const bool bWet = left != right;
        CHECK(bDry != bWet);
    }
    f.reverb.FinishBackgroundWork();
    f.reverb.ProcessBlock(128, left.data(), right.data());
    CHECK(left != right);
}

TEST_CASE("Once warm neither blocks nor automation allocate") {
    Fixture f;
    f.Set(kWet, 50);
    Stereo audio{Test::Noise(1, 2048), Test::Noise(2, 2048)};
    f.Set(kType, kPlate);
    audio = f.Run(audio, {2048});
    f.Set(kType, kRoom);
    f.reverb.FinishBackgroundWork();
    audio = f.Run(audio, {2048});
    audio[0] = Test::Noise(1, 2048);

    Test::Random random(9);
    const Test::AllocationCounter counter;
    for (int i = 0; i < 40; ++i) {
        // As automation does it: on the audio thread, within the component's lock.
        f.reverb.Lock().lock();
        for (std::uint32_t p = 0; p < 10; ++p) {
            const FloatRecord& record = f.reverb.FloatInfo(p);
            f.Base().SetFloat(p, random.Uniform(record.fMin, record.fMax));
        }
        f.Set(kSoloWet, i % 3 == 0);
        f.Set(kBypass, i % 5 == 0);
        f.Set(kType, i % 7 == 0 ? kPlate : kRoom);
        f.reverb.Lock().unlock();
        f.reverb.ProcessAutomated({}, 2048, audio[0].data(), audio[1].data());
        f.reverb.ClearAudio();
        f.reverb.FinishBackgroundWork();
    }
    CHECK(counter.Count() == 0);
}

TEST_CASE("Both types are clean right after damage") {
    for (const std::int32_t nType : {kPlate, kRoom}) {
        CAPTURE(nType);
        Fixture f;
        f.Set(kOffload, 0);
        f.Set(kType, nType);
        f.Set(kBuffer, 0);
        f.Set(kWet, 100);
        Stereo input{Test::Noise(1, 4096), Test::Noise(2, 4096)};
        for (std::size_t i = 0; i < 300; ++i) {
            input[0][100 + i] = i % 2 == 0 ? std::numeric_limits<float>::quiet_NaN() : 1e30f;
            input[1][100 + i] = -std::numeric_limits<float>::infinity();
        }
        const Stereo output = f.Run(input, {512});
        const auto isClean = [](float x) { return std::abs(x) < 1e3f; };
        CHECK(std::all_of(output[0].begin() + 600, output[0].end(), isClean));
        CHECK(std::all_of(output[1].begin() + 600, output[1].end(), isClean));
    }
}

TEST_CASE("Any settings at any rate give finite sound") {
    Test::Random random(77);
    for (const std::uint32_t uRate : {8000u, 22050u, 44100u, 192000u}) {
        CAPTURE(uRate);
        Fixture f;
        f.reverb.SetSampleRate(uRate);
        Stereo audio;
        for (int i = 0; i < 25; ++i) {
            for (std::uint32_t p = 0; p < 10; ++p) {
                const FloatRecord& record = f.reverb.FloatInfo(p);
                const std::uint32_t uDraw = random.Between(0, 5);
                f.Base().SetFloat(p, uDraw == 0   ? record.fMin
                                     : uDraw == 1 ? record.fMax
                                                  : random.Uniform(record.fMin, record.fMax));
            }
            for (std::uint32_t p = 0; p < 3; ++p)
                f.Base().SetInt(p, static_cast<std::int32_t>(random.Between(0, 6)));
            f.Set(kSoloWet, random.Between(0, 1) == 1);
            const std::uint32_t uFrames = random.Between(0, 5000);
            audio = {Test::Noise(random.Next(), uFrames), Test::Noise(random.Next(), uFrames)};
            if (i % 4 == 3) audio[1].clear();
            audio = f.Run(audio, {random.Between(1, 900)});
            float fWorst = 0.0f;
            for (const float x : audio[0])
                fWorst = std::max(fWorst, std::isfinite(x) ? std::abs(x) : 1e30f);
            CHECK(fWorst < 1e5f);
        }
    }
}
