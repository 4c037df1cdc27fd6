#pragma once

#include "dsp/DataTail.h"

namespace DSP {

/// A DataTail of one channel, whatever count it is configured with: a curve, a window or one channel's
/// history. What holds there holds here.
class DataTail1D final : public DataTail {
public:
    DataTail1D() = default;
    /// Cleared; as SetUp.
    explicit DataTail1D(int nMaxFrames, int nTailLength = 0) { SetUp(nMaxFrames, nTailLength); }

    void SetUp(int nMaxFrames, int nTailLength) { DataTail::SetUp(1, 1, nMaxFrames, nTailLength); }

    /// The channel counts are fixed at 1 and not looked at.
    void Configure(int nInputs, int nOutputs, int nMaxFrames) override;

    /// Before the first SetUp there are no samples, and this must not be called.
    float* Data() noexcept { return DataTail::Data(0); }
    const float* Data() const noexcept { return DataTail::Data(0); }
};

}  // namespace DSP
