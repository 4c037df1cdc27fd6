#include "dsp/vector/DynamicsKernels.h"

#include <algorithm>
#include <cstddef>

#include "dsp/vector/ElementaryVector.h"
#include "dsp/vector/Elementwise.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/DynamicsKernels.cpp"
#include <hwy/foreach_target.h>
// foreach_target.h comes first: what follows is compiled again for each level.
#include <hwy/highway.h>

#include "dsp/vector/Lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// Nothing this loud is audio; its square would overflow or keep the detector up for minutes.
constexpr float kLoudestSample = 1e6f;

// A detector in silence would end among the subnormal numbers, which many processors work through slowly.
// This, and its square, are far from them, and so far below the lowest level that no bit of the result
// depends on it.
constexpr float kSoftestSample = 1e-12f;

// The lowest level that the laws see: -100 dB.
constexpr float kLowestLevel = 1e-5f;

// ---- many samples at once

template <bool kMeanSquare, bool kStereo>
struct ListenOp {
    const float* left;
    const float* right;
    float* levels;

    template <class D>
    HWY_INLINE hn::Vec<D> Magnitude(D d, const float* samples) const {
        const auto x = hn::Abs(hn::LoadU(d, samples));
        const auto heard = hn::IfThenElseZero(hn::Le(x, hn::Set(d, kLoudestSample)), x);
        return hn::Max(heard, hn::Set(d, kSoftestSample));
    }

    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        auto x = Magnitude(d, left + i);
        if constexpr (kMeanSquare) x = hn::Mul(x, x);
        if constexpr (kStereo) {
            const auto y = Magnitude(d, right + i);
            x = kMeanSquare ? hn::Mul(hn::Add(x, hn::Mul(y, y)), hn::Set(d, 0.5f)) : hn::Max(x, y);
        }
        hn::StoreU(x, d, levels + i);
    }
};

template <bool kMeanSquare, bool kStereo>
void ListenTo(const float* left, const float* right, float* levels, std::size_t uLength) {
    ForEachVector<float>(uLength, ListenOp<kMeanSquare, kStereo>{left, right, levels});
}

void Listen(bool bMeanSquare, const float* left, const float* right, float* levels, std::size_t uLength) {
    const auto listen = bMeanSquare ? (right ? &ListenTo<true, true> : &ListenTo<true, false>)
                                    : (right ? &ListenTo<false, true> : &ListenTo<false, false>);
    listen(left, right, levels, uLength);
}

template <bool kMeanSquare>
struct LevelOp {
    float* levels;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        auto x = hn::LoadU(d, levels + i);
        if constexpr (kMeanSquare) x = hn::Sqrt(x);
        hn::StoreU(hn::Max(x, hn::Set(d, kLowestLevel)), d, levels + i);
    }
};

void Levels(bool bMeanSquare, float* levels, std::size_t uLength) {
    if (bMeanSquare) {
        ForEachVector<float>(uLength, LevelOp<true>{levels});
    } else {
        ForEachVector<float>(uLength, LevelOp<false>{levels});
    }
}

// Base and exponent of the compressor's or, above its threshold, the limiter's gain; 1 to the power of 0
// where neither acts.
struct CompBaseOp {
    const DynamicsCoefficients& coefficients;
    DynamicsChunk& chunk;
    float* powers;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto x = hn::LoadU(d, &chunk.levels[i]);
        const auto limitThreshold = hn::Set(d, coefficients.limit.fThreshold);
        const auto compThreshold = hn::Set(d, coefficients.comp.fThreshold);
        const auto limit = hn::Ge(x, limitThreshold);
        const auto comp = hn::Ge(x, compThreshold);
        const auto threshold = hn::IfThenElse(limit, limitThreshold, hn::IfThenElse(comp, compThreshold, x));
        const auto compPower = hn::IfThenElseZero(comp, hn::Set(d, coefficients.comp.fPower));
        const auto power = hn::IfThenElse(limit, hn::Set(d, coefficients.limit.fPower), compPower);
        hn::StoreU(hn::Div(x, threshold), d, &chunk.compTargets[i]);
        hn::StoreU(power, d, powers + i);
    }
};

