#include "dsp/meter/Level.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <utility>

#include "dsp/meter/Measurable.h"
#include "dsp/vector/Elementwise.h"
#include "dsp/vector/Rounding.h"

namespace DSP::Meter {

namespace {

constexpr float kClipLevel = 1.000001f;
constexpr double kRmsTimesMs[] = {10, 50, 300, 1475, 2650, 3825, 5000};
constexpr double kHoldTimesMs[] = {5, 250, 500, 1000, 5000, 0};  ///< the last is "Infinite"

// The peak meter looks at so many samples at once; only a piece that moves the held value is walked.
constexpr std::uint32_t kPiece = 128;

std::uint32_t Samples(double fTimeMs, std::uint32_t uSampleRate) {
    return static_cast<std::uint32_t>(RoundHalfAway(uSampleRate * fTimeMs / 1000.0));
}

float FiniteRoot(float fSum, float fLength) {
    const float fRoot = std::sqrt(fSum / fLength);
    return std::isfinite(fRoot) ? fRoot : 0.0f;
}

}  // namespace

Level::Level(PluginContext& plugin) : ComponentImpl(plugin, "LevelMeter") {
    const auto addSwitch = [this](const char* strName, SwitchIndex iSwitch) {
        Bool(strName, true, &Level::Switch, &Level::SetSwitch, std::uint32_t{iSwitch})
            .InPreset(PresetGroup::Meters);
    };
    addSwitch("Level Meter Enable", kEnable);
    addSwitch("Level Meter Show Peak Hold", kShowPeakHold);

    const auto addChoice = [this](const char* strName, ChoiceIndex iChoice, std::vector<std::string> labels) {
        const auto nLast = static_cast<std::int32_t>(labels.size()) - 1;
        Int(strName, "", 0, nLast, m_choices[iChoice], &Level::Choice, &Level::SetChoice,
            std::uint32_t{iChoice})
            .InPreset(PresetGroup::Meters)
            .Labelled(std::move(labels));
    };
    addChoice("Level Meter Type", kType, {"RMS", "PPM"});
    addChoice("Level Meter RMS Time", kRmsTime, {"10", "50", "300", "1475", "2650", "3825", "5000"});
    addChoice("Level Meter Peak Hold Time", kPeakHoldTime, {"5", "250", "500", "1000", "5000", "Infinite"});
    addChoice("Level Meter Readout Type", kReadoutType, {"Peak", "Actual"});
    Configure(true);
    FinishTables();
}

void Level::SetSwitch(std::uint32_t iSwitch, bool bOn) {
    if (bOn == m_switches[iSwitch]) return;
    MarkDirty();
    m_switches[iSwitch] = bOn;
    if (iSwitch == kEnable) ActivityChanged();
}

void Level::SetChoice(std::uint32_t iChoice, std::int32_t nValue) {
    nValue = std::clamp(nValue, m_ints[iChoice].nMin, m_ints[iChoice].nMax);
    if (nValue == m_choices[iChoice]) return;
    MarkDirty();
    const std::lock_guard setUp(m_setUpLock);
    m_choices[iChoice] = nValue;
    if (iChoice != kReadoutType) Configure(true);
}

void Level::SetSampleRate(std::uint32_t uSampleRate) {
    // A fold to mono comes here on the audio thread, with the rate that there is.
    if (uSampleRate == m_uSampleRate) return;
    const std::lock_guard setUp(m_setUpLock);
    m_uSampleRate = uSampleRate;
    Configure(false);
}

/// Brings lengths and windows up to date and begins anew. Held values stay where the window's length stands,
/// unless asked for. Under the set-up lock.
void Level::Configure(bool bClearHeld) {
    const auto choice = [this](ChoiceIndex iChoice) { return static_cast<std::size_t>(m_choices[iChoice]); };
    const std::uint32_t uWindow = Samples(kRmsTimesMs[choice(kRmsTime)], m_uSampleRate);
    const std::uint32_t uHold = Samples(kHoldTimesMs[choice(kPeakHoldTime)], m_uSampleRate);
    const bool bResize = uWindow != m_uWindowLength;
    std::array<std::vector<float>, kChannels> windows;
    if (bResize) {
        for (std::vector<float>& window : windows)
            window.resize(uWindow);
    }
    const std::lock_guard lock(m_lock);
    m_uHoldLength = uHold;
    if (bResize) {
        m_uWindowLength = uWindow;
        for (std::uint32_t i = 0; i < kChannels; ++i)
            m_meters[i].window.swap(windows[i]);
    }
    Clear(bClearHeld || bResize);
}

void Level::ClearState() {
    const std::lock_guard lock(m_lock);
    Clear(false);
}

void Level::Clear(bool bClearHeld) noexcept {
    for (ChannelMeter& meter : m_meters) {
        meter.fSum = 0.0f;
        meter.fPeak = 0.0f;
        meter.fRunningSum = meter.fLapSum = 0.0;
        std::fill(meter.window.begin(), meter.window.end(), 0.0f);
        meter.uPosition = 0;
        if (!bClearHeld) continue;
        meter.fHeld = 0.0f;
        meter.uHoldCount = 0;
    }
}

void Level::ClearClips() noexcept {
    for (std::uint32_t i = 0; i < kChannels; ++i)
        ClearClip(i);
}

void Level::Meter(std::uint32_t uChannel, std::uint32_t uFrames, const float* samples) noexcept {
    const std::lock_guard lock(m_lock);
    m_bNewData = true;
    ChannelMeter& meter = m_meters[uChannel];
    if (m_choices[kType] == kPpm) {
        MeterPeak(meter, uFrames, samples);
    } else {
        MeterMeanSquare(meter, uFrames, samples);
    }
}

/// The held value's step of one sample.
inline void Level::Hold(ChannelMeter& meter, float fValue, float& fHeld) const noexcept {
    if (fValue > fHeld) {
        fHeld = fValue;
        meter.uHoldCount = 0;
    } else if (++meter.uHoldCount > m_uHoldLength && m_uHoldLength != 0) {
        fHeld = 0.0f;
        meter.uHoldCount = 0;
    }
}

void Level::MeterPeak(ChannelMeter& meter, std::uint32_t uFrames, const float* samples) const noexcept {
    float fPeak = meter.bPeakRead.Exchange(false) ? 0.0f : meter.fPeak.Get();
    float fHeld = meter.fHeld;
    for (std::uint32_t uDone = 0; uDone < uFrames; uDone += kPiece) {
        const std::uint32_t uCount = std::min(kPiece, uFrames - uDone);
        const float* const piece = samples + uDone;
        float fLow = 0.0f;
        float fHigh = 0.0f;
        VectorMin(piece, static_cast<std::int32_t>(uCount), &fLow);
        VectorMax(piece, static_cast<std::int32_t>(uCount), &fHigh);
        const float fTop = std::min(std::max(-fLow, fHigh), kMaxMeasured);
        if (fTop >= kClipLevel) meter.bClip = true;

        const bool bFalls = m_uHoldLength != 0 && meter.uHoldCount + uCount > m_uHoldLength;
        if (std::max(fPeak, fTop) <= fHeld && !bFalls) {
            fPeak = std::max(fPeak, fTop);
            meter.uHoldCount += uCount;
            continue;
        }
        for (std::uint32_t i = 0; i < uCount; ++i) {
            fPeak = std::max(fPeak, std::abs(Measurable(piece[i])));
            Hold(meter, fPeak, fHeld);
        }
    }
    meter.fPeak = fPeak;
    meter.fHeld = fHeld;
}

void Level::MeterMeanSquare(ChannelMeter& meter, std::uint32_t uFrames, const float* samples) const noexcept {
    const std::uint32_t uLength = m_uWindowLength;
    float* const window = meter.window.data();
    double fSum = meter.fRunningSum;
    double fLap = meter.fLapSum;
    std::uint32_t uPosition = meter.uPosition;
    float fHeld = meter.fHeld;
    float fTop = 0.0f;
    for (std::uint32_t i = 0; i < uFrames; ++i) {
        const float fSample = Measurable(samples[i]);
        const float fSquare = fSample * fSample;
        fTop = std::max(fTop, fSquare);
        fSum += fSquare;
        if (uLength != 0) {
            fLap += fSquare;
            window[uPosition] = fSquare;
            if (++uPosition == uLength) {
                // The window now holds this lap and nothing else, so its sum can take the place of the
                // running one: rounding errors live for one lap and cannot pile up.
                uPosition = 0;
                fSum = std::exchange(fLap, 0.0);
            }
            fSum -= window[uPosition];
        }
        Hold(meter, static_cast<float>(fSum), fHeld);
    }
    if (fTop >= kClipLevel) meter.bClip = true;
    meter.fRunningSum = fSum;
    meter.fLapSum = fLap;
    meter.uPosition = uPosition;
    meter.fSum = static_cast<float>(fSum);
    meter.fHeld = fHeld;
}

Level::Reading Level::Read(std::uint32_t uChannel) noexcept {
    ChannelMeter& meter = m_meters[uChannel];
    if (m_choices[kType] == kPpm) {
        const Reading reading{meter.fPeak, meter.fHeld};
        meter.bPeakRead = true;
        return reading;
    }
    const auto fLength = static_cast<float>(m_uWindowLength.Get());
    return {FiniteRoot(meter.fSum, fLength), FiniteRoot(meter.fHeld, fLength)};
}

}  // namespace DSP::Meter
