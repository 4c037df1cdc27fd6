#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "PluginBase/ComponentImpl.h"

namespace DSP::Meter {

/// The level of the chain's input (channels 0 left, 1 right) and output (2 left, 3 right): a peak meter or a
/// running mean square, each with a held value and a clip light. The audio is left alone.
///
/// "PPM":     the highest magnitude since a display last read the channel; a read takes effect at the next
///            block's head.
/// "RMS":     the root of the last N - 1 squares' sum over N, with N the time's length in samples.
/// Held:      the highest value, until it is older than the peak hold time; "Infinite" never falls.
/// Clip:      set at 1.000001, a hair above full scale, by the magnitude in "PPM" and by the square in "RMS".
///            It stays until cleared.
/// Range:     up to +80 dB; more counts as that, a NaN as 0, so that no sample can poison a reading.
/// Threads:   Meter on the audio thread; it takes the component's lock. The readings on any thread, without
///            a lock: a value may be one block old.
/// Real time: Meter allocates nothing. A new RMS time or sample rate allocates the windows before it takes
///            the lock.
/// Blocks:    readings do not depend on how a stream is cut, but for the moment at which a read takes effect.
class Level final : public ComponentImpl<Level> {
public:
    static constexpr std::uint32_t kChannels = 4;
    enum Channel : std::uint32_t { kInputLeft, kInputRight, kOutputLeft, kOutputRight };

    explicit Level(PluginContext& plugin);

    /// Adds a block to a channel.
    void Meter(std::uint32_t uChannel, std::uint32_t uFrames, const float* samples) noexcept;

    bool IsActive() const override { return MetersEnabled() && m_switches[kEnable]; }
    void SetSampleRate(std::uint32_t uSampleRate) override;

    /// Values begin anew; held values and clip lights stay.
    void ClearState() override;

    // For displays. -------------------------------------------------------------------------------------

    /// Linear, full scale 1.
    struct Reading {
        float fValue = 0.0f;
        float fHeld = 0.0f;
    };

    /// Reads a channel and, in "PPM", has its peak begin anew at the next block.
    Reading Read(std::uint32_t uChannel) noexcept;

    /// Whether any block has come since the last call.
    bool TakeNewData() noexcept { return m_bNewData.Exchange(false); }

    bool Clipped(std::uint32_t uChannel) const noexcept { return m_meters[uChannel].bClip; }
    void ClearClip(std::uint32_t uChannel) noexcept { m_meters[uChannel].bClip = false; }
    void ClearClips() noexcept;

private:
    enum SwitchIndex : std::uint32_t { kEnable, kShowPeakHold, kSwitches };
    enum ChoiceIndex : std::uint32_t { kType, kRmsTime, kPeakHoldTime, kReadoutType, kChoices };
    enum Type : std::int32_t { kRms = 0, kPpm = 1 };

    struct ChannelMeter {
        // Readings: written under the lock, read by displays without it.
        Util::Relaxed<float> fSum = 0.0f;   ///< of the squares in the window
        Util::Relaxed<float> fPeak = 0.0f;  ///< magnitude since the last read
        Util::Relaxed<float> fHeld = 0.0f;  ///< of fSum or fPeak
        Util::Relaxed<bool> bClip = false;
        Util::Relaxed<bool> bPeakRead = false;  ///< the next block's peak begins at 0

        // State, under the lock.
        double fRunningSum = 0.0;
        double fLapSum = 0.0;  ///< of the squares since the window's position was last 0
        std::vector<float> window;
        std::uint32_t uPosition = 0;
        std::uint32_t uHoldCount = 0;  ///< samples since the held value was set
    };

    bool Switch(std::uint32_t iSwitch) const { return m_switches[iSwitch]; }
    void SetSwitch(std::uint32_t iSwitch, bool bOn);
    std::int32_t Choice(std::uint32_t iChoice) const { return m_choices[iChoice]; }
    void SetChoice(std::uint32_t iChoice, std::int32_t nValue);

    void Configure(bool bClearHeld);
    void Clear(bool bClearHeld) noexcept;
    void MeterPeak(ChannelMeter& meter, std::uint32_t uFrames, const float* samples) const noexcept;
    void MeterMeanSquare(ChannelMeter& meter, std::uint32_t uFrames, const float* samples) const noexcept;
    void Hold(ChannelMeter& meter, float fValue, float& fHeld) const noexcept;

    /// Taken outside the component's lock by whatever sets up, never by the audio thread.
    Util::NamedLock m_setUpLock{"LevelMeter set-up"};

    // Parameters: written by setters, read once at the head of a block.
    std::array<Util::Relaxed<bool>, kSwitches> m_switches{true, true};
    std::array<Util::Relaxed<std::int32_t>, kChoices> m_choices{kPpm, 2, 2, 0};

    // Set-up: written by Configure only.
    Util::Relaxed<std::uint32_t> m_uSampleRate = 44100;
    Util::Relaxed<std::uint32_t> m_uWindowLength = 0;
    std::uint32_t m_uHoldLength = 0;  ///< 0: for ever

    std::array<ChannelMeter, kChannels> m_meters;
    Util::Relaxed<bool> m_bNewData = true;
};

}  // namespace DSP::Meter
