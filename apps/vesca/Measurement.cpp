#include "apps/vesca/Measurement.h"

#include <ebur128.h>

#include <algorithm>
#include <cmath>
#include <new>

#include "dsp/vector/Decibel.h"
#include "hvBase/Util/Exception.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

std::optional<double> LevelDb(double fMagnitude) {
    if (!(fMagnitude >= DSP::kSilence)) return std::nullopt;
    return DSP::LinearToDb(fMagnitude);
}

void Require(int nResult) {
    if (nResult == EBUR128_ERROR_NOMEM) throw std::bad_alloc();
    if (nResult != EBUR128_SUCCESS) throw ::Exception::Base("the loudness could not be measured");
}

}  // namespace

struct Measurement::Loudness {
    Loudness(std::uint32_t uChannels, std::uint32_t uSampleRate)
        : state(ebur128_init(uChannels, uSampleRate, EBUR128_MODE_I | EBUR128_MODE_LRA)) {
        if (!state)
            throw ::Exception::Base(Util::Format("the loudness can't be measured at %1 Hz", uSampleRate));
    }
    ~Loudness() { ebur128_destroy(&state); }
    Loudness(const Loudness&) = delete;
    Loudness& operator=(const Loudness&) = delete;

    ebur128_state* state;
};

Measurement::Measurement(std::uint32_t uChannels, std::uint32_t uSampleRate)
    : m_loudness(std::make_unique<Loudness>(uChannels, uSampleRate)), m_channels(uChannels) {}

Measurement::~Measurement() = default;

void Measurement::Add(std::uint32_t uFrames, const float* left, const float* right) {
    const std::size_t uChannels = m_channels.size();
    m_interleaved.resize(uFrames * uChannels);
    for (std::size_t iChannel = 0; iChannel < uChannels; ++iChannel) {
        const float* const plane = iChannel == 0 ? left : right;
        Channel& channel = m_channels[iChannel];
        channel.samples.resize(uFrames);
        for (std::size_t i = 0; i < uFrames; ++i) {
            const float fSample = std::isfinite(plane[i]) ? plane[i] : 0.0f;
            channel.samples[i] = fSample;
            m_interleaved[i * uChannels + iChannel] = fSample;
            channel.fSum += double{fSample};
            channel.fSquares += double{fSample} * double{fSample};
            channel.fPeak = std::max(channel.fPeak, std::abs(fSample));
        }
        channel.truePeak.Add(channel.samples.data(), uFrames);
    }
    m_uFrames += uFrames;
    Require(ebur128_add_frames_float(m_loudness->state, m_interleaved.data(), uFrames));
}

Levels Measurement::Finish() const {
    Levels levels;
    double fPeak = 0.0;
    double fTruePeak = 0.0;
    double fSquares = 0.0;
    const double fFrames = static_cast<double>(std::max<std::uint64_t>(m_uFrames, 1));
    for (const Channel& channel : m_channels) {
        fPeak = std::max(fPeak, double{channel.fPeak});
        fTruePeak = std::max(fTruePeak, double{channel.truePeak.Peak()});
        fSquares += channel.fSquares;
        levels.dcOffset.push_back(channel.fSum / fFrames);
    }
    levels.peakDb = LevelDb(fPeak);
    levels.truePeakDb = LevelDb(fTruePeak);
    levels.rmsDb = LevelDb(std::sqrt(fSquares / (fFrames * static_cast<double>(m_channels.size()))));

    double fLoudness = 0.0;
    double fRange = 0.0;
    Require(ebur128_loudness_global(m_loudness->state, &fLoudness));
    Require(ebur128_loudness_range(m_loudness->state, &fRange));
    if (std::isfinite(fLoudness)) {
        levels.integratedLufs = fLoudness;
        levels.loudnessRangeLu = fRange;
    }
    return levels;
}

}  // namespace App
