#include "dsp/vector/FftComplex.h"

#include "dsp/vector/FftTables.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/FftComplex.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

constexpr std::size_t kRow = FftTables::kRow;
// Floats of a row in the work buffer: a tile.
constexpr std::size_t kWorkRow = 2 * kRow;

template <class D>
struct Complex {
    hn::Vec<D> re;
    hn::Vec<D> im;
};

template <class D>
HWY_INLINE Complex<D> Plus(const Complex<D>& a, const Complex<D>& b) {
    return {hn::Add(a.re, b.re), hn::Add(a.im, b.im)};
}

template <class D>
HWY_INLINE Complex<D> Minus(const Complex<D>& a, const Complex<D>& b) {
    return {hn::Sub(a.re, b.re), hn::Sub(a.im, b.im)};
}

// a + i b and a - i b.
template <class D>
HWY_INLINE Complex<D> PlusI(const Complex<D>& a, const Complex<D>& b) {
    return {hn::Sub(a.re, b.im), hn::Add(a.im, b.re)};
}

template <class D>
HWY_INLINE Complex<D> MinusI(const Complex<D>& a, const Complex<D>& b) {
    return {hn::Add(a.re, b.im), hn::Sub(a.im, b.re)};
}

template <class D>
HWY_INLINE Complex<D> Times(const Complex<D>& a, const Complex<D>& w) {
    return {hn::Sub(hn::Mul(a.re, w.re), hn::Mul(a.im, w.im)),
            hn::Add(hn::Mul(a.re, w.im), hn::Mul(a.im, w.re))};
}

template <class D>
HWY_INLINE Complex<D> Times(D d, const Complex<D>& a, float re, float im) {
    return Times<D>(a, {hn::Set(d, re), hn::Set(d, im)});
}

template <class D, class V>
HWY_INLINE Complex<D> Scaled(const Complex<D>& a, const V& scale) {
    return {hn::Mul(a.re, scale), hn::Mul(a.im, scale)};
}

constexpr float kHalfRoot = 0.70710678118654752440f;

// a times (1 - i) / sqrt 2, an eighth of a turn, and a times (-1 - i) / sqrt 2, three eighths.
template <class D>
HWY_INLINE Complex<D> EighthTurn(D d, const Complex<D>& a) {
    const auto root = hn::Set(d, kHalfRoot);
    return {hn::Mul(hn::Add(a.im, a.re), root), hn::Mul(hn::Sub(a.im, a.re), root)};
}

template <class D>
HWY_INLINE Complex<D> ThreeEighthsTurn(D d, const Complex<D>& a) {
    return {hn::Mul(hn::Sub(a.im, a.re), hn::Set(d, kHalfRoot)),
            hn::Mul(hn::Add(a.im, a.re), hn::Set(d, -kHalfRoot))};
}

// Four points in place: a .. d become the frequencies 0 .. 3.
template <class D>
HWY_INLINE void Four(Complex<D>& a, Complex<D>& b, Complex<D>& c, Complex<D>& d) {
    const Complex<D> evenSum = Plus<D>(a, c);
    const Complex<D> evenDifference = Minus<D>(a, c);
    const Complex<D> oddSum = Plus<D>(b, d);
    const Complex<D> oddDifference = Minus<D>(b, d);
    a = Plus<D>(evenSum, oddSum);
    b = MinusI<D>(evenDifference, oddDifference);
    c = Minus<D>(evenSum, oddSum);
    d = PlusI<D>(evenDifference, oddDifference);
}

// Eight points in place, x[i] becomes frequency i.
template <class D>
HWY_INLINE void Eight(D d, Complex<D>* HWY_RESTRICT x) {
    Complex<D> a0 = Plus<D>(x[0], x[4]);
    Complex<D> a1 = Plus<D>(x[1], x[5]);
    Complex<D> a2 = Plus<D>(x[2], x[6]);
    Complex<D> a3 = Plus<D>(x[3], x[7]);
    Complex<D> b0 = Minus<D>(x[0], x[4]);
    Complex<D> b1 = EighthTurn(d, Minus<D>(x[1], x[5]));
    const Complex<D> quarter = Minus<D>(x[2], x[6]);
    Complex<D> b3 = ThreeEighthsTurn(d, Minus<D>(x[3], x[7]));
    Complex<D> b2 = {quarter.im, hn::Neg(quarter.re)};
    Four<D>(a0, a1, a2, a3);
    Four<D>(b0, b1, b2, b3);
    x[0] = a0;
    x[1] = b0;
    x[2] = a1;
    x[3] = b1;
    x[4] = a2;
    x[5] = b2;
    x[6] = a3;
    x[7] = b3;
}

