#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace DSP {

/// One instruction set for which the vector kernels exist, as the kernels' dispatch knows it.
struct ProcessorLevel {
    std::int64_t nTarget = 0;
    std::string strName;
};

/// The levels that this build holds and this processor supports, the best first; the last is
/// the one-lane level in plain C++ that runs anywhere.
std::vector<ProcessorLevel> AvailableProcessorLevels();

/// Makes every kernel run at one level, or at the best again. For tests and benchmarks; the results of
/// the kernels do not depend on it.
///
/// Threads: never while another thread is inside a kernel.
void UseProcessorLevel(const ProcessorLevel& level);
void UseBestProcessorLevel();

/// Detects the processor. The first call through a dispatch would do it otherwise, and that call
/// belongs to the audio thread; the engine calls this at construction.
void DetectProcessor();

}  // namespace DSP
