#include "apps/dxhost/SourcePin.h"

namespace DxHost {

namespace {

constexpr long kBufferCount = 4;
constexpr DWORD kCapabilities = AM_SEEKING_CanSeekAbsolute | AM_SEEKING_CanSeekForwards |
                                AM_SEEKING_CanSeekBackwards | AM_SEEKING_CanGetCurrentPos |
                                AM_SEEKING_CanGetStopPos | AM_SEEKING_CanGetDuration;

}  // namespace

// Connection. ---------------------------------------------------------------------------------------------

void* SourcePin::FindInterface(REFIID riid) {
    return riid == IID_IMediaSeeking ? static_cast<IMediaSeeking*>(this) : nullptr;
}

bool SourcePin::Accepts(const AM_MEDIA_TYPE& type) const {
    AudioFormat format;
    return MediaType::Read(type, &format) && format == m_feeder.Plan().sound.format;
}

std::vector<MediaType> SourcePin::Offers() const {
    return {MediaType(m_feeder.Plan().sound.format)};
}

HRESULT SourcePin::CompleteConnect(IPin* receiver) {
    HRESULT hr = receiver->QueryInterface(IID_PPV_ARGS(m_transport.ReleaseAndGetAddressOf()));
    if (FAILED(hr)) return hr;
    ALLOCATOR_PROPERTIES wanted{};
    // A receiver without wishes answers that it has none.
    if (FAILED(m_transport->GetAllocatorRequirements(&wanted))) wanted = {};
    const auto nBytes =
        static_cast<long>(m_feeder.LongestBlock() * m_feeder.Plan().sound.format.FrameBytes());
    wanted.cbBuffer = wanted.cbBuffer > nBytes ? wanted.cbBuffer : nBytes;
    wanted.cBuffers = wanted.cBuffers > kBufferCount ? wanted.cBuffers : kBufferCount;
    if (wanted.cbAlign < 1) wanted.cbAlign = 1;

    if (FAILED(m_transport->GetAllocator(m_allocator.ReleaseAndGetAddressOf()))) {
        hr = CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER,
                              IID_PPV_ARGS(m_allocator.ReleaseAndGetAddressOf()));
        if (FAILED(hr)) return hr;
    }
    hr = m_allocator->SetProperties(&wanted, &m_buffers);
    if (FAILED(hr)) return hr;
    if (m_buffers.cbBuffer < nBytes || m_buffers.cBuffers < 1) return VFW_E_SIZENOTSET;
    return m_transport->NotifyAllocator(m_allocator.Get(), FALSE);
}

void SourcePin::BreakConnect() {
    m_transport = nullptr;
    m_allocator = nullptr;
}

void SourcePin::Activate() {
    const std::lock_guard lock(m_moveLock);
    if (!m_allocator) return;
    m_allocator->Commit();
    m_bActive = true;
    Peer()->NewSegment(0, Duration(), 1.0);
    m_feeder.Start(m_allocator.Get(), Peer(), m_transport.Get());
}

void SourcePin::Deactivate() {
    const std::lock_guard lock(m_moveLock);
    if (!m_allocator) return;
    m_bActive = false;
    m_feeder.RequestHalt();
    m_allocator->Decommit();
    m_feeder.Halt();
}

// Seeking. ------------------------------------------------------------------------------------------------

LONGLONG SourcePin::Duration() const {
    const Sound& sound = m_feeder.Plan().sound;
    return TimeOfFrame(sound.Frames(), sound.format.uSampleRate);
}

STDMETHODIMP SourcePin::GetCapabilities(DWORD* capabilities) {
    if (!capabilities) return E_POINTER;
    *capabilities = kCapabilities;
    return S_OK;
}

STDMETHODIMP SourcePin::CheckCapabilities(DWORD* capabilities) {
    if (!capabilities) return E_POINTER;
    const DWORD uAsked = *capabilities;
    *capabilities &= kCapabilities;
    return *capabilities == uAsked ? S_OK : *capabilities != 0 ? S_FALSE : E_FAIL;
}

STDMETHODIMP SourcePin::IsFormatSupported(const GUID* format) {
    if (!format) return E_POINTER;
    return *format == TIME_FORMAT_MEDIA_TIME ? S_OK : S_FALSE;
}

