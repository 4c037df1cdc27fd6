#include <doctest/doctest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "hvBase/Util/AtomicFile.h"
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

// Runs a body in a process of its own that leaves without any clean-up, as a crash would.
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

TEST_CASE("FileSettingsStore: reading makes nothing, and what one object writes another reads at once") {
    const Test::TempFolder folder;
    FileSettingsStore first(folder.File("deep") + "/settings.txt"), second(first.Path());
    std::uint32_t uNumber = 0;
    CHECK_FALSE(first.GetNumber("n", uNumber));
    CHECK(folder.Count() == 0);
    CHECK(first.SetNumber("n", 1));
    CHECK(second.SetNumber("m", 2));
    CHECK(second.GetNumber("n", uNumber));
    CHECK(uNumber == 1);
    CHECK(second.SetNumber("n", 3));
    CHECK(first.GetNumber("n", uNumber));
    CHECK(uNumber == 3);
    CHECK(first.GetNumber("m", uNumber));
}

TEST_CASE("FileSettingsStore: a value that stands already is not written again") {
    const Test::TempFolder folder;
    FileSettingsStore store(folder.File("settings.txt"));
    CHECK(store.SetNumber("n", 1));
    struct stat before, after;
    REQUIRE(stat(store.Path().c_str(), &before) == 0);
    CHECK(store.SetNumber("n", 1));
    REQUIRE(stat(store.Path().c_str(), &after) == 0);
    // A replaced file is another one; a kept file has the number it had.
    CHECK(before.st_ino == after.st_ino);
    CHECK(store.SetNumber("n", 2));
    std::uint32_t uNumber = 0;
    CHECK(store.GetNumber("n", uNumber));
    CHECK(uNumber == 2);
}

TEST_CASE("FileSettingsStore: damage costs the damaged values, and the next write keeps the others") {
    const Test::TempFolder folder;
    FileSettingsStore store(folder.File("settings.txt"));
    Spill(store.Path(), std::string("\0\xFF junk\n\"good\" number \"5\"\n\"half\" text \"C:", 42));
    std::uint32_t uNumber = 0;
    CHECK(store.GetNumber("good", uNumber));
    CHECK(store.GetText("half", std::string_view("default")) == "default");
    CHECK(store.SetText("half", "whole"));
    CHECK(store.GetText("half", std::string_view("default")) == "whole");
    uNumber = 0;
    CHECK(store.GetNumber("good", uNumber));
    CHECK(uNumber == 5);
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

TEST_CASE("FileSettingsStore: a process killed between the temporary file and the rename changes nothing") {
    const Test::TempFolder folder;
    FileSettingsStore store(folder.File("settings.txt"));
    CHECK(store.SetNumber("n", 1));
    const std::string strBefore = Slurp(store.Path());
    CHECK(ExitCode(InProcess([&] {
              // Never freed: the process ends first.
              auto* const file = new Util::AtomicFile(store.Path());
              file->Write("half", 4);
              return true;
          })) == 0);
    CHECK(Slurp(store.Path()) == strBefore);
    CHECK(store.SetNumber("n", 2));
    std::uint32_t uNumber = 0;
    CHECK(store.GetNumber("n", uNumber));
    CHECK(uNumber == 2);
}

TEST_CASE("FileSettingsStore: a process killed anywhere in a write leaves a whole file and a free lock") {
    const Test::TempFolder folder;
    FileSettingsStore store(folder.File("settings.txt"));
    const std::string strOdd(3000, 'o'), strEven(2000, 'e');
    CHECK(store.SetText("t", strOdd));
    for (int nRound = 0; nRound < 12; ++nRound) {
        int ends[2];
        REQUIRE(pipe(ends) == 0);
        const pid_t process = InProcess([&] {
            for (int i = 0;; ++i) {
                store.SetText("t", i % 2 == 0 ? strEven : strOdd);
                if (write(ends[1], "x", 1) != 1) return false;
            }
        });
        // After some writes, and so at one place or another in the next.
        char x[8];
        for (int i = 0; i <= nRound; ++i) {
            REQUIRE(read(ends[0], x, 1) == 1);
        }
        kill(process, SIGKILL);
        CHECK(ExitCode(process) == -1);
        close(ends[0]);
        close(ends[1]);

        const std::string strText = store.GetText("t", std::string_view());
        CHECK((strText == strOdd || strText == strEven));
        CHECK(store.SetNumber("n", static_cast<std::uint32_t>(nRound)));
    }
}

TEST_CASE("UserSettingsPath: the key's steps become folders where the user's settings belong") {
    const Test::ScopedVariable home("HOME", "/home/ada");
    const char* const key = "SOFTWARE\\Halvane\\Vesca\\DirectX";
    {
        const Test::ScopedVariable configuration("XDG_CONFIG_HOME", "/etc/mine");
        CHECK(Util::UserSettingsPath(key) == "/etc/mine/Halvane/Vesca/DirectX/settings.txt");
        CHECK(Util::UserSettingsPath("A\\SOFTWARE\\\\B") == "/etc/mine/A/SOFTWARE/B/settings.txt");
        // No key leads out of the folder.
        CHECK(Util::UserSettingsPath("..\\a/../b\\.") == "/etc/mine/__/a_.._b/_/settings.txt");
    }
    for (const auto& configuration : {std::optional<std::string>(), std::optional<std::string>("relative")}) {
        const Test::ScopedVariable variable("XDG_CONFIG_HOME", configuration);
        CHECK(Util::UserSettingsPath(key) == "/home/ada/.config/Halvane/Vesca/DirectX/settings.txt");
        const Test::ScopedVariable noHome("HOME", std::nullopt);
        CHECK(Util::UserSettingsPath(key).empty());
        CHECK_FALSE(Util::OpenUserSettings(key)->SetNumber("n", 1));
    }
}

TEST_CASE("OpenUserSettings: what one run of the program stores, the next one finds") {
    const Test::TempFolder folder;
    const Test::ScopedVariable configuration("XDG_CONFIG_HOME", folder.Path());
    CHECK(Util::OpenUserSettings("SOFTWARE\\A\\B")->SetText("Lang", "de"));
    CHECK(Util::OpenUserSettings("SOFTWARE\\A\\B")->GetText("Lang", std::string_view("en")) == "de");
    CHECK(Util::OpenUserSettings("SOFTWARE\\A\\C")->GetText("Lang", std::string_view("en")) == "en");
}
