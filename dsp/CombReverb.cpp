#include "dsp/CombReverb.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "dsp/vector/Elementwise.h"
#include "dsp/vector/Repair.h"
#include "dsp/vector/Rounding.h"

namespace DSP {

namespace {

// Lengths without common factors, so that the echoes of two lines seldom meet.
constexpr std::array<int, 8> kCombLengths{1116, 1188, 1277, 1356, 1422, 1491, 1557, 1617};
constexpr std::array<int, 4> kAllpassLengths{556, 441, 341, 225};
constexpr int kStereoSpread = 23;

// The combs add up to about 60 times their input.
constexpr float kInputGain = 0.015f;
constexpr float kMaxDelayMs = 100.0f;
constexpr ReverbTaps kWire{1.0, 0.0, 0.0, 1.0, 0.0, 0.0};

// Single precision, and halves away from zero; a line of length N delays by N - 1.
int DelayLength(std::uint32_t uSampleRate, float fMs) {
    const float fSamples = static_cast<float>(uSampleRate) * fMs / 1000.0f;
    return std::max(RoundHalfAway(double{fSamples}), 1);
}

template <class Visit>
void ForEachLine(std::array<CombChannel, 2>& banks, const Visit& visit) {
    for (std::size_t c = 0; c < banks.size(); ++c) {
        const int nSpread = c == 0 ? 0 : kStereoSpread;
        for (std::size_t i = 0; i < kCombLengths.size(); ++i)
            visit(banks[c].combs[i], kCombLengths[i] + nSpread);
        for (std::size_t i = 0; i < kAllpassLengths.size(); ++i)
            visit(banks[c].allpasses[i], kAllpassLengths[i] + nSpread);
    }
}

// Whether a filter's delays hold what sound can leave there. Beyond that they would never come back: at half
// the rate exactly, rounding can move a pole out of the circle by its last bit.
bool IsSound(IirCascade& filter) noexcept {
    std::array<double, 2> delays{};
    VectorIirGetDelay(filter.State(), delays.data());
    return std::abs(delays[0]) < 0x1p60 && std::abs(delays[1]) < 0x1p60;
}

}  // namespace

CombReverb::CombReverb() {
    std::size_t uTotal = 0;
    ForEachLine(m_banks, [&](auto&, int nLength) { uTotal += static_cast<std::size_t>(nLength); });
    m_rings.resize(uTotal);
    float* ring = m_rings.data();
    ForEachLine(m_banks, [&](auto& line, int nLength) {
        line.ring = ring;
        line.nLength = nLength;
        ring += nLength;
    });
    for (auto& stage : m_filters)
        stage = {IirCascade(kWire.data(), 1), IirCascade(kWire.data(), 1)};
    SetRoomSize(0.8f);
    SetDamping(0.73f);
    SetSampleRate(m_uSampleRate);
}

void CombReverb::SetSampleRate(std::uint32_t uSampleRate) {
    m_uSampleRate = std::max(uSampleRate, 1u);
    DesignFilters();
    for (auto& stage : m_filters) {
        for (IirCascade& filter : stage)
            filter.Reset();
    }
    for (DelayLine& delay : m_delays)
        delay.Reserve(DelayLength(m_uSampleRate, kMaxDelayMs));
    RebuildDelay();
}

void CombReverb::SetDry(float fPercent) {
    m_fDryGain = static_cast<float>(double{fPercent} / 100.0);
}

void CombReverb::SetWet(float fPercent) {
    m_fWetPercent = fPercent;
    ComputeWetGains();
}

void CombReverb::SetWidth(float fWidth) {
    m_fWidth = fWidth;
    ComputeWetGains();
}

void CombReverb::ComputeWetGains() {
    const double fHalf = double{m_fWidth} * 0.5;
    m_fWet1 = static_cast<float>((fHalf + 0.5) * double{m_fWetPercent} / 100.0);
    m_fWet2 = static_cast<float>((0.5 - fHalf) * double{m_fWetPercent} / 100.0);
}

void CombReverb::SetRoomSize(float fSize) {
    m_factors.fFeedback = fSize * 0.28f + 0.7f;
}

void CombReverb::SetDamping(float fDamping) {
    m_factors.fDamp1 = fDamping * 0.4f;
    m_factors.fDamp2 = 1.0f - m_factors.fDamp1;
}

void CombReverb::SetReflectionsDelay(float fMs) {
    m_fDelayMs = fMs;
    RebuildDelay();
}

void CombReverb::RebuildDelay() {
    for (DelayLine& delay : m_delays)
        delay.SetLength(DelayLength(m_uSampleRate, m_fDelayMs));
}

void CombReverb::SetCutoffs(const ReverbCutoffs& cutoffs) {
    m_cutoffs = cutoffs;
    DesignFilters();
}

void CombReverb::DesignFilters() {
    const ReverbTaps low = ReverbLowCutTaps(m_uSampleRate, m_cutoffs.fLowHz, m_cutoffs.fLowQ);
    const ReverbTaps high = ReverbHighCutTaps(m_uSampleRate, m_cutoffs.fHighHz, m_cutoffs.fHighQ);
    for (std::size_t c = 0; c < 2; ++c) {
        m_filters[0][c].SetTaps(low.data());
        m_filters[1][c].SetTaps(high.data());
    }
}

void CombReverb::Reset() noexcept {
    std::fill(m_rings.begin(), m_rings.end(), 0.0f);
    ForEachLine(m_banks, [](auto& line, int) { line.nPosition = 0; });
    for (CombChannel& bank : m_banks) {
        for (CombLine& comb : bank.combs)
            comb.fFiltered = 0.0f;
    }
    for (auto& stage : m_filters) {
        for (IirCascade& filter : stage)
            filter.Reset();
    }
    for (DelayLine& delay : m_delays)
        delay.Reset();
}

void CombReverb::Process(int nFrames, float* left, float* right) {
    for (int nDone = 0; nDone < nFrames; nDone += kPiece)
        ProcessPiece(std::min(kPiece, nFrames - nDone), left + nDone, right ? right + nDone : nullptr);
}

/// At most kPiece frames, which there is room for.
void CombReverb::ProcessPiece(int nFrames, float* left, float* right) {
    float* const wetLeft = m_wet[0].data();
    float* const wetRight = m_wet[1].data();

    VectorCombInput(left, right, kInputGain, m_input.data(), nFrames);
    VectorCombBank(m_factors, m_input.data(), &m_banks[0], wetLeft, right ? &m_banks[1] : nullptr,
                   right ? wetRight : nullptr, nFrames);
    if (right) {
        VectorCombWidth(m_fWet1, m_fWet2, wetLeft, wetRight, nFrames);
        m_delays[1].Process(wetRight, nFrames);
    } else {
        VectorScale(m_fWet1, wetLeft, nFrames);
    }
    m_delays[0].Process(wetLeft, nFrames);
    FilterWet(nFrames, right != nullptr);

    const auto mix = [&](const float* wet, float* samples) {
        if (m_bSoloWet) {
            VectorZero(samples, nFrames);
        } else {
            VectorScale(m_fDryGain, samples, nFrames);
        }
        VectorAdd(wet, samples, nFrames);
    };
    mix(wetLeft, left);
    if (right) mix(wetRight, right);
}

void CombReverb::FilterWet(int nFrames, bool bStereo) noexcept {
    const std::array<IirLink, 2> links{{{m_filters[0][0].State(), m_filters[0][1].State()},
                                        {m_filters[1][0].State(), m_filters[1][1].State()}}};
    float* const left = m_wet[0].data();
    float* const right = bStereo ? m_wet[1].data() : nullptr;
    VectorIirProcessSeries(left, right, left, right, nFrames, links.data(), 2);
    for (auto& stage : m_filters) {
        for (IirCascade& filter : stage) {
            if (!IsSound(filter)) filter.Reset();
        }
    }
}

}  // namespace DSP
