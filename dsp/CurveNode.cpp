#include "dsp/CurveNode.h"

#include <cmath>
#include <numbers>

#include "dsp/vector/Decibel.h"
#include "dsp/vector/Elementary.h"

namespace DSP::Equalizer {

namespace {

constexpr float kPi = std::numbers::pi_v<float>;
constexpr float kLogOfZero = -10.0f;  // what bin 0 counts as
constexpr float kMinBellBins = 20.0f;

void AddBell(const CurveNode& node, const CurveAxis& axis, float* c) {
    const float fLog = GuardedLog(node.fFrequency);
    float fLow = Exp(fLog - 1.0f / node.fQ);
    float fHigh = Exp(fLog + 1.0f / node.fQ);
    if (fHigh - fLow < kMinBellBins * axis.fBinHz) {
        const float fRatio = (kMinBellBins / 2.0f * axis.fBinHz) / node.fFrequency + 1.0f;
        fLow = node.fFrequency / fRatio;
        fHigh = node.fFrequency * fRatio;
        // The lower end is above 0 by its making; only the upper one can leave the axis.
        if (fHigh > axis.fNyquist) {
            fLow -= fHigh - axis.fNyquist;
            fHigh = axis.fNyquist;
        }
    }
    const float A = GuardedLog(fLow);
    const float B = GuardedLog(fHigh);
    const float fHalf = node.fGainDb * 0.5f;
    for (std::size_t k = 0; k < axis.logs.size(); ++k) {
        const float L = axis.logs[k];
        if (L > A && L < B) c[k] += (1.0f - Cos(2.0f * kPi * (L - A) / (B - A))) * fHalf;
    }
}

// Half the width of a pass or a shelf, in nepers.
float HalfWidth(float fQ) {
    return 1.0f / fQ / std::sqrt(fQ);
}

void AddPass(const CurveNode& node, const CurveAxis& axis, float* c) {
    const float fWidth = HalfWidth(node.fQ);
    const float B = GuardedLog(node.fFrequency);
    const float A = node.kind == CurveNode::Kind::LowPass ? B - fWidth : B + fWidth;
    // So that the cosine reaches -3 dB at its eighth.
    const float fDepth = 6.0f / (2.0f - std::numbers::sqrt2_v<float>);
    const float fSlope = fDepth / std::numbers::sqrt2_v<float>;
    for (std::size_t k = 0; k < axis.logs.size(); ++k) {
        const float x = (axis.logs[k] - A) / (B - A);
        if (x >= 1.0f) {
            c[k] -= fSlope * (x - 1.0f) + 3.0f;
        } else if (x > 0.0f) {
            c[k] += fDepth * (Cos(x * kPi / 4.0f) - 1.0f);
        }
    }
}

void AddShelf(const CurveNode& node, const CurveAxis& axis, float* c) {
    const float fWidth = node.kind == CurveNode::Kind::LowShelf ? HalfWidth(node.fQ) : -HalfWidth(node.fQ);
    const float fLog = GuardedLog(node.fFrequency);
    const float A = fLog - fWidth;
    const float B = fLog + fWidth;
    const float fHalf = node.fGainDb * 0.5f;
    for (std::size_t k = 0; k < axis.logs.size(); ++k) {
        const float x = (axis.logs[k] - A) / (B - A);
        if (x < 0.0f) {
            c[k] += node.fGainDb;
        } else if (x < 1.0f) {
            c[k] += (Cos(x * kPi) + 1.0f) * fHalf;
        }
    }
}

}  // namespace

CurveNode CurveNode::From(const FilterNode& node) noexcept {
    switch (node.shape) {
        case Shape::LowShelf:
            return {node.fFrequency, node.fGainDb * 2.0f, node.fQ, Kind::LowShelf};
        case Shape::HighShelf:
            return {node.fFrequency, node.fGainDb * 2.0f, node.fQ, Kind::HighShelf};
        case Shape::LowPass:
            return {node.fFrequency, node.fGainDb, node.fQ, Kind::LowPass};
        case Shape::HighPass:
            return {node.fFrequency, node.fGainDb, node.fQ, Kind::HighPass};
        case Shape::Bell:
            break;
    }
    return {node.fFrequency, node.fGainDb, node.fQ, Kind::Bell};
}

void CurveAxis::Set(int nLength, std::uint32_t uSampleRate) {
    const std::size_t uBins = static_cast<std::size_t>(nLength) / 2 + 1;
    if (logs.size() == uBins && m_uSampleRate == uSampleRate) return;
    m_uSampleRate = uSampleRate;
    const auto fRate = static_cast<float>(uSampleRate);
    const auto fLength = static_cast<float>(nLength);
    fBinHz = fRate / fLength;
    fNyquist = fRate * 0.5f;
    logs.resize(uBins);
    logs[0] = kLogOfZero;
    for (std::size_t k = 1; k < uBins; ++k) {
        logs[k] = GuardedLog(static_cast<float>(k) * fRate / fLength);
    }
}

void DrawCurve(std::span<const CurveNode> nodes, const CurveAxis& axis, float* magnitudes) {
    const std::size_t uBins = axis.logs.size();
    for (std::size_t k = 0; k < uBins; ++k)
        magnitudes[k] = 0.0f;
    for (const CurveNode& node : nodes) {
        switch (node.kind) {
            case CurveNode::Kind::Bell:
                AddBell(node, axis, magnitudes);
                break;
            case CurveNode::Kind::LowPass:
            case CurveNode::Kind::HighPass:
                AddPass(node, axis, magnitudes);
                break;
            case CurveNode::Kind::LowShelf:
            case CurveNode::Kind::HighShelf:
                AddShelf(node, axis, magnitudes);
                break;
        }
    }
    for (std::size_t k = 0; k < uBins; ++k)
        magnitudes[k] = DbToLinear(magnitudes[k]);
}

}  // namespace DSP::Equalizer
