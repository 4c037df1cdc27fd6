#pragma once

#include <cstdint>
#include <vector>

namespace DSP::Equalizer {

/// A measured spectrum: a level for each frequency. Of lists of unequal length the common beginning counts.
struct MatchSpectrum {
    std::vector<float> frequencies;  ///< Hz, ascending
    std::vector<float> levels;       ///< dB
};

/// A measured spectrum, made ready for curves.
struct MatchTable {
    MatchTable() = default;
    explicit MatchTable(MatchSpectrum spectrum);

    std::vector<float> frequencies;  ///< Hz
    std::vector<double> levels;      ///< linear
};

/// What a curve needs room for, kept from one to the next.
struct MatchingWork {
    std::vector<double> source;
    std::vector<double> target;
    std::vector<double> curve;
    std::vector<double> poles;
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
/// Threads:    any. Allocates only for a length greater than any that the work and the result have had.
/// Arithmetic: double, rounded once at the end.
void ComputeMatchingCurve(const MatchTable& source, const MatchTable& target, float fSmoothing, int nLength,
                          std::uint32_t uSampleRate, MatchingWork& work, std::vector<float>& curve);

}  // namespace DSP::Equalizer
