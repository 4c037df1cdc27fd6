#include "apps/vesca/AudioReader.h"

#include <algorithm>

#include "apps/vesca/CommandError.h"
#include "apps/vesca/WholeFile.h"
#include "hvBase/Util/File.h"
#include "hvBase/Util/Path.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

constexpr std::uint32_t kReadAhead = 4096;  ///< frames

// Hz. A header that claims more is damaged, and every buffer that holds a stretch of time would grow with it.
constexpr int kLowestRate = 100;
constexpr int kHighestRate = 1'536'000;

/// The system's own words for a file that can't be opened; the sound library only has numbers for it.
void RequireReadable(const std::string& strPath) {
    try {
        Util::File file;
        file.Open(strPath, Util::File::kRead);
    } catch (const Util::Exception::FileIO& failure) {
        throw FileFailure(Util::Format("can't read %1: %2", strPath, FailureReason(failure)));
    }
}

DSP::HostSample ChooseTransfer(std::optional<SampleFormat> samples) {
    if (!samples || *samples == SampleFormat::F32) return DSP::HostSample::Float32;
    // The sound library gives every integer as the upper bits of a 32-bit word.
    return *samples == SampleFormat::F64 ? DSP::HostSample::Float64 : DSP::HostSample::Signed32;
}

}  // namespace

AudioReader::AudioReader(const std::string& strPath) : m_strPath(strPath) {
    RequireReadable(strPath);
    m_file.reset(sf_open(Util::ExpandHome(strPath).c_str(), SFM_READ, &m_info));
    if (!m_file) throw FileFailure(Util::Format("can't read %1: %2", strPath, sf_strerror(nullptr)));
    if (m_info.channels < 1 || m_info.channels > 2)
        throw FileFailure(Util::Format("can't read %1: it has %2 channels; one and two are supported",
                                       strPath, m_info.channels));
    if (m_info.samplerate < kLowestRate || m_info.samplerate > kHighestRate)
        throw FileFailure(Util::Format("can't read %1: its sample rate is %2 Hz; %3 to %4 are supported",
                                       strPath, m_info.samplerate, kLowestRate, kHighestRate));
    m_sample = ChooseTransfer(Samples());
    m_conversion = DSP::ChooseConversion(m_sample, m_info.channels, m_info.channels);
}

sf_count_t AudioReader::ReadInterleaved(sf_count_t nFrames) {
    void* const samples = m_interleaved.data();
    switch (m_sample) {
        case DSP::HostSample::Float64:
            return sf_readf_double(m_file.get(), static_cast<double*>(samples), nFrames);
        case DSP::HostSample::Signed32:
            return sf_readf_int(m_file.get(), static_cast<int*>(samples), nFrames);
        default:
            return sf_readf_float(m_file.get(), static_cast<float*>(samples), nFrames);
    }
}

void AudioReader::Refill() {
    m_interleaved.resize(std::size_t{kReadAhead} * Channels());
    m_left.resize(kReadAhead);
    m_right.resize(kReadAhead);
    m_uTaken = m_uAhead = 0;
    const sf_count_t nRead = ReadInterleaved(kReadAhead);
    if (nRead < kReadAhead && sf_error(m_file.get()) != SF_ERR_NO_ERROR)
        throw FileFailure(Util::Format("can't read %1 from frame %2 on: %3", m_strPath, m_uPosition,
                                       sf_strerror(m_file.get())));
    if (nRead <= 0) return;
    m_conversion.deinterleave(static_cast<std::int32_t>(nRead), m_interleaved.data(), m_left.data(),
                              m_right.data());
    m_uAhead = static_cast<std::uint32_t>(nRead);
    m_uPosition += m_uAhead;
}

std::uint32_t AudioReader::Read(std::uint32_t uFrames, float* left, float* right) {
    std::uint32_t uRead = 0;
    while (uRead < uFrames) {
        if (m_uTaken == m_uAhead) Refill();
        if (m_uAhead == 0) break;
        const std::uint32_t uCount = std::min(uFrames - uRead, m_uAhead - m_uTaken);
        std::copy_n(m_left.data() + m_uTaken, uCount, left + uRead);
        if (Channels() == 2) std::copy_n(m_right.data() + m_uTaken, uCount, right + uRead);
        m_uTaken += uCount;
        uRead += uCount;
    }
    return uRead;
}

}  // namespace App
