#include "dsp/vector/FftComplex.h"

#include "dsp/vector/FftTables.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/FftComplex.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "dsp/vector/FftPoints-inl.h"

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

// From this many rows on the eighths of the source and the sixteenths of the target are 1 kB or a multiple
// apart, and their lines fall into so few sets of the first-level cache that they push each other out:
// vectors that are only a piece of a line then wait until they read or write all of it.
constexpr std::size_t kFarRows = 256;
constexpr bool kSplitsLines = hn::MaxLanes(hn::CappedTag<float, kRow>()) < kRow;

// Times the factor that stands `uFactor` floats behind `factors`, which is null where all of them are 1.
template <bool kFactors, class D>
HWY_INLINE void StoreTurned(D d, const Complex<D>& value, const float* HWY_RESTRICT factors,
                            std::size_t uFactor, float* work) {
    if constexpr (kFactors) {
        StoreWork(d, Times(d, value, factors[uFactor], factors[uFactor + 1]), work);
    } else {
        StoreWork(d, value, work);
    }
}

// A vector of columns of one row in each of the quarters of a block.
template <bool kFactors, class D, class Rows>
HWY_INLINE void FourColumn(D d, const Rows& source, std::size_t uSource, std::size_t uSourceStep,
                           const float* HWY_RESTRICT factors, float* work, std::size_t uStep) {
    Complex<D> x0 = source.Load(d, uSource);
    Complex<D> x1 = source.Load(d, uSource + uSourceStep);
    Complex<D> x2 = source.Load(d, uSource + 2 * uSourceStep);
    Complex<D> x3 = source.Load(d, uSource + 3 * uSourceStep);
    Four<D>(x0, x1, x2, x3);
    StoreWork(d, x0, work);
    StoreTurned<kFactors>(d, x1, factors, 0, work + uStep);
    StoreTurned<kFactors>(d, x2, factors, 2, work + 2 * uStep);
    StoreTurned<kFactors>(d, x3, factors, 4, work + 3 * uStep);
}

// The same for eighths, in two halves: the odd points are done with, down to four values, before the even
// ones are loaded. So about sixteen vectors are alive at once.
template <class D>
struct OddHalf {
    Complex<D> aSum;
    Complex<D> aDifference;
    Complex<D> bSum;
    Complex<D> bDifference;
};

template <class D, class Rows>
HWY_INLINE OddHalf<D> OddOfEight(D d, const Rows& source, std::size_t uSource, std::size_t uSourceStep) {
    const Complex<D> x1 = source.Load(d, uSource + uSourceStep);
    const Complex<D> x5 = source.Load(d, uSource + 5 * uSourceStep);
    const Complex<D> a1 = Plus<D>(x1, x5);
    const Complex<D> b1 = EighthTurn(d, Minus<D>(x1, x5));
    const Complex<D> x3 = source.Load(d, uSource + 3 * uSourceStep);
    const Complex<D> x7 = source.Load(d, uSource + 7 * uSourceStep);
    const Complex<D> a3 = Plus<D>(x3, x7);
    const Complex<D> b3 = ThreeEighthsTurn(d, Minus<D>(x3, x7));
    return {Plus<D>(a1, a3), Minus<D>(a1, a3), Plus<D>(b1, b3), Minus<D>(b1, b3)};
}

