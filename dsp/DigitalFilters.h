#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

#include "dsp/LinearPhaseFir.h"
#include "dsp/PartConvImpulse.h"

namespace DSP {

/// The filters of the digital crossover, designed and made ready for its convolvers. Nothing but Redesign and
/// Adopt changes them after construction, so that they can be built on any thread and shared.
///
/// Bands:     each band's magnitude is 1 between two skirts that have the shape of a raised cosine over the
///            logarithm of frequency, centred on the cutoffs. A skirt's half width is a share 1 - q of the
///            way to the nearer of the logarithmic middles of the two bands beside it.
/// Arithmetic: double; magnitudes and taps are float.
/// Cost:      allocates; some hundred microseconds. Set-up, never the audio thread; after Prepare Redesign
///            for filters that automation moves.
class DigitalFilters {
public:
    static constexpr std::size_t kMaxBands = 4;
    static constexpr int kLength = 1024;  ///< taps a band
    static constexpr int kLatency = kLength / 2 - 1;

    struct Design {
        int nBands = 1;                               ///< 1 to kMaxBands; with 1 there are no filters
        std::array<double, kMaxBands - 1> cutoffs{};  ///< Hz, the first nBands - 1 ascending
        double fSampleRate = 44100.0;                 ///< Hz
        double fSteepness = 0.5;                      ///< q, 0 to 1; above 1 reads as 1: skirts of no width
        bool operator==(const Design&) const = default;
    };

    /// What a design needs room for, kept from one to the next.
    struct Work {
        LinearPhaseFir fir{kLength, kKaiserBeta};
        std::vector<float> magnitudes;
        std::vector<float> transform;
        PartConvImpulse::Workshop workshop;
    };

    /// One band.
    DigitalFilters() = default;

    /// nBlock is the block length of the convolvers.
    DigitalFilters(const Design& design, int nBlock);

    /// Takes memory, of the work too, for any design at a block length.
    void Prepare(int nBlock, Work& work);

    /// Becomes another design in its own memory: allocates only for a block length or bands that it has not
    /// had, or work that is new. Nobody may be reading the filters, and no convolver be running with them.
    void Redesign(const Design& design, int nBlock, Work& work);

    /// Becomes another one's design at the block length that it was prepared for. Some ten microseconds.
    void Adopt(const DigitalFilters& other, Work& work);

    int Bands() const noexcept { return m_nBands; }

    /// Samples by which the filters delay; 0 with one band.
    int Latency() const noexcept { return m_nBands < 2 ? 0 : kLatency; }

    /// kLength taps of a band. The top band's serve the display only: its signal is what the others leave.
    const std::vector<float>& Taps(std::size_t iBand) const noexcept { return m_taps[iBand]; }

    /// The impulse of a band below the top.
    std::shared_ptr<const PartConvImpulse> Impulse(std::size_t iBand) const noexcept {
        return m_impulses[iBand];
    }

private:
    static constexpr double kKaiserBeta = 9.0;

    void BuildImpulses(int nBlock, std::size_t uCount, PartConvImpulse::Workshop& workshop);

    int m_nBands = 1;
    int m_nBlock = 0;  ///< that the impulses are made for
    std::array<std::vector<float>, kMaxBands> m_taps;
    std::array<std::shared_ptr<PartConvImpulse>, kMaxBands - 1> m_impulses;
};

}  // namespace DSP
