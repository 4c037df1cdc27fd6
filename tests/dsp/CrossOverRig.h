#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "dsp/CrossOver.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

namespace Test {

/// A crossover on its own, run as the chain runs it.
struct CrossOverRig {
    static constexpr std::uint32_t kBands = DSP::CrossOver::kBands;
    enum Float : std::uint32_t { kQ, kCutoff1, kCutoff2, kCutoff3 };
    enum Int : std::uint32_t { kNumberOfBands, kType, kBufferSize };

    using Bands = std::array<std::vector<float>, 2 * kBands>;  ///< left, then right

    TestContext context;
    DSP::CrossOver crossOver{context};
    Component& component{crossOver};
    StageContext stage;

    void SetFloat(std::uint32_t uIndex, float fValue) { component.SetFloat(uIndex, fValue); }
    float GetFloat(std::uint32_t uIndex) const { return component.GetFloat(uIndex); }
    void SetInt(std::uint32_t uIndex, std::int32_t nValue) { component.SetInt(uIndex, nValue); }
    std::int32_t GetInt(std::uint32_t uIndex) const { return component.GetInt(uIndex); }

    DSP::ResponseCurve Response(std::uint32_t iBand) {
        DSP::ResponseCurve decibels;
        crossOver.ComputeBandResponse(iBand, decibels);
        return decibels;
    }

    /// Both delays together, in frames.
    std::uint32_t Delay() { return component.GetLatency() + component.BlockBufferLatency(); }

    /// One block, appended to the bands. A null right is mono.
    void Process(const float* left, const float* right, std::uint32_t uFrames, Bands& bands) {
        std::vector<float> leftInput(left, left + uFrames), rightInput(uFrames);
        if (right) rightInput.assign(right, right + uFrames);
        std::array<float*, kBands> leftBands, rightBands{};
        for (std::uint32_t i = 0; i < kBands; ++i) {
            const auto append = [uFrames](std::vector<float>& band) {
                band.resize(band.size() + uFrames, 99.0f);
                return band.data() + band.size() - uFrames;
            };
            leftBands[i] = append(bands[i]);
            if (right) rightBands[i] = append(bands[kBands + i]);
        }
        component.ProcessAutomated(stage, uFrames, leftInput.data(), right ? rightInput.data() : nullptr,
                                   true, leftBands.data(), rightBands.data());
        stage.nPosition += std::int64_t{uFrames} * 10'000'000 / std::int64_t{stage.uSampleRate};
    }

    /// A signal in one block or cut into several. An empty right is mono.
    Bands Render(const std::vector<float>& left, const std::vector<float>& right,
                 std::vector<std::uint32_t> cuts = {}) {
        if (cuts.empty()) cuts = {static_cast<std::uint32_t>(left.size())};
        Bands bands;
        std::size_t uDone = 0;
        for (const std::uint32_t uFrames : cuts) {
            Process(left.data() + uDone, right.empty() ? nullptr : right.data() + uDone, uFrames, bands);
            uDone += uFrames;
        }
        return bands;
    }
};

}  // namespace Test
