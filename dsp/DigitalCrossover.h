#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "dsp/AudioProcessor.h"
#include "dsp/DataTail.h"
#include "dsp/DigitalFilters.h"
#include "dsp/PartConv.h"

namespace DSP {

/// The digital crossover: up to four bands through linear-phase filters. The bands below the top are each
/// convolved with their filter; the top band is the delayed input less the sum of the others, so that all
/// bands together are the delayed input.
///
///     top[n] = input[n - delay] - ((band 0 + band 1) + band 2)        in single precision, in this order
///
/// Delay:     Latency(), the same for all bands; none with one band, which is the input.
/// Blocks:    any length; meant for, and fastest with, blocks of Block(). Growing keeps the history.
/// Threads:   as AudioProcessor. Filters are built on any thread and installed here.
/// Real time: Process allocates only to grow. Configure allocates for another block length than the last, and
///            for more channels than ever before; there is then memory for any number of bands, and Install
///            takes none for filters of that block length.
/// NaN:       a NaN or an infinity reads as silence in the filters and leaves the top band with the
///            delay line.
class Crossover final : public AudioProcessor {
public:
    static constexpr std::size_t kMaxBands = DigitalFilters::kMaxBands;
    using BandPointers = std::array<float*, kMaxBands>;

    /// One band, no channels.
    Crossover();
    ~Crossover() override;

    /// Sets the channels and the block, which is the longest as well until a longer one comes, and resets.
    /// Outputs are as many as channels times bands, whatever is given. See Real time.
    void Configure(int nInputs, int nOutputs, int nMaxFrames) override;

    /// The block length that filters are to be made for.
    int Block() const noexcept { return m_nBlock; }

    /// Takes new filters, never null, and returns the old ones, for the caller to free where it likes. With
    /// as many bands as before, and filters made for Block(), the history stays; otherwise it is dropped.
    std::shared_ptr<const DigitalFilters> Install(std::shared_ptr<const DigitalFilters> filters);

    /// Builds filters and installs them. Allocates.
    void Design(const DigitalFilters::Design& design);

    const std::shared_ptr<const DigitalFilters>& Filters() const noexcept { return m_filters; }
    int Bands() const noexcept { return m_filters->Bands(); }
    /// In samples.
    int Latency() const noexcept { return m_filters->Latency(); }

    /// Splits a block. Outputs hold a pointer for each band of the first channel, then of the second; none
    /// is an input, and they are not optional.
    void Process(float* const* inputs, int nFrames, float* const* outputs) override;

    /// The same with one array of band pointers a channel. Pointers beyond Bands() are not used.
    void ProcessBands(float* const* inputs, int nFrames, const BandPointers* bands);

    /// Clears filters and delay line.
    void Reset() override;

    void Grow(int nMaxFrames) override;

private:
    std::span<PartConv> Convolvers() noexcept {
        return {m_convolvers.data(), static_cast<std::size_t>(Bands() - 1)};
    }
    void SetUp();
    void TopBand(float* const* inputs, int nFrames, const BandPointers* bands);

    // Set-up: written by Configure, Grow and Install only. The convolvers and the delay line hold the
    // history, which Reset clears.
    std::shared_ptr<const DigitalFilters> m_filters;
    int m_nBlock = 1;
    std::array<PartConv, kMaxBands - 1> m_convolvers;  ///< one a band below the top
    DataTail m_delay;
    std::shared_ptr<const PartConvImpulse> m_silence;  ///< what convolvers have that no band uses

    // Scratch: means nothing between two calls.
    std::vector<float*> m_outputs;
    std::vector<BandPointers> m_table;
};

}  // namespace DSP
