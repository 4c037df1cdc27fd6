#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <vector>

namespace Fuzz {

using Bytes = std::vector<std::uint8_t>;

// What each target file defines. Two programs are made of it: one that a fuzzer drives, and one that replays
// inputs, for every compiler and platform.

/// Feeds one input to what is tested and gives whether it was taken. Ends the program with a Demand when what
/// always has to hold does not; so does an exception that gets out.
bool TryInput(std::span<const std::uint8_t> input);

/// Inputs from the product's own writers, each of which is taken: where a search begins.
std::vector<Bytes> GoodInputs();

/// What has to hold for every input, good or hostile.
inline void Demand(bool bHolds, const char* what) {
    if (bHolds) return;
    std::fprintf(stderr, "Does not hold: %s\n", what);
    std::abort();
}

}  // namespace Fuzz
