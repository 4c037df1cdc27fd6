#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "dsp/PartConvLayout.h"
#include "dsp/PartConvTransforms.h"
#include "dsp/vector/AlignedVector.h"

namespace DSP {

/// An impulse made ready for PartConv: a copy of its taps, its layout and its spectra. Nothing but Retap and
/// Set changes it after construction, so that it can be built on any thread and shared by any number of
/// convolvers.
///
/// Channels:  1 or more; a convolver's channel c uses impulse channel min(c, Channels() - 1).
/// Length:    in taps, 1 or more. A length or a channel count below 1 gives a single tap of 0: silence.
/// Damage:    a tap that VectorRepair would not pass reads as 0.
/// Cost:      allocates, and transforms the whole impulse. Set-up, never the audio thread; Retap, and after
///            Reserve Set, for what automation moves.
class PartConvImpulse {
public:
    /// What a transform needs besides the impulse, kept from one impulse to the next.
    class Workshop;

    /// A tap of 0 for blocks of one frame: something to Set.
    PartConvImpulse() : PartConvImpulse(nullptr, 0, 0, 1) {}
    /// Copies nLength taps a channel. nBlock is the block length that the convolver is configured for.
    PartConvImpulse(const float* const* channels, int nLength, int nChannels, int nBlock);
    /// The same taps for another block length.
    PartConvImpulse(const PartConvImpulse& other, int nBlock);

    /// Becomes another impulse, as if constructed. Allocates only beyond what it has had or reserved, with a
    /// workshop of which the same holds. Nobody may be reading this one, and a convolver that has it in force
    /// needs to be given it again.
    void Set(const float* const* channels, int nLength, int nChannels, int nBlock, Workshop& workshop);

    /// Takes memory for up to nMaxLength taps a channel at this block length.
    void Reserve(int nMaxLength, int nChannels, int nBlock);

    /// Takes other taps in the place of the present ones, for as many channels, Length() taps each. Allocates
    /// nothing once the workshop has seen an impulse of this layout. Nobody may be reading this one.
    void Retap(const float* const* channels, Workshop& workshop);

    int Channels() const noexcept { return static_cast<int>(m_channels.size()); }
    int Length() const noexcept { return m_nLength; }
    /// The Length() taps of a channel.
    const float* Taps(int iChannel) const noexcept { return At(iChannel).taps.data(); }
    const PartConvLayout& Layout() const noexcept { return m_layout; }

    /// Floats from one partition's spectrum to the next: a spectrum of 2 * nBlock, and a little more. Spectra
    /// a power of two apart would meet in the same few sets of the processor's cache.
    static constexpr std::size_t SpectrumStride(int nBlock) noexcept {
        return 2 * static_cast<std::size_t>(nBlock) + 64;
    }
    /// The most that impulses of up to nMaxLength taps need at a block length: floats of spectra a channel,
    /// by level, and the longest grid.
    struct Bounds {
        std::array<std::size_t, PartConvLayout::kMaxLevels> spectra{};
        std::size_t uGrid = 0;
    };
    static Bounds BoundsFor(int nBlock, int nMaxLength) noexcept;

    /// What a convolver's channel reads. A partition's spectrum, as RightAngleFft has it over the level's
    /// block.
    const float* Spectrum(int iChannel, int iLevel, int iPartition) const noexcept;
    /// The first taps, as many as the grid has frames, with as many zeros before them.
    const float* Head(int iChannel) const noexcept;

private:
    struct Channel {
        std::vector<float> taps;
        std::vector<float> head;  // zeros, then taps
        // By level, partition after partition.
        std::array<AlignedVector<float>, PartConvLayout::kMaxLevels> spectra;
    };

    const Channel& At(int iChannel) const noexcept;
    void Transform(Workshop& workshop);

    // Set-up: written by construction and Set, taps and spectra by Retap too.
    int m_nLength = 1;
    PartConvLayout m_layout;
    std::vector<Channel> m_channels;
};

class PartConvImpulse::Workshop {
public:
    /// Takes memory for every layout there is.
    void Reserve();

private:
    friend class PartConvImpulse;

    /// The transform of a level's block.
    const RightAngleFft& Fft(int nBlock);

    PartConvTransforms m_transforms;
    AlignedVector<float> m_work;
    AlignedVector<float> m_partition;
};

}  // namespace DSP
