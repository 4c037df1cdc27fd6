#pragma once

#include <cstdint>

namespace DSP::Equalizer {

/// The response that a node of the equalizer draws.
enum class Shape : std::int32_t { Bell = 0, LowShelf = 1, HighShelf = 2, LowPass = 3, HighPass = 4 };

inline constexpr std::uint32_t kNodes = 8;

/// One node of the equalizer, as a value.
struct FilterNode {
    bool bEnabled = true;
    Shape shape = Shape::Bell;
    float fFrequency = 1000.0f;  ///< Hz, 20 to 20000
    float fGainDb = 0.0f;        ///< -30 to 15; a shelf changes by twice this, a pass ignores it
    float fQ = 1.0f;             ///< 0.2 to 12; the slope of a shelf

    /// No effect whatever the other values are: a bell or a shelf without gain.
    bool IsFlat() const { return shape <= Shape::HighShelf && fGainDb == 0.0f; }
    /// Whether the node takes part in the sound.
    bool IsLive() const { return bEnabled && !IsFlat(); }

    bool operator==(const FilterNode&) const = default;
};

}  // namespace DSP::Equalizer
