#pragma once

#include <cstdint>
#include <span>

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

/// Draws the nodes into nLength / 2 + 1 linear magnitudes, bin k standing for k * rate / nLength Hz. They
/// add up in dB, in the order of the list. In single precision; bin 0 stands at the logarithm -10.
///
/// Bell:    one period of a raised cosine, from 1 / Q nepers below the frequency to 1 / Q above, and at least
///          twenty bins wide.
/// Shelves: half a period, w = 1 / (Q sqrt Q) nepers to either side of the frequency.
/// Passes:  0 dB up to w before the frequency, from there along a cosine to -3 dB, and on along its tangent.
///
/// Threads: any. Allocates one buffer of nLength / 2 + 1 floats.
void DrawCurve(std::span<const CurveNode> nodes, int nLength, std::uint32_t uSampleRate, float* magnitudes);

}  // namespace DSP::Equalizer