template <bool kFactors, class D, class Rows>
HWY_INLINE void EvenOfEight(D d, const Rows& source, std::size_t uSource, std::size_t uSourceStep,
                            const OddHalf<D>& odd, const float* HWY_RESTRICT factors, float* work,
                            std::size_t uStep) {
    const Complex<D> x0 = source.Load(d, uSource);
    const Complex<D> x4 = source.Load(d, uSource + 4 * uSourceStep);
    const Complex<D> x2 = source.Load(d, uSource + 2 * uSourceStep);
    const Complex<D> x6 = source.Load(d, uSource + 6 * uSourceStep);
    const Complex<D> a0 = Plus<D>(x0, x4);
    const Complex<D> a2 = Plus<D>(x2, x6);
    const Complex<D> even = Plus<D>(a0, a2);
    StoreWork(d, Plus<D>(even, odd.aSum), work);
    StoreTurned<kFactors>(d, Minus<D>(even, odd.aSum), factors, 6, work + 4 * uStep);
    const Complex<D> evenDifference = Minus<D>(a0, a2);
    StoreTurned<kFactors>(d, MinusI<D>(evenDifference, odd.aDifference), factors, 2, work + 2 * uStep);
    StoreTurned<kFactors>(d, PlusI<D>(evenDifference, odd.aDifference), factors, 10, work + 6 * uStep);

    // The second of these two is still to be turned by a quarter.
    const Complex<D> b0 = Minus<D>(x0, x4);
    const Complex<D> b2 = Minus<D>(x2, x6);
    const Complex<D> sum = MinusI<D>(b0, b2);
    StoreTurned<kFactors>(d, Plus<D>(sum, odd.bSum), factors, 0, work + uStep);
    StoreTurned<kFactors>(d, Minus<D>(sum, odd.bSum), factors, 8, work + 5 * uStep);
    const Complex<D> difference = PlusI<D>(b0, b2);
    StoreTurned<kFactors>(d, MinusI<D>(difference, odd.bDifference), factors, 4, work + 3 * uStep);
    StoreTurned<kFactors>(d, PlusI<D>(difference, odd.bDifference), factors, 12, work + 7 * uStep);
}

template <bool kFactors, class D, class Rows>
HWY_INLINE void EightColumn(D d, const Rows& source, std::size_t uSource, std::size_t uSourceStep,
                            const float* HWY_RESTRICT factors, float* work, std::size_t uStep) {
    const OddHalf<D> odd = OddOfEight(d, source, uSource, uSourceStep);
    EvenOfEight<kFactors>(d, source, uSource, uSourceStep, odd, factors, work, uStep);
}

// A whole row of each eighth: all columns of the odd rows are read before the even rows are, so that half
// as many lines are in use at once.
template <bool kFactors, class Rows>
HWY_INLINE void EightRows(const Rows& source, std::size_t uSource, std::size_t uSourceStep,
                          const float* HWY_RESTRICT factors, float* work, std::size_t uStep) {
    using D = hn::CappedTag<float, kRow>;
    const D d;
    alignas(64) float held[8 * kRow];
    HWY_UNROLL(2)
    for (std::size_t c = 0; c < kRow; c += hn::Lanes(d)) {
        const OddHalf<D> odd = OddOfEight(d, source, uSource + source.Column(c), uSourceStep);
        StoreWork(d, odd.aSum, held + c);
        StoreWork(d, odd.aDifference, held + 2 * kRow + c);
        StoreWork(d, odd.bSum, held + 4 * kRow + c);
        StoreWork(d, odd.bDifference, held + 6 * kRow + c);
    }
    HWY_UNROLL(2)
    for (std::size_t c = 0; c < kRow; c += hn::Lanes(d)) {
        const WorkRows rows{held + c};
        const OddHalf<D> odd = {rows.Load(d, 0), rows.Load(d, 2 * kRow), rows.Load(d, 4 * kRow),
                                rows.Load(d, 6 * kRow)};
        EvenOfEight<kFactors>(d, source, uSource + source.Column(c), uSourceStep, odd, factors, work + c,
                              uStep);
    }
}

