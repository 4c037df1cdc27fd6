#pragma once

#include <atomic>

#include "PluginBase/DirectX/base/Platform.h"

class CBaseFilter;

/// Walks a filter's pins. Holds the filter. Once the filter's pin version has moved, Next, Skip and Clone
/// answer VFW_E_ENUM_OUT_OF_SYNC until Reset.
///
/// Life:    the constructor's reference is the caller's.
/// Threads: one at a time; counts on any.
class CEnumPins : public IEnumPins {
public:
    /// With `pEnumPins` a copy of it, at the same place.
    CEnumPins(CBaseFilter* pFilter, CEnumPins* pEnumPins);
    virtual ~CEnumPins();
    CEnumPins(const CEnumPins&) = delete;
    CEnumPins& operator=(const CEnumPins&) = delete;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    /// `pcFetched` may be null for one pin. S_FALSE when fewer pins were left.
    STDMETHODIMP Next(ULONG cPins, IPin** ppPins, ULONG* pcFetched) override;
    STDMETHODIMP Skip(ULONG cPins) override;
    STDMETHODIMP Reset() override;
    STDMETHODIMP Clone(IEnumPins** ppEnum) override;

private:
    bool AreWeOutOfSync() const;

    CBaseFilter* const m_pFilter;
    int m_Position = 0;
    LONG m_Version;
    std::atomic<LONG> m_cRef = 1;
};
