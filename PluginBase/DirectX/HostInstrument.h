#pragma once

#include <cstdint>

#include "PluginBase/DirectX/FilterInterface.h"
#include "PluginBase/DirectX/HostInterfaces.h"
#include "PluginBase/DirectX/HostPointer.h"
#include "hvBase/Util/Relaxed.h"

/// The event filter that hosts ask of an instrument, as far as an effect needs it: it follows the host's
/// transport, takes no events, and names the controllers.
///
/// Threads: the host's control thread; Step, IsRunning and Position on the streaming thread.
class HostInstrument final : public FilterInterface<IMfxSoftSynth> {
public:
    explicit HostInstrument(IUnknown& filter) : FilterInterface(filter) {}

    /// Takes over the caller's reference on the context and gives it back at once, as hosts expect of this
    /// interface; what was asked of it is kept until Disconnect. A host without a tempo map is refused.
    STDMETHODIMP Connect(IUnknown* pContext) override;
    STDMETHODIMP Disconnect() override;
    STDMETHODIMP OnStart(LONG nTime) override;
    STDMETHODIMP OnLoop(LONG nTimeRestart, LONG nTimeStop) override;
    STDMETHODIMP OnStop(LONG nTime) override;

    // Neutral answers: nothing is played, no patch and no note has a name.
    STDMETHODIMP OnEvents(LONG nFrom, LONG nThru, LONG nChannel, IMfxEventQueue* pQueue) override;
    STDMETHODIMP OnInput(LONG nChannel, IMfxDataQueue* pQueue) override;
    STDMETHODIMP GetBanksForPatchNames(int** ppBanks, int* pCount) override;
    STDMETHODIMP GetIsDrumPatch(int nBank, int nPatch) override;
    STDMETHODIMP GetIsDiatonicNoteNames(int nBank, int nPatch) override;
    STDMETHODIMP GetPatchNames(int nBank, IMfxNameList2** ppNames) override;
    STDMETHODIMP GetNoteNames(int nBank, int nPatch, IMfxNameList2** ppNames) override;

    STDMETHODIMP GetControllerNames(IMfxNameList2** ppNames) override;
    STDMETHODIMP GetRpnNames(IMfxNameList2** ppNames) override;
    STDMETHODIMP GetNrpnNames(IMfxNameList2** ppNames) override;

    /// Whether the host's transport runs.
    bool IsRunning() const { return m_bPlaying || m_bLooped; }

    /// The timing step of a block: nTicks of 100 ns have been played.
    void Step(std::int64_t nTicks) { m_nPlayed = m_nPlayed + nTicks; }

    /// Where the host's transport stands, 100 ns: its start, plus what was played, less what loops went back.
    std::int64_t Position() const { return m_nStart + m_nPlayed - m_nOffset; }

private:
    std::int64_t Converted(LONG nTime) const;

    // The host's objects, from Connect to Disconnect. The tempo map is always there in between.
    HostPointer<IMfxTempoMap> m_tempoMap;
    HostPointer<IUnknown> m_timeConverter;
    HostPointer<IUnknown> m_meterMap;

    // The transport, 100 ns.
    Util::Relaxed<std::int64_t> m_nStart = 0;
    Util::Relaxed<std::int64_t> m_nOffset = 0;
    Util::Relaxed<std::int64_t> m_nPlayed = 0;
    Util::Relaxed<bool> m_bPlaying = false;
    Util::Relaxed<bool> m_bLooped = false;
};
