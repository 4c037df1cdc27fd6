#include "dsp/vector/DynamicsKernels.h"

#include <algorithm>
#include <cstddef>
#include <limits>

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

// Levels and gains are positive: the order in which an extreme is looked for does not show in it.
using Full = hn::ScalableTag<float>;
using One = hn::CappedTag<float, 1>;

template <class D>
struct Extremes {
    hn::Vec<D> least, greatest;

    HWY_INLINE void Include(hn::Vec<D> x) {
        least = hn::Min(least, x);
        greatest = hn::Max(greatest, x);
    }
};

template <bool kMeanSquare, class D>
HWY_INLINE hn::Vec<D> MakeLevel(D d, float* levels) {
    auto x = hn::LoadU(d, levels);
    if constexpr (kMeanSquare) x = hn::Sqrt(x);
    x = hn::Max(x, hn::Set(d, kLowestLevel));
    hn::StoreU(x, d, levels);
    return x;
}

template <bool kMeanSquare>
void MakeLevels(DynamicsChunk& chunk) {
    const Full d;
    const One one;
    const auto uLength = static_cast<std::size_t>(chunk.nLength);
    float* const levels = chunk.levels.data();
    Extremes<Full> wide{hn::Set(d, std::numeric_limits<float>::max()), hn::Zero(d)};
    std::size_t i = 0;
    for (; i + hn::Lanes(d) <= uLength; i += hn::Lanes(d))
        wide.Include(MakeLevel<kMeanSquare>(d, levels + i));
    Extremes<One> all{hn::Set(one, hn::GetLane(hn::MinOfLanes(d, wide.least))),
                      hn::Set(one, hn::GetLane(hn::MaxOfLanes(d, wide.greatest)))};
    for (; i < uLength; ++i)
        all.Include(MakeLevel<kMeanSquare>(one, levels + i));
    chunk.fLowest = hn::GetLane(all.least);
    chunk.fHighest = hn::GetLane(all.greatest);
}

void Levels(bool bMeanSquare, DynamicsChunk& chunk) {
    bMeanSquare ? MakeLevels<true>(chunk) : MakeLevels<false>(chunk);
}

// Base and exponent of the compressor's or, above its threshold, the limiter's gain; 1 to the power of 0
// where neither acts.
struct CompBaseOp {
    const DynamicsCoefficients& coefficients;
    const float* levels;
    float* bases;
    float* powers;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto x = hn::LoadU(d, levels + i);
        const auto limitThreshold = hn::Set(d, coefficients.limit.fThreshold);
        const auto compThreshold = hn::Set(d, coefficients.comp.fThreshold);
        const auto limit = hn::Ge(x, limitThreshold);
        const auto comp = hn::Ge(x, compThreshold);
        const auto threshold = hn::IfThenElse(limit, limitThreshold, hn::IfThenElse(comp, compThreshold, x));
        const auto compPower = hn::IfThenElseZero(comp, hn::Set(d, coefficients.comp.fPower));
        const auto power = hn::IfThenElse(limit, hn::Set(d, coefficients.limit.fPower), compPower);
        hn::StoreU(hn::Div(x, threshold), d, bases + i);
        hn::StoreU(power, d, powers + i);
    }
};

struct GateBaseOp {
    const DynamicsCoefficients& coefficients;
    const float* levels;
    float* bases;
    float* powers;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto x = hn::LoadU(d, levels + i);
        const auto threshold = hn::Set(d, coefficients.gate.fThreshold);
        const auto below = hn::Lt(x, threshold);
        const auto base = hn::Div(x, hn::IfThenElse(below, threshold, x));
        hn::StoreU(hn::Max(base, hn::Set(d, coefficients.fLeastGateBase)), d, bases + i);
        hn::StoreU(hn::IfThenElseZero(below, hn::Set(d, coefficients.gate.fPower)), d, powers + i);
    }
};

