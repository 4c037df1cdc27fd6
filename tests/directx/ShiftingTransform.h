#pragma once

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <new>
#include <stdexcept>

#include "PluginBase/DirectX/base/streams.h"

/// The identifier under which the tests' table of classes makes the transform.
inline constexpr CLSID kShiftingTransformId = {
    0x2b6f5a12, 0x3c1d, 0x4e57, {0x9a, 0x61, 0x10, 0x52, 0xd4, 0x7e, 0x83, 0x01}};

/// The least that a transform filter can be: adds 1 to each byte of audio, and does what a test tells it to.
class ShiftingTransform final : public CTransformFilter {
public:
    ShiftingTransform(LPUNKNOWN pUnk, HRESULT* phr)
        : CTransformFilter(TEXT("Shifting transform"), pUnk, kShiftingTransformId) {
        if (s_throw == Throw::Memory) throw std::bad_alloc();
        if (s_throw == Throw::Other) throw std::runtime_error("as told");
        m_pInput = new CTransformInputPin(TEXT("Input"), this, phr, L"Input");
        m_pOutput = new WatchedOutput(*this, phr);
    }
    static CUnknown* CALLBACK Create(LPUNKNOWN pUnk, HRESULT* phr) {
        return new ShiftingTransform(pUnk, phr);
    }

    HRESULT Transform(IMediaSample* pIn, IMediaSample* pOut) override {
        BYTE* pFrom = nullptr;
        BYTE* pTo = nullptr;
        pIn->GetPointer(&pFrom);
        pOut->GetPointer(&pTo);
        const long nBytes = pIn->GetActualDataLength();
        std::transform(pFrom, pFrom + nBytes, pTo, [](BYTE x) { return static_cast<BYTE>(x + 1); });
        pOut->SetActualDataLength(nBytes);
        return m_transformResult;
    }
    HRESULT CheckInputType(const CMediaType* mtIn) override {
        return mtIn->formattype == FORMAT_WaveFormatEx ? S_OK : E_INVALIDARG;
    }
    HRESULT CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut) override {
        return *mtIn == *mtOut ? S_OK : E_INVALIDARG;
    }
    HRESULT DecideBufferSize(IMemAllocator* pAllocator, ALLOCATOR_PROPERTIES* pprop) override {
        if (m_nBufferBytes == 0) return S_OK;
        pprop->cBuffers = 1;
        pprop->cbBuffer = m_nBufferBytes;
        ALLOCATOR_PROPERTIES actual = {};
        return pAllocator->SetProperties(pprop, &actual);
    }
    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override {
        if (iPosition > 0) return VFW_S_NO_MORE_ITEMS;
        return pMediaType->Set(m_pInput->CurrentMediaType());
    }
    HRESULT StartStreaming() override {
        ++m_nStarts;
        return m_startResult;
    }
    HRESULT StopStreaming() override {
        ++m_nStops;
        return S_OK;
    }
    HRESULT AlterQuality(Quality) override { return m_qualityResult; }

    CBaseInputPin& In() { return *m_pInput; }
    CBaseOutputPin& Out() { return *m_pOutput; }

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
    int BufferWaits() {
        const std::lock_guard lock(m_mutex);
        return m_nBufferWaits;
    }
    /// Waits for another one than the first `nSeen`.
    void AwaitBufferWait(int nSeen) {
        std::unique_lock lock(m_mutex);
        m_counted.wait(lock, [&] { return m_nBufferWaits > nSeen; });
    }

private:
    class WatchedOutput final : public CTransformOutputPin {
    public:
        WatchedOutput(ShiftingTransform& filter, HRESULT* phr)
            : CTransformOutputPin(TEXT("Output"), &filter, phr, L"Output"), m_filter(filter) {}
        HRESULT Active() override {
            return m_filter.m_activeResult == S_OK ? CTransformOutputPin::Active() : m_filter.m_activeResult;
        }
        HRESULT GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime,
                                  REFERENCE_TIME* pEndTime, DWORD dwFlags) override {
            {
                const std::lock_guard lock(m_filter.m_mutex);
                ++m_filter.m_nBufferWaits;
                m_filter.m_counted.notify_all();
            }
            return CTransformOutputPin::GetDeliveryBuffer(ppSample, pStartTime, pEndTime, dwFlags);
        }

    private:
        ShiftingTransform& m_filter;
    };

    std::mutex m_mutex;
    std::condition_variable m_counted;
    int m_nBufferWaits = 0;
};
