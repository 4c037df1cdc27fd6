#pragma once

#include <utility>

#include "PluginBase/DirectX/base/Platform.h"

/// A counted pointer to an interface of the host.
///
/// Threads: as the interface; the pointer itself has no lock.
template <class Interface>
class HostPointer {
public:
    HostPointer() = default;
    /// Adds a reference of its own.
    explicit HostPointer(Interface* object) : m_object(object) {
        if (m_object) m_object->AddRef();
    }
    HostPointer(const HostPointer& other) : HostPointer(other.m_object) {}
    HostPointer(HostPointer&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    HostPointer& operator=(HostPointer other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }
    ~HostPointer() {
        if (m_object) m_object->Release();
    }

    Interface* Get() const { return m_object; }
    Interface* operator->() const { return m_object; }
    explicit operator bool() const { return m_object != nullptr; }

    /// For a call that stores a counted pointer. Drops what was held.
    Interface** Receive() {
        *this = HostPointer();
        return &m_object;
    }

    /// Asks an object for this interface.
    HRESULT QueryFrom(IUnknown* object, REFIID iid) {
        return object->QueryInterface(iid, reinterpret_cast<void**>(Receive()));
    }

private:
    Interface* m_object = nullptr;
};
