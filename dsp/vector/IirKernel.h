#pragma once

#include <cstddef>
#include <vector>

namespace DSP {

/// One biquad: taps divided by a0, and its delays.
struct IirSection {
    double b0 = 1.0;
    double b1 = 0.0;
    double b2 = 0.0;
    double a1 = 0.0;
    double a2 = 0.0;
    double s1 = 0.0;
    double s2 = 0.0;
};

struct IirState {
    std::vector<IirSection> sections;
};

/// One section of a chain over two channels, and what follows it.
struct IirStage {
    IirSection* left = nullptr;
    IirSection* right = nullptr;  ///< null: the right channel is silent
    bool bRounds = false;         ///< the output is rounded to 32 bits and multiplied by a gain in 32 bits
    float fLeftGain = 1.0f;
    float fRightGain = 1.0f;
};

/// Frames that one call of the kernel takes at most.
constexpr std::size_t kIirBlock = 512;
/// Stages that one call takes at most.
constexpr std::size_t kIirStages = 16;

/// Frames on their way through a chain: left and right interleaved. Behind the last frame the kernel reads,
/// and ignores, as much as the room has.
struct IirFrames {
    static constexpr std::size_t kRoom = 80;

    alignas(64) double samples[2 * kIirBlock + kRoom];
};

void IirWiden(const float* left, const float* right, IirFrames& frames, std::size_t uCount) noexcept;
void IirWiden(const double* left, const double* right, IirFrames& frames, std::size_t uCount) noexcept;
/// A null right channel reads as zeros above and is not written here.
void IirNarrow(const double* frames, float* left, float* right, std::size_t uCount) noexcept;
void IirNarrow(const double* frames, double* left, double* right, std::size_t uCount) noexcept;

/// Runs nStages stages over the frames, in place, and leaves their delays as the plain loop would. No two
/// stages share a section.
void IirRun(const IirStage* stages, std::size_t uStages, IirFrames& frames, std::size_t uCount) noexcept;

/// A row of sections among others that work on the same frames.
struct IirRowStages {
    const IirStage* stages = nullptr;
    std::size_t uStages = 0;   ///< at most kIirRowStages
    double* output = nullptr;  ///< left and right interleaved
};

constexpr std::size_t kIirRows = 8;
constexpr std::size_t kIirRowStages = 4;

/// Runs uRows rows, at most kIirRows, over the same frames, each into its own output. No two stages share a
/// section.
void IirRunRows(const IirRowStages* rows, std::size_t uRows, const IirFrames& frames,
                std::size_t uCount) noexcept;

}  // namespace DSP
