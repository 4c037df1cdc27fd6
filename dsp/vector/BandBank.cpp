#include "dsp/vector/BandBank.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/BandBank.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// All bands and both channels stand side by side in the lanes: left and right of band 1, band 2, band 0 and
// band 3. The bands with a second filter are thus the lower four lanes, and the second filter is half as
// wide. In one step the first filter's first section works on frame t, its second section on t - 1, and the
// second filter's sections on t - 2 and t - 3: four chains that do not wait for one another.

#ifndef DSP_BAND_BANK_ROOM
#define DSP_BAND_BANK_ROOM
namespace DSP {

struct BandBankRoom {
    static constexpr std::size_t kFrames = 128;
    static constexpr std::size_t kLanes = BandBank::Lanes::kLanes;
    static constexpr std::size_t kSecondLanes = BandBank::Lanes::kSecondLanes;

    alignas(64) double input[2 * kFrames];             ///< left and right interleaved
    alignas(64) float first[kLanes * kFrames];         ///< behind the first filters and gains, by frame
    alignas(64) float second[kSecondLanes * kFrames];  ///< behind the second filters, by frame
};

}  // namespace DSP
#endif

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
using Lanes = BandBank::Lanes;
using Room = BandBankRoom;

#if HWY_TARGET == HWY_SCALAR

void Widen(const float* left, const float* right, double* frames, std::size_t uCount) {
    for (std::size_t t = 0; t < uCount; ++t) {
        frames[2 * t] = double{left[t]};
        frames[2 * t + 1] = right != nullptr ? double{right[t]} : 0.0;
    }
}

double RunSection(const Lanes::Taps& taps, Lanes::Delays& delays, std::size_t i, double x) {
    const double y = x + delays.s1[i];
    delays.s1[i] = (taps.b1[i] * x + delays.s2[i]) - taps.a1[i] * y;
    delays.s2[i] = x - taps.a2[i] * y;
    return y;
}

void Run(Lanes& lanes, bool bSecond, Room& room, std::size_t uCount) {
    for (std::size_t t = 0; t < uCount; ++t) {
        for (std::size_t i = 0; i < Room::kLanes; ++i) {
            double y = RunSection(lanes.taps[0], lanes.delays[0], i, room.input[2 * t + i % 2]);
            y = RunSection(lanes.taps[0], lanes.delays[1], i, y);
            const float fFirst = static_cast<float>(y) * lanes.gain[i];
            room.first[t * Room::kLanes + i] = fFirst;
            if (!bSecond || i >= Room::kSecondLanes) continue;
            y = RunSection(lanes.taps[1], lanes.delays[2], i, double{fFirst});
            y = RunSection(lanes.taps[1], lanes.delays[3], i, y);
            room.second[t * Room::kSecondLanes + i] = static_cast<float>(y);
        }
    }
}

// Four lanes of each frame, kStride floats apart, into four planar buffers; null ones are left out.
void Planar(const float* rows, std::size_t uStride, float* const* outputs, std::size_t uCount) {
    for (std::size_t i = 0; i < 4; ++i) {
        if (outputs[i] == nullptr) continue;
        for (std::size_t t = 0; t < uCount; ++t)
            outputs[i][t] = rows[t * uStride + i];
    }
}

#else

void Widen(const float* left, const float* right, double* frames, std::size_t uCount) {
    const hn::CappedTag<double, 2> d;
    const hn::Rebind<float, decltype(d)> narrow;
    std::size_t t = 0;
    for (; t + 2 <= uCount; t += 2) {
        const auto l = hn::PromoteTo(d, hn::LoadU(narrow, left + t));
        const auto r = right != nullptr ? hn::PromoteTo(d, hn::LoadU(narrow, right + t)) : hn::Zero(d);
        hn::Store(hn::InterleaveLower(d, l, r), d, frames + 2 * t);
        hn::Store(hn::InterleaveUpper(d, l, r), d, frames + 2 * t + 2);
    }
    if (t == uCount) return;
    frames[2 * t] = double{left[t]};
    frames[2 * t + 1] = right != nullptr ? double{right[t]} : 0.0;
}

// So many vectors as it takes for the lanes of a filter, as one value.
template <class D, std::size_t kVectors>
struct Pack {
    using Narrow = hn::Rebind<float, D>;
    using Rest = Pack<D, kVectors - 1>;
    static constexpr std::size_t kLanes = hn::MaxLanes(D());

