#include "dsp/CurveFir.h"

#include "dsp/vector/Decibel.h"

namespace DSP::Equalizer {

namespace {

constexpr double kBeta = 9.0;

}  // namespace

CurveFir::CurveFir()
    : m_filters{LinearPhaseFir(kLengths[0], kBeta), LinearPhaseFir(kLengths[1], kBeta),
                LinearPhaseFir(kLengths[2], kBeta)} {}

void CurveFir::Design(Work& work, std::uint32_t iLength, std::span<const CurveNode> nodes,
                      std::uint32_t uSampleRate, std::span<const float> correctionDb, float fPercent) const {
    const LinearPhaseFir& filter = m_filters[iLength];
    const int nLength = kLengths[iLength];
    work.axis.Set(nLength, uSampleRate);
    work.magnitudes.resize(work.axis.logs.size());
    work.taps.resize(static_cast<std::size_t>(nLength));
    work.transform.resize(filter.WorkLength());
    DrawCurve(nodes, work.axis, work.magnitudes.data());
    for (std::size_t k = 0; k < correctionDb.size(); ++k)
        work.magnitudes[k] *= DbToLinear(correctionDb[k] * fPercent / 100.0f);
    filter.Design(work.magnitudes.data(), work.taps.data(), work.transform.data());
}

}  // namespace DSP::Equalizer