// The laws' gains, which are null where no law acts, to targets, bounds and steps.
template <bool kComp, bool kGate>
struct TargetOp {
    const DynamicsCoefficients& coefficients;
    const float* comps;
    const float* gates;
    DynamicsChunk& chunk;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto x = hn::LoadU(d, &chunk.levels[i]);
        const auto one = hn::Set(d, 1.0f);
        const auto limit = hn::Ge(x, hn::Set(d, coefficients.limit.fThreshold));
        auto comp = one;
        if constexpr (kComp) {
            comp = hn::LoadU(d, comps + i);
            comp = hn::IfThenElse(limit, hn::Mul(comp, hn::Set(d, coefficients.fJoin)), comp);
        }
        auto gate = one;
        if constexpr (kGate) gate = hn::LoadU(d, gates + i);
        hn::StoreInterleaved2(comp, gate, d, &chunk.gains[2 * i]);

        // The compressor goes towards its target from above; the gate while it closes, wherever it is.
        const auto infinity = hn::Set(d, std::numeric_limits<float>::infinity());
        const auto closing = hn::Le(x, hn::Set(d, coefficients.gate.fThreshold));
        const auto gateBound = hn::IfThenElse(closing, hn::Neg(infinity), infinity);
        hn::StoreInterleaved2(comp, gateBound, d, &chunk.bounds[2 * i]);

        const auto compStep = hn::IfThenElse(limit, hn::Set(d, coefficients.fLimitAttackStep),
                                             hn::Set(d, coefficients.fCompAttackStep));
        hn::StoreInterleaved2(compStep, hn::Set(d, coefficients.fGateReleaseStep), d, &chunk.steps[2 * i]);
    }
};

void CompBases(const DynamicsCoefficients& coefficients, const DynamicsChunk& chunk, float* bases,
               float* powers) {
    ForEachVector<float>(static_cast<std::size_t>(chunk.nLength),
                         CompBaseOp{coefficients, chunk.levels.data(), bases, powers});
}

void GateBases(const DynamicsCoefficients& coefficients, const DynamicsChunk& chunk, float* bases,
               float* powers) {
    ForEachVector<float>(static_cast<std::size_t>(chunk.nLength),
                         GateBaseOp{coefficients, chunk.levels.data(), bases, powers});
}

void Targets(const DynamicsCoefficients& coefficients, const float* comps, const float* gates,
             DynamicsChunk& chunk) {
    const auto uLength = static_cast<std::size_t>(chunk.nLength);
    if (comps && gates) {
        ForEachVector<float>(uLength, TargetOp<true, true>{coefficients, comps, gates, chunk});
    } else if (comps) {
        ForEachVector<float>(uLength, TargetOp<true, false>{coefficients, comps, gates, chunk});
    } else if (gates) {
        ForEachVector<float>(uLength, TargetOp<false, true>{coefficients, comps, gates, chunk});
    } else {
        ForEachVector<float>(uLength, TargetOp<false, false>{coefficients, comps, gates, chunk});
    }
}

template <bool kStereo>
struct Applying {
    const float* gains;
    float fFirst, fSecond, fOffset;
    float* left;
    float* right;

    template <class D>
    HWY_INLINE void Run(D d, std::size_t i, hn::Vec<D>& leastComp, hn::Vec<D>& leastGate) const {
        hn::Vec<D> comp, gate;
        hn::LoadInterleaved2(d, gains + 2 * i, comp, gate);
        leastComp = hn::Min(leastComp, comp);
        leastGate = hn::Min(leastGate, gate);
        const auto gain = hn::Mul(hn::Mul(hn::Mul(comp, gate), hn::Set(d, fFirst)), hn::Set(d, fSecond));
        Scale(d, gain, fOffset, left + i);
        if constexpr (kStereo) Scale(d, gain, 2.0f * fOffset, right + i);
    }

private:
    template <class D>
    static HWY_INLINE void Scale(D d, hn::Vec<D> gain, float fSampleOffset, float* samples) {
        hn::StoreU(hn::Add(hn::Mul(gain, hn::LoadU(d, samples)), hn::Set(d, fSampleOffset)), d, samples);
    }
};

