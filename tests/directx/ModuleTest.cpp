#include <doctest/doctest.h>

#include <string>

#include "apps/dxhost/Com.h"
//
#include "PluginBase/DirectX/HostPointer.h"
#include "PluginBase/DirectX/IDXPlugin.h"
//
#include <dmoreg.h>

// The built DLL, as an installer and a host meet it.

namespace {

constexpr const wchar_t* kName = L"Halvane Vesca 3";

struct Library {
    Library() : handle(LoadLibraryA(VESCA_DX_FILE)) { REQUIRE(handle != nullptr); }
    ~Library() { FreeLibrary(handle); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    template <class Function>
    Function* Entry(const char* name) const {
        void* const entry = reinterpret_cast<void*>(GetProcAddress(handle, name));
        REQUIRE(entry != nullptr);
        return reinterpret_cast<Function*>(entry);
    }
    HRESULT Call(const char* name) const { return Entry<HRESULT STDAPICALLTYPE()>(name)(); }

    HMODULE handle;
};

/// The filters among the monikers that have the plug-in's name; the last of them made, if it is asked for.
int CountNamed(IEnumMoniker& monikers, HostPointer<IBaseFilter>* made = nullptr) {
    int nFound = 0;
    for (HostPointer<IMoniker> moniker; monikers.Next(1, moniker.Receive(), nullptr) == S_OK;) {
        HostPointer<IPropertyBag> bag;
        VARIANT name{};
        name.vt = VT_BSTR;
        if (FAILED(moniker->BindToStorage(nullptr, nullptr, IID_IPropertyBag,
                                          reinterpret_cast<void**>(bag.Receive()))) ||
            FAILED(bag->Read(L"FriendlyName", &name, nullptr))) {
            continue;
        }
        const bool bFound = std::wstring(name.bstrVal) == kName;
        VariantClear(&name);
        nFound += bFound;
        if (bFound && made) {
            CHECK(moniker->BindToObject(nullptr, nullptr, IID_IBaseFilter,
                                        reinterpret_cast<void**>(made->Receive())) == S_OK);
        }
    }
    return nFound;
}

int CountInCategory(const GUID& category, HostPointer<IBaseFilter>* made = nullptr) {
    HostPointer<ICreateDevEnum> devices;
    REQUIRE(CoCreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER, IID_ICreateDevEnum,
                             reinterpret_cast<void**>(devices.Receive())) == S_OK);
    HostPointer<IEnumMoniker> monikers;
    if (devices->CreateClassEnumerator(category, monikers.Receive(), 0) != S_OK) return 0;
    return CountNamed(*monikers.Get(), made);
}

/// Whether the mapper offers the filter to somebody who looks for this type at merit uMerit or above.
bool IsOffered(DWORD uMerit, const GUID& subtype) {
    HostPointer<IFilterMapper2> mapper;
    REQUIRE(CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                             reinterpret_cast<void**>(mapper.Receive())) == S_OK);
    const GUID types[] = {MEDIATYPE_Audio, subtype};
    HostPointer<IEnumMoniker> monikers;
    REQUIRE(
        SUCCEEDED(mapper->EnumMatchingFilters(monikers.Receive(), 0, TRUE, uMerit, TRUE, 1, types, nullptr,
                                              nullptr, FALSE, TRUE, 1, types, nullptr, nullptr)));
    return CountNamed(*monikers.Get()) > 0;
}

}  // namespace

TEST_CASE("A registered module is found by hosts and not by players, and leaves nothing behind") {
    const DxHost::Apartment com;
    const Library library;
    for (int nRound = 0; nRound < 2; ++nRound) {
        // Twice: an installation over an older one finds one entry.
        CHECK(library.Call("DllRegisterServer") == S_OK);
        CHECK(library.Call("DllRegisterServer") == S_OK);
        CHECK(CountInCategory(CLSID_LegacyAmFilterCategory) == 1);
        CHECK(IsOffered(MERIT_DO_NOT_USE, MEDIASUBTYPE_PCM));
        CHECK(IsOffered(MERIT_DO_NOT_USE, MEDIASUBTYPE_IEEE_FLOAT));
        CHECK_FALSE(IsOffered(MERIT_UNLIKELY, MEDIASUBTYPE_PCM));
        {
            HostPointer<IBaseFilter> filter;
            CHECK(CountInCategory(DMOCATEGORY_AUDIO_EFFECT, &filter) == 1);
            REQUIRE(filter);
            HostPointer<IDXPlugin> plugin;
            CHECK(plugin.QueryFrom(filter.Get(), IID_IDXPlugin) == S_OK);
            CHECK(library.Call("DllCanUnloadNow") == S_FALSE);
        }
        CHECK(library.Call("DllCanUnloadNow") == S_OK);

        CHECK(library.Call("DllUnregisterServer") == S_OK);
        CHECK(CountInCategory(CLSID_LegacyAmFilterCategory) == 0);
        CHECK(CountInCategory(DMOCATEGORY_AUDIO_EFFECT) == 0);
        HostPointer<IUnknown> none;
        CHECK(CoCreateInstance(CLSID_DXPlugin, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                               reinterpret_cast<void**>(none.Receive())) == REGDB_E_CLASSNOTREG);
        CHECK(library.Call("DllUnregisterServer") == S_OK);
    }
}

TEST_CASE("The class factory makes the plug-in and nothing else") {
    const DxHost::Apartment com;
    const Library library;
    const auto getClassObject =
        library.Entry<HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**)>("DllGetClassObject");
    HostPointer<IClassFactory> factory;
    CHECK(getClassObject(CLSID_SystemDeviceEnum, IID_IClassFactory,
                         reinterpret_cast<void**>(factory.Receive())) == CLASS_E_CLASSNOTAVAILABLE);
    REQUIRE(getClassObject(CLSID_DXPlugin, IID_IClassFactory, reinterpret_cast<void**>(factory.Receive())) ==
            S_OK);
    HostPointer<IBaseFilter> filter;
    REQUIRE(factory->CreateInstance(nullptr, IID_IBaseFilter, reinterpret_cast<void**>(filter.Receive())) ==
            S_OK);
    for (const wchar_t* const name : {L"In", L"Out"}) {
        HostPointer<IPin> pin;
        CHECK(filter->FindPin(name, pin.Receive()) == S_OK);
    }
    filter = {};
    HostPointer<IUnknown> none;
    CHECK(factory->CreateInstance(nullptr, IID_IStream, reinterpret_cast<void**>(none.Receive())) ==
          E_NOINTERFACE);
    factory = {};
    CHECK(library.Call("DllCanUnloadNow") == S_OK);
}
