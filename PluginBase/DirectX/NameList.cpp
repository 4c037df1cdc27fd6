#include "PluginBase/DirectX/NameList.h"

#include <cstdint>
#include <utility>

#include "PluginBase/DirectX/CopyCut.h"

namespace {

HRESULT GiveText(const std::string& strText, char* pszText, int nSize) {
    if (!pszText) return E_POINTER;
    if (nSize < 1) return E_INVALIDARG;
    CopyCut<char>(strText, pszText, static_cast<std::size_t>(nSize));
    return S_OK;
}

}  // namespace

NameList::NameList(StringMap names) : CUnknown("NameList", nullptr), m_names(std::move(names)) {}

STDMETHODIMP NameList::NonDelegatingQueryInterface(REFIID iid, void** ppObject) {
    if (iid == IID_IMfxNameList || iid == IID_IMfxNameList2) {
        return GetInterface(static_cast<IMfxNameList2*>(this), ppObject);
    }
    return CUnknown::NonDelegatingQueryInterface(iid, ppObject);
}

STDMETHODIMP NameList::GetTitle(char* pszTitle, int nSize) {
    return GiveText(m_names.Title(), pszTitle, nSize);
}

STDMETHODIMP NameList::GetMaxNames(int* pCount) {
    if (!pCount) return E_POINTER;
    *pCount = m_names.MaxNames();
    return S_OK;
}

STDMETHODIMP NameList::GetAt(int iName, char* pszName, int nSize) {
    return Lookup(iName, pszName, nSize);
}

STDMETHODIMP NameList::GetCount(int* pCount) {
    if (!pCount) return E_POINTER;
    *pCount = m_names.Count();
    return S_OK;
}

// A position is the next entry's place in the list; the host only carries it.
STDMETHODIMP NameList::GetStartPosition(MfxPosition* pPosition) {
    if (!pPosition) return E_POINTER;
    *pPosition = nullptr;
    return S_OK;
}

STDMETHODIMP NameList::GetNextAssoc(MfxPosition* pPosition, int* pKey, char* pszName, int nSize) {
    if (!pPosition || !pKey) return E_POINTER;
    const auto uPosition = reinterpret_cast<std::uintptr_t>(*pPosition);
    if (uPosition >= static_cast<std::uintptr_t>(m_names.Count())) return S_FALSE;
    const auto* entry = m_names.At(static_cast<std::int32_t>(uPosition));
    const HRESULT hr = GiveText(entry->second, pszName, nSize);
    if (FAILED(hr)) return hr;
    *pKey = entry->first;
    *pPosition = reinterpret_cast<MfxPosition>(uPosition + 1);
    return S_OK;
}

STDMETHODIMP NameList::Lookup(int nKey, char* pszName, int nSize) {
    if (nKey < 0 || nKey >= m_names.MaxNames()) return E_INVALIDARG;
    const std::string* name = m_names.Find(nKey);
    const HRESULT hr = GiveText(name ? *name : std::string(), pszName, nSize);
    return hr == S_OK && !name ? S_FALSE : hr;
}