template <bool kStereo>
DynamicsPair ApplyGains(const Applying<kStereo>& applying, std::size_t uLength) {
    const Full d;
    const One one;
    auto wideComp = hn::Set(d, 1.0f);
    auto wideGate = wideComp;
    std::size_t i = 0;
    for (; i + hn::Lanes(d) <= uLength; i += hn::Lanes(d))
        applying.Run(d, i, wideComp, wideGate);
    auto comp = hn::Set(one, hn::GetLane(hn::MinOfLanes(d, wideComp)));
    auto gate = hn::Set(one, hn::GetLane(hn::MinOfLanes(d, wideGate)));
    for (; i < uLength; ++i)
        applying.Run(one, i, comp, gate);
    return {hn::GetLane(comp), hn::GetLane(gate)};
}

void Apply(const float* gains, std::size_t uLength, float fFirst, float fSecond, float fOffset, float* left,
           float* right, DynamicsPair& least) {
    least = right ? ApplyGains(Applying<true>{gains, fFirst, fSecond, fOffset, left, right}, uLength)
                  : ApplyGains(Applying<false>{gains, fFirst, fSecond, fOffset, left, right}, uLength);
}

// ---- one sample after the other
//
// Vectors of one lane, or of one for each gain: a choice is then a selection instead of a jump that noise
// would make unpredictable.

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

// A gain above its bound moves along g + (target - g) step, otherwise along rest + g keep. Each is the sum of
// a number and a product. Choosing those, and not between the two sums, puts the choice beside the chain from
// sample to sample instead of at its end. A gate that stands at 1 and opens stays there: (1 - c) + 1 c is 1,
// and needs no exception.

#if HWY_TARGET == HWY_SCALAR

template <bool kSmooth>
class Ballistics {
public:
    Ballistics(const DynamicsCoefficients& coefficients, const DynamicsGains& state)
        : m_coefficients(coefficients), m_state(state) {}

    void Step(DynamicsChunk& chunk, std::size_t i) {
        for (std::size_t j = 0; j < 2; ++j) {
            float& fGain = m_state.gains[j];
            const float fTowards = (chunk.gains[2 * i + j] - fGain) * chunk.steps[2 * i + j];
            const float fRising = fGain * m_coefficients.riseKeeps[j];
            fGain =
                chunk.bounds[2 * i + j] < fGain ? fGain + fTowards : m_coefficients.riseSteps[j] + fRising;
            float& fSmoothed = m_state.smoothed[j];
            if constexpr (kSmooth) fSmoothed += (fGain - fSmoothed) * m_coefficients.smoothingSteps[j];
            chunk.gains[2 * i + j] = kSmooth ? fSmoothed : fGain;
        }
    }

    void Finish(DynamicsGains& state) const { state = m_state; }

private:
    const DynamicsCoefficients& m_coefficients;
    DynamicsGains m_state;
};

#else

template <bool kSmooth>
class Ballistics {
public:
    Ballistics(const DynamicsCoefficients& coefficients, const DynamicsGains& state)
        : m_riseKeeps(Load(coefficients.riseKeeps)),
          m_riseSteps(Load(coefficients.riseSteps)),
          m_smoothingSteps(Load(coefficients.smoothingSteps)),
          m_gains(Load(state.gains)),
          m_smoothed(Load(state.smoothed)) {}