    hn::Vec<D> v;
    Rest rest;

    static HWY_INLINE Pack Load(const double* from) {
        return {hn::Load(D(), from), Rest::Load(from + kLanes)};
    }
    // The two channels of one frame for every band.
    static HWY_INLINE Pack Frame(const double* from) {
        return {hn::LoadDup128(D(), from), Rest::Frame(from)};
    }
    static HWY_INLINE Pack Widened(const float* from) {
        return {hn::PromoteTo(D(), hn::LoadU(Narrow(), from)), Rest::Widened(from + kLanes)};
    }
    HWY_INLINE void Store(double* to) const {
        hn::Store(v, D(), to);
        rest.Store(to + kLanes);
    }
    HWY_INLINE void StoreNarrowed(float* to) const {
        hn::StoreU(hn::DemoteTo(Narrow(), v), Narrow(), to);
        rest.StoreNarrowed(to + kLanes);
    }
    HWY_INLINE void StoreNarrowed(float* to, const float* gain) const {
        hn::StoreU(hn::Mul(hn::DemoteTo(Narrow(), v), hn::LoadU(Narrow(), gain)), Narrow(), to);
        rest.StoreNarrowed(to + kLanes, gain + kLanes);
    }
    friend HWY_INLINE Pack operator+(const Pack& a, const Pack& b) {
        return {hn::Add(a.v, b.v), a.rest + b.rest};
    }
    friend HWY_INLINE Pack operator-(const Pack& a, const Pack& b) {
        return {hn::Sub(a.v, b.v), a.rest - b.rest};
    }
    friend HWY_INLINE Pack operator*(const Pack& a, const Pack& b) {
        return {hn::Mul(a.v, b.v), a.rest * b.rest};
    }
};

template <class D>
struct Pack<D, 0> {
    static HWY_INLINE Pack Load(const double*) { return {}; }
    static HWY_INLINE Pack Frame(const double*) { return {}; }
    static HWY_INLINE Pack Widened(const float*) { return {}; }
    HWY_INLINE void Store(double*) const {}
    HWY_INLINE void StoreNarrowed(float*) const {}
    HWY_INLINE void StoreNarrowed(float*, const float*) const {}
    friend HWY_INLINE Pack operator+(const Pack&, const Pack&) { return {}; }
    friend HWY_INLINE Pack operator-(const Pack&, const Pack&) { return {}; }
    friend HWY_INLINE Pack operator*(const Pack&, const Pack&) { return {}; }
};

template <std::size_t kLanes>
using PackOf = Pack<hn::CappedTag<double, kLanes>, kLanes / hn::MaxLanes(hn::CappedTag<double, kLanes>())>;

template <class P>
struct Taps {
    P b1, a1, a2;

    explicit HWY_INLINE Taps(const Lanes::Taps& from)
        : b1(P::Load(from.b1.data())), a1(P::Load(from.a1.data())), a2(P::Load(from.a2.data())) {}
};

template <class P>
struct Section {
    P s1, s2;

    explicit HWY_INLINE Section(const Lanes::Delays& from)
        : s1(P::Load(from.s1.data())), s2(P::Load(from.s2.data())) {}
    HWY_INLINE void Save(Lanes::Delays& to) const {
        s1.Store(to.s1.data());
        s2.Store(to.s2.data());
    }
    HWY_INLINE P Run(const Taps<P>& taps, const P& x) {
        const P y = x + s1;
        s1 = (taps.b1 * x + s2) - taps.a1 * y;
        s2 = x - taps.a2 * y;
        return y;
    }
};

template <bool kSecond>
struct Bank {
    using First = PackOf<Room::kLanes>;
    using Second = PackOf<Room::kSecondLanes>;
    static constexpr std::size_t kLead = kSecond ? 3 : 1;

    const Taps<First> firstTaps;
    const Taps<Second> secondTaps;
    Section<First> first1, first2;
    Section<Second> second1, second2;
    First between1;   // on its way from the first filter's first section to its second
    Second between2;  // the same of the second filter

    explicit HWY_INLINE Bank(const Lanes& lanes)
        : firstTaps(lanes.taps[0]),
          secondTaps(lanes.taps[1]),
          first1(lanes.delays[0]),
          first2(lanes.delays[1]),
          second1(lanes.delays[2]),
          second2(lanes.delays[3]),
          between1(first1.s1),
          between2(second1.s1) {}

