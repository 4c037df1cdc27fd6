#include "dsp/vector/IirKernel.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/IirKernel.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// Sections run side by side in the lanes of a few vectors. A block of two lanes holds one section's left and
// right channel; section s works on frame t - s * skew while the first one works on frame t, so that every
// section finds its input ready and no lane waits for another within a step. Lanes whose frame does not exist
// yet, or no longer, keep their delays.
//
// With V vectors, section s stands in vector s % V: its output is the next vector's input as it stands, and
// only from the last vector to the first do blocks move. The first sections stand in the highest block, so
// that the last section's output is the lowest block and leaves by a plain store.

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

HWY_INLINE double RunSection(IirSection& section, double x) {
    const double y = section.b0 * x + section.s1;
    section.s1 = (section.b1 * x + section.s2) - section.a1 * y;
    section.s2 = section.b2 * x - section.a2 * y;
    return y;
}

void RunStages(const IirStage* stages, std::size_t uStages, double* frames, std::size_t uCount) {
    for (std::size_t t = 0; t < uCount; ++t) {
        double l = frames[2 * t];
        double r = frames[2 * t + 1];
        for (std::size_t s = 0; s < uStages; ++s) {
            const IirStage& stage = stages[s];
            l = RunSection(*stage.left, l);
            if (stage.right != nullptr) r = RunSection(*stage.right, r);
            if (!stage.bRounds) continue;
            l = static_cast<double>(static_cast<float>(l) * stage.fLeftGain);
            r = static_cast<double>(static_cast<float>(r) * stage.fRightGain);
        }
        frames[2 * t] = l;
        frames[2 * t + 1] = r;
    }
}

void RunAllRows(const IirRowStages* rows, std::size_t uRows, const double* frames, std::size_t uCount) {
    for (const IirRowStages* row = rows; row != rows + uRows; ++row) {
        std::copy_n(frames, 2 * uCount, row->output);
        RunStages(row->stages, row->uStages, row->output, uCount);
    }
}

#else

// What one vector of sections computes with. kRounds: some of them round, and the skew is two frames, as
// rounding takes about as long as a step.
template <class D, bool kRounds>
struct Sections {
    using Narrow = hn::Rebind<float, D>;

    hn::Vec<D> b0, b1, b2, a1, a2;
    hn::Vec<D> s1, s2;
    hn::Vec<D> output;  // what the next section works on in the next step
    hn::Vec<D> latest;  // of the present step
    hn::Vec<Narrow> gain;
    hn::Mask<D> rounds;
    hn::Mask<D> passes;  // no section here: output is input
    hn::Vec<D> delay;    // frames behind the first section

    // The lanes in memory, block by block.
    struct Image {
        alignas(64) double b0[8], b1[8], b2[8], a1[8], a2[8], s1[8], s2[8], rounds[8], passes[8], delay[8];
        alignas(64) float gain[8];
    };

    HWY_INLINE void Load(D d, const Image& image) {
        b0 = hn::Load(d, image.b0);
        b1 = hn::Load(d, image.b1);
        b2 = hn::Load(d, image.b2);
        a1 = hn::Load(d, image.a1);
        a2 = hn::Load(d, image.a2);
        s1 = hn::Load(d, image.s1);
        s2 = hn::Load(d, image.s2);
        delay = hn::Load(d, image.delay);
        gain = hn::Load(Narrow(), image.gain);
        rounds = hn::Ne(hn::Load(d, image.rounds), hn::Zero(d));
        passes = hn::Ne(hn::Load(d, image.passes), hn::Zero(d));
        output = hn::Zero(d);
        latest = hn::Zero(d);
    }

    HWY_INLINE void SaveDelays(D d, Image& image) const {
        hn::Store(s1, d, image.s1);
        hn::Store(s2, d, image.s2);
    }