// The first half of sixteen points: those at a distance of four meet, and are turned by exp(-2 pi i kFirst s
// / 16).
template <std::size_t kFirst, class D>
HWY_INLINE void DistantFour(D d, Complex<D>* HWY_RESTRICT x) {
    constexpr float kCos = 0.92387953251128675613f;
    constexpr float kSin = 0.38268343236508977173f;
    Complex<D> a = x[kFirst];
    Complex<D> b = x[kFirst + 4];
    Complex<D> c = x[kFirst + 8];
    Complex<D> e = x[kFirst + 12];
    Four<D>(a, b, c, e);
    if constexpr (kFirst == 1) {
        b = Times(d, b, kCos, -kSin);
        c = EighthTurn(d, c);
        e = Times(d, e, kSin, -kCos);
    } else if constexpr (kFirst == 2) {
        b = EighthTurn(d, b);
        c = {c.im, hn::Neg(c.re)};
        e = ThreeEighthsTurn(d, e);
    } else if constexpr (kFirst == 3) {
        b = Times(d, b, kSin, -kCos);
        c = ThreeEighthsTurn(d, c);
        e = Times(d, e, -kCos, kSin);
    }
    x[kFirst] = a;
    x[kFirst + 4] = b;
    x[kFirst + 8] = c;
    x[kFirst + 12] = e;
}

// The forms in which a row is read and written.

struct SplitRows {
    const float* re;
    const float* im;
    std::size_t uRow;

    template <class D>
    HWY_INLINE Complex<D> Load(D d, std::size_t uIndex, std::size_t uColumn) const {
        return {hn::LoadU(d, re + uIndex * uRow + uColumn), hn::LoadU(d, im + uIndex * uRow + uColumn)};
    }
};

struct PairRows {
    const float* pairs;

    template <class D>
    HWY_INLINE Complex<D> Load(D d, std::size_t uIndex, std::size_t uColumn) const {
        Complex<D> value;
        hn::LoadInterleaved2(d, pairs + 2 * (uIndex * kRow + uColumn), value.re, value.im);
        return value;
    }
};

struct SplitStore {
    float* re;
    float* im;
    std::size_t uRow;

    HWY_INLINE std::size_t Place(std::size_t uPoint) const { return uPoint / kRow * uRow + uPoint % kRow; }

    template <class D>
    HWY_INLINE void Store(D d, const Complex<D>& value, std::size_t uPlace) const {
        hn::StoreU(value.re, d, re + uPlace);
        hn::StoreU(value.im, d, im + uPlace);
    }
};

struct PairStore {
    float* pairs;

    HWY_INLINE std::size_t Place(std::size_t uPoint) const { return 2 * uPoint; }

    template <class D>
    HWY_INLINE void Store(D d, const Complex<D>& value, std::size_t uPlace) const {
        hn::StoreInterleaved2(value.im, value.re, d, pairs + uPlace);
    }
};

template <class D>
HWY_INLINE void StoreWork(D d, const Complex<D>& value, float* work, std::size_t uIndex,
                          std::size_t uColumn) {
    hn::StoreU(value.re, d, work + uIndex * kWorkRow + uColumn);
    hn::StoreU(value.im, d, work + uIndex * kWorkRow + kRow + uColumn);
}

template <bool kFactors, class D>
HWY_INLINE Complex<D> Turned(D d, const Complex<D>& value, const float* HWY_RESTRICT factors,
                             std::size_t uFactor) {
    if constexpr (kFactors) return Times(d, value, factors[uFactor], factors[uFactor + 1]);
    return value;
}

