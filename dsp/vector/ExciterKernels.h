#pragma once

#include <cstdint>

/// The three saturators of the harmonic exciter, over blocks of one band, in place.
///
/// Lengths:   in samples, 0 or more. No pointer is kept.
/// Bits:      every sample's result is that of the formula, evaluated from left to right in single precision
///            where no other precision is named, at every processor level.
/// Real time: nothing allocates, locks or throws. Any thread.
namespace DSP {

/// y = x dry + s mix, where s follows a hyperbola that runs to plus and minus 1 without a corner: with
/// v = x drive, s = 1 - 1 / (v + 1) above 0, else 1 / (1 - v) - 1.
struct ExciterRetroLaw {
    float fDrive = 1.0f;  ///< linear
    float fMix = 1.0f;    ///< share of s, 0 to 1
    float fDry = 0.0f;    ///< 1 - mix
};
void ExciterRetro(const ExciterRetroLaw& law, float* samples, std::int32_t nLength) noexcept;

/// y = s mix + x dry, where s = sin(x drive pi 0.5 0.8f) / K with K = sin(0.8f pi 0.5) in single precision.
/// The argument, the sine and the quotient are double. Here 0.8f is the float next to 0.8.
///
/// Error: the sine is within 2^-50 of the exact one, relatively; after rounding to float that shows as a
/// last bit in one of some ten million samples.
struct ExciterTapeLaw {
    float fDrive = 1.0f;
    float fMix = 1.0f;
    float fDry = 0.0f;
};
void ExciterTape(const ExciterTapeLaw& law, float* samples, std::int32_t nLength) noexcept;

/// A polynomial of the sample over the level, and the level's own scale again:
///
///     e = e + (|x| - e) step                   the envelope, one a channel
///     v = x (r drive)                          r = 1 / e, but 1000 where e is below 0.001
///     y = v v (v + 1) (e 0.02) mix + dry x
///
/// An envelope that is NaN or above kExciterMostEnvelope starts again behind its sample, so that damage does
/// not last.
struct ExciterTubeLaw {
    float fStep = 0.0f;
    float fDrive = 1.0f;
    float fMix = 1.0f;
    float fDry = 1.0f;  ///< 1 and more: the dry signal stays
};
inline constexpr float kExciterStartEnvelope = 1.0f;
inline constexpr float kExciterMostEnvelope = 1e6f;  ///< 120 dB above full scale

struct ExciterEnvelopes {
    float fLeft = kExciterStartEnvelope;
    float fRight = kExciterStartEnvelope;
};

/// A null right is mono and leaves the right envelope alone.
void ExciterTube(const ExciterTubeLaw& law, ExciterEnvelopes& envelopes, float* left, float* right,
                 std::int32_t nLength) noexcept;

}  // namespace DSP