    // At the edges of a block of fCount frames only the lanes move whose frame is in it.
    template <bool kEdge>
    HWY_INLINE void Step(D d, const hn::Vec<D>& x, double fTime, double fCount) {
        const auto y = hn::Add(hn::Mul(b0, x), s1);
        const auto new1 = hn::Sub(hn::Add(hn::Mul(b1, x), s2), hn::Mul(a1, y));
        const auto new2 = hn::Sub(hn::Mul(b2, x), hn::Mul(a2, y));
        if constexpr (kEdge) {
            const auto frame = hn::Sub(hn::Set(d, fTime), delay);
            const auto lives = hn::And(hn::Ge(frame, hn::Zero(d)), hn::Lt(frame, hn::Set(d, fCount)));
            s1 = hn::IfThenElse(lives, new1, s1);
            s2 = hn::IfThenElse(lives, new2, s2);
        } else {
            s1 = new1;
            s2 = new2;
        }
        auto result = y;
        if constexpr (hn::MaxLanes(D()) > 2) result = hn::IfThenElse(passes, x, y);
        if constexpr (kRounds) {
            const auto rounded = hn::PromoteTo(d, hn::Mul(hn::DemoteTo(Narrow(), result), gain));
            output = latest;
            latest = hn::IfThenElse(rounds, rounded, result);
        } else {
            output = latest = result;
        }
    }
};

// All blocks one place down, and the new frame in the highest.
template <class D>
HWY_INLINE hn::Vec<D> Shifted(D d, const hn::Vec<D>& output, const double* frame) {
    if constexpr (hn::MaxLanes(D()) == 2) {
        return hn::LoadU(d, frame);
    } else if constexpr (hn::MaxLanes(D()) == 4) {
        return hn::ConcatLowerUpper(d, hn::LoadU(d, frame), output);
    } else {
        alignas(64) static constexpr std::int64_t kDown[8] = {2, 3, 4, 5, 6, 7, 0, 1};
        const auto down = hn::TableLookupLanes(output, hn::SetTableIndices(d, kDown));
        return hn::IfThenElse(hn::FirstN(d, 6), down, hn::LoadDup128(d, frame));
    }
}

// Each block to an output of its own.
template <class D>
HWY_INLINE void StoreBlocks(D d, const hn::Vec<D>& v, double* const* outputs, std::size_t t) {
    if constexpr (hn::MaxLanes(D()) == 2) {
        hn::StoreU(v, d, outputs[0] + 2 * t);
    } else {
        const hn::Half<D> half;
        StoreBlocks(half, hn::LowerHalf(half, v), outputs, t);
        StoreBlocks(half, hn::UpperHalf(half, v), outputs + hn::MaxLanes(D()) / 4, t);
    }
}

template <class D>
HWY_INLINE auto LowestBlock(D d, const hn::Vec<D>& v) {
    if constexpr (hn::MaxLanes(D()) == 2) {
        return v;
    } else {
        const hn::Half<D> half;
        return LowestBlock(half, hn::LowerHalf(half, v));
    }
}

// Sections in series: section s stands in vector s % kVectors and, from the highest block down, in block
// s / kVectors.
template <std::size_t kBlocks, std::size_t kVectors>
struct Series {
    static constexpr std::size_t kLast = kBlocks * kVectors - 1;

    const IirStage* stages;
    std::size_t uStages;
    double* frames;

    static constexpr std::size_t Order(std::size_t iBlock, std::size_t iVector) {
        return (kBlocks - 1 - iBlock) * kVectors + iVector;
    }
    const IirStage* Stage(std::size_t iBlock, std::size_t iVector) const {
        const std::size_t s = Order(iBlock, iVector);
        return s < uStages ? stages + s : nullptr;
    }
    template <class D>
    HWY_INLINE hn::Vec<D> Input(D d, std::size_t t, const hn::Vec<D>& lastOutput) const {
        return Shifted(d, lastOutput, frames + 2 * t);
    }
    template <class D>
    HWY_INLINE void Store(D d, const hn::Vec<D>& latest, std::size_t t) const {
        hn::StoreU(LowestBlock(d, latest), hn::CappedTag<double, 2>(), frames + 2 * t);
    }
};

