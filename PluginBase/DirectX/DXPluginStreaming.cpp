#include <algorithm>

#include "PluginBase/DirectX/AtBorder.h"
#include "PluginBase/DirectX/DXPlugin.h"
#include "PluginBase/DirectX/HostPointer.h"
#include "PluginBase/DirectX/StreamTime.h"

// The road of a block: what the host sends, the engine, and the pieces in which the result goes on.

namespace {

/// S_OK is true, S_FALSE is false, and everything else says that the host does not know.
std::optional<bool> FlagFrom(HRESULT hr) {
    if (hr == S_OK) return true;
    if (hr == S_FALSE) return false;
    return std::nullopt;
}

void Check(HRESULT hr, const char* message,
           Exception::SourcePlace place = Exception::SourcePlace::Current()) {
    if (FAILED(hr)) throw Exception::Delivery(hr, message, place);
}

}  // namespace

HRESULT DXPlugin::Receive(IMediaSample* pSample) {
    if (!pSample) return E_POINTER;
    return AtBorder([&] { return ReceiveSample(*pSample); });
}

HRESULT DXPlugin::ReceiveSample(IMediaSample& sample) {
    if (!m_pInput->IsConnected() || !m_pOutput->IsConnected() || !m_converter.IsReady()) return E_UNEXPECTED;
    // The output could not follow a new format in mid-stream.
    const AM_SAMPLE2_PROPERTIES& properties = *m_pInput->SampleProps();
    if ((properties.dwSampleFlags & AM_SAMPLE_TYPECHANGED) && properties.pMediaType) {
        const CMediaType type(*properties.pMediaType);
        if (FAILED(CheckTransform(&type, &m_pInput->CurrentMediaType()))) return VFW_E_INVALIDMEDIATYPE;
    }

    CountDiscontinuity(sample);
    BYTE* host = nullptr;
    const HRESULT hr = sample.GetPointer(&host);
    if (FAILED(hr)) return hr;
    ReadTimes(sample);
    m_syncPoint = FlagFrom(sample.IsSyncPoint());
    m_preroll = FlagFrom(sample.IsPreroll());
    m_discontinuity = FlagFrom(sample.IsDiscontinuity());

    const auto uFrames =
        static_cast<std::uint32_t>(std::max(sample.GetActualDataLength(), 0L)) / m_converter.InputFrameSize();
    SetBlockStart(StreamPosition());
    CountFrames(uFrames);
    if (m_instrument.IsRunning()) m_instrument.Step(TicksFromFrames(uFrames, m_format.uSampleRate));
    return ProcessFrames(uFrames, host);
}

void DXPlugin::CountDiscontinuity(IMediaSample& sample) {
    if (sample.IsDiscontinuity() != S_OK) return;
    REFERENCE_TIME nStart = 0;
    REFERENCE_TIME nEnd = 0;
    if (FAILED(sample.GetTime(&nStart, &nEnd))) return;
    const std::int64_t nFrames = FramesFromTicks(nStart, m_format.uSampleRate);
    m_uFramesReceived = static_cast<std::uint64_t>(std::max<std::int64_t>(nFrames, 0));
    m_uFramesDelivered = 0;
}

void DXPlugin::ReadTimes(IMediaSample& sample) {
    m_bHasTime = SUCCEEDED(sample.GetTime(&m_nBlockStart, &m_nBlockEnd));
    m_bHasMediaTime = SUCCEEDED(sample.GetMediaTime(&m_nMediaStart, &m_nMediaEnd));
    // What comes out next went in as many frames ago as the head was trimmed by, and keeps its time.
    const std::uint32_t uTrimmed = GetTransform().DelayTrimmed();
    if (m_bHasTime) {
        const std::int64_t nBack = TicksFromFrames(uTrimmed, m_format.uSampleRate);
        m_nBlockStart -= nBack;
        m_nBlockEnd -= nBack;
    }
    if (m_bHasMediaTime) {
        m_nMediaStart -= uTrimmed;
        m_nMediaEnd -= uTrimmed;
    }
}

std::int64_t DXPlugin::StreamPosition() const {
    if (m_bHasTime) return m_nBlockStart;
    return TicksFromFrames(static_cast<std::int64_t>(m_uFramesReceived.Get()), m_format.uSampleRate);
}

void DXPlugin::CountFrames(std::uint32_t uFrames) {
    m_uFramesReceived = m_uFramesReceived + uFrames;
    m_uFramesDelivered = m_uFramesDelivered + uFrames;
}

HRESULT DXPlugin::ProcessFrames(std::uint32_t uFrames, const void* host) {
    if (!m_converter.IsReady()) return E_UNEXPECTED;
    if (uFrames == 0) return S_OK;
    m_converter.Resize(uFrames);
    m_converter.Read(uFrames, host);
    const std::uint32_t uProduced = Process(uFrames, m_converter.InputLeft(), m_converter.InputRight(),
                                            m_converter.OutputLeft(), m_converter.OutputRight());
    return Deliver(0, uProduced);
}

