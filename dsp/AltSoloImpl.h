#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "dsp/vector/Iir.h"
#include "hvBase/Util/NamedLock.h"

namespace DSP {

/// The audition filter of a component: a band-pass that lets a user hear one frequency alone.
///
/// Filter:    the constant-peak band-pass of the audio EQ cookbook (R. Bristow-Johnson), times a gain; a
///            frequency above half the sample rate passes everything.
/// Units:     Hz, dB, Hz for the sample rate; Q without a unit.
/// Threads:   any; every operation takes the owner's lock, which is given at construction.
/// Real time: nothing allocates after construction.
/// NaN:       a filter that has met one starts anew with the next block.
class AltSoloImpl {
public:
    /// Starts without a filter, at 1000 Hz, 0 dB and Q 18.
    explicit AltSoloImpl(Util::NamedLock& lock);

    /// Runs the filter in place. Without one, and for a null right, the audio stays as it is. Returns the
    /// frames.
    virtual std::uint32_t Process(std::uint32_t uFrames, float* left, float* right);
    virtual ~AltSoloImpl() = default;
    AltSoloImpl(const AltSoloImpl&) = delete;
    AltSoloImpl& operator=(const AltSoloImpl&) = delete;

    /// Sets the filter up; what is missing keeps its value. A small step (frequency by less than a factor of
    /// about 2, gain by less than 10 dB, the same Q) keeps the delay lines, so that a dragged control does
    /// not click; any other starts with clear ones.
    void Set(std::uint32_t uSampleRate, std::optional<float> frequency, std::optional<float> gainDb,
             std::optional<float> q);

    /// Discards the filters: Process leaves the audio alone until the next Set.
    void Clear();

    /// Whether there are filters.
    bool IsOn() const;

    /// Clears the delay lines of the filters, which stay.
    void Reset();

    /// Writes the delay lines of the left filter, if there is one and the number of values is its own.
    void SetState(std::span<const double> values);

private:
    static constexpr std::size_t kDelays = 2;

    Util::NamedLock& m_lock;

    // Parameters: written by Set.
    float m_fFrequency = 1000.0f;
    float m_fGainDb = 0.0f;
    float m_fQ = 18.0f;
    float m_fGain = 1.0f;  ///< linear

    // State: Clear discards it.
    bool m_bFilter = false;
    IirCascade m_left;
    IirCascade m_right;
};

}  // namespace DSP