// One block of a pass. Row j of the source goes to row j of the work buffer.
template <std::size_t kRadix, bool kFactors, bool kFar = false, class Rows>
HWY_NOINLINE void Pass(const FftTables::Pass& pass, const Rows& allRows, float* work) {
    using D = hn::CappedTag<float, kRow>;
    const D d;
    const Rows source = allRows;
    const std::size_t q = pass.uRows / kRadix;
    const std::size_t uSourceStep = q * source.Row();
    const std::size_t uStep = q * kWorkRow;
    const float* factors = pass.factors.data();
    std::size_t uSource = 0;
    for (std::size_t j = 0; j < q; ++j) {
        if constexpr (kFar) {
            EightRows<kFactors>(source, uSource, uSourceStep, factors, work, uStep);
        }
        HWY_UNROLL(2)
        for (std::size_t c = 0; c < kRow && !kFar; c += hn::Lanes(d)) {
            const std::size_t u = uSource + source.Column(c);
            if constexpr (kRadix == 8) {
                EightColumn<kFactors>(d, source, u, uSourceStep, factors, work + c, uStep);
            } else {
                FourColumn<kFactors>(d, source, u, uSourceStep, factors, work + c, uStep);
            }
        }
        uSource += source.Row();
        work += kWorkRow;
        if constexpr (kFactors) factors += 2 * (kRadix - 1);
    }
}

template <class Rows>
void RunPass(const FftTables::Pass& pass, const Rows& source, float* work) {
    const bool bFactors = !pass.factors.empty();
    if (pass.nRadix == 8) {
        bFactors ? Pass<8, true>(pass, source, work) : Pass<8, false>(pass, source, work);
    } else {
        bFactors ? Pass<4, true>(pass, source, work) : Pass<4, false>(pass, source, work);
    }
}

