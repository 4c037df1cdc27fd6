#pragma once

#include <array>
#include <cstdint>

#include "PluginBase/ComponentImpl.h"

namespace DSP::Meter {

/// Which bits of the output's 24-bit words are in use: one reading a block, of its first frame, which costs
/// nothing and is as good a sample as any.
///
/// Word:    the sample times 2^31, cut to an integer, as a magnitude; +full scale and above is 0x7fffffff,
///          -full scale and below 0x80000000. 128 is added, which rounds at the lowest of 24 bits; full
///          scale then carries into the sign and shows no bit. A NaN is 0.
/// Bits:    entry k from 1 to 23 is bit 31 - k of the word: entry 1 has half of full scale. Entry 0 is
/// unused. Threads: Measure on the audio thread, without a lock; readings on any. A reading may mix two
/// blocks.
class Bit final : public ComponentImpl<Bit> {
public:
    static constexpr std::uint32_t kChannels = 2;
    static constexpr std::uint32_t kEntries = 24;
    using BitTable = std::array<Util::Relaxed<std::uint8_t>, kEntries>;

    explicit Bit(PluginContext& plugin);

    /// Reads the first frame of a block; a null right is mono, and right then shows left's bits. No frames,
    /// no reading.
    void Measure(std::uint32_t uFrames, const float* left, const float* right) noexcept;

    bool IsActive() const override { return MetersEnabled() && m_switches[kEnable]; }

    /// The bits of left (0) or right (1), each 0 or 1.
    const BitTable& Bits(std::uint32_t uChannel) const noexcept { return m_bits[uChannel]; }

    /// The display's own: which bits it still shows as held.
    BitTable& HeldBits(std::uint32_t uChannel) noexcept { return m_heldBits[uChannel]; }

    /// Whether there has been a reading since the last call.
    bool TakeNewData() noexcept { return !m_bConsumed.Exchange(true); }

private:
    enum SwitchIndex : std::uint32_t { kEnable, kShowPeakHold, kSwitches };

    bool Switch(std::uint32_t iSwitch) const { return m_switches[iSwitch]; }
    void SetSwitch(std::uint32_t iSwitch, bool bOn);
    std::int32_t PeakHoldTime() const { return m_nPeakHoldTime; }
    void SetPeakHoldTime(std::int32_t nTime);

    // Parameters: written by setters.
    std::array<Util::Relaxed<bool>, kSwitches> m_switches{true, true};
    Util::Relaxed<std::int32_t> m_nPeakHoldTime = 2;

    // Readings.
    std::array<BitTable, kChannels> m_bits;
    std::array<BitTable, kChannels> m_heldBits;
    Util::Relaxed<bool> m_bConsumed = true;
};

}  // namespace DSP::Meter
