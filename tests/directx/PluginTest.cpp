#include <doctest/doctest.h>

#include <cmath>
#include <cstring>
#include <cwchar>
#include <functional>
#include <string>
#include <vector>

#include "PluginBase/DirectX/DXPlugin.h"
#include "PluginBase/DirectX/HostPointer.h"
#include "PluginBase/StateBlock.h"
#include "hvBase/Util/Encoding.h"
#include "hvBase/Util/MemorySettingsStore.h"
#include "tests/directx/AudioType.h"

// The filter without a graph: its identity, its formats and the interfaces of the control thread.

namespace {

/// A filter with preferences of its own that die with it.
struct Filter {
    explicit Filter(ModuleFactory factory = &BuildModules) {
        HRESULT hr = S_OK;
        plugin = new DXPlugin(nullptr, &hr, std::make_unique<Util::MemorySettingsStore>(), factory);
        unknown = HostPointer<IUnknown>(plugin->GetOwner());
        REQUIRE(hr == S_OK);
    }

    template <class Interface>
    HostPointer<Interface> As(REFIID iid) const {
        HostPointer<Interface> result;
        REQUIRE(result.QueryFrom(unknown.Get(), iid) == S_OK);
        return result;
    }

    ParameterRef Parameter(std::string_view name) const {
        for (const ParameterRef& parameter : AllParameters(plugin->Components()))
            if (parameter.Name() == name) return parameter;
        throw std::out_of_range(std::string(name));
    }

