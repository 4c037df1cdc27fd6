#pragma once

#include <cstring>
#include <vector>

#include "apps/dxhost/WavFile.h"
#include "tests/support/Signals.h"

namespace Test {

/// A wait that takes longer has hung; milliseconds.
constexpr std::uint32_t kPatience = 60'000;

/// Every format that the plug-in takes, at 44,100 Hz, mono and stereo.
inline std::vector<DxHost::AudioFormat> AllFormats() {
    std::vector<DxHost::AudioFormat> formats;
    for (const std::uint32_t uChannels : {1u, 2u}) {
        for (const std::uint32_t uBits : {8u, 16u, 24u, 32u})
            formats.push_back({false, uBits, uChannels, 44100});
        for (const std::uint32_t uBits : {32u, 64u})
            formats.push_back({true, uBits, uChannels, 44100});
    }
    return formats;
}

/// Noise within half of full scale. Integers are random bytes of that size; the channels differ.
inline DxHost::Sound NoiseSound(const DxHost::AudioFormat& format, std::uint64_t uFrames,
                                std::uint64_t uSeed = 1) {
    Random random(uSeed);
    DxHost::Sound sound{format, {}};
    const std::size_t uSample = format.uBits / 8;
    sound.bytes.resize(static_cast<std::size_t>(uFrames) * format.FrameBytes());
    for (std::size_t i = 0; i < sound.bytes.size(); i += uSample) {
        const float fValue = random.Uniform(-0.5f, 0.5f);
        const double fWide = fValue;
        const auto nWord = static_cast<std::int32_t>(fWide * 2147483647.0);
        // The upper bytes of a word are the shorter integer; eight bits have their zero at 128.
        const std::uint32_t uWord = static_cast<std::uint32_t>(nWord) ^ (uSample == 1 ? 0x80000000u : 0u);
        if (!format.bFloat) {
            std::memcpy(&sound.bytes[i], reinterpret_cast<const char*>(&uWord) + 4 - uSample, uSample);
        } else if (uSample == 4) {
            std::memcpy(&sound.bytes[i], &fValue, uSample);
        } else {
            std::memcpy(&sound.bytes[i], &fWide, uSample);
        }
    }
    return sound;
}

}  // namespace Test
