#pragma once

#include <cstddef>
#include <memory>

#include "dsp/vector/Fft.h"

namespace DSP {

/// The real FFTs of two channels as one complex FFT of N = 2^order points: left is its real input, right its
/// imaginary input. In tiles nothing has to be separated, which saves about a quarter of two real transforms.
///
/// Two forms of spectrum:
/// - Natural: one spectrum a channel, N + 2 floats each, laid out as RealFft lays it out.
/// - Tiles, for convolution: the spectrum of both channels together, Z = L + iR with all N bins. Tile t
///   holds the bins 16 t .. 16 t + 15 as sixteen real parts and then sixteen imaginary parts; the values past
///   bin N - 1 in the one tile of an order below 4 are 0. The layout is the same on every processor, so that
///   spectra may be stored and compared.
///
/// A convolution in tiles:
///
///     fft.ForwardTiles(impulse, nullptr, h, work);            // once
///     fft.ForwardTiles(left, right, z, work);
///     fft.MultiplyAddTiles(z, h, accumulator);                // once a partition
///     fft.InverseTiles(accumulator, left, right, work);
///
/// One real impulse goes to both channels, as the product by its spectrum keeps L and iR apart by symmetry.
/// Two impulses take two accumulators, one for each, and MergeTiles before the inverse.
///
/// Channels:  a null right pointer is mono: it reads as zeros and is not written.
/// Scaling:   as RealFft: forward unscaled, inverse divided by N unless built with FftScaling::kNone.
/// Precision, bits, threads: as RealFft.
class StereoFft {
public:
    static constexpr int kMinOrder = 1;
    static constexpr int kMaxOrder = 21;
    /// Complex values of a tile.
    static constexpr std::size_t kTile = 16;

    /// A transform of order 1.
    StereoFft();
    /// An order outside kMinOrder .. kMaxOrder is limited to it.
    explicit StereoFft(int nOrder, FftScaling scaling = FftScaling::kInverseByLength);

    int Order() const noexcept;
    /// N.
    std::size_t Length() const noexcept { return std::size_t{1} << Order(); }
    /// N + 2: the floats of one channel's natural spectrum.
    std::size_t SpectrumLength() const noexcept { return Length() + 2; }
    /// The floats of a spectrum in tiles: 2 N, and 32 for N below 16.
    std::size_t TilesLength() const noexcept;
    /// Floats of the work buffer. Any alignment will do; 64 bytes is the fastest, for tiles as well.
    std::size_t WorkLength() const noexcept;

    /// N floats a channel to N + 2 a channel. A channel's source and destination may be one buffer; the
    /// spectrum of a null right channel is not written, and `rightSpectrum` may then be null.
    void Forward(const float* left, const float* right, float* leftSpectrum, float* rightSpectrum,
                 float* work) const noexcept;
    /// N + 2 floats a channel to N a channel; in place as above. A null right spectrum reads as zeros, and a
    /// null right destination is not written.
    void Inverse(const float* leftSpectrum, const float* rightSpectrum, float* left, float* right,
                 float* work) const noexcept;

    /// N floats a channel to tiles. `tiles` overlaps neither input.
    void ForwardTiles(const float* left, const float* right, float* tiles, float* work) const noexcept;
    /// Tiles to N floats a channel. `tiles` overlaps neither output.
    void InverseTiles(const float* tiles, float* left, float* right, float* work) const noexcept;

    /// accumulator += a * b, bin by bin, in float: the product's real part is a.re b.re - a.im b.im and its
    /// imaginary part a.re b.im + a.im b.re, each rounded step by step; the accumulator overlaps neither.
    void MultiplyAddTiles(const float* a, const float* b, float* accumulator) const noexcept;
    /// The same for nPairs pairs in ascending order: the bits of as many single calls, but the accumulator
    /// is read and written once. nPairs below 1 does nothing.
    void MultiplyAddTiles(const float* const* a, const float* const* b, int nPairs,
                          float* accumulator) const noexcept;

    /// Joins two products of the same stereo spectrum, one by the left channel's impulse and one by the right
    /// channel's: `tiles` gets the left channel of the first and the right channel of the second.
    /// `tiles` may be either of the sources.
    void MergeTiles(const float* leftProduct, const float* rightProduct, float* tiles) const noexcept;

private:
    // Set-up: written by construction only.
    std::shared_ptr<const FftTables> m_tables;
    float m_fInverseScale = 1.0f;
};

}  // namespace DSP
