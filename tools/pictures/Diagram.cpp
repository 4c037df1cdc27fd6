#include "tools/pictures/Diagram.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace Pictures {

namespace {

constexpr double kWidth = 860, kHeight = 380;
constexpr double kLeft = 60, kRight = 170, kTop = 56, kBottom = 45;
constexpr const char* kColours[] = {"#1c7ed6", "#e8590c", "#2b8a3e", "#c2255c", "#5f3dc4", "#868e96"};

std::string Text(const char* format, auto... values) {
    char text[400];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

double Share(const Diagram::Axis& axis, double f) {
    const double fShare = axis.bLogarithmic ? std::log(f / axis.fLow) / std::log(axis.fHigh / axis.fLow)
                                            : (f - axis.fLow) / (axis.fHigh - axis.fLow);
    return std::clamp(fShare, 0.0, 1.0);
}

}  // namespace

Diagram::Diagram(std::string strTitle, Axis x, Axis y)
    : m_strTitle(std::move(strTitle)), m_x(std::move(x)), m_y(std::move(y)) {}

double Diagram::X(double f) const {
    return kLeft + (kWidth - kLeft - kRight) * Share(m_x, f);
}

double Diagram::Y(double f) const {
    return kTop + (kHeight - kTop - kBottom) * (1.0 - Share(m_y, f));
}

void Diagram::Add(const std::string& strName, const Points& points) {
    const char* const colour = kColours[m_names.size() % std::size(kColours)];
    m_strCurves += Text("<path fill='none' stroke-width='1.6' stroke='%s' d='", colour);
    bool bDrawing = false;
    for (const auto& [x, y] : points) {
        const bool bInside = y >= m_y.fLow && y <= m_y.fHigh;
        if (bInside) m_strCurves += Text("%c%.1f %.1f", bDrawing ? 'L' : 'M', X(x), Y(y));
        bDrawing = bInside;
    }
    const double fTop = kTop + 12 + 20 * static_cast<double>(m_names.size());
    m_strCurves += Text("'/>\n<line x1='%.1f' x2='%.1f' y1='%.1f' y2='%.1f' stroke-width='3' stroke='%s'/>\n",
                        kWidth - kRight + 10, kWidth - kRight + 28, fTop - 4, fTop - 4, colour);
    m_strCurves += Text("<text x='%.1f' y='%.1f'>%s</text>\n", kWidth - kRight + 34, fTop, strName.c_str());
    m_names.push_back(strName);
}

std::string Diagram::Svg() const {
    std::string svg = Text(
        "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 %g %g' font-family='sans-serif' "
        "font-size='12'>\n<rect width='100%%' height='100%%' fill='white'/>\n",
        kWidth, kHeight);
    svg += Text("<text x='%.1f' y='22' font-size='15'>%s</text>\n", kLeft, m_strTitle.c_str());
    for (const double f : m_x.ticks) {
        svg += Text("<path d='M%.1f %.1fV%.1f' stroke='#ddd'/>\n", X(f), kTop, kHeight - kBottom);
        const bool bKilo = m_x.bLogarithmic && f >= 1000;
        svg += Text("<text x='%.1f' y='%.1f' text-anchor='middle'>%g%s</text>\n", X(f),
                    kHeight - kBottom + 16, bKilo ? f / 1000 : f, bKilo ? "k" : "");
    }
    for (const double f : m_y.ticks) {
        svg += Text("<path d='M%.1f %.1fH%.1f' stroke='%s'/>\n", kLeft, Y(f), kWidth - kRight,
                    f == 0 ? "#888" : "#ddd");
        svg += Text("<text x='%.1f' y='%.1f' text-anchor='end'>%g</text>\n", kLeft - 6, Y(f) + 4, f);
    }
    svg += Text("<text x='%.1f' y='%.1f' text-anchor='middle'>%s</text>\n", (kLeft + kWidth - kRight) / 2,
                kHeight - 10, m_x.strTitle.c_str());
    svg += Text("<text x='%.1f' y='%.1f'>%s</text>\n", kLeft - 24, kTop - 12, m_y.strTitle.c_str());
    return svg + m_strCurves + "</svg>\n";
}

Diagram::Axis FrequencyAxis() {
    return {"Hz", 20, 20000, {20, 50, 100, 200, 500, 1000, 2000, 5000, 10000, 20000}, true};
}

Diagram::Axis EvenAxis(std::string strTitle, double fLow, double fHigh, double fStep) {
    Diagram::Axis axis{std::move(strTitle), fLow, fHigh, {}, false};
    for (double f = fLow; f <= fHigh + fStep / 2; f += fStep)
        axis.ticks.push_back(std::abs(f) < fStep / 100 ? 0.0 : f);
    return axis;
}

}  // namespace Pictures
