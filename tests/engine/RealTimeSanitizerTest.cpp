// Whether the sanitizer would say anything at all. What breaks a rule ends the program, so each breach is a
// test case of its own that only a child runs.

#include <doctest/doctest.h>

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/RealTimeStream.h"

using Test::QuietPlugin;
using Test::RealTimeStream;

namespace {

/// A module whose blocks do as a test says.
class Misbehaving : public ComponentImpl<Misbehaving> {
public:
    explicit Misbehaving(PluginContext& plugin) : ComponentImpl(plugin, "Misbehaving") { FinishTables(); }
    bool IsActive() const override { return true; }
    std::uint32_t ProcessBlock(std::uint32_t uFrames, float*, float*) override {
        if (breach) breach();
        return uFrames;
    }
    std::function<void()> breach;
};

ModuleSet MisbehavingChain(PluginContext& plugin) {
    ModuleSet modules;
    modules.equalizer = modules.Add<Misbehaving>(plugin);
    return modules;
}

/// Streams through a chain in whose second block the breach happens.
void Stream(std::function<void()> breach) {
    QuietPlugin plugin(&MisbehavingChain);
    RealTimeStream stream(plugin);
    stream.WarmUp();
    static_cast<Misbehaving&>(plugin.Find("Misbehaving")).breach = std::move(breach);
    Test::MemoryTaken("a breach", [&] { stream.Run(64); });
}

Test::ChildProcess::Result RunCase(const std::string& strName) {
    return Test::RunProgram({"/proc/self/exe", "--no-skip", "--test-case=" + strName});
}

// Where the compiler can't see what becomes of it: it may leave out memory that nobody uses.
void* volatile s_memory = nullptr;

}  // namespace

TEST_SUITE("breach" * doctest::skip()) {
    TEST_CASE("breach: nothing") {
        Stream([] {});
    }
    TEST_CASE("breach: takes memory") {
        Stream([] { s_memory = new int[100]; });
    }
    TEST_CASE("breach: gives memory back") {
        s_memory = new char[100];
        Stream([] { delete[] static_cast<char*>(s_memory); });
    }
    TEST_CASE("breach: takes a lock of its own") {
        std::mutex mutex;
        Stream([&mutex] { const std::lock_guard lock(mutex); });
    }
    TEST_CASE("breach: takes a lock that is not for blocks") {
        Util::NamedLock named("not for blocks");
        Stream([&named] { const std::lock_guard lock(named); });
    }
    TEST_CASE("breach: takes a lock that is for blocks") {
        Util::NamedLock named("for blocks", Util::LockUse::OnAudioThread);
        Stream([&named] { const std::lock_guard lock(named); });
    }
    TEST_CASE("breach: takes memory inside of a lock that is for blocks") {
        Util::NamedLock named("for blocks", Util::LockUse::OnAudioThread);
        Stream([&named] {
            const std::lock_guard lock(named);
            s_memory = new int[100];
        });
    }
    TEST_CASE("breach: sleeps") {
        Stream([] { std::this_thread::sleep_for(std::chrono::milliseconds(1)); });
    }
}

TEST_CASE("A block that breaks a rule ends the program, and the sanitizer says which rule in which block") {
    const struct {
        std::string name;
        const char* call;  ///< what the sanitizer names; null for no breach
    } breaches[] = {
        {"breach: nothing", nullptr},
        {"breach: takes memory", "malloc"},
        {"breach: gives memory back", "free"},
        {"breach: takes a lock of its own", "pthread_mutex_lock"},
        {"breach: takes a lock that is not for blocks", "pthread_mutex_lock"},
        {"breach: takes a lock that is for blocks", nullptr},
        {"breach: takes memory inside of a lock that is for blocks", "malloc"},
        {"breach: sleeps", "nanosleep"},
    };
    constexpr int kSanitizersExitCode = 43;
    for (const auto& [name, call] : breaches) {
        CAPTURE(name);
        const Test::ChildProcess::Result result = RunCase(name);
        CAPTURE(result.strErrors);
        CHECK(result.nSignal == 0);
        CHECK(result.nExitCode == (call ? kSanitizersExitCode : 0));
        if (call) {
            const std::string strNamed = std::string("real-time unsafe function `") + call + "`";
            CHECK(result.strErrors.find(strNamed) != std::string::npos);
            CHECK(result.strErrors.find("During: a breach") != std::string::npos);
        } else {
            CHECK(result.strOutput.find("1 passed") != std::string::npos);
        }
    }
}
