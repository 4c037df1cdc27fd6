#pragma once

#include <mutex>

#include "apps/dxhost/Feeder.h"
#include "apps/dxhost/PinBase.h"

namespace DxHost {

/// The source's output pin: offers the plan's format, settles buffers of the plan's longest block, and can be
/// moved to a time, also while it streams.
class SourcePin final : public PinBase, public IMediaSeeking {
public:
    explicit SourcePin(IBaseFilter& filter) : PinBase(filter, PINDIR_OUTPUT, L"Out") {}

    void Activate();
    /// The filters downstream have stopped already: nothing keeps the thread waiting for long.
    void Deactivate();
    Feeder& Feed() noexcept { return m_feeder; }
    const ALLOCATOR_PROPERTIES& Buffers() const noexcept { return m_buffers; }

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override {
        return PinBase::QueryInterface(riid, ppv);
    }
    STDMETHODIMP_(ULONG) AddRef() override { return PinBase::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return PinBase::Release(); }

    // IMediaSeeking, in 100 ns units of the file only.
    STDMETHODIMP GetCapabilities(DWORD* capabilities) override;
    STDMETHODIMP CheckCapabilities(DWORD* capabilities) override;
    STDMETHODIMP IsFormatSupported(const GUID* format) override;
    STDMETHODIMP QueryPreferredFormat(GUID* format) override;
    STDMETHODIMP GetTimeFormat(GUID* format) override;
    STDMETHODIMP IsUsingTimeFormat(const GUID* format) override;
    STDMETHODIMP SetTimeFormat(const GUID* format) override;
    STDMETHODIMP GetDuration(LONGLONG* duration) override;
    STDMETHODIMP GetStopPosition(LONGLONG* stop) override;
    STDMETHODIMP GetCurrentPosition(LONGLONG* current) override;
    STDMETHODIMP ConvertTimeFormat(LONGLONG* target, const GUID* targetFormat, LONGLONG nSource,
                                   const GUID* sourceFormat) override;
    /// The stop position stays the end of the file.
    STDMETHODIMP SetPositions(LONGLONG* current, DWORD uCurrentFlags, LONGLONG* stop,
                              DWORD uStopFlags) override;
    STDMETHODIMP GetPositions(LONGLONG* current, LONGLONG* stop) override;
    STDMETHODIMP GetAvailable(LONGLONG* earliest, LONGLONG* latest) override;
    STDMETHODIMP SetRate(double fRate) override;
    STDMETHODIMP GetRate(double* rate) override;
    STDMETHODIMP GetPreroll(LONGLONG* preroll) override;

private:
    void* FindInterface(REFIID riid) override;
    bool Accepts(const AM_MEDIA_TYPE& type) const override;
    std::vector<MediaType> Offers() const override;
    HRESULT CompleteConnect(IPin* receiver) override;
    void BreakConnect() override;
    LONGLONG Duration() const;

    /// Held over a seek, a start and a stop, so that they do not cross.
    std::mutex m_moveLock;
    Feeder m_feeder;
    ComPtr<IMemInputPin> m_transport;
    ComPtr<IMemAllocator> m_allocator;
    ALLOCATOR_PROPERTIES m_buffers{};
    bool m_bActive = false;
};

}  // namespace DxHost
