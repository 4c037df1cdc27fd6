#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "dsp/FilterNode.h"

namespace DSP::Equalizer {

/// A node of the equalizer as a stroke on a magnitude curve. These shapes are of their own making, raised
/// cosines and straight lines over the logarithm of frequency, and not the magnitudes of the biquads.
struct CurveNode {
    enum class Kind : std::int32_t { Bell = 0, LowPass = 1, HighPass = 2, LowShelf = 3, HighShelf = 4 };

    float fFrequency = 1000.0f;  ///< Hz
    float fGainDb = 0.0f;        ///< the peak of a bell, the plateau of a shelf
    float fQ = 1.0f;
    Kind kind = Kind::Bell;

    /// A shelf's plateau is twice the gain of its node.
    static CurveNode From(const FilterNode& node) noexcept;

    /// Draws nothing.
    static CurveNode Neutral() noexcept { return {}; }
};

/// The frequencies of a curve's bins, kept from one curve to the next: bin k stands for k * rate / length Hz.
struct CurveAxis {
    /// nLength / 2 + 1 bins of a rate in Hz. Allocates for a greater length than all before; arguments equal
    /// to the last cost nothing.
    void Set(int nLength, std::uint32_t uSampleRate);

    std::vector<float> logs;  ///< ln of each bin's frequency; bin 0 stands at -10
    float fBinHz = 0.0f;
    float fNyquist = 0.0f;

private:
    std::uint32_t m_uSampleRate = 0;
};

/// Draws the nodes into one linear magnitude for each bin of the axis. They add up in dB, in the order of the
/// list, in single precision.
///
/// Bell:    one period of a raised cosine, from 1 / Q nepers below the frequency to 1 / Q above, and at least
///          twenty bins wide.
/// Shelves: half a period, w = 1 / (Q sqrt Q) nepers to either side of the frequency.
/// Passes:  0 dB up to w before the frequency, from there along a cosine to -3 dB, and on along its tangent.
///
/// Threads: any; allocates nothing.
void DrawCurve(std::span<const CurveNode> nodes, const CurveAxis& axis, float* magnitudes);

}  // namespace DSP::Equalizer
