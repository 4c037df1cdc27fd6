#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "hvBase/Util/MessagePort.h"
#include "hvBase/Util/MessageQueue.h"

namespace Util {

namespace {

// The range that window systems keep for messages registered by name.
constexpr std::uint32_t kFirstNumber = 0xC000;
constexpr std::uint32_t kLastNumber = 0xFFFF;

std::mutex g_mutex;
std::vector<std::string> g_names;

}  // namespace

std::uint32_t RegisterWindowMessageName(std::string_view name) {
    const std::lock_guard guard(g_mutex);
    const auto found = std::find(g_names.begin(), g_names.end(), name);
    const auto uNumber = kFirstNumber + static_cast<std::uint32_t>(found - g_names.begin());
    if (found == g_names.end()) {
        if (uNumber > kLastNumber) return 0;
        g_names.emplace_back(name);
    }
    return uNumber;
}

bool PostToWindow(WindowHandle window, std::uint32_t uMessage, std::uintptr_t uFirst,
                  std::intptr_t nSecond) noexcept {
    return MessageQueue::Post(window, {uMessage, uFirst, nSecond});
}

}  // namespace Util
