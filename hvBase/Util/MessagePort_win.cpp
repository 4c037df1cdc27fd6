#include <windows.h>

#include "hvBase/Util/Encoding.h"
#include "hvBase/Util/MessagePort.h"

namespace Util {

std::uint32_t RegisterWindowMessageName(std::string_view name) {
    return RegisterWindowMessageW(WideFromUtf8(name).c_str());
}

bool PostToWindow(WindowHandle window, std::uint32_t uMessage, std::uintptr_t uFirst,
                  std::intptr_t nSecond) noexcept {
    // A null window would mean this thread's own queue, where nobody looks.
    return window != nullptr && PostMessageA(static_cast<HWND>(window), uMessage, uFirst, nSecond) != 0;
}

}  // namespace Util
