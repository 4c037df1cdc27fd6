#include "dsp/LookAheadStreamer.h"

#include <doctest/doctest.h>

#include "dsp/LookAheadProcessor.h"
#include "tests/dsp/StreamRig.h"

namespace {

/// Adds the sample that lies ahead.
class Ahead final : public DSP::LookAheadProcessor {
public:
    explicit Ahead(int nLookAhead) : m_nLookAhead(nLookAhead) {}
    int LookAhead() const noexcept override { return m_nLookAhead; }
    int Delay() const noexcept override { return 0; }
    void Process(float* const* channels, int nFrames, float* const*) override {
        for (int c = 0; c < m_nInputs; ++c) {
            for (int i = 0; i < nFrames; ++i)
                channels[c][i] += channels[c][i + m_nLookAhead];
        }
    }

private:
    int m_nLookAhead;
};

}  // namespace

TEST_CASE(
    "LookAheadStreamer lets each sample see those that follow it, also while it grows, and delays by as many") {
    const auto input = Test::StereoNoise(1, 600);
    for (const int nLookAhead : {0, 1, 25, 200}) {
        // Seen from the output, what lay ahead is the present.
        Test::Stereo expected = input;
        for (auto i = static_cast<std::size_t>(nLookAhead); i < 600; ++i) {
            expected.left[i] += input.left[i - static_cast<std::size_t>(nLookAhead)];
            expected.right[i] += input.right[i - static_cast<std::size_t>(nLookAhead)];
        }
        Ahead inner(nLookAhead);
        DSP::LookAheadStreamer streamer(inner);
        for (const std::uint32_t uLongest : {1u, 10u, 24u, 100u, 600u}) {
            CAPTURE(nLookAhead);
            CAPTURE(uLongest);
            // Longer blocks grow it in mid-stream and lose nothing.
            streamer.Configure(2, 2, 16);
            CHECK(streamer.Latency() == nLookAhead);
            CHECK(Test::Same(Test::RunCut(streamer, input, Test::RandomCuts(uLongest, 600, uLongest)),
                             expected));
        }
    }
}
