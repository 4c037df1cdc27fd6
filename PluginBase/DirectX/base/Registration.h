#pragma once

#include "PluginBase/DirectX/base/CFactoryTemplate.h"

// Registration of a module's classes, for its DllRegisterServer and DllUnregisterServer. Filters go to the
// category of filters in general; for another category the module calls IFilterMapper2 itself besides.

/// Registers, or takes back, every class of g_Templates: the COM server at this module's place with threading
/// model Both, and the filters with the filter mapper.
STDAPI AMovieDllRegisterServer2(BOOL bRegister);
STDAPI AMovieDllRegisterServer();
STDAPI AMovieDllUnregisterServer();

/// The COM server's keys of one class, below HKEY_CLASSES_ROOT\CLSID.
STDAPI AMovieSetupRegisterServer(CLSID clsServer, LPCWSTR szDescription, LPCWSTR szFileName,
                                 LPCWSTR szThreadingModel = L"Both",
                                 LPCWSTR szServerType = L"InprocServer32");
/// S_OK also if there is nothing to remove.
STDAPI AMovieSetupUnregisterServer(CLSID clsServer);

/// One filter at the filter mapper.
STDAPI AMovieSetupRegisterFilter2(const AMOVIESETUP_FILTER* psetupdata, IFilterMapper2* pIFM2,
                                  BOOL bRegister);
