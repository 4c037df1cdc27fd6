#include "PluginBase/ComponentBlockBuffer.h"

#include <doctest/doctest.h>

#include "tests/support/CountingAllocator.h"
#include "tests/support/Signals.h"

namespace {

/// Feeds a stream in the given cuts; every block handed out is negated. Left and right come back in one
/// vector.
std::vector<float> Feed(ComponentBlockBuffer& buffer, std::vector<float> left, std::vector<float> right,
                        const std::vector<std::uint32_t>& cuts, bool bStereo = true) {
    std::size_t uPosition = 0;
    for (const std::uint32_t uFrames : cuts) {
        buffer.Begin(uFrames, left.data() + uPosition, bStereo ? right.data() + uPosition : nullptr, nullptr,
                     nullptr);
        ComponentBlockBuffer::Piece piece;
        while (buffer.NextBlock(piece)) {
            for (std::uint32_t i = 0; i < piece.uFrames; ++i) {
                piece.left[i] = -piece.left[i];
                if (piece.right) piece.right[i] = -piece.right[i];
            }
        }
        buffer.End();
        uPosition += uFrames;
    }
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

}  // namespace

TEST_CASE("ComponentBlockBuffer delays by block size - 1 and the output does not depend on the cuts") {
    const std::uint32_t kFrames = 5000;
    const auto left = Test::Noise(1, kFrames);
    const auto right = Test::Noise(2, kFrames);
    for (const std::uint32_t uBlockSize : {1u, 2u, 7u, 256u, 4096u}) {
        CAPTURE(uBlockSize);
        std::vector<float> expected(2 * kFrames, 0.0f);
        for (std::uint32_t i = uBlockSize - 1; i < kFrames; ++i) {
            expected[i] = -left[i - (uBlockSize - 1)];
            expected[kFrames + i] = -right[i - (uBlockSize - 1)];
        }
        ComponentBlockBuffer buffer;
        buffer.SetBlockSize(static_cast<std::int32_t>(uBlockSize));
        CHECK(buffer.Latency() == uBlockSize - 1);
        for (std::uint64_t uSeed = 0; uSeed < 6; ++uSeed) {
            CAPTURE(uSeed);
            const std::uint32_t uLongest = std::vector<std::uint32_t>{1, 3, 64, 255, 1000, kFrames}[uSeed];
            buffer.Clear();
            CHECK(Test::FirstDifference(Feed(buffer, left, right, Test::RandomCuts(uSeed, kFrames, uLongest)),
                                        expected) == -1);
        }
    }
}

TEST_CASE("ComponentBlockBuffer of size 0 hands out the host's own block once") {
    ComponentBlockBuffer buffer;
    CHECK(buffer.Latency() == 0);
    float left[3] = {1, 2, 3};
    buffer.Begin(3, left, nullptr, nullptr, nullptr);
    ComponentBlockBuffer::Piece piece;
    REQUIRE(buffer.NextBlock(piece));
    CHECK(piece.left == left);
    CHECK(piece.right == nullptr);
    CHECK(piece.uFrames == 3);
    CHECK_FALSE(buffer.NextBlock(piece));
    buffer.End();
}

TEST_CASE("ComponentBlockBuffer keeps both channels in step when the host goes from mono to stereo") {
    ComponentBlockBuffer buffer;
    buffer.SetBlockSize(64);
    const auto left = Test::Noise(3, 400);
    const auto right = Test::Noise(4, 400);
    Feed(buffer, std::vector<float>(100, 0.5f), std::vector<float>(100), {100}, false);
    const auto output = Feed(buffer, left, right, {400});
    for (std::size_t i = 63; i < 400; ++i) {
        REQUIRE(output[i] == -left[i - 63]);
        REQUIRE(output[400 + i] == -right[i - 63]);
    }
}

TEST_CASE("ComponentBlockBuffer tells at which frame of the host's block a piece begins") {
    ComponentBlockBuffer buffer;
    buffer.SetBlockSize(100);
    std::vector<float> samples(250);
    buffer.Begin(30, samples.data(), nullptr, nullptr, nullptr);
    ComponentBlockBuffer::Piece piece;
    CHECK_FALSE(buffer.NextBlock(piece));
    buffer.End();
    buffer.Begin(250, samples.data(), nullptr, nullptr, nullptr);
    REQUIRE(buffer.NextBlock(piece));
    CHECK(piece.nOffset == -30);
    REQUIRE(buffer.NextBlock(piece));
    CHECK(piece.nOffset == 70);
    CHECK_FALSE(buffer.NextBlock(piece));
    buffer.End();
}

TEST_CASE("ComponentBlockBuffer with eight outputs delays every band and leaves the input alone") {
    ComponentBlockBuffer buffer;
    buffer.SetBlockSize(16, 2, 8);
    const auto input = Test::Noise(5, 100);
    auto left = input, right = input;
    std::vector<std::vector<float>> bands(8, std::vector<float>(100, 9.0f));
    float* bandsLeft[4];
    float* bandsRight[4];
    std::size_t uPosition = 0;
    for (const std::uint32_t uFrames : {10u, 50u, 1u, 39u}) {
        for (int b = 0; b < 4; ++b) {
            bandsLeft[b] = bands[static_cast<std::size_t>(b)].data() + uPosition;
            bandsRight[b] = bands[static_cast<std::size_t>(b) + 4].data() + uPosition;
        }
        buffer.Begin(uFrames, left.data() + uPosition, right.data() + uPosition, bandsLeft, bandsRight);
        ComponentBlockBuffer::Piece piece;
        while (buffer.NextBlock(piece)) {
            for (std::uint32_t i = 0; i < piece.uFrames; ++i) {
                for (std::size_t b = 0; b < 4; ++b) {
                    piece.bandsLeft[b][i] = piece.left[i] * static_cast<float>(b + 1);
                    piece.bandsRight[b][i] = piece.right[i] * static_cast<float>(b + 5);
                }
            }
        }
        buffer.End();
        uPosition += uFrames;
    }
    CHECK(Test::FirstDifference(left, input) == -1);
    for (std::size_t b = 0; b < 8; ++b) {
        std::vector<float> expected(100, 0.0f);
        for (std::size_t i = 15; i < 100; ++i)
            expected[i] = input[i - 15] * static_cast<float>(b + 1);
        CAPTURE(b);
        CHECK(Test::FirstDifference(bands[b], expected) == -1);
    }
}

TEST_CASE("ComponentBlockBuffer passes the rest of a block in which its size changes") {
    const auto input = Test::Noise(6, 64);
    auto samples = input;
    ComponentBlockBuffer buffer;
    ComponentBlockBuffer::Piece piece;

    SUBCASE("from pass-through to a size") {
        buffer.Begin(64, samples.data(), nullptr, nullptr, nullptr);
        REQUIRE(buffer.NextBlock(piece));
        for (int i = 0; i < 20; ++i)
            piece.left[i] = 0.0f;
        buffer.Advance(20);
        buffer.SetBlockSize(32);
        CHECK(buffer.Reconfigured());
        buffer.End();
        for (std::size_t i = 0; i < 64; ++i)
            REQUIRE(samples[i] == (i < 20 ? 0.0f : input[i]));
    }
    SUBCASE("from one size to another") {
        buffer.SetBlockSize(16);
        buffer.Begin(64, samples.data(), nullptr, nullptr, nullptr);
        REQUIRE(buffer.NextBlock(piece));
        piece.left[0] = 0.0f;
        buffer.SetBlockSize(32);
        CHECK_FALSE(buffer.NextBlock(piece));
        buffer.End();
        CHECK(Test::FirstDifference(samples, input) == -1);
    }
    SUBCASE("with bands, the lowest of which takes it") {
        std::vector<std::vector<float>> bands(4, std::vector<float>(64, 9.0f));
        float* bandsLeft[] = {bands[0].data(), bands[1].data(), bands[2].data(), bands[3].data()};
        buffer.SetBlockSize(16, 2, 8);
        buffer.Begin(64, samples.data(), nullptr, bandsLeft, nullptr);
        REQUIRE(buffer.NextBlock(piece));
        buffer.SetBlockSize(0, 2, 8);
        buffer.End();
        CHECK(Test::FirstDifference(bands[0], input) == -1);
        CHECK(Test::FirstDifference(bands[3], std::vector<float>(64, 0.0f)) == -1);
    }
    // Afterwards the new size works from an empty start.
    const std::uint32_t uDelay = buffer.Latency();
    auto next = input;
    Feed(buffer, next, next, {64}, false);
    CHECK(buffer.Latency() == uDelay);
}

TEST_CASE("ComponentBlockBuffer allocates nothing once it has seen its longest block") {
    ComponentBlockBuffer buffer;
    buffer.SetBlockSize(100);
    std::vector<float> left(512), right(512);
    const auto run = [&](std::uint32_t uFrames) {
        buffer.Begin(uFrames, left.data(), right.data(), nullptr, nullptr);
        ComponentBlockBuffer::Piece piece;
        while (buffer.NextBlock(piece)) {
        }
        buffer.End();
    };
    for (int i = 0; i < 10; ++i)
        run(512);
    Test::AllocationCounter counter;
    for (std::uint32_t uFrames = 1; uFrames <= 512; ++uFrames)
        run(uFrames);
    CHECK(counter.Count() == 0);
}
