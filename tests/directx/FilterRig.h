#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "PluginBase/DirectX/DXPlugin.h"
#include "PluginBase/DirectX/HostPointer.h"
#include "hvBase/Util/MemorySettingsStore.h"

namespace Test {

inline CMediaType AudioType(WORD uTag, WORD uChannels, DWORD uRate, WORD uBits) {
    const auto uAlign = static_cast<WORD>(uChannels * uBits / 8);
    const WAVEFORMATEX format{uTag, uChannels, uRate, uRate * uAlign, uAlign, uBits, 0};
    CMediaType type(&MEDIATYPE_Audio);
    type.SetSubtype(uTag == WAVE_FORMAT_PCM ? &MEDIASUBTYPE_PCM : &MEDIASUBTYPE_IEEE_FLOAT);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    type.SetFormat(reinterpret_cast<const BYTE*>(&format), sizeof format);
    return type;
}

/// A filter of one pin. Count and life are the base's.
template <class Pin>
class OnePinFilter final : public CBaseFilter {
public:
    explicit OnePinFilter(HRESULT* phr)
        : CBaseFilter(TEXT("Test"), nullptr, &m_lock, CLSID_NULL), pin(this, phr) {}
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int) override { return &pin; }

private:
    CCritSec m_lock;

public:
    Pin pin;
};

/// Offers one type, and sends what it is given.
class SourcePin final : public CBaseOutputPin {
public:
    SourcePin(CBaseFilter* filter, HRESULT* phr)
        : CBaseOutputPin(TEXT("Out"), filter, &m_lock, phr, L"Out") {}
    HRESULT CheckMediaType(const CMediaType* type) override { return *type == offered ? S_OK : S_FALSE; }
    HRESULT GetMediaType(int iPosition, CMediaType* type) override {
        if (iPosition != 0) return VFW_S_NO_MORE_ITEMS;
        return type->Set(offered);
    }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES*) override {
        ALLOCATOR_PROPERTIES request{1, 65536, 1, 0};
        ALLOCATOR_PROPERTIES actual{};
        return allocator->SetProperties(&request, &actual);
    }

    CMediaType offered;

private:
    CCritSec m_lock;
};

/// What arrived: the samples' bytes in a row, and each sample's stamps.
struct Arrival {
    long nBytes;
    HRESULT time, mediaTime, sync, preroll, discontinuity;
    REFERENCE_TIME nStart, nEnd;
    LONGLONG nMediaStart, nMediaEnd;
};

class SinkPin final : public CBaseInputPin {
public:
    SinkPin(CBaseFilter* filter, HRESULT* phr) : CBaseInputPin(TEXT("In"), filter, &m_lock, phr, L"In") {}
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    STDMETHODIMP Receive(IMediaSample* sample) override {
        const HRESULT hr = CBaseInputPin::Receive(sample);
        if (hr != S_OK) return hr;
        if (answer != S_OK) return answer;
        Arrival arrival{};
        arrival.nBytes = sample->GetActualDataLength();
        arrival.time = sample->GetTime(&arrival.nStart, &arrival.nEnd);
        arrival.mediaTime = sample->GetMediaTime(&arrival.nMediaStart, &arrival.nMediaEnd);
        arrival.sync = sample->IsSyncPoint();
        arrival.preroll = sample->IsPreroll();
        arrival.discontinuity = sample->IsDiscontinuity();
        BYTE* data = nullptr;
        sample->GetPointer(&data);
        bytes.insert(bytes.end(), data, data + arrival.nBytes);
        arrivals.push_back(arrival);
        return S_OK;
    }
    STDMETHODIMP EndOfStream() override {
        ++nEnds;
        return S_OK;
    }

    std::vector<float> Floats() const {
        std::vector<float> floats(bytes.size() / 4);
        std::memcpy(floats.data(), bytes.data(), floats.size() * 4);
        return floats;
    }

    HRESULT answer = S_OK;
    std::vector<BYTE> bytes;
    std::vector<Arrival> arrivals;
    int nEnds = 0;

private:
    CCritSec m_lock;
};