    HWY_INLINE void Step(DynamicsChunk& chunk, std::size_t i) {
        const Two d;
        const auto above = hn::Lt(hn::LoadU(d, &chunk.bounds[2 * i]), m_gains);
        const auto move = hn::Sub(hn::LoadU(d, &chunk.gains[2 * i]), m_gains);
        const auto towards = hn::Mul(move, hn::LoadU(d, &chunk.steps[2 * i]));
        const auto product = hn::IfThenElse(above, towards, hn::Mul(m_gains, m_riseKeeps));
        m_gains = hn::Add(hn::IfThenElse(above, m_gains, m_riseSteps), product);
        if constexpr (kSmooth) {
            m_smoothed = hn::Add(m_smoothed, hn::Mul(hn::Sub(m_gains, m_smoothed), m_smoothingSteps));
        }
        hn::StoreU(kSmooth ? m_smoothed : m_gains, d, &chunk.gains[2 * i]);
    }

    void Finish(DynamicsGains& state) const {
        hn::StoreU(m_gains, Two(), state.gains.data());
        hn::StoreU(m_smoothed, Two(), state.smoothed.data());
    }

private:
    using Two = hn::CappedTag<float, 2>;
    using Pair = hn::Vec<Two>;

    static Pair Load(const DynamicsPair& from) { return hn::LoadU(Two(), from.data()); }

    const Pair m_riseKeeps, m_riseSteps, m_smoothingSteps;
    Pair m_gains, m_smoothed;
};

#endif  // HWY_TARGET

// One band's detector and gains on their way through a stretch. Several of them take each sample in turn:
// none waits for another, so that together they take little longer than one.
template <bool kMeanSquare, bool kSmooth, int kBands>
class Band {
public:
    HWY_INLINE Band(float fPeakDecay, const DynamicsTrack* track)
        : m_track(*track),
          m_detector(*track->coefficients, fPeakDecay, *track->detector),
          m_ballistics(*track->coefficients, *track->gains),
          m_rest(fPeakDecay, track + 1) {}

    HWY_INLINE void Listen(std::size_t i) {
        m_detector.Step(&m_track.ahead->levels[i]);
        m_rest.Listen(i);
    }
    HWY_INLINE void Move(std::size_t i) {
        m_ballistics.Step(*m_track.chunk, i);
        m_rest.Move(i);
    }
    HWY_INLINE void Finish() const {
        m_detector.Finish(*m_track.detector);
        m_ballistics.Finish(*m_track.gains);
        m_rest.Finish();
    }

private:
    const DynamicsTrack m_track;
    Detect<kMeanSquare> m_detector;
    Ballistics<kSmooth> m_ballistics;
    Band<kMeanSquare, kSmooth, kBands - 1> m_rest;
};

template <bool kMeanSquare, bool kSmooth>
class Band<kMeanSquare, kSmooth, 0> {
public:
    Band(float, const DynamicsTrack*) {}
    void Listen(std::size_t) {}
    void Move(std::size_t) {}
    void Finish() const {}
};

template <bool kMeanSquare, bool kSmooth, int kBands>
void FollowBands(float fPeakDecay, const DynamicsTrack* tracks, std::size_t uAhead, std::size_t uLength) {
    Band<kMeanSquare, kSmooth, kBands> bands(fPeakDecay, tracks);
    const std::size_t uCommon = std::min(uAhead, uLength);
    for (std::size_t i = 0; i < uCommon; ++i) {
        bands.Listen(i);
        bands.Move(i);
    }
    for (std::size_t i = uCommon; i < uAhead; ++i)
        bands.Listen(i);
    for (std::size_t i = uCommon; i < uLength; ++i)
        bands.Move(i);
    bands.Finish();
}

template <bool kMeanSquare, bool kSmooth>
void FollowTracks(float fPeakDecay, const DynamicsTrack* tracks, int nTracks, std::size_t uAhead,
                  std::size_t uLength) {
    for (; nTracks >= 4; nTracks -= 4, tracks += 4)
        FollowBands<kMeanSquare, kSmooth, 4>(fPeakDecay, tracks, uAhead, uLength);
    for (; nTracks >= 2; nTracks -= 2, tracks += 2)
        FollowBands<kMeanSquare, kSmooth, 2>(fPeakDecay, tracks, uAhead, uLength);
    if (nTracks == 1) FollowBands<kMeanSquare, kSmooth, 1>(fPeakDecay, tracks, uAhead, uLength);
}

