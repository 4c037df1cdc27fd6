#include "dsp/InterSampleDetector.h"

#include <doctest/doctest.h>

#include "tests/support/LimiterModels.h"

using DSP::InterSampleDetector;

TEST_CASE("InterSampleDetector finds the model's peaks six frames later, however the stream is cut") {
    for (const bool bStereo : {false, true}) {
        Test::Stereo x = Test::StereoBursts(3, 4000, 1.0f);
        if (!bStereo) x.right.clear();
        const auto expected = Test::ModelPeaks(x, true);
        InterSampleDetector detector;
        for (const std::uint32_t uLongest : {4000u, 1u, 9u, 600u}) {
            detector.Reset();
            std::vector<float> peaks(4000);
            float* block = peaks.data();
            InBlocks(x, Test::RandomCuts(8, 4000, uLongest), [&](float* left, float* right, int nFrames) {
                detector.Process(left, right, nFrames, block);
                block += nFrames;
            });
            double fWorst = 0.0;
            for (std::size_t i = 6; i < peaks.size(); ++i)
                fWorst = std::max(fWorst, std::abs(double{peaks[i]} - expected[i - 6]));
            CAPTURE(uLongest);
            CHECK(fWorst < 1e-6);
        }
    }
}

TEST_CASE("Primed with as many frames as it remembers, InterSampleDetector has seen the whole stream") {
    const Test::Stereo x = Test::StereoNoise(5, 1000);
    InterSampleDetector detector;
    std::vector<float> whole(1000), peaks(20);
    detector.Process(x.left.data(), x.right.data(), 1000, whole.data());
    int nWrong = 0;
    for (std::size_t uStart = 100; uStart < 900; ++uStart) {
        const std::size_t uPast = uStart - InterSampleDetector::kMemory;
        detector.Reset();
        detector.Prime(x.left.data() + uPast, x.right.data() + uPast, InterSampleDetector::kMemory);
        detector.Process(x.left.data() + uStart, x.right.data() + uStart, 20, peaks.data());
        nWrong += !std::equal(peaks.begin(), peaks.end(), whole.data() + uStart);
    }
    CHECK(nWrong == 0);
}
