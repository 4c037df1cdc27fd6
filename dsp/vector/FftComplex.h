#pragma once

#include <cstddef>

namespace DSP {

class FftTables;

/// Where the complex transform finds its points: rows of sixteen, whose real parts are uRow floats apart and
/// whose imaginary parts are as well. uRow is 16 for two plain arrays and 32 for tiles.
///
/// With bPairs `re` points at interleaved values and the rest is unused.
struct FftSource {
    const float* re = nullptr;
    const float* im = nullptr;
    std::size_t uRow = 16;
    bool bPairs = false;
};

/// Where it puts them; the same forms. Below sixteen points a row is short, and its rest is not written.
/// In interleaved values the imaginary part comes first: only an inverse writes them, by the rule below.
struct FftTarget {
    float* re = nullptr;
    float* im = nullptr;
    std::size_t uRow = 16;
    bool bPairs = false;
};

/// The complex FFT, Z[k] = fScale times the sum over n of z[n] exp(-2 pi i k n / P), both in natural order.
/// fScale is a power of two. `work` holds 2 P floats and overlaps neither side; source and target may be the
/// same memory in any arrangement, as the source has been read before the target is written.
///
/// The inverse is the same with re and im exchanged on both sides.
///
/// One order of operations for all processor levels: a lane of a vector is a butterfly of its own.
void FftComplex(const FftTables& tables, const FftSource& source, const FftTarget& target, float fScale,
                float* work) noexcept;

}  // namespace DSP
