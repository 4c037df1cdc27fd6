#pragma once

#include <atomic>

#include "apps/dxhost/Com.h"

namespace DxHost {

/// The platform's memory allocator with a will of its own: whatever size of buffers is asked for, they have
/// the size it was made with.
class SinkAllocator final : public IMemAllocator {
public:
    static ComPtr<IMemAllocator> Create(long nBufferBytes);

    SinkAllocator(ComPtr<IMemAllocator> memory, long nBufferBytes)
        : m_memory(std::move(memory)), m_nBufferBytes(nBufferBytes) {}

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_uReferences; }
    STDMETHODIMP_(ULONG) Release() override;
    STDMETHODIMP SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override;
    STDMETHODIMP GetProperties(ALLOCATOR_PROPERTIES* properties) override;
    STDMETHODIMP Commit() override { return m_memory->Commit(); }
    STDMETHODIMP Decommit() override { return m_memory->Decommit(); }
    STDMETHODIMP GetBuffer(IMediaSample** ppSample, REFERENCE_TIME* from, REFERENCE_TIME* to,
                           DWORD uFlags) override {
        return m_memory->GetBuffer(ppSample, from, to, uFlags);
    }
    STDMETHODIMP ReleaseBuffer(IMediaSample* sample) override { return m_memory->ReleaseBuffer(sample); }

private:
    ~SinkAllocator() = default;

    std::atomic<ULONG> m_uReferences{1};
    const ComPtr<IMemAllocator> m_memory;
    const long m_nBufferBytes;
};

}  // namespace DxHost