    HWY_INLINE void Save(Lanes& lanes) const {
        first1.Save(lanes.delays[0]);
        first2.Save(lanes.delays[1]);
        second1.Save(lanes.delays[2]);
        second2.Save(lanes.delays[3]);
    }

    // The last section first, so that each takes what the one before it left in the last step. At the edges
    // of a block only those sections run whose frame is in it.
    template <bool kEdge>
    HWY_INLINE void Step(Room& room, const float* gain, std::size_t t, std::size_t uCount) {
        const auto runs = [=](std::size_t uLag)
                              HWY_ATTR { return !kEdge || (t >= uLag && t - uLag < uCount); };
        if constexpr (kSecond) {
            if (runs(3)) {
                second2.Run(secondTaps, between2).StoreNarrowed(room.second + (t - 3) * Room::kSecondLanes);
            }
            if (runs(2)) {
                between2 = second1.Run(secondTaps, Second::Widened(room.first + (t - 2) * Room::kLanes));
            }
        }
        if (runs(1)) {
            first2.Run(firstTaps, between1).StoreNarrowed(room.first + (t - 1) * Room::kLanes, gain);
        }
        if (runs(0)) between1 = first1.Run(firstTaps, First::Frame(room.input + 2 * t));
    }
};

template <bool kSecond>
HWY_NOINLINE void RunBank(Lanes& lanes, Room& room, std::size_t uCount) {
    using B = Bank<kSecond>;
    B bank(lanes);
    const float* const gain = lanes.gain.data();
    std::size_t t = 0;
    for (; t < B::kLead; ++t)
        bank.template Step<true>(room, gain, t, uCount);
    for (; t < uCount; ++t)
        bank.template Step<false>(room, gain, t, uCount);
    for (; t < uCount + B::kLead; ++t)
        bank.template Step<true>(room, gain, t, uCount);
    bank.Save(lanes);
}

void Run(Lanes& lanes, bool bSecond, Room& room, std::size_t uCount) {
    if (bSecond) return RunBank<true>(lanes, room, uCount);
    RunBank<false>(lanes, room, uCount);
}

// Four lanes of each frame, uStride floats apart, into four planar buffers; null ones are left out.
void Planar(const float* rows, std::size_t uStride, float* const* outputs, std::size_t uCount) {
    const hn::CappedTag<float, 4> d;
    const hn::RepartitionToWide<decltype(d)> pairs;
    std::size_t t = 0;
    for (; t + 4 <= uCount; t += 4) {
        const auto r0 = hn::LoadU(d, rows + t * uStride);
        const auto r1 = hn::LoadU(d, rows + (t + 1) * uStride);
        const auto r2 = hn::LoadU(d, rows + (t + 2) * uStride);
        const auto r3 = hn::LoadU(d, rows + (t + 3) * uStride);
        const auto low01 = hn::BitCast(pairs, hn::InterleaveLower(d, r0, r1));
        const auto low23 = hn::BitCast(pairs, hn::InterleaveLower(d, r2, r3));
        const auto high01 = hn::BitCast(pairs, hn::InterleaveUpper(d, r0, r1));
        const auto high23 = hn::BitCast(pairs, hn::InterleaveUpper(d, r2, r3));
        const auto store = [&](auto quad, std::size_t i) HWY_ATTR {
            if (outputs[i] != nullptr) hn::StoreU(hn::BitCast(d, quad), d, outputs[i] + t);
        };
        store(hn::InterleaveLower(pairs, low01, low23), 0);
        store(hn::InterleaveUpper(pairs, low01, low23), 1);
        store(hn::InterleaveLower(pairs, high01, high23), 2);
        store(hn::InterleaveUpper(pairs, high01, high23), 3);
    }
    for (; t < uCount; ++t) {
        for (std::size_t i = 0; i < 4; ++i) {
            if (outputs[i] != nullptr) outputs[i][t] = rows[t * uStride + i];
        }
    }
}

#endif  // HWY_TARGET

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(Widen);
HWY_EXPORT(Run);
HWY_EXPORT(Planar);

namespace {

// Left and right of band 1, band 2, band 0, band 3.
constexpr std::array<std::size_t, BandBank::kBands> kLaneOfBand = {4, 0, 2, 6};

// Four outputs of the kernel, left and right of two bands, of which only the wanted ones are not null.
struct Outputs {
    std::array<float*, 4> pointers{};
    bool bAny = false;

