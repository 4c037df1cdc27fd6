#include "dsp/vector/FftSpectra.h"

#include "dsp/vector/FftTables.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/FftSpectra.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

constexpr std::size_t kTile = FftTables::kRow;

// From here on P / 2 is a multiple of every vector's length; below, one lane does it.
constexpr std::size_t kWidePoints = 2 * kTile;

using Wide = hn::CappedTag<float, kTile>;
using Single = hn::CappedTag<float, 1>;

template <class D>
struct Complex {
    hn::Vec<D> re;
    hn::Vec<D> im;
};

template <class D>
HWY_INLINE Complex<D> LoadPairs(D d, const float* pairs) {
    Complex<D> z;
    if constexpr (hn::MaxLanes(D()) == 1) {
        z.re = hn::LoadU(d, pairs);
        z.im = hn::LoadU(d, pairs + 1);
    } else {
        hn::LoadInterleaved2(d, pairs, z.re, z.im);
    }
    return z;
}

template <class D>
HWY_INLINE void StorePairs(D d, const Complex<D>& z, float* pairs) {
    if constexpr (hn::MaxLanes(D()) == 1) {
        hn::StoreU(z.re, d, pairs);
        hn::StoreU(z.im, d, pairs + 1);
    } else {
        hn::StoreInterleaved2(z.re, z.im, d, pairs);
    }
}

template <class D>
HWY_INLINE Complex<D> LoadSplit(D d, const float* re, const float* im, std::size_t uIndex) {
    return {hn::LoadU(d, re + uIndex), hn::LoadU(d, im + uIndex)};
}

template <class D>
HWY_INLINE void StoreSplit(D d, const Complex<D>& z, float* re, float* im, std::size_t uIndex) {
    hn::StoreU(z.re, d, re + uIndex);
    hn::StoreU(z.im, d, im + uIndex);
}

// In the other order of lanes.
template <class D>
HWY_INLINE Complex<D> Reversed(D d, const Complex<D>& z) {
    if constexpr (hn::MaxLanes(D()) == 1) return z;
    return {hn::Reverse(d, z.re), hn::Reverse(d, z.im)};
}

template <class D>
struct Two {
    Complex<D> a;
    Complex<D> b;
};

// A and B at k from Z at k and Z at P - k. The differences are taken so that the middle bin's imaginary parts
// are +0.
template <class D>
HWY_INLINE Two<D> Separate(D d, const Complex<D>& z, const Complex<D>& mirror) {
    const auto half = hn::Set(d, 0.5f);
    return {{hn::Mul(half, hn::Add(z.re, mirror.re)), hn::Mul(half, hn::Sub(z.im, mirror.im))},
            {hn::Mul(half, hn::Add(z.im, mirror.im)), hn::Mul(half, hn::Sub(mirror.re, z.re))}};
}

// Bin k and its mirror run towards each other and meet in bin P / 2, which is its own mirror: there both of
// them give the same value.

template <class D>
void SeparateHalvesWith(const FftTables& tables, const float* re, const float* im, float* spectrum) {
    const D d;
    const std::size_t uLanes = hn::Lanes(d);
    const std::size_t uPoints = tables.Points();
    for (std::size_t k = 1; k <= uPoints / 2; k += uLanes) {
        const std::size_t uMirror = uPoints + 1 - k - uLanes;
        const Complex<D> z = LoadSplit(d, re, im, k);
        const Two<D> halves = Separate(d, z, Reversed(d, LoadSplit(d, re, im, uMirror)));
        const Complex<D> w = LoadSplit(d, tables.HalfRe(), tables.HalfIm(), k);
        const Complex<D>& odd = halves.b;
        const Complex<D> turned = {hn::Sub(hn::Mul(odd.re, w.re), hn::Mul(odd.im, w.im)),
                                   hn::Add(hn::Mul(odd.re, w.im), hn::Mul(odd.im, w.re))};
        const Complex<D> lower = {hn::Add(halves.a.re, turned.re), hn::Add(halves.a.im, turned.im)};
        const Complex<D> upper = {hn::Sub(halves.a.re, turned.re), hn::Sub(turned.im, halves.a.im)};
        StorePairs(d, lower, spectrum + 2 * k);
        StorePairs(d, Reversed(d, upper), spectrum + 2 * uMirror);
    }
    spectrum[0] = re[0] + im[0];
    spectrum[1] = 0.0f;
    spectrum[2 * uPoints] = re[0] - im[0];
    spectrum[2 * uPoints + 1] = 0.0f;
}

