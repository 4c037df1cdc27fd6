#pragma once

#include "dsp/AudioProcessor.h"

namespace DSP {

/// An algorithm that works in place and reads samples which follow its block: what a LookAheadStreamer
/// drives.
///
/// Process(channels, n, null) finds n samples to replace at each channel's pointer and LookAhead() further
/// ones behind them, which are only read: they come again as the first samples of the next block.
/// Grow keeps the history.
class LookAheadProcessor : public AudioProcessor {
public:
    /// The samples that must be valid behind every block; constant between two calls of Configure.
    virtual int LookAhead() const noexcept = 0;

    /// The samples by which the algorithm itself delays, beyond the look-ahead.
    virtual int Delay() const noexcept = 0;
};

}  // namespace DSP