// Rows of up to kVectors sections side by side, one in each block, all on the same frames. The stage at its
// place in a row stands in the vector of that place.
template <std::size_t kBlocks, std::size_t kVectors>
struct Rows {
    static constexpr std::size_t kLast = kVectors - 1;

    const IirRowStages* rows[kBlocks];
    const double* frames;
    double* outputs[kBlocks];

    static constexpr std::size_t Order(std::size_t, std::size_t iVector) { return iVector; }
    const IirStage* Stage(std::size_t iBlock, std::size_t iVector) const {
        return iVector < rows[iBlock]->uStages ? rows[iBlock]->stages + iVector : nullptr;
    }
    template <class D>
    HWY_INLINE hn::Vec<D> Input(D d, std::size_t t, const hn::Vec<D>&) const {
        if constexpr (kBlocks == 1) return hn::LoadU(d, frames + 2 * t);
        return hn::LoadDup128(d, frames + 2 * t);
    }
    template <class D>
    HWY_INLINE void Store(D d, const hn::Vec<D>& latest, std::size_t t) const {
        StoreBlocks(d, latest, outputs, t);
    }
};

// The state of a run between two steps. An order says where which section stands.
template <class D, std::size_t kVectors, bool kRounds>
struct Chain {
    using S = Sections<D, kRounds>;
    static constexpr std::size_t kBlocks = hn::MaxLanes(D()) / 2;
    static constexpr std::size_t kSkew = kRounds ? 2 : 1;

    S sections[kVectors];

    template <bool kEdge, class Order>
    HWY_INLINE void Step(const Order& order, std::size_t t, std::size_t uCount) {
        const D d;
        const double fTime = kEdge ? static_cast<double>(t) : 0.0;
        const double fCount = kEdge ? static_cast<double>(uCount) : 0.0;
        // Every input is an output of an earlier step, so all are taken before any section moves.
        const auto x0 = order.Input(d, t, sections[kVectors - 1].output);
        auto x1 = x0;
        auto x2 = x0;
        auto x3 = x0;
        if constexpr (kVectors > 1) x1 = sections[0].output;
        if constexpr (kVectors > 2) x2 = sections[1].output;
        if constexpr (kVectors > 3) x3 = sections[2].output;
        sections[0].template Step<kEdge>(d, x0, fTime, fCount);
        if constexpr (kVectors > 1) sections[1].template Step<kEdge>(d, x1, fTime, fCount);
        if constexpr (kVectors > 2) sections[2].template Step<kEdge>(d, x2, fTime, fCount);
        if constexpr (kVectors > 3) sections[3].template Step<kEdge>(d, x3, fTime, fCount);
    }
};

template <class C, class Order, class Image>
void Gather(const Order& order, Image& image, std::size_t iVector) {
    for (std::size_t i = 0; i < 2 * C::kBlocks; ++i) {
        const IirStage* stage = order.Stage(i / 2, iVector);
        image.delay[i] = static_cast<double>(C::kSkew * order.Order(i / 2, iVector));
        image.passes[i] = stage != nullptr ? 0.0 : 1.0;
        if (stage == nullptr) continue;
        const bool bLeft = i % 2 == 0;
        image.rounds[i] = stage->bRounds ? 1.0 : 0.0;
        image.gain[i] = bLeft ? stage->fLeftGain : stage->fRightGain;
        const IirSection* section = bLeft ? stage->left : stage->right;
        if (section == nullptr) continue;
        image.b0[i] = section->b0;
        image.b1[i] = section->b1;
        image.b2[i] = section->b2;
        image.a1[i] = section->a1;
        image.a2[i] = section->a2;
        image.s1[i] = section->s1;
        image.s2[i] = section->s2;
    }
}

