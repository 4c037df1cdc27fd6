#include "dsp/Maximizer.h"

#include <algorithm>
#include <mutex>

#include "dsp/vector/Decibel.h"
#include "dsp/vector/Elementary.h"
#include "dsp/vector/Elementwise.h"
#include "dsp/vector/LimiterPeaks.h"
#include "dsp/vector/OnePole.h"

namespace DSP {

namespace {

struct ValueInfo {
    const char* strName;
    const char* strUnits;
    float fMin;
    float fMax;
};

// In the order of FloatIndex.
constexpr std::array<ValueInfo, 6> kValueInfos = {{
    {"LMAX: Threshold", "dB", -20, 0},
    {"LMAX: Margin", "dB", -5, 0},
    {"LMAX: Ratio", "x:1", 1, 25},
    {"LMAX: Attack", "ms", 10, 500},
    {"LMAX: Release", "ms", 10, 500},
    {"LMAX: Character", "", 0, 10},
}};

// The limiter's character for one step of the parameter.
constexpr double kCharacterStep = 0.15;

// The peak follower falls to this share of a peak in this time.
constexpr double kPeakShare = 0.03;
constexpr double kPeakSeconds = 0.05;

// The attack in Brickwall takes as many samples at every rate: its time is this number over the rate, in ms.
constexpr double kBrickwallAttack = 200000.0;

// 120 dB over full scale.
constexpr float kLoudestAudio = 1e6f;

float* At(float* samples, int nPosition) {
    return samples ? samples + nPosition : nullptr;
}

}  // namespace

Maximizer::Maximizer(PluginContext& plugin) : ComponentImpl(plugin, "Maximizer::Maximizer") {
    static_assert(kValueInfos.size() == kFloatCount);
    for (std::uint32_t i = 0; i < kFloatCount; ++i) {
        const ValueInfo& info = kValueInfos[i];
        Float(info.strName, info.strUnits, info.fMin, info.fMax, m_values[i], &Maximizer::Value,
              &Maximizer::SetValue, i)
            .InPreset(PresetGroup::Maximizer)
            .Automatable();
    }
    const auto declare = [this](const char* strName, SwitchIndex i, PresetGroup group) -> BoolRecord& {
        return Bool(strName, m_switches[i], &Maximizer::Switch, &Maximizer::SetSwitch, std::uint32_t{i})
            .InPreset(group);
    };
    declare("LMAX: Bypass", kBypass, PresetGroup::Maximizer).Automatable();
    declare("LMAX: Solo Mute", kSoloMute, PresetGroup::Maximizer);
    declare("LMAX: Enable Histogram", kHistogram, PresetGroup::Meters);
    declare("LMAX: Enable Gain Reduction Meter", kGainMeter, PresetGroup::Meters);
    declare("LMAX: Show Gain Reduction Meter Peak Hold", kPeakHold, PresetGroup::Meters);
    declare("LMAX: Intersample Clip Detect", kInterSample, PresetGroup::Maximizer).Automatable();
    Int("LMAX: Mode", "", 0, 2, kIntelligent, &Maximizer::Choice, &Maximizer::SetChoice, std::uint32_t{kMode})
        .InPreset(PresetGroup::Maximizer)
        .Automatable()
        .Labelled({"Soft", "Brickwall", "Intelligent"});
    Int("LMAX: Gain Reduction Meter Peak Hold Time", "", 0, 5, 2, &Maximizer::Choice, &Maximizer::SetChoice,
        std::uint32_t{kPeakHoldTime})
        .InPreset(PresetGroup::Meters)
        .Labelled({"5", "250", "500", "1000", "5000", "Infinite"});
    SetUp(m_uSampleRate);
    FinishTables();
}

void Maximizer::SetValue(std::uint32_t i, float fValue) {
    fValue = std::clamp(fValue, kValueInfos[i].fMin, kValueInfos[i].fMax);
    if (fValue == m_values[i]) return;
    MarkDirty();
    m_values[i] = fValue;
}

void Maximizer::SetSwitch(std::uint32_t i, bool bOn) {
    if (bOn == m_switches[i]) return;
    MarkDirty();
    m_switches[i] = bOn;
    if (i == kBypass || i == kSoloMute) ActivityChanged();
}

void Maximizer::SetChoice(std::uint32_t i, std::int32_t nValue) {
    nValue = std::clamp(nValue, m_ints[i].nMin, m_ints[i].nMax);
    if (nValue == m_choices[i]) return;
    MarkDirty();
    if (i != kMode) {
        m_choices[i] = nValue;
        return;
    }
    {
        const std::lock_guard lock(m_lock);
        m_choices[i] = nValue;
        ClearHistory();
        m_blockBuffer.Clear();
    }
    DelayChanged();
}

std::uint32_t Maximizer::GetLatency() const {
    return m_choices[kMode] == kIntelligent ? m_uLookAhead.Get() : std::uint32_t{PeakLimiter::kDelay};
}

void Maximizer::SetSampleRate(std::uint32_t uSampleRate) {
    const std::lock_guard lock(m_lock);
    SetUp(uSampleRate);
}

void Maximizer::SetUp(std::uint32_t uSampleRate) {
    m_uSampleRate = std::max(uSampleRate, 1u);
    m_bCurrent = false;
    m_limiter.Initialise(2, static_cast<int>(uSampleRate), kChunk);
    m_streamer.Configure(2, 2, kChunk);
    m_uLookAhead = static_cast<std::uint32_t>(m_streamer.Latency());
    ClearHistory();
}

void Maximizer::ClearState() {
    const std::lock_guard lock(m_lock);
    ClearHistory();
}

void Maximizer::ClearHistory() {
    m_bLimitersClear = false;
    ClearLimiters();
    m_histogram.Reset();
    m_minimumGain.Clear();
}

void Maximizer::ClearLimiters() {
    if (m_bLimitersClear) return;
    m_peakLimiter.Reset();
    m_streamer.Reset();
    m_bLimitersClear = true;
}

/// Brings what follows from the parameters up to date. Here and not in the setters, so that values that
/// belong together stay together without a lock.
void Maximizer::TakeSettings() {
    std::array<float, kFloatCount> values;
    std::copy(m_values.begin(), m_values.end(), values.begin());
    if (values != m_current || !m_bCurrent) {
        m_current = values;
        m_bCurrent = true;
        UpdateCoefficients();
    }
    const bool bBrickwall = m_choices[kMode] == kBrickwall;
    m_settings.law = bBrickwall ? PeakLimiter::Law::Brickwall : PeakLimiter::Law::Soft;
    m_settings.fAttack = bBrickwall ? m_fBrickwallAttack : m_fSoftAttack;
    m_settings.bInterSample = m_switches[kInterSample];
    m_peakLimiter.Set(m_settings);
    m_limiter.SetInterSampleDetection(m_settings.bInterSample);
}

/// The ratio takes no share in the sound.
void Maximizer::UpdateCoefficients() {
    const double fThresholdDb = double{m_current[kThreshold]};
    const double fMarginDb = double{m_current[kMargin]};
    m_fMakeUp = static_cast<float>(DbToLinear(fMarginDb - fThresholdDb));
    m_settings.fThreshold = static_cast<float>(DbToLinear(fThresholdDb));
    m_settings.fMakeUp = m_fMakeUp;
    m_settings.fCeiling = static_cast<float>(DbToLinear(fMarginDb));
    m_fSoftAttack = OnePoleCoefficient(m_current[kAttack], m_uSampleRate);
    m_fBrickwallAttack = OnePoleCoefficient(kBrickwallAttack / m_uSampleRate, m_uSampleRate);
    m_settings.fRelease = OnePoleCoefficient(m_current[kReleaseTime], m_uSampleRate);
    m_settings.fPeakDecay = static_cast<float>(Pow(kPeakShare, 1.0 / (m_uSampleRate * kPeakSeconds)));
    m_limiter.SetThreshold(m_current[kThreshold]);
    m_limiter.SetCharacter(static_cast<float>(double{m_current[kCharacter]} * kCharacterStep));
}

std::uint32_t Maximizer::ProcessBlock(std::uint32_t uFrames, float* left, float* right) {
    const std::lock_guard lock(m_lock);
    if (uFrames == 0) return uFrames;
    TakeSettings();
    const bool bActive = IsActive();
    const bool bStereo = right != nullptr;
    if (!bActive || bStereo != m_bStereo) ClearLimiters();
    m_bStereo = bStereo;
    if (bActive) m_bLimitersClear = false;

    const bool bIntelligent = m_choices[kMode] == kIntelligent;
    const bool bHistogram = m_switches[kHistogram];
    const auto nFrames = static_cast<int>(uFrames);
    for (int i = 0; i < nFrames; i += kChunk) {
        const int nChunk = std::min(kChunk, nFrames - i);
        float* const leftChunk = left + i;
        float* const rightChunk = At(right, i);
        if (bActive) {
            ReplaceFaultySamples(leftChunk, nChunk, kLoudestAudio);
            if (rightChunk) ReplaceFaultySamples(rightChunk, nChunk, kLoudestAudio);
        }
        if (bHistogram && (bIntelligent || !bActive)) MeasureInput(leftChunk, rightChunk, nChunk);
        if (!bActive) continue;
        if (bIntelligent) {
            RunIntelligent(leftChunk, rightChunk, nChunk);
        } else {
            m_minimumGain.Include(
                m_peakLimiter.Process(leftChunk, rightChunk, nChunk, bHistogram ? &m_histogram : nullptr));
        }
    }
    return uFrames;
}

/// The peak follower, which would run here too, has no reader in this mode and is cleared with every change
/// of the mode.
void Maximizer::MeasureInput(const float* left, const float* right, int nFrames) {
    FramePeaks(left, right, m_levels.data(), nFrames);
    m_histogram.Add(m_levels.data(), nFrames);
}

void Maximizer::RunIntelligent(float* left, float* right, int nFrames) {
    float* const channels[2] = {left, right ? right : m_silence.data()};
    m_streamer.Process(channels, nFrames, nullptr);
    VectorScale(m_fMakeUp, left, nFrames);
    if (right) VectorScale(m_fMakeUp, right, nFrames);
    m_minimumGain.Include(DbToLinear(-m_limiter.LargestReduction()));
}

}  // namespace DSP
