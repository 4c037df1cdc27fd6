#pragma once

#include <atomic>
#include <new>
#include <vector>

#include "apps/dxhost/MediaType.h"

namespace DxHost {

// What an enumerator hands out, and how it copies one for a caller.
inline IPin* CopyForCaller(const ComPtr<IPin>& pin) {
    pin->AddRef();
    return pin.Get();
}
inline AM_MEDIA_TYPE* CopyForCaller(const MediaType& type) {
    auto* const copy = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
    if (copy) MediaType::Copy(type.Get(), *copy);
    return copy;
}

/// An enumerator over a list taken at its construction: IEnumPins over pins, IEnumMediaTypes over media
/// types.
///
/// Threads: any, one at a time.
template <class Interface, class Item, class Given>
class Enumerator final : public Interface {
public:
    explicit Enumerator(std::vector<Item> items, std::size_t uNext = 0)
        : m_items(std::move(items)), m_uNext(uNext) {}

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override {
        if (!ppv) return E_POINTER;
        const bool bKnown = riid == IID_IUnknown || riid == __uuidof(Interface);
        *ppv = bKnown ? static_cast<Interface*>(this) : nullptr;
        if (bKnown) AddRef();
        return bKnown ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_uReferences; }
    STDMETHODIMP_(ULONG) Release() override {
        const ULONG uLeft = --m_uReferences;
        if (uLeft == 0) delete this;
        return uLeft;
    }

    STDMETHODIMP Next(ULONG uWanted, Given** given, ULONG* pFetched) override {
        if (!given || (!pFetched && uWanted != 1)) return E_POINTER;
        ULONG uFetched = 0;
        for (; uFetched < uWanted && m_uNext < m_items.size(); ++uFetched)
            given[uFetched] = CopyForCaller(m_items[m_uNext++]);
        if (pFetched) *pFetched = uFetched;
        return uFetched == uWanted ? S_OK : S_FALSE;
    }
    STDMETHODIMP Skip(ULONG uCount) override {
        const std::size_t uLeft = m_items.size() - m_uNext;
        m_uNext += uCount < uLeft ? uCount : uLeft;
        return uCount <= uLeft ? S_OK : S_FALSE;
    }
    STDMETHODIMP Reset() override {
        m_uNext = 0;
        return S_OK;
    }
    STDMETHODIMP Clone(Interface** ppClone) override {
        if (!ppClone) return E_POINTER;
        *ppClone = new (std::nothrow) Enumerator(m_items, m_uNext);
        return *ppClone ? S_OK : E_OUTOFMEMORY;
    }

private:
    ~Enumerator() = default;

    std::atomic<ULONG> m_uReferences{1};
    std::vector<Item> m_items;
    std::size_t m_uNext;
};

using PinEnumerator = Enumerator<IEnumPins, ComPtr<IPin>, IPin>;
using TypeEnumerator = Enumerator<IEnumMediaTypes, MediaType, AM_MEDIA_TYPE>;

}  // namespace DxHost
