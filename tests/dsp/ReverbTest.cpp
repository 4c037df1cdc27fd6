#include "dsp/Reverb.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>

#include "resources/EmbeddedFile.h"
#include "tests/dsp/StreamRig.h"
#include "tests/support/TestContext.h"

using DSP::Reverb;
using Test::Stereo;

namespace {

enum Float : std::uint32_t { kDry, kWet, kSize, kDamping, kDelay, kWidth, kLowHz, kLowQ, kHighHz, kHighQ };
enum Bool : std::uint32_t { kSoloWet = 2 };
enum Int : std::uint32_t { kBuffer = 1, kOffload };

struct Fixture {
    Test::TestContext context;
    Reverb reverb{context};

    Component& Base() { return reverb; }
    void Set(Float index, float fValue) { Base().SetFloat(index, fValue); }
    void Set(Bool index, bool bValue) { Base().SetBool(index, bValue); }
    void Set(Int index, std::int32_t nValue) { Base().SetInt(index, nValue); }

    Stereo Run(const Stereo& audio, const std::vector<std::uint32_t>& cuts) {
        return Test::RunCut(reverb, audio, cuts);
    }
};

/// The room as it is stored, shaped apart from the component.
DSP::RoomImpulse ShapedRoom(const DSP::RoomShape& shape, std::uint32_t uRate = 44100) {
    const auto* file = Util::FindEmbeddedFile(Util::kEmbeddedImpulses, "Impulse1.pcm");
    std::vector<float> stored[2];
    for (std::size_t i = 0; i < 2 * 77184; ++i) {
        const auto nSample = static_cast<std::int16_t>(file->data[2 * i] + 256 * file->data[2 * i + 1]);
        stored[i % 2].push_back(static_cast<float>(nSample * 3.0517578e-5));
    }
    DSP::RoomImpulse room;
    const float* pointers[] = {stored[0].data(), stored[1].data()};
    room.Load(pointers, 77184, 2, 44100);
    room.Make(shape, uRate, false);
    return room;
}

/// The greatest difference between a reverb's answer to an impulse on both sides, at 100 % wet, and a room at
/// a tenth, with a dry sound, both delayed.
float Worst(Fixture& f, const DSP::RoomImpulse& room, std::size_t uDelay, float fDry) {
    const auto taps = room.Taps();
    const auto uRoom = static_cast<std::size_t>(room.Length());
    Stereo response = Test::UnitImpulse(uRoom + uDelay + 5000);
    response.right = response.left;
    f.reverb.ClearAudio();
    response = f.Run(response, {333});
    float fWorst = 0.0f;
    for (std::size_t n = 0; n < response.left.size(); ++n) {
        const bool bInside = n >= uDelay && n - uDelay < uRoom;
        const float fDirect = n == uDelay ? fDry : 0.0f;
        const float fLeft = fDirect + (bInside ? 0.1f * taps[0][n - uDelay] : 0.0f);
        const float fRight = fDirect + (bInside ? 0.1f * taps[1][n - uDelay] : 0.0f);
        fWorst = std::max({fWorst, std::abs(response.left[n] - fLeft), std::abs(response.right[n] - fRight)});
    }
    return fWorst;
}

}  // namespace

TEST_CASE("The room answers with the stored impulse, shaped, one block late") {
    Fixture f;
    f.Set(kDry, 70);
    f.Set(kWet, 100);
    DSP::RoomShape shape;
    shape.fSize = 0.8f;  // of a new reverb, whose parameter shows the greatest size
    CHECK(Worst(f, ShapedRoom(shape), 1023, 0.7f) < 1e-6f);

    // With the offload thread and without, in every mode, while the user edits and not.
    shape = {0.4f / 0.8f, 0.9f, 20.0f, 0.5f, {200.0f, 2.0f, 7000.0f, 0.7f}};
    const auto room = ShapedRoom(shape);
    constexpr float kValues[] = {0, 100, 0.4f, 0.9f, 20, 0.5f, 200, 2, 7000, 0.7f};
    for (std::int32_t nCase = 0; nCase < 6; ++nCase) {
        CAPTURE(nCase);
        Fixture one;
        one.Set(kOffload, nCase / 2);
        one.reverb.SetUserEditing(nCase % 2 == 1);
        one.Set(kBuffer, 0);
        for (std::uint32_t i = 0; i < 10; ++i)
            one.Base().SetFloat(i, kValues[i]);
        // Without the thread nothing has to be waited for: the next block makes the room.
        if (nCase >= 3) one.reverb.FinishBackgroundWork();
        CHECK(Worst(one, room, 127, 0) < 1e-6f);
    }

    // At the greatest size, set by hand, all of the impulse; and at a higher rate as many times more frames.
    f.Set(kSize, 0.4f);
    f.Set(kSize, 0.8f);
    f.reverb.SetSampleRate(88200);
    shape = {};
    shape.fSize = 1.0f;
    CHECK(Worst(f, ShapedRoom(shape, 88200), 1023, 0.7f) < 1e-6f);
}

TEST_CASE("A mono room is the left channel alone, and solo wet takes the dry sound away") {
    Fixture f;
    f.Set(kOffload, 0);
    f.Set(kWet, 50);
    const Stereo input = Test::StereoNoise(1, 9000);
    const Stereo stereo = f.Run(input, {600});
    f.reverb.ClearAudio();
    CHECK(f.Run({input.left, {}}, {600}).left == stereo.left);
    f.Set(kSoloWet, true);
    f.Set(kWet, 0);
    f.reverb.ClearAudio();
    CHECK(Test::Same(f.Run(input, {600}), Test::Silence(9000)));
}

TEST_CASE("A change of the room that keeps its length keeps what is still to be heard") {
    Fixture f;
    f.Set(kOffload, 0);
    f.Set(kDry, 0);
    f.Set(kWet, 100);
    const auto tail = [&](Float index, float fValue) {
        f.Run(Test::StereoNoise(1, 4096), {1024});
        f.Set(index, fValue);
        f.Run(Test::Silence(1024), {1024});  // what the block buffer holds
        return f.Run(Test::Silence(1024), {1024});
    };
    CHECK_FALSE(Test::Same(tail(kDamping, 0.9f), Test::Silence(1024)));
    CHECK(Test::Same(tail(kSize, 0.3f), Test::Silence(1024)));
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
        f.Set(kSoloWet, i % 4 > 1);
        std::fill(left.begin(), left.end(), 1.0f);
        std::fill(right.begin(), right.end(), 1.0f);
        f.reverb.ClearState();
        f.reverb.ProcessBlock(128, left.data(), right.data());
        const bool bDry = left == std::vector<float>(128, i % 4 > 1 ? 0.0f : 0.5f) && right == left;
        const bool bWet = left != right;
        CHECK(bDry != bWet);
    }
    f.reverb.FinishBackgroundWork();
    CHECK_FALSE(Test::Same(f.Run(Test::StereoNoise(1, 1024), {128}), Test::Silence(1024)));
    // What is cleared meanwhile stays away afterwards.
    f.Set(kDamping, 0.5f);
    f.reverb.ClearAudio();
    f.reverb.FinishBackgroundWork();
    CHECK(Test::Same(f.Run(Test::Silence(512), {128}), Test::Silence(512)));
}