template <class D>
void JoinHalvesWith(const FftTables& tables, const float* spectrum, float* re, float* im) {
    const D d;
    const std::size_t uLanes = hn::Lanes(d);
    const std::size_t uPoints = tables.Points();
    for (std::size_t k = 1; k <= uPoints / 2; k += uLanes) {
        const std::size_t uMirror = uPoints + 1 - k - uLanes;
        const Complex<D> lower = LoadPairs(d, spectrum + 2 * k);
        const Complex<D> upper = Reversed(d, LoadPairs(d, spectrum + 2 * uMirror));
        const Complex<D> w = LoadSplit(d, tables.HalfRe(), tables.HalfIm(), k);
        const Complex<D> even = {hn::Add(lower.re, upper.re), hn::Sub(lower.im, upper.im)};
        const Complex<D> turned = {hn::Sub(lower.re, upper.re), hn::Add(lower.im, upper.im)};
        const Complex<D> odd = {hn::Add(hn::Mul(turned.re, w.re), hn::Mul(turned.im, w.im)),
                                hn::Sub(hn::Mul(turned.im, w.re), hn::Mul(turned.re, w.im))};
        StoreSplit(d, {hn::Sub(even.re, odd.im), hn::Add(even.im, odd.re)}, re, im, k);
        const Complex<D> mirror = {hn::Add(even.re, odd.im), hn::Sub(odd.re, even.im)};
        StoreSplit(d, Reversed(d, mirror), re, im, uMirror);
    }
    re[0] = spectrum[0] + spectrum[2 * uPoints];
    im[0] = spectrum[0] - spectrum[2 * uPoints];
}

template <class D>
void SeparateChannelsWith(std::size_t uPoints, const float* re, const float* im, float* left, float* right) {
    const D d;
    const std::size_t uLanes = hn::Lanes(d);
    for (std::size_t k = 1; k <= uPoints / 2; k += uLanes) {
        const Complex<D> mirror = Reversed(d, LoadSplit(d, re, im, uPoints + 1 - k - uLanes));
        const Two<D> channels = Separate(d, LoadSplit(d, re, im, k), mirror);
        StorePairs(d, channels.a, left + 2 * k);
        if (right != nullptr) StorePairs(d, channels.b, right + 2 * k);
    }
    left[0] = re[0];
    left[1] = 0.0f;
    if (right == nullptr) return;
    right[0] = im[0];
    right[1] = 0.0f;
}

template <class D>
void JoinChannelsWith(std::size_t uPoints, const float* left, const float* right, float* re, float* im) {
    const D d;
    const std::size_t uLanes = hn::Lanes(d);
    for (std::size_t k = 1; k <= uPoints / 2; k += uLanes) {
        const Complex<D> a = LoadPairs(d, left + 2 * k);
        Complex<D> b = {hn::Zero(d), hn::Zero(d)};
        if (right != nullptr) b = LoadPairs(d, right + 2 * k);
        const Complex<D> mirror = {hn::Add(a.re, b.im), hn::Sub(b.re, a.im)};
        StoreSplit(d, Reversed(d, mirror), re, im, uPoints + 1 - k - uLanes);
        StoreSplit(d, {hn::Sub(a.re, b.im), hn::Add(a.im, b.re)}, re, im, k);
    }
    // Both are real in bin 0 and in bin P / 2, whatever stands in the imaginary parts.
    re[0] = left[0];
    im[0] = right != nullptr ? right[0] : 0.0f;
    re[uPoints / 2] = left[uPoints];
    im[uPoints / 2] = right != nullptr ? right[uPoints] : 0.0f;
}

