#include "dsp/ExciterBand.h"

#include <algorithm>

#include "dsp/vector/Decibel.h"
#include "dsp/vector/Elementary.h"
#include "dsp/vector/Rounding.h"

namespace DSP {

namespace {

constexpr float kTapeRangeDb = 10.0f;

}  // namespace

int ExciterBand::LineLength(float fDelayMs, std::uint32_t uSampleRate) {
    return std::max(RoundHalfAway(double{fDelayMs} / 1000.0 * uSampleRate), 1);
}

void ExciterBand::SetDelay(int nLength) {
    for (DelayLine& line : m_lines)
        line.SetLength(nLength);
}

void ExciterBand::ReserveDelay(int nLength) {
    for (DelayLine& line : m_lines)
        line.Reserve(nLength);
}

void ExciterBand::Process(const ExciterSettings& settings, std::int32_t nFrames, float* left,
                          float* right) noexcept {
    if (!(settings.fAmount > 0.0f)) return;
    if (!(settings == m_settings)) Design(settings);
    switch (settings.mode) {
        case ExciterMode::Retro:
            ExciterRetro(m_retro, left, nFrames);
            if (right) ExciterRetro(m_retro, right, nFrames);
            break;
        case ExciterMode::Tape:
            ExciterTape(m_tape, left, nFrames);
            if (right) ExciterTape(m_tape, right, nFrames);
            break;
        case ExciterMode::Tube:
            ExciterTube(m_tube, m_envelopes, left, right, nFrames);
            break;
    }
    m_lines[0].Process(left, nFrames);
    if (right) m_lines[1].Process(right, nFrames);
}

void ExciterBand::Design(const ExciterSettings& settings) noexcept {
    m_settings = settings;
    const float fAmount = settings.fAmount;
    const float fMix = settings.fMix / 100.0f;
    switch (settings.mode) {
        case ExciterMode::Retro:
            m_retro = {DbToLinear(fAmount), fMix, 1.0f - fMix};
            break;
        case ExciterMode::Tape: {
            const float fDriveDb = fAmount / kMaxAmount * kTapeRangeDb;
            m_tape = {static_cast<float>(DbToLinear(double{fDriveDb})), fMix, 1.0f - fMix};
            break;
        }
        case ExciterMode::Tube: {
            const float fHeight = static_cast<float>(Pow(double{settings.fUpperEdge / 200.0f}, 0.7));
            const float fSpeed = fHeight * 200.0f * -0.2f;
            const float fStep = 1.0f - Exp(fSpeed / (static_cast<float>(settings.uSampleRate) * 0.5f));
            m_tube = {fStep, DbToLinear((fAmount - 7.0f) * 0.5f), fMix, fAmount * 0.2f * fMix + 1.0f};
            break;
        }
    }
}

void ExciterBand::Reset() noexcept {
    for (DelayLine& line : m_lines)
        line.Reset();
    m_envelopes = {};
}

}  // namespace DSP
