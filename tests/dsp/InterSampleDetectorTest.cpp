#include "dsp/InterSampleDetector.h"

#include <doctest/doctest.h>

#include <cmath>
#include <vector>

#include "tests/support/LimiterModels.h"

using DSP::InterSampleDetector;

namespace {

std::vector<float> Peaks(InterSampleDetector& detector, const Test::Stereo& x, std::size_t uFrom,
                         const std::vector<std::uint32_t>& blocks) {
    std::vector<float> peaks(x.left.size() - uFrom);
    std::size_t uDone = uFrom;
    for (const std::uint32_t uFrames : blocks) {
        detector.Process(x.left.data() + uDone, x.right.empty() ? nullptr : x.right.data() + uDone,
                         static_cast<int>(uFrames), peaks.data() + (uDone - uFrom));
        uDone += uFrames;
    }
    return peaks;
}

}  // namespace

TEST_CASE("InterSampleDetector finds the model's peaks six frames later, however the stream is cut") {
    for (const bool bStereo : {true, false}) {
        Test::Stereo x = Test::StereoBursts(3, 4000, 1.0f);
        if (!bStereo) x.right.clear();
        const auto expected = Test::ModelPeaks(x, true);
        InterSampleDetector detector;
        const auto whole = Peaks(detector, x, 0, {4000});
        double fWorst = 0.0;
        for (std::size_t i = 6; i < whole.size(); ++i)
            fWorst = std::max(fWorst, std::abs(double{whole[i]} - expected[i - 6]));
        CHECK(fWorst < 1e-6);
        for (const std::uint32_t uLongest : {1u, 9u, 600u}) {
            detector.Reset();
            CHECK(Test::FirstDifference(Peaks(detector, x, 0, Test::RandomCuts(8, 4000, uLongest)), whole) ==
                  -1);
        }
    }
}

TEST_CASE("A sine between the samples of a quarter of the rate reads 3 dB above its samples") {
    Test::Stereo x;
    for (int i = 0; i < 200; ++i)
        x.left.push_back(i % 4 < 2 ? 0.5f : -0.5f);
    InterSampleDetector detector;
    const auto peaks = Peaks(detector, x, 0, {200});
    // The nearest of the five points is a tenth of a sample away from the crest, 0.05 dB.
    CHECK(std::abs(20.0 * std::log10(double{peaks[100]} / 0.5) - 3.01) < 0.15);
}

TEST_CASE(
    "Primed with as many frames as it remembers, the detector goes on as if it had seen the whole stream") {
    const Test::Stereo x{Test::Noise(5, 1000), Test::Noise(6, 1000)};
    InterSampleDetector detector;
    const auto whole = Peaks(detector, x, 0, {1000});
    int nWrong = 0;
    for (std::size_t uStart = 100; uStart < 900; ++uStart) {
        const std::size_t uPast = uStart - InterSampleDetector::kMemory;
        detector.Reset();
        detector.Prime(x.left.data() + uPast, x.right.data() + uPast, InterSampleDetector::kMemory);
        const auto peaks = Peaks(detector, x, uStart, {20});
        for (std::size_t i = 0; i < 20; ++i)
            nWrong += peaks[i] != whole[uStart + i];
    }
    CHECK(nWrong == 0);
}
