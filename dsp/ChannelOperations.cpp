#include "dsp/ChannelOperations.h"

#include "dsp/vector/Elementwise.h"
#include "dsp/vector/ImagerKernels.h"

namespace DSP {

void ChannelOperations::Process(std::int32_t nFrames, float* left, float* right) const noexcept {
    if (!right) return;
    if (bSwitch) StereoSwap(left, right, nFrames);
    if (bInvertLeft) VectorScale(-1.0f, left, nFrames);
    if (bInvertRight) VectorScale(-1.0f, right, nFrames);
    if (bMono) {
        VectorAdd(right, left, nFrames);
        VectorScale(0.5f, left, nFrames);
        VectorCopy(left, right, nFrames);
    }
}

}  // namespace DSP
