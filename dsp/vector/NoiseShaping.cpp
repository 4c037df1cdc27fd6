#include "dsp/vector/NoiseShaping.h"

#include <algorithm>
#include <cmath>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/NoiseShaping.cpp"
#include <hwy/foreach_target.h>
// foreach_target.h comes first: what follows is compiled again for each level.
#include <hwy/highway.h>

// A sample waits for the error of the sample before it: about thirty cycles from one to the next, whatever
// the order. So both channels share a vector, and all that need not wait is kept off that path. Two frames go
// in one step, because a vector of four floats then holds two taps of two channels and the sums turn by whole
// vectors: no lane ever moves to another. Wider vectors would not shorten the path.

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

template <bool kLimit, bool kUniform>
HWY_INLINE float ShapeSample(const NoiseShapingTaps& taps, const NoiseShapingMode& mode, std::size_t uChannel,
                             float fSample, NoiseShapingState& state) {
    DitherRandom& random = state.random[uChannel];
    if (kUniform) {
        random.Next();
        random.Next();
    }
    const std::int32_t nDraw = random.Next();
    const std::int32_t nNoise = kUniform ? 2 * nDraw - DitherRandom::kGreatest : nDraw - state.last[uChannel];
    state.last[uChannel] = nDraw;

    const float x = NoiseShapingRead(fSample) * mode.fScale;
    float e = state.sums[uChannel];
    if (kLimit) e = std::min(std::max(e, -mode.fFeedbackLimit), mode.fFeedbackLimit);
    const float v = x + e;
    float w = v + static_cast<float>(nNoise) * mode.fNoise;
    if (kLimit) {
        if (w - x > mode.fMoveLimit) w = x + mode.fMoveLimit;
        if (w - x < -mode.fMoveLimit) w = x - mode.fMoveLimit;
    }
    const float r = NoiseShapingTruncate(w + std::copysign(0.5f, w));
    NoiseShapingAdvance(taps, uChannel, v - r, state);
    // Adding 0 makes a zero positive.
    return r * (1.0f / mode.fScale) + 0.0f;
}

template <bool kLimit, bool kUniform>
void ShapePlain(const NoiseShapingTaps& taps, const NoiseShapingMode& mode, NoiseShapingState& state,
                float* left, float* right, std::size_t uFrames) {
    for (std::size_t i = 0; i < uFrames; ++i) {
        left[i] = ShapeSample<kLimit, kUniform>(taps, mode, 0, left[i], state);
        if (right) right[i] = ShapeSample<kLimit, kUniform>(taps, mode, 1, right[i], state);
    }
}

#if HWY_TARGET == HWY_SCALAR

template <bool kLimit, bool kUniform>
void ShapeBlock(const NoiseShapingTaps& taps, const NoiseShapingMode& mode, NoiseShapingState& state,
                float* left, float* right, std::size_t uFrames) {
    ShapePlain<kLimit, kUniform>(taps, mode, state, left, right, uFrames);
}

#else

using DFloat = hn::FixedTag<float, 4>;
using DHalf = hn::FixedTag<float, 2>;
using DInt = hn::FixedTag<std::int32_t, 4>;
using DState = hn::FixedTag<std::uint32_t, 4>;
using VFloat = hn::Vec<DFloat>;

// The noise of two frames a step, in the order left, right, left, right.
template <bool kUniform>
class NoiseSource {
public:
    HWY_INLINE NoiseSource(const NoiseShapingMode& mode, const NoiseShapingState& state)
        : m_noise(hn::Set(DFloat(), mode.fNoise)) {
        alignas(16) std::uint32_t next[4];
        alignas(16) std::int32_t last[4] = {0, 0, state.last[0], state.last[1]};
        for (std::size_t c = 0; c < 2; ++c) {
            next[c] = kFrame(state.random[c].State());
            next[c + 2] = kFrame(next[c]);
        }
        m_next = hn::Load(DState(), next);
        m_used = m_next;
        m_value = hn::Load(DInt(), last);
    }

