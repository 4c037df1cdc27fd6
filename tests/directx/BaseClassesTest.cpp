#include <doctest/doctest.h>

#include <functional>
#include <optional>
#include <thread>
#include <vector>

#include "apps/dxhost/GraphDriver.h"
#include "tests/directx/AudioType.h"
#include "tests/directx/ShiftingTransform.h"

using DxHost::ComPtr;

namespace {

const AMOVIESETUP_FILTER kSetup = {&kShiftingTransformId, L"Vesca test transform", MERIT_DO_NOT_USE, 0,
                                   nullptr};

CMediaType PcmType(WORD uChannels = 2) {
    return Test::AudioType(WAVE_FORMAT_PCM, uChannels, 44100, 16);
}

/// COM on this thread; when it ends, every object of these classes must have gone.
struct Com : DxHost::Apartment {
    ~Com() {
        CHECK(CBaseObject::ObjectsActive() == 0);
        CHECK(DllCanUnloadNow() == S_OK);
    }
};

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
    STDMETHODIMP SetTime(REFERENCE_TIME*, REFERENCE_TIME*) override { return E_NOTIMPL; }
    STDMETHODIMP IsSyncPoint() override { return m_sample->IsSyncPoint(); }
    STDMETHODIMP SetSyncPoint(WINBOOL) override { return E_NOTIMPL; }
    STDMETHODIMP IsPreroll() override { return m_sample->IsPreroll(); }
    STDMETHODIMP SetPreroll(WINBOOL) override { return E_NOTIMPL; }
    STDMETHODIMP_(LONG) GetActualDataLength() override { return m_sample->GetActualDataLength(); }
    STDMETHODIMP SetActualDataLength(LONG) override { return E_NOTIMPL; }
    STDMETHODIMP GetMediaType(AM_MEDIA_TYPE** pp) override { return m_sample->GetMediaType(pp); }
    STDMETHODIMP SetMediaType(AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP IsDiscontinuity() override { return m_sample->IsDiscontinuity(); }
    STDMETHODIMP SetDiscontinuity(WINBOOL) override { return E_NOTIMPL; }
    STDMETHODIMP GetMediaTime(LONGLONG* a, LONGLONG* b) override { return m_sample->GetMediaTime(a, b); }
    STDMETHODIMP SetMediaTime(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }

private:
    IMediaSample* const m_sample;
};

/// The transform in the platform's filter graph, behind a source that delivers nothing by itself.
struct Rig {
    Rig() {
        plan.sound.format = {false, 16, 2, 44100};
        plan.bEndOfStream = false;
    }
    ~Rig() {
        graph.Stop();
        // The graph does not know what a test has started itself, and would wait for it.
        graph.Sink().Stop();
        transform->Stop();
    }
    IPin& Source() { return graph.Source().Output(); }
    IPin& Sink() { return graph.Arrived(); }
    HRESULT ConnectIn() {
        graph.Source().SetPlan(plan);
        return Source().Connect(&transform->In(), nullptr);
    }
    HRESULT ConnectOut() { return transform->Out().Connect(&Sink(), nullptr); }
    void Connect() {
        REQUIRE(ConnectIn() == S_OK);
        REQUIRE(ConnectOut() == S_OK);
    }
    FILTER_STATE State() {
        FILTER_STATE state = State_Running;
        transform->GetState(0, &state);
        return state;
    }
    /// Gets a buffer, fills it and gives it to the transform, on the calling thread. What `sent` lacks the
    /// sample lacks; `newType` rides on it.
    HRESULT Push(const DxHost::Arrival& sent, const CMediaType* newType = nullptr) {
        ComPtr<IMemAllocator> allocator;
        transform->In().GetAllocator(allocator.GetAddressOf());
        ComPtr<IMediaSample> sample;
        const HRESULT result = allocator->GetBuffer(sample.GetAddressOf(), nullptr, nullptr, 0);
        if (FAILED(result)) return result;
        BYTE* pData = nullptr;
        sample->GetPointer(&pData);
        std::copy(sent.bytes.begin(), sent.bytes.end(), pData);
        sample->SetActualDataLength(static_cast<long>(sent.bytes.size()));
        auto time = sent.time.value_or(std::pair{0, 0}), mediaTime = sent.mediaTime.value_or(std::pair{0, 0});
        sample->SetTime(sent.time ? &time.first : nullptr, sent.time ? &time.second : nullptr);
        sample->SetMediaTime(sent.mediaTime ? &mediaTime.first : nullptr,
                             sent.mediaTime ? &mediaTime.second : nullptr);
        sample->SetSyncPoint(sent.bSyncPoint);
        sample->SetPreroll(sent.bPreroll);
        sample->SetDiscontinuity(sent.bDiscontinuity);
        if (newType != nullptr) {
            CMediaType type(*newType);
            sample->SetMediaType(&type);
        }
        PlainSample plain(sample.Get());
        return transform->In().Receive(bPlain ? static_cast<IMediaSample*>(&plain) : sample.Get());
    }
    HRESULT Push() { return Push({{7, 8}, {}, {}}); }
    std::size_t Arrived() { return graph.Arrived().Arrivals().size(); }

