#pragma once

#include <sndfile.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace Test {

/// An audio file's samples as the sound library itself reads and writes them: the referee for our own reading
/// and writing. Channels lie interleaved. `Sample` is int (the upper bits of 32), float or double.
template <class Sample>
struct Sound {
    int nRate = 44100;
    int nChannels = 2;
    int nFormat = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    std::vector<Sample> samples;

    std::size_t Frames() const { return samples.size() / static_cast<std::size_t>(nChannels); }
    /// One channel of it.
    std::vector<Sample> Channel(std::size_t iChannel) const {
        std::vector<Sample> channel;
        for (std::size_t i = iChannel; i < samples.size(); i += static_cast<std::size_t>(nChannels))
            channel.push_back(samples[i]);
        return channel;
    }
};

inline sf_count_t Move(SNDFILE* file, const int* from, sf_count_t n) {
    return sf_write_int(file, from, n);
}
inline sf_count_t Move(SNDFILE* file, const float* from, sf_count_t n) {
    return sf_write_float(file, from, n);
}
inline sf_count_t Move(SNDFILE* file, const double* from, sf_count_t n) {
    return sf_write_double(file, from, n);
}
inline sf_count_t Fetch(SNDFILE* file, int* to, sf_count_t n) {
    return sf_read_int(file, to, n);
}
inline sf_count_t Fetch(SNDFILE* file, float* to, sf_count_t n) {
    return sf_read_float(file, to, n);
}
inline sf_count_t Fetch(SNDFILE* file, double* to, sf_count_t n) {
    return sf_read_double(file, to, n);
}

template <class Sample>
void WriteSound(const std::string& strPath, const Sound<Sample>& sound) {
    SF_INFO info{0, sound.nRate, sound.nChannels, sound.nFormat, 0, 0};
    SNDFILE* const file = sf_open(strPath.c_str(), SFM_WRITE, &info);
    if (!file) throw std::runtime_error(sf_strerror(nullptr));
    const auto nSamples = static_cast<sf_count_t>(sound.samples.size());
    const bool bWhole = Move(file, sound.samples.data(), nSamples) == nSamples;
    if (sf_close(file) != 0 || !bWhole) throw std::runtime_error("the sound was not written whole");
}

template <class Sample>
Sound<Sample> ReadSound(const std::string& strPath) {
    SF_INFO info{};
    SNDFILE* const file = sf_open(strPath.c_str(), SFM_READ, &info);
    if (!file) throw std::runtime_error(sf_strerror(nullptr));
    Sound<Sample> sound{info.samplerate, info.channels, info.format, {}};
    sound.samples.resize(static_cast<std::size_t>(info.frames * info.channels));
    const auto nSamples = static_cast<sf_count_t>(sound.samples.size());
    const bool bWhole = Fetch(file, sound.samples.data(), nSamples) == nSamples;
    sf_close(file);
    if (!bWhole) throw std::runtime_error("the sound was not read whole");
    return sound;
}

}  // namespace Test
