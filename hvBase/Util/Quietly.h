#pragma once

namespace Util {

/// Runs one operation of a settings store, which gives a bool. Whatever it throws, memory that is short
/// among it, reads as false: no caller of a store has to think of failures.
template <class Body>
bool Quietly(Body&& body) noexcept {
    try {
        return body();
    } catch (...) {
        return false;
    }
}

}  // namespace Util
