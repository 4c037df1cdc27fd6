#pragma once

#include <cstddef>

#include "dsp/vector/AlignedVector.h"
#include "dsp/vector/FftStereo.h"

namespace DSP {

/// The transform for convolving real blocks of N = 2^order samples without zero-padding them: N real
/// samples become N complex values, and the inverse of a product of two such spectra gives all 2 N samples
/// of their convolution.
///
/// Sample s is turned by a^s with a = exp(i pi / (2 N)), so that a^N = i; then a complex FFT of N points
/// follows. A product that wraps around by N comes back turned by a right angle: its real part holds the
/// first N samples of the convolution and its imaginary part the second N (Crandall and Fagin, "Discrete
/// weighted transforms and large-integer arithmetic", 1994, the right-angle convolution). That halves the
/// transform's length, and no bin is special.
///
/// Spectrum:  2 N floats in the tiles of StereoFft: products and sums of spectra are formed by
///            MultiplyAdd, and mean what they say.
/// Scaling:   Forward unscaled; Inverse divides by N.
/// Precision: float; that of StereoFft and one rounding more a turn.
/// Bits:      the same at every processor level.
/// Threads:   everything but construction is const, neither allocates nor locks, and may run on several
///            threads at once, each with a work buffer of its own.
class RightAngleFft {
public:
    static constexpr int kMinOrder = 4;
    static constexpr int kMaxOrder = 20;

    /// An order outside kMinOrder .. kMaxOrder is limited to it.
    explicit RightAngleFft(int nOrder);

    /// N.
    std::size_t Length() const noexcept { return m_fft.Length(); }
    /// 2 N: the floats of a spectrum.
    std::size_t SpectrumLength() const noexcept { return 2 * Length(); }
    /// Floats of the work buffer. Any alignment will do; 64 bytes is the fastest, for all buffers.
    std::size_t WorkLength() const noexcept;

    /// N samples to a spectrum. The two may not overlap.
    void Forward(const float* samples, float* spectrum, float* work) const noexcept;

    /// Adds the first N samples of the convolution to `low` and the second N to `high`. Either may be null
    /// and is then left out; nothing overlaps.
    void InverseAdd(const float* spectrum, float* low, float* high, float* work) const noexcept;

    /// accumulator += sum of a[i] b[i], complex by complex, i ascending, each product and sum rounded.
    /// nPairs below 1 does nothing.
    void MultiplyAdd(const float* const* a, const float* const* b, int nPairs,
                     float* accumulator) const noexcept {
        m_fft.MultiplyAddTiles(a, b, nPairs, accumulator);
    }

private:
    // Set-up: written by construction only.
    StereoFft m_fft;
    AlignedVector<float> m_turn;  // the real parts of a^s, then the imaginary parts
};

}  // namespace DSP
