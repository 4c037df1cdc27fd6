#include "dsp/vector/Fft.h"

#include <algorithm>
#include <memory>

#include "dsp/vector/FftComplex.h"
#include "dsp/vector/FftSpectra.h"
#include "dsp/vector/FftTables.h"

namespace DSP {

namespace {

// Keeps the two arrays of a spectrum out of each other's cache sets.
constexpr std::size_t kGap = 32;

}  // namespace

RealFft::RealFft() : RealFft(kMinOrder) {}

RealFft::RealFft(int nOrder, FftScaling scaling)
    : m_tables(FftTables::Shared(std::clamp(nOrder, kMinOrder, kMaxOrder) - 1)) {
    if (scaling == FftScaling::kInverseByLength) m_fInverseScale = 1.0f / static_cast<float>(Length());
}

int RealFft::Order() const noexcept {
    return m_tables->Order() + 1;
}

std::size_t RealFft::WorkLength() const noexcept {
    return 2 * Length() + kGap;
}

void RealFft::Forward(const float* source, float* spectrum, float* work) const noexcept {
    const std::size_t uPoints = m_tables->Points();
    float* re = work + 2 * uPoints;
    float* im = re + uPoints + kGap;
    FftComplex(*m_tables, {source, nullptr, FftTables::kRow, true}, {re, im}, 1.0f, work);
    SeparateHalves(*m_tables, re, im, spectrum);
}

void RealFft::Inverse(const float* spectrum, float* destination, float* work) const noexcept {
    const std::size_t uPoints = m_tables->Points();
    float* re = work + 2 * uPoints;
    float* im = re + uPoints + kGap;
    JoinHalves(*m_tables, spectrum, re, im);
    FftComplex(*m_tables, {im, re}, {destination, nullptr, FftTables::kRow, true}, m_fInverseScale, work);
}

struct FftState {
    RealFft fft;
};

VectorStatus VectorFftInit(FftState** state, int nOrder, FftScaling scaling, std::size_t* pWorkLength) {
    if (state == nullptr) return kVectorNullPointer;
    if (nOrder < RealFft::kMinOrder || nOrder > RealFft::kMaxOrder) return kVectorBadLength;
    auto built = std::make_unique<FftState>(FftState{RealFft(nOrder, scaling)});
    if (pWorkLength != nullptr) *pWorkLength = built->fft.WorkLength();
    *state = built.release();
    return kVectorOk;
}

VectorStatus VectorFftForward(const float* source, float* spectrum, const FftState* state,
                              float* work) noexcept {
    if (source == nullptr || spectrum == nullptr || state == nullptr || work == nullptr) {
        return kVectorNullPointer;
    }
    state->fft.Forward(source, spectrum, work);
    return kVectorOk;
}

VectorStatus VectorFftInverse(const float* spectrum, float* destination, const FftState* state,
                              float* work) noexcept {
    if (spectrum == nullptr || destination == nullptr || state == nullptr || work == nullptr) {
        return kVectorNullPointer;
    }
    state->fft.Inverse(spectrum, destination, work);
    return kVectorOk;
}

VectorStatus VectorFftFree(FftState* state) noexcept {
    if (state == nullptr) return kVectorNullPointer;
    delete state;
    return kVectorOk;
}

}  // namespace DSP
