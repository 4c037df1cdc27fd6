#include "dsp/vector/MultiRateFir.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/MultiRateFir.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

template <class D>
HWY_INLINE hn::Vec<D> Products(D d, const float* taps, std::size_t uTaps, const float* newest) {
    auto sum = hn::Mul(hn::Set(d, taps[0]), hn::LoadU(d, newest));
    for (std::size_t j = 1; j < uTaps; ++j) {
        sum = hn::Add(sum, hn::Mul(hn::Set(d, taps[j]), hn::LoadU(d, newest - j)));
    }
    return sum;
}

// destination[i] = sum of taps[j] newest[i - j], neighbours side by side.
void Convolve(const float* taps, std::size_t uTaps, const float* newest, float* destination,
              std::size_t uCount) {
    const hn::CappedTag<float, 16> d;
    const hn::CappedTag<float, 1> single;
    const std::size_t uLanes = hn::Lanes(d);
    std::size_t i = 0;
    // Two sums at a time, so that one need not wait for the other's additions.
    for (; i + 2 * uLanes <= uCount; i += 2 * uLanes) {
        const float* second = newest + uLanes;
        const auto first = hn::Set(d, taps[0]);
        auto sum0 = hn::Mul(first, hn::LoadU(d, newest + i));
        auto sum1 = hn::Mul(first, hn::LoadU(d, second + i));
        for (std::size_t j = 1; j < uTaps; ++j) {
            const auto tap = hn::Set(d, taps[j]);
            sum0 = hn::Add(sum0, hn::Mul(tap, hn::LoadU(d, newest + i - j)));
            sum1 = hn::Add(sum1, hn::Mul(tap, hn::LoadU(d, second + i - j)));
        }
        hn::StoreU(sum0, d, destination + i);
        hn::StoreU(sum1, d, destination + i + uLanes);
    }
    for (; i + uLanes <= uCount; i += uLanes) {
        hn::StoreU(Products(d, taps, uTaps, newest + i), d, destination + i);
    }
    for (; i < uCount; ++i)
        hn::StoreU(Products(single, taps, uTaps, newest + i), single, destination + i);
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(Convolve);

namespace {

// Iterations that share one window.
constexpr int kBlock = 256;

std::size_t Size(int nCount) {
    return static_cast<std::size_t>(nCount);
}

}  // namespace

void MultiRateFir::Configure(const float* taps, int nTaps, int nUp, int nPhase, int nDown) {
    nTaps = std::max(nTaps, 1);
    m_nUp = std::max(nUp, 1);
    m_nDown = std::max(nDown, 1);
    nPhase = std::clamp(nPhase, 0, m_nDown - 1);
    m_taps.clear();
    m_branches.clear();
    m_nHistory = (nTaps - 1) / m_nUp;
    for (int u = 0; u < m_nUp; ++u) {
        const int nPlace = u * m_nDown + nPhase;
        Branch branch;
        branch.uFirstTap = m_taps.size();
        branch.uNewest = Size(m_nHistory + nPlace / m_nUp);
        for (int i = nPlace % m_nUp; i < nTaps; i += m_nUp)
            m_taps.push_back(taps[i]);
        branch.uTaps = m_taps.size() - branch.uFirstTap;
        m_branches.push_back(branch);
    }
    m_history.assign(Size(m_nHistory), 0.0f);
    m_nextHistory.assign(Size(m_nHistory), 0.0f);
    m_window.assign(Size(m_nHistory) + Size(kBlock) * Size(m_nDown), 0.0f);
    m_outputs.assign(Size(kBlock) * Size(m_nUp), 0.0f);
}

void MultiRateFir::Reset() noexcept {
    std::fill(m_history.begin(), m_history.end(), 0.0f);
}

void MultiRateFir::Process(const float* source, float* destination, int nIterations) noexcept {
    if (nIterations < 1 || m_branches.empty()) return;
    // In place the outputs must not run over inputs that are still to be read: where they are more than the
    // inputs, the blocks go from the last to the first.
    const bool bBackwards = m_nUp > m_nDown;
    const int nBlocks = (nIterations + kBlock - 1) / kBlock;
    KeepHistory(source, nIterations);
    for (int i = 0; i < nBlocks; ++i) {
        const int nFirst = (bBackwards ? nBlocks - 1 - i : i) * kBlock;
        const int nCount = std::min(kBlock, nIterations - nFirst);
        if (bBackwards || i == 0) {
            LoadWindow(source, nFirst, nCount);
        } else {
            AdvanceWindow(source, nFirst, nCount);
        }
        float* target = destination + Size(nFirst) * Size(m_nUp);
        for (std::size_t u = 0; u < m_branches.size(); ++u) {
            RunBranch(m_branches[u], m_nUp == 1 ? target : &m_outputs[u * Size(kBlock)], nCount);
        }
        for (int n = 0; n < nCount && m_nUp > 1; ++n) {
            for (std::size_t u = 0; u < m_branches.size(); ++u) {
                *target++ = m_outputs[u * Size(kBlock) + Size(n)];
            }
        }
    }
    m_history.swap(m_nextHistory);
}

void MultiRateFir::ProcessPhases(const float* source, float* const* phases, int nIterations) noexcept {
    if (nIterations < 1) return;
    KeepHistory(source, nIterations);
    for (int nFirst = 0; nFirst < nIterations; nFirst += kBlock) {
        const int nCount = std::min(kBlock, nIterations - nFirst);
        LoadWindow(source, nFirst, nCount);
        for (std::size_t u = 0; u < m_branches.size(); ++u) {
            RunBranch(m_branches[u], phases[u] + nFirst, nCount);
        }
    }
    m_history.swap(m_nextHistory);
}

void MultiRateFir::KeepHistory(const float* source, int nIterations) noexcept {
    const std::size_t uRead = Size(nIterations) * Size(m_nDown);
    const std::size_t uNew = std::min(uRead, m_history.size());
    const auto old = std::copy(m_history.begin() + static_cast<std::ptrdiff_t>(uNew), m_history.end(),
                               m_nextHistory.begin());
    std::copy_n(source + (uRead - uNew), uNew, old);
}

void MultiRateFir::LoadWindow(const float* source, int nFirst, int nCount) noexcept {
    const std::size_t uBegin = Size(nFirst) * Size(m_nDown);
    const std::size_t uKept = std::min(uBegin, m_history.size());
    const auto start =
        std::copy(m_history.begin() + static_cast<std::ptrdiff_t>(uKept), m_history.end(), m_window.begin());
    std::copy_n(source + (uBegin - uKept), uKept + Size(nCount) * Size(m_nDown), start);
}

void MultiRateFir::AdvanceWindow(const float* source, int nFirst, int nCount) noexcept {
    // Only a whole block has a successor.
    const std::size_t uBlock = Size(kBlock) * Size(m_nDown);
    const auto start = std::copy_n(m_window.begin() + static_cast<std::ptrdiff_t>(uBlock), m_history.size(),
                                   m_window.begin());
    std::copy_n(source + Size(nFirst) * Size(m_nDown), Size(nCount) * Size(m_nDown), start);
}

void MultiRateFir::RunBranch(const Branch& branch, float* destination, int nCount) const noexcept {
    const float* taps = m_taps.data() + branch.uFirstTap;
    const float* newest = m_window.data() + branch.uNewest;
    if (branch.uTaps == 0) {
        std::fill_n(destination, nCount, 0.0f);
    } else if (m_nDown == 1) {
        HWY_DYNAMIC_DISPATCH(Convolve)(taps, branch.uTaps, newest, destination, Size(nCount));
    } else {
        for (int n = 0; n < nCount; ++n, newest += m_nDown) {
            float sum = taps[0] * newest[0];
            for (std::size_t j = 1; j < branch.uTaps; ++j)
                sum += taps[j] * *(newest - j);
            destination[n] = sum;
        }
    }
}

}  // namespace DSP
#endif  // HWY_ONCE
