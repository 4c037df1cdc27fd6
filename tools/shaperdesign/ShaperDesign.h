#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The design of the error filters that shape the noise of "DSHP+".
///
/// An error filter is the noise transfer function N(z) = 1 + c1 / z + c2 / z^2 + ..., by which the
/// quantiser's total error reaches the output. Of all such filters of an order the design takes the one whose
/// noise has the least weighted power
///
///     integral of |N|^2 E W^g,    E = 1 + |1 - 1/z|^2,    W = 10^(-threshold in quiet / 10)
///
/// E is the spectrum of the total error: white rounding error beside high-passed dither of the amount 1.
/// W says how well a frequency is heard. The solution is the linear predictor for the spectrum E W^g, by the
/// Levinson recursion, and a linear predictor's error filter has minimum phase (Markel and Gray, Linear
/// Prediction of Speech, ch. 2 and 5). The exponent g is the depth of shaping: it is chosen so that the
/// greatest gain of the feedback, max |N - 1| over frequency, is the stated peak.
///
/// All in double and with the system's own elementary functions: the same coefficients on every machine.
namespace ShaperDesign {

/// One filter to design.
struct Goal {
    std::string strName;    ///< for people: rate class and shapes
    std::string strSymbol;  ///< of the table in the source file
    double fRate = 44100;   ///< Hz, the rate that the class is designed at
    std::size_t uOrder = 0;
    double fPeak = 0;  ///< the greatest gain of the feedback
    std::uint32_t uRateClass = 0;
    std::uint32_t uFirstShape = 1;  ///< 1 "Light" to 4 "Ultra"
    std::uint32_t uLastShape = 1;
};

/// All goals, in the order of the source file. Class 0 "Light" is not among them: its table is fixed.
std::vector<Goal> Goals();

/// The level of the softest audible tone in dB SPL (Terhardt, "Calculating virtual pitch", Hearing Research
/// 1, 1979) between two frequencies. Below the first it stays, so that noise is not heaped up where
/// loudspeakers move most; above the second, where the formula would soon rise by hundreds of dB, it rises
/// slowly, so that noise goes to the far end of a wide band rather than right behind the ear's.
double ThresholdInQuiet(double fHz);
inline constexpr double kLowestFrequency = 100.0;     ///< Hz
inline constexpr double kHighestFrequency = 18000.0;  ///< Hz
inline constexpr double kDbPerOctave = 20.0;          ///< above kHighestFrequency

struct Result {
    std::vector<float> coefficients;  ///< 1, c1, c2, ..., rounded to float
    double fExponent = 0;             ///< g
};
Result Design(const Goal& goal);

/// |N| at an angle from 0 to pi (pi is half the rate). The first coefficient need not be 1.
double NoiseGain(const std::vector<float>& coefficients, double fAngle);

/// max |N - 1| over frequency.
double GreatestFeedbackGain(const std::vector<float>& coefficients);

/// Power of the shaped total error in squared steps, with dither of an amount: the mean over frequency of
/// |N|^2 (1 + amount^2 |1 - 1/z|^2) / 12.
double NoisePower(const std::vector<float>& coefficients, double fAmount);

/// The source file with all designed tables.
std::string PrintTables();

}  // namespace ShaperDesign
