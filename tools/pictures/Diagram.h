#pragma once

#include <string>
#include <utility>
#include <vector>

namespace Pictures {

/// A line diagram as an SVG picture: one frame, labelled axes, curves in colours with a legend.
class Diagram {
public:
    struct Axis {
        std::string strTitle;
        double fLow, fHigh;
        std::vector<double> ticks;
        bool bLogarithmic = false;
    };
    using Points = std::vector<std::pair<double, double>>;

    Diagram(std::string strTitle, Axis x, Axis y);

    /// What lies above or below the frame is left out.
    void Add(const std::string& strName, const Points& points);

    std::string Svg() const;

private:
    double X(double f) const;
    double Y(double f) const;

    std::string m_strTitle;
    Axis m_x, m_y;
    std::string m_strCurves;
    std::vector<std::string> m_names;
};

/// 20 Hz to 20 kHz in thirds of a decade.
Diagram::Axis FrequencyAxis();
/// Even steps.
Diagram::Axis EvenAxis(std::string strTitle, double fLow, double fHigh, double fStep);

}  // namespace Pictures