    HWY_INLINE VFloat Next() {
        const DState dState;
        const DInt dInt;
        m_used = m_next;
        m_next = hn::Add(hn::Mul(m_next, hn::Set(dState, kStep.uFactor)), hn::Set(dState, kStep.uOffset));
        const auto value = hn::BitCast(
            dInt,
            hn::And(hn::ShiftRight<16>(m_used), hn::Set(dState, std::uint32_t{DitherRandom::kGreatest})));
        const auto before = hn::CombineShiftRightBytes<8>(dInt, value, m_value);
        m_value = value;
        const auto noise = kUniform ? hn::Sub(hn::Add(value, value), hn::Set(dInt, DitherRandom::kGreatest))
                                    : hn::Sub(value, before);
        return hn::Mul(hn::ConvertTo(DFloat(), noise), m_noise);
    }

    /// After at least one step.
    HWY_INLINE void Save(NoiseShapingState& state) const {
        alignas(16) std::uint32_t used[4];
        alignas(16) std::int32_t value[4];
        hn::Store(m_used, DState(), used);
        hn::Store(m_value, DInt(), value);
        for (std::size_t c = 0; c < 2; ++c) {
            state.random[c] = DitherRandom(used[c + 2]);
            state.last[c] = value[c + 2];
        }
    }

private:
    static constexpr std::uint32_t kDraws = kUniform ? 3 : 1;
    static constexpr DitherRandom::Jump kFrame = DitherRandom::After(kDraws);
    static constexpr DitherRandom::Jump kStep = DitherRandom::After(2 * kDraws);

    VFloat m_noise;
    hn::Vec<DState> m_used;  // the states of the last step
    hn::Vec<DState> m_next;
    hn::Vec<DInt> m_value;  // the numbers of the last step
};

HWY_INLINE VFloat LoadFrames(const float* left, const float* right, const VFloat& scale) {
    const DFloat d;
    const DHalf dHalf;
    const auto l = hn::ZeroExtendVector(d, hn::LoadU(dHalf, left));
    const auto r = hn::ZeroExtendVector(d, hn::LoadU(dHalf, right));
    const auto x = hn::InterleaveLower(d, l, r);
    const auto sound = hn::Lt(hn::Abs(x), hn::Set(d, kNoiseShapingGreatest));
    return hn::Mul(hn::IfThenElseZero(sound, x), scale);
}

template <bool kLimit>
struct Quantiser {
    VFloat feedbackLimit, moveLimit;

    HWY_INLINE explicit Quantiser(const NoiseShapingMode& mode)
        : feedbackLimit(hn::Set(DFloat(), mode.fFeedbackLimit)),
          moveLimit(hn::Set(DFloat(), mode.fMoveLimit)) {}

    /// Returns the rounded value, and the error in `error`.
    HWY_INLINE VFloat operator()(const VFloat& x, VFloat e, const VFloat& noise, VFloat& error) const {
        const DFloat d;
        if constexpr (kLimit) e = hn::Min(hn::Max(e, hn::Neg(feedbackLimit)), feedbackLimit);
        const auto v = hn::Add(x, e);
        auto w = hn::Add(v, noise);
        if constexpr (kLimit) {
            const auto moved = hn::Sub(w, x);
            w = hn::IfThenElse(hn::Gt(moved, moveLimit), hn::Add(x, moveLimit), w);
            w = hn::IfThenElse(hn::Lt(moved, hn::Neg(moveLimit)), hn::Sub(x, moveLimit), w);
        }
        const auto r = hn::Trunc(hn::Add(w, hn::CopySign(hn::Set(d, 0.5f), w)));
        error = hn::Sub(v, r);
        return r;
    }
};

