#pragma once

#include <array>
#include <cstdint>

#include "PluginBase/BandSplitter.h"
#include "PluginBase/ComponentImpl.h"
#include "dsp/ExciterBand.h"

namespace DSP {

/// The multiband harmonic exciter: one ExciterBand a band of the crossover. The chain sets the band as the
/// stage before each call and passes that band's audio; a stage beyond the last band leaves the audio alone.
///
/// Active:    when neither bypassed nor muted by another module's solo. Otherwise audio passes unchanged and
///            without delay, also where automation has the module run.
/// Latency:   none that is declared: the delays of the bands are an effect.
/// Setters:   clamp. A delay clears the lines of its band, in well under a microsecond, under the component's
///            lock on whichever thread; the others store one value, from which the next block finds its
///            factors.
/// Real time: SetSampleRate allocates, nothing else.
/// Recovery:  a NaN or an infinity is gone with the delay, 10 ms at most; see ExciterBand.
class Exciter final : public ComponentImpl<Exciter> {
public:
    static constexpr std::uint32_t kBands = 4;

    /// The splitter tells where the bands meet; without one, the single band reaches up to half the rate. It
    /// outlives the exciter.
    Exciter(PluginContext& plugin, const BandSplitter* bands);

    bool IsActive() const override { return !m_bBypass && !m_bSoloMute; }
    void SetSampleRate(std::uint32_t uSampleRate) override;
    std::uint32_t ProcessBlock(std::uint32_t uFrames, float* left, float* right) override;
    void ClearState() override;

    /// A band as three floats: amount, mix, delay. Pasting takes all of them or, if the stream ends too soon
    /// and throws, none; the host is told of each. A NaN leaves its setting alone. A band beyond the last
    /// does nothing.
    void CopyBand(std::uint32_t uBand, Util::DataStream& stream) const override;
    void PasteBand(std::uint32_t uBand, Util::DataStream& stream) override;
    void ResetBand(std::uint32_t uBand) override;

private:
    enum Field : std::uint32_t { kAmount, kMix, kDelay, kFields };
    using BandValues = std::array<float, kFields>;
    struct FieldInfo {
        const char* strName;
        const char* strUnits;
        float fMax;
        float fFactory;
    };
    static const std::array<FieldInfo, kFields> kFieldInfo;

    float Value(std::uint32_t iField, std::uint32_t iBand) const { return m_values[iField][iBand]; }
    void SetValue(std::uint32_t iField, std::uint32_t iBand, float fValue);
    bool Bypass() const { return m_bBypass; }
    void SetBypass(bool bBypass);
    bool SoloMute() const { return m_bSoloMute; }
    void SetSoloMute(bool bMute);
    std::int32_t Mode() const { return m_nMode; }
    void SetMode(std::int32_t nMode);

    float UpperEdge(std::uint32_t iBand) const;
    void RebuildLine(std::uint32_t iBand);
    void ReserveLines();
    void ReplaceBand(std::uint32_t uBand, const BandValues& values);

    const BandSplitter* const m_splitter;

    // Parameters: written by setters, the delays under the lock; read once at the head of a block.
    std::array<std::array<Util::Relaxed<float>, kBands>, kFields> m_values{};
    Util::Relaxed<bool> m_bBypass = true;
    Util::Relaxed<bool> m_bSoloMute = false;
    Util::Relaxed<std::int32_t> m_nMode = static_cast<std::int32_t>(ExciterMode::Tube);

    // Under the component's lock.
    std::uint32_t m_uSampleRate = 44100;
    std::array<ExciterBand, kBands> m_bands;
};

}  // namespace DSP
