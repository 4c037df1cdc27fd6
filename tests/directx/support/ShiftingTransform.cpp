#include "tests/directx/support/ShiftingTransform.h"

#include <algorithm>
#include <memory>
#include <new>
#include <stdexcept>

ShiftingTransform::ShiftingTransform(LPUNKNOWN pUnk, HRESULT* phr)
    : CTransformFilter(TEXT("Shifting transform"), pUnk, kShiftingTransformId) {
    if (s_throw == Throw::Memory) throw std::bad_alloc();
    if (s_throw == Throw::Other) throw std::runtime_error("as told");
    m_pInput = new CTransformInputPin(TEXT("Input"), this, phr, L"Input");
    m_pOutput = new WatchedOutput(*this, phr);
}

CUnknown* CALLBACK ShiftingTransform::Create(LPUNKNOWN pUnk, HRESULT* phr) {
    return new ShiftingTransform(pUnk, phr);
}

HRESULT ShiftingTransform::Transform(IMediaSample* pIn, IMediaSample* pOut) {
    BYTE* pFrom = nullptr;
    BYTE* pTo = nullptr;
    pIn->GetPointer(&pFrom);
    pOut->GetPointer(&pTo);
    const long nBytes = pIn->GetActualDataLength();
    std::transform(pFrom, pFrom + nBytes, pTo, [](BYTE x) { return static_cast<BYTE>(x + 1); });
    pOut->SetActualDataLength(nBytes);
    return m_transformResult;
}

HRESULT ShiftingTransform::CheckInputType(const CMediaType* mtIn) {
    return mtIn->formattype == FORMAT_WaveFormatEx ? S_OK : E_INVALIDARG;
}

HRESULT ShiftingTransform::CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut) {
    return *mtIn == *mtOut ? S_OK : E_INVALIDARG;
}

HRESULT ShiftingTransform::DecideBufferSize(IMemAllocator* pAllocator, ALLOCATOR_PROPERTIES* pprop) {
    if (m_nBufferBytes == 0) return S_OK;
    pprop->cBuffers = 1;
    pprop->cbBuffer = m_nBufferBytes;
    ALLOCATOR_PROPERTIES actual = {};
    return pAllocator->SetProperties(pprop, &actual);
}

HRESULT ShiftingTransform::GetMediaType(int iPosition, CMediaType* pMediaType) {
    if (iPosition > 0) return VFW_S_NO_MORE_ITEMS;
    return pMediaType->Set(m_pInput->CurrentMediaType());
}

HRESULT ShiftingTransform::StartStreaming() {
    ++m_nStarts;
    return m_startResult;
}

HRESULT ShiftingTransform::StopStreaming() {
    ++m_nStops;
    return S_OK;
}

HRESULT ShiftingTransform::AlterQuality(Quality) {
    return m_qualityResult;
}

int ShiftingTransform::BufferWaits() {
    const std::lock_guard lock(m_mutex);
    return m_nBufferWaits;
}

void ShiftingTransform::AwaitBufferWait(int nSeen) {
    std::unique_lock lock(m_mutex);
    m_counted.wait(lock, [&] { return m_nBufferWaits > nSeen; });
}

CBaseInputPin& ShiftingTransform::In() {
    return *m_pInput;
}

CBaseOutputPin& ShiftingTransform::Out() {
    return *m_pOutput;
}

ShiftingTransform::WatchedOutput::WatchedOutput(ShiftingTransform& filter, HRESULT* phr)
    : CTransformOutputPin(TEXT("Output"), &filter, phr, L"Output"), m_filter(filter) {}

HRESULT ShiftingTransform::WatchedOutput::Active() {
    return m_filter.m_activeResult == S_OK ? CTransformOutputPin::Active() : m_filter.m_activeResult;
}

HRESULT ShiftingTransform::WatchedOutput::GetDeliveryBuffer(IMediaSample** ppSample,
                                                            REFERENCE_TIME* pStartTime,
                                                            REFERENCE_TIME* pEndTime, DWORD dwFlags) {
    {
        const std::lock_guard lock(m_filter.m_mutex);
        ++m_filter.m_nBufferWaits;
        m_filter.m_counted.notify_all();
    }
    return CTransformOutputPin::GetDeliveryBuffer(ppSample, pStartTime, pEndTime, dwFlags);
}
