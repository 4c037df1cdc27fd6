#include "apps/vesca/AudioWriter.h"

#include <algorithm>

#include "apps/vesca/CommandError.h"
#include "apps/vesca/OggSerial.h"
#include "apps/vesca/WholeFile.h"
#include "dsp/vector/HostFormat.h"
#include "dsp/vector/Rounding.h"
#include "hvBase/Util/Path.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

/// Of 0 to 1: transparent for all but test signals, about 256 kbit/s for stereo at 44.1 kHz.
constexpr double kVorbisQuality = 0.8;
constexpr std::uint32_t kOggSerial = 1;
constexpr std::size_t kPendingSamples = 8192;

FileFailure CantWrite(const std::string& strPath, const std::string& strReason) {
    return FileFailure(Util::Format("can't write %1: %2", strPath, strReason));
}

Util::AtomicFile OpenTarget(const std::string& strPath) try {
    return Util::AtomicFile(Util::ExpandHome(strPath));
} catch (const Util::Exception::FileIO& failure) {
    throw CantWrite(strPath, FailureReason(failure));
}

}  // namespace

AudioWriter::AudioWriter(const std::string& strPath, const OutputFormat& format, std::uint32_t uSampleRate,
                         std::uint32_t uChannels)
    : m_strPath(strPath), m_format(format), m_uChannels(uChannels), m_target(OpenTarget(strPath)) {
    SF_INFO info{0, static_cast<int>(uSampleRate), static_cast<int>(uChannels), format.nLibraryFormat, 0, 0};
    m_file.reset(sf_open(m_target.TemporaryPath().c_str(), SFM_WRITE, &info));
    if (!m_file) throw CantWrite(strPath, sf_strerror(nullptr));
    // This chunk of float files holds the time of day.
    sf_command(m_file.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    double fQuality = kVorbisQuality;
    if (!format.samples) sf_command(m_file.get(), SFC_SET_VBR_ENCODING_QUALITY, &fQuality, sizeof fQuality);
}

void AudioWriter::Write(std::uint32_t uFrames, float* left, float* right) {
    if (uFrames == 0) return;
    if (IsInteger()) {
        AppendIntegers(uFrames, left, right);
    } else {
        AppendFloats(uFrames, left, right);
    }
    if (m_words.size() + m_floats.size() >= kPendingSamples) WritePending();
}

void AudioWriter::AppendIntegers(std::uint32_t uFrames, float* left, float* right) {
    const int nBits = IntegerBits(*m_format.samples);
    const double fScale = static_cast<double>(std::int64_t{1} << (nBits - 1));
    const double fStep = 1.0 / fScale;
    const auto nMost = static_cast<std::int32_t>((std::int64_t{1} << (nBits - 1)) - 1);
    const std::size_t uFirst = m_words.size();
    m_words.resize(uFirst + std::size_t{uFrames} * m_uChannels);
    for (std::uint32_t iChannel = 0; iChannel < m_uChannels; ++iChannel) {
        float* const plane = iChannel == 0 ? left : right;
        std::int32_t* word = m_words.data() + uFirst + iChannel;
        for (std::size_t i = 0; i < uFrames; ++i) {
            const std::int32_t nWord =
                std::clamp(DSP::RoundHalfAway(double{plane[i]} * fScale), -nMost - 1, nMost);
            plane[i] = static_cast<float>(nWord * fStep);
            // The sound library takes the upper bits of a 32-bit word and drops the rest.
            word[i * m_uChannels] =
                static_cast<std::int32_t>(static_cast<std::uint32_t>(nWord) << (32 - nBits));
        }
    }
}

void AudioWriter::AppendFloats(std::uint32_t uFrames, const float* left, const float* right) {
    const auto nChannels = static_cast<std::int32_t>(m_uChannels);
    const std::size_t uFirst = m_floats.size();
    m_floats.resize(uFirst + std::size_t{uFrames} * m_uChannels);
    DSP::ChooseConversion(DSP::HostSample::Float32, nChannels, nChannels)
        .interleave(static_cast<std::int32_t>(uFrames), left, right, m_floats.data() + uFirst);
}

void AudioWriter::WritePending() {
    const auto nSamples = static_cast<sf_count_t>(m_words.size() + m_floats.size());
    const sf_count_t nWritten = IsInteger() ? sf_write_int(m_file.get(), m_words.data(), nSamples)
                                            : sf_write_float(m_file.get(), m_floats.data(), nSamples);
    if (nWritten != nSamples) throw CantWrite(m_strPath, sf_strerror(m_file.get()));
    m_words.clear();
    m_floats.clear();
}

void AudioWriter::Commit() {
    WritePending();
    // Only closing completes the header, and only now can a full disk show.
    if (const int nError = sf_close(m_file.release()); nError != SF_ERR_NO_ERROR)
        throw CantWrite(m_strPath, sf_error_number(nError));
    try {
        if (!m_format.samples) SetOggSerial(m_target.TemporaryPath(), kOggSerial);
        m_target.Commit();
    } catch (const Util::Exception::FileIO& failure) {
        throw CantWrite(m_strPath, FailureReason(failure));
    }
}

}  // namespace App