void SeparateHalvesAll(const FftTables& tables, const float* re, const float* im, float* spectrum) {
    tables.Points() >= kWidePoints ? SeparateHalvesWith<Wide>(tables, re, im, spectrum)
                                   : SeparateHalvesWith<Single>(tables, re, im, spectrum);
}

void JoinHalvesAll(const FftTables& tables, const float* spectrum, float* re, float* im) {
    tables.Points() >= kWidePoints ? JoinHalvesWith<Wide>(tables, spectrum, re, im)
                                   : JoinHalvesWith<Single>(tables, spectrum, re, im);
}

void SeparateChannelsAll(std::size_t uPoints, const float* re, const float* im, float* left, float* right) {
    uPoints >= kWidePoints ? SeparateChannelsWith<Wide>(uPoints, re, im, left, right)
                           : SeparateChannelsWith<Single>(uPoints, re, im, left, right);
}

void JoinChannelsAll(std::size_t uPoints, const float* left, const float* right, float* re, float* im) {
    uPoints >= kWidePoints ? JoinChannelsWith<Wide>(uPoints, left, right, re, im)
                           : JoinChannelsWith<Single>(uPoints, left, right, re, im);
}

// A vector of the accumulator is carried through all pairs, so that it is read and written once.
void MultiplyAddTilesAll(const float* const* a, const float* const* b, int nPairs, float* accumulator,
                         std::size_t uTiles) {
    const Wide d;
    for (std::size_t t = 0; t < uTiles; ++t) {
        for (std::size_t c = 0; c < kTile; c += hn::Lanes(d)) {
            const std::size_t uRe = 2 * kTile * t + c;
            const std::size_t uIm = uRe + kTile;
            auto sumRe = hn::LoadU(d, accumulator + uRe);
            auto sumIm = hn::LoadU(d, accumulator + uIm);
            for (int i = 0; i < nPairs; ++i) {
                const auto ar = hn::LoadU(d, a[i] + uRe);
                const auto ai = hn::LoadU(d, a[i] + uIm);
                const auto br = hn::LoadU(d, b[i] + uRe);
                const auto bi = hn::LoadU(d, b[i] + uIm);
                sumRe = hn::Add(sumRe, hn::Sub(hn::Mul(ar, br), hn::Mul(ai, bi)));
                sumIm = hn::Add(sumIm, hn::Add(hn::Mul(ar, bi), hn::Mul(ai, br)));
            }
            hn::StoreU(sumRe, d, accumulator + uRe);
            hn::StoreU(sumIm, d, accumulator + uIm);
        }
    }
}

