#include "dsp/vector/FftStereo.h"

#include <algorithm>

#include "dsp/vector/FftComplex.h"
#include "dsp/vector/FftSpectra.h"
#include "dsp/vector/FftTables.h"

namespace DSP {

namespace {

// Keeps the two arrays of a spectrum out of each other's cache sets.
constexpr std::size_t kGap = 32;

constexpr std::size_t kTileFloats = 2 * StereoFft::kTile;

}  // namespace

static_assert(StereoFft::kTile == FftTables::kRow && StereoFft::kMaxOrder == FftTables::kMaxOrder &&
              RealFft::kMaxOrder == FftTables::kMaxOrder + 1);

StereoFft::StereoFft() : StereoFft(kMinOrder) {}

StereoFft::StereoFft(int nOrder, FftScaling scaling)
    : m_tables(FftTables::Shared(std::clamp(nOrder, kMinOrder, kMaxOrder))) {
    if (scaling == FftScaling::kInverseByLength) m_fInverseScale = 1.0f / static_cast<float>(Length());
}

int StereoFft::Order() const noexcept {
    return m_tables->Order();
}

std::size_t StereoFft::TilesLength() const noexcept {
    return 2 * std::max(Length(), kTile);
}

std::size_t StereoFft::WorkLength() const noexcept {
    return 4 * Length() + kGap;
}

void StereoFft::Forward(const float* left, const float* right, float* leftSpectrum, float* rightSpectrum,
                        float* work) const noexcept {
    const std::size_t uPoints = Length();
    float* re = work + 2 * uPoints;
    float* im = re + uPoints + kGap;
    // The transform has read its source before it writes its target, so zeros may stand in the target.
    if (right == nullptr) std::fill_n(im, uPoints, 0.0f);
    FftComplex(*m_tables, {left, right != nullptr ? right : im}, {re, im}, 1.0f, work);
    SeparateChannels(uPoints, re, im, leftSpectrum, right != nullptr ? rightSpectrum : nullptr);
}

void StereoFft::Inverse(const float* leftSpectrum, const float* rightSpectrum, float* left, float* right,
                        float* work) const noexcept {
    const std::size_t uPoints = Length();
    float* re = work + 2 * uPoints;
    float* im = re + uPoints + kGap;
    JoinChannels(uPoints, leftSpectrum, rightSpectrum, re, im);
    FftComplex(*m_tables, {im, re}, {right != nullptr ? right : im, left}, m_fInverseScale, work);
}

void StereoFft::ForwardTiles(const float* left, const float* right, float* tiles,
                             float* work) const noexcept {
    float* zeros = work + 2 * Length();
    if (right == nullptr) std::fill_n(zeros, Length(), 0.0f);
    if (Length() < kTile) std::fill_n(tiles, kTileFloats, 0.0f);
    FftComplex(*m_tables, {left, right != nullptr ? right : zeros}, {tiles, tiles + kTile, kTileFloats}, 1.0f,
               work);
}

void StereoFft::InverseTiles(const float* tiles, float* left, float* right, float* work) const noexcept {
    float* unheard = work + 2 * Length();
    FftComplex(*m_tables, {tiles + kTile, tiles, kTileFloats}, {right != nullptr ? right : unheard, left},
               m_fInverseScale, work);
}

void StereoFft::MultiplyAddTiles(const float* a, const float* b, float* accumulator) const noexcept {
    MultiplyAddTilePairs(&a, &b, 1, accumulator, TilesLength() / kTileFloats);
}

void StereoFft::MultiplyAddTiles(const float* const* a, const float* const* b, int nPairs,
                                 float* accumulator) const noexcept {
    if (nPairs > 0) MultiplyAddTilePairs(a, b, nPairs, accumulator, TilesLength() / kTileFloats);
}

void StereoFft::MergeTiles(const float* leftProduct, const float* rightProduct, float* tiles) const noexcept {
    MergeChannelTiles(Length(), leftProduct, rightProduct, tiles);
}

}  // namespace DSP
