#pragma once

#include <new>
#include <utility>

#include "PluginBase/DirectX/Delivery.h"
#include "PluginBase/DirectX/base/Platform.h"

/// Runs a body at the host's border. Nothing that it throws gets past: the host was built by another
/// compiler, and an exception that reaches it ends the user's work.
template <class Body>
HRESULT AtBorder(Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (const ::Exception::Delivery& delivery) {
        return delivery.Result();
    } catch (const ::Exception::Base&) {
        return E_FAIL;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}
