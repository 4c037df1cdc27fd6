#pragma once

#include <array>
#include <cstdint>
#include <vector>

/// Lets a component work on blocks of one size while the host delivers blocks of any size: FIFOs for two
/// input channels and for 2 or 8 outputs. With two outputs a block is processed in place and comes back as
/// left and right; with eight the outputs are four left and four right bands beside the input.
///
/// The outputs begin with block size - 1 zeros, so the buffer delays by block size - 1 frames, whatever
/// the host's blocks are. Block size 0 passes blocks through as they are.
///
/// Threads:   under the owning component's lock, all of it.
/// Real time: SetBlockSize allocates for a size greater than every size before and than that of Reserve.
/// Begin
///            allocates only when the host's block is longer than every block before; the rest never.
class ComponentBlockBuffer {
public:
    static constexpr std::uint32_t kBands = 4;

    /// A stretch of audio for the component to work on.
    struct Piece {
        std::uint32_t uFrames = 0;
        float* left = nullptr;
        float* right = nullptr;  ///< null when the block is mono
        std::array<float*, kBands> bandsLeft{};
        std::array<float*, kBands> bandsRight{};
        std::int64_t nOffset = 0;  ///< of the first frame, from the host block's first; may be negative
    };

    /// Takes the memory for all sizes up to a greatest, so that a setter may change the size while the audio
    /// waits for its lock. Before the first block.
    void Reserve(std::int32_t nGreatest, std::uint32_t uInputs = 2, std::uint32_t uOutputs = 2);

    /// Takes the memory for host blocks of up to so many frames.
    void ReserveBlocks(std::uint32_t uFrames);

    /// Sets the size, 0 or more frames, and the number of outputs, 2 or 8. Equal arguments do nothing; others
    /// drop what the buffer held. During a block, the rest of that block passes unprocessed.
    void SetBlockSize(std::int32_t nBlockSize, std::uint32_t uInputs = 2, std::uint32_t uOutputs = 2);
    std::uint32_t BlockSize() const { return m_uBlockSize; }

    /// Frames by which the buffer delays.
    std::uint32_t Latency() const { return m_uBlockSize == 0 ? 0 : m_uBlockSize - 1; }

    /// Drops all history: empties the inputs and refills the outputs with zeros. During a block it only
    /// silences the outputs.
    void Clear();

    /// Takes a host block in. The band arrays may be null, or hold four pointers each, the right ones null in
    /// mono. The buffers are written by End, or by the component itself at block size 0.
    void Begin(std::uint32_t uFrames, float* left, float* right, float* const* bandsLeft,
               float* const* bandsRight);

    /// Gives the next full block, or at block size 0 the host's block once. False when there is none.
    bool NextBlock(Piece& piece);

    /// Whether the block size has changed since Begin.
    bool Reconfigured() const { return m_bReconfigured; }

    /// Between Begin and End. The owner's lock is held all that time, so whoever sees this under that lock is
    /// the audio thread.
    bool IsInBlock() const { return m_bInBlock; }

    /// At block size 0: so many more frames of the host's block are finished.
    void Advance(std::uint32_t uFrames) { m_uFinished += uFrames; }

    /// Writes the host block's share of the output. After a change of size that is the rest of the input;
    /// with bands it goes to the lowest band, and the others are silent.
    void End();

private:
    void TakeMemory();
    void Flush(const Piece& piece);
    void Refill();
    void PassRest() const;
    float* HostOutput(std::uint32_t uOutput) const;

    // Set-up: written by SetBlockSize only.
    std::uint32_t m_uBlockSize = 0;
    std::vector<std::vector<float>> m_inputs = std::vector<std::vector<float>>(2);
    std::vector<std::vector<float>> m_outputs = std::vector<std::vector<float>>(2);
    std::vector<std::vector<float>> m_bands;  ///< the bands of the block in work, with 8 outputs

    // What memory has been taken for.
    std::uint32_t m_uGreatest = 0;     ///< block size
    std::uint32_t m_uLongestHost = 0;  ///< frames of the longest host block

    // State: Clear drops it.
    std::uint32_t m_uRead = 0;  ///< frames of the inputs that are already handed out

    // The block in progress, between Begin and End.
    bool m_bInBlock = false;
    bool m_bReconfigured = false;
    bool m_bTaken = false;          ///< at block size 0: the host's block has been handed out
    bool m_bPending = false;        ///< a block is in the component's hands
    std::uint32_t m_uFinished = 0;  ///< at block size 0: frames that the component has finished
    std::int64_t m_nHeld = 0;       ///< frames that were in the inputs before this host block
    Piece m_host;
    Piece m_current;
};