// Sixteen bins from 16 t + 1 on, which end in the next tile, and the tile of their mirrors.
void MergeTilesAll(std::size_t uPoints, const float* first, const float* second, float* tiles) {
    const Wide d;
    using D = Wide;
    const std::size_t uTiles = uPoints / kTile;
    alignas(64) float bins[4][kTile];
    const auto shifted = [](const float* source, std::size_t t, float* row) HWY_ATTR {
        for (std::size_t c = 1; c < kTile; ++c)
            row[c - 1] = source[2 * kTile * t + c];
        row[kTile - 1] = source[2 * kTile * (t + 1)];
    };
    for (std::size_t t = 0; t < uTiles / 2; ++t) {
        shifted(first, t, bins[0]);
        shifted(first + kTile, t, bins[1]);
        shifted(second, t, bins[2]);
        shifted(second + kTile, t, bins[3]);
        const std::size_t uMirrorTile = 2 * kTile * (uTiles - 1 - t);
        for (std::size_t c = 0; c < kTile; c += hn::Lanes(d)) {
            const std::size_t uMirror = uMirrorTile + kTile - c - hn::Lanes(d);
            const Complex<D> u = Reversed(d, LoadSplit(d, first, first + kTile, uMirror));
            const Complex<D> v = Reversed(d, LoadSplit(d, second, second + kTile, uMirror));
            const Complex<D> a = Separate(d, LoadSplit(d, bins[0], bins[1], c), u).a;
            const Complex<D> b = Separate(d, LoadSplit(d, bins[2], bins[3], c), v).b;
            const Complex<D> lower = {hn::Sub(a.re, b.im), hn::Add(a.im, b.re)};
            const Complex<D> mirror = {hn::Add(a.re, b.im), hn::Sub(b.re, a.im)};
            StoreSplit(d, lower, bins[0], bins[1], c);
            StoreSplit(d, Reversed(d, mirror), tiles, tiles + kTile, uMirror);
        }
        for (std::size_t side = 0; side < 2; ++side) {
            float* target = tiles + side * kTile;
            for (std::size_t c = 1; c < kTile; ++c)
                target[2 * kTile * t + c] = bins[side][c - 1];
            target[2 * kTile * (t + 1)] = bins[side][kTile - 1];
        }
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(SeparateHalvesAll);
HWY_EXPORT(JoinHalvesAll);
HWY_EXPORT(SeparateChannelsAll);
HWY_EXPORT(JoinChannelsAll);
HWY_EXPORT(MultiplyAddTilesAll);
HWY_EXPORT(MergeTilesAll);

namespace {

// Fewer than two tiles: bin by bin.
void MergeSmallTile(std::size_t uPoints, const float* first, const float* second, float* tiles) {
    for (std::size_t k = 1; k <= uPoints / 2; ++k) {
        const std::size_t uMirror = uPoints - k;
        const float aRe = 0.5f * (first[k] + first[uMirror]);
        const float aIm = 0.5f * (first[FftTables::kRow + k] - first[FftTables::kRow + uMirror]);
        const float bRe = 0.5f * (second[FftTables::kRow + k] + second[FftTables::kRow + uMirror]);
        const float bIm = 0.5f * (second[uMirror] - second[k]);
        tiles[uMirror] = aRe + bIm;
        tiles[FftTables::kRow + uMirror] = bRe - aIm;
        tiles[k] = aRe - bIm;
        tiles[FftTables::kRow + k] = aIm + bRe;
    }
}

}  // namespace

void SeparateHalves(const FftTables& tables, const float* re, const float* im, float* spectrum) noexcept {
    HWY_DYNAMIC_DISPATCH(SeparateHalvesAll)(tables, re, im, spectrum);
}

void JoinHalves(const FftTables& tables, const float* spectrum, float* re, float* im) noexcept {
    HWY_DYNAMIC_DISPATCH(JoinHalvesAll)(tables, spectrum, re, im);
}

void SeparateChannels(std::size_t uPoints, const float* re, const float* im, float* left,
                      float* right) noexcept {
    HWY_DYNAMIC_DISPATCH(SeparateChannelsAll)(uPoints, re, im, left, right);
}

void JoinChannels(std::size_t uPoints, const float* left, const float* right, float* re, float* im) noexcept {
    HWY_DYNAMIC_DISPATCH(JoinChannelsAll)(uPoints, left, right, re, im);
}

void MergeChannelTiles(std::size_t uPoints, const float* first, const float* second, float* tiles) noexcept {
    // Bin 0 is its own mirror.
    const float zeroRe = first[0];
    const float zeroIm = second[FftTables::kRow];
    if (uPoints < 2 * FftTables::kRow) {
        MergeSmallTile(uPoints, first, second, tiles);
    } else {
        HWY_DYNAMIC_DISPATCH(MergeTilesAll)(uPoints, first, second, tiles);
    }
    tiles[0] = zeroRe;
    tiles[FftTables::kRow] = zeroIm;
}

void MultiplyAddTilePairs(const float* const* a, const float* const* b, int nPairs, float* accumulator,
                          std::size_t uTiles) noexcept {
    HWY_DYNAMIC_DISPATCH(MultiplyAddTilesAll)(a, b, nPairs, accumulator, uTiles);
}

}  // namespace DSP
#endif  // HWY_ONCE
