#pragma once

#include <cstdint>

#include "dsp/vector/Status.h"

namespace DSP {

/// The sample formats of a host's interleaved buffers; all are little-endian. 24-bit samples are packed
/// in three bytes, and unsigned 8-bit samples have their zero at 128.
enum class HostSample : std::uint8_t { Unsigned8, Signed16, Signed24, Signed32, Float32, Float64 };

/// Bytes of one sample of one channel.
std::int32_t BytesPerSample(HostSample sample) noexcept;

/// Finds the format by what a host declares.
///
/// Returns false, and leaves the result alone, where no such format exists.
bool FindHostSample(bool bFloat, std::int32_t nBytesPerSample, HostSample* pSample) noexcept;

/// Host buffer to planes. With one channel the right plane is not touched and may be null.
using DeinterleaveFunction = VectorStatus (*)(std::int32_t nFrames, const void* host, float* left,
                                              float* right) noexcept;

/// Planes to host buffer.
using InterleaveFunction = VectorStatus (*)(std::int32_t nFrames, const float* left, const float* right,
                                            void* host) noexcept;

/// The two directions between a host's interleaved buffers and the engine's planes. Both pointers are set
/// or both are null.
///
/// Scale:     an integer of n bits has full scale 2^(n - 1): its least value is -1.0. To float is exact up
///            to 24 bits; 32-bit integers and 64-bit floats round to nearest, halves to even. From float,
///            the scaled value rounds to nearest, halves away from zero, and saturates: 1.0 and
///            above is the greatest integer, -1.0 and below the least. A NaN gives the zero of an integer
///            format. Float32 samples pass bit by bit.
/// Lengths:   in frames; the statuses and their order are those of every vector operation.
/// Buffers:   the host's is aligned to its sample (24-bit: to a byte) and overlaps no plane.
/// Bits:      the same at every processor level.
/// Real time: nothing allocates, locks or throws. Any thread.
struct HostConversion {
    DeinterleaveFunction deinterleave = nullptr;
    InterleaveFunction interleave = nullptr;
};

/// Chooses the pair for one connection, for 1 or 2 channels on either side; other counts give null
/// pointers. The input's channels decide how to deinterleave, the output's how to interleave. Mono in with
/// stereo out writes the left plane to both channels, and the right plane may be null then.
HostConversion ChooseConversion(HostSample sample, std::int32_t nInputChannels,
                                std::int32_t nOutputChannels) noexcept;

}  // namespace DSP
