#include "PluginBase/ComponentBlockBuffer.h"

#include <doctest/doctest.h>

#include <algorithm>

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

TEST_CASE(
    "ComponentBlockBuffer delays by block size - 1, however the stream is cut, mono or stereo before it") {
    const std::uint32_t kFrames = 5000;
    const auto left = Test::Noise(1, kFrames);
    const auto right = Test::Noise(2, kFrames);
    for (const std::uint32_t uBlockSize : {0u, 1u, 2u, 7u, 256u, 4096u}) {
        CAPTURE(uBlockSize);
        const std::uint32_t uDelay = uBlockSize == 0 ? 0 : uBlockSize - 1;
        std::vector<float> expected(2 * kFrames, 0.0f);
        for (std::uint32_t i = uDelay; i < kFrames; ++i) {
            expected[i] = -left[i - uDelay];
            expected[kFrames + i] = -right[i - uDelay];
        }
        ComponentBlockBuffer buffer;
        buffer.SetBlockSize(static_cast<std::int32_t>(uBlockSize));
        CHECK(buffer.Latency() == uDelay);
        for (std::uint64_t uSeed = 0; uSeed < 6; ++uSeed) {
            CAPTURE(uSeed);
            const std::uint32_t uLongest = std::vector<std::uint32_t>{1, 3, 64, 255, 1000, kFrames}[uSeed];
            // Whatever mono blocks leave behind, both channels go on in step.
            Feed(buffer, right, left, {100}, false);
            if (uSeed % 2 == 0) buffer.Clear();
            auto output = Feed(buffer, left, right, Test::RandomCuts(uSeed, kFrames, uLongest));
            if (uSeed % 2 != 0) {
                std::copy_n(expected.begin(), uDelay, output.begin());
                std::copy_n(expected.begin(), uDelay, output.begin() + kFrames);
            }
            CHECK(Test::FirstDifference(output, expected) == -1);
        }
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
    std::size_t uPosition = 0;
    for (const std::uint32_t uFrames : {10u, 50u, 1u, 39u}) {
        float* to[8];
        for (std::size_t b = 0; b < 8; ++b)
            to[b] = bands[b].data() + uPosition;
        buffer.Begin(uFrames, left.data() + uPosition, right.data() + uPosition, to, to + 4);
        ComponentBlockBuffer::Piece piece;
        while (buffer.NextBlock(piece)) {
            for (std::size_t b = 0; b < 8; ++b) {
                float* const band = b < 4 ? piece.bandsLeft[b] : piece.bandsRight[b - 4];
                for (std::uint32_t i = 0; i < piece.uFrames; ++i)
                    band[i] = piece.left[i] * static_cast<float>(b + 1);
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
}

TEST_CASE(
    "ComponentBlockBuffer cleared in mid-block drops what it holds, and the block itself comes through") {
    ComponentBlockBuffer buffer;
    buffer.SetBlockSize(16);
    Feed(buffer, std::vector<float>(64, 1.0f), std::vector<float>(64), {64}, false);
    std::vector<float> samples(64, 2.0f);
    buffer.Begin(64, samples.data(), nullptr, nullptr, nullptr);
    ComponentBlockBuffer::Piece piece;
    REQUIRE(buffer.NextBlock(piece));
    buffer.Clear();
    while (buffer.NextBlock(piece)) {
    }
    buffer.End();
    for (std::size_t i = 0; i < 64; ++i)
        REQUIRE(samples[i] == (i < 15 ? 0.0f : 2.0f));
}
