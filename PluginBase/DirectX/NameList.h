#pragma once

#include "PluginBase/DirectX/HostInterfaces.h"
#include "PluginBase/DirectX/StringMap.h"
#include "PluginBase/DirectX/base/CUnknown.h"

/// A StringMap as the host sees it: an object of its own, which the host releases.
///
/// Threads: any; nothing in it changes.
class NameList final : public CUnknown, public IMfxNameList2 {
public:
    explicit NameList(StringMap names);

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID iid, void** ppObject) override;

    STDMETHODIMP GetTitle(char* pszTitle, int nSize) override;
    STDMETHODIMP GetMaxNames(int* pCount) override;
    /// S_FALSE and an empty text for a number without a name.
    STDMETHODIMP GetAt(int iName, char* pszName, int nSize) override;
    STDMETHODIMP GetCount(int* pCount) override;
    STDMETHODIMP GetStartPosition(MfxPosition* pPosition) override;
    /// S_FALSE at the end of the list.
    STDMETHODIMP GetNextAssoc(MfxPosition* pPosition, int* pKey, char* pszName, int nSize) override;
    STDMETHODIMP Lookup(int nKey, char* pszName, int nSize) override;

private:
    const StringMap m_names;
};
