#pragma once

#include <cstddef>

namespace DSP {

class FftTables;

// What stands between a complex transform and the spectra of real signals. P points of a complex spectrum are
// two plain arrays, re and im, or tiles; spectra of real signals are interleaved, from bin 0 to the highest.
// Sources and destinations do not overlap, except where stated.
//
// A real signal's spectrum mirrors itself, so that in Z = A + i B the spectra of two real signals come
// apart: A[k] = (Z[k] + conj Z[P - k]) / 2, B[k] = (Z[k] - conj Z[P - k]) / 2i.

/// Even samples as A and odd samples as B: gives the spectrum of the 2 P samples, P + 1 bins.
void SeparateHalves(const FftTables& tables, const float* re, const float* im, float* spectrum) noexcept;
/// The reverse, times 2.
void JoinHalves(const FftTables& tables, const float* spectrum, float* re, float* im) noexcept;

/// Left as A and right as B: gives two spectra of P / 2 + 1 bins. A null right one is left
/// out. P is 2 or more.
void SeparateChannels(std::size_t uPoints, const float* re, const float* im, float* left,
                      float* right) noexcept;
/// The reverse. A null right one reads as zeros.
void JoinChannels(std::size_t uPoints, const float* left, const float* right, float* re, float* im) noexcept;

/// A of the first and B of the second, in tiles; `tiles` may be either of them. P is 2 or more.
void MergeChannelTiles(std::size_t uPoints, const float* first, const float* second, float* tiles) noexcept;

/// accumulator += sum of a[i] b[i] over nPairs pairs of uTiles tiles each, one after another.
void MultiplyAddTilePairs(const float* const* a, const float* const* b, int nPairs, float* accumulator,
                          std::size_t uTiles) noexcept;

}  // namespace DSP
