#include "dsp/vector/RightAngleFft.h"

#include <algorithm>
#include <numbers>

#include "dsp/vector/Elementary.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/RightAngleFft.cpp"
#include <hwy/foreach_target.h>
// foreach_target.h comes first: what follows is compiled again for each level.
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// Lengths are powers of two from sixteen on, so that whole vectors of up to sixteen lanes fit.
using Lanes = hn::CappedTag<float, 16>;

void Turn(const float* samples, const float* turn, std::size_t uLength, float* re, float* im) {
    const Lanes d;
    for (std::size_t i = 0; i < uLength; i += hn::Lanes(d)) {
        const auto x = hn::LoadU(d, samples + i);
        hn::StoreU(hn::Mul(x, hn::LoadU(d, turn + i)), d, re + i);
        hn::StoreU(hn::Mul(x, hn::LoadU(d, turn + uLength + i)), d, im + i);
    }
}

void TurnBackLow(const float* re, const float* im, const float* turn, std::size_t uLength, float* low) {
    const Lanes d;
    for (std::size_t i = 0; i < uLength; i += hn::Lanes(d)) {
        const auto straight = hn::Mul(hn::LoadU(d, re + i), hn::LoadU(d, turn + i));
        const auto crossed = hn::Mul(hn::LoadU(d, im + i), hn::LoadU(d, turn + uLength + i));
        hn::StoreU(hn::Add(hn::LoadU(d, low + i), hn::Add(straight, crossed)), d, low + i);
    }
}

void TurnBackHigh(const float* re, const float* im, const float* turn, std::size_t uLength, float* high) {
    const Lanes d;
    for (std::size_t i = 0; i < uLength; i += hn::Lanes(d)) {
        const auto straight = hn::Mul(hn::LoadU(d, im + i), hn::LoadU(d, turn + i));
        const auto crossed = hn::Mul(hn::LoadU(d, re + i), hn::LoadU(d, turn + uLength + i));
        hn::StoreU(hn::Add(hn::LoadU(d, high + i), hn::Sub(straight, crossed)), d, high + i);
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(Turn);
HWY_EXPORT(TurnBackLow);
HWY_EXPORT(TurnBackHigh);

namespace {

// Keeps the real and the imaginary parts, a power of two long, out of each other's cache sets.
constexpr std::size_t kGap = 32;

}  // namespace

RightAngleFft::RightAngleFft(int nOrder)
    : m_fft(std::clamp(nOrder, kMinOrder, kMaxOrder)), m_turn(2 * m_fft.Length()) {
    const std::size_t uLength = Length();
    for (std::size_t i = 0; i < uLength; ++i) {
        const double fAngle =
            std::numbers::pi * static_cast<double>(i) / (2.0 * static_cast<double>(uLength));
        m_turn[i] = static_cast<float>(Cos(fAngle));
        m_turn[uLength + i] = static_cast<float>(Sin(fAngle));
    }
}

std::size_t RightAngleFft::WorkLength() const noexcept {
    return 2 * Length() + kGap + m_fft.WorkLength();
}

void RightAngleFft::Forward(const float* samples, float* spectrum, float* work) const noexcept {
    float* re = work + m_fft.WorkLength();
    float* im = re + Length() + kGap;
    HWY_DYNAMIC_DISPATCH(Turn)(samples, m_turn.data(), Length(), re, im);
    m_fft.ForwardTiles(re, im, spectrum, work);
}

void RightAngleFft::InverseAdd(const float* spectrum, float* low, float* high, float* work) const noexcept {
    float* re = work + m_fft.WorkLength();
    float* im = re + Length() + kGap;
    m_fft.InverseTiles(spectrum, re, im, work);
    if (low != nullptr) HWY_DYNAMIC_DISPATCH(TurnBackLow)(re, im, m_turn.data(), Length(), low);
    if (high != nullptr) HWY_DYNAMIC_DISPATCH(TurnBackHigh)(re, im, m_turn.data(), Length(), high);
}

}  // namespace DSP
#endif  // HWY_ONCE
