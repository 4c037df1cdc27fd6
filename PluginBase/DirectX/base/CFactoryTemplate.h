#pragma once

#include "PluginBase/DirectX/base/CUnknown.h"

/// Makes an object, with count 0, or answers null and a failure in `phr`.
using LPFNNewCOMObject = CUnknown*(CALLBACK*)(LPUNKNOWN pUnkOuter, HRESULT* phr);
/// Called as the module is loaded (true) and unloaded (false).
using LPFNInitRoutine = void(CALLBACK*)(BOOL bLoading, const CLSID* rclsid);

using AMOVIESETUP_MEDIATYPE = REGPINTYPES;
using AMOVIESETUP_PIN = REGFILTERPINS;

/// What the filter mapper is told of a filter.
struct AMOVIESETUP_FILTER {
    const CLSID* clsID;
    const WCHAR* strName;
    DWORD dwMerit;
    UINT nPins;
    const AMOVIESETUP_PIN* lpPin;
};

/// One class that the module makes.
class CFactoryTemplate {
public:
    const WCHAR* m_Name;
    const CLSID* m_ClsID;
    LPFNNewCOMObject m_lpfnNew;
    /// May be null.
    LPFNInitRoutine m_lpfnInit;
    /// Null for a class that is not a filter.
    const AMOVIESETUP_FILTER* m_pAMovieSetup_Filter;

    BOOL IsClassID(REFCLSID rclsid) const { return IsEqualCLSID(*m_ClsID, rclsid); }
    CUnknown* CreateInstance(LPUNKNOWN pUnk, HRESULT* phr) const;
};

/// The table of the module's classes. A module that links these entry points defines both.
extern CFactoryTemplate g_Templates[];
extern int g_cTemplates;

/// The module: set by DllEntryPoint. A module without entry points (a program) sets it itself.
extern HINSTANCE g_hInst;

/// Of a module's entry points these three stand here; it exports them together with DllRegisterServer and
/// DllUnregisterServer, which it writes itself with the help of Registration.h, and calls DllEntryPoint from
/// its DllMain.
STDAPI DllGetClassObject(REFCLSID rClsID, REFIID riid, LPVOID* pv);
/// S_OK when no object and no lock of a factory is left, else S_FALSE.
STDAPI DllCanUnloadNow();
extern "C" BOOL WINAPI DllEntryPoint(HINSTANCE hInstance, ULONG ulReason, LPVOID pv);