    Com com;
    HRESULT hr = S_OK;
    ComPtr<ShiftingTransform> transform{new ShiftingTransform(nullptr, &hr)};
    DxHost::GraphDriver graph{transform.Get()};
    DxHost::SourcePlan plan;
    bool bPlain = false;  ///< samples come without IMediaSample2
};

/// An object that aggregates another.
struct Outer final : IUnknown {
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override {
        if (riid == IID_IUnknown) return GetInterface(this, ppv);
        return inner->QueryInterface(riid, ppv);
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++uCount; }
    STDMETHODIMP_(ULONG) Release() override { return --uCount; }
    ULONG uCount = 1;
    ComPtr<IUnknown> inner;
};

}  // namespace

CFactoryTemplate g_Templates[] = {
    {L"Vesca test transform", &kShiftingTransformId, &ShiftingTransform::Create, nullptr, &kSetup}};
int g_cTemplates = 1;

TEST_CASE("CTransformFilter: a sample keeps its times and flags, and the next one inherits none of them") {
    Rig rig;
    CHECK(rig.ConnectOut() != S_OK);
    rig.Connect();
    CHECK(rig.graph.Arrived().Buffers().cBuffers == 1);
    CHECK(rig.graph.Arrived().Buffers().cbBuffer >= 64);
    CHECK(rig.transform->In().ReceiveCanBlock() == S_OK);
    const DxHost::Arrival full{{1, 2, 3, 255}, {{10'000, 20'000}}, {{441, 442}}, true, true, true};
    const DxHost::Arrival bare{{7, 8}, {}, {}};
    for (int nRun = 1; nRun <= 2; ++nRun) {
        CAPTURE(nRun);
        rig.bPlain = nRun == 2;
        rig.graph.Arrived().Clear();
        CHECK(rig.Push(full) == VFW_E_NOT_COMMITTED);
        rig.graph.Pause();
        CHECK(rig.transform->In().NewSegment(0, 10, 0.5 * nRun) == S_OK);
        CHECK(rig.transform->In().CurrentRate() == 0.5 * nRun);
        for (const auto* sent : {&full, &bare}) {
            CHECK(rig.Push(*sent) == S_OK);
            const auto arrival = rig.graph.Arrived().Arrivals().back();
            auto bytes = sent->bytes;
            for (auto& uByte : bytes)
                ++uByte;
            CHECK(arrival.bytes == bytes);
            CHECK(arrival.time == sent->time);
            CHECK(arrival.mediaTime == sent->mediaTime);
            CHECK(arrival.bSyncPoint == sent->bSyncPoint);
            CHECK(arrival.bPreroll == sent->bPreroll);
            CHECK(arrival.bDiscontinuity == sent->bDiscontinuity);
        }
        CHECK(rig.transform->In().EndOfStream() == S_OK);
        CHECK(rig.graph.Arrived().EndsOfStream() == 1);

        // A dropped sample is no failure, and the one behind it is discontinuous.
        for (const auto& [result, expected] :
             {std::pair{S_FALSE, S_OK}, {VFW_E_SAMPLE_REJECTED, VFW_E_SAMPLE_REJECTED}, {S_OK, S_OK}}) {
            rig.transform->m_transformResult = result;
            CHECK(rig.Push(bare) == expected);
        }
        CHECK(rig.Arrived() == 3);
        CHECK(rig.graph.Arrived().Arrivals().back().bDiscontinuity);

        rig.graph.Run();
        rig.graph.Stop();
        CHECK(rig.State() == State_Stopped);
        CHECK(rig.transform->m_nStarts == nRun);
        CHECK(rig.transform->m_nStops == nRun);
        CHECK(rig.transform->In().Receive(nullptr) == E_POINTER);
        CHECK(rig.transform->In().CheckStreaming() == VFW_E_WRONG_STATE);
        CHECK(rig.transform->In().EndOfStream() == VFW_E_WRONG_STATE);
    }
}

