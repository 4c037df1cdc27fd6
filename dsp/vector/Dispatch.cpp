#include "dsp/vector/Dispatch.h"

#include <hwy/highway.h>

namespace DSP {

std::vector<ProcessorLevel> AvailableProcessorLevels() {
    hwy::SetSupportedTargetsForTest(0);
    std::vector<ProcessorLevel> levels;
    for (const std::int64_t nTarget : hwy::SupportedAndGeneratedTargets()) {
        levels.push_back({nTarget, hwy::TargetName(nTarget)});
    }
    return levels;
}

void UseProcessorLevel(const ProcessorLevel& level) {
    hwy::SetSupportedTargetsForTest(level.nTarget);
    DetectProcessor();
}

void UseBestProcessorLevel() {
    hwy::SetSupportedTargetsForTest(0);
    DetectProcessor();
}

void DetectProcessor() {
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

}  // namespace DSP