    void Want(std::size_t uLane, float* left, float* right) {
        pointers[uLane] = left;
        pointers[uLane + 1] = right;
        bAny = true;
    }
    void Write(const float* rows, std::size_t uStride, std::size_t uCount) const {
        if (bAny) HWY_DYNAMIC_DISPATCH(Planar)(rows, uStride, pointers.data(), uCount);
    }
};

bool IsFiniteNumber(double fValue) {
    std::uint64_t uBits;
    std::memcpy(&uBits, &fValue, sizeof uBits);
    constexpr std::uint64_t kExponent = 0x7FF0000000000000u;
    return (uBits & kExponent) != kExponent;
}

}  // namespace

void BandBank::Clear() noexcept {
    m_bBand.fill(false);
    m_bSecond.fill(false);
    m_lanes = Lanes{};
}

void BandBank::SetBand(int iBand, const Biquad& first, const Biquad* second, float fGain) noexcept {
    const auto uBand = static_cast<std::size_t>(iBand);
    if (uBand != 1 && uBand != 2) second = nullptr;
    m_bBand[uBand] = true;
    m_bSecond[uBand] = second != nullptr;
    for (std::size_t i = kLaneOfBand[uBand]; i < kLaneOfBand[uBand] + 2; ++i) {
        const auto take = [i](Lanes::Taps& taps, const Biquad& from) {
            taps.b1[i] = from.b1;
            taps.a1[i] = from.a1;
            taps.a2[i] = from.a2;
        };
        take(m_lanes.taps[0], first);
        take(m_lanes.taps[1], second != nullptr ? *second : Biquad{});
        m_lanes.gain[i] = fGain;
        for (Lanes::Delays& delays : m_lanes.delays)
            delays.s1[i] = delays.s2[i] = 0.0;
    }
}

void BandBank::Reset() noexcept {
    m_lanes.delays.fill(Lanes::Delays{});
}

bool BandBank::IsFinite() const noexcept {
    // y is then no finite number either, and both end in the second delay.
    bool bFinite = true;
    for (const Lanes::Delays& delays : m_lanes.delays) {
        for (const double fDelay : delays.s2)
            bFinite &= IsFiniteNumber(fDelay);
    }
    return bFinite;
}

void BandBank::Process(const float* left, const float* right, float* const* leftBands,
                       float* const* rightBands, int nFrames) noexcept {
    const bool bSecond = m_bSecond[1] || m_bSecond[2];
    std::array<Lanes::Delays, 4> before;
    if (!right) before = m_lanes.delays;
    BandBankRoom room;
    for (int nDone = 0; nDone < nFrames;) {
        const auto uCount = std::min(static_cast<std::size_t>(nFrames - nDone), BandBankRoom::kFrames);
        HWY_DYNAMIC_DISPATCH(Widen)(left + nDone, right ? right + nDone : nullptr, room.input, uCount);
        HWY_DYNAMIC_DISPATCH(Run)(m_lanes, bSecond, room, uCount);

        Outputs middle, outer, filteredTwice;
        for (std::size_t iBand = 0; iBand < kBands; ++iBand) {
            if (!m_bBand[iBand]) continue;
            const std::size_t uLane = kLaneOfBand[iBand];
            float* const rightBand = right ? rightBands[iBand] + nDone : nullptr;
            Outputs& outputs = m_bSecond[iBand] ? filteredTwice : uLane < 4 ? middle : outer;
            outputs.Want(uLane % 4, leftBands[iBand] + nDone, rightBand);
        }
        middle.Write(room.first, BandBankRoom::kLanes, uCount);
        outer.Write(room.first + 4, BandBankRoom::kLanes, uCount);
        filteredTwice.Write(room.second, BandBankRoom::kSecondLanes, uCount);
        nDone += static_cast<int>(uCount);
    }
    if (right) return;
    for (std::size_t uSection = 0; uSection < before.size(); ++uSection) {
        for (std::size_t i = 1; i < Lanes::kLanes; i += 2) {
            m_lanes.delays[uSection].s1[i] = before[uSection].s1[i];
            m_lanes.delays[uSection].s2[i] = before[uSection].s2[i];
        }
    }
}

}  // namespace DSP
#endif  // HWY_ONCE