TEST_CASE("CTransformFilter: neither a flush nor a stop waits for a sample that waits for a buffer") {
    Rig rig;
    rig.Connect();
    rig.graph.Arrived().Withhold(1);
    rig.graph.Pause();
    // The sink keeps the only buffer, so that the second sample waits for it under the receive lock.
    CHECK(rig.Push() == S_OK);
    const int nWaits = rig.transform->BufferWaits();
    HRESULT blocked = S_OK;
    std::thread thread([&] { blocked = rig.Push(); });
    rig.transform->AwaitBufferWait(nWaits);
    CBaseInputPin& in = rig.transform->In();
    SUBCASE("flush") {
        CHECK(in.BeginFlush() == S_OK);
        thread.join();
        CHECK(blocked == S_FALSE);
        CHECK(in.CheckStreaming() == S_FALSE);
        CHECK(rig.Push() == S_FALSE);
        CHECK(in.EndOfStream() == S_FALSE);
        CHECK(rig.graph.Arrived().EndsOfStream() == 0);
        CHECK(in.EndFlush() == S_OK);
        CHECK(rig.graph.Arrived().Flushes() == 1);
        CHECK(rig.Push() == S_OK);
        CHECK(rig.Arrived() == 2);
    }
    SUBCASE("stop of the transform alone, with the sink still holding on") {
        CHECK(rig.transform->Stop() == S_OK);
        thread.join();
        CHECK(FAILED(blocked));
        CHECK(rig.transform->m_nStops == 1);
        CHECK(rig.Arrived() == 1);
    }
}

TEST_CASE("CTransformFilter: a type change that is refused ends the stream once, until the next start") {
    Rig rig;
    rig.Connect();
    SUBCASE("new samples") {}
    SUBCASE("old samples") {
        rig.bPlain = true;
    }
    rig.graph.Pause();
    const CMediaType same = PcmType(), mono = PcmType(1);
    const DxHost::Arrival sent{{7, 8}, {}, {}};
    CHECK(rig.Push(sent, &same) == S_OK);
    CHECK(rig.Push(sent, &mono) == VFW_E_INVALIDMEDIATYPE);
    CHECK(rig.Push() == VFW_E_RUNTIME_ERROR);
    CHECK(rig.graph.Arrived().EndsOfStream() == 1);
    CHECK(rig.Arrived() == 1);
    try {
        rig.graph.WaitForComplete(1000);
        FAIL("the graph has not heard of it");
    } catch (const DxHost::Failure& failure) {
        CHECK(failure.Result() == VFW_E_TYPE_NOT_ACCEPTED);
    }
    rig.graph.Stop();
    rig.graph.Pause();
    CHECK(rig.Push() == S_OK);
}

