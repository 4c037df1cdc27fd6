#pragma once

#include <cstdint>

#include "apps/dxhost/Com.h"

namespace DxHost {

/// The sample format of a connection or a file: what a WAVEFORMATEX of plain samples says.
struct AudioFormat {
    bool bFloat = true;
    std::uint32_t uBits = 32;
    std::uint32_t uChannels = 2;
    std::uint32_t uSampleRate = 44100;

    /// Bytes of one frame.
    std::uint32_t FrameBytes() const { return (uBits + 7) / 8 * uChannels; }
    WAVEFORMATEX WaveFormat() const;
    bool operator==(const AudioFormat&) const = default;
};

/// One media type with its format block: a value that copies deeply and frees itself.
class MediaType {
public:
    MediaType() noexcept = default;
    explicit MediaType(const AudioFormat& format);
    explicit MediaType(const AM_MEDIA_TYPE& type);
    MediaType(const MediaType& other) : MediaType(other.m_type) {}
    MediaType& operator=(const MediaType& other);
    ~MediaType() { Free(m_type); }

    const AM_MEDIA_TYPE& Get() const noexcept { return m_type; }
    AM_MEDIA_TYPE& Get() noexcept { return m_type; }

    /// Copies into a record that the platform's rules make the receiver free. Throws a Failure without
    /// memory.
    static void Copy(const AM_MEDIA_TYPE& from, AM_MEDIA_TYPE& to);
    static void Free(AM_MEDIA_TYPE& type) noexcept;

    /// Whether a type is plain audio in a WAVEFORMATEX, and of which format.
    static bool Read(const AM_MEDIA_TYPE& type, AudioFormat* pFormat);

private:
    AM_MEDIA_TYPE m_type{};
};

}  // namespace DxHost
