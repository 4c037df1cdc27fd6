#include <doctest/doctest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "hvBase/Util/Dir.h"
#include "hvBase/Util/FileSettingsStore.h"
#include "tests/Util/SettingsStoreChecks.h"
#include "tests/support/ScopedVariable.h"
#include "tests/support/TempFolder.h"

namespace {

using Test::Slurp;
using Test::Spill;
using Util::FileSettingsStore;

constexpr unsigned kWriters = 4;
constexpr std::uint32_t kValues = 20;

// One writer's share: values of its own, and one that all fight for.
bool SetShare(const std::string& strPath, unsigned uWriter) {
    bool bAll = true;
    for (std::uint32_t i = 0; i < kValues; ++i) {
        FileSettingsStore store(strPath);
        const std::string strName = std::to_string(uWriter) + "." + std::to_string(i);
        bAll = store.SetNumber(strName, uWriter * 1000 + i) && bAll;
        bAll = store.SetNumber("common", uWriter) && bAll;
    }
    return bAll;
}

// How many of all shares' values the store lacks.
unsigned CountLost(const std::string& strPath) {
    FileSettingsStore store(strPath);
    unsigned uLost = 0;
    for (unsigned uWriter = 0; uWriter < kWriters; ++uWriter) {
        for (std::uint32_t i = 0; i < kValues; ++i) {
            std::uint32_t uNumber = 0;
            const std::string strName = std::to_string(uWriter) + "." + std::to_string(i);
            if (!store.GetNumber(strName, uNumber) || uNumber != uWriter * 1000 + i) ++uLost;
        }
    }
    return uLost;
}

// Runs a body in a process of its own.
template <class Body>
pid_t InProcess(Body&& body) {
    // What waits in the buffer would come out of both processes.
    std::fflush(stdout);
    const pid_t process = fork();
    if (process == 0) _exit(body() ? 0 : 1);
    return process;
}

int ExitCode(pid_t process) {
    int nStatus = -1;
    waitpid(process, &nStatus, 0);
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
}

}  // namespace

TEST_CASE("FileSettingsStore: values of three kinds by name, each found only as what it is") {
    const Test::TempFolder folder;
    FileSettingsStore store(folder.File("made") + "/on/demand/settings.txt");
    CheckSettingsStore(store);
    // The folder holds the file and its lock, and no temporary file.
    CHECK(Util::Dir::List(folder.File("made") + "/on/demand", "*").size() == 2);
}

TEST_CASE(
    "FileSettingsStore: reading makes nothing, what one object writes another reads, and only news is written") {
    const Test::TempFolder folder;
    FileSettingsStore first(folder.File("deep") + "/settings.txt"), second(first.Path());
    std::uint32_t uNumber = 0;
    CHECK_FALSE(first.GetNumber("n", uNumber));
    CHECK(folder.Count() == 0);
    CHECK(first.SetNumber("n", 1));
    CHECK(second.SetNumber("m", 2));
    CHECK(second.GetNumber("n", uNumber));
    CHECK(uNumber == 1);
    // A replaced file is another one; a kept file has the number it had.
    struct stat before, after;
    REQUIRE(stat(first.Path().c_str(), &before) == 0);
    CHECK(first.SetNumber("n", 1));
    REQUIRE(stat(first.Path().c_str(), &after) == 0);
    CHECK(before.st_ino == after.st_ino);
    // The old file stays as it was for whoever has it open.
    const std::string strOld = folder.File("old");
    std::filesystem::create_hard_link(first.Path(), strOld);
    const std::string strBefore = Slurp(strOld);
    CHECK(second.SetNumber("n", 3));
    CHECK(Slurp(strOld) == strBefore);
    CHECK(first.GetNumber("n", uNumber));
    CHECK(uNumber == 3);
    CHECK(first.GetNumber("m", uNumber));
}

