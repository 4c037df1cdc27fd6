#include "PluginBase/DirectX/base/CMediaType.h"

#include <algorithm>
#include <cstring>

namespace {

bool SameFormat(const AM_MEDIA_TYPE& a, const AM_MEDIA_TYPE& b) {
    return a.cbFormat == b.cbFormat &&
           (a.cbFormat == 0 || std::memcmp(a.pbFormat, b.pbFormat, a.cbFormat) == 0);
}

}  // namespace

CMediaType::CMediaType() : AM_MEDIA_TYPE{} {
    lSampleSize = 1;
    bFixedSizeSamples = TRUE;
}

CMediaType::CMediaType(const GUID* ptype) : CMediaType() {
    majortype = *ptype;
}

CMediaType::CMediaType(const AM_MEDIA_TYPE& mtype, HRESULT* phr) : AM_MEDIA_TYPE{} {
    const HRESULT hr = CopyMediaType(this, &mtype);
    if (FAILED(hr) && phr != nullptr) *phr = hr;
}

CMediaType::CMediaType(const CMediaType& cmtype, HRESULT* phr)
    : CMediaType(static_cast<const AM_MEDIA_TYPE&>(cmtype), phr) {}

CMediaType::~CMediaType() {
    FreeMediaType(*this);
}

CMediaType& CMediaType::operator=(const CMediaType& rt) {
    Set(rt);
    return *this;
}

CMediaType& CMediaType::operator=(const AM_MEDIA_TYPE& rt) {
    Set(rt);
    return *this;
}

bool CMediaType::operator==(const CMediaType& rt) const {
    return majortype == rt.majortype && subtype == rt.subtype && formattype == rt.formattype &&
           SameFormat(*this, rt);
}

HRESULT CMediaType::Set(const CMediaType& rt) {
    return Set(static_cast<const AM_MEDIA_TYPE&>(rt));
}

HRESULT CMediaType::Set(const AM_MEDIA_TYPE& rt) {
    if (&rt == this) return NOERROR;
    FreeMediaType(*this);
    return CopyMediaType(this, &rt);
}

void CMediaType::InitMediaType() {
    FreeMediaType(*this);
    static_cast<AM_MEDIA_TYPE&>(*this) = AM_MEDIA_TYPE{};
    lSampleSize = 1;
    bFixedSizeSamples = TRUE;
}

BOOL CMediaType::IsValid() const {
    return majortype != GUID_NULL;
}

void CMediaType::SetSampleSize(ULONG sz) {
    bFixedSizeSamples = sz != 0;
    if (sz != 0) lSampleSize = sz;
}

BOOL CMediaType::SetFormat(const BYTE* pFormat, ULONG length) {
    if (AllocFormatBuffer(length) == nullptr) return FALSE;
    std::memcpy(pbFormat, pFormat, length);
    return TRUE;
}

BYTE* CMediaType::AllocFormatBuffer(ULONG length) {
    if (length == cbFormat) return pbFormat;
    auto* pNew = static_cast<BYTE*>(CoTaskMemAlloc(length));
    if (pNew == nullptr) return nullptr;
    CoTaskMemFree(pbFormat);
    cbFormat = length;
    return pbFormat = pNew;
}

BYTE* CMediaType::ReallocFormatBuffer(ULONG length) {
    if (length == cbFormat) return pbFormat;
    auto* pNew = static_cast<BYTE*>(CoTaskMemAlloc(length));
    if (pNew == nullptr) return nullptr;
    if (cbFormat != 0) std::memcpy(pNew, pbFormat, std::min(length, cbFormat));
    CoTaskMemFree(pbFormat);
    cbFormat = length;
    return pbFormat = pNew;
}

void CMediaType::ResetFormatBuffer() {
    CoTaskMemFree(pbFormat);
    pbFormat = nullptr;
    cbFormat = 0;
}

BOOL CMediaType::IsPartiallySpecified() const {
    return majortype == GUID_NULL || formattype == GUID_NULL;
}

BOOL CMediaType::MatchesPartial(const CMediaType* ppartial) const {
    const auto Fits = [](const GUID& wanted, const GUID& own) {
        return wanted == GUID_NULL || wanted == own;
    };
    return Fits(ppartial->majortype, majortype) && Fits(ppartial->subtype, subtype) &&
           (ppartial->formattype == GUID_NULL ||
            (ppartial->formattype == formattype && SameFormat(*ppartial, *this)));
}

AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* pSrc) {
    auto* pNew = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
    if (pNew == nullptr) return nullptr;
    if (FAILED(CopyMediaType(pNew, pSrc))) {
        CoTaskMemFree(pNew);
        return nullptr;
    }
    return pNew;
}

void DeleteMediaType(AM_MEDIA_TYPE* pmt) {
    if (pmt == nullptr) return;
    FreeMediaType(*pmt);
    CoTaskMemFree(pmt);
}

HRESULT CopyMediaType(AM_MEDIA_TYPE* pmtTarget, const AM_MEDIA_TYPE* pmtSource) {
    *pmtTarget = *pmtSource;
    pmtTarget->pbFormat = nullptr;
    pmtTarget->cbFormat = 0;
    if (pmtTarget->pUnk != nullptr) pmtTarget->pUnk->AddRef();
    // A length without a block comes from careless hosts, and means none.
    if (pmtSource->cbFormat == 0 || pmtSource->pbFormat == nullptr) return NOERROR;
    pmtTarget->pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(pmtSource->cbFormat));
    if (pmtTarget->pbFormat == nullptr) {
        FreeMediaType(*pmtTarget);
        return E_OUTOFMEMORY;
    }
    pmtTarget->cbFormat = pmtSource->cbFormat;
    std::memcpy(pmtTarget->pbFormat, pmtSource->pbFormat, pmtSource->cbFormat);
    return NOERROR;
}

void FreeMediaType(AM_MEDIA_TYPE& mt) {
    CoTaskMemFree(mt.pbFormat);
    mt.pbFormat = nullptr;
    mt.cbFormat = 0;
    if (mt.pUnk != nullptr) mt.pUnk->Release();
    mt.pUnk = nullptr;
}

STDAPI CreateAudioMediaType(const WAVEFORMATEX* pwfx, AM_MEDIA_TYPE* pmt, BOOL bSetFormat) {
    if (pwfx == nullptr || pmt == nullptr) return E_POINTER;
    *pmt = AM_MEDIA_TYPE{};
    pmt->majortype = MEDIATYPE_Audio;
    // The subtypes of wave data differ from that of PCM in the first field alone, which is the format tag.
    pmt->subtype = MEDIASUBTYPE_PCM;
    pmt->subtype.Data1 = pwfx->wFormatTag;
    pmt->formattype = FORMAT_WaveFormatEx;
    pmt->bFixedSizeSamples = TRUE;
    pmt->lSampleSize = pwfx->nBlockAlign;
    if (!bSetFormat) return NOERROR;
    // Of PCM the field cbSize means nothing and may hold anything.
    const ULONG uExtra = pwfx->wFormatTag == WAVE_FORMAT_PCM ? 0 : pwfx->cbSize;
    const ULONG uLength = static_cast<ULONG>(sizeof(WAVEFORMATEX)) + uExtra;
    pmt->pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(uLength));
    if (pmt->pbFormat == nullptr) return E_OUTOFMEMORY;
    pmt->cbFormat = uLength;
    std::memcpy(pmt->pbFormat, pwfx, uLength);
    return NOERROR;
}
