#pragma once

#include <cstdint>

/// Codes that the engine posts to the editor window, in the first parameter of the registered message
/// named kEditorMessageName; the second is 0.
enum class EditorNotifyCode : std::uint32_t {
    Refresh = 0,      ///< redraw; at most one waits at a time
    StateLoaded = 1,  ///< the host loaded a state: reload everything
    StreamingStarted = 2,
    StreamingStopped = 3,
    SampleRateChanged = 4,
    FrameRateChanged = 11,  ///< or the use of a rendering thread
    BackgroundGridChanged = 12
};

inline constexpr const char* kEditorMessageName = "hvAudio_WM_HV_AUDIO_CUSTOM";
