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

/// Chunks end where the noise turns its sign, so that it is one number within a chunk.
std::int32_t NextLength(std::int32_t nFrames, std::uint8_t uPhase) noexcept {
    static_assert(128 % kDynamicsChunk == 0);
    return std::min(nFrames, kDynamicsChunk - uPhase % kDynamicsChunk);
}

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

void DynamicsBand::Process(const DynamicsMode& mode, std::int32_t nFrames, float* left,
                           float* right) noexcept {
    const auto follow = [&](DynamicsChunk& ahead, DynamicsChunk& chunk) {
        DynamicsFollow(m_coefficients, mode.bMeanSquare, mode.fPeakDecay, mode.bSmooth, m_detector, ahead,
                       m_gains, chunk);
    };
    DynamicsChunk* chunk = &m_chunks[0];
    DynamicsChunk* ahead = &m_chunks[1];

    // The detector runs one chunk ahead of the gains. The audio that it hears is still untouched there.
    chunk->nLength = 0;
    ahead->nLength = NextLength(nFrames, m_uNoisePhase);
    DynamicsListen(mode.bMeanSquare, left, right, *ahead);
    follow(*ahead, *chunk);
    while (nFrames > 0) {
        std::swap(chunk, ahead);
        const std::int32_t nLength = chunk->nLength;
        float* const nextLeft = left + nLength;
        float* const nextRight = right ? right + nLength : nullptr;
        nFrames -= nLength;
        ahead->nLength = NextLength(nFrames, static_cast<std::uint8_t>(m_uNoisePhase + nLength));
        DynamicsListen(mode.bMeanSquare, nextLeft, nextRight, *ahead);

        DynamicsLevels(mode.bMeanSquare, *chunk);
        m_levelPeak.Include(chunk->fHighest);
        if (mode.bHistogram) m_histogram.Add(chunk->levels.data(), nLength);
        if (DynamicsTargets(m_coefficients, *chunk) || !IsAtRest(mode.bSmooth)) {
            follow(*ahead, *chunk);
        } else {
            DynamicsChunk nothing;
            follow(*ahead, nothing);
            DynamicsRest(*chunk);
        }
        Output(mode, *chunk, left, right);
        left = nextLeft;
        right = nextRight;
    }
}

void DynamicsBand::Output(const DynamicsMode& mode, const DynamicsChunk& chunk, float* left,
                          float* right) noexcept {
    const float fNoise = m_uNoisePhase < 128 ? kNoise : -kNoise;
    m_delayLeft.Process(left, chunk.nLength);
    if (right) m_delayRight.Process(right, chunk.nLength);
    const DynamicsPair least = DynamicsApply(chunk, mode.fGlobalGain, m_fGain, fNoise, left, right);
    m_minimumComp.Include(least[kComp]);
    m_minimumGate.Include(least[kGate]);
    m_uNoisePhase = static_cast<std::uint8_t>(m_uNoisePhase + chunk.nLength);
}

}  // namespace DSP
