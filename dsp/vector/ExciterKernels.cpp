#include "dsp/vector/ExciterKernels.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "dsp/vector/Elementary.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/ExciterKernels.cpp"
#include <hwy/foreach_target.h>
// foreach_target.h comes first: what follows is compiled again for each level.
#include <hwy/highway.h>

#include "dsp/vector/Lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// ---- retro

struct RetroOp {
    ExciterRetroLaw law;
    float* samples;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto one = hn::Set(d, 1.0f);
        const auto x = hn::LoadU(d, samples + i);
        const auto v = hn::Mul(x, hn::Set(d, law.fDrive));
        // v + 1 above zero and 1 - v below are one sum, 1 + |v|.
        const auto q = hn::Div(one, hn::Add(one, hn::Abs(v)));
        const auto s = hn::IfThenElse(hn::Gt(v, hn::Zero(d)), hn::Sub(one, q), hn::Sub(q, one));
        const auto dry = hn::Mul(x, hn::Set(d, law.fDry));
        hn::StoreU(hn::Add(dry, hn::Mul(s, hn::Set(d, law.fMix))), d, samples + i);
    }
};

void Retro(const ExciterRetroLaw& law, float* samples, std::size_t uLength) {
    ForEachVector<float>(uLength, RetroOp{law, samples});
}

// ---- tape

// Beyond this the pieces of pi below lose exactness; a sample gets there 100 dB above full scale.
constexpr double kMostAngle = 0x1p20;

// The sines of angles beyond, and of NaNs: rare, and so without a vector form. No vector crosses the call,
// because a caller's stack may not be aligned for one.
HWY_NOINLINE void SinBeyond(const double* angles, double* sines, std::size_t uLanes) {
    for (std::size_t i = 0; i < uLanes; ++i) {
        if (!(std::abs(angles[i]) < kMostAngle)) sines[i] = Sin(angles[i]);
    }
}

// The sine within 2^-50. The angle less a number of half turns, whose first two pieces have 33 bits, so that
// their products with the count are exact (Cody and Waite, Software Manual for the Elementary Functions,
// ch. 8); then the series, whose first term left out is below 2^-57 of the result.
template <class D>
HWY_INLINE hn::Vec<D> Sine(D d, hn::Vec<D> angle) {
    constexpr double kTerms[10] = {-1.0 / 6.0,
                                   1.0 / 120.0,
                                   -1.0 / 5040.0,
                                   1.0 / 362880.0,
                                   -1.0 / 39916800.0,
                                   1.0 / 6227020800.0,
                                   -1.0 / 1307674368000.0,
                                   1.0 / 355687428096000.0,
                                   -1.0 / 121645100408832000.0,
                                   1.0 / 51090942171709440000.0};
    // 1.5 times 2^52 rounds to an integer, whose lowest bit stays the lowest of the sum.
    const auto magic = hn::Set(d, 6755399441055744.0);
    const auto shifted = hn::Add(hn::Mul(angle, hn::Set(d, 0x1.45f306dc9c883p-2)), magic);
    const auto k = hn::Sub(shifted, magic);
    auto r = hn::Sub(angle, hn::Mul(k, hn::Set(d, 0x1.921fb544p+1)));
    r = hn::Sub(r, hn::Mul(k, hn::Set(d, 0x1.0b4611a6p-33)));
    r = hn::Sub(r, hn::Mul(k, hn::Set(d, 0x1.3198a2e037073p-68)));

    const auto z = hn::Mul(r, r);
    const auto z2 = hn::Mul(z, z);
    const auto z4 = hn::Mul(z2, z2);
    const auto term = [&](int i) { return hn::Set(d, kTerms[i]); };
    const auto pair = [&](int i) { return hn::Add(term(i), hn::Mul(term(i + 1), z)); };
    const auto low = hn::Add(pair(0), hn::Mul(pair(2), z2));
    const auto high = hn::Add(hn::Add(pair(4), hn::Mul(pair(6), z2)), hn::Mul(pair(8), z4));
    const auto series = hn::Add(low, hn::Mul(high, z4));
    const auto sine = hn::Add(r, hn::Mul(hn::Mul(r, z), series));

    const hn::RebindToUnsigned<D> dBits;
    const auto sign = hn::ShiftLeft<63>(hn::BitCast(dBits, shifted));
    const auto result = hn::Xor(sine, hn::BitCast(d, sign));
    if (HWY_LIKELY(hn::AllTrue(d, hn::Lt(hn::Abs(angle), hn::Set(d, kMostAngle))))) return result;
    double angles[hn::MaxLanes(D())];
    double sines[hn::MaxLanes(D())];
    hn::StoreU(angle, d, angles);
    hn::StoreU(result, d, sines);
    SinBeyond(angles, sines, hn::Lanes(d));
    return hn::LoadU(d, sines);
}

// Runs over vectors of double, each of which meets half a vector of float.
struct TapeOp {
    ExciterTapeLaw law;
    float* samples;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        constexpr double kHalfPi = 0x1.921fb54442d18p+0;
        constexpr double kReach = double{0.8f};
        constexpr double kNormaliser = 0x1.e6f0e2p-1;
        const hn::Rebind<float, D> dFloat;
        const auto x = hn::LoadU(dFloat, samples + i);
        const auto driven = hn::Mul(hn::PromoteTo(d, x), hn::Set(d, double{law.fDrive}));
        const auto angle = hn::Mul(hn::Mul(driven, hn::Set(d, kHalfPi)), hn::Set(d, kReach));
        const auto s = NarrowTo(dFloat, hn::Div(Sine(d, angle), hn::Set(d, kNormaliser)));
        const auto wet = hn::Mul(s, hn::Set(dFloat, law.fMix));
        hn::StoreU(hn::Add(wet, hn::Mul(x, hn::Set(dFloat, law.fDry))), dFloat, samples + i);
    }
};

