#pragma once

// The smart pointer's header knows a newer object system as well, which no host of ours uses.
#define __WRL_CLASSIC_COM__
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <dshow.h>
#include <wrl/client.h>

#include <string>
#include <utility>

#include "hvBase/Util/Exception.h"

namespace DxHost {

using Microsoft::WRL::ComPtr;

/// A call of the platform or of the plug-in failed.
class Failure : public ::Exception::Base {
public:
    Failure(HRESULT hr, const std::string& strWhat,
            ::Exception::SourcePlace place = ::Exception::SourcePlace::Current());
    HRESULT Result() const noexcept { return m_hr; }

private:
    HRESULT m_hr;
};

/// Throws a Failure unless the result is a success; hands it on, so that S_FALSE can be told from S_OK.
HRESULT Check(HRESULT hr, const char* what,
              ::Exception::SourcePlace place = ::Exception::SourcePlace::Current());

/// Makes an object that starts with one reference and gives that reference to the pointer.
template <class T, class... Arguments>
ComPtr<T> Make(Arguments&&... arguments) {
    // Not by the pointer's Attach: in some versions of its header that takes a reference of its own.
    T* const object = new T(std::forward<Arguments>(arguments)...);
    const ComPtr<T> held(object);
    object->Release();
    return held;
}

/// Another interface of an object; throws a Failure that names it if the object has none.
template <class T>
ComPtr<T> Query(IUnknown* object, const char* name,
                ::Exception::SourcePlace place = ::Exception::SourcePlace::Current()) {
    ComPtr<T> result;
    Check(object->QueryInterface(__uuidof(T), reinterpret_cast<void**>(result.GetAddressOf())), name, place);
    return result;
}

/// The platform's object model on the calling thread, for as long as the guard lives: threads in the shared
/// apartment, as a host's streaming threads are.
class Apartment {
public:
    Apartment() { Check(CoInitializeEx(nullptr, COINIT_MULTITHREADED), "CoInitializeEx"); }
    ~Apartment() { CoUninitialize(); }
    Apartment(const Apartment&) = delete;
    Apartment& operator=(const Apartment&) = delete;
};

}  // namespace DxHost
