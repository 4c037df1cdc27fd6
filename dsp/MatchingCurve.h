#pragma once

#include <cstdint>
#include <vector>

namespace DSP::Equalizer {

/// A measured spectrum: a level for each frequency. Of lists of unequal length the common beginning counts.
struct MatchSpectrum {
    std::vector<float> frequencies;  ///< Hz, ascending
    std::vector<float> levels;       ///< dB
};

/// The correction that gives the source the spectral shape of the target, in dB for each of the bins 0 to
/// nLength / 2, bin k standing for k * rate / nLength Hz.
///
/// Shape:      the source is first brought to the target's energy, so that the curve leaves loudness alone. A
///             bin where the source is silent gets all it can.
/// Range:      -30 to 30 dB. An empty spectrum, or one that holds a number that is none, gives a flat curve
///             of 0 dB.
/// Levels:     a bin that covers several frequencies of a spectrum has their rms level; others lie on a
///             straight line through two neighbours, which goes on beyond both ends. A single frequency
///             has its level everywhere.
/// Smoothing:  0 (raw) to 1: a one-pole filter along the bins, there and back, stronger towards high
///             frequencies and the same to the ear at every length and rate.
/// Threads:    any. Allocates. Arithmetic in double, rounded once at the end.
std::vector<float> ComputeMatchingCurve(const MatchSpectrum& source, const MatchSpectrum& target,
                                        float fSmoothing, int nLength, std::uint32_t uSampleRate);

}  // namespace DSP::Equalizer