/// COM on this thread, for the platform's allocators.
struct ComApartment {
    ComApartment() { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
    ~ComApartment() { CoUninitialize(); }
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;
};

/// A source, the plug-in and a sink, without a graph and on one thread.
class FilterRig {
public:
    explicit FilterRig(ModuleFactory factory = &BuildModules) {
        HRESULT hr = S_OK;
        plugin = new DXPlugin(nullptr, &hr, std::make_unique<Util::MemorySettingsStore>(), factory);
        source = new OnePinFilter<SourcePin>(&hr);
        sink = new OnePinFilter<SinkPin>(&hr);
        for (CBaseFilter* filter : {static_cast<CBaseFilter*>(plugin), static_cast<CBaseFilter*>(source),
                                    static_cast<CBaseFilter*>(sink)})
            m_filters.emplace_back(filter);
    }
    ~FilterRig() {
        Stop();
        for (const auto& filter : m_filters) {
            for (int i = 0; i < Base(filter).GetPinCount(); ++i)
                Base(filter).GetPin(i)->Disconnect();
        }
    }

    HRESULT ConnectInput(const CMediaType& type) {
        source->pin.offered = type;
        return source->pin.Connect(plugin->GetPin(0), nullptr);
    }
    HRESULT ConnectOutput() { return plugin->GetPin(1)->Connect(&sink->pin, nullptr); }
    void DisconnectInput() {
        source->pin.Disconnect();
        plugin->GetPin(0)->Disconnect();
    }

    /// The buffers that the plug-in is given for delivery, in bytes.
    void LimitBuffers(long nBytes) {
        ALLOCATOR_PROPERTIES request{1, nBytes, 1, 0};
        ALLOCATOR_PROPERTIES actual{};
        sink->pin.Allocator()->SetProperties(&request, &actual);
    }

    HRESULT Run() {
        HRESULT hr = S_OK;
        for (CBaseFilter* filter : {static_cast<CBaseFilter*>(sink), static_cast<CBaseFilter*>(plugin),
                                    static_cast<CBaseFilter*>(source)})
            if (SUCCEEDED(hr)) hr = filter->Pause();
        return hr;
    }
    void Stop() {
        source->Stop();
        plugin->Stop();
        sink->Stop();
    }

    /// Stamps of a sample on its way in.
    struct Stamps {
        REFERENCE_TIME nStart = -1;  ///< negative: no time
        LONGLONG nMediaStart = -1;   ///< negative: no media time
        bool bDiscontinuity = false;
    };
    HRESULT Send(const void* data, long nBytes, Stamps stamps) {
        HostPointer<IMediaSample> sample;
        const HRESULT hr = source->pin.GetDeliveryBuffer(sample.Receive(), nullptr, nullptr, 0);
        if (FAILED(hr)) return hr;
        BYTE* buffer = nullptr;
        sample->GetPointer(&buffer);
        if (nBytes != 0) std::memcpy(buffer, data, static_cast<std::size_t>(nBytes));
        sample->SetActualDataLength(nBytes);
        REFERENCE_TIME nEnd = stamps.nStart + 1;
        sample->SetTime(stamps.nStart < 0 ? nullptr : &stamps.nStart, &nEnd);
        LONGLONG nMediaEnd = stamps.nMediaStart + 1;
        sample->SetMediaTime(stamps.nMediaStart < 0 ? nullptr : &stamps.nMediaStart, &nMediaEnd);
        sample->SetSyncPoint(TRUE);
        sample->SetPreroll(FALSE);
        sample->SetDiscontinuity(stamps.bDiscontinuity);
        return source->pin.Deliver(sample.Get());
    }
    HRESULT Send(std::span<const float> samples, Stamps stamps) {
        return Send(samples.data(), static_cast<long>(samples.size_bytes()), stamps);
    }
    HRESULT Send(std::span<const float> samples) { return Send(samples, Stamps()); }

    DXPlugin* plugin;
    OnePinFilter<SourcePin>* source;
    OnePinFilter<SinkPin>* sink;

private:
    static CBaseFilter& Base(const HostPointer<IBaseFilter>& filter) {
        return static_cast<CBaseFilter&>(*filter.Get());
    }

    ComApartment m_com;
    std::vector<HostPointer<IBaseFilter>> m_filters;
};

}  // namespace Test
