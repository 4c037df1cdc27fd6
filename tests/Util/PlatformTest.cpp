#include <doctest/doctest.h>

#include <set>
#include <string>

#include "hvBase/Util/Dir.h"
#include "hvBase/Util/MessagePort.h"
#include "hvBase/Util/ModulePath.h"
#include "hvBase/Util/TickCount.h"
#ifndef _WIN32
#include <dlfcn.h>
#endif

TEST_CASE("RegisterWindowMessageName: one name has one number, and no two names share one") {
    const auto uCustom = Util::RegisterWindowMessageName("hvAudio_WM_HV_AUDIO_CUSTOM");
    const auto uTick = Util::RegisterWindowMessageName("hvAudio_WM_HV_AUDIO_RENDER_TICK");
    // The range that no window uses for messages of its own.
    for (const auto uNumber : {uCustom, uTick}) {
        CHECK((uNumber >= 0xC000 && uNumber <= 0xFFFF));
    }
    CHECK(uCustom != uTick);
    // A name that is known takes no further number, however often it is asked for.
    bool bSame = true;
    for (int i = 0; i < 0x4000; ++i)
        bSame = bSame && Util::RegisterWindowMessageName("hvAudio_WM_HV_AUDIO_CUSTOM") == uCustom;
    CHECK(bSame);
    CHECK(Util::RegisterWindowMessageName("one more") != 0);
}

TEST_CASE("ModulePath: it names the file that holds the code, and the install path is its folder") {
    const std::string strPath = Util::ModulePath();
    CHECK(Util::Dir::FileExists(strPath));
    const auto names = Util::SplitPath(strPath);
    CHECK(names.strName.starts_with("test_util"));
    CHECK(Util::DefaultInstallPath() == names.strFolder);
    CHECK(Util::IsPathSeparator(Util::DefaultInstallPath().back()));
}

#ifndef _WIN32
TEST_CASE("ModulePath: in a loaded library it names the library, not the program") {
    void* const library = dlopen(VESCA_TEST_MODULE, RTLD_NOW | RTLD_LOCAL);
    REQUIRE_MESSAGE(library, dlerror());
    const auto path = reinterpret_cast<const char* (*)()>(dlsym(library, "TestModulePath"));
    const bool bFound = path != nullptr;
    REQUIRE(bFound);
    CHECK(std::string(path()) == VESCA_TEST_MODULE);
    dlclose(library);
}
#endif

TEST_CASE("TickCount: both clocks go forward together") {
    // In this order, and read the other way round below: the fine span then encloses the coarse one.
    const double fBefore = Util::MonotonicSeconds();
    const auto uBefore = Util::TickCountMs();
    double fSpan = 0.0;
    while (Util::TickCountMs() - uBefore < 20) {
        const double fNow = Util::MonotonicSeconds() - fBefore;
        if (fNow < fSpan) FAIL("went back");
        fSpan = fNow;
    }
    // 20 ticks are more than 19 ms; what is above that is the machine's load.
    CHECK(Util::MonotonicSeconds() - fBefore > 0.019);
}
