#pragma once

#include "PluginBase/DirectX/base/CBasePin.h"

/// A pin that takes samples: allocator, flush, and the check whether a sample may come now.
///
/// Threads: Receive on the streaming thread; BeginFlush and EndFlush on any other while it may be blocked
///          there. The flush flag crosses threads without a lock.
class CBaseInputPin : public CBasePin, public IMemInputPin {
public:
    DECLARE_IUNKNOWN

    CBaseInputPin(LPCTSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName);
    ~CBaseInputPin() override;

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    // IMemInputPin
    /// The pin's allocator, counted; made by the first call.
    STDMETHODIMP GetAllocator(IMemAllocator** ppAllocator) override;
    STDMETHODIMP NotifyAllocator(IMemAllocator* pAllocator, BOOL bReadOnly) override;
    /// E_NOTIMPL: no wishes.
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* pProps) override;
    /// Answers CheckStreaming, and keeps the sample's properties for SampleProps. A sample with a new media
    /// type is checked, not installed: a filter whose CheckMediaType lets a change pass reads the type from
    /// SampleProps and installs it. A refused one ends the stream: EndOfStream, EC_ERRORABORT to the graph,
    /// VFW_E_INVALIDMEDIATYPE, and VFW_E_RUNTIME_ERROR from then on.
    STDMETHODIMP Receive(IMediaSample* pSample) override;
    /// Receives one after another until one is refused; `nSamplesProcessed` counts those taken.
    STDMETHODIMP ReceiveMultiple(IMediaSample** pSamples, long nSamples, long* nSamplesProcessed) override;
    /// S_FALSE only if something is connected downstream and none of it can block.
    STDMETHODIMP ReceiveCanBlock() override;

    // IPin
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;

    HRESULT BreakConnect() override;
    /// Ends flushing and run-time error, and decommits the allocator.
    HRESULT Inactive() override;

    /// Whether samples are welcome: S_OK; VFW_E_WRONG_STATE when stopped; S_FALSE when flushing;
    /// VFW_E_RUNTIME_ERROR after a failure.
    virtual HRESULT CheckStreaming();
    /// Sends a quality message to the sink set, else upstream. VFW_E_NOT_FOUND when nobody takes it.
    HRESULT PassNotify(Quality& q);

    BOOL IsReadOnly() const { return m_bReadOnly; }
    BOOL IsFlushing() const { return m_bFlushing; }
    /// Not counted.
    IMemAllocator* Allocator() const { return m_pAllocator; }
    /// Properties of the sample that Receive was given last. Its pMediaType lives as long as that sample's
    /// call.
    AM_SAMPLE2_PROPERTIES* SampleProps() { return &m_SampleProps; }

protected:
    IMemAllocator* m_pAllocator = nullptr;
    bool m_bReadOnly = false;
    Util::Relaxed<bool> m_bFlushing = false;
    AM_SAMPLE2_PROPERTIES m_SampleProps = {};

private:
    /// Fills m_SampleProps; a sample without IMediaSample2 is asked for one property after another.
    HRESULT ReadSampleProps(IMediaSample* pSample);
    HRESULT CheckTypeChange();
    void FreeSampleType();

    /// The type of a sample without IMediaSample2, which hands over a copy.
    AM_MEDIA_TYPE* m_pSampleType = nullptr;
};
