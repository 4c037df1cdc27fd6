#pragma once

#include <cstdint>

#include "PluginBase/ComponentImpl.h"
#include "dsp/CombReverb.h"
#include "dsp/ReverbOffload.h"
#include "dsp/SampledReverb.h"

namespace DSP {

/// The reverb: a "Plate", which is a network of combs, and a "Room", which is a convolution with an impulse
/// made from the parameters. Every parameter reaches both, so that the type can be switched at any time.
///
/// Room:      runs in blocks of "RVB: Buffer Size", which is its latency; the plate has none. Until changed
///            parameters have become an impulse the listener hears the dry sound alone, with the plate too.
/// Offload:   with "All" a thread of its own makes the impulse; with "UI Only" it does so for changes within
///            SetUserEditing, and with "None" never. What the thread does not make, the audio thread makes
///            at its next block, which then takes far longer than a block may: that it is heard from that
///            very block on is what the mode is for.
/// Threads:   setters take the component's lock and run on any thread. On the audio thread, for
///            automation, they neither wait nor allocate: filter design and the delay lines are cheap, and
///            the offload thread is only woken. A change of "RVB: Type" there rebuilds the block buffer. The
///            two setters that are not automatable, of the buffer size and the offload mode, see to the
///            memory: with any mode but "All" there is some for every room, so that no block allocates in any
///            mode.
/// Locks:     the component's; in it "Reverb Offloading Thread", for flags and the room's target; in it
///            "Reverb::Freeverb", over the comb network. The room itself has no lock: while the offload
///            thread runs it belongs to that thread, otherwise to the holder of the component's lock.
/// Renders:   what the offload thread makes, it makes in its own time. A render that must not depend on that
///            sets its parameters before and calls FinishBackgroundWork, or has the mode at "None".
/// NaN:       see the two engines: both are clean right after the damaged samples.
class Reverb final : public ComponentImpl<Reverb> {
public:
    explicit Reverb(PluginContext& plugin);

    void SetSampleRate(std::uint32_t uSampleRate) override;
    void ResetStream() override { ClearState(); }
    bool IsActive() const override { return !m_bBypass && !m_bSoloMute; }
    /// The room's latency is its block buffer's.
    std::uint32_t GetLatency() const override { return 0; }
    void ClearState() override;
    void FinishBackgroundWork() override { m_offload.Wait(); }
    std::uint32_t ProcessBlock(std::uint32_t uFrames, float* left, float* right) override;

    /// Raised by an editor around a user's change of a parameter, for the offload mode "UI Only".
    void SetUserEditing(bool bEditing) { m_bUserEditing = bEditing; }

private:
    enum Type : std::int32_t { kPlate = 0, kRoom = 1 };
    enum OffloadMode : std::int32_t { kNone = 0, kUiOnly = 1, kAll = 2 };
    using Value = Util::Relaxed<float> Reverb::*;

    void DeclareParameters();
    void LoadImpulse();

    bool Store(Value value, float fValue, float fMin, float fMax);
    template <class Change>
    void Rebuild(const Change& change);
    void OffloadIfWanted();
    bool AudioMakesRooms() const { return m_nOffloadMode != kAll; }
    void UpdateDryGains();
    ReverbCutoffs Cutoffs() const;
    void CutoffsChanged();
    void RestartBlocks();
    int BlockFrames() const;
    void ClearUnderLock();
    void MakeRoom(const Util::Relaxed<bool>& stop);
    void ProcessRoom(const RoomTarget& target, std::uint32_t uFrames, float* left, float* right);

    float DryOut() const { return m_fDryOut; }
    void SetDryOut(float fPercent);
    float WetOut() const { return m_fWetOut; }
    void SetWetOut(float fPercent);
    float RoomSize() const { return m_fRoomSize; }
    void SetRoomSize(float fSize);
    float Damping() const { return m_fDamping; }
    void SetDamping(float fDamping);
    float ReflectionsDelay() const { return m_fReflectionsDelay; }
    void SetReflectionsDelay(float fMs);
    float Width() const { return m_fWidth; }
    void SetWidth(float fWidth);
    float LowCutoffFreq() const { return m_fLowCutoffFreq; }
    void SetLowCutoffFreq(float fHz);
    float LowCutoffQ() const { return m_fLowCutoffQ; }
    void SetLowCutoffQ(float fQ);
    float HighCutoffFreq() const { return m_fHighCutoffFreq; }
    void SetHighCutoffFreq(float fHz);
    float HighCutoffQ() const { return m_fHighCutoffQ; }
    void SetHighCutoffQ(float fQ);
    bool Bypass() const { return m_bBypass; }
    void SetBypass(bool bBypass);
    bool SoloMute() const { return m_bSoloMute; }
    void SetSoloMute(bool bMute);
    bool SoloWet() const { return m_bSoloWet; }
    void SetSoloWet(bool bSolo);
    std::int32_t GetType() const { return m_nType; }
    void SetType(std::int32_t nType);
    std::int32_t BufferSize() const { return m_nBufferSize; }
    void SetBufferSize(std::int32_t nIndex);
    std::int32_t Offload() const { return m_nOffloadMode; }
    void SetOffload(std::int32_t nMode);

    // Parameters: written by setters, read once at the head of a block.
    Util::Relaxed<float> m_fDryOut = 100.0f;
    Util::Relaxed<float> m_fWetOut = 0.0f;
    Util::Relaxed<float> m_fRoomSize = 0.8f;
    Util::Relaxed<float> m_fDamping = 0.73f;
    Util::Relaxed<float> m_fReflectionsDelay = 0.0f;
    Util::Relaxed<float> m_fWidth = 1.0f;
    Util::Relaxed<float> m_fLowCutoffFreq = 50.0f;
    Util::Relaxed<float> m_fLowCutoffQ = 2.0f;
    Util::Relaxed<float> m_fHighCutoffFreq = 7000.0f;
    Util::Relaxed<float> m_fHighCutoffQ = 2.0f;
    Util::Relaxed<bool> m_bBypass = true;
    Util::Relaxed<bool> m_bSoloMute = false;
    Util::Relaxed<bool> m_bSoloWet = false;
    Util::Relaxed<std::int32_t> m_nType = kRoom;
    Util::Relaxed<std::int32_t> m_nBufferSize = 3;
    Util::Relaxed<std::int32_t> m_nOffloadMode = kAll;
    Util::Relaxed<bool> m_bUserEditing = false;

    // The plate, under its lock.
    Util::NamedLock m_combLock{"Reverb::Freeverb", Util::LockUse::OnAudioThread};
    CombReverb m_comb;

    // The room, owned as the class comment says, and under the offload lock what it is to become.
    SampledReverb m_room;
    RoomTarget m_target;
    bool m_bResetRoom = false;

    ReverbOffload m_offload;  // the last member: its thread uses the others
};

}  // namespace DSP
