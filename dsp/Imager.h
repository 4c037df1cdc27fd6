#pragma once

#include <array>
#include <cstdint>

#include "PluginBase/ComponentImpl.h"
#include "dsp/ChannelOperations.h"
#include "dsp/ImagerBand.h"

namespace DSP {

/// The multiband stereo imager, one ImagerBand a band of the crossover, and the channel operations on the
/// whole signal. The chain sets the band as the stage before each call and passes that band's audio; stage 4
/// is the whole signal and runs the channel operations, which look at no bypass. Any stage beyond leaves the
/// audio alone, and so does everything here with a mono block.
///
/// Active:    when neither bypassed nor muted by another module's solo. The chain forces the call for
/// stage 4. Latency:   none that is declared: the delays shift one channel against the other. Setters: clamp.
/// A delay clears the lines of its band, in about a microsecond, under the component's lock on
///            whichever thread; the others store one value.
/// Real time: SetSampleRate allocates, nothing else.
/// Recovery:  a NaN or an infinity is gone with the delay, 30 ms at most.
class Imager final : public ComponentImpl<Imager> {
public:
    static constexpr std::uint32_t kBands = 4;
    static constexpr std::uint32_t kWholeSignal = 4;  ///< the stage of the channel operations

    explicit Imager(PluginContext& plugin);

    bool IsActive() const override { return !m_switches[kBypass] && !m_switches[kSoloMute]; }
    void SetSampleRate(std::uint32_t uSampleRate) override;
    std::uint32_t ProcessBlock(std::uint32_t uFrames, float* left, float* right) override;
    void ClearState() override;

    /// A band as two floats: width, delay. Pasting takes both or, if the stream ends too soon and throws,
    /// none; the host is told of each. A NaN leaves its setting alone. A band beyond the last does nothing.
    void CopyBand(std::uint32_t uBand, Util::DataStream& stream) const override;
    void PasteBand(std::uint32_t uBand, Util::DataStream& stream) override;
    void ResetBand(std::uint32_t uBand) override;

private:
    /// The switches, in the order of their table.
    enum SwitchIndex : std::uint32_t {
        kBypass,
        kSoloMute,
        kMono,
        kSwitchChannels,
        kInvertLeft,
        kInvertRight,
        kSwitches
    };

    float Width(std::uint32_t iBand) const { return m_width[iBand]; }
    void SetWidth(std::uint32_t iBand, float fWidth);
    float Delay(std::uint32_t iBand) const { return m_delay[iBand]; }
    void SetDelay(std::uint32_t iBand, float fDelayMs);
    bool Switch(std::uint32_t iSwitch) const { return m_switches[iSwitch]; }
    void SetSwitch(std::uint32_t iSwitch, bool bOn);

    void ReserveLines();
    void ReplaceBand(std::uint32_t uBand, float fWidth, float fDelayMs);

    // Parameters: written by setters, the delays under the lock; read once at the head of a block.
    std::array<Util::Relaxed<float>, kBands> m_width{};
    std::array<Util::Relaxed<float>, kBands> m_delay{};  ///< ms
    std::array<Util::Relaxed<bool>, kSwitches> m_switches{true, false, false, false, false, false};

    // Under the component's lock.
    std::uint32_t m_uSampleRate = 44100;
    std::array<ImagerBand, kBands> m_bands;
};

}  // namespace DSP
