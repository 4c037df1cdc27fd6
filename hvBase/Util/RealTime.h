#pragma once

// What the real-time sanitizer is told about the audio thread. It is clang's, and the preset `realtime`
// builds with it; in every other build all of this is nothing.
#if defined(__has_feature)
#if __has_feature(realtime_sanitizer)
#define VESCA_REALTIME_SANITIZER
#include <sanitizer/rtsan_interface.h>
#endif
#endif

/// Stands behind the parameters of a function that the audio thread enters the engine by. From there on the
/// sanitizer ends the program at the first piece of memory taken or given back, lock, or call of the system
/// that may wait.
#ifdef VESCA_REALTIME_SANITIZER
#define VESCA_NONBLOCKING [[clang::nonblocking]]
#else
#define VESCA_NONBLOCKING
#endif

namespace Util {

/// While one of these lives, unless it is told false, the sanitizer looks away from this thread. For the
/// single calls that the design allows, and for what a test does in the audio thread's place.
class RealTimeExemption {
public:
#ifdef VESCA_REALTIME_SANITIZER
    explicit RealTimeExemption(bool bExempt = true) noexcept : m_bExempt(bExempt) {
        if (m_bExempt) __rtsan_disable();
    }
    ~RealTimeExemption() {
        if (m_bExempt) __rtsan_enable();
    }
    RealTimeExemption(const RealTimeExemption&) = delete;
    RealTimeExemption& operator=(const RealTimeExemption&) = delete;

private:
    const bool m_bExempt;
#else
    explicit RealTimeExemption(bool = true) noexcept {}
#endif
};

}  // namespace Util