STDMETHODIMP SourcePin::QueryPreferredFormat(GUID* format) {
    return GetTimeFormat(format);
}

STDMETHODIMP SourcePin::GetTimeFormat(GUID* format) {
    if (!format) return E_POINTER;
    *format = TIME_FORMAT_MEDIA_TIME;
    return S_OK;
}

STDMETHODIMP SourcePin::IsUsingTimeFormat(const GUID* format) {
    return IsFormatSupported(format);
}

STDMETHODIMP SourcePin::SetTimeFormat(const GUID* format) {
    if (!format) return E_POINTER;
    return *format == TIME_FORMAT_MEDIA_TIME ? S_OK : E_INVALIDARG;
}

STDMETHODIMP SourcePin::GetDuration(LONGLONG* duration) {
    if (!duration) return E_POINTER;
    *duration = Duration();
    return S_OK;
}

STDMETHODIMP SourcePin::GetStopPosition(LONGLONG* stop) {
    return GetDuration(stop);
}

STDMETHODIMP SourcePin::GetCurrentPosition(LONGLONG* current) {
    if (!current) return E_POINTER;
    *current = TimeOfFrame(m_feeder.Position(), m_feeder.Plan().sound.format.uSampleRate);
    return S_OK;
}

STDMETHODIMP SourcePin::ConvertTimeFormat(LONGLONG* target, const GUID* targetFormat, LONGLONG nSource,
                                          const GUID* sourceFormat) {
    if (!target) return E_POINTER;
    // A null format is the present one.
    for (const GUID* format : {targetFormat, sourceFormat})
        if (format && *format != TIME_FORMAT_MEDIA_TIME) return E_INVALIDARG;
    *target = nSource;
    return S_OK;
}

STDMETHODIMP SourcePin::SetPositions(LONGLONG* current, DWORD uCurrentFlags, LONGLONG* /*stop*/,
                                     DWORD /*uStopFlags*/) {
    const DWORD uKind = uCurrentFlags & AM_SEEKING_PositioningBitsMask;
    if (uKind == AM_SEEKING_NoPositioning) return S_OK;
    if (!current) return E_POINTER;
    if (uKind != AM_SEEKING_AbsolutePositioning || *current < 0 || *current > Duration()) return E_INVALIDARG;
    // Rounded: the frame whose truncated time was asked for is the frame that plays.
    const std::int64_t nRate = m_feeder.Plan().sound.format.uSampleRate;
    const std::int64_t nSeconds = *current / kTicksPerSecond;
    const std::int64_t nRest = *current % kTicksPerSecond;
    const auto uFrame = static_cast<std::uint64_t>(nSeconds * nRate +
                                                   (nRest * nRate + kTicksPerSecond / 2) / kTicksPerSecond);

    const std::lock_guard lock(m_moveLock);
    if (m_bActive) {
        m_feeder.RequestHalt();
        Peer()->BeginFlush();
        m_feeder.Halt();
        Peer()->EndFlush();
    }
    m_feeder.SetPosition(uFrame);
    if (m_bActive) {
        Peer()->NewSegment(*current, Duration(), 1.0);
        m_feeder.Start(m_allocator.Get(), Peer(), m_transport.Get());
    }
    return S_OK;
}

STDMETHODIMP SourcePin::GetPositions(LONGLONG* current, LONGLONG* stop) {
    if (current) GetCurrentPosition(current);
    if (stop) GetStopPosition(stop);
    return S_OK;
}

STDMETHODIMP SourcePin::GetAvailable(LONGLONG* earliest, LONGLONG* latest) {
    if (earliest) *earliest = 0;
    return latest ? GetDuration(latest) : S_OK;
}

STDMETHODIMP SourcePin::SetRate(double fRate) {
    return fRate == 1.0 ? S_OK : E_INVALIDARG;
}

STDMETHODIMP SourcePin::GetRate(double* rate) {
    if (!rate) return E_POINTER;
    *rate = 1.0;
    return S_OK;
}

STDMETHODIMP SourcePin::GetPreroll(LONGLONG* preroll) {
    if (!preroll) return E_POINTER;
    *preroll = 0;
    return S_OK;
}

}  // namespace DxHost
