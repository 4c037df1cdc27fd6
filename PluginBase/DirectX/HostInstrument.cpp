#include "PluginBase/DirectX/HostInstrument.h"

#include "PluginBase/DirectX/AtBorder.h"
#include "PluginBase/DirectX/NameList.h"

namespace {

constexpr std::int64_t kTicksPerMsec = 10'000;

template <class MakeNames>
HRESULT GiveNames(IMfxNameList2** ppNames, MakeNames makeNames) {
    if (!ppNames) return E_POINTER;
    *ppNames = nullptr;
    return AtBorder([&] {
        *ppNames = new NameList(makeNames());
        (*ppNames)->AddRef();
        return S_OK;
    });
}

HRESULT GiveNoNames(IMfxNameList2** ppNames) {
    if (!ppNames) return E_POINTER;
    *ppNames = nullptr;
    return E_NOTIMPL;
}

}  // namespace

STDMETHODIMP HostInstrument::Connect(IUnknown* pContext) {
    if (!pContext) return E_POINTER;
    HRESULT hr = E_UNEXPECTED;
    if (!m_tempoMap) {
        hr = m_tempoMap.QueryFrom(pContext, IID_IMfxTempoMap);
        if (SUCCEEDED(hr)) {
            m_timeConverter.QueryFrom(pContext, IID_IMfxTimeConverter);
            m_meterMap.QueryFrom(pContext, IID_IMfxMeterMap);
        }
    }
    pContext->Release();
    return hr;
}

STDMETHODIMP HostInstrument::Disconnect() {
    OnStop(0);
    m_tempoMap = {};
    m_timeConverter = {};
    m_meterMap = {};
    return S_OK;
}

STDMETHODIMP HostInstrument::OnStart(LONG nTime) {
    if (!m_tempoMap) return E_UNEXPECTED;
    m_nStart = Converted(nTime);
    m_nOffset = 0;
    m_nPlayed = 0;
    m_bPlaying = true;
    return S_OK;
}

STDMETHODIMP HostInstrument::OnLoop(LONG nTimeRestart, LONG nTimeStop) {
    if (!m_tempoMap) return E_UNEXPECTED;
    m_nOffset = m_nOffset + Converted(nTimeStop) - Converted(nTimeRestart);
    m_bLooped = true;
    return S_OK;
}

STDMETHODIMP HostInstrument::OnStop(LONG) {
    m_bPlaying = false;
    m_bLooped = false;
    return S_OK;
}

STDMETHODIMP HostInstrument::OnEvents(LONG, LONG, LONG, IMfxEventQueue*) {
    return S_OK;
}

STDMETHODIMP HostInstrument::OnInput(LONG, IMfxDataQueue*) {
    return S_OK;
}

STDMETHODIMP HostInstrument::GetBanksForPatchNames(int** ppBanks, int* pCount) {
    if (!ppBanks || !pCount) return E_POINTER;
    *ppBanks = nullptr;
    *pCount = 0;
    return S_OK;
}

STDMETHODIMP HostInstrument::GetIsDrumPatch(int, int) {
    return S_FALSE;
}

STDMETHODIMP HostInstrument::GetIsDiatonicNoteNames(int, int) {
    return S_FALSE;
}

STDMETHODIMP HostInstrument::GetPatchNames(int, IMfxNameList2** ppNames) {
    return GiveNoNames(ppNames);
}

STDMETHODIMP HostInstrument::GetNoteNames(int, int, IMfxNameList2** ppNames) {
    return GiveNoNames(ppNames);
}

STDMETHODIMP HostInstrument::GetControllerNames(IMfxNameList2** ppNames) {
    return GiveNames(ppNames, &ControllerNames);
}

STDMETHODIMP HostInstrument::GetRpnNames(IMfxNameList2** ppNames) {
    return GiveNames(ppNames, &RpnNames);
}

STDMETHODIMP HostInstrument::GetNrpnNames(IMfxNameList2** ppNames) {
    return GiveNames(ppNames, &NrpnNames);
}

std::int64_t HostInstrument::Converted(LONG nTime) const {
    return std::int64_t{m_tempoMap->TicksToMsecs(nTime)} * kTicksPerMsec;
}
