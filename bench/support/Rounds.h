#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>

#include "dsp/vector/Dispatch.h"

namespace Bench {

/// Adds the column "ns/frame" for rounds of this many frames.
inline void Report(benchmark::State& state, std::size_t uFrames) {
    state.counters["ns/frame"] =
        benchmark::Counter(static_cast<double>(uFrames) * 1e-9,
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// Holds the kernels to one processor level for a benchmark, best first: 0 is the one that the product takes
/// on this processor. False, with the benchmark skipped, where there is no such level.
class Level {
public:
    Level(benchmark::State& state, std::int64_t nLevel) {
        const auto levels = DSP::AvailableProcessorLevels();
        const auto uLevel = static_cast<std::size_t>(nLevel);
        m_bThere = uLevel < levels.size();
        if (m_bThere) {
            DSP::UseProcessorLevel(levels[uLevel]);
            state.SetLabel(levels[uLevel].strName);
        } else {
            state.SkipWithError("no such level");
        }
    }
    ~Level() { DSP::UseBestProcessorLevel(); }
    Level(const Level&) = delete;
    Level& operator=(const Level&) = delete;

    explicit operator bool() const { return m_bThere; }

private:
    bool m_bThere = false;
};

}  // namespace Bench
