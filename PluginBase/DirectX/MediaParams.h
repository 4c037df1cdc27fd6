#pragma once

#include <cstdint>

#include "PluginBase/DirectX/AutomatedParameters.h"
#include "PluginBase/DirectX/FilterInterface.h"
#include "PluginBase/DirectX/HostInterfaces.h"
#include "PluginBase/DirectX/HostPointer.h"
#include "hvBase/Util/NamedLock.h"
#include "hvBase/Util/Relaxed.h"

/// The host's automation: what there is to automate, its values and envelopes, and the way back, by which
/// the host hears of what the user does in the editor.
///
/// Indices: those of AutomatedParameters; any other is E_INVALIDARG. DWORD_ALLPARAMS means all of them where
///          an operation says so.
/// Threads: the host's control thread; Notify on the editor's. The audio thread never comes here.
class MediaParams final : public FilterInterface<IMediaParams, IMediaParamInfo, IMediaParamsSetUICallback> {
public:
    MediaParams(IUnknown& filter, Plugin& plugin);

    // IMediaParamInfo ---------------------------------------------------------------------------------

    STDMETHODIMP GetParamCount(DWORD* pCount) override;
    /// Names and units are cut to 31 characters.
    STDMETHODIMP GetParamInfo(DWORD uIndex, MP_PARAMINFO* pInfo) override;
    /// Name, units and, of an enumeration, every label: each text terminated, and an empty one at the end.
    /// The caller frees it with CoTaskMemFree.
    STDMETHODIMP GetParamText(DWORD uIndex, WCHAR** ppText) override;
    STDMETHODIMP GetNumTimeFormats(DWORD* pCount) override;
    STDMETHODIMP GetSupportedTimeFormat(DWORD uIndex, GUID* pFormat) override;
    STDMETHODIMP GetCurrentTimeFormat(GUID* pFormat, MP_TIMEDATA* pTimeData) override;

    // IMediaParams ------------------------------------------------------------------------------------

    STDMETHODIMP GetParam(DWORD uIndex, MP_DATA* pValue) override;
    /// Takes DWORD_ALLPARAMS.
    STDMETHODIMP SetParam(DWORD uIndex, MP_DATA fValue) override;
    /// Takes DWORD_ALLPARAMS.
    STDMETHODIMP AddEnvelope(DWORD uIndex, DWORD uCount, MP_ENVELOPE_SEGMENT* pSegments) override;
    /// Takes DWORD_ALLPARAMS.
    STDMETHODIMP FlushEnvelope(DWORD uIndex, REFERENCE_TIME nStart, REFERENCE_TIME nEnd) override;
    /// There is one format: this changes nothing.
    STDMETHODIMP SetTimeFormat(GUID format, MP_TIMEDATA uTimeData) override;

    // IMediaParamsSetUICallback -----------------------------------------------------------------------

    STDMETHODIMP SetUICallback(IMediaParamsUICallback* pCallback) override;

    // The way back. -----------------------------------------------------------------------------------

    /// The thread of the editor while one lives, 0 otherwise.
    void SetUiThread(std::uint32_t uThread) { m_uUiThread = uThread; }

    /// Tells the host of a gesture or of a new value. Does nothing without a callback, on any thread but the
    /// editor's, and for a parameter that can't be automated.
    void Notify(ParameterPhase phase, Component& component, ParameterGroup group, std::uint32_t uIndex,
                float fValue);

private:
    template <class Body>
    HRESULT ForEach(DWORD uIndex, Body body);

    AutomatedParameters m_parameters;
    Util::Relaxed<std::uint32_t> m_uUiThread = 0;

    // The host's callback, under the lock, which is also held while it is called.
    Util::NamedLock m_autoBroadcast{"DXPlugin::AutoBroadcast"};
    HostPointer<IMediaParamsUICallback> m_callback;
};