template <class C, class Order, class Image>
void ScatterDelays(const Order& order, const Image& image, std::size_t iVector) {
    for (std::size_t i = 0; i < 2 * C::kBlocks; ++i) {
        const IirStage* stage = order.Stage(i / 2, iVector);
        if (stage == nullptr) continue;
        IirSection* section = i % 2 == 0 ? stage->left : stage->right;
        if (section == nullptr) continue;
        section->s1 = image.s1[i];
        section->s2 = image.s2[i];
    }
}

template <std::size_t kVectors, bool kRounds, class D, class Order>
HWY_INLINE void RunOrder(D d, const Order& order, std::size_t uCount) {
    using C = Chain<D, kVectors, kRounds>;
    constexpr std::size_t kLead = C::kSkew * Order::kLast;
    typename C::S::Image images[kVectors] = {};
    C chain;
    for (std::size_t v = 0; v < kVectors; ++v)
        Gather<C>(order, images[v], v);
    chain.sections[0].Load(d, images[0]);
    if constexpr (kVectors > 1) chain.sections[1].Load(d, images[1]);
    if constexpr (kVectors > 2) chain.sections[2].Load(d, images[2]);
    if constexpr (kVectors > 3) chain.sections[3].Load(d, images[3]);

    std::size_t t = 0;
    for (; t < kLead; ++t)
        chain.template Step<true>(order, t, uCount);
    for (; t < uCount; ++t) {
        chain.template Step<false>(order, t, uCount);
        order.Store(d, chain.sections[kVectors - 1].latest, t - kLead);
    }
    for (; t < uCount + kLead; ++t) {
        chain.template Step<true>(order, t, uCount);
        order.Store(d, chain.sections[kVectors - 1].latest, t - kLead);
    }

    chain.sections[0].SaveDelays(d, images[0]);
    if constexpr (kVectors > 1) chain.sections[1].SaveDelays(d, images[1]);
    if constexpr (kVectors > 2) chain.sections[2].SaveDelays(d, images[2]);
    if constexpr (kVectors > 3) chain.sections[3].SaveDelays(d, images[3]);
    for (std::size_t v = 0; v < kVectors; ++v)
        ScatterDelays<C>(order, images[v], v);
}

// At most kBlocks * kVectors stages in series.
template <std::size_t kBlocks, std::size_t kVectors, bool kRounds>
HWY_NOINLINE void RunLanes(const IirStage* stages, std::size_t uStages, double* frames, std::size_t uCount) {
    const Series<kBlocks, kVectors> series{stages, uStages, frames};
    RunOrder<kVectors, kRounds>(hn::CappedTag<double, 2 * kBlocks>(), series, uCount);
}

// kBlocks rows of at most kVectors stages.
template <std::size_t kBlocks, std::size_t kVectors>
HWY_NOINLINE void RunRowLanes(const Rows<kBlocks, 4>& all, std::size_t uCount) {
    Rows<kBlocks, kVectors> rows;
    std::copy_n(all.rows, kBlocks, rows.rows);
    std::copy_n(all.outputs, kBlocks, rows.outputs);
    rows.frames = all.frames;
    RunOrder<kVectors, true>(hn::CappedTag<double, 2 * kBlocks>(), rows, uCount);
}

// The next kBlocks rows of a list, which is sorted by length, the longest first.
template <std::size_t kBlocks>
void RunSomeRows(const IirRowStages* const* list, const double* frames, std::size_t uCount) {
    Rows<kBlocks, 4> rows;
    rows.frames = frames;
    for (std::size_t i = 0; i < kBlocks; ++i) {
        rows.rows[i] = list[i];
        rows.outputs[i] = list[i]->output;
    }
    if (list[0]->uStages == 0) {
        for (std::size_t i = 0; i < kBlocks; ++i)
            std::copy_n(frames, 2 * uCount, list[i]->output);
    } else if (list[0]->uStages == 1) {
        RunRowLanes<kBlocks, 1>(rows, uCount);
    } else if (list[0]->uStages == 2) {
        RunRowLanes<kBlocks, 2>(rows, uCount);
    } else if (list[0]->uStages == 3) {
        RunRowLanes<kBlocks, 3>(rows, uCount);
    } else {
        RunRowLanes<kBlocks, 4>(rows, uCount);
    }
}

