#pragma once

/// The elementary functions, with the same bits in every build.
///
/// The C library's versions differ between platforms in the last bit, and a sample loop or a filter
/// design carries such a bit into the sound. These are made of IEEE additions, multiplications, divisions
/// and square roots only, in one order, without tables from elsewhere.
///
/// Error:     below 1 ulp of double (Tan: 1.2), also in the subnormal range; close to 0.5 for Log2, Log10 and
///            the inverse angles. Angles are in radians and of any magnitude: they are reduced exactly.
/// Exact:     Exp2 of integers, Log2 of powers of two, Log10 of powers of ten, Pow wherever the result is
///            representable.
/// Edges:     zeros, infinities and NaNs as in annex F of the C standard; no error flag or errno is promised.
/// Float:     the float overloads compute in double and round once.
/// Real time: nothing allocates, locks or throws. Any thread; the thread rounds to nearest. Where it
///            flushes subnormal numbers to zero, subnormal arguments and results read as zero.
namespace DSP {

double Exp(double x) noexcept;
double Exp2(double x) noexcept;

double Log(double x) noexcept;
double Log2(double x) noexcept;
double Log10(double x) noexcept;

/// x to the power y.
double Pow(double x, double y) noexcept;
float Pow(float x, float y) noexcept;

double Sinh(double x) noexcept;
double Cosh(double x) noexcept;
double Tanh(double x) noexcept;

double Sin(double x) noexcept;
double Cos(double x) noexcept;
double Tan(double x) noexcept;

double Asin(double x) noexcept;
double Acos(double x) noexcept;
double Atan(double x) noexcept;

/// The angle of the point (x, y), from -pi to pi.
double Atan2(double y, double x) noexcept;

inline float Exp(float x) noexcept {
    return static_cast<float>(Exp(double{x}));
}
inline float Exp2(float x) noexcept {
    return static_cast<float>(Exp2(double{x}));
}
inline float Log(float x) noexcept {
    return static_cast<float>(Log(double{x}));
}
inline float Log2(float x) noexcept {
    return static_cast<float>(Log2(double{x}));
}
inline float Log10(float x) noexcept {
    return static_cast<float>(Log10(double{x}));
}
inline float Sinh(float x) noexcept {
    return static_cast<float>(Sinh(double{x}));
}
inline float Cosh(float x) noexcept {
    return static_cast<float>(Cosh(double{x}));
}
inline float Tanh(float x) noexcept {
    return static_cast<float>(Tanh(double{x}));
}
inline float Sin(float x) noexcept {
    return static_cast<float>(Sin(double{x}));
}
inline float Cos(float x) noexcept {
    return static_cast<float>(Cos(double{x}));
}
inline float Tan(float x) noexcept {
    return static_cast<float>(Tan(double{x}));
}
inline float Asin(float x) noexcept {
    return static_cast<float>(Asin(double{x}));
}
inline float Acos(float x) noexcept {
    return static_cast<float>(Acos(double{x}));
}
inline float Atan(float x) noexcept {
    return static_cast<float>(Atan(double{x}));
}
inline float Atan2(float y, float x) noexcept {
    return static_cast<float>(Atan2(double{y}, double{x}));
}

}  // namespace DSP
