#include "tools/pictures/Pictures.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "apps/vesca/ChainRun.h"
#include "dsp/vector/Fft.h"
#include "tools/pictures/Diagram.h"

namespace Pictures {

namespace {

constexpr std::uint32_t kRate = 44100;
constexpr int kOrder = 16;  ///< of the transform behind every response
constexpr std::size_t kLength = std::size_t{1} << kOrder;
using App::ChainAudio;
using Settings = std::vector<std::string>;

double Db(double fLinear) {
    return 20.0 * std::log10(std::max(fLinear, 1e-12));
}

ChainAudio Both(std::vector<float> samples) {
    return {samples, samples};
}

ChainAudio Impulse(float fLevel) {
    std::vector<float> samples(kLength);
    samples[kLength / 2] = fLevel;
    return Both(std::move(samples));
}

ChainAudio Sine(double fHz, double fLevel, std::size_t uLength) {
    std::vector<float> samples(uLength);
    for (std::size_t i = 0; i < uLength; ++i) {
        const double fPhase = 2.0 * std::numbers::pi * fHz * static_cast<double>(i) / kRate;
        samples[i] = static_cast<float>(fLevel * std::sin(fPhase));
    }
    return Both(std::move(samples));
}

/// The magnitudes of a transform of kLength samples.
std::vector<double> Magnitudes(const std::vector<float>& samples) {
    const DSP::RealFft fft(kOrder);
    std::vector<float> spectrum(fft.SpectrumLength()), work(fft.WorkLength());
    std::copy_n(samples.begin(), kLength, spectrum.begin());
    fft.Forward(spectrum.data(), spectrum.data(), work.data());
    std::vector<double> magnitudes;
    for (std::size_t k = 0; k <= kLength / 2; ++k)
        magnitudes.push_back(std::hypot(double{spectrum[2 * k]}, double{spectrum[2 * k + 1]}));
    return magnitudes;
}

/// The frequency response of the left channel from 20 Hz to 20 kHz, in dB.
Diagram::Points Response(const Settings& settings) {
    constexpr float kLevel = 0.25f;
    const auto magnitudes = Magnitudes(RunChain(Impulse(kLevel), kRate, settings).audio.left);
    Diagram::Points points;
    for (double fHz = 20; fHz < 20000; fHz *= 1.01) {
        const auto k = static_cast<std::size_t>(std::lround(fHz * kLength / kRate));
        points.emplace_back(fHz, Db(magnitudes[k] / double{kLevel}));
    }
    return points;
}

Picture EqualizerNodes() {
    Diagram diagram("Equalizer: one node of each kind at 1 kHz", FrequencyAxis(), EvenAxis("dB", -36, 12, 6));
    const auto node = [](const std::string& strShape, const std::string& strGain, const std::string& strQ) {
        return Settings{"EQ: Bypass=off", "EQ: Shape 4=" + strShape, "EQ: Freq 4=1000",
                        "EQ: Gain 4=" + strGain, "EQ: Q/Slope 4=" + strQ};
    };
    diagram.Add("Bell +6, Q 1", Response(node("Bell", "6", "1")));
    diagram.Add("Bell -9, Q 4", Response(node("Bell", "-9", "4")));
    diagram.Add("Lowshelf -6", Response(node("Lowshelf", "-6", "1")));
    diagram.Add("Highshelf +6", Response(node("Highshelf", "6", "1")));
    diagram.Add("Highpass", Response(node("Highpass", "0", "0.7")));
    diagram.Add("Lowpass", Response(node("Lowpass", "0", "0.7")));
    return {"equalizer-nodes.svg", diagram.Svg()};
}

/// The same boost through both types, in time.
Picture EqualizerImpulses() {
    Diagram diagram("Equalizer: an impulse through +12 dB at 1 kHz, without its own peak",
                    EvenAxis("ms around the impulse", -6, 6, 2), EvenAxis("", -0.1, 0.15, 0.05));
    for (const std::string strType : {"Analog", "Digital"}) {
        const Settings settings = {"EQ: Bypass=off",  "EQ: Type=" + strType, "EQ: FFT Size=4096",
                                   "EQ: Freq 4=1000", "EQ: Gain 4=12",       "EQ: Q/Slope 4=2"};
        const auto output = RunChain(Impulse(1.0f), kRate, settings).audio.left;
        Diagram::Points points;
        for (int i = -265; i <= 265; ++i) {
            if (i == 0) continue;
            const auto uAt = static_cast<std::size_t>(static_cast<int>(kLength / 2) + i);
            points.emplace_back(1000.0 * i / kRate, double{output[uAt]});
        }
        diagram.Add(strType, points);
    }
    return {"equalizer-impulses.svg", diagram.Svg()};
}

Picture CrossoverBands() {
    Diagram diagram("Crossover: four bands, each alone, and their sum", FrequencyAxis(),
                    EvenAxis("dB", -60, 6, 6));
    // An imager at rest keeps the crossover in the chain.
    for (int nBand = 1; nBand <= 5; ++nBand) {
        Settings settings = {"IMG: Bypass=off"};
        for (int nOther = 1; nOther <= 4 && nBand <= 4; ++nOther) {
            if (nOther != nBand) settings.push_back("CrossOver: Band " + std::to_string(nOther) + " Mute=on");
        }
        diagram.Add(nBand <= 4 ? "Band " + std::to_string(nBand) : "Sum", Response(settings));
    }
    return {"crossover-bands.svg", diagram.Svg()};
}

/// Level out over level in of a steady sine, once everything has settled.
Picture DynamicsCurves() {
    Diagram diagram("Dynamics: level out over level in", EvenAxis("dB in", -70, 0, 10),
                    EvenAxis("dB out", -80, 0, 10));
    const auto curve = [](Settings settings) {
        settings.insert(settings.end(), {"DYN: Bypass=off", "CrossOver: Number of Bands=1"});
        Diagram::Points points;
        for (double fDb = -70; fDb <= 0; fDb += 2.5) {
            const std::size_t uLength = 2 * kRate;
            const auto input = Sine(1000, std::pow(10.0, fDb / 20.0), uLength);
            const auto output = RunChain(input, kRate, settings).audio.left;
            const double fPeak = double{*std::max_element(output.end() - kRate / 2, output.end())};
            points.emplace_back(fDb, Db(fPeak));
        }
        return points;
    };
    diagram.Add("at rest", curve({}));
    diagram.Add("comp 3:1 above -30", curve({"DYN: Band 1 Comp Threshold=-30", "DYN: Band 1 Comp Ratio=3"}));
    diagram.Add("lim 10:1 above -12", curve({"DYN: Band 1 Lim Threshold=-12", "DYN: Band 1 Lim Ratio=10"}));
    diagram.Add("gate 2:1 below -40", curve({"DYN: Band 1 Gate Threshold=-40", "DYN: Band 1 Gate Ratio=2"}));
    return {"dynamics-curves.svg", diagram.Svg()};
}

Picture ExciterHarmonics() {
    constexpr std::size_t kBin = 1488;  // about 1 kHz, a whole number of periods in the transform
    constexpr double kHz = static_cast<double>(kBin) * kRate / kLength;
    Diagram diagram("Exciter: harmonics of a 1 kHz sine at -12 dB, amount 6", EvenAxis("harmonic", 1, 12, 1),
                    EvenAxis("dB", -120, 0, 20));
    for (const std::string strMode : {"Retro", "Tape", "Tube"}) {
        const Settings settings = {"EXC: Bypass=off", "EXC: Mode=" + strMode, "CrossOver: Number of Bands=1",
                                   "EXC: Band 1 Amount=6", "EXC: Band 1 Mix=100"};
        auto output = RunChain(Sine(kHz, 0.25, 2 * kLength), kRate, settings).audio.left;
        output.erase(output.begin(), output.begin() + kLength);
        const auto magnitudes = Magnitudes(output);
        Diagram::Points points;
        for (std::size_t uHarmonic = 1; uHarmonic <= 12; ++uHarmonic)
            points.emplace_back(uHarmonic, Db(magnitudes[uHarmonic * kBin] * 2.0 / kLength));
        diagram.Add(strMode, points);
    }
    return {"exciter-harmonics.svg", diagram.Svg()};
}

/// Schroeder's backward integration of the wet impulse response.
Picture ReverbDecay() {
    Diagram diagram("Reverb: energy still to come after an impulse", EvenAxis("s", 0, 2.5, 0.5),
                    EvenAxis("dB", -80, 0, 10));
    struct Case {
        const char *name, *type, *size;
    };
    for (const Case& sound :
         {Case{"Plate, size 0.8", "Plate", "0.8"}, Case{"Plate, size 0.3", "Plate", "0.3"},
          Case{"Room, size 0.8", "Room", "0.8"}, Case{"Room, size 0.3", "Room", "0.3"}}) {
        std::vector<float> impulse(3 * kRate);
        impulse[0] = 1.0f;
        const auto output =
            RunChain(Both(std::move(impulse)), kRate,
                     {"RVB: Bypass=off", std::string("RVB: Type=") + sound.type, "RVB: Dry Out=0",
                      "RVB: Wet Out=100", std::string("RVB: Room Size=") + sound.size})
                .audio.left;
        std::vector<double> rest(output.size() + 1);
        for (std::size_t i = output.size(); i-- > 0;)
            rest[i] = rest[i + 1] + double{output[i]} * double{output[i]};
        Diagram::Points points;
        for (std::size_t i = 0; i < 5 * kRate / 2; i += 441)
            points.emplace_back(static_cast<double>(i) / kRate, Db(std::sqrt(rest[i] / rest[0])));
        diagram.Add(sound.name, points);
    }
    return {"reverb-decay.svg", diagram.Svg()};
}

/// A drum-like burst over a sustained tone: the peaks of each millisecond, before and after.
Picture MaximizerPassage() {
    std::vector<float> passage(kRate);
    for (std::size_t i = 0; i < passage.size(); ++i) {
        const double fTime = static_cast<double>(i) / kRate;
        const double fHit = std::fmod(fTime, 0.25);
        const double fDrum = 1.4 * std::exp(-fHit * 30.0) * std::sin(2.0 * std::numbers::pi * 180.0 * fHit);
        const double fTone = 0.35 * std::sin(2.0 * std::numbers::pi * 440.0 * fTime);
        passage[i] = static_cast<float>(fDrum + fTone);
    }
    const auto input = Both(std::move(passage));
    const auto envelope = [](const std::vector<float>& samples) {
        constexpr std::size_t kStep = kRate / 200;
        Diagram::Points points;
        for (std::size_t i = kRate / 2; i + kStep <= samples.size(); i += kStep) {
            double fPeak = 0.0;
            for (std::size_t j = i; j < i + kStep; ++j)
                fPeak = std::max(fPeak, std::abs(double{samples[j]}));
            points.emplace_back(1000.0 * (static_cast<double>(i) / kRate - 0.5), Db(fPeak));
        }
        return points;
    };
    Diagram diagram("Maximizer: a hard passage, margin -1 dB, threshold -8 dB", EvenAxis("ms", 0, 500, 100),
                    EvenAxis("dB, peak of each 5 ms", -12, 12, 3));
    diagram.Add("before", envelope(input.left));
    for (const std::string strMode : {"Soft", "Brickwall", "Intelligent"}) {
        diagram.Add(strMode, envelope(RunChain(input, kRate,
                                               {"LMAX: Bypass=off", "LMAX: Mode=" + strMode,
                                                "LMAX: Threshold=-8", "LMAX: Margin=-1"})
                                          .audio.left));
    }
    return {"maximizer-passage.svg", diagram.Svg()};
}

}  // namespace

std::vector<Picture> DrawAll() {
    return {EqualizerNodes(),   EqualizerImpulses(), CrossoverBands(),  DynamicsCurves(),
            ExciterHarmonics(), ReverbDecay(),       MaximizerPassage()};
}

}  // namespace Pictures