struct CompTargetOp {
    const DynamicsCoefficients& coefficients;
    DynamicsChunk& chunk;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto limit = hn::Ge(hn::LoadU(d, &chunk.levels[i]), hn::Set(d, coefficients.limit.fThreshold));
        const auto gain = hn::LoadU(d, &chunk.compTargets[i]);
        const auto joined = hn::Mul(gain, hn::Set(d, coefficients.fJoin));
        hn::StoreU(hn::IfThenElse(limit, joined, gain), d, &chunk.compTargets[i]);
        const auto step = hn::IfThenElse(limit, hn::Set(d, coefficients.fLimitAttackStep),
                                         hn::Set(d, coefficients.fCompAttackStep));
        hn::StoreU(step, d, &chunk.attackSteps[i]);
    }
};

struct GateBaseOp {
    const DynamicsCoefficients& coefficients;
    DynamicsChunk& chunk;
    float* powers;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto x = hn::LoadU(d, &chunk.levels[i]);
        const auto threshold = hn::Set(d, coefficients.gate.fThreshold);
        const auto below = hn::Lt(x, threshold);
        const auto base = hn::Div(x, hn::IfThenElse(below, threshold, x));
        hn::StoreU(hn::Max(base, hn::Set(d, coefficients.fLeastGateBase)), d, &chunk.gateTargets[i]);
        hn::StoreU(hn::IfThenElseZero(below, hn::Set(d, coefficients.gate.fPower)), d, powers + i);
    }
};

void CompBases(const DynamicsCoefficients& coefficients, DynamicsChunk& chunk, float* powers) {
    ForEachVector<float>(static_cast<std::size_t>(chunk.nLength), CompBaseOp{coefficients, chunk, powers});
}

void CompTargets(const DynamicsCoefficients& coefficients, DynamicsChunk& chunk) {
    ForEachVector<float>(static_cast<std::size_t>(chunk.nLength), CompTargetOp{coefficients, chunk});
}

void GateBases(const DynamicsCoefficients& coefficients, DynamicsChunk& chunk, float* powers) {
    ForEachVector<float>(static_cast<std::size_t>(chunk.nLength), GateBaseOp{coefficients, chunk, powers});
}

struct ApplyOp {
    const float* compGains;
    const float* gateGains;
    float fFirst;
    float fSecond;
    float fOffset;
    float* samples;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        auto gain = hn::Mul(hn::LoadU(d, compGains + i), hn::LoadU(d, gateGains + i));
        gain = hn::Mul(hn::Mul(gain, hn::Set(d, fFirst)), hn::Set(d, fSecond));
        const auto y = hn::Add(hn::Mul(gain, hn::LoadU(d, samples + i)), hn::Set(d, fOffset));
        hn::StoreU(y, d, samples + i);
    }
};

void Apply(const float* compGains, const float* gateGains, float fFirst, float fSecond, float fOffset,
           float* samples, std::size_t uLength) {
    ForEachVector<float>(uLength, ApplyOp{compGains, gateGains, fFirst, fSecond, fOffset, samples});
}

// ---- one sample after the other
//
// Vectors of one lane: a choice is then a selection instead of a jump that noise would make unpredictable.

using One = hn::CappedTag<float, 1>;
using Scalar = hn::Vec<One>;

template <bool kMeanSquare>
class Detect {
public:
    Detect(const DynamicsCoefficients& coefficients, float fPeakDecay, const DynamicsDetector& state)
        : m_factor(hn::Set(One(), kMeanSquare ? coefficients.fMeanSquareStep : fPeakDecay)),
          m_state(hn::Set(One(), kMeanSquare ? state.fMeanSquare : state.fPeak)) {}

    HWY_INLINE void Step(float* level) {
        const One d;
        const auto x = hn::LoadU(d, level);
        if constexpr (kMeanSquare) {
            m_state = hn::Add(m_state, hn::Mul(hn::Sub(x, m_state), m_factor));
        } else {
            m_state = hn::IfThenElse(hn::Le(x, m_state), hn::Mul(m_state, m_factor), x);
        }
        hn::StoreU(m_state, d, level);
    }

    void Finish(DynamicsDetector& state) const {
        (kMeanSquare ? state.fMeanSquare : state.fPeak) = hn::GetLane(m_state);
    }

private:
    Scalar m_factor;
    Scalar m_state;
};

