#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>
#include <vector>

#include "PluginBase/DirectX/base/streams.h"
#include "tests/directx/support/ComRef.h"

// A source and a sink for filter graphs that a test drives by hand: nothing moves unless the test pushes it.

/// 16-bit PCM.
CMediaType PcmType(int nChannels = 2, int nRate = 44100);

/// What a sample carries.
struct Parcel {
    std::vector<BYTE> bytes = {};
    std::optional<REFERENCE_TIME> start = {}, stop = {};
    std::optional<LONGLONG> mediaStart = {}, mediaStop = {};
    bool bSyncPoint = false;
    bool bPreroll = false;
    bool bDiscontinuity = false;
    bool operator==(const Parcel&) const = default;
};

/// A source of one type, which keeps what comes upstream: quality messages, positions.
class PushSource final : public CBaseFilter {
public:
    explicit PushSource(CMediaType type);
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int n) override { return n == 0 ? &m_pin : nullptr; }

    /// Gets a buffer, fills it and delivers it, on the calling thread. `newType` rides on the sample.
    HRESULT Push(const Parcel& parcel, const CMediaType* newType = nullptr);
    CBaseOutputPin& Pin() { return m_pin; }

    // What has come upstream.
    std::vector<Quality> m_quality;
    std::vector<LONGLONG> m_positions;

private:
    class OutputPin final : public CBaseOutputPin, public IMediaSeeking {
    public:
        OutputPin(PushSource& source, HRESULT* phr);
        DECLARE_IUNKNOWN
        STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
        HRESULT CheckMediaType(const CMediaType* pmt) override;
        HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
        HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pRequest) override;
        STDMETHODIMP Notify(IBaseFilter* pSender, Quality q) override;

        // IMediaSeeking: SetPositions keeps the position, the rest is not there.
        STDMETHODIMP SetPositions(LONGLONG* pCurrent, DWORD, LONGLONG*, DWORD) override;
        STDMETHODIMP GetCapabilities(DWORD*) override { return E_NOTIMPL; }
        STDMETHODIMP CheckCapabilities(DWORD*) override { return E_NOTIMPL; }
        STDMETHODIMP IsFormatSupported(const GUID*) override { return S_OK; }
        STDMETHODIMP QueryPreferredFormat(GUID*) override { return E_NOTIMPL; }
        STDMETHODIMP GetTimeFormat(GUID*) override { return E_NOTIMPL; }
        STDMETHODIMP IsUsingTimeFormat(const GUID*) override { return S_OK; }
        STDMETHODIMP SetTimeFormat(const GUID*) override { return S_OK; }
        STDMETHODIMP GetDuration(LONGLONG*) override { return E_NOTIMPL; }
        STDMETHODIMP GetStopPosition(LONGLONG*) override { return E_NOTIMPL; }
        STDMETHODIMP GetCurrentPosition(LONGLONG*) override { return E_NOTIMPL; }
        STDMETHODIMP ConvertTimeFormat(LONGLONG*, const GUID*, LONGLONG, const GUID*) override {
            return E_NOTIMPL;
        }
        STDMETHODIMP GetPositions(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
        STDMETHODIMP GetAvailable(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
        STDMETHODIMP SetRate(double) override { return E_NOTIMPL; }
        STDMETHODIMP GetRate(double*) override { return E_NOTIMPL; }
        STDMETHODIMP GetPreroll(LONGLONG*) override { return E_NOTIMPL; }

    private:
        PushSource& m_source;
    };

    CCritSec m_lock;
    CMediaType m_type;
    HRESULT m_hr = NOERROR;
    OutputPin m_pin;
};

/// A sink that accepts PCM and keeps what arrives; on demand it keeps the samples themselves, so that their
/// allocator runs dry.
class KeepingSink final : public CBaseFilter {
public:
    KeepingSink();
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int n) override { return n == 0 ? &m_pin : nullptr; }
    CBaseInputPin& Pin() { return m_pin; }

    /// Whether samples that arrive are held until a flush or Drop.
    void Hold(bool bHold) { m_bHold = bHold; }
    void Drop();
    /// Waits until `uCount` samples have arrived.
    void WaitFor(std::size_t uCount);

    // What has come downstream. Under m_mutex while another thread pushes.
    std::vector<Parcel> m_parcels;
    int m_nEnds = 0;
    std::vector<double> m_segmentRates;
    int m_nFlushes = 0;

private:
    class InputPin final : public CBaseInputPin {
    public:
        InputPin(KeepingSink& sink, HRESULT* phr);
        HRESULT CheckMediaType(const CMediaType* pmt) override;
        STDMETHODIMP Receive(IMediaSample* pSample) override;
        STDMETHODIMP EndOfStream() override;
        STDMETHODIMP NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) override;
        STDMETHODIMP BeginFlush() override;
        HRESULT Inactive() override;

    private:
        KeepingSink& m_sink;
    };

    void Keep(IMediaSample* pSample);

    CCritSec m_lock;
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    bool m_bHold = false;
    std::vector<ComRef<IMediaSample>> m_held;
    HRESULT m_hr = NOERROR;
    InputPin m_pin;
};

/// Reads all that a sample carries.
Parcel Unpack(IMediaSample* pSample);
