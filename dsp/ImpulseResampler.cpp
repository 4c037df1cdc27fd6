#include "dsp/ImpulseResampler.h"

#include <algorithm>
#include <numeric>

#include "dsp/ResampleInt.h"
#include "dsp/vector/MultiRateFir.h"

namespace DSP {

namespace {

constexpr std::uint32_t kMaxRate = 768000;
constexpr int kTapsPerPhase = 12;
constexpr double kKaiserBeta = 12.0;

}  // namespace

std::vector<float> ResampleImpulse(const std::vector<float>& source, std::uint32_t uFrom, std::uint32_t uTo) {
    uFrom = std::clamp(uFrom, 1u, kMaxRate);
    uTo = std::clamp(uTo, 1u, kMaxRate);
    if (uFrom == uTo) return source;
    const std::uint32_t uCommon = std::gcd(uFrom, uTo);
    const auto nUp = static_cast<int>(uTo / uCommon), nDown = static_cast<int>(uFrom / uCommon);
    ResampleInt design;
    design.Design(nUp, nDown, kTapsPerPhase * nUp, kKaiserBeta);

    // Output k stands at k * down + delay of the filter's output at the high rate: the delay's whole steps
    // are dropped, the rest of it is the phase at which the filter starts.
    const int nDelay = design.Delay();
    MultiRateFir filter;
    filter.Configure(design.Taps().data(), design.Length(), nUp, nDelay % nDown, nDown);
    const auto uDrop = static_cast<std::size_t>(nDelay / nDown);
    const std::size_t uFrames = std::max<std::size_t>(
        source.size() * static_cast<std::size_t>(nUp) / static_cast<std::size_t>(nDown), 1);
    const std::size_t uIterations =
        (uDrop + uFrames + static_cast<std::size_t>(nUp) - 1) / static_cast<std::size_t>(nUp);
    std::vector<float> padded(source);
    padded.resize(std::max(uIterations * static_cast<std::size_t>(nDown), padded.size()));
    std::vector<float> output(uIterations * static_cast<std::size_t>(nUp));
    filter.Process(padded.data(), output.data(), static_cast<int>(uIterations));
    output.erase(output.begin(), output.begin() + static_cast<std::ptrdiff_t>(uDrop));
    output.resize(uFrames);
    return output;
}

}  // namespace DSP
