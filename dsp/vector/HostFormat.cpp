#include "dsp/vector/HostFormat.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "dsp/vector/Elementwise.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/HostFormat.cpp"
#include <hwy/foreach_target.h>
// foreach_target.h comes first: what follows is compiled again for each level.
#include <hwy/highway.h>

#include "dsp/vector/Lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

constexpr float kScale8 = 128.0f;
constexpr float kScale16 = 32768.0f;
constexpr float kScale24 = 8388608.0f;
constexpr float kScale32 = 2147483648.0f;

// ---- integers to floats: a factor that is a power of two, so only 32 bits round, in ConvertTo.

struct FromUnsigned8Op {
    const std::uint8_t* source;
    float* destination;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const hn::RebindToSigned<D> dInt;
        const hn::Rebind<std::uint8_t, D> dByte;
        const auto x = hn::Sub(hn::PromoteTo(dInt, hn::LoadU(dByte, source + i)), hn::Set(dInt, 128));
        hn::StoreU(hn::Mul(hn::ConvertTo(d, x), hn::Set(d, 1.0f / kScale8)), d, destination + i);
    }
};

struct FromSigned16Op {
    const std::int16_t* source;
    float* destination;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const hn::RebindToSigned<D> dInt;
        const hn::Rebind<std::int16_t, D> dShort;
        const auto x = hn::PromoteTo(dInt, hn::LoadU(dShort, source + i));
        hn::StoreU(hn::Mul(hn::ConvertTo(d, x), hn::Set(d, 1.0f / kScale16)), d, destination + i);
    }
};

struct FromSigned32Op {
    const std::int32_t* source;
    float* destination;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const hn::RebindToSigned<D> dInt;
        const auto x = hn::LoadU(dInt, source + i);
        hn::StoreU(hn::Mul(hn::ConvertTo(d, x), hn::Set(d, 1.0f / kScale32)), d, destination + i);
    }
};

// ---- floats to integers

// A float of full scale 1 as an integer of full scale fScale: halves away from zero, saturated, 0 for a NaN.
template <class D>
HWY_INLINE hn::Vec<hn::RebindToSigned<D>> ToInteger(D d, hn::Vec<D> x, float fScale) {
    const hn::RebindToSigned<D> dInt;
    const auto scale = hn::Set(d, fScale);
    const auto scaled = hn::Mul(x, scale);
    // The comparisons are false for a NaN, and the last selection takes it to 0.
    const auto above = hn::Ge(scaled, scale);
    const auto atLeast = hn::IfThenElse(hn::Gt(scaled, hn::Neg(scale)), scaled, hn::Neg(scale));
    const auto inRange = hn::IfThenElse(above, hn::Zero(d), hn::IfThenElseZero(hn::Eq(x, x), atLeast));
    // The cut-off fraction is exact, so a half is seen as a half. A float of 2^23 or more has no fraction.
    const auto whole = hn::ConvertTo(dInt, inRange);
    const auto fraction = hn::Sub(inRange, hn::ConvertTo(d, whole));
    const auto half = hn::Set(d, 0.5f);
    const auto up = hn::RebindMask(dInt, hn::Ge(fraction, half));
    const auto down = hn::RebindMask(dInt, hn::Le(fraction, hn::Neg(half)));
    const auto one = hn::Set(dInt, 1);
    const auto rounded = hn::Sub(hn::Add(whole, hn::IfThenElseZero(up, one)), hn::IfThenElseZero(down, one));
    // Rounding up may also have reached the full scale, one above the greatest integer.
    const auto greatest = hn::Set(dInt, static_cast<std::int32_t>(static_cast<std::int64_t>(fScale) - 1));
    return hn::IfThenElse(hn::RebindMask(dInt, above), greatest, hn::Min(rounded, greatest));
}

struct ToUnsigned8Op {
    const float* source;
    std::uint8_t* destination;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const hn::RebindToSigned<D> dInt;
        const hn::Rebind<std::uint8_t, D> dByte;
        const auto x = hn::Add(ToInteger(d, hn::LoadU(d, source + i), kScale8), hn::Set(dInt, 128));
        hn::StoreU(hn::DemoteTo(dByte, x), dByte, destination + i);
    }
};

struct ToSigned16Op {
    const float* source;
    std::int16_t* destination;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const hn::Rebind<std::int16_t, D> dShort;
        const auto x = ToInteger(d, hn::LoadU(d, source + i), kScale16);
        hn::StoreU(hn::DemoteTo(dShort, x), dShort, destination + i);
    }
};

