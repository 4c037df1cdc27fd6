#include <doctest/doctest.h>
#include <windows.h>

#include <string>
#include <thread>

#include "hvBase/Util/AtomicFile.h"
#include "hvBase/Util/Encoding.h"
#include "hvBase/Util/Exception.h"
#include "hvBase/Util/File.h"
#include "hvBase/Util/MessagePort.h"
#include "hvBase/Util/ModulePath.h"
#include "tests/support/TempFolder.h"

TEST_CASE(
    "PostToWindow: from another thread a message arrives whole, once, and a window that is gone gets none") {
    const HWND window =
        CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    REQUIRE(window != nullptr);
    const auto uMessage = Util::RegisterWindowMessageName("hvAudio_WM_HV_AUDIO_CUSTOM");
    constexpr auto uFirst = std::uintptr_t{0xFEDCBA9876543210u};
    bool bPosted = false;
    std::thread([&] { bPosted = Util::PostToWindow(window, uMessage, uFirst, -5); }).join();
    CHECK(bPosted);
    MSG message{};
    REQUIRE(PeekMessageW(&message, window, uMessage, uMessage, PM_REMOVE));
    CHECK(message.wParam == uFirst);
    CHECK(message.lParam == -5);
    CHECK_FALSE(PeekMessageW(&message, window, uMessage, uMessage, PM_REMOVE));
    DestroyWindow(window);
    CHECK_FALSE(Util::PostToWindow(window, uMessage, 0, 0));
}

TEST_CASE("ModulePath: in a loaded library, under any name, it names the library") {
    const Test::TempFolder folder;
    const std::string strCopy = folder.File("Größe 音 \U0001F3B5.dll");
    REQUIRE(
        CopyFileW(Util::WideFromUtf8(VESCA_TEST_MODULE).c_str(), Util::WideFromUtf8(strCopy).c_str(), FALSE));
    const HMODULE library = LoadLibraryW(Util::WideFromUtf8(strCopy).c_str());
    REQUIRE(library != nullptr);
    const auto path = reinterpret_cast<const char* (*)()>(
        reinterpret_cast<void*>(GetProcAddress(library, "TestModulePath")));
    const bool bFound = path != nullptr;
    REQUIRE(bFound);
    // The system may spell the folder in another way than who asked for it; the file is the same.
    CHECK(std::string(path()).ends_with("Größe 音 \U0001F3B5.dll"));
    CHECK(Test::Slurp(path()) == Test::Slurp(strCopy));
    FreeLibrary(library);
}

TEST_CASE(
    "AtomicFile: a target that another program holds open keeps its bytes, and nothing is left beside it") {
    const Test::TempFolder folder;
    const std::string strPath = folder.File("Größe.preset");
    Test::Spill(strPath, "old");
    const HANDLE reader = CreateFileW(Util::WideFromUtf8(strPath).c_str(), GENERIC_READ, FILE_SHARE_READ,
                                      nullptr, OPEN_EXISTING, 0, nullptr);
    REQUIRE(reader != INVALID_HANDLE_VALUE);
    const std::uint8_t bytes[] = {'n', 'e', 'w'};
    CHECK_THROWS_AS(Util::WriteFileAtomically(strPath, bytes), Util::Exception::FileIO);
    CHECK(Test::Slurp(strPath) == "old");
    CHECK(folder.Count() == 1);
    CloseHandle(reader);
    Util::WriteFileAtomically(strPath, bytes);
    CHECK(Test::Slurp(strPath) == "new");
    CHECK(folder.Count() == 1);
}