// One block of a pass. Row j of the source goes to row j of the work buffer.
template <bool kFactors, class Rows>
HWY_NOINLINE void FourPass(const FftTables::Pass& pass, const Rows& source, float* work) {
    using D = hn::CappedTag<float, kRow>;
    const D d;
    const std::size_t q = pass.uRows / 4;
    const float* factors = pass.factors.data();
    for (std::size_t j = 0; j < q; ++j) {
        const std::size_t f = 6 * j;
        for (std::size_t c = 0; c < kRow; c += hn::Lanes(d)) {
            Complex<D> x0 = source.Load(d, j, c);
            Complex<D> x1 = source.Load(d, j + q, c);
            Complex<D> x2 = source.Load(d, j + 2 * q, c);
            Complex<D> x3 = source.Load(d, j + 3 * q, c);
            Four<D>(x0, x1, x2, x3);
            StoreWork(d, x0, work, j, c);
            StoreWork(d, Turned<kFactors>(d, x1, factors, f), work, j + q, c);
            StoreWork(d, Turned<kFactors>(d, x2, factors, f + 2), work, j + 2 * q, c);
            StoreWork(d, Turned<kFactors>(d, x3, factors, f + 4), work, j + 3 * q, c);
        }
    }
}

template <bool kFactors, class Rows>
HWY_NOINLINE void EightPass(const FftTables::Pass& pass, const Rows& source, float* work) {
    using D = hn::CappedTag<float, kRow>;
    const D d;
    const std::size_t q = pass.uRows / 8;
    const float* factors = pass.factors.data();
    for (std::size_t j = 0; j < q; ++j) {
        const std::size_t f = 14 * j;
        for (std::size_t c = 0; c < kRow; c += hn::Lanes(d)) {
            Complex<D> x[8] = {source.Load(d, j, c),         source.Load(d, j + q, c),
                               source.Load(d, j + 2 * q, c), source.Load(d, j + 3 * q, c),
                               source.Load(d, j + 4 * q, c), source.Load(d, j + 5 * q, c),
                               source.Load(d, j + 6 * q, c), source.Load(d, j + 7 * q, c)};
            Eight(d, x);
            StoreWork(d, x[0], work, j, c);
            StoreWork(d, Turned<kFactors>(d, x[1], factors, f), work, j + q, c);
            StoreWork(d, Turned<kFactors>(d, x[2], factors, f + 2), work, j + 2 * q, c);
            StoreWork(d, Turned<kFactors>(d, x[3], factors, f + 4), work, j + 3 * q, c);
            StoreWork(d, Turned<kFactors>(d, x[4], factors, f + 6), work, j + 4 * q, c);
            StoreWork(d, Turned<kFactors>(d, x[5], factors, f + 8), work, j + 5 * q, c);
            StoreWork(d, Turned<kFactors>(d, x[6], factors, f + 10), work, j + 6 * q, c);
            StoreWork(d, Turned<kFactors>(d, x[7], factors, f + 12), work, j + 7 * q, c);
        }
    }
}

template <class Rows>
void RunPass(const FftTables::Pass& pass, const Rows& source, float* work) {
    const bool bFactors = !pass.factors.empty();
    if (pass.nRadix == 8) {
        bFactors ? EightPass<true>(pass, source, work) : EightPass<false>(pass, source, work);
    } else {
        bFactors ? FourPass<true>(pass, source, work) : FourPass<false>(pass, source, work);
    }
}

// The passes behind the first, block by block and depth first: a block that fits the first-level cache is
// finished before the next one is touched.
void RunColumns(const FftTables::Pass* pass, const FftTables::Pass* end, std::size_t uAllRows, float* work) {
    if (pass == end) return;
    for (std::size_t uRow = 0; uRow < uAllRows; uRow += pass->uRows) {
        float* block = work + uRow * kWorkRow;
        RunPass(*pass, SplitRows{block, block + kRow, kWorkRow}, block);
        RunColumns(pass + 1, end, pass->uRows, block);
    }
}

