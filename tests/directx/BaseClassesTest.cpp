#include <doctest/doctest.h>

#include <thread>

#include "tests/directx/support/GraphFilters.h"
#include "tests/directx/support/ShiftingTransform.h"

namespace {

const AMOVIESETUP_FILTER kSetup = {&kShiftingTransformId, L"Vesca test transform", MERIT_DO_NOT_USE, 0,
                                   nullptr};

std::vector<BOOL> g_initialised;

void CALLBACK OnModule(BOOL bLoading, const CLSID*) {
    g_initialised.push_back(bLoading);
}

/// COM on this thread; when it ends, every object of these classes must have gone.
struct Com {
    Com() { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
    ~Com() {
        CHECK(CBaseObject::ObjectsActive() == 0);
        CHECK(DllCanUnloadNow() == S_OK);
        CoUninitialize();
    }
};

/// Source, transform and sink in the platform's filter graph.
struct Rig {
    Rig() {
        REQUIRE(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterGraph2,
                                 graph.OutVoid()) == S_OK);
        control = graph.As<IMediaControl>(IID_IMediaControl);
        // Without a clock the graph runs at once.
        graph.As<IMediaFilter>(IID_IMediaFilter)->SetSyncSource(nullptr);
        REQUIRE(graph->AddFilter(source.Get(), L"Source") == S_OK);
        REQUIRE(graph->AddFilter(transform.Get(), L"Transform") == S_OK);
        REQUIRE(graph->AddFilter(sink.Get(), L"Sink") == S_OK);
    }
    ~Rig() {
        control->Stop();
        // The graph does not know what a test has started itself, and would wait for it.
        for (IBaseFilter* filter :
             {static_cast<IBaseFilter*>(sink.Get()), static_cast<IBaseFilter*>(transform.Get())})
            filter->Stop();
    }
    HRESULT ConnectIn() { return graph->ConnectDirect(&source->Pin(), &transform->In(), nullptr); }
    HRESULT ConnectOut() { return graph->ConnectDirect(&transform->Out(), &sink->Pin(), nullptr); }
    void Connect() {
        REQUIRE(ConnectIn() == S_OK);
        REQUIRE(ConnectOut() == S_OK);
    }
    void Pause() {
        control->Pause();
        OAFilterState state = State_Stopped;
        REQUIRE(control->GetState(INFINITE, &state) == S_OK);
        REQUIRE(state == State_Paused);
    }
    FILTER_STATE State() {
        FILTER_STATE state = State_Running;
        transform->GetState(0, &state);
        return state;
    }

    Com com;
    HRESULT hr = S_OK;
    ComRef<PushSource> source{new PushSource(PcmType())};
    ComRef<ShiftingTransform> transform{new ShiftingTransform(nullptr, &hr)};
    ComRef<KeepingSink> sink{new KeepingSink};
    ComRef<IFilterGraph2> graph;
    ComRef<IMediaControl> control;
};

Parcel Full() {
    Parcel parcel{{1, 2, 3, 255}, 10'000, 20'000, 441, 442};
    parcel.bSyncPoint = parcel.bPreroll = parcel.bDiscontinuity = true;
    return parcel;
}

Parcel Shifted(Parcel parcel) {
    for (BYTE& byte : parcel.bytes)
        ++byte;
    return parcel;
}

/// An object that aggregates another.
struct Outer final : IUnknown {
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override {
        if (riid == IID_IUnknown) return GetInterface(this, ppv);
        return inner->QueryInterface(riid, ppv);
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++uCount; }
    STDMETHODIMP_(ULONG) Release() override { return --uCount; }
    ULONG uCount = 1;
    ComRef<IUnknown> inner;
};

}  // namespace

CFactoryTemplate g_Templates[] = {
    {L"Vesca test transform", &kShiftingTransformId, &ShiftingTransform::Create, &OnModule, &kSetup}};
int g_cTemplates = 1;

