#pragma once

#include <cstdint>

#include "dsp/vector/Status.h"

/// Element-wise arithmetic on sample buffers.
///
/// Lengths:   in elements. A length below 1 does nothing and returns kVectorBadLength; a null pointer does
///            nothing and returns kVectorNullPointer.
/// Buffers:   any alignment that the element type allows. A source and a destination are one and the same
///            buffer or do not overlap, except where stated. No pointer is kept.
/// Bits:      those of the plain loop in the stated type, at every processor level. Which NaN comes out
///            where a NaN is due is not promised, except by copies.
/// Real time: nothing allocates, locks or throws. Any thread.
namespace DSP {

/// Copies bytes; the length counts bytes. The buffers do not overlap.
VectorStatus VectorCopyBytes(const void* source, void* destination, std::int32_t nLength) noexcept;

/// Copies samples bit by bit. The buffers do not overlap.
VectorStatus VectorCopy(const float* source, float* destination, std::int32_t nLength) noexcept;

/// Copies samples bit by bit between buffers that may overlap in any way.
VectorStatus VectorMove(const float* source, float* destination, std::int32_t nLength) noexcept;

/// destination = +0
VectorStatus VectorZero(float* destination, std::int32_t nLength) noexcept;

/// destination = value
VectorStatus VectorFill(float fValue, float* destination, std::int32_t nLength) noexcept;

/// destination += value
VectorStatus VectorAddConstant(float fValue, float* destination, std::int32_t nLength) noexcept;

/// destination += source
VectorStatus VectorAdd(const float* source, float* destination, std::int32_t nLength) noexcept;

/// destination -= source
VectorStatus VectorSubtract(const float* source, float* destination, std::int32_t nLength) noexcept;

/// destination *= source
VectorStatus VectorMultiply(const float* source, float* destination, std::int32_t nLength) noexcept;

/// destination += first * second: the product is rounded to float, then the sum. Each of the two sources
/// may also be the destination.
VectorStatus VectorMultiplyAdd(const float* first, const float* second, float* destination,
                               std::int32_t nLength) noexcept;

/// destination *= factor
VectorStatus VectorScale(float fFactor, float* destination, std::int32_t nLength) noexcept;

/// destination = source * factor
VectorStatus VectorScaleTo(const float* source, float fFactor, float* destination,
                           std::int32_t nLength) noexcept;

/// Widens, which is exact, or narrows: to nearest, halves to even, beyond the range of float to infinity.
/// The buffers do not overlap.
VectorStatus VectorConvert(const float* source, double* destination, std::int32_t nLength) noexcept;
VectorStatus VectorConvert(const double* source, float* destination, std::int32_t nLength) noexcept;

/// Lowers every element above the level to the level. A NaN stays; a NaN level changes nothing.
VectorStatus VectorThresholdGT(float* destination, std::int32_t nLength, float fLevel) noexcept;

/// The smallest or greatest element. NaNs do not count; a buffer of nothing but NaNs gives 0. A zero comes
/// out as +0. On a bad argument the result is left alone.
VectorStatus VectorMin(const float* source, std::int32_t nLength, float* pfResult) noexcept;
VectorStatus VectorMax(const float* source, std::int32_t nLength, float* pfResult) noexcept;

/// The denormal guard: adds +magnitude to a sample while the phase, read as a signed 8-bit number, is not
/// negative, else -magnitude; the phase rises by one with each sample. So the offset turns its sign
/// over every 128 samples and has no constant share that would charge a filter or show up in a DC meter.
///
/// Returns the phase of the sample after the last. The caller decides whether to keep it, so that two
/// channels can have the same guard. A null buffer or a length below 1 returns the phase as given.
std::uint8_t VectorGuard(float* destination, std::int32_t nLength, float fMagnitude,
                         std::uint8_t uPhase) noexcept;

}  // namespace DSP