HRESULT DXPlugin::Deliver(std::uint32_t uFrom, std::uint32_t uFrames) {
    while (uFrames != 0) {
        std::uint32_t uDelivered = 0;
        const HRESULT hr = DeliverPiece(uFrom, uFrames, uDelivered);
        // The graph is stopping, and waits for this thread.
        if (hr == VFW_E_NOT_COMMITTED) return S_OK;
        // What the next filter refuses, the one before has to know: it is what ends a stream early.
        if (hr != S_OK) return hr;
        uFrom += uDelivered;
        uFrames -= uDelivered;
    }
    return S_OK;
}

HRESULT DXPlugin::DeliverPiece(std::uint32_t uFrom, std::uint32_t uFrames, std::uint32_t& uDelivered) {
    HostPointer<IMediaSample> sample;
    HRESULT hr = m_pOutput->GetDeliveryBuffer(sample.Receive(), nullptr, nullptr, 0);
    if (hr == VFW_E_NOT_COMMITTED) return hr;
    Check(hr, "Can't get delivery buffer");
    BYTE* host = nullptr;
    hr = sample->GetPointer(&host);
    Check(hr, "Can't get delivery buffer pointer");
    const std::uint32_t uFrameSize = m_converter.OutputFrameSize();
    const std::uint32_t uCapacity = static_cast<std::uint32_t>(std::max(sample->GetSize(), 0L)) / uFrameSize;
    if (uCapacity == 0) throw Exception::Delivery(E_FAIL, "Obtained empty delivery buffer");

    uDelivered = std::min(uCapacity, uFrames);
    m_converter.Write(uFrom, uDelivered, host);
    StampPiece(*sample.Get(), uDelivered);
    hr = sample->SetActualDataLength(static_cast<LONG>(uDelivered * uFrameSize));
    Check(hr, "Can't set actual delivery buffer data length");
    return m_pOutput->Deliver(sample.Get());
}

void DXPlugin::StampPiece(IMediaSample& sample, std::uint32_t uFrames) {
    if (m_bHasTime) {
        const std::int64_t nSpan = TicksFromFrames(uFrames, m_format.uSampleRate);
        REFERENCE_TIME nStart = m_nBlockStart;
        REFERENCE_TIME nEnd = m_nBlockStart + nSpan;
        sample.SetTime(&nStart, &nEnd);
        m_nBlockStart += nSpan;
        m_nBlockEnd += nSpan;
    } else {
        sample.SetTime(nullptr, nullptr);
    }
    if (m_bHasMediaTime) {
        LONGLONG nStart = m_nMediaStart;
        LONGLONG nEnd = m_nMediaStart + uFrames;
        sample.SetMediaTime(&nStart, &nEnd);
        m_nMediaStart += uFrames;
        m_nMediaEnd += uFrames;
    }
    if (m_syncPoint) sample.SetSyncPoint(*m_syncPoint);
    if (m_preroll) sample.SetPreroll(*m_preroll);
    if (m_discontinuity) sample.SetDiscontinuity(*m_discontinuity);
}

HRESULT DXPlugin::StartStreaming() {
    return AtBorder([&] {
        m_uFramesReceived = 0;
        m_uFramesDelivered = 0;
        BeginStreaming(m_format.uSampleRate);
        return S_OK;
    });
}

HRESULT DXPlugin::StopStreaming() {
    return AtBorder([&] {
        EndStreaming();
        return S_OK;
    });
}

HRESULT DXPlugin::EndOfStream() {
    if (GetTransform().GlobalSettings().DelayCompensation() && m_pInput) {
        // The end of the stream goes on whatever becomes of the tail.
        AtBorder([&] { return DeliverTail(); });
    }
    return AtBorder([&] { return CTransformFilter::EndOfStream(); });
}

HRESULT DXPlugin::DeliverTail() {
    if (!m_pInput->IsConnected() || !m_pOutput->IsConnected() || !m_converter.IsReady()) return E_UNEXPECTED;
    auto& transform = GetTransform();
    // A stream shorter than the delay has left a rest of the silent head in the chain, which comes out first.
    const std::uint32_t uDelay = transform.SystemDelay();
    const std::uint32_t uHead = uDelay - std::min(transform.DelayTrimmed(), uDelay);
    transform.SetStreamPosition(StreamPosition());
    const std::uint32_t uFlushed =
        transform.Flush(m_converter.OutputLeftPlane(), m_converter.OutputRightPlane());
    CountFrames(uFlushed);
    if (uFlushed <= uHead) return S_OK;
    m_discontinuity.reset();
    return Deliver(uHead, uFlushed - uHead);
}

HRESULT DXPlugin::EndFlush() {
    return AtBorder([&] {
        ResetAll();
        return CTransformFilter::EndFlush();
    });
}