TEST_CASE("CTransformFilter: a sample keeps its times and flags, and the next one inherits none of them") {
    Rig rig;
    CHECK(rig.ConnectOut() != S_OK);
    rig.Connect();
    ALLOCATOR_PROPERTIES actual = {};
    rig.sink->Pin().Allocator()->GetProperties(&actual);
    CHECK(actual.cBuffers == 1);
    CHECK(actual.cbBuffer >= 64);
    CHECK(actual.cbAlign >= 1);
    CHECK(rig.transform->In().ReceiveCanBlock() == S_OK);
    for (int nRun = 1; nRun <= 2; ++nRun) {
        // Old hosts' samples in the second run.
        if (nRun == 2) rig.source->PushPlain();
        CAPTURE(nRun);
        rig.sink->m_parcels.clear();
        CHECK(rig.source->Push(Full()) == VFW_E_NOT_COMMITTED);
        rig.Pause();
        const Parcel bare{{7, 8}};
        Parcel startOnly{{9}, 30'000};
        CHECK(rig.source->Pin().DeliverNewSegment(0, 10, 0.5 * nRun) == S_OK);
        for (const Parcel& parcel : {Full(), bare, startOnly})
            CHECK(rig.source->Push(parcel) == S_OK);
        CHECK(rig.source->Pin().DeliverEndOfStream() == S_OK);
        CHECK(rig.sink->m_parcels == std::vector{Shifted(Full()), Shifted(bare), Shifted(startOnly)});
        CHECK(rig.sink->m_segmentRates.back() == 0.5 * nRun);
        CHECK(rig.transform->In().CurrentRate() == 0.5 * nRun);
        CHECK(rig.sink->m_nEnds == nRun);

        // A dropped sample is no failure, and the one behind it is discontinuous.
        rig.transform->m_transformResult = S_FALSE;
        CHECK(rig.source->Push(bare) == S_OK);
        rig.transform->m_transformResult = VFW_E_SAMPLE_REJECTED;
        CHECK(rig.source->Push(bare) == VFW_E_SAMPLE_REJECTED);
        rig.transform->m_transformResult = S_OK;
        CHECK(rig.source->Push(bare) == S_OK);
        CHECK(rig.sink->m_parcels.size() == 4);
        CHECK(rig.sink->m_parcels.back().bDiscontinuity);

        CHECK(rig.control->Run() >= 0);
        OAFilterState state = State_Stopped;
        CHECK(rig.control->GetState(INFINITE, &state) == S_OK);
        CHECK(rig.control->Stop() == S_OK);
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
    rig.Pause();
    HRESULT blocked = S_OK;
    // The sink keeps the only buffer, so that the second sample waits for it under the receive lock.
    const auto Block = [&] {
        rig.sink->Hold(true);
        CHECK(rig.source->Push(Full()) == S_OK);
        const int nWaits = rig.transform->BufferWaits();
        std::thread thread([&] { blocked = rig.source->Push(Full()); });
        rig.transform->AwaitBufferWait(nWaits);
        return thread;
    };
    SUBCASE("flush") {
        std::thread thread = Block();
        CHECK(rig.source->Pin().DeliverBeginFlush() == S_OK);
        thread.join();
        CHECK(blocked == S_FALSE);
        CHECK(rig.transform->In().CheckStreaming() == S_FALSE);
        CHECK(rig.source->Push(Full()) == S_FALSE);
        CHECK(rig.source->Pin().DeliverEndOfStream() == S_FALSE);
        CHECK(rig.sink->m_nEnds == 0);
        CHECK(rig.source->Pin().DeliverEndFlush() == S_OK);
        rig.sink->Hold(false);
        CHECK(rig.source->Push(Full()) == S_OK);
        CHECK(rig.sink->m_parcels.size() == 2);
        CHECK(rig.sink->m_nFlushes == 1);
    }
    SUBCASE("stop of the transform alone, with the sink still holding on") {
        std::thread thread = Block();
        CHECK(rig.transform->Stop() == S_OK);
        thread.join();
        CHECK(FAILED(blocked));
        CHECK(rig.transform->m_nStops == 1);
        CHECK(rig.sink->m_parcels.size() == 1);
    }
}

TEST_CASE("CTransformFilter: a type change that is refused ends the stream once, until the next start") {
    Rig rig;
    rig.Connect();
    SUBCASE("new samples") {}
    SUBCASE("old samples") {
        rig.source->PushPlain();
    }
    rig.Pause();
    const CMediaType same = PcmType();
    CHECK(rig.source->Push(Full(), &same) == S_OK);
    const CMediaType mono = PcmType(1);
    CHECK(rig.source->Push(Full(), &mono) == VFW_E_INVALIDMEDIATYPE);
    CHECK(rig.source->Push(Full()) == VFW_E_RUNTIME_ERROR);
    CHECK(rig.sink->m_nEnds == 1);
    CHECK(rig.sink->m_parcels.size() == 1);
    long nCode = 0;
    LONG_PTR nFirst = 0;
    LONG_PTR nSecond = 0;
    const auto events = rig.graph.As<IMediaEvent>(IID_IMediaEvent);
    while (nCode != EC_ERRORABORT && events->GetEvent(&nCode, &nFirst, &nSecond, 0) == S_OK)
        events->FreeEventParams(nCode, nFirst, nSecond);
    CHECK(nCode == EC_ERRORABORT);
    CHECK(static_cast<HRESULT>(nFirst) == VFW_E_TYPE_NOT_ACCEPTED);
    rig.control->Stop();
    rig.Pause();
    CHECK(rig.source->Push(Full()) == S_OK);
}

TEST_CASE("CTransformFilter: a connection or a start that fails leaves nothing behind") {
    Rig rig;
    SUBCASE("an allocator without a size") {
        rig.transform->m_nBufferBytes = 0;
        REQUIRE(rig.ConnectIn() == S_OK);
        CHECK(FAILED(rig.ConnectOut()));
        CHECK(!rig.transform->Out().IsConnected());
        CHECK(!rig.sink->Pin().IsConnected());
        rig.transform->m_nBufferBytes = 64;
        CHECK(rig.ConnectOut() == S_OK);
    }
    SUBCASE("no common type") {
        CMediaType video(&MEDIATYPE_Video);
        video.SetFormatType(&FORMAT_VideoInfo);
        CHECK(rig.source->Pin().Connect(&rig.transform->In(), &video) == VFW_E_TYPE_NOT_ACCEPTED);
        video.SetFormatType(&GUID_NULL);
        CHECK(rig.source->Pin().Connect(&rig.transform->In(), &video) == VFW_E_NO_ACCEPTABLE_TYPES);
        CMediaType audio(&MEDIATYPE_Audio);
        CHECK(rig.source->Pin().Connect(&rig.source->Pin(), &audio) == VFW_E_INVALID_DIRECTION);
        CHECK(rig.source->Pin().Connect(&rig.transform->In(), &audio) == S_OK);
        CHECK(rig.source->Pin().Connect(&rig.transform->In(), &audio) == VFW_E_ALREADY_CONNECTED);
        CHECK(rig.ConnectOut() == S_OK);
        CHECK(rig.transform->In().QueryAccept(&audio) == S_FALSE);
        const CMediaType mono = PcmType(1);
        const CMediaType stereo = PcmType(2);
        CHECK(rig.transform->In().QueryAccept(&mono) == S_FALSE);
        CHECK(rig.transform->In().QueryAccept(&stereo) == S_OK);
    }
    SUBCASE("reconnection") {
        REQUIRE(rig.ConnectIn() == S_OK);
        REQUIRE(rig.ConnectOut() == S_OK);
        const CMediaType stereo = PcmType();
        CHECK(rig.transform->ReconnectPin(&rig.transform->Out(), &stereo) == S_OK);
        CHECK(rig.transform->Out().GetConnected() == &rig.sink->Pin());
        CHECK(rig.transform->Out().CurrentStopTime() == MAXLONGLONG);
        rig.graph->RemoveFilter(rig.transform.Get());
        CHECK(!rig.sink->Pin().IsConnected());
        CHECK(rig.transform->ReconnectPin(&rig.transform->Out(), nullptr) == VFW_E_NOT_IN_GRAPH);
        CHECK(rig.transform->NotifyEvent(EC_USER, 0, 0) == E_NOTIMPL);
        CRefTime time;
        CHECK(rig.transform->StreamTime(time) == VFW_E_NO_CLOCK);
    }
    SUBCASE("streaming that cannot start") {
        rig.Connect();
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
        CHECK(rig.transform->Out().Disconnect() == VFW_E_NOT_STOPPED);
        CHECK(rig.transform->Stop() == S_OK);
        CHECK(rig.transform->Out().Disconnect() == S_OK);
        CHECK(rig.transform->Out().Disconnect() == S_FALSE);
    }
    SUBCASE("an input without an output, and an output whose input has gone") {
        REQUIRE(rig.ConnectIn() == S_OK);
        CHECK(rig.transform->Pause() == S_OK);
        CHECK(rig.transform->In().CheckStreaming() == VFW_E_NOT_CONNECTED);
        CHECK(rig.transform->In().BeginFlush() == VFW_E_NOT_CONNECTED);
        CHECK(rig.transform->Stop() == S_OK);
        CHECK(rig.ConnectOut() == S_OK);
        rig.transform->In().Disconnect();
        CHECK(rig.sink->Pause() == S_OK);
        CHECK(rig.transform->Pause() == S_OK);
        CHECK(rig.sink->m_nEnds == 1);
        CHECK(rig.transform->m_nStarts == 0);
    }
}

TEST_CASE("CTransformOutputPin: seeking and quality messages reach the source") {
    Rig rig;
    rig.Connect();
    ComRef<IPin> pin(&rig.transform->Out());
    const auto seeking = pin.As<IMediaSeeking>(IID_IMediaSeeking);
    REQUIRE(seeking);
    CHECK(pin.As<IMediaPosition>(IID_IMediaPosition));
    CHECK(seeking.As<IPin>(IID_IPin).Get() == pin.Get());
    CHECK(seeking.As<IUnknown>(IID_IUnknown).Get() == pin.As<IUnknown>(IID_IUnknown).Get());
    LONGLONG nPosition = 123'456;
    CHECK(SUCCEEDED(seeking->SetPositions(&nPosition, AM_SEEKING_AbsolutePositioning, nullptr, 0)));
    CHECK(rig.source->m_positions == std::vector<LONGLONG>{123'456});

    Quality late = {Flood, 500, 1'000, 2'000};
    CHECK(rig.sink->Pin().PassNotify(late) == S_OK);
    REQUIRE(rig.source->m_quality.size() == 1);
    CHECK(rig.source->m_quality[0].Late == 1'000);
    rig.transform->m_qualityResult = S_OK;
    CHECK(rig.sink->Pin().PassNotify(late) == S_OK);
    CHECK(rig.source->m_quality.size() == 1);
    rig.transform->m_qualityResult = S_FALSE;
    // A sink set on the transform's input replaces the way upstream.
    rig.transform->In().SetSink(&rig.transform->In());
    CHECK(rig.sink->Pin().PassNotify(late) == E_NOTIMPL);
    rig.transform->In().SetSink(nullptr);
    CHECK(rig.source->m_quality.size() == 1);
}

TEST_CASE("CUnknown: aggregated, every interface and every pin counts on the outer object") {
    const Com com;
    ComRef<IClassFactory> factory;
    REQUIRE(DllGetClassObject(kShiftingTransformId, IID_IClassFactory, factory.OutVoid()) == S_OK);
    CHECK(DllCanUnloadNow() == S_FALSE);
    {
        Outer outer;
        ComRef<IBaseFilter> filter;
        CHECK(factory->CreateInstance(&outer, IID_IBaseFilter, filter.OutVoid()) == E_NOINTERFACE);
        REQUIRE(factory->CreateInstance(&outer, IID_IUnknown, outer.inner.OutVoid()) == S_OK);
        CHECK(outer.uCount == 1);
        filter = outer.inner.As<IBaseFilter>(IID_IBaseFilter);
        CHECK(outer.uCount == 2);
        CHECK(filter.As<IUnknown>(IID_IUnknown).Get() == &outer);
        CHECK(filter.As<IPersist>(IID_IPersist));
        ComRef<IPin> pin;
        REQUIRE(filter->FindPin(L"In", pin.Out()) == S_OK);
        CHECK(outer.uCount == 3);
        CHECK(pin.As<IMemInputPin>(IID_IMemInputPin));
        CHECK(pin.As<IUnknown>(IID_IUnknown).Get() != &outer);
        pin.Reset();
        filter.Reset();
        CHECK(outer.uCount == 1);
    }
    ComRef<IUnknown> object;
    for (const auto& [what, expected] : {std::pair{ShiftingTransform::Throw::Memory, E_OUTOFMEMORY},
                                         {ShiftingTransform::Throw::Other, E_FAIL},
                                         {ShiftingTransform::Throw::Nothing, E_NOINTERFACE}}) {
        ShiftingTransform::s_throw = what;
        CHECK(factory->CreateInstance(nullptr, IID_IMediaSample, object.OutVoid()) == expected);
        CHECK(CBaseObject::ObjectsActive() == 1);
    }
    factory->LockServer(TRUE);
    factory.Reset();
    CHECK(DllCanUnloadNow() == S_FALSE);
    REQUIRE(DllGetClassObject(kShiftingTransformId, IID_IUnknown, object.OutVoid()) == S_OK);
    object.As<IClassFactory>(IID_IClassFactory)->LockServer(FALSE);
    CHECK(DllGetClassObject(IID_IPin, IID_IClassFactory, object.OutVoid()) == CLASS_E_CLASSNOTAVAILABLE);
    CHECK(DllGetClassObject(kShiftingTransformId, IID_IPin, object.OutVoid()) == E_NOINTERFACE);
    CHECK(DllGetClassObject(kShiftingTransformId, IID_IUnknown, nullptr) == E_POINTER);
}

TEST_CASE("CEnumPins and CEnumMediaTypes: each item once, and out of sync until reset") {
    Rig rig;
    ComRef<IEnumPins> pins;
    REQUIRE(rig.transform->EnumPins(pins.Out()) == S_OK);
    IPin* found[3] = {};
    ULONG uFetched = 0;
    CHECK(pins->Next(3, found, nullptr) == E_INVALIDARG);
    CHECK(pins->Next(1, nullptr, &uFetched) == E_POINTER);
    CHECK(pins->Skip(1) == S_OK);
    ComRef<IEnumPins> copy;
    REQUIRE(pins->Clone(copy.Out()) == S_OK);
    CHECK(pins->Skip(2) == S_FALSE);
    for (const auto* each : {&pins, &copy}) {
        CHECK((*each)->Next(3, found, &uFetched) == S_FALSE);
        REQUIRE(uFetched == 1);
        CHECK(found[0] == &rig.transform->Out());
        found[0]->Release();
    }
    rig.transform->IncrementPinVersion();
    CHECK(pins->Next(1, found, nullptr) == VFW_E_ENUM_OUT_OF_SYNC);
    CHECK(pins->Skip(1) == VFW_E_ENUM_OUT_OF_SYNC);
    CHECK(pins->Clone(copy.Out()) == VFW_E_ENUM_OUT_OF_SYNC);
    CHECK(pins->Reset() == S_OK);
    CHECK(pins->Next(2, found, &uFetched) == S_OK);
    found[0]->Release();
    found[1]->Release();

    ComRef<IEnumMediaTypes> types;
    REQUIRE(rig.transform->Out().EnumMediaTypes(types.Out()) == S_OK);
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
    ComRef<IPin> pin;
    AM_MEDIA_TYPE type = {};
    long nDone = 0;
    for (const HRESULT hr : {filter->QueryInterface(IID_IUnknown, nullptr),
                             filter->QueryInterface(IID_IPin, nullptr),
                             filter->GetClassID(nullptr),
                             filter->GetState(0, nullptr),
                             filter->GetSyncSource(nullptr),
                             filter->EnumPins(nullptr),
                             filter->FindPin(L"In", nullptr),
                             filter->FindPin(nullptr, pin.Out()),
                             filter->QueryFilterInfo(nullptr),
                             in.QueryInterface(IID_IMediaSeeking, nullptr),
                             rig.transform->Out().QueryInterface(IID_IMediaSeeking, nullptr),
                             in.Connect(nullptr, nullptr),
                             in.ReceiveConnection(nullptr, &type),
                             in.ReceiveConnection(&rig.source->Pin(), nullptr),
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
    CHECK(filter->FindPin(L"Elsewhere", pin.Out()) == VFW_E_NOT_FOUND);
    CHECK(in.ConnectedTo(pin.Out()) == VFW_E_NOT_CONNECTED);
    CHECK(in.ConnectionMediaType(&type) == VFW_E_NOT_CONNECTED);
    CHECK(rig.transform->Out().EndOfStream() == E_UNEXPECTED);
    CHECK(rig.transform->Out().DeliverEndOfStream() == VFW_E_NOT_CONNECTED);
    FILTER_INFO info = {};
    CHECK(filter->QueryFilterInfo(&info) == S_OK);
    CHECK(std::wstring(info.achName) == L"Transform");
    info.pGraph->Release();
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

TEST_CASE("Registration: the server and the filter are there afterwards, and gone again") {
    const Com com;
    CHECK(DllEntryPoint(GetModuleHandleW(nullptr), DLL_PROCESS_ATTACH, nullptr));
    CHECK(DllEntryPoint(GetModuleHandleW(nullptr), DLL_THREAD_ATTACH, nullptr));
    const wchar_t* kServer = L"CLSID\\{2B6F5A12-3C1D-4E57-9A61-1052D47E8301}\\InprocServer32";
    const auto Value = [&](const wchar_t* name) {
        wchar_t text[MAX_PATH] = {};
        DWORD uBytes = sizeof text;
        RegGetValueW(HKEY_CLASSES_ROOT, kServer, name, RRF_RT_REG_SZ, nullptr, text, &uBytes);
        return std::wstring(text);
    };
    const auto InCategory = [] {
        ComRef<ICreateDevEnum> devices;
        REQUIRE(CoCreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER, IID_ICreateDevEnum,
                                 devices.OutVoid()) == S_OK);
        ComRef<IEnumMoniker> monikers;
        devices->CreateClassEnumerator(CLSID_LegacyAmFilterCategory, monikers.Out(), 0);
        int nFound = 0;
        for (ComRef<IMoniker> moniker; monikers && monikers->Next(1, moniker.Out(), nullptr) == S_OK;) {
            LPOLESTR name = nullptr;
            if (FAILED(moniker->GetDisplayName(nullptr, nullptr, &name))) continue;
            nFound += std::wstring(name).find(L"2B6F5A12-3C1D-4E57") != std::wstring::npos;
            CoTaskMemFree(name);
        }
        return nFound;
    };
    for (int nRound = 0; nRound < 2; ++nRound) {
        CHECK(AMovieDllRegisterServer2(TRUE) == S_OK);
        CHECK(Value(nullptr).ends_with(L".exe"));
        CHECK(Value(L"ThreadingModel") == L"Both");
        CHECK(InCategory() == 1);
    }
    CHECK(AMovieDllUnregisterServer() == S_OK);
    CHECK(Value(nullptr).empty());
    CHECK(InCategory() == 0);
    CHECK(AMovieDllUnregisterServer() == S_OK);
    CHECK(DllEntryPoint(GetModuleHandleW(nullptr), DLL_PROCESS_DETACH, nullptr));
    CHECK(g_initialised == std::vector<BOOL>{TRUE, FALSE});
}
