#include "PluginBase/DirectX/AtBorder.h"
#include "PluginBase/DirectX/DXPlugin.h"
#include "PluginBase/DirectX/HostPointer.h"
#include "PluginBase/DirectX/base/streams.h"
//
#include <dmoreg.h>

// The module: its one class, and its registration. Hosts look for effects among the filters in general, by
// the pins' media types, or in the category of audio effects; the filter stands in both. Its merit keeps it
// out of graphs that a player builds on its own.

namespace {

constexpr WCHAR kName[] = L"Halvane Vesca 3";

const REGPINTYPES kTypes[] = {{&MEDIATYPE_Audio, &MEDIASUBTYPE_PCM},
                              {&MEDIATYPE_Audio, &MEDIASUBTYPE_IEEE_FLOAT}};

// The two fields of each pin that stand for its name and its partner have meant nothing for long.
const REGFILTERPINS kPins[] = {
    {const_cast<LPWSTR>(L"Input"), FALSE, FALSE, FALSE, FALSE, &CLSID_NULL, nullptr, 2, kTypes},
    {const_cast<LPWSTR>(L"Output"), FALSE, TRUE, FALSE, FALSE, &CLSID_NULL, nullptr, 2, kTypes}};

const AMOVIESETUP_FILTER kFilter = {&CLSID_DXPlugin, kName, MERIT_DO_NOT_USE, 2, kPins};

HRESULT RegisterAsEffect(bool bRegister) {
    const HRESULT initialised = CoInitialize(nullptr);
    HRESULT hr;
    {
        HostPointer<IFilterMapper2> mapper;
        hr = CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                              reinterpret_cast<void**>(mapper.Receive()));
        if (SUCCEEDED(hr)) {
            // Registering over an entry of an older version would keep its data.
            const HRESULT removed =
                mapper->UnregisterFilter(&DMOCATEGORY_AUDIO_EFFECT, nullptr, CLSID_DXPlugin);
            if (bRegister) {
                REGFILTER2 filter{};
                filter.dwVersion = 1;
                filter.dwMerit = kFilter.dwMerit;
                filter.cPins = kFilter.nPins;
                filter.rgPins = kFilter.lpPin;
                hr = mapper->RegisterFilter(CLSID_DXPlugin, kName, nullptr, &DMOCATEGORY_AUDIO_EFFECT,
                                            nullptr, &filter);
            } else if (removed != HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)) {
                hr = removed;
            }
        }
    }
    if (SUCCEEDED(initialised)) CoUninitialize();
    return hr;
}

}  // namespace

CFactoryTemplate g_Templates[] = {{kName, &CLSID_DXPlugin, &DXPlugin::CreateInstance, nullptr, &kFilter}};
int g_cTemplates = 1;

STDAPI DllRegisterServer() {
    return AtBorder([] {
        const HRESULT hr = AMovieDllRegisterServer2(TRUE);
        return FAILED(hr) ? hr : RegisterAsEffect(true);
    });
}

STDAPI DllUnregisterServer() {
    return AtBorder([] {
        // Both halves run: what can be removed is removed.
        const HRESULT effect = RegisterAsEffect(false);
        const HRESULT server = AMovieDllRegisterServer2(FALSE);
        return FAILED(server) ? server : effect;
    });
}

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD uReason, LPVOID pReserved) {
    return DllEntryPoint(instance, uReason, pReserved);
}
