#pragma once

#include "PluginBase/DirectX/base/Platform.h"

/// A media type that owns its format block. Copies are deep; a copy for which there is no memory has an
/// empty format block, which the operations that answer an HRESULT report as E_OUTOFMEMORY.
///
/// Threads: none of its own: the owner's lock.
class CMediaType : public AM_MEDIA_TYPE {
public:
    /// Fixed size samples of 1 byte, everything else empty.
    CMediaType();
    explicit CMediaType(const GUID* majortype);
    CMediaType(const AM_MEDIA_TYPE& mtype, HRESULT* phr = nullptr);
    CMediaType(const CMediaType& cmtype, HRESULT* phr = nullptr);
    ~CMediaType();
    CMediaType& operator=(const CMediaType& rt);
    CMediaType& operator=(const AM_MEDIA_TYPE& rt);

    /// Compares the three types and the format block, which describe the data; sizes and flags only tell how
    /// it travels.
    bool operator==(const CMediaType& rt) const;
    bool operator!=(const CMediaType& rt) const { return !(*this == rt); }

    HRESULT Set(const CMediaType& rt);
    HRESULT Set(const AM_MEDIA_TYPE& rt);
    /// Back to the state of a new object.
    void InitMediaType();

    /// Whether the major type is set.
    BOOL IsValid() const;
    const GUID* Type() const { return &majortype; }
    void SetType(const GUID* ptype) { majortype = *ptype; }
    const GUID* Subtype() const { return &subtype; }
    void SetSubtype(const GUID* ptype) { subtype = *ptype; }
    const GUID* FormatType() const { return &formattype; }
    void SetFormatType(const GUID* ptype) { formattype = *ptype; }

    BOOL IsFixedSize() const { return bFixedSizeSamples; }
    BOOL IsTemporalCompressed() const { return bTemporalCompression; }
    void SetTemporalCompression(BOOL bCompressed) { bTemporalCompression = bCompressed; }
    /// Bytes, 0 when samples vary in size.
    ULONG GetSampleSize() const { return bFixedSizeSamples ? lSampleSize : 0; }
    /// A size of 0 means samples of varying size.
    void SetSampleSize(ULONG sz);
    void SetVariableSize() { bFixedSizeSamples = FALSE; }

    BYTE* Format() const { return pbFormat; }
    ULONG FormatLength() const { return cbFormat; }
    BOOL SetFormat(const BYTE* pFormat, ULONG length);
    /// A block of `length` bytes; null when there is no memory, with the old block kept.
    BYTE* AllocFormatBuffer(ULONG length);
    /// As AllocFormatBuffer; what fits of the old content is kept.
    BYTE* ReallocFormatBuffer(ULONG length);
    void ResetFormatBuffer();

    /// Whether a type leaves the choice to the other side: its major or its format type is empty.
    BOOL IsPartiallySpecified() const;
    /// Whether everything that `ppartial` states is so here; its empty GUIDs match anything.
    BOOL MatchesPartial(const CMediaType* ppartial) const;
};

/// Deep copies in task memory. Freeing null is allowed; FreeMediaType empties the type's block only.
AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* pSrc);
void DeleteMediaType(AM_MEDIA_TYPE* pmt);
HRESULT CopyMediaType(AM_MEDIA_TYPE* pmtTarget, const AM_MEDIA_TYPE* pmtSource);
void FreeMediaType(AM_MEDIA_TYPE& mt);

/// An audio type for a wave format, with the format block when `bSetFormat` is true. The subtype follows the
/// format tag.
STDAPI CreateAudioMediaType(const WAVEFORMATEX* pwfx, AM_MEDIA_TYPE* pmt, BOOL bSetFormat);
