#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "dsp/AudioProcessor.h"
#include "dsp/PartConvImpulse.h"
#include "dsp/PartConvLine.h"
#include "dsp/PartConvTail.h"
#include "dsp/PartConvTransforms.h"

namespace DSP {

/// Convolves each channel with a long impulse: y[n] = sum over i of h[i] x[n - i], without any delay.
///
/// Impulse:   channel c uses impulse channel min(c, impulse channels - 1): a mono impulse serves every
///            channel. Before the first SetImpulse the impulse is a single tap of 1, a wire.
/// Method:    the impulse is cut into partitions on one to three levels of growing block length, each
///            convolved through the FFT (Gardner, "Efficient convolution without input-output delay", 1995).
///            The work of the longer blocks is spread over the blocks in between by a schedule that depends
///            on the position in the stream alone: every block costs about the same.
/// Blocks:    any length, in any order. Fastest, and meant for, are blocks of the configured length,
///            which the engine's block adaptor delivers. A piece of a block is convolved tap by tap with
///            the first taps, which gives the same samples but for rounding: two cuts of a stream
///            differ by less than 1e-6 of the output's rms. Cuts into whole blocks of the grid (see
///            PartConvLayout) agree bit by bit, and so do cuts that never hold one.
/// Precision: float; the error against a convolution in double is below 1e-6 of the output's rms on noise.
/// Damage:    a NaN, an infinity and anything of 2^40 or above reads as 0, so that nothing poisons the
///            history.
/// Delay:     none.
/// Threads:   as AudioProcessor. What SetImpulse prepares can be prepared on any other thread, as a
///            PartConvImpulse, and swapped in: see Swap.
/// Real time: Process never allocates, whatever the block, once configured. Memory stays: Configure with the
///            same block length and no more channels than ever before allocates nothing, nor does a Swap to
///            an impulse that fits, or to one that memory was reserved for. SetImpulse and the others do.
class PartConv final : public AudioProcessor {
public:
    PartConv();
    ~PartConv() override;

    /// Sets the channels and the block length; outputs are as many as inputs. Arguments equal to the last do
    /// nothing, and the history stays. Others lay the impulse out again and reset.
    void Configure(int nInputs, int nOutputs, int nMaxFrames) override;

    /// Takes a copy of an impulse of nLength taps a channel. With the same layout as before, that is
    /// always with an equal length, the history stays, and the new impulse works on it; otherwise the
    /// convolver is reset.
    void SetImpulse(const float* const* channels, int nLength, int nChannels);

    /// Installs a prepared impulse and returns the one before, for the caller to free where it likes. The
    /// history is kept and nothing is allocated if Fits(*impulse); otherwise the convolver is rebuilt for
    /// its layout, and reset. A null impulse changes nothing and is returned.
    ///
    /// The head of the new impulse is heard at once. What the tails have finished or half finished stays as
    /// it is: a tail takes over within three of its level's blocks.
    std::shared_ptr<const PartConvImpulse> Swap(std::shared_ptr<const PartConvImpulse> impulse);
    bool Fits(const PartConvImpulse& impulse) const noexcept;

    /// Takes memory for impulses of up to so many taps and for so many channels, at the present block length.
    void Reserve(int nMaxLength, int nChannels);

    /// The impulse in force, never null; its taps are those of SetImpulse.
    const std::shared_ptr<const PartConvImpulse>& Impulse() const noexcept { return m_impulse; }

    /// Null outputs: in place. An output is its input itself or overlaps no input.
    void Process(float* const* inputs, int nFrames, float* const* outputs) override;

    /// Clears the history: the next sample is the first of a stream.
    void Reset() override;

    /// Keeps everything: a longer block is convolved in pieces, on the layout of the configured length.
    void Grow(int nMaxFrames) override;

private:
    void Build();
    void ConvolveBlock() noexcept;
    void ConvolvePiece(int nFrames) noexcept;
    void FinishBlock() noexcept;
    std::span<PartConvTail> Tails() noexcept { return {m_tails.data(), m_layout.levels.size() - 1}; }
    std::size_t Ring() const noexcept { return 4 * static_cast<std::size_t>(m_layout.LongestBlock()); }
    float* BlockInput(std::size_t uChannel) const noexcept;
    float* BlockOutput(std::size_t uChannel) const noexcept;
    float* NextBlockOutput(std::size_t uChannel) const noexcept;

    // Set-up: written by Configure, SetImpulse and Swap only.
    int m_nBlock = 4096;  // as configured; Grow leaves it
    std::shared_ptr<const PartConvImpulse> m_impulse;
    PartConvLayout m_layout;  // what the state below is built for
    PartConvTransforms m_transforms;
    // State: Reset clears every member of this group. Channels in use come first.
    PartConvLine m_head;
    std::array<PartConvTail, PartConvLayout::kMaxLevels - 1> m_tails;
    std::vector<AlignedVector<float>> m_inputs;   // by channel: a ring of two of the longest blocks
    std::vector<AlignedVector<float>> m_outputs;  // by channel: a ring of four; what is known of the future
    std::size_t m_uPosition = 0;                  // of the grid block in work, in the output ring
    int m_nFilled = 0;                            // its frames that are done
    bool m_bPieces = false;                       // whether it came in pieces so far
    // Pointers to the rings, for the tails.
    std::vector<const float*> m_inputPointers;
    std::vector<float*> m_outputPointers;
};

}  // namespace DSP
