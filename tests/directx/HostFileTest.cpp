#include <doctest/doctest.h>

#include "tests/directx/HostRig.h"
#include "tests/support/TempFolder.h"

using namespace DxHost;

TEST_CASE(
    "DxHost: a WAV file survives writing and reading, and a damaged one is refused or cut to whole frames") {
    const Test::TempFolder folder;
    const std::string strPath = folder.File("a.wav");
    for (const AudioFormat& format : Test::AllFormats()) {
        const Sound sound = Test::NoiseSound(format, 101);
        WriteWav(strPath, sound);
        const Sound read = ReadWav(strPath);
        CHECK(read.format == format);
        CHECK(read.bytes == sound.bytes);
    }
    WriteWav(strPath, Test::NoiseSound({false, 16, 2, 44100}, 10));
    const std::string strWhole = Test::Slurp(strPath);
    Test::Spill(strPath, strWhole.substr(0, strWhole.size() - 3));
    CHECK(ReadWav(strPath).Frames() == 9);
    struct Damage {
        std::size_t uByte;
        char value;
    };
    for (const Damage damage : {Damage{0, 'X'}, {20, 2}, {22, 3}, {32, 5}}) {
        std::string strBroken = strWhole;
        strBroken[damage.uByte] = damage.value;
        Test::Spill(strPath, strBroken);
        CHECK_THROWS_AS(ReadWav(strPath), ::Exception::Base);
    }
    Test::Spill(strPath, strWhole.substr(0, 40));
    CHECK_THROWS_AS(ReadWav(strPath), ::Exception::Base);
}
