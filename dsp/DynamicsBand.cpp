#include "dsp/DynamicsBand.h"

#include <algorithm>

#include "dsp/vector/Decibel.h"
#include "dsp/vector/Elementary.h"
#include "dsp/vector/OnePole.h"
#include "dsp/vector/Rounding.h"

namespace DSP {

namespace {

constexpr std::array<float, DynamicsBand::kFields> kFactory = {0, 0,  1,  10,  100,  // gain, comp
                                                               0, 10, 5,  100,       // limiter
                                                               0, 1,  10, 100};      // gate

// In a DynamicsPair.
constexpr std::size_t kComp = 0;
constexpr std::size_t kGate = 1;

constexpr float kNoise = 1e-10f;

// A gate that closes further would end among the subnormal numbers, which many processors work through
// slowly. At -420 dB even the greatest gains leave the signal below the last bit of the noise.
constexpr float kLeastGateGain = 1e-21f;

constexpr std::int32_t kNoisePeriod = 128;  ///< samples of one sign

}  // namespace

DynamicsBand::DynamicsBand() {
    std::copy(kFactory.begin(), kFactory.end(), m_settings.begin());
    SetSampleRate(m_uSampleRate);
}

std::int32_t DynamicsBand::LookAhead(std::uint32_t uSampleRate) noexcept {
    return std::max(RoundHalfAway(uSampleRate / 1000.0), 1);
}

float DynamicsBand::FactoryValue(DynamicsField field) noexcept {
    return kFactory[Index(field)];
}

void DynamicsBand::SetSampleRate(std::uint32_t uSampleRate) {
    const std::int32_t nLength = LookAhead(uSampleRate);
    m_delayLeft.SetLength(nLength);
    m_delayRight.SetLength(nLength);
    if (uSampleRate != m_uSampleRate) m_histogram.Reset();
    m_uSampleRate = uSampleRate;
    for (std::uint32_t i = 0; i < kFields; ++i)
        Update(static_cast<DynamicsField>(i));
}

void DynamicsBand::Set(DynamicsField field, float fValue) noexcept {
    m_settings[Index(field)] = fValue;
    Update(field);
}

float DynamicsBand::Coefficient(double fTimeMs) const noexcept {
    return OnePoleCoefficient(fTimeMs, m_uSampleRate);
}

float DynamicsBand::Step(double fTimeMs) const noexcept {
    return 1.0f - Coefficient(fTimeMs);
}

float DynamicsBand::ShorterTime(DynamicsField attack, DynamicsField release) const noexcept {
    return std::min(Get(attack), Get(release));
}

void DynamicsBand::Update(DynamicsField field) noexcept {
    DynamicsCoefficients& c = m_coefficients;
    const float fValue = Get(field);
    switch (field) {
        case DynamicsField::Gain:
            m_fGain = DbToLinear(fValue);
            break;
        case DynamicsField::CompThreshold:
            c.comp.fThreshold = DbToLinear(fValue);
            UpdateJoin();
            break;
        case DynamicsField::CompRatio:
            c.comp.fPower = 1.0f / fValue - 1.0f;
            UpdateJoin();
            break;
        case DynamicsField::CompAttack:
            c.fCompAttackStep = Step(fValue);
            UpdateCompTimes();
            break;
        case DynamicsField::CompRelease:
            c.riseKeeps[kComp] = Coefficient(fValue);
            c.riseSteps[kComp] = 1.0f - c.riseKeeps[kComp];
            UpdateCompTimes();
            break;
        case DynamicsField::LimThreshold:
            c.limit.fThreshold = DbToLinear(fValue);
            UpdateJoin();
            break;
        case DynamicsField::LimRatio:
            c.limit.fPower = 1.0f / fValue - 1.0f;
            break;
        case DynamicsField::LimAttack:
            c.fLimitAttackStep = Step(fValue);
            break;
        case DynamicsField::LimRelease:
            break;
        case DynamicsField::GateThreshold:
            c.gate.fThreshold = DbToLinear(fValue);
            break;
        case DynamicsField::GateRatio:
            c.gate.fPower = fValue - 1.0f;
            c.fLeastGateBase = c.gate.fPower > 0.0f ? Pow(kLeastGateGain, 1.0f / c.gate.fPower) : 0.0f;
            break;
        case DynamicsField::GateAttack:
            c.riseKeeps[kGate] = Coefficient(fValue);
            c.riseSteps[kGate] = 1.0f - c.riseKeeps[kGate];
            UpdateGateTimes();
            break;
        case DynamicsField::GateRelease:
            c.fGateReleaseStep = Step(fValue);
            UpdateGateTimes();
            break;
    }
}

void DynamicsBand::UpdateJoin() noexcept {
    DynamicsCoefficients& c = m_coefficients;
    c.fJoin = c.comp.fPower == 0.0f ? 1.0f : Pow(c.limit.fThreshold / c.comp.fThreshold, c.comp.fPower);
}

void DynamicsBand::UpdateCompTimes() noexcept {
    const float fTime = ShorterTime(DynamicsField::CompAttack, DynamicsField::CompRelease);
    m_coefficients.smoothingSteps[kComp] = Step(fTime * 0.5f);
    m_coefficients.fMeanSquareStep = Step(fTime * 0.125f);
}

void DynamicsBand::UpdateGateTimes() noexcept {
    const float fTime = ShorterTime(DynamicsField::GateAttack, DynamicsField::GateRelease);
    m_coefficients.smoothingSteps[kGate] = Step(fTime * 0.5f);
}

void DynamicsBand::Reset() noexcept {
    m_detector = {};
    m_gains = {};
    m_delayLeft.Reset();
    m_delayRight.Reset();
    m_uNoisePhase = 0;
    m_histogram.Reset();
    m_levelPeak.Clear();
    m_minimumComp.Clear();
    m_minimumGate.Clear();
}

/// Whether gains that are bound for 1 have nowhere to go.
bool DynamicsBand::IsAtRest(bool bSmooth) const noexcept {
    constexpr DynamicsPair kRest{1.0f, 1.0f};
    return m_gains.gains == kRest && (!bSmooth || m_gains.smoothed == kRest);
}

/// With the chunk in work, and the other one ahead.
DynamicsTrack DynamicsBand::Track(std::size_t iChunk) noexcept {
    return {&m_coefficients, &m_detector, &m_chunks[1 - iChunk], &m_gains, &m_chunks[iChunk]};
}

void DynamicsBand::ProcessBands(const DynamicsMode& mode, std::int32_t nFrames,
                                std::span<const Audio> bands) noexcept {
    std::array<DynamicsTrack, kMostBands> tracks;
    std::size_t iChunk = 0;
    // The detectors run one chunk ahead of the gains. The audio that they hear is still untouched there.
    const auto listen = [&](std::int32_t nFrom, std::int32_t nLength) {
        for (std::size_t i = 0; i < bands.size(); ++i) {
            const auto& [band, left, right] = bands[i];
            tracks[i] = band->Track(iChunk);
            tracks[i].ahead->nLength = nLength;
            DynamicsListen(mode.bMeanSquare, left + nFrom, right ? right + nFrom : nullptr, *tracks[i].ahead);
        }
    };
    const auto follow = [&](std::int32_t nAhead, std::int32_t nLength) {
        DynamicsFollow(mode.bMeanSquare, mode.bSmooth, mode.fPeakDecay, tracks.data(),
                       static_cast<int>(bands.size()), nAhead, nLength);
    };

    std::int32_t nAhead = std::min(nFrames, kDynamicsChunk);
    listen(0, nAhead);
    follow(nAhead, 0);
    for (std::int32_t nDone = 0; nDone < nFrames;) {
        iChunk = 1 - iChunk;
        const std::int32_t nLength = nAhead;
        const std::int32_t nNext = nDone + nLength;
        nAhead = std::min(nFrames - nNext, kDynamicsChunk);
        listen(nNext, nAhead);

        bool bMove = false;
        for (const Audio& audio : bands) {
            if (audio.band->FindTargets(mode, audio.band->m_chunks[iChunk])) bMove = true;
        }
        // A band at rest stays there if it is followed beside one that moves.
        follow(nAhead, bMove ? nLength : 0);
        for (const auto& [band, left, right] : bands) {
            DynamicsChunk& chunk = band->m_chunks[iChunk];
            if (!bMove) DynamicsRest(chunk);
            band->Output(mode, chunk, left + nDone, right ? right + nDone : nullptr);
        }
        nDone = nNext;
    }
}

/// From what the detector has seen to the targets. Returns whether the gains have to move.
bool DynamicsBand::FindTargets(const DynamicsMode& mode, DynamicsChunk& chunk) noexcept {
    DynamicsLevels(mode.bMeanSquare, chunk);
    m_levelPeak.Include(chunk.fHighest);
    if (mode.bHistogram) m_histogram.Add(chunk.levels.data(), chunk.nLength);
    return DynamicsTargets(m_coefficients, chunk) || !IsAtRest(mode.bSmooth);
}

void DynamicsBand::Output(const DynamicsMode& mode, const DynamicsChunk& chunk, float* left,
                          float* right) noexcept {
    m_delayLeft.Process(left, chunk.nLength);
    if (right) m_delayRight.Process(right, chunk.nLength);
    for (std::int32_t nDone = 0; nDone < chunk.nLength;) {
        const bool bUpper = m_uNoisePhase >= kNoisePeriod;
        const std::int32_t nToTurn = (bUpper ? 2 : 1) * kNoisePeriod - m_uNoisePhase;
        const std::int32_t nLength = std::min(nToTurn, chunk.nLength - nDone);
        const DynamicsPair least =
            DynamicsApply(&chunk.gains[2 * static_cast<std::size_t>(nDone)], nLength, mode.fGlobalGain,
                          m_fGain, bUpper ? -kNoise : kNoise, left + nDone, right ? right + nDone : nullptr);
        m_minimumComp.Include(least[kComp]);
        m_minimumGate.Include(least[kGate]);
        m_uNoisePhase = static_cast<std::uint8_t>(m_uNoisePhase + nLength);
        nDone += nLength;
    }
}

}  // namespace DSP
