#include "dsp/vector/CombBank.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <vector>

#include "tests/support/Signals.h"
#include "tests/vector/KernelCases.h"

namespace {

// The formula of the header, a sample at a time, over rings of its own.
struct PlainBank {
    struct Line {
        std::vector<float> ring;
        std::size_t uPosition = 0;
        float fFiltered = 0.0f;
    };
    std::vector<Line> combs;
    std::vector<Line> allpasses;

    float Step(const DSP::CombFactors& factors, float fInput) {
        float a = 0.0f;
        for (Line& line : combs) {
            const float o = line.ring[line.uPosition];
            line.fFiltered = factors.fDamp1 * line.fFiltered + factors.fDamp2 * o;
            line.ring[line.uPosition] = line.fFiltered * factors.fFeedback + fInput;
            line.uPosition = (line.uPosition + 1) % line.ring.size();
            a += o;
        }
        for (Line& line : allpasses) {
            const float o = line.ring[line.uPosition];
            line.ring[line.uPosition] = o * 0.5f + a;
            line.uPosition = (line.uPosition + 1) % line.ring.size();
            a = o - a;
        }
        return a;
    }
};

// The kernel's bank on rings that show a write beside them.
struct Bank {
    explicit Bank(int nShortest) {
        const auto add = [&](auto& line, int nLength) {
            rings.emplace_back(std::vector<float>(static_cast<std::size_t>(nLength)), nLength % 5);
            line.nLength = nLength;
        };
        rings.reserve(12);
        for (int i = 0; i < 8; ++i)
            add(channel.combs[static_cast<std::size_t>(i)], nShortest + 37 * i);
        for (int i = 0; i < 4; ++i)
            add(channel.allpasses[static_cast<std::size_t>(i)], nShortest + 11 * i);
        std::size_t uNext = 0;
        for (auto& line : channel.combs)
            line.ring = rings[uNext++].Data();
        for (auto& line : channel.allpasses)
            line.ring = rings[uNext++].Data();
    }
    PlainBank Plain() const {
        PlainBank plain;
        for (const auto& line : channel.combs)
            plain.combs.push_back({std::vector<float>(static_cast<std::size_t>(line.nLength))});
        for (const auto& line : channel.allpasses)
            plain.allpasses.push_back({std::vector<float>(static_cast<std::size_t>(line.nLength))});
        return plain;
    }
    bool Intact() const {
        return std::all_of(rings.begin(), rings.end(), [](const auto& ring) { return ring.Intact(); });
    }

    DSP::CombChannel channel;
    std::vector<Test::Guarded<float>> rings;
};

const DSP::CombFactors kFactors{0.91f, 0.3f, 0.7f};

}  // namespace

TEST_CASE("A comb bank gives the bits of its plain loop, however the stream is cut") {
    const auto input = Test::Noise(11, 6000);
    for (const int nShortest : {DSP::kCombChunk, 225, 1116}) {
        CAPTURE(nShortest);
        PlainBank left = Bank(nShortest).Plain();
        PlainBank right = Bank(nShortest + 23).Plain();
        std::vector<float> expectedLeft, expectedRight;
        for (const float fSample : input) {
            expectedLeft.push_back(left.Step(kFactors, fSample));
            expectedRight.push_back(right.Step(kFactors, fSample));
        }
        Test::AtEveryLevel([&] {
            for (const std::uint32_t uLongest : {1u, 17u, 200u, 6000u}) {
                CAPTURE(uLongest);
                Bank kernelLeft(nShortest), kernelRight(nShortest + 23);
                std::vector<float> outLeft(input.size()), outRight(input.size());
                std::size_t uDone = 0;
                for (const std::uint32_t uCut : Test::RandomCuts(uLongest, 6000, uLongest)) {
                    DSP::VectorCombBank(kFactors, input.data() + uDone, &kernelLeft.channel,
                                        outLeft.data() + uDone, &kernelRight.channel, outRight.data() + uDone,
                                        static_cast<int>(uCut));
                    uDone += uCut;
                }
                CHECK(Test::FirstDifference<float>(outLeft, expectedLeft) == -1);
                CHECK(Test::FirstDifference<float>(outRight, expectedRight) == -1);
                CHECK(kernelLeft.Intact());
                CHECK(kernelRight.Intact());
            }
        });
    }
}

TEST_CASE("A bank alone leaves the other as it is, and bad arguments change nothing") {
    Bank bank(300), other(300);
    std::vector<float> input(50, 1.0f), output(50, 7.0f);
    const auto run = [&](const float* in, DSP::CombChannel* right, int nLength) {
        return DSP::VectorCombBank(kFactors, in, &bank.channel, output.data(), right, nullptr, nLength);
    };
    CHECK(run(input.data(), nullptr, 50) == DSP::kVectorOk);
    CHECK(run(input.data(), &other.channel, 50) == DSP::kVectorNullPointer);
    CHECK(run(nullptr, nullptr, 50) == DSP::kVectorNullPointer);
    CHECK(run(input.data(), nullptr, 0) == DSP::kVectorBadLength);
    CHECK(bank.channel.combs[0].nPosition == 50);
    CHECK(other.channel.combs[0].nPosition == 0);
}
