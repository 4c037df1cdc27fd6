#include "dsp/vector/CombBank.h"

#include <algorithm>
#include <cstddef>

#include "dsp/vector/Repair.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/CombBank.cpp"
#include <hwy/foreach_target.h>
// foreach_target.h comes first: what follows is compiled again for each level.
#include <hwy/highway.h>

#include "dsp/vector/Lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// What a comb gives, into the sum, and the low-pass's share of it.
struct ReadCombOp {
    const float* ring;
    float fDamp2;
    float* sum;
    float* damped;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto o = hn::LoadU(d, ring + i);
        hn::StoreU(hn::Add(hn::LoadU(d, sum + i), o), d, sum + i);
        hn::StoreU(hn::Mul(hn::Set(d, fDamp2), o), d, damped + i);
    }
};

struct WriteCombOp {
    const float* filtered;
    float fFeedback;
    const float* input;
    float* ring;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto back = hn::Mul(hn::LoadU(d, filtered + i), hn::Set(d, fFeedback));
        hn::StoreU(hn::Add(back, hn::LoadU(d, input + i)), d, ring + i);
    }
};

struct AllpassOp {
    float* ring;
    float* through;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto o = hn::LoadU(d, ring + i);
        const auto a = hn::LoadU(d, through + i);
        hn::StoreU(hn::Add(hn::Mul(o, hn::Set(d, 0.5f)), a), d, ring + i);
        hn::StoreU(hn::Sub(o, a), d, through + i);
    }
};

template <class V>
HWY_INLINE V Repaired(V x) {
    const hn::DFromV<V> d;
    return hn::IfThenElseZero(hn::Lt(hn::Abs(x), hn::Set(d, kDamageLimit)), x);
}

struct StereoInputOp {
    const float* left;
    const float* right;
    float fGain;
    float* destination;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto sum = hn::Add(Repaired(hn::LoadU(d, left + i)), Repaired(hn::LoadU(d, right + i)));
        hn::StoreU(hn::Mul(sum, hn::Set(d, fGain)), d, destination + i);
    }
};

struct WidthOp {
    float fDirect;
    float fCross;
    float* left;
    float* right;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto direct = hn::Set(d, fDirect);
        const auto cross = hn::Set(d, fCross);
        const auto l = hn::LoadU(d, left + i);
        const auto r = hn::LoadU(d, right + i);
        hn::StoreU(hn::Add(hn::Mul(direct, l), hn::Mul(cross, r)), d, left + i);
        hn::StoreU(hn::Add(hn::Mul(cross, l), hn::Mul(direct, r)), d, right + i);
    }
};

// Calls `run(ring offset, block offset, count)` for the one or two pieces that a stretch has in a ring, and
// moves the position behind it.
template <class Line, class Run>
HWY_INLINE void AlongRing(Line& line, std::size_t uCount, const Run& run) {
    const auto uPosition = static_cast<std::size_t>(line.nPosition);
    const std::size_t uFirst = std::min(uCount, static_cast<std::size_t>(line.nLength) - uPosition);
    run(uPosition, std::size_t{0}, uFirst);
    if (uFirst < uCount) run(std::size_t{0}, uFirst, uCount - uFirst);
    line.nPosition = static_cast<int>((uPosition + uCount) % static_cast<std::size_t>(line.nLength));
}

// A stretch of one bank's low-pass values, comb by comb.
using Rows = float[8][kCombChunk];

HWY_INLINE void ReadCombs(const CombFactors& factors, const CombChannel& bank, float* sum, Rows& rows,
                          std::size_t uCount) {
    std::fill_n(sum, uCount, 0.0f);
    for (std::size_t c = 0; c < bank.combs.size(); ++c) {
        CombLine line = bank.combs[c];  // a copy: the position moves when the ring is written
        AlongRing(line, uCount, [&](std::size_t uRing, std::size_t uBlock, std::size_t uPiece) HWY_ATTR {
            const ReadCombOp op{line.ring + uRing, factors.fDamp2, sum + uBlock, rows[c] + uBlock};
            ForEachVector<float>(uPiece, op);
        });
    }
}

