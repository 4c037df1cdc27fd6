#pragma once

#include <cstdint>

namespace DSP {

/// What a vector kernel answers. A length below 1 is refused and harmless; so is a null pointer.
enum VectorStatus : std::int32_t { kVectorOk = 0, kVectorBadLength = -6, kVectorNullPointer = -8 };

}  // namespace DSP
