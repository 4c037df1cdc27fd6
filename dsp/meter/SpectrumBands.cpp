#include "dsp/meter/SpectrumBands.h"

#include <algorithm>
#include <cstddef>

#include "dsp/vector/Elementary.h"

namespace DSP::Meter {

namespace {

constexpr double kLowestHz = 20.0;
constexpr int kThirdOctaves = 32;

}  // namespace

std::vector<float> SpectrumBandEdges(SpectrumType type) {
    switch (type) {
        case SpectrumType::ThirdOctave: {
            std::vector<float> edges;
            for (int k = 0; k < kThirdOctaves; ++k)
                edges.push_back(static_cast<float>(kLowestHz * Exp2(k / 3.0)));
            return edges;
        }
        case SpectrumType::Critical:
            return {20,   100,  200,  300,  400,  510,  630,  770,  920,  1080, 1270,  1480,  1720,
                    2000, 2320, 2700, 3150, 3700, 4400, 5300, 6400, 7700, 9500, 12000, 15500, 20000};
        case SpectrumType::Linear:
            break;
    }
    return {};
}

std::vector<SpectrumBins> LayOutBands(const std::vector<float>& edges, std::uint32_t uSampleRate,
                                      std::int32_t nLength) {
    const std::int32_t nLast = nLength / 2;
    const double fStep = uSampleRate * 0.5 / (nLast + 1);
    // Bins and edges both ascend: the first bin of a band is the end of the one below it.
    const auto firstAtOrAbove = [&](float fHz) {
        std::int32_t nBin = 0;
        while (nBin <= nLast && nBin * fStep < fHz)
            ++nBin;
        return nBin;
    };
    std::vector<SpectrumBins> bands;
    for (std::size_t b = 0; b < edges.size(); ++b) {
        const std::int32_t nFirst = firstAtOrAbove(edges[b]);
        if (b + 1 == edges.size()) {
            bands.push_back({nFirst, nLast + 1});
        } else {
            const std::int32_t nEnd = firstAtOrAbove(edges[b + 1]);
            bands.push_back(nEnd <= nLast ? SpectrumBins{nFirst, nEnd} : SpectrumBins{});
        }
    }

    const auto hasBins = [](const SpectrumBins& bins) { return bins.nFirst < bins.nEnd; };
    const auto lowest = std::find_if(bands.begin(), bands.end(), hasBins);
    const auto highest = std::find_if(bands.rbegin(), bands.rend(), hasBins).base();
    SpectrumBins source = lowest == bands.end() ? SpectrumBins{} : *lowest;
    for (auto band = bands.begin(); band != highest; ++band) {
        if (hasBins(*band)) source = *band;
        *band = source;
    }
    return bands;
}

}  // namespace DSP::Meter
