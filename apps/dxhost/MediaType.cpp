#include "apps/dxhost/MediaType.h"

#include <cstring>
#include <utility>

namespace DxHost {

namespace {

constexpr WORD kPcm = 1;
constexpr WORD kFloat = 3;
/// The older, shorter form of the format block ends before the extra size.
constexpr ULONG kLeastFormatBytes = 16;

}  // namespace

WAVEFORMATEX AudioFormat::WaveFormat() const {
    WAVEFORMATEX wave{};
    wave.wFormatTag = bFloat ? kFloat : kPcm;
    wave.nChannels = static_cast<WORD>(uChannels);
    wave.nSamplesPerSec = uSampleRate;
    wave.nBlockAlign = static_cast<WORD>(FrameBytes());
    wave.nAvgBytesPerSec = uSampleRate * FrameBytes();
    wave.wBitsPerSample = static_cast<WORD>(uBits);
    return wave;
}

MediaType::MediaType(const AudioFormat& format) {
    WAVEFORMATEX wave = format.WaveFormat();
    AM_MEDIA_TYPE type{};
    type.majortype = MEDIATYPE_Audio;
    type.subtype = format.bFloat ? MEDIASUBTYPE_IEEE_FLOAT : MEDIASUBTYPE_PCM;
    type.bFixedSizeSamples = TRUE;
    type.lSampleSize = format.FrameBytes();
    type.formattype = FORMAT_WaveFormatEx;
    type.cbFormat = sizeof wave;
    type.pbFormat = reinterpret_cast<BYTE*>(&wave);
    Copy(type, m_type);
}

MediaType::MediaType(const AM_MEDIA_TYPE& type) {
    Copy(type, m_type);
}

MediaType& MediaType::operator=(const MediaType& other) {
    MediaType copy(other);
    std::swap(m_type, copy.m_type);
    return *this;
}

void MediaType::Copy(const AM_MEDIA_TYPE& from, AM_MEDIA_TYPE& to) {
    to = from;
    if (from.cbFormat != 0) {
        to.pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(from.cbFormat));
        if (!to.pbFormat) {
            to = {};
            throw Failure(E_OUTOFMEMORY, "can't copy a media type");
        }
        std::memcpy(to.pbFormat, from.pbFormat, from.cbFormat);
    }
    if (to.pUnk) to.pUnk->AddRef();
}

void MediaType::Free(AM_MEDIA_TYPE& type) noexcept {
    CoTaskMemFree(type.pbFormat);
    if (type.pUnk) type.pUnk->Release();
    type = {};
}

bool MediaType::Read(const AM_MEDIA_TYPE& type, AudioFormat* pFormat) {
    if (type.majortype != MEDIATYPE_Audio || type.formattype != FORMAT_WaveFormatEx ||
        type.cbFormat < kLeastFormatBytes || !type.pbFormat)
        return false;
    WAVEFORMATEX wave{};
    std::memcpy(&wave, type.pbFormat, kLeastFormatBytes);
    if (wave.wFormatTag != kPcm && wave.wFormatTag != kFloat) return false;
    *pFormat = {wave.wFormatTag == kFloat, wave.wBitsPerSample, wave.nChannels, wave.nSamplesPerSec};
    return wave.nBlockAlign == pFormat->FrameBytes() && wave.nBlockAlign != 0 && wave.nSamplesPerSec != 0;
}

}  // namespace DxHost
