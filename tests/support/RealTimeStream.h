#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include "hvBase/Util/RealTime.h"
#include "tests/support/ChainModes.h"
#include "tests/support/RealTimeWatch.h"

namespace Test {

/// A host that listens to nothing, so that nothing but the engine takes memory.
class QuietPlugin : public TestPlugin {
public:
    using TestPlugin::TestPlugin;

private:
    void NotifyParameterEvent(ParameterGroup, ParameterPhase, Component&, std::uint32_t, const float*,
                              const bool*, const std::int32_t*) override {}
};

/// The host's side of a stream: noise that is at hand.
class RealTimeStream {
public:
    static constexpr std::uint32_t kLongest = 4096;

    /// Begins streaming.
    RealTimeStream(TestPlugin& plugin, std::uint32_t uChannels = 2) : m_plugin(plugin) {
        plugin.GetTransform().SetChannels(uChannels, uChannels);
        SetChannels(uChannels);
        plugin.BeginStreaming(44100);
    }

    /// What the host gives from now on.
    void SetChannels(std::uint32_t uChannels) { m_bStereo = uChannels == 2; }

    void Run(std::uint32_t uFrames, std::int64_t nStart = 0) {
        std::copy_n(m_left.begin(), uFrames, m_inLeft.begin());
        std::copy_n(m_right.begin(), uFrames, m_inRight.begin());
        m_plugin.SetBlockStart(nStart);
        m_plugin.Process(uFrames, m_inLeft.data(), m_bStereo ? m_inRight.data() : nullptr, m_outLeft.data(),
                         m_bStereo ? m_outRight.data() : nullptr);
    }

    /// The longest blocks, for which buffers may grow.
    void WarmUp() {
        const Util::RealTimeExemption growing;
        for (int i = 0; i < 3; ++i)
            Run(kLongest);
    }

    /// A stream of a second's length, the same at each call.
    void RunSecond() {
        constexpr std::uint32_t kLengths[] = {512, 1, 64, 480, 4096, 1023};
        std::uint32_t uDone = 0;
        for (std::size_t i = 0; uDone < 44100; uDone += kLengths[i++ % std::size(kLengths)])
            Run(kLengths[i % std::size(kLengths)], std::int64_t{uDone} * 10'000'000 / 44100);
    }

private:
    TestPlugin& m_plugin;
    bool m_bStereo = true;
    const std::vector<float> m_left = Noise(1, kLongest), m_right = Noise(2, kLongest);
    std::vector<float> m_inLeft = m_left, m_inRight = m_right, m_outLeft = m_left, m_outRight = m_right;
};

}  // namespace Test
