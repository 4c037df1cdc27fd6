#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

/// The tools with which the impulse of the hall is made. All arithmetic is IEEE double, or goes through the
/// project's own elementary functions and FFT, so that every machine makes the same bytes.
namespace Impulse {

inline constexpr double kRate = 44100.0;  ///< Hz
inline constexpr std::size_t kFrames = 77184;

/// One value an octave, at kBandHz.
inline constexpr std::size_t kBands = 10;
using BandValues = std::array<double, kBands>;
inline constexpr BandValues kBandHz{31.25, 62.5, 125, 250, 500, 1000, 2000, 4000, 8000, 16000};

using Signal = std::vector<double>;

/// Uniform and normal numbers from a 64-bit xorshift generator (Marsaglia, "Xorshift RNGs", 2003).
class Random {
public:
    explicit Random(std::uint64_t uSeed);
    double Uniform();  ///< from 0 up to 1
    double Normal();   ///< mean 0, variance 1 (Box and Muller, 1958)

private:
    std::uint64_t m_uState;
};

/// A band's share of the amplitude at a frequency in Hz: a raised cosine over the octaves. All bands
/// add up to 1 at every frequency.
double BandShare(std::size_t uBand, double fHz);

/// A filter with the given amplitudes in the bands and the shortest energy delay there is: the minimum-phase
/// response of that magnitude by way of the real cepstrum (Oppenheim and Schafer, Discrete-Time Signal
/// Processing, ch. 13). It starts at its first tap and has kShortFilter of them.
inline constexpr std::size_t kShortFilter = 256;
Signal MinimumPhase(const BandValues& amplitudes);

/// Splits a signal into its bands by BandShare, without changing its length. The filters have no phase, so
/// this is for noise, which has nothing that they could smear.
std::array<Signal, kBands> SplitBands(const Signal& signal);

/// A Butterworth high-pass of second order at the corner in Hz, in place.
void HighPass(Signal& signal, double fHz);

/// 0 up to the first time, 1 from the second on, the square of a sine in between; times in s.
double FadeIn(double fTime, double fFrom, double fTo);

}  // namespace Impulse
