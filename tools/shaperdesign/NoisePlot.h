#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace ShaperDesign {

/// The spectra of some shapes' noise at one rate.
struct Plot {
    struct Curve {
        std::string strName;
        std::vector<float> coefficients;  ///< of the error filter; a single one is no shaping
        double fWhite = 1.0;              ///< power of the total error's white share, in 1/12 squared step
        double fHighPassed = 1.0;         ///< power of the random numbers behind the high-passed share
    };
    std::string strFileName;
    std::string strTitle;
    double fRate = 44100;  ///< Hz
    std::vector<Curve> curves;
};

/// One plot for the shapes of "Type 1" and "Type 2" together, one for each rate class of "DSHP+".
std::vector<Plot> Plots();

/// The plot as SVG: dB over plain white noise of the least dither (a twelfth of a squared step), from 20 Hz
/// to half the rate on a logarithmic axis.
std::string Draw(const Plot& plot);

}  // namespace ShaperDesign