template <bool kSmooth>
class Ballistics {
public:
    Ballistics(const DynamicsCoefficients& c, const DynamicsGains& gains)
        : m_gateThreshold(hn::Set(One(), c.gate.fThreshold)),
          m_compReleaseKeep(hn::Set(One(), c.fCompReleaseKeep)),
          m_compReleaseStep(hn::Set(One(), c.fCompReleaseStep)),
          m_gateAttackKeep(hn::Set(One(), c.fGateAttackKeep)),
          m_gateAttackStep(hn::Set(One(), c.fGateAttackStep)),
          m_gateReleaseStep(hn::Set(One(), c.fGateReleaseStep)),
          m_compSmoothing(hn::Set(One(), c.fCompSmoothingStep)),
          m_gateSmoothing(hn::Set(One(), c.fGateSmoothingStep)),
          m_comp(hn::Set(One(), gains.fComp)),
          m_gate(hn::Set(One(), gains.fGate)),
          m_smoothedComp(hn::Set(One(), gains.fSmoothedComp)),
          m_smoothedGate(hn::Set(One(), gains.fSmoothedGate)) {}

    HWY_INLINE void Step(DynamicsChunk& chunk, std::size_t i) {
        const One d;
        // A gate that stands at 1 and opens stays there: 1 c + (1 - c) is 1, and needs no exception.
        const auto closing = hn::Le(hn::LoadU(d, &chunk.levels[i]), m_gateThreshold);
        const auto closed = Towards(m_gate, hn::LoadU(d, &chunk.gateTargets[i]), m_gateReleaseStep);
        const auto opened = hn::Add(hn::Mul(m_gate, m_gateAttackKeep), m_gateAttackStep);
        m_gate = hn::IfThenElse(closing, closed, opened);

        const auto target = hn::LoadU(d, &chunk.compTargets[i]);
        const auto releasing = hn::Le(m_comp, target);
        const auto reduced = Towards(m_comp, target, hn::LoadU(d, &chunk.attackSteps[i]));
        const auto released = hn::Add(hn::Mul(m_comp, m_compReleaseKeep), m_compReleaseStep);
        m_comp = hn::IfThenElse(releasing, released, reduced);

        if constexpr (kSmooth) {
            m_smoothedGate = Towards(m_smoothedGate, m_gate, m_gateSmoothing);
            m_smoothedComp = Towards(m_smoothedComp, m_comp, m_compSmoothing);
        }
        hn::StoreU(kSmooth ? m_smoothedComp : m_comp, d, &chunk.compGains[i]);
        hn::StoreU(kSmooth ? m_smoothedGate : m_gate, d, &chunk.gateGains[i]);
    }

    void Finish(DynamicsGains& gains) const {
        gains.fComp = hn::GetLane(m_comp);
        gains.fGate = hn::GetLane(m_gate);
        gains.fSmoothedComp = hn::GetLane(m_smoothedComp);
        gains.fSmoothedGate = hn::GetLane(m_smoothedGate);
    }

private:
    static HWY_INLINE Scalar Towards(Scalar state, Scalar target, Scalar step) {
        return hn::Add(state, hn::Mul(hn::Sub(target, state), step));
    }

    const Scalar m_gateThreshold, m_compReleaseKeep, m_compReleaseStep, m_gateAttackKeep, m_gateAttackStep,
        m_gateReleaseStep, m_compSmoothing, m_gateSmoothing;
    Scalar m_comp, m_gate, m_smoothedComp, m_smoothedGate;
};

template <bool kMeanSquare, bool kSmooth>
void FollowBoth(const DynamicsCoefficients& coefficients, float fPeakDecay, DynamicsDetector& detectorState,
                DynamicsChunk& ahead, DynamicsGains& gains, DynamicsChunk& chunk) {
    Detect<kMeanSquare> detector(coefficients, fPeakDecay, detectorState);
    Ballistics<kSmooth> ballistics(coefficients, gains);
    const auto uAhead = static_cast<std::size_t>(ahead.nLength);
    const auto uLength = static_cast<std::size_t>(chunk.nLength);
    const std::size_t uCommon = std::min(uAhead, uLength);
    for (std::size_t i = 0; i < uCommon; ++i) {
        detector.Step(&ahead.levels[i]);
        ballistics.Step(chunk, i);
    }
    for (std::size_t i = uCommon; i < uAhead; ++i)
        detector.Step(&ahead.levels[i]);
    for (std::size_t i = uCommon; i < uLength; ++i)
        ballistics.Step(chunk, i);
    detector.Finish(detectorState);
    ballistics.Finish(gains);
}

