#pragma once

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <string>
#include <vector>

#include "dsp/Parametric.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

namespace Test {

struct StereoSignal {
    std::vector<float> left;
    std::vector<float> right;  ///< empty: mono
};

inline StereoSignal StereoNoise(std::uint64_t uSeed, std::size_t uLength) {
    return {Noise(uSeed, uLength), Noise(uSeed + 1000, uLength)};
}

inline bool SameBits(const StereoSignal& a, const StereoSignal& b) {
    return FirstDifference(a.left, b.left) == -1 && FirstDifference(a.right, b.right) == -1;
}

/// The equalizer on its own, with its parameters by name.
struct EqualizerFixture {
    TestContext context;
    DSP::Equalizer::Parametric eq{context};

    void Float(const std::string& strName, float fValue) {
        eq.SetFloat(Find(ParameterGroup::Float, strName), fValue);
    }
    float Float(const std::string& strName) { return eq.GetFloat(Find(ParameterGroup::Float, strName)); }
    void Bool(const std::string& strName, bool bValue) {
        eq.SetBool(Find(ParameterGroup::Bool, strName), bValue);
    }
    void Int(const std::string& strName, std::int32_t nValue) {
        eq.SetInt(Find(ParameterGroup::Int, strName), nValue);
    }
    std::uint32_t Find(ParameterGroup group, const std::string& strName) {
        for (std::uint32_t i = 0; i < eq.Count(group); ++i) {
            if (eq.Info(group, i).strName == strName) return i;
        }
        FAIL("no parameter " << strName);
        return 0;
    }

    void Process(std::uint32_t uFrames, float* left, float* right) {
        eq.ProcessAutomated({uRate, 0, 50, nullptr}, uFrames, left, right, true);
    }

    /// Runs a signal in the given cuts, over and over.
    StereoSignal Render(StereoSignal signal, const std::vector<std::uint32_t>& cuts) {
        std::size_t uDone = 0;
        for (std::size_t i = 0; uDone < signal.left.size(); ++i) {
            const auto uLength = static_cast<std::uint32_t>(
                std::min<std::size_t>(cuts[i % cuts.size()], signal.left.size() - uDone));
            Process(uLength, signal.left.data() + uDone,
                    signal.right.empty() ? nullptr : signal.right.data() + uDone);
            uDone += uLength;
        }
        return signal;
    }
    StereoSignal Render(const StereoSignal& signal) { return Render(signal, {512}); }

    void SetRate(std::uint32_t uNewRate) {
        uRate = uNewRate;
        eq.SetSampleRate(uNewRate);
    }

    /// Nodes of every shape, so that a state has something to hold.
    void MakeLively() {
        eq.SetNode(0, 90.0f, 4.0f, 3.0f, DSP::Equalizer::Shape::LowShelf);
        eq.SetNode(1, 400.0f, -7.0f, 2.0f, DSP::Equalizer::Shape::Bell);
        eq.SetNode(3, 1500.0f, 9.0f, 5.0f, DSP::Equalizer::Shape::Bell);
        eq.SetNode(4, 40.0f, 0.0f, 0.7f, DSP::Equalizer::Shape::HighPass);
        eq.SetNode(6, 9000.0f, 0.0f, 1.2f, DSP::Equalizer::Shape::LowPass);
        eq.SetNode(7, 6000.0f, 3.0f, 1.0f, DSP::Equalizer::Shape::HighShelf);
    }

    std::uint32_t uRate = 44100;
};

/// |H| of an impulse response at a frequency.
inline double MagnitudeAt(const std::vector<float>& response, double fHz, double fRate) {
    // Horner's rule, from the end.
    const std::complex<double> z = std::polar(1.0, -2.0 * std::numbers::pi * fHz / fRate);
    double re = 0.0;
    double im = 0.0;
    for (std::size_t n = response.size(); n-- > 0;) {
        const double fNew = re * z.real() - im * z.imag() + double{response[n]};
        im = re * z.imag() + im * z.real();
        re = fNew;
    }
    return std::hypot(re, im);
}

inline double Db(double fMagnitude) {
    return 20.0 * std::log10(fMagnitude);
}

}  // namespace Test