void Follow(bool bMeanSquare, bool bSmooth, float fPeakDecay, const DynamicsTrack* tracks, int nTracks,
            std::size_t uAhead, std::size_t uLength) {
    const auto follow = bMeanSquare ? (bSmooth ? &FollowTracks<true, true> : &FollowTracks<true, false>)
                                    : (bSmooth ? &FollowTracks<false, true> : &FollowTracks<false, false>);
    follow(fPeakDecay, tracks, nTracks, uAhead, uLength);
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
HWY_EXPORT(GateBases);
HWY_EXPORT(Targets);
HWY_EXPORT(Apply);
HWY_EXPORT(Follow);

void DynamicsListen(bool bMeanSquare, const float* left, const float* right, DynamicsChunk& chunk) noexcept {
    const auto uLength = static_cast<std::size_t>(chunk.nLength);
    HWY_DYNAMIC_DISPATCH(Listen)(bMeanSquare, left, right, chunk.levels.data(), uLength);
}

void DynamicsFollow(bool bMeanSquare, bool bSmooth, float fPeakDecay, const DynamicsTrack* tracks,
                    int nTracks, std::int32_t nAhead, std::int32_t nLength) noexcept {
    HWY_DYNAMIC_DISPATCH(Follow)
    (bMeanSquare, bSmooth, fPeakDecay, tracks, nTracks, static_cast<std::size_t>(nAhead),
     static_cast<std::size_t>(nLength));
}

void DynamicsLevels(bool bMeanSquare, DynamicsChunk& chunk) noexcept {
    HWY_DYNAMIC_DISPATCH(Levels)(bMeanSquare, chunk);
}

bool DynamicsTargets(const DynamicsCoefficients& coefficients, DynamicsChunk& chunk) noexcept {
    const DynamicsLaw& comp = coefficients.comp;
    const DynamicsLaw& limit = coefficients.limit;
    const DynamicsLaw& gate = coefficients.gate;
    const bool bLimits = limit.fPower != 0.0f || coefficients.fJoin != 1.0f;
    const bool bComp = (comp.fPower != 0.0f && chunk.fHighest >= comp.fThreshold) ||
                       (bLimits && chunk.fHighest >= limit.fThreshold);
    const bool bGate = gate.fPower != 0.0f && chunk.fLowest < gate.fThreshold;
    DynamicsBuffer powers, comps, gates;
    if (bComp) {
        HWY_DYNAMIC_DISPATCH(CompBases)(coefficients, chunk, comps.data(), powers.data());
        VectorPow(comps.data(), powers.data(), comps.data(), chunk.nLength);
    }
    if (bGate) {
        HWY_DYNAMIC_DISPATCH(GateBases)(coefficients, chunk, gates.data(), powers.data());
        VectorPow(gates.data(), powers.data(), gates.data(), chunk.nLength);
    }
    HWY_DYNAMIC_DISPATCH(Targets)
    (coefficients, bComp ? comps.data() : nullptr, bGate ? gates.data() : nullptr, chunk);
    return bComp || bGate;
}

void DynamicsRest(DynamicsChunk& chunk) noexcept {
    VectorFill(1.0f, chunk.gains.data(), 2 * chunk.nLength);
}

DynamicsPair DynamicsApply(const float* gains, std::int32_t nLength, float fFirst, float fSecond,
                           float fOffset, float* left, float* right) noexcept {
    DynamicsPair least;
    HWY_DYNAMIC_DISPATCH(Apply)
    (gains, static_cast<std::size_t>(nLength), fFirst, fSecond, fOffset, left, right, least);
    return least;
}

}  // namespace DSP
#endif  // HWY_ONCE
