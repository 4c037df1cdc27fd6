#pragma once

#include <cstddef>
#include <memory>

#include "dsp/vector/Status.h"

namespace DSP {

class FftTables;

/// Which direction of a transform pair carries the factor 1 / N.
enum class FftScaling {
    kInverseByLength,  ///< forward unscaled, inverse divided by N: a round trip gives the input back
    kNone,             ///< neither: a round trip gives N times the input
};

/// The real FFT of N = 2^order points.
///
///     X[k] = sum over n of x[n] exp(-2 pi i k n / N),   k = 0 .. N / 2
///
/// Spectrum:  N + 2 floats: N / 2 + 1 complex values from bin 0 to bin N / 2, re and im interleaved. The
///            imaginary parts of the first and of the last bin are written as 0 and are not read.
/// Scaling:   Forward unscaled; Inverse divides by N unless built with FftScaling::kNone.
/// Precision: float arithmetic with factors rounded from double. The error of a spectrum is below
///            0.6e-7 * (order + 1) relative to its rms value, on white noise.
/// Bits:      the order of operations is one for every processor level, so results are the same everywhere.
///            They depend neither on alignment nor on whether source and destination are one buffer.
/// Threads:   Forward and Inverse are const and may run on several threads at once, each with a work
///            buffer of its own. They neither allocate nor lock. Construction, copying and destruction
///            belong to set-up: tables of one order are built once a process, under a lock, and shared
///            for as long as somebody holds them.
/// Method:    N / 2 complex points hold the even and the odd samples; the halves are separated
///            afterwards (Press et al., Numerical Recipes, "FFT of Single Real Function").
class RealFft {
public:
    static constexpr int kMinOrder = 1;
    static constexpr int kMaxOrder = 22;

    /// A transform of order 1.
    RealFft();
    /// An order outside kMinOrder .. kMaxOrder is limited to it.
    explicit RealFft(int nOrder, FftScaling scaling = FftScaling::kInverseByLength);

    int Order() const noexcept;
    /// N.
    std::size_t Length() const noexcept { return std::size_t{1} << Order(); }
    /// N + 2: the floats of a spectrum.
    std::size_t SpectrumLength() const noexcept { return Length() + 2; }
    /// Floats of the work buffer. Any alignment will do; 64 bytes is the fastest.
    std::size_t WorkLength() const noexcept;

    /// N floats to N + 2. Source and destination may be one buffer, of N + 2 floats.
    void Forward(const float* source, float* spectrum, float* work) const noexcept;
    /// N + 2 floats to N. Source and destination may be one buffer.
    void Inverse(const float* spectrum, float* destination, float* work) const noexcept;

private:
    // Set-up: written by construction only.
    std::shared_ptr<const FftTables> m_tables;
    float m_fInverseScale = 1.0f;
};

/// One real FFT as the vector kernels see it: what RealFft describes, over an opaque state.
struct FftState;

/// Builds a real FFT and stores it through `state`; stores the floats of its work buffer through
/// `pWorkLength`, unless that is null. Allocates. An order outside RealFft::kMinOrder .. kMaxOrder is
/// kVectorBadLength, a null `state` is kVectorNullPointer; nothing is stored then.
VectorStatus VectorFftInit(FftState** state, int nOrder, FftScaling scaling, std::size_t* pWorkLength);

/// Real input of N floats to N + 2 floats; source and destination may be one buffer. A null pointer
/// answers kVectorNullPointer and does nothing, here and in the inverse.
VectorStatus VectorFftForward(const float* source, float* spectrum, const FftState* state,
                              float* work) noexcept;

/// N + 2 floats to N real floats, divided by N; source and destination may be one buffer.
VectorStatus VectorFftInverse(const float* spectrum, float* destination, const FftState* state,
                              float* work) noexcept;

/// Releases a state. Null does nothing and answers kVectorNullPointer.
VectorStatus VectorFftFree(FftState* state) noexcept;

}  // namespace DSP
