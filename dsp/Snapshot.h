#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "PluginBase/ComponentImpl.h"
#include "PluginBase/SnapshotSlots.h"
#include "dsp/Parametric.h"
#include "dsp/SnapshotFile.h"
#include "dsp/meter/Spectrum.h"

namespace DSP::Meter {

/// The stored spectra and the two parameters of the matching equalizer. It computes no audio.
///
/// Built-ins: from -50 dB at 20 Hz to 1 kHz, then falling by 6 and by 3 dB an octave.
/// Capture:   a linear spectrum of n values stands at i (rate / 2) / n Hz; a band at its middle, with a point
///            at 0 Hz before the lowest that has its level. Magnitudes become dB, silence -400.
/// Kept:      slots, choices and visible flags live in the file "hvVesca3.snapshotstate" of the data folder:
///            read at construction, written at destruction. Without that file they come from the settings of
///            earlier versions; without a data folder they live as long as the object. A file that can't be
///            read to its end is written over only if something has changed since, so that a moment's
///            failure does not cost the user all slots.
/// Threads:   as SnapshotSlots says, but the parameters on any thread. Their setters take no lock here; an
///            automated one runs on the audio thread, and what the equalizer then does there is told in its
///            own header.
class Snapshot final : public ComponentImpl<Snapshot>, public SnapshotSlots {
public:
    /// Both must outlive this object's use, though not its destruction.
    Snapshot(PluginContext& plugin, Spectrum& spectrum, Equalizer::Parametric& equalizer);
    ~Snapshot() override;

    bool IsActive() const override { return true; }

    const SnapshotRecord& Record(std::uint32_t iRecord) const override;
    bool Store(std::uint32_t iSlot, SnapshotRecord record) override;
    void Capture(std::uint32_t iSlot) override;
    std::string Import(const std::string& strPath, std::uint32_t iSlot) override;
    std::string Export(const std::string& strPath, std::uint32_t iSlot, SnapshotFileKind kind) const override;
    std::uint32_t Source() const override { return m_state.uSource; }
    void SetSource(std::uint32_t iRecord) override { Choose(m_state.uSource, iRecord); }
    std::uint32_t Target() const override { return m_state.uTarget; }
    void SetTarget(std::uint32_t iRecord) override { Choose(m_state.uTarget, iRecord); }
    bool IsVisible(std::uint32_t iRecord) const override;
    void SetVisible(std::uint32_t iRecord, bool bVisible) override;

private:
    float Amount() const { return m_fAmount; }
    void SetAmount(float fPercent);
    float Smoothing() const { return m_fSmoothing; }
    void SetSmoothing(float fSmoothing);

    void Choose(std::uint32_t& choice, std::uint32_t iRecord);
    void ReplaceSlots(SnapshotSet slots);
    void UpdateEqualizer();
    void LoadState();
    void SaveState() noexcept;
    std::vector<std::uint8_t> StateBytes() const;

    // Set-up: written at construction only.
    Spectrum& m_spectrum;
    Equalizer::Parametric& m_equalizer;
    const std::array<SnapshotRecord, kBuiltIns> m_builtIns;
    const std::string m_strStatePath;  ///< empty: nothing is kept
    /// What could be read of a damaged file, as bytes: levels that are no numbers equal nothing. Else empty.
    std::vector<std::uint8_t> m_salvaged;

    // Parameters: written by setters.
    Util::Relaxed<float> m_fAmount = 10.0f;    ///< percent
    Util::Relaxed<float> m_fSmoothing = 0.5f;  ///< 0 to 1

    SnapshotState m_state;
};

}  // namespace DSP::Meter