// FourColumns takes four columns of as many rows as a vector has lanes, transposed: lane i of x[c] is column
// c of row i. `rows` points at the first of the four columns in the first row.
#if HWY_TARGET == HWY_SCALAR
template <class D>
HWY_INLINE void FourColumns(D d, const float* rows, hn::Vec<D>* x) {
    for (std::size_t c = 0; c < 4; ++c)
        x[c] = hn::LoadU(d, rows + c);
}
#else
// Every fourth row gives one 128-bit block.
template <class D>
HWY_INLINE hn::Vec<D> FourOfRows(D d, const float* rows) {
    if constexpr (hn::MaxLanes(D()) <= 4) {
        return hn::LoadU(d, rows);
    } else {
        const hn::Half<D> half;
        constexpr std::size_t kHalf = hn::MaxLanes(D()) / 2;
        return hn::Combine(d, FourOfRows(half, rows + kHalf * kWorkRow), FourOfRows(half, rows));
    }
}

template <class D>
HWY_INLINE void FourColumns(D d, const float* rows, hn::Vec<D>* x) {
    const hn::Repartition<double, D> pairs;
    const auto r0 = FourOfRows(d, rows);
    const auto r1 = FourOfRows(d, rows + kWorkRow);
    const auto r2 = FourOfRows(d, rows + 2 * kWorkRow);
    const auto r3 = FourOfRows(d, rows + 3 * kWorkRow);
    const auto lower01 = hn::BitCast(pairs, hn::InterleaveLower(d, r0, r1));
    const auto lower23 = hn::BitCast(pairs, hn::InterleaveLower(d, r2, r3));
    const auto upper01 = hn::BitCast(pairs, hn::InterleaveUpper(d, r0, r1));
    const auto upper23 = hn::BitCast(pairs, hn::InterleaveUpper(d, r2, r3));
    x[0] = hn::BitCast(d, hn::InterleaveLower(pairs, lower01, lower23));
    x[1] = hn::BitCast(d, hn::InterleaveUpper(pairs, lower01, lower23));
    x[2] = hn::BitCast(d, hn::InterleaveLower(pairs, upper01, upper23));
    x[3] = hn::BitCast(d, hn::InterleaveUpper(pairs, upper01, upper23));
}
#endif

template <std::size_t kGroup, class D>
HWY_INLINE Complex<D> LoadFactor(D d, const float* HWY_RESTRICT factor) {
    return {hn::LoadU(d, factor), hn::LoadU(d, factor + kGroup)};
}

template <std::size_t kColumn, std::size_t kGroup, class D>
HWY_INLINE void FourColumnsTurned(D d, const float* rows, const float* HWY_RESTRICT factors,
                                  Complex<D>* HWY_RESTRICT x) {
    hn::Vec<D> re[4];
    hn::Vec<D> im[4];
    FourColumns(d, rows + kColumn, re);
    FourColumns(d, rows + kRow + kColumn, im);
    // The factors of column 0 are 1 and have no place in the table.
    const float* factor = factors + 2 * kGroup * (kColumn == 0 ? 0 : kColumn - 1);
    if constexpr (kColumn == 0) {
        x[0] = {re[0], im[0]};
    } else {
        x[kColumn] = Times<D>({re[0], im[0]}, LoadFactor<kGroup>(d, factor));
        factor += 2 * kGroup;
    }
    x[kColumn + 1] = Times<D>({re[1], im[1]}, LoadFactor<kGroup>(d, factor));
    x[kColumn + 2] = Times<D>({re[2], im[2]}, LoadFactor<kGroup>(d, factor + 2 * kGroup));
    x[kColumn + 3] = Times<D>({re[3], im[3]}, LoadFactor<kGroup>(d, factor + 4 * kGroup));
}

