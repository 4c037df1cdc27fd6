#include "dsp/meter/Spectrum.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace DSP::Meter {

Spectrum::Spectrum(PluginContext& plugin, const Component& demand)
    : ComponentImpl(plugin, "Spectrum"),
      m_demand(demand),
      m_analyzer(std::make_unique<SpectrumAnalyzer>(SpectrumSettings{})) {
    Bool("Spectrum Show Peak Hold", false, &Spectrum::ShowPeakHold, &Spectrum::SetShowPeakHold)
        .InPreset(PresetGroup::Meters);
    const auto add = [this](const char* strName, ChoiceIndex iChoice, std::vector<std::string> labels) {
        const auto nLast = static_cast<std::int32_t>(labels.size()) - 1;
        Int(strName, "", 0, nLast, m_choices[iChoice], &Spectrum::Choice, &Spectrum::SetChoice,
            std::uint32_t{iChoice})
            .InPreset(PresetGroup::Meters)
            .Labelled(std::move(labels));
    };
    add("Spectrum Type", kType, {"Linear", "1/3 Octave", "Critical"});
    add("Spectrum Average Window Size", kAverage,
        {"Real Time", "1 sec", "3 secs", "5 secs", "10 secs", "Infinite"});
    add("Spectrum Peak Hold Time", kPeakHoldTime, {"5", "250", "500", "1000", "5000", "Infinite"});
    add("Spectrum Window Size", kWindowSize, {"512", "1024", "2048", "4096", "8192"});
    add("Spectrum Overlap", kOverlap, {"0%", "10%", "20%", "30%", "40%", "50%"});
    add("Spectrum Window Type", kWindowType, {"Hamming", "Blackman", "Bartlett", "Kaiser", "Hann"});
    FinishTables();
}

void Spectrum::SetShowPeakHold(bool bShow) {
    if (bShow == m_bShowPeakHold) return;
    MarkDirty();
    m_bShowPeakHold = bShow;
}

void Spectrum::SetChoice(std::uint32_t iChoice, std::int32_t nValue) {
    nValue = std::clamp(nValue, m_ints[iChoice].nMin, m_ints[iChoice].nMax);
    if (nValue == m_choices[iChoice]) return;
    MarkDirty();
    const std::lock_guard setUp(m_setUpLock);
    m_choices[iChoice] = nValue;
    if (iChoice == kPeakHoldTime) return;
    Install(std::make_unique<SpectrumAnalyzer>(Settings(m_uSampleRate)));
}

SpectrumSettings Spectrum::Settings(std::uint32_t uSampleRate) const {
    return {static_cast<SpectrumType>(m_choices[kType].Get()),
            m_choices[kAverage],
            m_choices[kWindowSize],
            m_choices[kOverlap],
            m_choices[kWindowType],
            uSampleRate};
}

/// Puts a new analyzer in place. The old one is freed here, after the lock is released.
void Spectrum::Install(std::unique_ptr<SpectrumAnalyzer> analyzer) {
    const std::lock_guard lock(m_lock);
    analyzer->ContinueFrom(*m_analyzer);
    m_analyzer.swap(analyzer);
}

void Spectrum::SetSampleRate(std::uint32_t uSampleRate) {
    // A fold to mono comes here on the audio thread, with the rate that there is.
    if (uSampleRate == m_uSampleRate) {
        const std::lock_guard lock(m_lock);
        m_analyzer->RestartAverage();
        return;
    }
    const std::lock_guard setUp(m_setUpLock);
    m_uSampleRate = uSampleRate;
    Install(std::make_unique<SpectrumAnalyzer>(Settings(uSampleRate)));
}

void Spectrum::ClearState() {
    const std::lock_guard lock(m_lock);
    m_analyzer->Reset();
}

void Spectrum::Meter(std::uint32_t uFrames, const float* left, const float* right) noexcept {
    const std::lock_guard lock(m_lock);
    m_analyzer->Feed(uFrames, left, right);
}

std::uint32_t Spectrum::Read(std::span<float, kMaxValues> magnitudes) {
    const std::lock_guard lock(m_lock);
    return m_analyzer->Take(magnitudes.data());
}

Spectrum::Reading Spectrum::Current() {
    Reading reading;
    const auto& labels = m_ints[kType].labels;
    reading.frequencies.reserve(kMaxValues);
    reading.magnitudes.reserve(kMaxValues);
    const std::lock_guard lock(m_lock);
    reading.type = m_analyzer->Settings().type;
    reading.strType = labels[static_cast<std::size_t>(reading.type)];
    reading.uSampleRate = m_analyzer->Settings().uSampleRate;
    reading.frequencies = m_analyzer->Frequencies();
    reading.magnitudes = m_analyzer->Values();
    return reading;
}

}  // namespace DSP::Meter