void Follow(const DynamicsCoefficients& coefficients, bool bMeanSquare, float fPeakDecay, bool bSmooth,
            DynamicsDetector& detector, DynamicsChunk& ahead, DynamicsGains& gains, DynamicsChunk& chunk) {
    const auto follow = bMeanSquare ? (bSmooth ? &FollowBoth<true, true> : &FollowBoth<true, false>)
                                    : (bSmooth ? &FollowBoth<false, true> : &FollowBoth<false, false>);
    follow(coefficients, fPeakDecay, detector, ahead, gains, chunk);
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(Listen);
HWY_EXPORT(Levels);
HWY_EXPORT(CompBases);
HWY_EXPORT(CompTargets);
HWY_EXPORT(GateBases);
HWY_EXPORT(Apply);
HWY_EXPORT(Follow);

namespace {

std::size_t Size(std::int32_t nLength) {
    return static_cast<std::size_t>(nLength);
}

}  // namespace

void DynamicsListen(bool bMeanSquare, const float* left, const float* right, DynamicsChunk& chunk) noexcept {
    HWY_DYNAMIC_DISPATCH(Listen)(bMeanSquare, left, right, chunk.levels.data(), Size(chunk.nLength));
}

void DynamicsFollow(const DynamicsCoefficients& coefficients, bool bMeanSquare, float fPeakDecay,
                    bool bSmooth, DynamicsDetector& detector, DynamicsChunk& ahead, DynamicsGains& gains,
                    DynamicsChunk& chunk) noexcept {
    HWY_DYNAMIC_DISPATCH(Follow)
    (coefficients, bMeanSquare, fPeakDecay, bSmooth, detector, ahead, gains, chunk);
}

void DynamicsLevels(bool bMeanSquare, DynamicsChunk& chunk) noexcept {
    HWY_DYNAMIC_DISPATCH(Levels)(bMeanSquare, chunk.levels.data(), Size(chunk.nLength));
    VectorMin(chunk.levels.data(), chunk.nLength, &chunk.fLowest);
    VectorMax(chunk.levels.data(), chunk.nLength, &chunk.fHighest);
}

bool DynamicsTargets(const DynamicsCoefficients& coefficients, DynamicsChunk& chunk) noexcept {
    const DynamicsLaw& comp = coefficients.comp;
    const DynamicsLaw& limit = coefficients.limit;
    const DynamicsLaw& gate = coefficients.gate;
    const bool bLimits = limit.fPower != 0.0f || coefficients.fJoin != 1.0f;
    const bool bComp = (comp.fPower != 0.0f && chunk.fHighest >= comp.fThreshold) ||
                       (bLimits && chunk.fHighest >= limit.fThreshold);
    const bool bGate = gate.fPower != 0.0f && chunk.fLowest < gate.fThreshold;
    const std::int32_t nLength = chunk.nLength;
    DynamicsBuffer powers;
    if (bComp) {
        HWY_DYNAMIC_DISPATCH(CompBases)(coefficients, chunk, powers.data());
        VectorPow(chunk.compTargets.data(), powers.data(), chunk.compTargets.data(), nLength);
        HWY_DYNAMIC_DISPATCH(CompTargets)(coefficients, chunk);
    } else {
        VectorFill(1.0f, chunk.compTargets.data(), nLength);
        VectorFill(coefficients.fCompAttackStep, chunk.attackSteps.data(), nLength);
    }
    if (bGate) {
        HWY_DYNAMIC_DISPATCH(GateBases)(coefficients, chunk, powers.data());
        VectorPow(chunk.gateTargets.data(), powers.data(), chunk.gateTargets.data(), nLength);
    } else {
        VectorFill(1.0f, chunk.gateTargets.data(), nLength);
    }
    return bComp || bGate;
}

void DynamicsApply(const DynamicsChunk& chunk, float fFirst, float fSecond, float fOffset,
                   float* samples) noexcept {
    HWY_DYNAMIC_DISPATCH(Apply)
    (chunk.compGains.data(), chunk.gateGains.data(), fFirst, fSecond, fOffset, samples, Size(chunk.nLength));
}

}  // namespace DSP
#endif  // HWY_ONCE
