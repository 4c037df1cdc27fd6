#pragma once

#include <cstdint>
#include <initializer_list>

namespace DSP {

/// What every vector operation returns. Callers on the audio path do not look at it, so an operation
/// that refuses its arguments has touched nothing.
enum VectorStatus : std::int32_t { kVectorOk = 0, kVectorBadLength = -6, kVectorNullPointer = -8 };

/// The check at the head of every vector operation: a null pointer counts before a length below 1.
inline VectorStatus CheckVectorArguments(std::int32_t nLength, std::initializer_list<const void*> pointers) {
    for (const void* pointer : pointers) {
        if (pointer == nullptr) return kVectorNullPointer;
    }
    return nLength < 1 ? kVectorBadLength : kVectorOk;
}

}  // namespace DSP
