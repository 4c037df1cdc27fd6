#pragma once

#include <condition_variable>
#include <mutex>

#include "PluginBase/DirectX/base/streams.h"

/// The identifier under which the tests' table of classes makes the transform.
inline constexpr CLSID kShiftingTransformId = {
    0x2b6f5a12, 0x3c1d, 0x4e57, {0x9a, 0x61, 0x10, 0x52, 0xd4, 0x7e, 0x83, 0x01}};

/// The least that a transform filter can be: adds 1 to each byte of audio, and does what a test tells it to.
class ShiftingTransform final : public CTransformFilter {
public:
    ShiftingTransform(LPUNKNOWN pUnk, HRESULT* phr);
    static CUnknown* CALLBACK Create(LPUNKNOWN pUnk, HRESULT* phr);

    HRESULT Transform(IMediaSample* pIn, IMediaSample* pOut) override;
    HRESULT CheckInputType(const CMediaType* mtIn) override;
    HRESULT CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut) override;
    HRESULT DecideBufferSize(IMemAllocator* pAllocator, ALLOCATOR_PROPERTIES* pprop) override;
    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
    HRESULT StartStreaming() override;
    HRESULT StopStreaming() override;
    HRESULT AlterQuality(Quality q) override;

    CBaseInputPin& In();
    CBaseOutputPin& Out();

    // What a test tells it.
    HRESULT m_startResult = S_OK;
    HRESULT m_activeResult = S_OK;
    HRESULT m_transformResult = S_OK;
    HRESULT m_qualityResult = S_FALSE;
    long m_nBufferBytes = 64;
    /// What the next construction throws: nothing, memory, or something else.
    static inline enum class Throw { Nothing, Memory, Other } s_throw = Throw::Nothing;

    // What it tells a test.
    int m_nStarts = 0;
    int m_nStops = 0;
    /// The questions for a delivery buffer so far, each counted as it begins.
    int BufferWaits();
    /// Waits for another one than the first `nSeen`.
    void AwaitBufferWait(int nSeen);

private:
    class WatchedOutput final : public CTransformOutputPin {
    public:
        WatchedOutput(ShiftingTransform& filter, HRESULT* phr);
        HRESULT Active() override;
        HRESULT GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime,
                                  REFERENCE_TIME* pEndTime, DWORD dwFlags) override;

    private:
        ShiftingTransform& m_filter;
    };

    std::mutex m_mutex;
    std::condition_variable m_counted;
    int m_nBufferWaits = 0;
};
