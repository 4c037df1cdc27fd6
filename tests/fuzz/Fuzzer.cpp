#include "tests/fuzz/FuzzTarget.h"

// The fuzzer's library brings main and calls this with every input that it thinks of.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t uSize) {
    Fuzz::TryInput({data, uSize});
    return 0;
}
