#pragma once

#include <utility>

#include "PluginBase/DirectX/base/Platform.h"

/// A counted reference to a COM interface.
template <class T>
class ComRef {
public:
    ComRef() = default;
    /// Adds a reference of its own.
    explicit ComRef(T* p) : m_p(p) {
        if (m_p != nullptr) m_p->AddRef();
    }
    ComRef(const ComRef& other) : ComRef(other.m_p) {}
    ComRef(ComRef&& other) noexcept : m_p(std::exchange(other.m_p, nullptr)) {}
    ~ComRef() { Reset(); }
    ComRef& operator=(ComRef other) noexcept {
        std::swap(m_p, other.m_p);
        return *this;
    }

    void Reset() {
        if (T* p = std::exchange(m_p, nullptr)) p->Release();
    }
    T* Get() const { return m_p; }
    T* operator->() const { return m_p; }
    explicit operator bool() const { return m_p != nullptr; }

    /// Where an operation stores a reference that it has counted.
    T** Out() {
        Reset();
        return &m_p;
    }
    void** OutVoid() { return reinterpret_cast<void**>(Out()); }

    /// The object's interface `iid`, or null.
    template <class U>
    ComRef<U> As(REFIID iid) const {
        ComRef<U> other;
        if (m_p == nullptr || FAILED(m_p->QueryInterface(iid, other.OutVoid()))) other = {};
        return other;
    }

private:
    T* m_p = nullptr;
};