// The second half of sixteen points: four neighbours meet and give the frequencies kFirst, kFirst + 4, ... of
// the rows, which are uStep points apart. Rows of eight frequencies change the target's row at every
// second one; otherwise places are as far apart as points.
template <std::size_t kFirst, std::size_t kLanes, class D, class Target>
HWY_INLINE void CloseFour(D d, const Complex<D>* HWY_RESTRICT x, const Target target, float fScale,
                          std::size_t uPoint, std::size_t uStep) {
    std::size_t place[4];
    for (std::size_t k = 0; k < 4; ++k) {
        place[k] = kLanes == 8 ? target.Place(uPoint + (kFirst + 4 * k) * uStep)
                               : target.Place(uPoint + kFirst * uStep) + k * target.Place(4 * uStep);
    }
    Complex<D> a = x[4 * kFirst];
    Complex<D> b = x[4 * kFirst + 1];
    Complex<D> c = x[4 * kFirst + 2];
    Complex<D> e = x[4 * kFirst + 3];
    Four<D>(a, b, c, e);
    const auto scale = hn::Set(d, fScale);
    target.Store(d, Scaled<D>(a, scale), place[0]);
    target.Store(d, Scaled<D>(b, scale), place[1]);
    target.Store(d, Scaled<D>(c, scale), place[2]);
    target.Store(d, Scaled<D>(e, scale), place[3]);
}

// The turn and the sixteen points along each row, for one group of neighbouring frequencies of the columns:
// kLanes rows in natural order from frequency uFirst on. Its size is 16, or the columns' length below.
template <std::size_t kLanes, class Target>
HWY_NOINLINE void RunRows(const FftTables& tables, std::size_t uFirst, const float* HWY_RESTRICT group,
                          const Target& target, float fScale) {
    using D = hn::CappedTag<float, kLanes>;
    const D d;
    const std::size_t uRows = tables.Rows();
    constexpr std::size_t kGroup = kLanes;
    const float* factors = tables.TurnFactors() + uFirst * (kRow - 1) * 2;
    for (std::size_t i = 0; i < kGroup; i += hn::Lanes(d)) {
        const float* rows = group + i * kWorkRow;
        Complex<D> x[kRow];
        FourColumnsTurned<0, kGroup>(d, rows, factors + i, x);
        FourColumnsTurned<4, kGroup>(d, rows, factors + i, x);
        FourColumnsTurned<8, kGroup>(d, rows, factors + i, x);
        FourColumnsTurned<12, kGroup>(d, rows, factors + i, x);
        DistantFour<0>(d, x);
        DistantFour<1>(d, x);
        DistantFour<2>(d, x);
        DistantFour<3>(d, x);
        const std::size_t uPoint = uFirst + i;
        CloseFour<0, kLanes>(d, x, target, fScale, uPoint, uRows);
        CloseFour<1, kLanes>(d, x, target, fScale, uPoint, uRows);
        CloseFour<2, kLanes>(d, x, target, fScale, uPoint, uRows);
        CloseFour<3, kLanes>(d, x, target, fScale, uPoint, uRows);
    }
}

// The last pass, whose blocks are four rows, and the rows behind it, a few blocks at a time: those of sixteen
// neighbouring frequencies make four groups, which stand in natural order in a buffer in between.
template <class Target>
void RunLastPassAndRows(const FftTables& tables, const float* work, const Target& target, float fScale) {
    using D = hn::CappedTag<float, kRow>;
    const D d;
    alignas(64) float groups[4 * kRow * kWorkRow];
    const std::size_t uQuarter = tables.Rows() / 4;
    const std::size_t uBlocks = uQuarter < kRow ? uQuarter : kRow;
    for (std::size_t uFirst = 0; uFirst < uQuarter; uFirst += uBlocks) {
        for (std::size_t i = 0; i < uBlocks; ++i) {
            const float* block = work + tables.RowOf()[uFirst + i] * kWorkRow;
            const SplitRows rows{block, block + kRow, kWorkRow};
            for (std::size_t c = 0; c < kRow; c += hn::Lanes(d)) {
                Complex<D> x0 = rows.Load(d, 0, c);
                Complex<D> x1 = rows.Load(d, 1, c);
                Complex<D> x2 = rows.Load(d, 2, c);
                Complex<D> x3 = rows.Load(d, 3, c);
                Four<D>(x0, x1, x2, x3);
                StoreWork(d, x0, groups, i, c);
                StoreWork(d, x1, groups, uBlocks + i, c);
                StoreWork(d, x2, groups, 2 * uBlocks + i, c);
                StoreWork(d, x3, groups, 3 * uBlocks + i, c);
            }
        }
        // Fewer than sixteen blocks are all there are, and their frequencies have no gaps.
        const std::size_t uStep = uBlocks < kRow ? kRow : uQuarter;
        for (std::size_t g = 0; g < 4 * uBlocks / kRow; ++g) {
            RunRows<kRow>(tables, uFirst + g * uStep, groups + g * kRow * kWorkRow, target, fScale);
        }
    }
}

