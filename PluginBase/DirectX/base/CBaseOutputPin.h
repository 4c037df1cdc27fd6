#pragma once

#include "PluginBase/DirectX/base/CBasePin.h"

/// A pin that delivers samples: agrees on an allocator while connecting, gets buffers from it, hands them
/// downstream.
///
/// Threads: GetDeliveryBuffer, Deliver, DeliverEndOfStream and DeliverNewSegment on the streaming thread;
///          DeliverBeginFlush and DeliverEndFlush on any other.
class CBaseOutputPin : public CBasePin {
public:
    CBaseOutputPin(LPCTSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName);
    ~CBaseOutputPin() override;

    // IPin. These come only to input pins: E_UNEXPECTED.
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;

    /// Requires IMemInputPin of the other side.
    HRESULT CheckConnect(IPin* pPin) override;
    HRESULT BreakConnect() override;
    HRESULT CompleteConnect(IPin* pReceivePin) override;

    /// Offers the other side's allocator, then one of this side's, to DecideBufferSize, and notifies the
    /// other side of the first that suits both. Whatever the other side wishes, alignment is at least 1. An
    /// allocator that ends up without a buffer of at least one byte does not suit.
    virtual HRESULT DecideAllocator(IMemInputPin* pPin, IMemAllocator** ppAlloc);
    /// Sets the size on the allocator and checks what it granted. `ppropInputRequest` holds the wishes of the
    /// other side; 0 means no wish.
    virtual HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* ppropInputRequest) = 0;
    /// Makes this side's allocator.
    virtual HRESULT InitAllocator(IMemAllocator** ppAlloc);

    /// Waits for a free buffer. VFW_E_NOT_COMMITTED once the allocator is decommitted; E_NOINTERFACE without
    /// one.
    virtual HRESULT GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime,
                                      REFERENCE_TIME* pEndTime, DWORD dwFlags);
    /// Hands a sample downstream, which does not take the caller's reference. VFW_E_NOT_CONNECTED.
    virtual HRESULT Deliver(IMediaSample* pSample);

    virtual HRESULT DeliverEndOfStream();
    virtual HRESULT DeliverBeginFlush();
    virtual HRESULT DeliverEndFlush();
    virtual HRESULT DeliverNewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate);

    /// Commits and decommits the allocator. VFW_E_NO_ALLOCATOR without one.
    HRESULT Active() override;
    HRESULT Inactive() override;

protected:
    IMemAllocator* m_pAllocator = nullptr;
    /// The other side, for as long as the connection lasts.
    IMemInputPin* m_pInputPin = nullptr;

private:
    HRESULT OfferAllocator(IMemInputPin* pPin, IMemAllocator* pAlloc, const ALLOCATOR_PROPERTIES& request);
};
