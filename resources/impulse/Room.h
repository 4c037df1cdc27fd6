#pragma once

#include "resources/impulse/Signal.h"

namespace Impulse {

/// The hall: a shoebox of 12.4 by 9.1 by 5.6 m, a source in front and a pair of microphones, each a little
/// closer to omni than a cardioid, 40 cm apart and turned 50 degrees outwards.

/// Seconds in which sound decays by 60 dB, by octave band. The air and soft surfaces take the highs sooner.
inline constexpr BandValues kDecay{1.75, 1.9, 1.95, 1.85, 1.76, 1.7, 1.5, 1.15, 0.78, 0.48};

/// What each microphone hears of the source by way of the walls, without the direct sound, which is the
/// dry one. Time 0 is the first reflection at either microphone.
///
/// Image sources (Allen and Berkley, "Image method for efficiently simulating small-room acoustics", 1979),
/// each through a minimum-phase filter with what its walls leave of every band. The walls' mean
/// absorption gives kDecay by Eyring's formula; each takes its own share of it. Images behind more than one
/// wall stand up to 12 cm off their place: the exact lattice of an empty box flutters. Every wall scatters
/// some of the energy, so that a pulse gets softer and longer the more walls it has met.
///
/// The pulses fade from 40 to 110 ms, while the diffuse tail takes over.
struct EarlyReflections {
    Signal left;
    Signal right;
    double fFirst = 0.0;  ///< seconds from the source to the first reflection
};
EarlyReflections MakeEarlyReflections();

/// The variance of one sample, in bands at the source's time 0, of the diffuse sound of that hall for a
/// source whose pulse has height 1 at 1 m: image sources come at 4 pi c^3 t^2 / V a second, each with 1 / (c
/// t)^2, times the microphones' mean square.
double DiffuseVariance();

inline constexpr double kTailFrom = 0.008;  ///< s; the tail fades in over this span
inline constexpr double kEarlyFrom = 0.040;
inline constexpr double kEarlyTo = 0.110;

}  // namespace Impulse
