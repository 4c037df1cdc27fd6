#include "dsp/CurveFir.h"

#include "dsp/vector/Decibel.h"

namespace DSP::Equalizer {

namespace {

constexpr double kBeta = 9.0;

}  // namespace

CurveFir::CurveFir()
    : m_filters{LinearPhaseFir(kLengths[0], kBeta), LinearPhaseFir(kLengths[1], kBeta),
                LinearPhaseFir(kLengths[2], kBeta)} {}

std::vector<float> CurveFir::Design(std::uint32_t iLength, std::span<const CurveNode> nodes,
                                    std::uint32_t uSampleRate, std::span<const float> correctionDb,
                                    float fPercent) const {
    const LinearPhaseFir& filter = m_filters[iLength];
    const int nLength = kLengths[iLength];
    std::vector<float> magnitudes(static_cast<std::size_t>(nLength) / 2 + 1);
    DrawCurve(nodes, nLength, uSampleRate, magnitudes.data());
    for (std::size_t k = 0; k < correctionDb.size(); ++k)
        magnitudes[k] *= DbToLinear(correctionDb[k] * fPercent / 100.0f);

    std::vector<float> taps(static_cast<std::size_t>(nLength));
    std::vector<float> work(filter.WorkLength());
    filter.Design(magnitudes.data(), taps.data(), work.data());
    return taps;
}

}  // namespace DSP::Equalizer
