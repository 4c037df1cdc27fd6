#pragma once

#include <cstdint>
#include <vector>

namespace DSP::Meter {

enum class SpectrumType : std::int32_t { Linear = 0, ThirdOctave = 1, Critical = 2 };

/// The lower edges of a type's bands in Hz, ascending: 32 for thirds of an octave from 20 Hz on, 26 for the
/// critical bands (Zwicker's, with 20 Hz in place of 0 and a last band from 20 kHz on). A band ends where
/// the next begins; the last has no end. "Linear" has none. Allocates.
std::vector<float> SpectrumBandEdges(SpectrumType type);

/// The bins of a spectrum that make up a band: from nFirst up to but not including nEnd. Without any the
/// band has no value.
struct SpectrumBins {
    std::int32_t nFirst = 0;
    std::int32_t nEnd = 0;
};

/// The bins of each band, for a transform of nLength points of a signal at a rate in Hz. A bin k counts as
/// the frequency k (rate / 2) / (nLength / 2 + 1), and belongs to the band that holds it.
///
/// A band that reaches beyond the last bin is never whole and has no value, except the last band, which
/// nothing limits. A band between two bins shows what the band below it shows, and with no bins below it
/// what the lowest band with bins shows. Allocates.
std::vector<SpectrumBins> LayOutBands(const std::vector<float>& edges, std::uint32_t uSampleRate,
                                      std::int32_t nLength);

}  // namespace DSP::Meter