// Both frames, left and right, to their channels.
HWY_INLINE void StoreFrames(const VFloat& first, const VFloat& second, const VFloat& step, float* left,
                            float* right) {
    const DFloat d;
    const DHalf dHalf;
    const auto frames = hn::Add(hn::Mul(hn::InterleaveLower(d, first, second), step), hn::Zero(d));
    hn::StoreU(hn::LowerHalf(dHalf, frames), dHalf, left);
    if (right) hn::StoreU(hn::UpperHalf(dHalf, frames), dHalf, right);
}

template <bool kLimit, bool kUniform>
void ShapeBlock(const NoiseShapingTaps& taps, const NoiseShapingMode& mode, NoiseShapingState& state,
                float* left, float* right, std::size_t uFrames) {
    const std::size_t uPaired = uFrames & ~std::size_t{1};
    if (uPaired != 0) {
        const DFloat d;
        const float* const pairs = taps.pairs.data();
        float* const sums = state.sums.data();
        const std::size_t uEnd = 2 * taps.uOrder;
        const auto scale = hn::Set(d, mode.fScale);
        const auto step = hn::Set(d, 1.0f / mode.fScale);
        const auto firstTap = hn::Set(d, taps.Tap(0));
        const auto near = hn::Load(d, pairs);
        const auto far = hn::LoadU(d, pairs + 2);
        const Quantiser<kLimit> quantise(mode);
        NoiseSource<kUniform> source(mode, state);

        auto sum = hn::Load(d, sums);
        for (std::size_t i = 0; i < uPaired; i += 2) {
            const auto x = LoadFrames(left + i, (right ? right : left) + i, scale);
            const auto noise = source.Next();
            VFloat error0, error1;
            const auto r0 = quantise(hn::ConcatLowerLower(d, x, x), hn::ConcatLowerLower(d, sum, sum),
                                     hn::ConcatLowerLower(d, noise, noise), error0);
            const auto feedback1 = hn::Add(hn::ConcatUpperUpper(d, sum, sum), hn::Mul(firstTap, error0));
            const auto r1 = quantise(hn::ConcatUpperUpper(d, x, x), feedback1,
                                     hn::ConcatUpperUpper(d, noise, noise), error1);
            sum = hn::Add(hn::Add(hn::Load(d, sums + 4), hn::Mul(far, error0)), hn::Mul(near, error1));
            for (std::size_t j = 4; j < uEnd; j += 4) {
                const auto older =
                    hn::Add(hn::Load(d, sums + j + 4), hn::Mul(hn::LoadU(d, pairs + j + 2), error0));
                hn::Store(hn::Add(older, hn::Mul(hn::Load(d, pairs + j), error1)), d, sums + j);
            }
            StoreFrames(r0, r1, step, left + i, right ? right + i : nullptr);
        }
        hn::Store(sum, d, sums);
        source.Save(state);
    }
    ShapePlain<kLimit, kUniform>(taps, mode, state, left + uPaired, right ? right + uPaired : nullptr,
                                 uFrames - uPaired);
}

#endif

void Shape(const NoiseShapingTaps& taps, const NoiseShapingMode& mode, NoiseShapingState& state, float* left,
           float* right, std::size_t uFrames) {
    const bool bUniform = mode.noise == DitherNoise::kUniform;
    const auto run = mode.bLimit ? (bUniform ? &ShapeBlock<true, true> : &ShapeBlock<true, false>)
                                 : (bUniform ? &ShapeBlock<false, true> : &ShapeBlock<false, false>);
    run(taps, mode, state, left, right, uFrames);
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

namespace {
HWY_EXPORT(Shape);
}

void ShapeNoise(const NoiseShapingTaps& taps, const NoiseShapingMode& mode, NoiseShapingState& state,
                float* left, float* right, std::size_t uFrames) noexcept {
    HWY_DYNAMIC_DISPATCH(Shape)(taps, mode, state, left, right, uFrames);
}

}  // namespace DSP
#endif
