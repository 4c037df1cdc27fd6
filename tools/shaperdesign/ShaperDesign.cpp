#include "tools/shaperdesign/ShaperDesign.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <limits>
#include <numbers>
#include <sstream>
#include <stdexcept>

#include "dsp/vector/Elementary.h"

namespace ShaperDesign {

namespace {

/// Intervals of the frequency axis from 0 to half the rate: fine beside the narrowest dip of order 60.
constexpr std::size_t kGrid = 4096;

constexpr std::size_t kColumns = 5;  // of a printed table

/// Cosines and sines of all multiples of a grid angle.
class Circle {
public:
    Circle() {
        for (std::size_t m = 0; m < 2 * kGrid; ++m) {
            const double fAngle = std::numbers::pi * static_cast<double>(m) / kGrid;
            m_cos.push_back(DSP::Cos(fAngle));
            m_sin.push_back(DSP::Sin(fAngle));
        }
    }
    double Cos(std::size_t m) const { return m_cos[m % (2 * kGrid)]; }
    double Sin(std::size_t m) const { return m_sin[m % (2 * kGrid)]; }

private:
    std::vector<double> m_cos, m_sin;
};

/// |N - fDirect| at a grid point; fDirect is 1 for the feedback alone, else 0.
double GainAt(const Circle& circle, const std::vector<double>& filter, std::size_t i, double fDirect) {
    double fRe = -fDirect, fIm = 0.0;
    for (std::size_t k = 0; k < filter.size(); ++k) {
        fRe += filter[k] * circle.Cos(i * k);
        fIm -= filter[k] * circle.Sin(i * k);
    }
    return std::sqrt(fRe * fRe + fIm * fIm);
}

double GreatestFeedback(const Circle& circle, const std::vector<double>& filter) {
    double fGreatest = 0.0;
    for (std::size_t i = 0; i <= kGrid; ++i)
        fGreatest = std::max(fGreatest, GainAt(circle, filter, i, 1.0));
    return fGreatest;
}

std::vector<double> Normalised(const std::vector<float>& coefficients) {
    std::vector<double> filter;
    for (const float fCoefficient : coefficients)
        filter.push_back(double{fCoefficient} / double{coefficients[0]});
    return filter;
}

/// The weighted spectrum of the unshaped error at the grid points, in natural logarithms: log E + g log W.
class Weighting {
public:
    Weighting(const Circle& circle, double fRate) {
        for (std::size_t i = 0; i <= kGrid; ++i) {
            const double fHz = 0.5 * fRate * static_cast<double>(i) / kGrid;
            m_logError.push_back(DSP::Log(3.0 - 2.0 * circle.Cos(i)));
            m_logHearing.push_back(-ThresholdInQuiet(fHz) * std::numbers::ln10 / 10.0);
        }
        const double fBest = *std::max_element(m_logHearing.begin(), m_logHearing.end());
        for (double& fLog : m_logHearing)
            fLog -= fBest;
    }
    double At(std::size_t i, double fExponent) const {
        return DSP::Exp(m_logError[i] + fExponent * m_logHearing[i]);
    }

private:
    std::vector<double> m_logError, m_logHearing;
};

/// The autocorrelation of a spectrum at lags 0 to uOrder, by the trapezoid rule.
std::vector<double> Autocorrelation(const Circle& circle, const Weighting& weighting, double fExponent,
                                    std::size_t uOrder) {
    std::vector<double> lags(uOrder + 1, 0.0);
    for (std::size_t i = 0; i <= kGrid; ++i) {
        const double fShare = i == 0 || i == kGrid ? 0.5 : 1.0;
        const double fPower = fShare * weighting.At(i, fExponent);
        for (std::size_t k = 0; k <= uOrder; ++k)
            lags[k] += fPower * circle.Cos(i * k);
    }
    // A floor 120 dB under the mean keeps the recursion away from the edge of what double resolves
    // (Markel and Gray call it white noise correction).
    lags[0] *= 1.0 + 1e-12;
    return lags;
}

/// The prediction error filter 1, c1, ... of an autocorrelation (Levinson and Durbin).
std::vector<double> PredictionErrorFilter(const std::vector<double>& lags) {
    std::vector<double> filter{1.0};
    double fError = lags[0];
    for (std::size_t m = 1; m < lags.size(); ++m) {
        double fSum = 0.0;
        for (std::size_t k = 0; k < m; ++k)
            fSum += filter[k] * lags[m - k];
        const double fReflection = -fSum / fError;
        filter.push_back(0.0);
        std::vector<double> next = filter;
        for (std::size_t k = 1; k <= m; ++k)
            next[k] += fReflection * filter[m - k];
        filter = next;
        fError *= 1.0 - fReflection * fReflection;
    }
    return filter;
}

/// A float with a point, as many digits as tell it from its neighbours, and the suffix.
std::string Literal(float fValue) {
    std::ostringstream text;
    text << std::setprecision(std::numeric_limits<float>::max_digits10) << fValue;
    std::string strDigits = text.str();
    if (strDigits.find_first_of(".e") == std::string::npos) strDigits += ".0";
    return strDigits + "f";
}

void PrintTable(std::ostream& out, const Goal& goal) {
    const Result result = Design(goal);
    out << "// " << goal.strName << ", designed at " << static_cast<int>(goal.fRate)
        << " Hz; g = " << std::setprecision(4) << result.fExponent << ".\n";
    out << "constexpr std::array<float, " << goal.uOrder + 1 << "> " << goal.strSymbol << " = {\n";
    for (std::size_t k = 0; k < result.coefficients.size(); ++k) {
        const bool bFirst = k % kColumns == 0;
        const bool bLast = k % kColumns == kColumns - 1 || k + 1 == result.coefficients.size();
        out << (bFirst ? "    " : " ") << Literal(result.coefficients[k]) << (bLast ? ",\n" : ",");
    }
    out << "};\n\n";
}

}  // namespace

std::vector<Goal> Goals() {
    constexpr double kLow = 22050, kLowest = 11025, kCommon = 44100, kDouble = 96000, kQuadruple = 192000;
    return {
        {"Class 0 \"Medium\"", "kQuadrupleMedium", kQuadruple, 23, 2, 0, 2, 2},
        {"Class 0 \"High\"", "kQuadrupleHigh", kQuadruple, 23, 4, 0, 3, 3},
        {"Class 0 \"Ultra\"", "kQuadrupleUltra", kQuadruple, 31, 15, 0, 4, 4},
        {"Class 1 \"Light\"", "kDoubleLight", kDouble, 15, 1, 1, 1, 1},
        {"Class 1 \"Medium\"", "kDoubleMedium", kDouble, 15, 2, 1, 2, 2},
        {"Class 1 \"High\"", "kDoubleHigh", kDouble, 23, 4, 1, 3, 3},
        {"Class 1 \"Ultra\"", "kDoubleUltra", kDouble, 23, 9, 1, 4, 4},
        {"Class 2 \"Light\"", "kCommonLight", kCommon, 39, 1, 2, 1, 1},
        {"Class 2 \"Medium\"", "kCommonMedium", kCommon, 39, 2, 2, 2, 2},
        {"Class 2 \"High\"", "kCommonHigh", kCommon, 39, 8, 2, 3, 3},
        {"Class 2 \"Ultra\"", "kCommonUltra", kCommon, 39, 30, 2, 4, 4},
        {"Class 3, all shapes", "kLow", kLow, 60, 33, 3, 1, 4},
        {"Class 4, all shapes", "kLowest", kLowest, 60, 33, 4, 1, 4},
    };
}

double ThresholdInQuiet(double fHz) {
    const double f = std::clamp(fHz, kLowestFrequency, kHighestFrequency) / 1000.0;
    const double fDip = f - 3.3;
    const double fHeard =
        3.64 * DSP::Pow(f, -0.8) - 6.5 * DSP::Exp(-0.6 * fDip * fDip) + 0.001 * f * f * f * f;
    return fHeard + kDbPerOctave * DSP::Log2(std::max(fHz / kHighestFrequency, 1.0));
}

Result Design(const Goal& goal) {
    const Circle circle;
    const Weighting weighting(circle, goal.fRate);
    std::vector<double> filter;
    const auto reaches = [&](double fExponent) {
        filter = PredictionErrorFilter(Autocorrelation(circle, weighting, fExponent, goal.uOrder));
        return GreatestFeedback(circle, filter) >= goal.fPeak;
    };
    // The gain rises with the exponent until the order is at its end; the first exponent that reaches the
    // peak is looked for. Forty halvings leave less than a float resolves.
    constexpr double kStride = 0.25, kDeepest = 8.0;
    double fHigh = kStride;
    while (!reaches(fHigh)) {
        fHigh += kStride;
        if (fHigh > kDeepest)
            throw std::runtime_error(goal.strName + ": the peak is out of the order's reach");
    }
    double fLow = fHigh - kStride;
    for (int nStep = 0; nStep < 40; ++nStep) {
        const double fExponent = 0.5 * (fLow + fHigh);
        (reaches(fExponent) ? fHigh : fLow) = fExponent;
    }
    Result result;
    result.fExponent = fLow;
    for (const double fCoefficient : filter)
        result.coefficients.push_back(static_cast<float>(fCoefficient));
    return result;
}

double NoiseGain(const std::vector<float>& coefficients, double fAngle) {
    double fRe = 0.0, fIm = 0.0;
    for (std::size_t k = 0; k < coefficients.size(); ++k) {
        fRe += double{coefficients[k]} * DSP::Cos(fAngle * static_cast<double>(k));
        fIm -= double{coefficients[k]} * DSP::Sin(fAngle * static_cast<double>(k));
    }
    return std::sqrt(fRe * fRe + fIm * fIm) / std::abs(double{coefficients[0]});
}

double GreatestFeedbackGain(const std::vector<float>& coefficients) {
    return GreatestFeedback(Circle(), Normalised(coefficients));
}

double NoisePower(const std::vector<float>& coefficients, double fAmount) {
    const Circle circle;
    const std::vector<double> filter = Normalised(coefficients);
    double fSum = 0.0;
    for (std::size_t i = 0; i <= kGrid; ++i) {
        const double fShare = i == 0 || i == kGrid ? 0.5 : 1.0;
        const double fGain = GainAt(circle, filter, i, 0.0);
        fSum += fShare * fGain * fGain * (1.0 + fAmount * fAmount * (2.0 - 2.0 * circle.Cos(i))) / 12.0;
    }
    return fSum / kGrid;
}

std::string PrintTables() {
    std::ostringstream out;
    out << "// Printed by shaperdesign, which also says how these tables come about: do not edit.\n"
           "#include \"dsp/NoiseShaperTables.h\"\n\n"
           "#include <array>\n\n"
           "namespace DSP {\n\n"
           "namespace {\n\n";
    for (const Goal& goal : Goals())
        PrintTable(out, goal);
    out << "constexpr DesignedShaper kShapers[] = {\n";
    for (const Goal& goal : Goals()) {
        out << "    {" << goal.uRateClass << ", " << goal.uFirstShape << ", " << goal.uLastShape << ", "
            << Literal(static_cast<float>(goal.fPeak)) << ", " << goal.strSymbol << "},\n";
    }
    out << "};\n\n"
           "}  // namespace\n\n"
           "std::span<const DesignedShaper> DesignedShapers() noexcept {\n"
           "    return kShapers;\n"
           "}\n\n"
           "}  // namespace DSP\n";
    return out.str();
}

}  // namespace ShaperDesign