// 24 and 32 bits.
struct ToSigned32Op {
    const float* source;
    std::int32_t* destination;
    float fScale;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const hn::RebindToSigned<D> dInt;
        hn::StoreU(ToInteger(d, hn::LoadU(d, source + i), fScale), dInt, destination + i);
    }
};

void FromUnsigned8(const std::uint8_t* source, float* destination, std::size_t uLength) {
    ForEachVector<float>(uLength, FromUnsigned8Op{source, destination});
}

void FromSigned16(const std::int16_t* source, float* destination, std::size_t uLength) {
    ForEachVector<float>(uLength, FromSigned16Op{source, destination});
}

void FromSigned32(const std::int32_t* source, float* destination, std::size_t uLength) {
    ForEachVector<float>(uLength, FromSigned32Op{source, destination});
}

void ToUnsigned8(const float* source, std::uint8_t* destination, std::size_t uLength) {
    ForEachVector<float>(uLength, ToUnsigned8Op{source, destination});
}

void ToSigned16(const float* source, std::int16_t* destination, std::size_t uLength) {
    ForEachVector<float>(uLength, ToSigned16Op{source, destination});
}

void ToSigned24(const float* source, std::int32_t* destination, std::size_t uLength) {
    ForEachVector<float>(uLength, ToSigned32Op{source, destination, kScale24});
}

void ToSigned32(const float* source, std::int32_t* destination, std::size_t uLength) {
    ForEachVector<float>(uLength, ToSigned32Op{source, destination, kScale32});
}

// ---- two channels

void Split(const float* frames, float* left, float* right, std::size_t uFrames) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<float> d;
    for (; i + hn::Lanes(d) <= uFrames; i += hn::Lanes(d)) {
        hn::Vec<decltype(d)> l, r;
        hn::LoadInterleaved2(d, frames + 2 * i, l, r);
        hn::StoreU(l, d, left + i);
        hn::StoreU(r, d, right + i);
    }
#endif
    for (; i < uFrames; ++i) {
        left[i] = frames[2 * i];
        right[i] = frames[2 * i + 1];
    }
}

void Merge(const float* left, const float* right, float* frames, std::size_t uFrames) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<float> d;
    for (; i + hn::Lanes(d) <= uFrames; i += hn::Lanes(d)) {
        hn::StoreInterleaved2(hn::LoadU(d, left + i), hn::LoadU(d, right + i), d, frames + 2 * i);
    }
