#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "apps/vesca/SampleFormat.h"
#include "apps/vesca/SoundFile.h"
#include "hvBase/Util/AtomicFile.h"

namespace App {

/// An audio file written from planar float blocks. It stands beside its final name until Commit puts it
/// there; without a Commit nothing is left of it, and the old file is as it was. The same blocks give the
/// same bytes: no time and no chance goes into the file.
///
/// Integers: a sample times 2^(bits - 1), rounded to nearest, halves away from zero, and limited to what the
///           word holds; a NaN is 0.
/// Failures: FileFailure, with the file and the reason.
class AudioWriter {
public:
    AudioWriter(const std::string& strPath, const OutputFormat& format, std::uint32_t uSampleRate,
                std::uint32_t uChannels);

    /// Appends frames; right is null for mono. In an integer format the planes then hold the values that the
    /// file holds.
    void Write(std::uint32_t uFrames, float* left, float* right);

    /// Completes the file and puts it in its place. Once, as the last call.
    void Commit();

private:
    bool IsInteger() const { return m_format.samples && IntegerBits(*m_format.samples) != 0; }
    void AppendIntegers(std::uint32_t uFrames, float* left, float* right);
    void AppendFloats(std::uint32_t uFrames, const float* left, const float* right);
    void WritePending();

    std::string m_strPath;
    OutputFormat m_format;
    std::uint32_t m_uChannels;
    Util::AtomicFile m_target;
    SoundFile m_file;  ///< writes the target's temporary file through a handle of its own; closed before it

    // Interleaved samples that wait to be written: the sound library calls the system each time.
    std::vector<std::int32_t> m_words;
    std::vector<float> m_floats;
};

}  // namespace App
