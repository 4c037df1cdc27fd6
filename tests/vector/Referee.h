#pragma once

#include <cmath>

/// Elementary functions by their definitions in 113-bit arithmetic: slow, obvious, and independent of any
/// maths library but for starting values. The arithmetic is the compiler's own.
namespace Test::Referee {

using Quad = __float128;

inline Quad Abs(Quad x) {
    return x < 0 ? -x : x;
}

/// atanh and atan of 1/n by their series.
inline Quad InverseSeries(int n, int nSign) {
    const Quad square = Quad(1) / (n * n);
    Quad power = Quad(1) / n;
    Quad sum = 0;
    for (int j = 1; Abs(power) > Quad(1e-36); j += 2) {
        sum += power / j;
        power *= nSign * square;
    }
    return sum;
}
inline Quad Ln2() {
    return 2 * InverseSeries(3, 1);
}
/// Machin's formula.
inline Quad Pi() {
    return 16 * InverseSeries(5, -1) - 4 * InverseSeries(239, -1);
}

/// x 2^n
inline Quad Ldexp(Quad x, int n) {
    for (; n > 0; --n)
        x *= 2;
    for (; n < 0; ++n)
        x /= 2;
    return x;
}

inline Quad Exp(Quad x) {
    static const Quad ln2 = Ln2();
    const int n = static_cast<int>(std::lround(static_cast<double>(x / ln2)));
    // Taylor's series on a 64th of the rest, then six squarings.
    const Quad r = (x - n * ln2) / 64;
    Quad term = 1;
    Quad sum = 1;
    for (int j = 1; j < 20; ++j) {
        term *= r / j;
        sum += term;
    }
    for (int j = 0; j < 6; ++j)
        sum *= sum;
    return Ldexp(sum, n);
}

/// Of a positive finite double. Newton's method on the exponential doubles the starting value's digits.
inline Quad Log(double x) {
    static const Quad ln2 = Ln2();
    // A fraction between sqrt(1/2) and sqrt(2): near 1 nothing cancels.
    int n = 0;
    double m = std::frexp(x, &n);
    if (m < 0.70710678) {
        m *= 2.0;
        --n;
    }
    // Beside 1 the exponential cannot tell its arguments apart any more; six terms of the series can.
    if (std::abs(m - 1.0) < 0x1p-20) {
        const Quad t = Quad(m) - 1;
        return n * ln2 + t * (1 - t * (Quad(1) / 2 -
                                       t * (Quad(1) / 3 - t * (Quad(1) / 4 - t * (Quad(1) / 5 - t / 6)))));
    }
    Quad y = std::log(m);
    for (int j = 0; j < 2; ++j) {
        const Quad e = Exp(y);
        y += 2 * (m - e) / (m + e);
    }
    return y + n * ln2;
}

struct SinCos {
    Quad sine;
    Quad cosine;
};

/// Angles to a million or so: pi/2 has 113 bits, of which the count of quarters costs 20.
inline SinCos Turn(Quad x) {
    static const Quad halfPi = Pi() / 2;
    const long long n = std::llround(static_cast<double>(x / halfPi));
    const Quad r = x - n * halfPi;
    Quad sine = 0, cosine = 0;
    Quad term = 1;
    for (int j = 1; j < 34; ++j) {
        const int nSign = ((j - 1) & 2) == 0 ? 1 : -1;
        ((j & 1) != 0 ? cosine : sine) += nSign * term;
        term *= r / j;
    }
    switch (n & 3) {
        case 0:
            return {sine, cosine};
        case 1:
            return {cosine, -sine};
        case 2:
            return {-sine, -cosine};
        default:
            return {-cosine, sine};
    }
}

inline Quad Sqrt(Quad x) {
    if (x == 0) return 0;
    Quad y = std::sqrt(static_cast<double>(x));
    for (int j = 0; j < 3; ++j)
        y = (y + x / y) / 2;
    return y;
}

/// The angle of (x, y), both scaled to moderate size. From a starting angle a the rest is atan of
/// tan(angle - a), so small that its cube does not count.
inline Quad Atan2(Quad y, Quad x) {
    const Quad a = std::atan2(static_cast<double>(y), static_cast<double>(x));
    const SinCos turn = Turn(a);
    return a + (y * turn.cosine - x * turn.sine) / (x * turn.cosine + y * turn.sine);
}

/// The distance of a double from the exact value in units of the exact value's last place.
inline double UlpError(double got, Quad exact) {
    const auto nearest = static_cast<double>(exact);
    if (std::isinf(got) || std::isinf(nearest)) return got == nearest ? 0.0 : 1e300;
    int n = 0;
    std::frexp(nearest, &n);
    if (n < -1021) n = -1021;
    return static_cast<double>(Ldexp(Abs(Quad(got) - exact), 53 - n));
}

}  // namespace Test::Referee
