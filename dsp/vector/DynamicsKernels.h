#pragma once

#include <array>
#include <cstdint>

/// The kernels of one band of the dynamics: everything that runs once a sample, cut along the line between
/// what can be done for many samples at once and what waits for the sample before.
///
/// Lengths are in samples, 0 or more; no buffer overlaps another, except where stated. All arithmetic is
/// single precision, but for the powers. Each result has the bits of the plain loop at every processor level.
/// Nothing allocates, locks or throws. Any thread.
namespace DSP {

/// One stage's static gain: (level / threshold)^power on its side of the threshold. A power of 0 is an idle
/// stage, whose gain is 1.
struct DynamicsLaw {
    float fThreshold = 1.0f;  ///< linear
    float fPower = 0.0f;
};

/// A number for the gain of the compressor and the limiter, and one for the gate's.
using DynamicsPair = std::array<float, 2>;

struct DynamicsCoefficients {
    DynamicsLaw comp;             ///< from its threshold up
    DynamicsLaw limit;            ///< from its threshold up; takes the compressor's place there
    DynamicsLaw gate;             ///< below its threshold
    float fJoin = 1.0f;           ///< the compressor's gain at the limiter's threshold
    float fLeastGateBase = 0.0f;  ///< what the gate's law reads a smaller level / threshold as

    // One-pole coefficients: a "keep" is c, a "step" is 1 - c.
    float fCompAttackStep = 1.0f;
    float fLimitAttackStep = 1.0f;
    float fGateReleaseStep = 1.0f;
    DynamicsPair riseKeeps{};  ///< the compressor's release, the gate's attack
    DynamicsPair riseSteps{1.0f, 1.0f};
    DynamicsPair smoothingSteps{1.0f, 1.0f};
    float fMeanSquareStep = 1.0f;
};

struct DynamicsDetector {
    float fMeanSquare = 0.0f;
    float fPeak = 0.0f;
};

struct DynamicsGains {
    DynamicsPair gains{1.0f, 1.0f};
    DynamicsPair smoothed{1.0f, 1.0f};
};

/// The longest stretch that the kernels take at a time.
inline constexpr std::int32_t kDynamicsChunk = 128;
using DynamicsBuffer = std::array<float, kDynamicsChunk>;
using DynamicsPairs = std::array<float, 2 * kDynamicsChunk>;  ///< compressor, gate, compressor, ...

/// A stretch of audio on its way from the samples to the two gains.
struct DynamicsChunk {
    std::int32_t nLength = 0;
    float fLowest = 0.0f;  ///< of the levels
    float fHighest = 0.0f;
    DynamicsBuffer levels;  ///< what the detector sees, then its state, then the level
    DynamicsPairs gains;    ///< where the gains are bound, then the gains to use
    DynamicsPairs bounds;   ///< above these they go there, otherwise they rise to 1
    DynamicsPairs steps;    ///< how fast they go there
};

/// What the detector sees, for chunk.nLength samples: with bMeanSquare the square of the sample, or the mean
/// of both channels' squares; otherwise the magnitude, the larger of both channels. A null right is mono. A
/// sample that is NaN, or greater than 10^6 in magnitude, counts as silence; silence is 1e-12.
void DynamicsListen(bool bMeanSquare, const float* left, const float* right, DynamicsChunk& chunk) noexcept;

/// What is followed of one band.
struct DynamicsTrack {
    const DynamicsCoefficients* coefficients = nullptr;
    DynamicsDetector* detector = nullptr;
    DynamicsChunk* ahead = nullptr;
    DynamicsGains* gains = nullptr;
    DynamicsChunk* chunk = nullptr;
};

/// Runs each track's detector over nAhead levels of `ahead`, and its gains' ballistics over nLength targets
/// of `chunk`. All of these have nothing to do with each other but that each waits for its own sample before;
/// side by side they wait together. Either length may be 0, and then that chunk is not read.
void DynamicsFollow(bool bMeanSquare, bool bSmooth, float fPeakDecay, const DynamicsTrack* tracks,
                    int nTracks, std::int32_t nAhead, std::int32_t nLength) noexcept;

/// Detector states to levels, of at least one sample: with bMeanSquare the root; at least 1e-5. Notes the
/// extremes.
void DynamicsLevels(bool bMeanSquare, DynamicsChunk& chunk) noexcept;

/// The targets of the gains and the steps towards them, from the levels. A stage that no sample of the chunk
/// calls for costs nothing. Returns false if all targets are 1.
bool DynamicsTargets(const DynamicsCoefficients& coefficients, DynamicsChunk& chunk) noexcept;

/// Both gains 1 for the whole chunk.
void DynamicsRest(DynamicsChunk& chunk) noexcept;

/// left = gain * left + fOffset and right = gain * right + 2 fOffset, for nLength samples, where gain = comp
/// gain * gate gain * fFirst * fSecond, multiplied from left to right, from pairs of a compressor's and
/// a gate's gain. A null right is mono. Returns the least of each gain, or 1 if there is none below.
DynamicsPair DynamicsApply(const float* gains, std::int32_t nLength, float fFirst, float fSecond,
                           float fOffset, float* left, float* right) noexcept;

}  // namespace DSP