template <class Rows, class Target>
void Transform(const FftTables& tables, const Rows& source, const Target& target, float fScale, float* work) {
    const auto& passes = tables.Passes();
    const FftTables::Pass* first = passes.data();
    RunPass(*first, source, work);
    // Short columns give fewer frequencies than the widest vector has lanes.
    if (tables.Rows() == 4) {
        RunRows<4>(tables, 0, work, target, fScale);
    } else if (tables.Rows() == 8) {
        RunRows<8>(tables, 0, work, target, fScale);
    } else {
        RunColumns(first + 1, first + passes.size() - 1, tables.Rows(), work);
        RunLastPassAndRows(tables, work, target, fScale);
    }
}

void TransformRows(const FftTables& tables, const FftSource& source, const FftTarget& target, float fScale,
                   float* work) {
    const SplitRows split{source.re, source.im, source.uRow};
    const SplitStore store{target.re, target.im, target.uRow};
    if (source.bPairs) {
        Transform(tables, PairRows{source.re}, store, fScale, work);
    } else if (target.bPairs) {
        Transform(tables, split, PairStore{target.re}, fScale, work);
    } else {
        Transform(tables, split, store, fScale, work);
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(TransformRows);

namespace {

// Radix 2, decimation in frequency, and the reversed order read out at the end. Five passes
// at most, in a plain loop.
void TransformSmall(const FftTables& tables, const FftSource& source, const FftTarget& target, float fScale) {
    const std::size_t uPoints = tables.Points();
    const float* factors = tables.SmallFactors();
    float re[FftTables::kSmallest / 2];
    float im[FftTables::kSmallest / 2];
    for (std::size_t n = 0; n < uPoints; ++n) {
        const std::size_t uPlace = n / FftTables::kRow * source.uRow + n % FftTables::kRow;
        re[n] = source.bPairs ? source.re[2 * n] : source.re[uPlace];
        im[n] = source.bPairs ? source.re[2 * n + 1] : source.im[uPlace];
    }
    for (std::size_t uBlock = uPoints; uBlock > 1; uBlock /= 2) {
        const std::size_t uHalf = uBlock / 2;
        for (std::size_t uFirst = 0; uFirst < uPoints; uFirst += uBlock) {
            for (std::size_t j = 0; j < uHalf; ++j) {
                const std::size_t a = uFirst + j;
                const std::size_t b = a + uHalf;
                const float* w = factors + 2 * j * (uPoints / uBlock);
                const float differenceRe = re[a] - re[b];
                const float differenceIm = im[a] - im[b];
                re[a] += re[b];
                im[a] += im[b];
                re[b] = differenceRe * w[0] - differenceIm * w[1];
                im[b] = differenceRe * w[1] + differenceIm * w[0];
            }
        }
    }
    std::size_t uReversed = 0;
    for (std::size_t k = 0; k < uPoints; ++k) {
        const std::size_t uPlace = k / FftTables::kRow * target.uRow + k % FftTables::kRow;
        (target.bPairs ? target.re[2 * k + 1] : target.re[uPlace]) = re[uReversed] * fScale;
        (target.bPairs ? target.re[2 * k] : target.im[uPlace]) = im[uReversed] * fScale;
        // Counts upwards from the top bit down.
        std::size_t uBit = uPoints / 2;
        for (; uBit != 0 && (uReversed & uBit) != 0; uBit /= 2)
            uReversed ^= uBit;
        uReversed |= uBit;
    }
}

}  // namespace

void FftComplex(const FftTables& tables, const FftSource& source, const FftTarget& target, float fScale,
                float* work) noexcept {
    if (tables.Points() < FftTables::kSmallest) {
        TransformSmall(tables, source, target, fScale);
    } else {
        HWY_DYNAMIC_DISPATCH(TransformRows)(tables, source, target, fScale, work);
    }
}

}  // namespace DSP
#endif  // HWY_ONCE