void RunAllRows(const IirRowStages* rows, std::size_t uRows, const double* frames, std::size_t uCount) {
    const IirRowStages* list[kIirRows];
    for (std::size_t i = 0; i < uRows; ++i)
        list[i] = rows + i;
    // By insertion: a handful, and nothing that could allocate.
    for (std::size_t i = 1; i < uRows; ++i) {
        for (std::size_t k = i; k > 0 && list[k - 1]->uStages < list[k]->uStages; --k) {
            std::swap(list[k - 1], list[k]);
        }
    }
    std::size_t i = 0;
#if HWY_TARGET != HWY_SSE4 && HWY_TARGET != HWY_AVX2
    for (; i + 4 <= uRows; i += 4)
        RunSomeRows<4>(list + i, frames, uCount);
#endif
#if HWY_TARGET != HWY_SSE4
    for (; i + 2 <= uRows; i += 2)
        RunSomeRows<2>(list + i, frames, uCount);
#endif
    for (; i < uRows; ++i)
        RunSomeRows<1>(list + i, frames, uCount);
}

// Takes as many stages as fit, says how many.
template <bool kRounds>
std::size_t RunSome(const IirStage* stages, std::size_t uStages, double* frames, std::size_t uCount) {
    // One section a vector as long as the vectors suffice: no block moves then.
    if (uStages == 1) return RunLanes<1, 1, kRounds>(stages, 1, frames, uCount), 1;
    if (uStages == 2) return RunLanes<1, 2, kRounds>(stages, 2, frames, uCount), 2;
    if (uStages == 3) return RunLanes<1, 3, kRounds>(stages, 3, frames, uCount), 3;
    if (uStages == 4 || HWY_TARGET == HWY_SSE4) return RunLanes<1, 4, kRounds>(stages, 4, frames, uCount), 4;
#if HWY_TARGET == HWY_AVX2
    if (uStages <= 6) return RunLanes<2, 3, kRounds>(stages, uStages, frames, uCount), uStages;
    uStages = std::min<std::size_t>(uStages, 8);
    RunLanes<2, 4, kRounds>(stages, uStages, frames, uCount);
#elif HWY_TARGET != HWY_SSE4
    if (uStages <= 8) return RunLanes<4, 2, kRounds>(stages, uStages, frames, uCount), uStages;
    if (uStages <= 12) return RunLanes<4, 3, kRounds>(stages, uStages, frames, uCount), uStages;
    uStages = std::min<std::size_t>(uStages, 16);
    RunLanes<4, 4, kRounds>(stages, uStages, frames, uCount);
#endif
    return uStages;
}

void RunStages(const IirStage* stages, std::size_t uStages, double* frames, std::size_t uCount) {
    const auto rounds = [](const IirStage& stage) { return stage.bRounds; };
    const bool bRounds = std::any_of(stages, stages + uStages, rounds);
    while (uStages > 0) {
        const std::size_t uDone = bRounds ? RunSome<true>(stages, uStages, frames, uCount)
                                          : RunSome<false>(stages, uStages, frames, uCount);
        stages += uDone;
        uStages -= uDone;
    }
}

#endif  // HWY_TARGET

#if HWY_TARGET != HWY_SCALAR

template <class T, class D>
HWY_INLINE hn::Vec<D> LoadWide(D d, const T* source) {
    if constexpr (sizeof(T) == sizeof(double)) {
        return hn::LoadU(d, source);
    } else {
        return hn::PromoteTo(d, hn::LoadU(hn::Rebind<float, D>(), source));
    }
}

template <class T, class D>
HWY_INLINE void StoreAs(D d, const hn::Vec<D>& value, T* destination) {
    if constexpr (sizeof(T) == sizeof(double)) {
        hn::StoreU(value, d, destination);
    } else {
        const hn::Rebind<float, D> narrow;
        hn::StoreU(hn::DemoteTo(narrow, value), narrow, destination);
    }
}

