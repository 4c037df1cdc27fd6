#include "tools/shaperdesign/NoisePlot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>

#include "dsp/NoiseShapingFilter.h"
#include "tools/shaperdesign/ShaperDesign.h"

namespace ShaperDesign {

namespace {

constexpr double kWidth = 860, kHeight = 430;
constexpr double kLeft = 60, kRight = 130, kTop = 40, kBottom = 45;
constexpr double kLowestHz = 20, kLowestDb = -90, kHighestDb = 40;
constexpr const char* kColours[] = {"#888888", "#2b8a3e", "#1c7ed6", "#e8590c", "#c2255c", "#5f3dc4"};

double X(double fHz, double fRate) {
    return kLeft + (kWidth - kLeft - kRight) * std::log(fHz / kLowestHz) / std::log(fRate / 2 / kLowestHz);
}

double Y(double fDb) {
    const double fInside = std::clamp(fDb, kLowestDb, kHighestDb);
    return kTop + (kHeight - kTop - kBottom) * (kHighestDb - fInside) / (kHighestDb - kLowestDb);
}

std::string Text(const char* format, auto... values) {
    char text[400];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

double Level(const Plot::Curve& curve, double fAngle) {
    const double fGain = NoiseGain(curve.coefficients, fAngle);
    const double fError = curve.fWhite + curve.fHighPassed * (2.0 - 2.0 * std::cos(fAngle));
    return 10.0 * std::log10(fGain * fGain * fError);
}

std::string Axes(const Plot& plot) {
    std::string svg;
    for (double fDb = kLowestDb; fDb <= kHighestDb; fDb += 10) {
        svg += Text("<line x1='%.1f' x2='%.1f' y1='%.1f' y2='%.1f' stroke='%s'/>\n", kLeft, kWidth - kRight,
                    Y(fDb), Y(fDb), fDb == 0 ? "#666" : "#ddd");
        svg += Text("<text x='%.1f' y='%.1f' text-anchor='end'>%g</text>\n", kLeft - 6, Y(fDb) + 4, fDb);
    }
    for (const double fDecade : {10.0, 100.0, 1000.0, 10000.0}) {
        for (const double fStep : {1.0, 2.0, 5.0}) {
            const double fHz = fDecade * fStep;
            if (fHz < kLowestHz || fHz > plot.fRate / 2) continue;
            const double x = X(fHz, plot.fRate);
            svg += Text("<line x1='%.1f' x2='%.1f' y1='%.1f' y2='%.1f' stroke='#ddd'/>\n", x, x, kTop,
                        kHeight - kBottom);
            svg += Text("<text x='%.1f' y='%.1f' text-anchor='middle'>%g%s</text>\n", x,
                        kHeight - kBottom + 16, fHz < 1000 ? fHz : fHz / 1000, fHz < 1000 ? "" : "k");
        }
    }
    svg += Text("<text x='%.1f' y='%.1f' text-anchor='middle'>Hz</text>\n", (kLeft + kWidth - kRight) / 2,
                kHeight - 10);
    return svg + Text("<text x='14' y='%.1f'>dB</text>\n", kTop - 10);
}

std::string CurveLine(const Plot& plot, const Plot::Curve& curve, const char* colour) {
    std::string svg = Text("<polyline fill='none' stroke-width='1.6' stroke='%s' points='", colour);
    const double fNyquist = plot.fRate / 2;
    constexpr int kPoints = 500;
    for (int n = 0; n <= kPoints; ++n) {
        const double fHz = kLowestHz * std::pow(fNyquist / kLowestHz, n / static_cast<double>(kPoints));
        svg += Text("%.1f,%.1f ", X(fHz, plot.fRate), Y(Level(curve, std::numbers::pi * fHz / fNyquist)));
    }
    return svg + "'/>\n";
}

std::vector<float> Coefficients(const DSP::NoiseShapingFilter::Table& table) {
    if (table.coefficients.empty()) return {1.0f};
    return {table.coefficients.begin(), table.coefficients.end()};
}

}  // namespace

std::vector<Plot> Plots() {
    using Filter = DSP::NoiseShapingFilter;
    std::vector<Plot> plots;
    Plot& classic = plots.emplace_back(Plot{"dither-types.svg", "Type 1 and Type 2 at 44.1 kHz", 44100, {}});
    // The total error of "Type 1" at "1" bit is taken as white, twice a step's own.
    classic.curves.push_back({"Type 1, None", {1.0f}, 2.0, 0.0});
    const char* const shapes[] = {"None", "Simple", "Clear", "Psych5", "Psych9"};
    for (std::uint32_t uShape = 0; uShape < 5; ++uShape) {
        classic.curves.push_back(
            {std::string("Type 2, ") + shapes[uShape], Coefficients(Filter::ForShape(uShape)), 1.0, 1.0});
    }
    const double rates[] = {192000, 96000, 44100, 22050, 11025};
    const char* const names[] = {"None", "Light", "Medium", "High", "Ultra"};
    for (std::uint32_t uClass = 0; uClass < 5; ++uClass) {
        Plot& plot = plots.emplace_back();
        plot.strFileName = "dither-dshp-" + std::to_string(static_cast<int>(rates[uClass])) + ".svg";
        plot.strTitle = "DSHP+ at " + Text("%g", rates[uClass] / 1000) + " kHz";
        plot.fRate = rates[uClass];
        for (std::uint32_t uShape = 0; uShape < 5; ++uShape) {
            if (uClass > 2 && uShape > 1) break;
            plot.curves.push_back({uClass > 2 && uShape == 1 ? "Light to Ultra" : names[uShape],
                                   Coefficients(Filter::ForRate(uClass, uShape)), 1.0, 1.0});
        }
    }
    return plots;
}

std::string Draw(const Plot& plot) {
    std::string svg = Text(
        "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 %g %g' font-family='sans-serif' "
        "font-size='12'>\n<rect width='100%%' height='100%%' fill='white'/>\n",
        kWidth, kHeight);
    svg += Text("<text x='%.1f' y='20' font-size='15'>%s</text>\n", kLeft, plot.strTitle.c_str());
    svg += Axes(plot);
    std::size_t i = 0;
    for (const Plot::Curve& curve : plot.curves) {
        const char* const colour = kColours[i];
        const double y = kTop + 16 + 20 * static_cast<double>(i++);
        svg += CurveLine(plot, curve, colour);
        svg += Text("<line x1='%.1f' x2='%.1f' y1='%.1f' y2='%.1f' stroke-width='3' stroke='%s'/>\n",
                    kWidth - kRight + 10, kWidth - kRight + 28, y - 4, y - 4, colour);
        svg += Text("<text x='%.1f' y='%.1f'>%s</text>\n", kWidth - kRight + 34, y, curve.strName.c_str());
    }
    return svg + "</svg>\n";
}

}  // namespace ShaperDesign