TEST_CASE("CTransformFilter: a connection or a start that fails leaves nothing behind") {
    Rig rig;
    REQUIRE(rig.ConnectIn() == S_OK);
    CBaseInputPin& in = rig.transform->In();
    CBaseOutputPin& out = rig.transform->Out();
    SUBCASE("an allocator without a size") {
        rig.transform->m_nBufferBytes = 0;
        CHECK(FAILED(rig.ConnectOut()));
        CHECK(!out.IsConnected());
        CHECK(rig.graph.Arrived().Peer() == nullptr);
        rig.transform->m_nBufferBytes = 64;
        CHECK(rig.ConnectOut() == S_OK);
    }
    SUBCASE("no common type") {
        CMediaType video(&MEDIATYPE_Video);
        video.SetFormatType(&FORMAT_VideoInfo);
        CHECK(out.Connect(&rig.Sink(), &video) == VFW_E_TYPE_NOT_ACCEPTED);
        video.SetFormatType(&GUID_NULL);
        CHECK(out.Connect(&rig.Sink(), &video) == VFW_E_NO_ACCEPTABLE_TYPES);
        CMediaType audio(&MEDIATYPE_Audio);
        CHECK(out.Connect(&rig.Source(), &audio) == VFW_E_INVALID_DIRECTION);
        CHECK(out.Connect(&rig.Sink(), &audio) == S_OK);
        CHECK(out.Connect(&rig.Sink(), &audio) == VFW_E_ALREADY_CONNECTED);
        CHECK(in.QueryAccept(&audio) == S_FALSE);
        const CMediaType mono = PcmType(1), stereo = PcmType(2);
        CHECK(in.QueryAccept(&mono) == S_FALSE);
        CHECK(in.QueryAccept(&stereo) == S_OK);
    }
    SUBCASE("reconnection") {
        REQUIRE(rig.ConnectOut() == S_OK);
        const CMediaType stereo = PcmType();
        CHECK(rig.transform->ReconnectPin(&out, &stereo) == S_OK);
        CHECK(out.GetConnected() == &rig.Sink());
        CHECK(out.CurrentStopTime() == MAXLONGLONG);
        FILTER_INFO info = {};
        CHECK(rig.transform->QueryFilterInfo(&info) == S_OK);
        CHECK(std::wstring(info.achName) == L"Transform");
        info.pGraph->RemoveFilter(rig.transform.Get());
        info.pGraph->Release();
        CHECK(rig.graph.Arrived().Peer() == nullptr);
        CHECK(rig.transform->ReconnectPin(&out, nullptr) == VFW_E_NOT_IN_GRAPH);
        CHECK(rig.transform->NotifyEvent(EC_USER, 0, 0) == E_NOTIMPL);
        CRefTime time;
        CHECK(rig.transform->StreamTime(time) == VFW_E_NO_CLOCK);
    }
    SUBCASE("streaming that cannot start") {
        REQUIRE(rig.ConnectOut() == S_OK);
        rig.transform->m_startResult = E_ABORT;
        CHECK(rig.transform->Pause() == E_ABORT);
        CHECK(rig.transform->Run(0) == E_ABORT);
        CHECK(rig.State() == State_Stopped);
        CHECK(rig.transform->m_nStops == 0);
        rig.transform->m_startResult = S_OK;
        rig.transform->m_activeResult = E_ABORT;
        CHECK(rig.transform->Pause() == E_ABORT);
        CHECK(rig.State() == State_Stopped);
        CHECK(rig.transform->m_nStops == 1);
        rig.transform->m_activeResult = S_OK;
        CHECK(rig.transform->Run(0) == S_OK);
        CHECK(rig.State() == State_Running);
        CHECK(out.Disconnect() == VFW_E_NOT_STOPPED);
        CHECK(rig.transform->Stop() == S_OK);
        CHECK(out.Disconnect() == S_OK);
        CHECK(out.Disconnect() == S_FALSE);
    }
    SUBCASE("an input without an output, and an output whose input has gone") {
        CHECK(rig.transform->Pause() == S_OK);
        CHECK(in.CheckStreaming() == VFW_E_NOT_CONNECTED);
        CHECK(in.BeginFlush() == VFW_E_NOT_CONNECTED);
        CHECK(rig.transform->Stop() == S_OK);
        CHECK(rig.ConnectOut() == S_OK);
        in.Disconnect();
        CHECK(rig.graph.Sink().Pause() == S_OK);
        CHECK(rig.transform->Pause() == S_OK);
        CHECK(rig.graph.Arrived().EndsOfStream() == 1);
        CHECK(rig.transform->m_nStarts == 0);
    }
}

