#pragma once

#include <doctest/doctest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <string>
#include <vector>

#include "dsp/Parametric.h"
#include "tests/dsp/StreamRig.h"
#include "tests/support/TestContext.h"

namespace Test {

/// The equalizer on its own, with its parameters by name.
struct EqualizerFixture {
    TestContext context;
    DSP::Equalizer::Parametric eq{context};

    void Float(const std::string& strName, float fValue) {
        eq.SetFloat(Find(ParameterGroup::Float, strName), fValue);
    }
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

    /// Runs a signal in the given cuts, over and over.
    Stereo Render(const Stereo& signal, const std::vector<std::uint32_t>& cuts = {512}) {
        return RunCut(eq, signal, cuts);
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
};

/// What an impulse response does to a frequency, in dB.
inline double DbAt(const std::vector<float>& response, double fHz, double fRate) {
    // Horner's rule, from the end.
    const std::complex<double> z = std::polar(1.0, -2.0 * std::numbers::pi * fHz / fRate);
    double re = 0.0;
    double im = 0.0;
    for (std::size_t n = response.size(); n-- > 0;) {
        const double fNew = re * z.real() - im * z.imag() + double{response[n]};
        im = re * z.imag() + im * z.real();
        re = fNew;
    }
    return 20.0 * std::log10(std::hypot(re, im));
}

}  // namespace Test
