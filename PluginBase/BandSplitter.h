#pragma once

#include <cstdint>

/// What the multiband walk of the chain asks of the component that splits a block into bands. The split
/// itself is the component's ProcessAutomated with its band arrays.
///
/// Threads: the audio thread, between two calls of the component.
class BandSplitter {
public:
    /// Bands in use, 1 to 4.
    virtual std::uint32_t BandCount() const = 0;

    /// Where a band below the top one meets the next, in Hz: the cutoff as it is set.
    virtual float UpperCutoff(std::uint32_t uBand) const = 0;

    /// A bypassed band passes the band modules unchanged; a muted one is left out of the sum.
    virtual bool IsBandBypassed(std::uint32_t uBand) const = 0;
    virtual bool IsBandMuted(std::uint32_t uBand) const = 0;

protected:
    ~BandSplitter() = default;
};