// The recursions, eight side by side: one alone would wait for its own multiplication and addition at every
// sample, and eight do not.
HWY_INLINE void FilterRows(float fDamp1, CombChannel& bank, Rows& rows, std::size_t uCount) {
    auto& combs = bank.combs;
    float f0 = combs[0].fFiltered, f1 = combs[1].fFiltered, f2 = combs[2].fFiltered, f3 = combs[3].fFiltered;
    float f4 = combs[4].fFiltered, f5 = combs[5].fFiltered, f6 = combs[6].fFiltered, f7 = combs[7].fFiltered;
    for (std::size_t i = 0; i < uCount; ++i) {
        rows[0][i] = f0 = fDamp1 * f0 + rows[0][i];
        rows[1][i] = f1 = fDamp1 * f1 + rows[1][i];
        rows[2][i] = f2 = fDamp1 * f2 + rows[2][i];
        rows[3][i] = f3 = fDamp1 * f3 + rows[3][i];
        rows[4][i] = f4 = fDamp1 * f4 + rows[4][i];
        rows[5][i] = f5 = fDamp1 * f5 + rows[5][i];
        rows[6][i] = f6 = fDamp1 * f6 + rows[6][i];
        rows[7][i] = f7 = fDamp1 * f7 + rows[7][i];
    }
    const float last[] = {f0, f1, f2, f3, f4, f5, f6, f7};
    for (std::size_t c = 0; c < combs.size(); ++c)
        combs[c].fFiltered = last[c];
}

HWY_INLINE void WriteCombs(float fFeedback, const float* input, CombChannel& bank, const Rows& rows,
                           std::size_t uCount) {
    for (std::size_t c = 0; c < bank.combs.size(); ++c) {
        CombLine& line = bank.combs[c];
        AlongRing(line, uCount, [&](std::size_t uRing, std::size_t uBlock, std::size_t uPiece) HWY_ATTR {
            const WriteCombOp op{rows[c] + uBlock, fFeedback, input + uBlock, line.ring + uRing};
            ForEachVector<float>(uPiece, op);
        });
    }
}

void RunBank(const CombFactors& factors, const float* input, CombChannel& bank, float* output,
             std::size_t uLength) {
    alignas(64) Rows rows;
    for (std::size_t uDone = 0; uDone < uLength; uDone += kCombChunk) {
        const std::size_t uCount = std::min<std::size_t>(kCombChunk, uLength - uDone);
        float* const sum = output + uDone;
        ReadCombs(factors, bank, sum, rows, uCount);
        FilterRows(factors.fDamp1, bank, rows, uCount);
        WriteCombs(factors.fFeedback, input + uDone, bank, rows, uCount);
        for (AllpassLine& line : bank.allpasses) {
            AlongRing(line, uCount, [&](std::size_t uRing, std::size_t uBlock, std::size_t uPiece) HWY_ATTR {
                ForEachVector<float>(uPiece, AllpassOp{line.ring + uRing, sum + uBlock});
            });
        }
    }
}

void Input(const float* left, const float* right, float fGain, float* destination, std::size_t uLength) {
    // A mono sample counts twice: x + x is 2 x.
    ForEachVector<float>(uLength, StereoInputOp{left, right ? right : left, fGain, destination});
}

void Width(float fDirect, float fCross, float* left, float* right, std::size_t uLength) {
    ForEachVector<float>(uLength, WidthOp{fDirect, fCross, left, right});
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace DSP {

HWY_EXPORT(RunBank);
HWY_EXPORT(Input);
HWY_EXPORT(Width);

VectorStatus VectorCombBank(const CombFactors& factors, const float* input, CombChannel* left,
                            float* leftOutput, CombChannel* right, float* rightOutput, int nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {input, left, leftOutput});
    if (status != kVectorOk) return status;
    if ((right == nullptr) != (rightOutput == nullptr)) return kVectorNullPointer;
    const auto uLength = static_cast<std::size_t>(nLength);
    HWY_DYNAMIC_DISPATCH(RunBank)(factors, input, *left, leftOutput, uLength);
    if (right) HWY_DYNAMIC_DISPATCH(RunBank)(factors, input, *right, rightOutput, uLength);
    return kVectorOk;
}

VectorStatus VectorCombInput(const float* left, const float* right, float fGain, float* destination,
                             int nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {left, destination});
    if (status != kVectorOk) return status;
    HWY_DYNAMIC_DISPATCH(Input)(left, right, fGain, destination, static_cast<std::size_t>(nLength));
    return kVectorOk;
}

VectorStatus VectorCombWidth(float fDirect, float fCross, float* left, float* right, int nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {left, right});
    if (status != kVectorOk) return status;
    HWY_DYNAMIC_DISPATCH(Width)(fDirect, fCross, left, right, static_cast<std::size_t>(nLength));
    return kVectorOk;
}

}  // namespace DSP

#endif
