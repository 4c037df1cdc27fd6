#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/vesca/SampleFormat.h"
#include "apps/vesca/SoundFile.h"
#include "dsp/vector/HostFormat.h"

namespace App {

/// An audio file of one or two channels, at 100 to 1,536,000 Hz, read from its start in planar float blocks.
/// Integers become floats by a power of two, exactly up to 24 bits.
///
/// Failures: FileFailure, with the file and the reason.
class AudioReader {
public:
    explicit AudioReader(const std::string& strPath);

    std::uint32_t SampleRate() const { return static_cast<std::uint32_t>(m_info.samplerate); }  ///< Hz
    std::uint32_t Channels() const { return static_cast<std::uint32_t>(m_info.channels); }      ///< 1 or 2
    /// As the file's header has it.
    std::uint64_t Frames() const { return static_cast<std::uint64_t>(m_info.frames); }
    /// Nothing for a file that is compressed with loss.
    std::optional<SampleFormat> Samples() const { return SampleFormatOf(m_info.format); }

    /// Fills up to uFrames frames of the planes and returns their number; fewer only at the end. The right
    /// plane is not touched for a mono file.
    std::uint32_t Read(std::uint32_t uFrames, float* left, float* right);

private:
    void Refill();
    sf_count_t ReadInterleaved(sf_count_t nFrames);

    std::string m_strPath;
    SF_INFO m_info{};
    SoundFile m_file;
    DSP::HostSample m_sample = DSP::HostSample::Float32;  ///< how the sound library hands the samples over
    DSP::HostConversion m_conversion;

    // What has been read ahead: the sound library asks the system at every call, which small blocks would pay
    // for dearly.
    std::vector<double> m_interleaved;  ///< scratch; doubles, so that it is aligned for every sample
    std::vector<float> m_left;
    std::vector<float> m_right;
    std::uint32_t m_uAhead = 0;  ///< frames in the planes
    std::uint32_t m_uTaken = 0;  ///< of them given out
    std::uint64_t m_uPosition = 0;
};

}  // namespace App
