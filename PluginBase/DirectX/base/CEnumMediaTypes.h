#pragma once

#include <atomic>

#include "PluginBase/DirectX/base/Platform.h"

class CBasePin;

/// Walks the preferred types of a pin. Holds the pin. Once the pin's type version has moved, Next, Skip and
/// Clone answer VFW_E_ENUM_OUT_OF_SYNC until Reset.
///
/// Life:    the constructor's reference is the caller's.
/// Threads: one at a time; counts on any.
class CEnumMediaTypes : public IEnumMediaTypes {
public:
    /// With `pEnumMediaTypes` a copy of it, at the same place.
    CEnumMediaTypes(CBasePin* pPin, CEnumMediaTypes* pEnumMediaTypes);
    virtual ~CEnumMediaTypes();
    CEnumMediaTypes(const CEnumMediaTypes&) = delete;
    CEnumMediaTypes& operator=(const CEnumMediaTypes&) = delete;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    /// The caller frees each type. `pcFetched` may be null for one type. S_FALSE when fewer were left.
    STDMETHODIMP Next(ULONG cMediaTypes, AM_MEDIA_TYPE** ppMediaTypes, ULONG* pcFetched) override;
    STDMETHODIMP Skip(ULONG cMediaTypes) override;
    STDMETHODIMP Reset() override;
    STDMETHODIMP Clone(IEnumMediaTypes** ppEnum) override;

private:
    bool AreWeOutOfSync() const;

    CBasePin* const m_pPin;
    int m_Position = 0;
    LONG m_Version;
    std::atomic<LONG> m_cRef = 1;
};
