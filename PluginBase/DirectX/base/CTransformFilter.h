#pragma once

#include "PluginBase/DirectX/base/CBaseFilter.h"
#include "PluginBase/DirectX/base/CBasePin.h"

class CTransformInputPin;
class CTransformOutputPin;

/// A filter with one input and one output pin that copies each sample into a buffer of the next filter while
/// working on it.
///
/// Locks:   m_csFilter, the filter lock, outside m_csReceive, which a sample holds for its whole way. Stop
///          decommits both allocators before it takes m_csReceive: that frees a thread that waits for a
///          buffer in there. Flushing takes the filter lock only; end of stream and new segment take the
///          receive lock, so they keep their place among the samples.
/// Threads: Receive, EndOfStream and NewSegment on the streaming thread; the rest on the control thread.
class CTransformFilter : public CBaseFilter {
public:
    CTransformFilter(LPCTSTR pObjectName, LPUNKNOWN pUnk, REFCLSID clsid);
    /// Deletes both pins.
    ~CTransformFilter() override;

    int GetPinCount() override;
    /// 0 is the input, 1 the output. A derived class may set m_pInput and m_pOutput in its constructor;
    /// otherwise the first call makes them, under the filter lock.
    CBasePin* GetPin(int n) override;
    /// "In" or "Out".
    STDMETHODIMP FindPin(LPCWSTR Id, IPin** ppPin) override;

    STDMETHODIMP Stop() override;
    /// From stopped and with both pins connected: StartStreaming, then the pins become active. If those fail,
    /// StopStreaming.
    STDMETHODIMP Pause() override;

    /// From one sample to the other. S_OK delivers the output; S_FALSE drops it, and the first time the graph
    /// gets EC_QUALITY_CHANGE; a failure is Receive's answer.
    virtual HRESULT Transform(IMediaSample* pIn, IMediaSample* pOut);
    virtual HRESULT CheckInputType(const CMediaType* mtIn) = 0;
    virtual HRESULT CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut) = 0;
    /// As CBaseOutputPin::DecideBufferSize, for the output. Only called while the input is connected.
    virtual HRESULT DecideBufferSize(IMemAllocator* pAllocator, ALLOCATOR_PROPERTIES* pprop) = 0;
    /// The output's preferred types. Only called while the input is connected.
    virtual HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) = 0;

    /// Around the time in which samples come. StartStreaming under both locks, before the pins become active;
    /// StopStreaming under both locks, when no sample is under way any more.
    virtual HRESULT StartStreaming() { return NOERROR; }
    virtual HRESULT StopStreaming() { return NOERROR; }
    /// S_FALSE passes a quality message on upstream; anything else says it was dealt with.
    virtual HRESULT AlterQuality(Quality) { return S_FALSE; }

    /// The pins tell of each step of their connections.
    virtual HRESULT SetMediaType(PIN_DIRECTION direction, const CMediaType* pmt);
    virtual HRESULT CheckConnect(PIN_DIRECTION dir, IPin* pPin);
    virtual HRESULT BreakConnect(PIN_DIRECTION dir);
    virtual HRESULT CompleteConnect(PIN_DIRECTION direction, IPin* pReceivePin);

    /// One sample, already checked, under the receive lock. The sample stays the caller's.
    virtual HRESULT Receive(IMediaSample* pSample);
    virtual HRESULT EndOfStream();
    virtual HRESULT BeginFlush();
    virtual HRESULT EndFlush();
    virtual HRESULT NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate);

protected:
    /// Gets a delivery buffer and gives it the times and flags of the input sample.
    HRESULT InitializeOutputSample(IMediaSample* pSample, IMediaSample** ppOutSample);

    CCritSec m_csFilter;
    CCritSec m_csReceive;

    // The pins: owned.
    CTransformInputPin* m_pInput = nullptr;
    CTransformOutputPin* m_pOutput = nullptr;

    // State of the stream, under the receive lock.
    bool m_bEOSDelivered = false;
    bool m_bSampleSkipped = false;
    bool m_bQualityChanged = false;

    friend class CTransformInputPin;
    friend class CTransformOutputPin;

private:
    void CreatePins();
    BOOL BothConnected() const;

    /// Whether StartStreaming has succeeded and StopStreaming is due; under the filter lock.
    bool m_bStreaming = false;
};
