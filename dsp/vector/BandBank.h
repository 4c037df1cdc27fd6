#pragma once

#include <array>

namespace DSP {

/// Up to four bands of a signal of one or two channels, all filtered from the same input in one pass: each
/// band two equal biquads, a gain, and in a middle band two more equal biquads.
///
///     band = (second two biquads of) float(gain * float(first two biquads of double(input)))
///
/// Arithmetic: a biquad is direct form II transposed with the numerator (1, b1, 1), in 64 bits:
///
///                 y  = x + s1
///                 s1 = (b1 x + s2) - a1 y
///                 s2 = x - a2 y
///
///             After each pair the sample is rounded to 32 bits; the gain is multiplied in 32 bits. The bits
///             are those of that plain loop at every processor level (and of a cascade of Iir.h), however
///             the stream is cut.
/// Denormals:  are not flushed.
/// NaN:        a NaN or an infinity in the input stays until Reset; IsFinite tells.
/// Threads:    one at a time; nothing allocates, waits or throws.
class BandBank {
public:
    static constexpr int kBands = 4;

    /// Taps beside the ones of the numerator; a0 is 1.
    struct Biquad {
        double b1 = 0.0;
        double a1 = 0.0;
        double a2 = 0.0;
    };

    /// No bands.
    BandBank() noexcept { Clear(); }

    /// Removes every band.
    void Clear() noexcept;

    /// Gives a band its filters and clears its delays, in both channels. Only bands 1 and 2 can have
    /// a second filter; null is none.
    void SetBand(int iBand, const Biquad& first, const Biquad* second, float fGain) noexcept;
    bool HasBand(int iBand) const noexcept { return m_bBand[static_cast<unsigned>(iBand)]; }

    /// Clears all delays; the taps stay.
    void Reset() noexcept;

    /// False from the block on in which a NaN or an infinity went in, until Reset.
    bool IsFinite() const noexcept;

    /// Filters nFrames frames into the bands. The arrays hold kBands pointers; those of bands that the bank
    /// does not have are not used and may be null. No output overlaps an input. A null right input is mono:
    /// then the right bands are neither written nor read, and the right channel's delays stay.
    void Process(const float* left, const float* right, float* const* leftBands, float* const* rightBands,
                 int nFrames) noexcept;

    /// The lanes as the kernel sees them; see the source for their order.
    struct Lanes {
        static constexpr int kLanes = 2 * kBands;
        static constexpr int kSecondLanes = 4;

        struct alignas(64) Delays {
            std::array<double, kLanes> s1;
            std::array<double, kLanes> s2;
        };
        struct alignas(64) Taps {
            std::array<double, kLanes> b1;
            std::array<double, kLanes> a1;
            std::array<double, kLanes> a2;
        };
        std::array<Taps, 2> taps;      ///< first filter, second filter
        std::array<Delays, 4> delays;  ///< two sections of the first filter, two of the second
        alignas(64) std::array<float, kLanes> gain;
    };

private:
    // Set-up: written by Clear and SetBand only, as are the taps and gains among the lanes.
    std::array<bool, kBands> m_bBand{};
    std::array<bool, kBands> m_bSecond{};
    // State: Reset clears the delays.
    Lanes m_lanes;
};

}  // namespace DSP