// The passes behind the first, block by block and depth first: a block that fits the first-level cache is
// finished before the next one is touched.
void RunColumns(const FftTables::Pass* pass, const FftTables::Pass* end, std::size_t uAllRows, float* work) {
    if (pass == end) return;
    for (std::size_t uRow = 0; uRow < uAllRows; uRow += pass->uRows) {
        float* block = work + uRow * kWorkRow;
        RunPass(*pass, WorkRows{block}, block);
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

// The place of frequency uPoint + uSlot uStep of a row's sixteen. Groups of sixteen points begin a row of the
// target, so that places are as far apart as points; shorter ones share rows.
template <std::size_t kGroup, class Store>
HWY_INLINE std::size_t SlotPlace(const Store& store, std::size_t uPoint, std::size_t uStep,
                                 std::size_t uSlot) {
    if constexpr (kGroup == kRow) return store.Place(uPoint) + uSlot * store.Place(uStep);
    return store.Place(uPoint + uSlot * uStep);
}

// The second half of sixteen points: four neighbours meet and give the frequencies kFirst, kFirst + 4, ... of
// the rows, which are uStep points apart.
template <std::size_t kFirst, std::size_t kGroup, class D, class Store>
HWY_INLINE void CloseFour(D d, const Complex<D>* HWY_RESTRICT x, const Store& store, std::size_t uPoint,
                          std::size_t uStep) {
    Complex<D> a = x[4 * kFirst];
    Complex<D> b = x[4 * kFirst + 1];
    Complex<D> c = x[4 * kFirst + 2];
    Complex<D> e = x[4 * kFirst + 3];
    Four<D>(a, b, c, e);
    store.template Store<kFirst>(d, a, SlotPlace<kGroup>(store, uPoint, uStep, kFirst));
    store.template Store<kFirst + 4>(d, b, SlotPlace<kGroup>(store, uPoint, uStep, kFirst + 4));
    store.template Store<kFirst + 8>(d, c, SlotPlace<kGroup>(store, uPoint, uStep, kFirst + 8));
    store.template Store<kFirst + 12>(d, e, SlotPlace<kGroup>(store, uPoint, uStep, kFirst + 12));
}

// A vector of rows of a group, from row i on.
template <std::size_t kGroup, class D, class Store>
HWY_INLINE void RowVector(D d, const float* HWY_RESTRICT turnFactors, std::size_t uRows, std::size_t uFirst,
                          const float* HWY_RESTRICT group, const Store& store, std::size_t i) {
    const float* factors = turnFactors + uFirst * (kRow - 1) * 2 + i;
    const float* rows = group + i * kWorkRow;
    Complex<D> x[kRow];
    FourColumnsTurned<0, kGroup>(d, rows, factors, x);
    FourColumnsTurned<4, kGroup>(d, rows, factors, x);
    FourColumnsTurned<8, kGroup>(d, rows, factors, x);
    FourColumnsTurned<12, kGroup>(d, rows, factors, x);
    DistantFour<0>(d, x);
    DistantFour<1>(d, x);
    DistantFour<2>(d, x);
    DistantFour<3>(d, x);
    const std::size_t uPoint = uFirst + i;
    CloseFour<0, kGroup>(d, x, store, uPoint, uRows);
    CloseFour<1, kGroup>(d, x, store, uPoint, uRows);
    CloseFour<2, kGroup>(d, x, store, uPoint, uRows);
    CloseFour<3, kGroup>(d, x, store, uPoint, uRows);
}

// The turn and the sixteen points along each row, for one group of neighbouring frequencies of the columns:
// kLanes rows in natural order from frequency uFirst on. Its size is 16, or the columns' length below.
template <std::size_t kLanes, class Target>
HWY_NOINLINE void RunRows(const FftTables& tables, std::size_t uFirst, const float* HWY_RESTRICT group,
                          const Target& target) {
    const hn::CappedTag<float, kLanes> d;
    // A copy, since a vector's store could change the original for all that the compiler knows.
    const Target store = target;
    const std::size_t uRows = tables.Rows();
    for (std::size_t i = 0; i < kLanes; i += hn::Lanes(d))
        RowVector<kLanes>(d, tables.TurnFactors(), uRows, uFirst, group, store, i);
}

// The same for a target whose rows are far apart: the vectors of a row wait until the last one is there, and
// its line is touched once.
template <class Target>
HWY_NOINLINE void RunFarRows(const FftTables& tables, std::size_t uFirst, const float* HWY_RESTRICT group,
                             const Target& target) {
    const hn::CappedTag<float, kRow> d;
    const Target store = target;
    const std::size_t uRows = tables.Rows();
    alignas(64) float lines[kRow * kWorkRow];
    std::size_t i = 0;
    for (; i + hn::Lanes(d) < kRow; i += hn::Lanes(d))
        RowVector<kRow>(d, tables.TurnFactors(), uRows, uFirst, group, HoldLines{lines + i}, i);
    RowVector<kRow>(d, tables.TurnFactors(), uRows, uFirst, group, FinishLines<Target>{store, lines}, i);
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
            const ScaledRows<WorkRows> rows{{work + tables.RowOf()[uFirst + i] * kWorkRow}, fScale};
            float* group = groups + i * kWorkRow;
            HWY_UNROLL(2)
            for (std::size_t c = 0; c < kRow; c += hn::Lanes(d)) {
                FourColumn<false>(d, rows, c, kWorkRow, nullptr, group + c, uBlocks * kWorkRow);
            }
        }
        // Fewer than sixteen blocks are all there are, and their frequencies have no gaps.
        const std::size_t uStep = uBlocks < kRow ? kRow : uQuarter;
        for (std::size_t g = 0; g < 4 * uBlocks / kRow; ++g) {
            if (tables.Rows() >= kFarRows && kSplitsLines) {
                RunFarRows(tables, uFirst + g * uStep, groups + g * kRow * kWorkRow, target);
            } else {
                RunRows<kRow>(tables, uFirst + g * uStep, groups + g * kRow * kWorkRow, target);
            }
        }
    }
}

template <class Rows, class Target>
void Transform(const FftTables& tables, const Rows& source, const Target& target, float fScale, float* work) {
    const auto& passes = tables.Passes();
    const FftTables::Pass* first = passes.data();
    // Short columns give fewer frequencies than the widest vector has lanes.
    if (tables.Rows() == 4) {
        Pass<4, false>(*first, ScaledRows<Rows>{source, fScale}, work);
        RunRows<4>(tables, 0, work, target);
    } else if (tables.Rows() == 8) {
        Pass<8, false>(*first, ScaledRows<Rows>{source, fScale}, work);
        RunRows<8>(tables, 0, work, target);
    } else {
        if (tables.Rows() >= kFarRows && kSplitsLines) {
            Pass<8, true, true>(*first, source, work);
        } else {
            RunPass(*first, source, work);
        }
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
