#include "apps/vesca/Interruption.h"

#include <atomic>
#include <csignal>
#include <cstdlib>

namespace App {

namespace {

constexpr int kSignals[] = {
    SIGINT,
    SIGTERM,
#ifdef SIGHUP
    SIGHUP,
#endif
};

std::atomic<int> g_nSignal{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may touch nothing else");

extern "C" void NoteSignal(int nSignal) {
    g_nSignal = nSignal;
}

void Handle(void (*handler)(int)) {
    for (const int nSignal : kSignals) {
        // What the parent has told the process to ignore stays ignored.
        if (std::signal(nSignal, handler) == SIG_IGN) std::signal(nSignal, SIG_IGN);
    }
}

}  // namespace

InterruptionGuard::InterruptionGuard() {
    Handle(&NoteSignal);
}

InterruptionGuard::~InterruptionGuard() {
    Handle(SIG_DFL);
}

void InterruptionGuard::Check() {
    if (const int nSignal = g_nSignal) throw Interrupted(nSignal);
}

void EndBySignal(int nSignal) {
    std::signal(nSignal, SIG_DFL);
    std::raise(nSignal);
    std::_Exit(EXIT_FAILURE);
}

}  // namespace App
