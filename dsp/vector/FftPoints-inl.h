// Compiled once for each processor level: no ordinary include guard.
#if defined(DSP_VECTOR_FFT_POINTS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef DSP_VECTOR_FFT_POINTS_INL_H_
#undef DSP_VECTOR_FFT_POINTS_INL_H_
#else
#define DSP_VECTOR_FFT_POINTS_INL_H_
#endif

#include <hwy/highway.h>

#include <cstddef>

#include "dsp/vector/FftTables.h"

// What the complex transform is made of: complex arithmetic on vectors, a lane a butterfly, and the forms in
// which its points stand in memory.

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

// The forms in which points are read and written. Where they are is counted in floats.

struct SplitRows {
    const float* re;
    const float* im;
    std::size_t uRow;

    HWY_INLINE std::size_t Row() const { return uRow; }
    HWY_INLINE std::size_t Column(std::size_t c) const { return c; }

    template <class D>
    HWY_INLINE Complex<D> Load(D d, std::size_t uPlace) const {
        return {hn::LoadU(d, re + uPlace), hn::LoadU(d, im + uPlace)};
    }
};

struct PairRows {
    const float* pairs;

    HWY_INLINE std::size_t Row() const { return 2 * kRow; }
    HWY_INLINE std::size_t Column(std::size_t c) const { return 2 * c; }

    template <class D>
    HWY_INLINE Complex<D> Load(D d, std::size_t uPlace) const {
        Complex<D> value;
        hn::LoadInterleaved2(d, pairs + uPlace, value.re, value.im);
        return value;
    }
};

struct WorkRows {
    const float* work;

    HWY_INLINE std::size_t Row() const { return kWorkRow; }
    HWY_INLINE std::size_t Column(std::size_t c) const { return c; }

    template <class D>
    HWY_INLINE Complex<D> Load(D d, std::size_t uPlace) const {
        return {hn::LoadU(d, work + uPlace), hn::LoadU(d, work + kRow + uPlace)};
    }
};

// Rows whose points are scaled as they are read.
template <class Rows>
struct ScaledRows {
    Rows rows;
    float fScale;

    HWY_INLINE std::size_t Row() const { return rows.Row(); }
    HWY_INLINE std::size_t Column(std::size_t c) const { return rows.Column(c); }

    template <class D>
    HWY_INLINE Complex<D> Load(D d, std::size_t uPlace) const {
        const Complex<D> value = rows.Load(d, uPlace);
        const auto scale = hn::Set(d, fScale);
        return {hn::Mul(value.re, scale), hn::Mul(value.im, scale)};
    }
};

template <class D>
HWY_INLINE void StoreWork(D d, const Complex<D>& value, float* work) {
    hn::StoreU(value.re, d, work);
    hn::StoreU(value.im, d, work + kRow);
}

struct SplitStore {
    float* re;
    float* im;
    std::size_t uRow;

    HWY_INLINE std::size_t Place(std::size_t uPoint) const { return uPoint / kRow * uRow + uPoint % kRow; }

    template <std::size_t kSlot, class D>
    HWY_INLINE void Store(D d, const Complex<D>& value, std::size_t uPlace) const {
        hn::StoreU(value.re, d, re + uPlace);
        hn::StoreU(value.im, d, im + uPlace);
    }
};

// Puts the vectors of sixteen rows into tiles.
struct HoldLines {
    float* lines;

    HWY_INLINE std::size_t Place(std::size_t) const { return 0; }

    template <std::size_t kSlot, class D>
    HWY_INLINE void Store(D d, const Complex<D>& value, std::size_t) const {
        StoreWork(d, value, lines + kSlot * kWorkRow);
    }
};

// Stores the last vector of a row, with those before it.
template <class Target>
struct FinishLines {
    Target target;
    const float* lines;

    HWY_INLINE std::size_t Place(std::size_t uPoint) const { return target.Place(uPoint); }

    template <std::size_t kSlot, class D>
    HWY_INLINE void Store(D d, const Complex<D>& value, std::size_t uPlace) const {
        const WorkRows held{lines + kSlot * kWorkRow};
        const std::size_t uBefore = kRow - hn::Lanes(d);
        for (std::size_t c = 0; c < uBefore; c += hn::Lanes(d))
            target.template Store<kSlot>(d, held.Load(d, c), uPlace - target.Place(uBefore - c));
        target.template Store<kSlot>(d, value, uPlace);
    }
};

struct PairStore {
    float* pairs;

    HWY_INLINE std::size_t Place(std::size_t uPoint) const { return 2 * uPoint; }

    template <std::size_t kSlot, class D>
    HWY_INLINE void Store(D d, const Complex<D>& value, std::size_t uPlace) const {
        hn::StoreInterleaved2(value.im, value.re, d, pairs + uPlace);
    }
};

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#endif