    DXPlugin* plugin;
    HostPointer<IUnknown> unknown;
};

HostPointer<IStream> StreamOf(const std::vector<std::uint8_t>& bytes) {
    HostPointer<IStream> stream;
    REQUIRE(CreateStreamOnHGlobal(nullptr, TRUE, stream.Receive()) == S_OK);
    stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
    stream->Seek({}, STREAM_SEEK_SET, nullptr);
    return stream;
}

std::vector<std::uint8_t> BytesOf(IStream& stream) {
    ULARGE_INTEGER size{};
    stream.Seek({}, STREAM_SEEK_CUR, &size);
    std::vector<std::uint8_t> bytes(size.QuadPart);
    stream.Seek({}, STREAM_SEEK_SET, nullptr);
    stream.Read(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
    return bytes;
}

void PutWord(std::vector<std::uint8_t>& bytes, std::size_t uOffset, std::uint32_t uValue) {
    for (std::size_t i = 0; i < 4; ++i)
        bytes[uOffset + i] = static_cast<std::uint8_t>(uValue >> (8 * i));
}

/// An object of the host on the stack: counts its references and answers the interfaces it is given.
template <class Interface>
struct HostObject : Interface {
    explicit HostObject(std::vector<const IID*> iids) : answers(std::move(iids)) {}
    STDMETHODIMP QueryInterface(REFIID iid, void** ppObject) override {
        for (const IID* answer : answers) {
            if (*answer != iid) continue;
            *ppObject = static_cast<Interface*>(this);
            AddRef();
            return S_OK;
        }
        *ppObject = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++nReferences); }
    STDMETHODIMP_(ULONG) Release() override { return static_cast<ULONG>(--nReferences); }

    std::vector<const IID*> answers;
    int nReferences = 1;
};

/// 10 ms a tick.
struct TempoMap final : HostObject<IMfxTempoMap> {
    using HostObject::HostObject;
    LONG STDMETHODCALLTYPE TicksToMsecs(LONG nTicks) override { return nTicks * 10; }
    LONG STDMETHODCALLTYPE MsecsToTicks(LONG nMsecs) override { return nMsecs / 10; }
    int STDMETHODCALLTYPE GetTicksPerQuarterNote() override { return 50; }
    int STDMETHODCALLTYPE GetTempoIndexForTime(LONG) override { return 0; }
    int STDMETHODCALLTYPE GetTempoCount() override { return 0; }
    HRESULT STDMETHODCALLTYPE GetTempoAt(int, LONG*, int*) override { return E_FAIL; }
};

/// Writes down what it is told: "begin 3", "3 = 0.5", "end 3".
struct Callback final : HostObject<IMediaParamsUICallback> {
    Callback() : HostObject({}) {}
    HRESULT STDMETHODCALLTYPE ParamsBeginCapture(DWORD* pIndices, DWORD uCount) override {
        CHECK(uCount == 1);
        calls += "begin " + std::to_string(*pIndices) + "; ";
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE ParamsChanged(DWORD* pIndices, DWORD uCount, MP_DATA* pValues) override {
        CHECK(uCount == 1);
        calls += std::to_string(*pIndices) + " = " + std::to_string(*pValues) + "; ";
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE ParamsEndCapture(DWORD* pIndices, DWORD uCount) override {
        CHECK(uCount == 1);
        calls += "end " + std::to_string(*pIndices) + "; ";
        return S_OK;
    }
    std::string Take() { return std::exchange(calls, {}); }
    std::string calls;
};

}  // namespace

TEST_CASE("Every interface of the filter has one identity and one count, and the last release ends it") {
    const LONG nBefore = CBaseObject::ObjectsActive();
    {
        Filter filter;
        for (const IID& iid : {IID_IBaseFilter, IID_IMediaFilter, IID_IPersist, IID_IPersistStream,
                               IID_IDXPlugin, IID_IDXPluginPresets, IID_IMediaParams, IID_IMediaParamInfo,
                               IID_IMediaParamsSetUICallback, IID_IMfxSoftSynth}) {
            const auto face = filter.As<IUnknown>(iid);
            HostPointer<IUnknown> back;
            REQUIRE(back.QueryFrom(face.Get(), IID_IUnknown) == S_OK);
            CHECK(back.Get() == filter.unknown.Get());
            CHECK(face->AddRef() == 4);
            CHECK(face->Release() == 3);
        }
        HostPointer<IUnknown> none;
        CHECK(none.QueryFrom(filter.unknown.Get(), CLSID_DXPlugin) == E_NOINTERFACE);
        CHECK(&DXPlugin::FromInterface(*filter.As<IDXPlugin>(IID_IDXPlugin).Get()) == filter.plugin);
    }
    CHECK(CBaseObject::ObjectsActive() == nBefore);
}

TEST_CASE("The filter refuses foreign types, differing formats, and samples before it is connected") {
    Filter filter;
    DXPlugin& plugin = *filter.plugin;
    const CMediaType good = Test::AudioType(WAVE_FORMAT_PCM, 2, 44100, 24);
    CHECK(plugin.CheckInputType(&good) == S_OK);
    CHECK(plugin.CheckTransform(&good, &good) == S_OK);

    std::vector<CMediaType> bad(5, good);
    bad[0].SetType(&MEDIATYPE_Video);
    bad[1].SetTemporalCompression(TRUE);
    bad[2].SetFormatType(&FORMAT_VideoInfo);
    bad[3].ReallocFormatBuffer(15);
    bad[4].ResetFormatBuffer();
    for (const CMediaType& type : bad) {
        CHECK(plugin.CheckInputType(&type) == E_INVALIDARG);
        CHECK(plugin.CheckTransform(&good, &type) == E_INVALIDARG);
        CHECK(plugin.CheckTransform(&type, &good) == E_INVALIDARG);
    }
    for (const CMediaType& other :
         {Test::AudioType(WAVE_FORMAT_PCM, 1, 44100, 24), Test::AudioType(WAVE_FORMAT_PCM, 2, 48000, 24),
          Test::AudioType(WAVE_FORMAT_PCM, 2, 44100, 32), Test::AudioType(3, 2, 44100, 32)}) {
        CHECK(plugin.CheckInputType(&other) == S_OK);
        CHECK(plugin.CheckTransform(&good, &other) == E_INVALIDARG);
    }
    CHECK(plugin.SetMediaType(PINDIR_INPUT, &bad[3]) == E_FAIL);

    CMediaType type;
    CHECK(plugin.GetMediaType(-1, &type) == E_INVALIDARG);
    CHECK(plugin.GetMediaType(0, &type) == E_UNEXPECTED);
}

TEST_CASE("A state goes out and comes back byte for byte, and is dirty until it is saved as clean") {
    Filter filter;
    const auto persist = filter.As<IPersistStream>(IID_IPersistStream);
    CLSID id{};
    CHECK(persist->GetClassID(&id) == S_OK);
    CHECK(id == CLSID_DXPlugin);
    ULARGE_INTEGER size{};
    CHECK(persist->GetSizeMax(&size) == S_OK);

    const auto saved = [&](BOOL bClean) {
        const auto stream = StreamOf({});
        CHECK(persist->Save(stream.Get(), bClean) == S_OK);
        return BytesOf(*stream.Get());
    };
    const ParameterRef gain = filter.Parameter("Gain: Input Left");
    CHECK(persist->IsDirty() == S_OK);
    gain.Set(-3.5);
    const auto block = saved(FALSE);
    CHECK(persist->IsDirty() == S_OK);
    CHECK(saved(TRUE) == block);
    CHECK(persist->IsDirty() == S_FALSE);
    CHECK_FALSE(filter.plugin->Dirty());
    CHECK(block.size() == size.QuadPart);
    gain.Set(2);
    CHECK(persist->IsDirty() == S_OK);
    CHECK(persist->Load(StreamOf(block).Get()) == S_OK);
    CHECK(gain.Get() == -3.5);
    CHECK(persist->IsDirty() == S_FALSE);

    // A block of another form is refused and changes nothing.
    using Change = std::function<void(std::vector<std::uint8_t>&)>;
    const auto header = [](std::size_t uOffset, std::uint32_t uValue) -> Change {
        return [=](auto& bytes) { PutWord(bytes, uOffset, uValue); };
    };
    gain.Set(-5);
    const auto before = saved(FALSE);
    for (const Change& change :
         {header(0, StateBlock::kMagic + 1), header(4, 12), header(8, 785), header(8, 0xFFFFFFFF),
          Change([](auto& bytes) { bytes.pop_back(); }), Change([](auto& bytes) { bytes.resize(11); }),
          Change([](auto& bytes) { bytes.clear(); })}) {
        auto broken = block;
        change(broken);
        CHECK(persist->Load(StreamOf(broken).Get()) == E_FAIL);
        CHECK(saved(FALSE) == before);
    }
    CHECK(persist->Load(nullptr) == E_POINTER);
    CHECK(persist->Save(nullptr, TRUE) == E_POINTER);
    CHECK(persist->GetClassID(nullptr) == E_POINTER);
    CHECK(persist->GetSizeMax(nullptr) == E_POINTER);
}

TEST_CASE("The one preset is the state of a fresh filter, and its name is cut to the host's buffer") {
    Filter filter;
    const auto presets = filter.As<IDXPluginPresets>(IID_IDXPluginPresets);
    DWORD uCount = 0;
    CHECK(presets->GetPresetCount(&uCount) == S_OK);
    CHECK(uCount == 1);
    WCHAR name[9] = L"????????";
    CHECK(presets->GetPresetName(0, name, 9) == S_OK);
    CHECK(std::wstring(name) == L"Default");
    CHECK(presets->GetPresetName(0, name, 4) == S_OK);
    CHECK(std::wstring(name) == L"Def");
    CHECK(presets->GetPresetName(0, name, 1) == S_OK);
    CHECK(std::wstring(name).empty());
    CHECK(presets->GetPresetName(0, name, 0) == E_INVALIDARG);
    CHECK(presets->GetPresetName(1, name, 9) == E_INVALIDARG);
    CHECK(presets->GetPresetName(0, nullptr, 9) == E_POINTER);
    CHECK(presets->SelectPreset(1) == E_INVALIDARG);

    filter.Parameter("Gain: Input Left").Set(-3.5);
    CHECK(presets->SelectPreset(0) == S_OK);
    std::vector<std::uint8_t> present, defaults;
    filter.plugin->CaptureState(present);
    filter.plugin->CaptureDefaultState(defaults);
    CHECK(present == defaults);
}

TEST_CASE("The host is told of every automatable parameter as the tables have it") {
    Filter filter;
    const auto info = filter.As<IMediaParamInfo>(IID_IMediaParamInfo);
    DWORD uCount = 0;
    REQUIRE(info->GetParamCount(&uCount) == S_OK);
    DWORD uIndex = 0;
    for (const ParameterRef& parameter : AllParameters(filter.plugin->Components())) {
        if (!parameter.Info().bAutomatable) continue;
        CAPTURE(parameter.Name());
        MP_PARAMINFO record;
        std::memset(&record, 0xEE, sizeof record);
        REQUIRE(info->GetParamInfo(uIndex, &record) == S_OK);
        CHECK(record.mpType == (parameter.Group() == ParameterGroup::Float  ? MPT_FLOAT
                                : parameter.Group() == ParameterGroup::Bool ? MPT_BOOL
                                : parameter.EnumerationLabels().empty()     ? MPT_INT
                                                                            : MPT_ENUM));
        CHECK(record.mpdMinValue == static_cast<float>(parameter.Min()));
        CHECK(record.mpdMaxValue == static_cast<float>(parameter.Max()));
        CHECK(record.mpdNeutralValue == static_cast<float>(parameter.Default()));
        CHECK((record.mopCaps & MP_CURVE_JUMP) != 0);
        CHECK(Util::Utf8FromWide(record.szLabel) == parameter.Name().substr(0, 31));
        CHECK(Util::Utf8FromWide(record.szUnitText) == parameter.Info().strUnits.substr(0, 31));

        WCHAR* text = nullptr;
        REQUIRE(info->GetParamText(uIndex, &text) == S_OK);
        std::vector<std::string> texts;
        // The units may be empty, so that the end is known only from the number of labels.
        const WCHAR* rest = text;
        for (std::size_t i = 0; i < 2 + parameter.EnumerationLabels().size() + 1; ++i) {
            texts.push_back(Util::Utf8FromWide(rest));
            rest += std::wcslen(rest) + 1;
        }
        CoTaskMemFree(text);
        CHECK(texts[0] == parameter.Name());
        CHECK(texts[1] == parameter.Info().strUnits);
        for (std::size_t i = 0; i < parameter.EnumerationLabels().size(); ++i)
            CHECK(parameter.EnumerationLabels()[i].starts_with(texts[2 + i]));
        CHECK(texts.back().empty());
        ++uIndex;
    }
    CHECK(uIndex == uCount);

    MP_PARAMINFO record;
    WCHAR* text = nullptr;
    CHECK(info->GetParamInfo(uCount, &record) == E_INVALIDARG);
    CHECK(info->GetParamText(uCount, &text) == E_INVALIDARG);
    CHECK(info->GetParamText(DWORD_ALLPARAMS, &text) == E_INVALIDARG);
    CHECK(info->GetParamInfo(0, nullptr) == E_POINTER);
    CHECK(info->GetParamText(0, nullptr) == E_POINTER);
    CHECK(info->GetParamCount(nullptr) == E_POINTER);

    DWORD uFormats = 0;
    GUID format{};
    MP_TIMEDATA uTimeData = 0;
    CHECK(info->GetNumTimeFormats(&uFormats) == S_OK);
    CHECK(uFormats == 1);
    CHECK(info->GetSupportedTimeFormat(0, &format) == S_OK);
    CHECK(format == GUID_TIME_REFERENCE);
    CHECK(info->GetSupportedTimeFormat(1, &format) == E_INVALIDARG);
    CHECK(info->GetCurrentTimeFormat(&format, &uTimeData) == S_OK);
    CHECK(filter.As<IMediaParams>(IID_IMediaParams)->SetTimeFormat(GUID_NULL, 7) == S_OK);
}

TEST_CASE("The host sets, automates and flushes one parameter or all of them") {
    Filter filter;
    const auto params = filter.As<IMediaParams>(IID_IMediaParams);
    DWORD uCount = 0;
    filter.As<IMediaParamInfo>(IID_IMediaParamInfo)->GetParamCount(&uCount);
    float fValue = 0;
    CHECK(params->GetParam(1, nullptr) == E_POINTER);
    CHECK(params->GetParam(uCount, &fValue) == E_INVALIDARG);
    CHECK(params->SetParam(uCount, 0) == E_INVALIDARG);
    CHECK(params->SetParam(1, NAN) == E_INVALIDARG);

    filter.plugin->Dirty() = false;
    CHECK(params->SetParam(1, -3.25f) == S_OK);
    CHECK(params->GetParam(1, &fValue) == S_OK);
    CHECK(fValue == -3.25f);
    CHECK(filter.plugin->Dirty());

    const auto segments = [&](const ParameterRef& parameter) {
        return parameter.Owner().Envelopes().SegmentCount(parameter.Group(), parameter.Index());
    };
    const auto all = [&](std::size_t uSegments) {
        int nWrong = 0;
        for (const ParameterRef& parameter : AllParameters(filter.plugin->Components())) {
            if (parameter.Info().bAutomatable) nWrong += segments(parameter) != uSegments;
        }
        return nWrong == 0;
    };
    MP_ENVELOPE_SEGMENT curves[] = {{0, 100, 0, 1, MP_CURVE_JUMP, 0},
                                    {100, 200, 1, 0, MP_CURVE_LINEAR, 0},
                                    {200, 300, 0, 1, MP_CURVE_SQUARE, 0},
                                    {300, 400, 1, 0, MP_CURVE_INVSQUARE, 0}};
    CHECK(params->AddEnvelope(1, 0, nullptr) == S_OK);
    CHECK(params->AddEnvelope(1, 1, nullptr) == E_POINTER);
    CHECK(params->AddEnvelope(uCount, 1, curves) == E_INVALIDARG);
    CHECK(params->FlushEnvelope(uCount, 0, 1) == E_INVALIDARG);
    CHECK(all(0));
    CHECK(params->AddEnvelope(DWORD_ALLPARAMS, 4, curves) == S_OK);
    CHECK(all(4));
    CHECK(params->FlushEnvelope(DWORD_ALLPARAMS, 150, 250) == S_OK);
    CHECK(all(2));
    const ParameterRef gain = filter.Parameter("Gain: Input Left");
    CHECK(params->FlushEnvelope(1, 0, 1000) == S_OK);
    CHECK(segments(gain) == 0);
    CHECK(segments(filter.Parameter("Gain: Input Right")) == 2);

    // What arrived is what the engine evaluates: a square's half way is a quarter of its rise.
    MP_ENVELOPE_SEGMENT square{0, 20'000'000, 0, -8, MP_CURVE_SQUARE, 0};
    CHECK(params->AddEnvelope(1, 1, &square) == S_OK);
    float fHalfWay = 0;
    gain.Owner().Envelopes().EvaluateFloat(gain.Index(), {10000, 10'000'000, 1, 1}, 0, 0, {&fHalfWay, 1});
    CHECK(std::abs(fHalfWay + 2.0f) < 1e-3f);
    CHECK(params->SetParam(DWORD_ALLPARAMS, 0) == S_OK);
}

TEST_CASE("The host hears of gestures and values from the editor's thread only") {
    Filter filter;
    Callback callback;
    const auto setter = filter.As<IMediaParamsSetUICallback>(IID_IMediaParamsSetUICallback);
    const ParameterRef gain = filter.Parameter("Gain: Input Left");
    const ParameterRef bypass = filter.Parameter("Global: Bypass");
    const ParameterRef silent = filter.Parameter("Global: FPS");
    const auto notify = [&](const ParameterRef& parameter, ParameterPhase phase, float fValue) {
        const bool bValue = fValue != 0;
        const bool bFloat = parameter.Group() == ParameterGroup::Float;
        filter.plugin->NotifyParameterEvent(parameter.Group(), phase, parameter.Owner(), parameter.Index(),
                                            bFloat ? &fValue : nullptr, bFloat ? nullptr : &bValue, nullptr);
    };

    CHECK(setter->SetUICallback(&callback) == S_OK);
    CHECK(callback.nReferences == 2);
    notify(gain, ParameterPhase::Value, 1);
    CHECK(callback.Take().empty());
    filter.plugin->SetUiThread(GetCurrentThreadId() + 1);
    notify(gain, ParameterPhase::Value, 1);
    CHECK(callback.Take().empty());

    filter.plugin->SetUiThread(GetCurrentThreadId());
    notify(gain, ParameterPhase::Value, -1.5f);
    CHECK(callback.Take() == "begin 1; 1 = -1.500000; end 1; ");
    notify(bypass, ParameterPhase::Value, 1);
    CHECK(callback.Take() == "begin 0; 0 = 1.000000; end 0; ");
    gain.Info().bTouched = true;
    notify(gain, ParameterPhase::Begin, 0);
    notify(gain, ParameterPhase::Value, 2);
    notify(gain, ParameterPhase::End, 0);
    CHECK(callback.Take() == "begin 1; 1 = 2.000000; end 1; ");
    notify(silent, ParameterPhase::Value, 20);
    CHECK(callback.Take().empty());

    CHECK(setter->SetUICallback(nullptr) == S_OK);
    CHECK(callback.nReferences == 1);
    notify(gain, ParameterPhase::Value, 1);
    CHECK(callback.Take().empty());
}

TEST_CASE("The instrument follows the host's transport through a loop, and names the volume") {
    Filter filter;
    const auto synth = filter.As<IMfxSoftSynth>(IID_IMfxSoftSynth);
    const HostInstrument& instrument = filter.plugin->Instrument();
    TempoMap poor(std::vector<const IID*>{});
    TempoMap host(std::vector{&IID_IMfxTempoMap, &IID_IMfxMeterMap});
    CHECK(synth->OnStart(1) == E_UNEXPECTED);
    CHECK(synth->Connect(nullptr) == E_POINTER);
    poor.AddRef();
    CHECK(synth->Connect(&poor) == E_NOINTERFACE);
    CHECK(poor.nReferences == 1);
    host.AddRef();
    CHECK(synth->Connect(&host) == S_OK);
    CHECK(host.nReferences == 3);
    host.AddRef();
    CHECK(synth->Connect(&host) == E_UNEXPECTED);

    CHECK(synth->OnStart(100) == S_OK);
    CHECK(instrument.IsRunning());
    CHECK(instrument.Position() == 10'000'000);
    CHECK(synth->OnLoop(50, 400) == S_OK);
    CHECK(instrument.Position() == 10'000'000 - 35'000'000);
    CHECK(synth->OnStart(0) == S_OK);
    CHECK(instrument.Position() == 0);
    CHECK(synth->OnStop(500) == S_OK);
    CHECK_FALSE(instrument.IsRunning());
    CHECK(synth->Disconnect() == S_OK);
    CHECK(host.nReferences == 1);

    HostPointer<IMfxNameList2> names;
    REQUIRE(synth->GetControllerNames(names.Receive()) == S_OK);
    char text[8] = "???????";
    int nValue = 0;
    CHECK(names->GetTitle(text, 5) == S_OK);
    CHECK(std::string(text) == "Cont");
    CHECK(names->GetMaxNames(&nValue) == S_OK);
    CHECK(nValue == 128);
    CHECK(names->Lookup(128, text, 8) == E_INVALIDARG);
    CHECK(names->GetAt(7, nullptr, 8) == E_POINTER);
    MfxPosition position;
    int nEntries = 0;
    CHECK(names->GetStartPosition(&position) == S_OK);
    while (names->GetNextAssoc(&position, &nValue, text, 8) == S_OK) {
        CHECK(nValue == nEntries++);
        CHECK(std::string(text) == (nValue == 7 ? "Volume" : ""));
    }
    CHECK(nEntries == 128);
    REQUIRE(synth->GetRpnNames(names.Receive()) == S_OK);
    CHECK(names->GetAt(7, text, 8) == S_FALSE);
    CHECK(synth->GetNoteNames(0, 0, names.Receive()) == E_NOTIMPL);
    CHECK(synth->GetPatchNames(0, nullptr) == E_POINTER);
}
