#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "dsp/CurveNode.h"
#include "dsp/LinearPhaseFir.h"

namespace DSP::Equalizer {

/// Turns curve nodes and a correction in dB into a linear-phase FIR filter of one of three lengths.
///
/// Threads: all operations are const and may run on several threads at once, each with work of its own. They
///          take from tens of microseconds at the shortest length to a few milliseconds at the longest, and
///          allocate for a length that the work has not seen.
class CurveFir {
public:
    static constexpr std::array<int, 3> kLengths = {1024, 4096, 16384};

    CurveFir();

    /// What a design needs room for, and its result.
    struct Work {
        std::vector<float> taps;
        CurveAxis axis;
        std::vector<float> magnitudes;
        std::vector<float> transform;
    };

    /// Leaves the taps of the nodes' curve in the work; N of them, symmetrical about tap N / 2 - 1. The
    /// correction, N / 2 + 1 values or none, is added to the curve in dB, scaled to so many percent.
    void Design(Work& work, std::uint32_t iLength, std::span<const CurveNode> nodes,
                std::uint32_t uSampleRate, std::span<const float> correctionDb = {},
                float fPercent = 100.0f) const;

private:
    // Set-up: written at construction only.
    std::array<LinearPhaseFir, kLengths.size()> m_filters;
};

}  // namespace DSP::Equalizer