#endif

template <class T>
void Widen(const T* left, const T* right, double* frames, std::size_t uCount) {
    std::size_t t = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::CappedTag<double, 8> d;
    for (; t + hn::Lanes(d) <= uCount; t += hn::Lanes(d)) {
        auto r = hn::Zero(d);
        if (right != nullptr) r = LoadWide(d, right + t);
        hn::StoreInterleaved2(LoadWide(d, left + t), r, d, frames + 2 * t);
    }
#endif
    for (; t < uCount; ++t) {
        frames[2 * t] = static_cast<double>(left[t]);
        frames[2 * t + 1] = right != nullptr ? static_cast<double>(right[t]) : 0.0;
    }
}

template <class T>
void Narrow(const double* frames, T* left, T* right, std::size_t uCount) {
    std::size_t t = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::CappedTag<double, 8> d;
    for (; t + hn::Lanes(d) <= uCount; t += hn::Lanes(d)) {
        auto l = hn::Zero(d);
        auto r = l;
        hn::LoadInterleaved2(d, frames + 2 * t, l, r);
        StoreAs(d, l, left + t);
        if (right != nullptr) StoreAs(d, r, right + t);
    }
#endif
    for (; t < uCount; ++t) {
        left[t] = static_cast<T>(frames[2 * t]);
        if (right != nullptr) right[t] = static_cast<T>(frames[2 * t + 1]);
    }
}

void WidenFloat(const float* left, const float* right, double* frames, std::size_t uCount) {
    Widen(left, right, frames, uCount);
}
void WidenDouble(const double* left, const double* right, double* frames, std::size_t uCount) {
    Widen(left, right, frames, uCount);
}
void NarrowFloat(const double* frames, float* left, float* right, std::size_t uCount) {
    Narrow(frames, left, right, uCount);
}
void NarrowDouble(const double* frames, double* left, double* right, std::size_t uCount) {
    Narrow(frames, left, right, uCount);
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(RunStages);
HWY_EXPORT(RunAllRows);
HWY_EXPORT(WidenFloat);
HWY_EXPORT(WidenDouble);
HWY_EXPORT(NarrowFloat);
HWY_EXPORT(NarrowDouble);

void IirWiden(const float* left, const float* right, IirFrames& frames, std::size_t uCount) noexcept {
    HWY_DYNAMIC_DISPATCH(WidenFloat)(left, right, frames.samples, uCount);
    std::fill_n(frames.samples + 2 * uCount, IirFrames::kRoom, 0.0);
}

void IirWiden(const double* left, const double* right, IirFrames& frames, std::size_t uCount) noexcept {
    HWY_DYNAMIC_DISPATCH(WidenDouble)(left, right, frames.samples, uCount);
    std::fill_n(frames.samples + 2 * uCount, IirFrames::kRoom, 0.0);
}

void IirNarrow(const double* frames, float* left, float* right, std::size_t uCount) noexcept {
    HWY_DYNAMIC_DISPATCH(NarrowFloat)(frames, left, right, uCount);
}

void IirNarrow(const double* frames, double* left, double* right, std::size_t uCount) noexcept {
    HWY_DYNAMIC_DISPATCH(NarrowDouble)(frames, left, right, uCount);
}

void IirRun(const IirStage* stages, std::size_t uStages, IirFrames& frames, std::size_t uCount) noexcept {
    HWY_DYNAMIC_DISPATCH(RunStages)(stages, uStages, frames.samples, uCount);
}

void IirRunRows(const IirRowStages* rows, std::size_t uRows, const IirFrames& frames,
                std::size_t uCount) noexcept {
    HWY_DYNAMIC_DISPATCH(RunAllRows)(rows, uRows, frames.samples, uCount);
}

}  // namespace DSP
#endif  // HWY_ONCE