#endif
    for (; i < uFrames; ++i) {
        frames[2 * i] = left[i];
        frames[2 * i + 1] = right[i];
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(FromUnsigned8);
HWY_EXPORT(FromSigned16);
HWY_EXPORT(FromSigned32);
HWY_EXPORT(ToUnsigned8);
HWY_EXPORT(ToSigned16);
HWY_EXPORT(ToSigned24);
HWY_EXPORT(ToSigned32);
HWY_EXPORT(Split);
HWY_EXPORT(Merge);

namespace {

// Samples that go through one piece of scratch on the stack: few enough to stay in the first-level cache,
// and an even number, so that a piece holds whole frames.
constexpr std::int32_t kPiece = 512;

/// One host format: its storage type and the conversion of a run of samples, channels not regarded.
template <HostSample kSample>
struct Format;

template <>
struct Format<HostSample::Unsigned8> {
    using Storage = std::uint8_t;
    static constexpr std::size_t kUnits = 1;
    static void ToFloat(const Storage* host, float* samples, std::size_t uLength) {
        HWY_DYNAMIC_DISPATCH(FromUnsigned8)(host, samples, uLength);
    }
    static void FromFloat(const float* samples, Storage* host, std::size_t uLength) {
        HWY_DYNAMIC_DISPATCH(ToUnsigned8)(samples, host, uLength);
    }
};

template <>
struct Format<HostSample::Signed16> {
    using Storage = std::int16_t;
    static constexpr std::size_t kUnits = 1;
    static void ToFloat(const Storage* host, float* samples, std::size_t uLength) {
        HWY_DYNAMIC_DISPATCH(FromSigned16)(host, samples, uLength);
    }
    static void FromFloat(const float* samples, Storage* host, std::size_t uLength) {
        HWY_DYNAMIC_DISPATCH(ToSigned16)(samples, host, uLength);
    }
};

template <>
struct Format<HostSample::Signed24> {
    using Storage = std::uint8_t;
    static constexpr std::size_t kUnits = 3;
    // The three bytes go to the top of 32 bits, which brings the sign and the full scale with it; the
    // conversion of such a number is exact.
    static void ToFloat(const Storage* host, float* samples, std::size_t uLength) {
        std::int32_t words[kPiece];
        for (std::size_t i = 0; i < uLength; ++i) {
            const std::uint32_t uWord = static_cast<std::uint32_t>(host[3 * i]) << 8 |
                                        static_cast<std::uint32_t>(host[3 * i + 1]) << 16 |
                                        static_cast<std::uint32_t>(host[3 * i + 2]) << 24;
            words[i] = static_cast<std::int32_t>(uWord);
        }
        HWY_DYNAMIC_DISPATCH(FromSigned32)(words, samples, uLength);
    }
    static void FromFloat(const float* samples, Storage* host, std::size_t uLength) {
        std::int32_t words[kPiece];
        HWY_DYNAMIC_DISPATCH(ToSigned24)(samples, words, uLength);
        for (std::size_t i = 0; i < uLength; ++i) {
            const std::uint32_t uWord = static_cast<std::uint32_t>(words[i]);
            host[3 * i] = static_cast<std::uint8_t>(uWord);
            host[3 * i + 1] = static_cast<std::uint8_t>(uWord >> 8);
            host[3 * i + 2] = static_cast<std::uint8_t>(uWord >> 16);
        }
    }
};

template <>
struct Format<HostSample::Signed32> {
    using Storage = std::int32_t;
    static constexpr std::size_t kUnits = 1;
    static void ToFloat(const Storage* host, float* samples, std::size_t uLength) {
        HWY_DYNAMIC_DISPATCH(FromSigned32)(host, samples, uLength);
    }
    static void FromFloat(const float* samples, Storage* host, std::size_t uLength) {
        HWY_DYNAMIC_DISPATCH(ToSigned32)(samples, host, uLength);
    }
};

template <>
struct Format<HostSample::Float32> {
    using Storage = float;
    static constexpr std::size_t kUnits = 1;
    static void ToFloat(const Storage* host, float* samples, std::size_t uLength) {
        std::memcpy(samples, host, uLength * sizeof(float));
    }
    static void FromFloat(const float* samples, Storage* host, std::size_t uLength) {
        std::memcpy(host, samples, uLength * sizeof(float));
    }
};

template <>
struct Format<HostSample::Float64> {
    using Storage = double;
    static constexpr std::size_t kUnits = 1;
    static void ToFloat(const Storage* host, float* samples, std::size_t uLength) {
        VectorConvert(host, samples, static_cast<std::int32_t>(uLength));
    }
    static void FromFloat(const float* samples, Storage* host, std::size_t uLength) {
        VectorConvert(samples, host, static_cast<std::int32_t>(uLength));
    }
};

std::size_t Size(std::int32_t nLength) {
    return static_cast<std::size_t>(nLength);
}

template <HostSample kSample>
VectorStatus DeinterleaveMono(std::int32_t nFrames, const void* host, float* left,
                              float* /*right*/) noexcept {
    using F = Format<kSample>;
    const VectorStatus status = CheckVectorArguments(nFrames, {host, left});
    if (status != kVectorOk) return status;
    const auto* in = static_cast<const typename F::Storage*>(host);
    for (std::int32_t i = 0; i < nFrames; i += kPiece) {
        F::ToFloat(in + Size(i) * F::kUnits, left + i, Size(std::min(kPiece, nFrames - i)));
    }
    return kVectorOk;
}

template <HostSample kSample>
VectorStatus DeinterleaveStereo(std::int32_t nFrames, const void* host, float* left, float* right) noexcept {
    using F = Format<kSample>;
    const VectorStatus status = CheckVectorArguments(nFrames, {host, left, right});
    if (status != kVectorOk) return status;
    const auto* in = static_cast<const typename F::Storage*>(host);
    if constexpr (kSample == HostSample::Float32) {
        HWY_DYNAMIC_DISPATCH(Split)(in, left, right, Size(nFrames));
    } else {
        float samples[kPiece];
        for (std::int32_t i = 0; i < nFrames; i += kPiece / 2) {
            const std::size_t uFrames = Size(std::min(kPiece / 2, nFrames - i));
            F::ToFloat(in + 2 * Size(i) * F::kUnits, samples, 2 * uFrames);
            HWY_DYNAMIC_DISPATCH(Split)(samples, left + i, right + i, uFrames);
        }
    }
    return kVectorOk;
}

template <HostSample kSample>
VectorStatus InterleaveMono(std::int32_t nFrames, const float* left, const float* /*right*/,
                            void* host) noexcept {
    using F = Format<kSample>;
    const VectorStatus status = CheckVectorArguments(nFrames, {left, host});
    if (status != kVectorOk) return status;
    auto* out = static_cast<typename F::Storage*>(host);
    for (std::int32_t i = 0; i < nFrames; i += kPiece) {
        F::FromFloat(left + i, out + Size(i) * F::kUnits, Size(std::min(kPiece, nFrames - i)));
    }
    return kVectorOk;
}

template <HostSample kSample>
VectorStatus InterleaveStereo(std::int32_t nFrames, const float* left, const float* right,
                              void* host) noexcept {
    using F = Format<kSample>;
    const VectorStatus status = CheckVectorArguments(nFrames, {left, right, host});
    if (status != kVectorOk) return status;
    auto* out = static_cast<typename F::Storage*>(host);
    if constexpr (kSample == HostSample::Float32) {
        HWY_DYNAMIC_DISPATCH(Merge)(left, right, out, Size(nFrames));
    } else {
        float samples[kPiece];
        for (std::int32_t i = 0; i < nFrames; i += kPiece / 2) {
            const std::size_t uFrames = Size(std::min(kPiece / 2, nFrames - i));
            HWY_DYNAMIC_DISPATCH(Merge)(left + i, right + i, samples, uFrames);
            F::FromFloat(samples, out + 2 * Size(i) * F::kUnits, 2 * uFrames);
        }
    }
    return kVectorOk;
}

template <HostSample kSample>
VectorStatus InterleaveMonoTwice(std::int32_t nFrames, const float* left, const float* /*right*/,
                                 void* host) noexcept {
    return InterleaveStereo<kSample>(nFrames, left, left, host);
}

template <HostSample kSample>
HostConversion Choose(bool bStereoIn, bool bStereoOut) {
    HostConversion conversion;
    conversion.deinterleave = bStereoIn ? &DeinterleaveStereo<kSample> : &DeinterleaveMono<kSample>;
    if (!bStereoOut) {
        conversion.interleave = &InterleaveMono<kSample>;
    } else {
        conversion.interleave = bStereoIn ? &InterleaveStereo<kSample> : &InterleaveMonoTwice<kSample>;
    }
    return conversion;
}

}  // namespace

std::int32_t BytesPerSample(HostSample sample) noexcept {
    switch (sample) {
        case HostSample::Unsigned8:
            return 1;
        case HostSample::Signed16:
            return 2;
        case HostSample::Signed24:
            return 3;
        case HostSample::Signed32:
        case HostSample::Float32:
            return 4;
        case HostSample::Float64:
            return 8;
    }
    return 0;
}

bool FindHostSample(bool bFloat, std::int32_t nBytesPerSample, HostSample* pSample) noexcept {
    if (pSample == nullptr) return false;
    for (const HostSample sample : {HostSample::Unsigned8, HostSample::Signed16, HostSample::Signed24,
                                    HostSample::Signed32, HostSample::Float32, HostSample::Float64}) {
        const bool bIsFloat = sample == HostSample::Float32 || sample == HostSample::Float64;
        if (bIsFloat == bFloat && BytesPerSample(sample) == nBytesPerSample) {
            *pSample = sample;
            return true;
        }
    }
    return false;
}

HostConversion ChooseConversion(HostSample sample, std::int32_t nInputChannels,
                                std::int32_t nOutputChannels) noexcept {
    if (nInputChannels < 1 || nInputChannels > 2 || nOutputChannels < 1 || nOutputChannels > 2) return {};
    const bool bStereoIn = nInputChannels == 2;
    const bool bStereoOut = nOutputChannels == 2;
    switch (sample) {
        case HostSample::Unsigned8:
            return Choose<HostSample::Unsigned8>(bStereoIn, bStereoOut);
        case HostSample::Signed16:
            return Choose<HostSample::Signed16>(bStereoIn, bStereoOut);
        case HostSample::Signed24:
            return Choose<HostSample::Signed24>(bStereoIn, bStereoOut);
        case HostSample::Signed32:
            return Choose<HostSample::Signed32>(bStereoIn, bStereoOut);
        case HostSample::Float32:
            return Choose<HostSample::Float32>(bStereoIn, bStereoOut);
        case HostSample::Float64:
            return Choose<HostSample::Float64>(bStereoIn, bStereoOut);
    }
    return {};
}

}  // namespace DSP
#endif  // HWY_ONCE