void Tape(const ExciterTapeLaw& law, float* samples, std::size_t uLength) {
    ForEachVector<double>(uLength, TapeOp{law, samples});
}

// ---- tube

// The envelopes wait for each sample's predecessor and the rest does not, so a stretch of envelopes runs
// ahead of the polynomial. Short stretches let the processor work on both at once.
constexpr std::size_t kStretch = 64;

float Restarted(float fEnvelope) {
    return fEnvelope <= kExciterMostEnvelope ? fEnvelope : kExciterStartEnvelope;
}

HWY_INLINE void Follow(float fStep, const float* samples, std::size_t uLength, float& fState,
                       float* envelopes) {
    float fEnvelope = fState;
    for (std::size_t i = 0; i < uLength; ++i) {
        fEnvelope += (std::abs(samples[i]) - fEnvelope) * fStep;
        envelopes[i] = fEnvelope;
        if (HWY_UNLIKELY(!(fEnvelope <= kExciterMostEnvelope))) fEnvelope = kExciterStartEnvelope;
    }
    fState = fEnvelope;
}

// Two at once, because the processor would wait for one alone.
HWY_INLINE void FollowBoth(float fStep, const float* left, const float* right, std::size_t uLength,
                           ExciterEnvelopes& state, float* leftEnvelopes, float* rightEnvelopes) {
    float fLeft = state.fLeft;
    float fRight = state.fRight;
    for (std::size_t i = 0; i < uLength; ++i) {
        fLeft += (std::abs(left[i]) - fLeft) * fStep;
        fRight += (std::abs(right[i]) - fRight) * fStep;
        leftEnvelopes[i] = fLeft;
        rightEnvelopes[i] = fRight;
        if (HWY_UNLIKELY(!(fLeft <= kExciterMostEnvelope && fRight <= kExciterMostEnvelope))) {
            fLeft = Restarted(fLeft);
            fRight = Restarted(fRight);
        }
    }
    state.fLeft = fLeft;
    state.fRight = fRight;
}

struct TubeOp {
    ExciterTubeLaw law;
    const float* envelopes;
    float* samples;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto one = hn::Set(d, 1.0f);
        const auto x = hn::LoadU(d, samples + i);
        const auto e = hn::LoadU(d, envelopes + i);
        const auto soft = hn::Lt(e, hn::Set(d, 0.001f));
        const auto r = hn::IfThenElse(soft, hn::Set(d, 1000.0f), hn::Div(one, e));
        const auto v = hn::Mul(x, hn::Mul(r, hn::Set(d, law.fDrive)));
        const auto cube = hn::Mul(hn::Mul(v, v), hn::Add(v, one));
        const auto scaled = hn::Mul(cube, hn::Mul(e, hn::Set(d, 0.02f)));
        const auto wet = hn::Mul(scaled, hn::Set(d, law.fMix));
        hn::StoreU(hn::Add(wet, hn::Mul(hn::Set(d, law.fDry), x)), d, samples + i);
    }
};

void Tube(const ExciterTubeLaw& law, ExciterEnvelopes& envelopes, float* left, float* right,
          std::size_t uLength) {
    float leftEnvelopes[kStretch];
    float rightEnvelopes[kStretch];
    ExciterEnvelopes state = envelopes;
    while (uLength > 0) {
        const std::size_t uRun = std::min(uLength, kStretch);
        if (right) {
            FollowBoth(law.fStep, left, right, uRun, state, leftEnvelopes, rightEnvelopes);
            ForEachVector<float>(uRun, TubeOp{law, rightEnvelopes, right});
            right += uRun;
        } else {
            Follow(law.fStep, left, uRun, state.fLeft, leftEnvelopes);
        }
        ForEachVector<float>(uRun, TubeOp{law, leftEnvelopes, left});
        left += uRun;
        uLength -= uRun;
    }
    envelopes = state;
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(Retro);
HWY_EXPORT(Tape);
HWY_EXPORT(Tube);

namespace {

std::size_t Size(std::int32_t nLength) {
    return nLength > 0 ? static_cast<std::size_t>(nLength) : 0;
}

}  // namespace

void ExciterRetro(const ExciterRetroLaw& law, float* samples, std::int32_t nLength) noexcept {
    HWY_DYNAMIC_DISPATCH(Retro)(law, samples, Size(nLength));
}

void ExciterTape(const ExciterTapeLaw& law, float* samples, std::int32_t nLength) noexcept {
    HWY_DYNAMIC_DISPATCH(Tape)(law, samples, Size(nLength));
}

void ExciterTube(const ExciterTubeLaw& law, ExciterEnvelopes& envelopes, float* left, float* right,
                 std::int32_t nLength) noexcept {
    HWY_DYNAMIC_DISPATCH(Tube)(law, envelopes, left, right, Size(nLength));
}

}  // namespace DSP
#endif  // HWY_ONCE
