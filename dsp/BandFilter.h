#pragma once

#include <array>

namespace DSP {

/// The taps of one filter of the analogue crossover: two identical biquads in series, which make a
/// Butterworth section a fourth-order Linkwitz-Riley filter. The delay lines stand with those of the other
/// bands in a BandBank, where they share vectors.
///
/// A value; nothing allocates. Any thread.
class BandFilter {
public:
    static constexpr int kOrder = 2;
    static constexpr int kSections = 2;

    /// b0, b1, b2, a0, a1, a2 of one section. They are rounded to single precision here, which is part of
    /// the sound.
    explicit BandFilter(const std::array<double, 6>& section) noexcept;

    /// The rounded taps of each section, one after the other.
    const std::array<double, 6 * kSections>& Taps() const noexcept { return m_taps; }

    /// |H| of both sections at an angular frequency in radians per sample.
    double Magnitude(double fOmega) const noexcept;

private:
    std::array<double, 6 * kSections> m_taps;
};

}  // namespace DSP
