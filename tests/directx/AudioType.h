#pragma once

#include "PluginBase/DirectX/base/streams.h"

namespace Test {

/// The type of a plain sample format: tag 1 is PCM, 3 is floats.
inline CMediaType AudioType(WORD uTag, WORD uChannels, DWORD uRate, WORD uBits) {
    const auto uAlign = static_cast<WORD>(uChannels * uBits / 8);
    const WAVEFORMATEX format{uTag, uChannels, uRate, uRate * uAlign, uAlign, uBits, 0};
    CMediaType type;
    CreateAudioMediaType(&format, &type, TRUE);
    return type;
}

}  // namespace Test
