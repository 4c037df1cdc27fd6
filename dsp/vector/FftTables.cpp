#include "dsp/vector/FftTables.h"

#include <array>
#include <mutex>
#include <utility>

#include "dsp/vector/Elementary.h"

namespace DSP {

namespace {

constexpr double kPi = 3.14159265358979323846;

struct Turn {
    double c = 1.0;
    double s = 0.0;
};

// exp(-2 pi i k / n). Folded into the first eighth of the circle, so that factors which are equal, opposite
// or mirrored in the maths are so to the bit.
Turn Factor(std::uint64_t k, std::uint64_t n) {
    k %= n;
    const bool bLowerHalf = 2 * k > n;
    if (bLowerHalf) k = n - k;
    const bool bLeft = 4 * k > n;
    // In units of 1 / (2 n) of a turn, since a quarter or a half of n need not be whole.
    std::uint64_t u = 2 * k;
    if (bLeft) u = n - u;
    const bool bSteep = 4 * u > n;
    if (bSteep) u = n - 2 * u;
    const double fUnits = static_cast<double>(bSteep ? 2 * n : n);
    const double fAngle = kPi * static_cast<double>(u) / fUnits;
    Turn turn{Cos(fAngle), Sin(fAngle)};
    if (bSteep) std::swap(turn.c, turn.s);
    return {bLeft ? -turn.c : turn.c, bLowerHalf ? turn.s : -turn.s};
}

void AppendInterleaved(AlignedVector<float>& factors, const Turn& turn) {
    factors.push_back(static_cast<float>(turn.c));
    factors.push_back(static_cast<float>(turn.s));
}

// The radix of the first pass over blocks of this many rows: as few passes as 8 and 4 allow, with the eights
// first and a four at the end. Eight rows alone are one pass.
int RadixFor(std::size_t uRows) {
    int nOrder = 0;
    while ((std::size_t{1} << nOrder) < uRows)
        ++nOrder;
    const int nBeforeLast = nOrder - 2;
    return uRows == 8 || nBeforeLast == 3 || nBeforeLast > 4 ? 8 : 4;
}

std::mutex s_sharedMutex;
std::array<std::weak_ptr<const FftTables>, FftTables::kMaxOrder + 1> s_shared;

}  // namespace

std::shared_ptr<const FftTables> FftTables::Shared(int nOrder) {
    const std::lock_guard lock(s_sharedMutex);
    auto& slot = s_shared[static_cast<std::size_t>(nOrder)];
    auto tables = slot.lock();
    if (!tables) {
        tables = std::make_shared<const FftTables>(nOrder);
        slot = tables;
    }
    return tables;
}

FftTables::FftTables(int nOrder) : m_nOrder(nOrder) {
    const std::size_t uPoints = Points();
    for (std::size_t k = 0; k <= uPoints / 2; ++k) {
        const Turn turn = Factor(k, 2 * uPoints);
        m_halfRe.push_back(static_cast<float>(turn.c));
        m_halfIm.push_back(static_cast<float>(turn.s));
    }
    for (std::size_t k = 0; k < uPoints / 2 && uPoints < kSmallest; ++k) {
        AppendInterleaved(m_smallFactors, Factor(k, uPoints));
    }
    if (uPoints >= kSmallest) {
        BuildPasses();
        BuildTurn();
    }
}

void FftTables::BuildPasses() {
    const std::size_t uRows = Points() / kRow;
    for (std::size_t uBlock = uRows; uBlock > 1;) {
        Pass pass{RadixFor(uBlock), uBlock, {}};
        const auto uRadix = static_cast<std::size_t>(pass.nRadix);
        const std::size_t uDistance = uBlock / uRadix;
        for (std::size_t j = 0; uDistance > 1 && j < uDistance; ++j) {
            for (std::size_t s = 1; s < uRadix; ++s)
                AppendInterleaved(pass.factors, Factor(j * s, uBlock));
        }
        m_passes.push_back(std::move(pass));
        uBlock = uDistance;
    }
    for (std::size_t k = 0; k < uRows; ++k) {
        std::size_t uRow = 0;
        std::size_t uRest = k;
        for (const Pass& pass : m_passes) {
            const auto uRadix = static_cast<std::size_t>(pass.nRadix);
            uRow += uRest % uRadix * (pass.uRows / uRadix);
            uRest /= uRadix;
        }
        m_rowOf.push_back(static_cast<std::uint32_t>(uRow));
    }
}

void FftTables::BuildTurn() {
    const std::size_t uRows = Rows();
    const std::size_t uGroup = uRows < kRow ? uRows : kRow;
    m_turnFactors.resize(uRows * (kRow - 1) * 2);
    float* factors = m_turnFactors.data();
    for (std::size_t uFirst = 0; uFirst < uRows; uFirst += uGroup) {
        for (std::size_t l = 1; l < kRow; ++l, factors += 2 * uGroup) {
            for (std::size_t i = 0; i < uGroup; ++i) {
                const Turn turn = Factor(l * (uFirst + i), Points());
                factors[i] = static_cast<float>(turn.c);
                factors[uGroup + i] = static_cast<float>(turn.s);
            }
        }
    }
}

}  // namespace DSP
