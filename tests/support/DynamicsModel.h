#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <deque>
#include <utility>

#include "dsp/vector/Elementary.h"

namespace Test {

/// One band of dynamics, sample by sample in the order of its definition: the slow, obvious model of
/// DSP::DynamicsBand. Its samples have the same bits wherever the detector's input is above 1e-24.
class DynamicsModel {
public:
    struct Stage {
        float fThresholdDb, fRatio, fAttackMs, fReleaseMs;
    };

    DynamicsModel(double fRate, float fGainDb, const Stage& comp, const Stage& limit, const Stage& gate)
        : m_comp(fRate, comp, 1.0f / comp.fRatio),
          m_limit(fRate, limit, 1.0f / limit.fRatio),
          m_gate(fRate, gate, gate.fRatio),
          m_fGain(Linear(fGainDb)),
          m_fPeakDecay(static_cast<float>(DSP::Pow(0.03, 1.0 / (fRate * 0.05)))) {
        const float fCompTime = std::min(comp.fAttackMs, comp.fReleaseMs);
        m_fSmoothing = 1.0f - Keep(fRate, fCompTime * 0.5f);
        m_fMeanSquareStep = 1.0f - Keep(fRate, fCompTime * 0.125f);
        m_fGateSmoothing = 1.0f - Keep(fRate, std::min(gate.fAttackMs, gate.fReleaseMs) * 0.5f);
        m_fJoin = m_comp.fExponent == 1.0f
                      ? 1.0f
                      : DSP::Pow(m_limit.fThreshold / m_comp.fThreshold, m_comp.fExponent - 1.0f);
        const auto uLine = std::max(static_cast<std::size_t>(std::round(fRate / 1000.0)), std::size_t{1});
        m_line.assign(uLine - 1, {0.0f, 0.0f});
    }

    static float Linear(float fDb) { return static_cast<float>(DSP::Exp(fDb * 0.115129255)); }

    bool bMeanSquare = true;
    bool bSmooth = true;
    float fGlobalGain = 1.0f;

    // What the last sample was found to have.
    float fLevel = 0.0f;
    float fUsedComp = 1.0f;
    float fUsedGate = 1.0f;

    /// One pair of samples; in mono the right one is neither read nor written.
    void Process(float& left, float& right, bool bMono) {
        fLevel = Detect(left, right, bMono);
        MoveGate();
        MoveComp();
        fUsedGate = m_fGateGain;
        fUsedComp = m_fCompGain;
        if (bSmooth) {
            fUsedGate = m_fSmoothGate += (m_fGateGain - m_fSmoothGate) * m_fGateSmoothing;
            fUsedComp = m_fSmoothComp += (m_fCompGain - m_fSmoothComp) * m_fSmoothing;
        }
        m_line.push_back({left, bMono ? 0.0f : right});
        const auto [fLeft, fRight] = m_line.front();
        m_line.pop_front();
        const float fTotal = fUsedComp * fUsedGate * fGlobalGain * m_fGain;
        const float fNoise = (m_uCounter++ & 0x80u) == 0 ? 1e-10f : -1e-10f;
        left = fTotal * fLeft + fNoise;
        if (!bMono) right = fTotal * fRight + 2.0f * fNoise;
    }

private:
    struct Law {
        Law(double fRate, const Stage& stage, float fE)
            : fThreshold(Linear(stage.fThresholdDb)),
              fExponent(fE),
              fAttack(Keep(fRate, stage.fAttackMs)),
              fRelease(Keep(fRate, stage.fReleaseMs)) {}
        float Gain(float x) const { return DSP::Pow(x / fThreshold, fExponent - 1.0f); }
        float fThreshold, fExponent, fAttack, fRelease;
    };

    static float Keep(double fRate, double fMs) {
        return fMs > 0.0 ? static_cast<float>(DSP::Exp(-1000.0 / fMs / (fRate * 0.5))) : 0.0f;
    }

    float Detect(float left, float right, bool bMono) {
        float x;
        if (bMeanSquare) {
            const float s = bMono ? left * left : (left * left + right * right) * 0.5f;
            m_fMeanSquare += (s - m_fMeanSquare) * m_fMeanSquareStep;
            x = std::sqrt(m_fMeanSquare);
        } else {
            float p = bMono ? std::abs(left) : std::max(std::abs(left), std::abs(right));
            if (p <= m_fPeak) p = m_fPeak * m_fPeakDecay;
            m_fPeak = p;
            x = p;
        }
        return std::max(x, 1e-5f);
    }

    void MoveGate() {
        const float x = fLevel;
        const bool bActs = x < m_gate.fThreshold && m_gate.fExponent != 1.0f && x >= 1e-8f;
        const float fTarget = bActs ? m_gate.Gain(x) : 1.0f;
        if (x <= m_gate.fThreshold) {
            m_fGateGain += (fTarget - m_fGateGain) * (1.0f - m_gate.fRelease);
        } else if (m_fGateGain != 1.0f) {
            m_fGateGain = m_fGateGain * m_gate.fAttack + (1.0f - m_gate.fAttack);
        }
    }

    void MoveComp() {
        const float x = fLevel;
        const bool bLimits = x >= m_limit.fThreshold;
        float fTarget = x >= m_comp.fThreshold && m_comp.fExponent != 1.0f ? m_comp.Gain(x) : 1.0f;
        if (bLimits) fTarget = (m_limit.fExponent != 1.0f ? m_limit.Gain(x) : 1.0f) * m_fJoin;
        if (m_fCompGain <= fTarget) {
            m_fCompGain = m_fCompGain * m_comp.fRelease + (1.0f - m_comp.fRelease);
        } else {
            m_fCompGain += (fTarget - m_fCompGain) * (1.0f - (bLimits ? m_limit.fAttack : m_comp.fAttack));
        }
    }

    Law m_comp, m_limit, m_gate;
    float m_fGain, m_fPeakDecay;
    float m_fSmoothing = 0, m_fMeanSquareStep = 0, m_fGateSmoothing = 0, m_fJoin = 1;
    float m_fMeanSquare = 0, m_fPeak = 0;
    float m_fCompGain = 1, m_fGateGain = 1, m_fSmoothComp = 1, m_fSmoothGate = 1;
    std::deque<std::pair<float, float>> m_line;
    std::uint8_t m_uCounter = 0;
};

}  // namespace Test
