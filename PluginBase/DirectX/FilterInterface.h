#pragma once

#include "PluginBase/DirectX/base/Platform.h"

/// The base of an interface that the filter offers and another class answers: a member of the filter, with
/// the filter's own identity and reference count.
template <class... Interfaces>
class FilterInterface : public Interfaces... {
public:
    FilterInterface(const FilterInterface&) = delete;
    FilterInterface& operator=(const FilterInterface&) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void** ppObject) override {
        return m_filter.QueryInterface(iid, ppObject);
    }
    STDMETHODIMP_(ULONG) AddRef() override { return m_filter.AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return m_filter.Release(); }

protected:
    /// Takes the filter's controlling unknown, which owns this object.
    explicit FilterInterface(IUnknown& filter) : m_filter(filter) {}
    ~FilterInterface() = default;

private:
    IUnknown& m_filter;
};