TEST_CASE("FileSettingsStore: a place that can't be used refuses, and what lies there stays") {
    const Test::TempFolder folder;
    std::uint32_t uNumber = 77;
    const auto refuses = [&](const std::string& strPath) {
        FileSettingsStore store(strPath);
        return !store.SetNumber("n", 1) && !store.SetText("t", "x") && !store.SetBytes("b", "x", 1) &&
               !store.GetNumber("n", uNumber) && uNumber == 77 && store.EnumerateValues().empty() &&
               store.GetText("t", std::string_view("default")) == "default";
    };
    CHECK(refuses(""));
    Util::Dir::Create(folder.File("folder"));
    CHECK(refuses(folder.File("folder")));
    CHECK(Util::Dir::Exists(folder.File("folder")));

    Spill(folder.File("file"), "not a folder");
    CHECK(refuses(folder.File("file") + "/settings.txt"));
    CHECK(Slurp(folder.File("file")) == "not a folder");

    // There, and not to be opened, also by the system's administrator.
    std::filesystem::create_symlink(folder.File("loop"), folder.File("loop"));
    CHECK(refuses(folder.File("loop")));
    CHECK(std::filesystem::is_symlink(folder.File("loop")));

    // More than a settings file ever holds: somebody else's.
    Spill(folder.File("huge"), "\"n\" number \"1\"\n");
    std::filesystem::resize_file(folder.File("huge"), FileSettingsStore::kMaxFileSize + 1);
    CHECK(refuses(folder.File("huge")));
    CHECK(std::filesystem::file_size(folder.File("huge")) == FileSettingsStore::kMaxFileSize + 1);

    // A value too large to be read back later is refused now.
    FileSettingsStore store(folder.File("settings.txt"));
    CHECK(store.SetNumber("n", 1));
    const std::string strLarge(FileSettingsStore::kMaxFileSize, 'x');
    CHECK_FALSE(store.SetText("large", strLarge));
    CHECK(store.GetNumber("n", uNumber));
}

TEST_CASE("FileSettingsStore: threads and processes that set different values at once lose none") {
    const Test::TempFolder folder;
    SUBCASE("threads") {
        std::vector<std::thread> threads;
        bool all[kWriters] = {};
        for (unsigned i = 0; i < kWriters; ++i) {
            threads.emplace_back([&, i] { all[i] = SetShare(folder.File("settings.txt"), i); });
        }
        for (unsigned i = 0; i < kWriters; ++i) {
            threads[i].join();
            CHECK(all[i]);
        }
    }
    SUBCASE("processes") {
        std::vector<pid_t> processes;
        for (unsigned i = 0; i < kWriters; ++i) {
            processes.push_back(InProcess([&] { return SetShare(folder.File("settings.txt"), i); }));
        }
        for (const pid_t process : processes) {
            CHECK(ExitCode(process) == 0);
        }
    }
    CHECK(CountLost(folder.File("settings.txt")) == 0);
    CHECK(FileSettingsStore(folder.File("settings.txt")).EnumerateValues().size() == kWriters * kValues + 1);
    CHECK(folder.Count() == 2);
}

TEST_CASE("UserSettingsPath: the key's steps become folders where the user's settings belong") {
    const Test::TempFolder folder;
    const Test::ScopedVariable home("HOME", "/home/ada");
    const char* const key = "SOFTWARE\\Halvane\\Vesca\\DirectX";
    {
        const Test::ScopedVariable configuration("XDG_CONFIG_HOME", folder.Path());
        CHECK(Util::UserSettingsPath(key) == folder.Path() + "/Halvane/Vesca/DirectX/settings.txt");
        CHECK(Util::UserSettingsPath("A\\SOFTWARE\\\\B") == folder.Path() + "/A/SOFTWARE/B/settings.txt");
        // No key leads out of the folder.
        CHECK(Util::UserSettingsPath("..\\a/../b\\.") == folder.Path() + "/__/a_.._b/_/settings.txt");
        CHECK(Util::OpenUserSettings(key)->SetText("Lang", "de"));
        CHECK(Util::OpenUserSettings(key)->GetText("Lang", std::string_view("en")) == "de");
    }
    for (const auto& configuration : {std::optional<std::string>(), std::optional<std::string>("relative")}) {
        const Test::ScopedVariable variable("XDG_CONFIG_HOME", configuration);
        CHECK(Util::UserSettingsPath(key) == "/home/ada/.config/Halvane/Vesca/DirectX/settings.txt");
        const Test::ScopedVariable noHome("HOME", std::nullopt);
        CHECK(Util::UserSettingsPath(key).empty());
        CHECK_FALSE(Util::OpenUserSettings(key)->SetNumber("n", 1));
    }
}
