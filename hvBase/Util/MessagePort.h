#pragma once

#include <cstdint>
#include <string_view>

namespace Util {

/// A window that messages can be posted to: an HWND on Windows, MessageQueue::Handle() elsewhere.
using WindowHandle = void*;

/// The number of a message known by its name. The same name gives the same number everywhere in the
/// process, on Windows in the whole session; 0 if there is none left.
/// Threads: any; allocates, so register at set-up and keep the number.
std::uint32_t RegisterWindowMessageName(std::string_view name);

/// Puts a message at the end of a window's queue and returns at once; the window's own thread handles
/// it later. False if it can't be posted: a null or destroyed window, a full queue. Nothing waits for
/// the answer, and a message that was refused is gone.
/// Threads: any, the audio thread too: no allocation, no wait for the receiver.
bool PostToWindow(WindowHandle window, std::uint32_t uMessage, std::uintptr_t uFirst,
                  std::intptr_t nSecond) noexcept;

}  // namespace Util