TEST_CASE("CTransformOutputPin: it is one object with its seeking, and quality messages go upstream") {
    /// Keeps what it is told. Lives on the stack.
    struct Listener final : IQualityControl {
        STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
        STDMETHODIMP_(ULONG) AddRef() override { return 2; }
        STDMETHODIMP_(ULONG) Release() override { return 1; }
        STDMETHODIMP Notify(IBaseFilter*, Quality q) override {
            late.push_back(q.Late);
            return S_OK;
        }
        STDMETHODIMP SetSink(IQualityControl*) override { return E_NOTIMPL; }
        std::vector<REFERENCE_TIME> late;
    };
    Rig rig;
    rig.Connect();
    ComPtr<IPin> pin(&rig.transform->Out()), same;
    for (const IID& iid : {IID_IMediaSeeking, IID_IMediaPosition, IID_IQualityControl}) {
        ComPtr<IUnknown> face;
        REQUIRE(pin.CopyTo(iid, reinterpret_cast<void**>(face.GetAddressOf())) == S_OK);
        REQUIRE(face.CopyTo(IID_IPin, reinterpret_cast<void**>(same.ReleaseAndGetAddressOf())) == S_OK);
        CHECK(same == pin);
    }
    const Quality late = {Flood, 500, 1'000, 2'000};
    Listener listener;
    const auto notify = [&] { return rig.transform->Out().Notify(rig.transform.Get(), late); };
    // The source does not listen; a sink set on the transform's input replaces it.
    CHECK(notify() == VFW_E_NOT_FOUND);
    rig.transform->In().SetSink(&listener);
    CHECK(notify() == S_OK);
    CHECK(listener.late == std::vector<REFERENCE_TIME>{1'000});
    rig.transform->m_qualityResult = S_OK;
    CHECK(notify() == S_OK);
    CHECK(listener.late.size() == 1);
    rig.transform->In().SetSink(nullptr);
}

TEST_CASE("CUnknown: aggregated, every interface and every pin counts on the outer object") {
    const Com com;
    ComPtr<IClassFactory> factory;
    const auto getClass = [](const CLSID& id, const IID& iid, auto& object) {
        return DllGetClassObject(id, iid, reinterpret_cast<void**>(object.ReleaseAndGetAddressOf()));
    };
    REQUIRE(getClass(kShiftingTransformId, IID_IClassFactory, factory) == S_OK);
    const auto create = [&](IUnknown* outer, const IID& iid, auto& object) {
        return factory->CreateInstance(outer, iid, reinterpret_cast<void**>(object.ReleaseAndGetAddressOf()));
    };
    CHECK(DllCanUnloadNow() == S_FALSE);
    {
        Outer outer;
        ComPtr<IBaseFilter> filter;
        CHECK(create(&outer, IID_IBaseFilter, filter) == E_NOINTERFACE);
        REQUIRE(create(&outer, IID_IUnknown, outer.inner) == S_OK);
        CHECK(outer.uCount == 1);
        REQUIRE(outer.inner.As(&filter) == S_OK);
        CHECK(outer.uCount == 2);
        CHECK(DxHost::Query<IUnknown>(filter.Get(), "IUnknown").Get() == &outer);
        ComPtr<IPin> pin;
        REQUIRE(filter->FindPin(L"In", pin.GetAddressOf()) == S_OK);
        CHECK(outer.uCount == 3);
        CHECK(DxHost::Query<IUnknown>(pin.Get(), "IUnknown").Get() != &outer);
        pin.Reset();
        filter.Reset();
        CHECK(outer.uCount == 1);
    }
    ComPtr<IUnknown> object;
    for (const auto& [what, expected] : {std::pair{ShiftingTransform::Throw::Memory, E_OUTOFMEMORY},
                                         {ShiftingTransform::Throw::Other, E_FAIL},
                                         {ShiftingTransform::Throw::Nothing, E_NOINTERFACE}}) {
        ShiftingTransform::s_throw = what;
        CHECK(create(nullptr, IID_IMediaSample, object) == expected);
        CHECK(CBaseObject::ObjectsActive() == 1);
    }
    factory->LockServer(TRUE);
    factory.Reset();
    CHECK(DllCanUnloadNow() == S_FALSE);
    REQUIRE(getClass(kShiftingTransformId, IID_IClassFactory, factory) == S_OK);
    factory->LockServer(FALSE);
    CHECK(getClass(IID_IPin, IID_IClassFactory, object) == CLASS_E_CLASSNOTAVAILABLE);
    CHECK(getClass(kShiftingTransformId, IID_IPin, object) == E_NOINTERFACE);
    CHECK(DllGetClassObject(kShiftingTransformId, IID_IUnknown, nullptr) == E_POINTER);
}

TEST_CASE("CEnumPins and CEnumMediaTypes: each item once, and out of sync until reset") {
    Rig rig;
    ComPtr<IEnumPins> pins;
    REQUIRE(rig.transform->EnumPins(pins.GetAddressOf()) == S_OK);
    IPin* found[3] = {};
    ULONG uFetched = 0;
    CHECK(pins->Next(3, found, nullptr) == E_INVALIDARG);
    CHECK(pins->Next(1, nullptr, &uFetched) == E_POINTER);
    CHECK(pins->Skip(1) == S_OK);
    ComPtr<IEnumPins> copy;
    REQUIRE(pins->Clone(copy.ReleaseAndGetAddressOf()) == S_OK);
    CHECK(pins->Skip(2) == S_FALSE);
    for (IEnumPins* const each : {pins.Get(), copy.Get()}) {
        CHECK(each->Next(3, found, &uFetched) == S_FALSE);
        REQUIRE(uFetched == 1);
        CHECK(found[0] == &rig.transform->Out());
        found[0]->Release();
    }
    rig.transform->IncrementPinVersion();
    CHECK(pins->Next(1, found, nullptr) == VFW_E_ENUM_OUT_OF_SYNC);
    CHECK(pins->Skip(1) == VFW_E_ENUM_OUT_OF_SYNC);
    CHECK(pins->Clone(copy.ReleaseAndGetAddressOf()) == VFW_E_ENUM_OUT_OF_SYNC);
    CHECK(pins->Reset() == S_OK);
    CHECK(pins->Next(2, found, &uFetched) == S_OK);
    found[0]->Release();
    found[1]->Release();

    ComPtr<IEnumMediaTypes> types;
    REQUIRE(rig.transform->Out().EnumMediaTypes(types.GetAddressOf()) == S_OK);
    AM_MEDIA_TYPE* type = nullptr;
    CHECK(types->Next(1, &type, nullptr) == S_FALSE);
    REQUIRE(rig.ConnectIn() == S_OK);
    CHECK(types->Next(1, &type, &uFetched) == S_OK);
    CHECK(CMediaType(*type) == PcmType());
    DeleteMediaType(type);
    CHECK(types->Next(1, &type, &uFetched) == S_FALSE);
    CHECK(types->Skip(1) == S_FALSE);
    rig.transform->Out().IncrementTypeVersion();
    CHECK(types->Next(1, &type, nullptr) == VFW_E_ENUM_OUT_OF_SYNC);
    CHECK(types->Reset() == S_OK);
    CHECK(types->Skip(1) == S_OK);
}

TEST_CASE("Every question with nowhere to answer is refused with E_POINTER") {
    Rig rig;
    IBaseFilter* filter = rig.transform.Get();
    CBaseInputPin& in = rig.transform->In();
    ComPtr<IPin> pin;
    AM_MEDIA_TYPE type = {};
    long nDone = 0;
    for (const HRESULT hr : {filter->QueryInterface(IID_IUnknown, nullptr),
                             filter->QueryInterface(IID_IPin, nullptr),
                             filter->GetClassID(nullptr),
                             filter->GetState(0, nullptr),
                             filter->GetSyncSource(nullptr),
                             filter->EnumPins(nullptr),
                             filter->FindPin(L"In", nullptr),
                             filter->FindPin(nullptr, pin.ReleaseAndGetAddressOf()),
                             filter->QueryFilterInfo(nullptr),
                             in.QueryInterface(IID_IMediaSeeking, nullptr),
                             rig.transform->Out().QueryInterface(IID_IMediaSeeking, nullptr),
                             in.Connect(nullptr, nullptr),
                             in.ReceiveConnection(nullptr, &type),
                             in.ReceiveConnection(&rig.Source(), nullptr),
                             in.ConnectedTo(nullptr),
                             in.ConnectionMediaType(nullptr),
                             in.QueryPinInfo(nullptr),
                             in.QueryDirection(nullptr),
                             in.QueryId(nullptr),
                             in.QueryAccept(nullptr),
                             in.EnumMediaTypes(nullptr),
                             in.GetAllocator(nullptr),
                             in.NotifyAllocator(nullptr, FALSE),
                             in.ReceiveMultiple(nullptr, 1, &nDone)})
        CHECK(hr == E_POINTER);
    CHECK(filter->FindPin(L"Elsewhere", pin.ReleaseAndGetAddressOf()) == VFW_E_NOT_FOUND);
    CHECK(in.ConnectedTo(pin.ReleaseAndGetAddressOf()) == VFW_E_NOT_CONNECTED);
    CHECK(in.ConnectionMediaType(&type) == VFW_E_NOT_CONNECTED);
    CHECK(rig.transform->Out().EndOfStream() == E_UNEXPECTED);
    CHECK(rig.transform->Out().DeliverEndOfStream() == VFW_E_NOT_CONNECTED);
}

TEST_CASE("CMediaType: copies are deep and partial types match what they leave open") {
    CMediaType stereo = PcmType();
    CMediaType other(stereo);
    CHECK(other == stereo);
    CHECK(other.Format() != stereo.Format());
    other.Format()[2] = 1;
    CHECK(other != stereo);
    CHECK(!stereo.MatchesPartial(&other));
    CMediaType partial(&MEDIATYPE_Audio);
    CHECK(partial.IsPartiallySpecified());
    CHECK(stereo.MatchesPartial(&partial));
    partial.SetSubtype(&MEDIASUBTYPE_IEEE_FLOAT);
    CHECK(!stereo.MatchesPartial(&partial));
    other = stereo;
    CHECK(stereo.MatchesPartial(&other));
    REQUIRE(other.ReallocFormatBuffer(100) != nullptr);
    CHECK(std::equal(stereo.Format(), stereo.Format() + stereo.FormatLength(), other.Format()));
    other.ResetFormatBuffer();
    CHECK(other != stereo);
    AM_MEDIA_TYPE careless = {};
    careless.cbFormat = 18;
    CHECK(CMediaType(careless).FormatLength() == 0);
    CHECK(*stereo.Subtype() == MEDIASUBTYPE_PCM);
    CHECK(stereo.GetSampleSize() == 4);
}
