#pragma once

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
    /// From now on samples come without IMediaSample2.
    void PushPlain() { m_bPlain = true; }
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
    bool m_bPlain = false;
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

    // What has come downstream. Not to be looked at while another thread pushes.
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
    bool m_bHold = false;
    std::vector<ComRef<IMediaSample>> m_held;
    HRESULT m_hr = NOERROR;
    InputPin m_pin;
};

/// Reads all that a sample carries.
Parcel Unpack(IMediaSample* pSample);

/// A sample as an old host makes it, without IMediaSample2. Lives on the stack around a real one.
class PlainSample final : public IMediaSample {
public:
    explicit PlainSample(IMediaSample* pSample) : m_sample(pSample) {}
    STDMETHODIMP QueryInterface(REFIID, void** ppv) override {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP GetPointer(BYTE** pp) override { return m_sample->GetPointer(pp); }
    STDMETHODIMP_(LONG) GetSize() override { return m_sample->GetSize(); }
    STDMETHODIMP GetTime(REFERENCE_TIME* a, REFERENCE_TIME* b) override { return m_sample->GetTime(a, b); }
    STDMETHODIMP SetTime(REFERENCE_TIME* a, REFERENCE_TIME* b) override { return m_sample->SetTime(a, b); }
    STDMETHODIMP IsSyncPoint() override { return m_sample->IsSyncPoint(); }
    STDMETHODIMP SetSyncPoint(WINBOOL b) override { return m_sample->SetSyncPoint(b); }
    STDMETHODIMP IsPreroll() override { return m_sample->IsPreroll(); }
    STDMETHODIMP SetPreroll(WINBOOL b) override { return m_sample->SetPreroll(b); }
    STDMETHODIMP_(LONG) GetActualDataLength() override { return m_sample->GetActualDataLength(); }
    STDMETHODIMP SetActualDataLength(LONG n) override { return m_sample->SetActualDataLength(n); }
    STDMETHODIMP GetMediaType(AM_MEDIA_TYPE** pp) override { return m_sample->GetMediaType(pp); }
    STDMETHODIMP SetMediaType(AM_MEDIA_TYPE* p) override { return m_sample->SetMediaType(p); }
    STDMETHODIMP IsDiscontinuity() override { return m_sample->IsDiscontinuity(); }
    STDMETHODIMP SetDiscontinuity(WINBOOL b) override { return m_sample->SetDiscontinuity(b); }
    STDMETHODIMP GetMediaTime(LONGLONG* a, LONGLONG* b) override { return m_sample->GetMediaTime(a, b); }
    STDMETHODIMP SetMediaTime(LONGLONG* a, LONGLONG* b) override { return m_sample->SetMediaTime(a, b); }

private:
    IMediaSample* const m_sample;
};
