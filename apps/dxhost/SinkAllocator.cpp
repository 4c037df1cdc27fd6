#include "apps/dxhost/SinkAllocator.h"

namespace DxHost {

ComPtr<IMemAllocator> SinkAllocator::Create(long nBufferBytes) {
    ComPtr<IMemAllocator> memory;
    Check(CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER,
                           IID_PPV_ARGS(memory.GetAddressOf())),
          "can't make a memory allocator");
    return Make<SinkAllocator>(std::move(memory), nBufferBytes);
}

STDMETHODIMP SinkAllocator::QueryInterface(REFIID riid, void** ppv) {
    if (!ppv) return E_POINTER;
    const bool bKnown = riid == IID_IUnknown || riid == IID_IMemAllocator;
    *ppv = bKnown ? static_cast<IMemAllocator*>(this) : nullptr;
    if (bKnown) AddRef();
    return bKnown ? S_OK : E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) SinkAllocator::Release() {
    const ULONG uLeft = --m_uReferences;
    if (uLeft == 0) delete this;
    return uLeft;
}

STDMETHODIMP SinkAllocator::SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) {
    if (!request || !actual) return E_POINTER;
    ALLOCATOR_PROPERTIES own = *request;
    own.cbBuffer = m_nBufferBytes;
    return m_memory->SetProperties(&own, actual);
}

STDMETHODIMP SinkAllocator::GetProperties(ALLOCATOR_PROPERTIES* properties) {
    if (!properties) return E_POINTER;
    const HRESULT hr = m_memory->GetProperties(properties);
    // Before anything is settled the size is known already.
    if (properties->cbBuffer == 0) properties->cbBuffer = m_nBufferBytes;
    return hr;
}

}  // namespace DxHost
