// What the displays of the equalizer draw.

#include <mutex>
#include <numbers>

#include "dsp/Parametric.h"
#include "dsp/vector/Decibel.h"

namespace DSP::Equalizer {

namespace {

// The response of taps as a display sees it: on a grid twice as fine as their design.
void TapsResponse(const std::vector<float>& taps, std::uint32_t uSampleRate, const ResponseCurve& frequencies,
                  ResponseCurve& decibels) {
    const int nTaps = static_cast<int>(taps.size());
    FirResponse(taps.data(), nTaps, 2 * nTaps, double(uSampleRate), frequencies, decibels);
}

// The series of the live nodes' biquads.
void CascadeResponse(std::span<const FilterNode> nodes, std::uint32_t uSampleRate,
                     const ResponseCurve& frequencies, ResponseCurve& decibels) {
    std::array<double, kResponsePoints> magnitudes;
    magnitudes.fill(1.0);
    for (const FilterNode& node : nodes) {
        if (!node.IsLive()) continue;
        const BiquadTaps taps = DesignBiquad(node, uSampleRate);
        for (std::size_t i = 0; i < kResponsePoints; ++i) {
            const double fOmega = 2.0 * std::numbers::pi * double{frequencies[i]} / double(uSampleRate);
            magnitudes[i] *= BiquadMagnitude(taps, fOmega);
        }
    }
    for (std::size_t i = 0; i < kResponsePoints; ++i)
        decibels[i] = static_cast<float>(LinearToDb(magnitudes[i]));
}

}  // namespace

void Parametric::NodeResponse(std::uint32_t iNode, ResponseCurve& decibels) {
    const Plan plan = MakePlan();
    const FilterNode& node = plan.nodes[iNode];
    if (plan.type == Type::Analog) {
        return CascadeResponse({&node, 1}, plan.uSampleRate, m_frequencies, decibels);
    }
    const CurveNode curve = node.IsLive() ? CurveNode::From(node) : CurveNode::Neutral();
    CurveFir::Work work;
    m_curveFir.Design(work, plan.iFftSize, {&curve, 1}, plan.uSampleRate);
    TapsResponse(work.taps, plan.uSampleRate, m_frequencies, decibels);
}

void Parametric::TotalResponse(ResponseCurve& decibels) {
    // Copied, since the impulse gets other taps once it is no longer in force; room for them is taken before
    // the lock, which the audio waits for.
    std::vector<float> taps;
    taps.reserve(static_cast<std::size_t>(CurveFir::kLengths.back()));
    {
        const std::lock_guard lock(m_lock);
        if (m_bFir) {
            const PartConvImpulse& impulse = *m_convolver->Current();
            taps.assign(impulse.Taps(0), impulse.Taps(0) + impulse.Length());
        }
    }
    if (!taps.empty()) {
        TapsResponse(taps, m_uSampleRate, m_frequencies, decibels);
    } else {
        const Plan plan = MakePlan();
        CascadeResponse(plan.nodes, plan.uSampleRate, m_frequencies, decibels);
    }
}

void Parametric::MatchingResponse(ResponseCurve& decibels) {
    std::vector<float> curve;
    curve.reserve(static_cast<std::size_t>(CurveFir::kLengths.back()) / 2 + 1);
    const Plan plan = MakePlan();
    {
        const std::lock_guard lock(m_lock);
        curve = m_curve;
    }
    const std::size_t uTaps = 2 * (curve.size() - 1);
    std::uint32_t iLength = 0;
    while (static_cast<std::size_t>(CurveFir::kLengths[iLength]) != uTaps)
        ++iLength;
    CurveFir::Work work;
    m_curveFir.Design(work, iLength, {}, plan.uSampleRate, curve, plan.fAmount);
    TapsResponse(work.taps, plan.uSampleRate, m_frequencies, decibels);
}

}  // namespace DSP::Equalizer
