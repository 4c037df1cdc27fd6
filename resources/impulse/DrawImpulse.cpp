// draw_impulse OUTPUT.svg
//
// Draws the impulse as it is embedded: waveform, spectrogram, and the decay of each octave by Schroeder's
// backward integration ("New method of measuring reverberation time", 1965), with the time that 60 dB take,
// extrapolated from the stretch between -5 and -35 dB.

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "dsp/vector/Decibel.h"
#include "dsp/vector/Fft.h"
#include "dsp/vector/Window.h"
#include "resources/EmbeddedFile.h"
#include "resources/impulse/Signal.h"

namespace {

using Impulse::Signal;

constexpr double kWidth = 760.0, kLeft = 70.0, kHeight = 210.0, kGap = 60.0;
constexpr double kSeconds = Impulse::kFrames / Impulse::kRate;

std::array<Signal, 2> ReadImpulse() {
    const Util::EmbeddedFile* file = Util::FindEmbeddedFile(Util::kEmbeddedImpulses, "Impulse1.pcm");
    std::array<Signal, 2> channels{Signal(Impulse::kFrames), Signal(Impulse::kFrames)};
    for (std::size_t i = 0; i < 2 * Impulse::kFrames; ++i) {
        const unsigned uBits = file->data[2 * i] | unsigned{file->data[2 * i + 1]} << 8;
        channels[i % 2][i / 2] = static_cast<std::int16_t>(uBits) / 32768.0;
    }
    return channels;
}

/// One diagram: a frame with a title, and a mapping of its axes to the page.
class Panel {
public:
    Panel(std::ostream& out, double fTop, double fLow, double fHigh, const std::string& strTitle)
        : m_out(out), m_fTop(fTop), m_fLow(fLow), m_fHigh(fHigh) {
        m_out << "<text x='" << kLeft << "' y='" << fTop - 8 << "' font-weight='bold'>" << strTitle
              << "</text>\n<rect x='" << kLeft << "' y='" << fTop << "' width='" << kWidth << "' height='"
              << kHeight << "' fill='#fcfcfa' stroke='#888'/>\n";
        for (int i = 0; i <= 17; ++i) {
            m_out << "<text x='" << X(0.1 * i) << "' y='" << fTop + kHeight + 14 << "' text-anchor='middle'>"
                  << 0.1 * i << (i == 17 ? " s" : "") << "</text>\n";
        }
    }
    double X(double fSeconds) const { return kLeft + kWidth * fSeconds / kSeconds; }
    double Y(double fValue) const {
        const double fShare = (fValue - m_fLow) / (m_fHigh - m_fLow);
        return m_fTop + kHeight * (1.0 - std::clamp(fShare, 0.0, 1.0));
    }
    void Tick(double fValue, const std::string& strText) {
        m_out << "<text x='" << kLeft - 6 << "' y='" << Y(fValue) + 4 << "' text-anchor='end'>" << strText
              << "</text>\n<path d='M" << kLeft << ' ' << Y(fValue) << "h" << kWidth
              << "' stroke='#ddd' fill='none'/>\n";
    }
    void Line(const std::vector<std::pair<double, double>>& points, const std::string& strColour) {
        m_out << "<polyline fill='none' stroke='" << strColour << "' points='";
        for (const auto& [fTime, fValue] : points)
            m_out << X(fTime) << ',' << Y(fValue) << ' ';
        m_out << "'/>\n";
    }

private:
    std::ostream& m_out;
    double m_fTop, m_fLow, m_fHigh;
};

void DrawWaveform(std::ostream& out, const std::array<Signal, 2>& channels) {
    Panel panel(out, 30, -2, 2, "Waveform: left above, right below; extremes of 1 ms");
    constexpr std::size_t kStep = 44;
    for (std::size_t c = 0; c < 2; ++c) {
        std::vector<std::pair<double, double>> points;
        for (std::size_t i = 0; i + kStep < Impulse::kFrames; i += kStep) {
            const auto begin = channels[c].begin() + static_cast<std::ptrdiff_t>(i);
            const auto [low, high] = std::minmax_element(begin, begin + kStep);
            const double fTime = static_cast<double>(i) / Impulse::kRate, fMiddle = c == 0 ? 1.0 : -1.0;
            points.insert(points.end(), {{fTime, fMiddle + *low}, {fTime, fMiddle + *high}});
        }
        panel.Line(points, c == 0 ? "#2060a0" : "#a04020");
    }
}

void DrawSpectrogram(std::ostream& out, const Signal& signal) {
    Panel panel(out, 30 + kHeight + kGap, 0, 10, "Spectrogram: left, 32 Hz to 20 kHz, 6 dB a shade");
    for (std::size_t b = 0; b < Impulse::kBands; ++b)
        panel.Tick(static_cast<double>(b) + 0.5, std::to_string(static_cast<int>(Impulse::kBandHz[b])));
    const DSP::RealFft fft(12);
    std::vector<float> window(fft.Length(), 1.0f), spectrum(fft.SpectrumLength()), work(fft.WorkLength());
    DSP::VectorWinHann(window.data(), static_cast<int>(fft.Length()));
    constexpr int kColumns = 130, kRows = 50;
    std::map<int, std::string> shades;
    for (int nColumn = 0; nColumn < kColumns; ++nColumn) {
        const double fTime = (nColumn + 0.5) * kSeconds / kColumns;
        const auto nFirst = static_cast<std::ptrdiff_t>(fTime * Impulse::kRate) -
                            static_cast<std::ptrdiff_t>(fft.Length() / 2);
        for (std::size_t i = 0; i < fft.Length(); ++i) {
            const std::ptrdiff_t n = nFirst + static_cast<std::ptrdiff_t>(i);
            const bool bInside = n >= 0 && n < static_cast<std::ptrdiff_t>(signal.size());
            spectrum[i] =
                bInside ? window[i] * static_cast<float>(signal[static_cast<std::size_t>(n)]) : 0.0f;
        }
        fft.Forward(spectrum.data(), spectrum.data(), work.data());
        for (int nRow = 0; nRow < kRows; ++nRow) {
            const auto bin = [&](int nEdge) {
                const double fHz = Impulse::kBandHz[0] * std::exp2(10.0 * nEdge / kRows - 0.5);
                return static_cast<std::size_t>(fHz * static_cast<double>(fft.Length()) / Impulse::kRate);
            };
            double fEnergy = 0.0;
            const std::size_t uFrom = std::max<std::size_t>(bin(nRow), 1);
            const std::size_t uTo = std::min(std::max(bin(nRow + 1), uFrom + 1), fft.Length() / 2);
            for (std::size_t k = uFrom; k < uTo; ++k)
                fEnergy += std::norm(std::complex<double>(spectrum[2 * k], spectrum[2 * k + 1]));
            const double fDb = DSP::LinearToDb(std::sqrt(fEnergy / static_cast<double>(uTo - uFrom)));
            const int nShade = std::clamp(static_cast<int>((fDb + 66.0) / 6.0), 0, 15);
            const double x = kLeft + kWidth * nColumn / kColumns;
            shades[nShade] += "M" + std::to_string(static_cast<int>(10.0 * x)) + ' ' +
                              std::to_string(static_cast<int>(10.0 * panel.Y(10.0 * (nRow + 1) / kRows))) +
                              "h59v43h-59z";
        }
    }
    for (const auto& [nShade, strPath] : shades) {
        const int nLight = 255 - 16 * nShade;
        out << "<path transform='scale(0.1)' fill='rgb(" << nLight << ',' << std::min(255, nLight + 20) << ','
            << std::min(255, 60 + nLight) << ")' d='" << strPath << "'/>\n";
    }
}

void DrawDecay(std::ostream& out, const Signal& signal) {
    const double fTop = 30 + 2 * (kHeight + kGap);
    Panel panel(out, fTop, -70, 0, "Decay of each octave, left: energy still to come, dB");
    for (int nDb = -60; nDb <= 0; nDb += 20)
        panel.Tick(nDb, std::to_string(nDb));
    const auto bands = Impulse::SplitBands(signal);
    for (std::size_t b = 1; b < Impulse::kBands; ++b) {
        Signal rest(signal.size() + 1);
        for (std::size_t i = signal.size(); i-- > 0;)
            rest[i] = rest[i + 1] + bands[b][i] * bands[b][i];
        std::vector<std::pair<double, double>> points;
        double fFrom = 0.0, fTo = 0.0;
        for (std::size_t i = 0; i < signal.size(); i += 200) {
            const double fTime = static_cast<double>(i) / Impulse::kRate;
            const double fDb = DSP::LinearToDb(std::sqrt(rest[i] / rest[0]));
            points.emplace_back(fTime, fDb);
            if (fDb > -5.0) fFrom = fTime;
            if (fDb > -35.0) fTo = fTime;
        }
        const std::string strColour = "hsl(" + std::to_string(36 * b) + ",75%,40%)";
        panel.Line(points, strColour);
        const std::string strTime = std::to_string(2.0 * (fTo - fFrom)).substr(0, 4);
        const double y = fTop + 8 + 18 * static_cast<double>(b);
        out << "<text x='" << kLeft + kWidth - 130 << "' y='" << y << "' fill='" << strColour << "'>"
            << static_cast<int>(Impulse::kBandHz[b]) << " Hz: " << strTime << " s</text>\n";
        std::cout << Impulse::kBandHz[b] << " Hz: " << strTime << " s\n";
    }
}

}  // namespace

int main(int nArguments, char** arguments) {
    if (nArguments != 2) {
        std::cerr << "draw_impulse OUTPUT.svg\n";
        return 2;
    }
    const auto channels = ReadImpulse();
    std::ofstream out(arguments[1]);
    out << "<svg xmlns='http://www.w3.org/2000/svg' width='860' height='" << 3 * (kHeight + kGap) + 30
        << "' font-family='sans-serif' font-size='11'>\n<rect width='100%' height='100%' fill='white'/>\n";
    DrawWaveform(out, channels);
    DrawSpectrogram(out, channels[0]);
    DrawDecay(out, channels[0]);
    out << "</svg>\n";
    out.close();
    return out ? 0 : 1;
}
