#include "dsp/Reverb.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <vector>

#include "dsp/vector/Elementwise.h"
#include "resources/EmbeddedFile.h"

namespace DSP {

namespace {

constexpr float kMaxRoomSize = 0.8f;
constexpr std::array<int, 7> kBufferSizes{128, 256, 512, 1024, 2048, 4096, 8192};
constexpr double kImpulseRate = 44100.0;

/// What the setter of each float keeps to.
struct Range {
    float fMin;
    float fMax;
};
constexpr Range kPercent{0.0f, 100.0f};
constexpr Range kRoomSizes{0.1f, kMaxRoomSize};
constexpr Range kDampings{0.1f, 1.0f};
constexpr Range kDelaysMs{0.0f, 100.0f};
constexpr Range kWidths{0.0f, 3.0f};
constexpr Range kCutoffsHz{20.0f, 20000.0f};
constexpr Range kCutoffQs{0.2f, 12.0f};

}  // namespace

Reverb::Reverb(PluginContext& plugin)
    : ComponentImpl(plugin, "Reverb::Reverb"),
      m_offload([this](const Util::Relaxed<bool>& stop) { MakeRoom(stop); }) {
    m_room.SetDryGain(1.0f);
    m_room.SetWetGain(0.0f);
    LoadImpulse();
    DeclareParameters();
    m_room.Update(m_target, false);
    m_blockBuffer.Reserve(kBufferSizes.back());
    m_blockBuffer.SetBlockSize(BlockFrames());
    FinishTables();
}

void Reverb::DeclareParameters() {
    const auto declare = [this](const char* name, const char* units, Range range, float fDefault, auto getter,
                                auto setter) {
        Float(name, units, range.fMin, range.fMax, fDefault, getter, setter)
            .InPreset(PresetGroup::Reverb)
            .Automatable();
    };
    declare("RVB: Dry Out", "", kPercent, 100, &Reverb::DryOut, &Reverb::SetDryOut);
    declare("RVB: Wet Out", "", kPercent, 0, &Reverb::WetOut, &Reverb::SetWetOut);
    declare("RVB: Room Size", "", kRoomSizes, 0.8f, &Reverb::RoomSize, &Reverb::SetRoomSize);
    declare("RVB: Damping", "", kDampings, 0.73f, &Reverb::Damping, &Reverb::SetDamping);
    declare("RVB: Reflections Delay", "ms", kDelaysMs, 0, &Reverb::ReflectionsDelay,
            &Reverb::SetReflectionsDelay);
    declare("RVB: Width", "", kWidths, 1, &Reverb::Width, &Reverb::SetWidth);
    declare("RVB: Low Cutoff Freq", "Hz", kCutoffsHz, 50, &Reverb::LowCutoffFreq, &Reverb::SetLowCutoffFreq);
    declare("RVB: Low Cutoff Q", "", kCutoffQs, 2, &Reverb::LowCutoffQ, &Reverb::SetLowCutoffQ);
    declare("RVB: High Cutoff Freq", "Hz", kCutoffsHz, 7000, &Reverb::HighCutoffFreq,
            &Reverb::SetHighCutoffFreq);
    declare("RVB: High Cutoff Q", "", kCutoffQs, 2, &Reverb::HighCutoffQ, &Reverb::SetHighCutoffQ);

    Bool("RVB: Bypass", true, &Reverb::Bypass, &Reverb::SetBypass)
        .InPreset(PresetGroup::Reverb)
        .Automatable();
    Bool("RVB: Solo Mute", false, &Reverb::SoloMute, &Reverb::SetSoloMute).InPreset(PresetGroup::Reverb);
    Bool("RVB: Solo Wet", false, &Reverb::SoloWet, &Reverb::SetSoloWet)
        .InPreset(PresetGroup::Reverb)
        .Automatable();

    Int("RVB: Type", "", 0, 1, kRoom, &Reverb::GetType, &Reverb::SetType)
        .InPreset(PresetGroup::Reverb)
        .Automatable()
        .Labelled({"Plate", "Room"});
    Int("RVB: Buffer Size", "", 0, 6, 3, &Reverb::BufferSize, &Reverb::SetBufferSize)
        .InPreset(PresetGroup::Reverb)
        .Labelled({"128", "256", "512", "1024", "2048", "4096", "8192"});
    Int("RVB: Offload Mode", "", 0, 2, kAll, &Reverb::Offload, &Reverb::SetOffload)
        .InPreset(PresetGroup::Reverb)
        .Labelled({"None", "UI Only", "All"});
}

void Reverb::LoadImpulse() {
    const Util::EmbeddedFile* file = Util::FindEmbeddedFile(Util::kEmbeddedImpulses, "Impulse1.pcm");
    constexpr std::size_t kFrameBytes = 4;
    const std::size_t uFrames = file ? static_cast<std::size_t>(file->uSize) / kFrameBytes : 0;
    std::array<std::vector<float>, 2> channels{std::vector<float>(uFrames), std::vector<float>(uFrames)};
    for (std::size_t i = 0; i < 2 * uFrames; ++i) {
        const int nBits = file->data[2 * i] | file->data[2 * i + 1] << 8;
        const int nSample = nBits < 0x8000 ? nBits : nBits - 0x10000;
        channels[i % 2][i / 2] = static_cast<float>(nSample) * 3.0517578e-5f;
    }
    const std::array<const float*, 2> pointers{channels[0].data(), channels[1].data()};
    m_room.LoadImpulse(pointers.data(), static_cast<int>(uFrames), 2, kImpulseRate);
}

// Setters. --------------------------------------------------------------------------------------------------

/// True if the value has changed.
bool Reverb::Store(Value value, float fValue, float fMin, float fMax) {
    fValue = std::clamp(fValue, fMin, fMax);
    if (fValue == this->*value) return false;
    MarkDirty();
    this->*value = fValue;
    return true;
}

/// Changes the room that is to be, and the plate, and has the room made. `change` gets both.
template <class Change>
void Reverb::Rebuild(const Change& change) {
    const std::lock_guard lock(m_lock);
    // Whoever writes the target holds the component's lock too, so that it may be read under that alone.
    RoomShape shape = m_target.shape;
    {
        const std::lock_guard comb(m_combLock);
        change(shape, m_comb);
    }
    {
        const std::lock_guard offload(m_offload.Lock());
        m_target.shape = shape;
    }
    OffloadIfWanted();
}

/// Under the component's lock.
void Reverb::OffloadIfWanted() {
    const std::int32_t nMode = m_nOffloadMode;
    if (nMode == kNone || (nMode == kUiOnly && !m_bUserEditing) || m_nType != kRoom) return;
    const std::lock_guard offload(m_offload.Lock());
    m_offload.Request();
}

void Reverb::SetDryOut(float fPercent) {
    if (Store(&Reverb::m_fDryOut, fPercent, kPercent.fMin, kPercent.fMax)) UpdateDryGains();
}

void Reverb::UpdateDryGains() {
    const std::lock_guard lock(m_lock);
    m_room.SetDryGain(m_bSoloWet ? 0.0f : m_fDryOut * 0.01f);
    const std::lock_guard comb(m_combLock);
    m_comb.SetDry(m_fDryOut);
    m_comb.SetSoloWet(m_bSoloWet);
}

void Reverb::SetWetOut(float fPercent) {
    if (!Store(&Reverb::m_fWetOut, fPercent, kPercent.fMin, kPercent.fMax)) return;
    const std::lock_guard lock(m_lock);
    // A hundredth of the hundred that the percentage suggests: the impulse by itself is that much louder.
    m_room.SetWetGain(m_fWetOut * 0.001f);
    const std::lock_guard comb(m_combLock);
    m_comb.SetWet(m_fWetOut);
}

void Reverb::SetRoomSize(float fSize) {
    if (!Store(&Reverb::m_fRoomSize, fSize, kRoomSizes.fMin, kRoomSizes.fMax)) return;
    // The share of the greatest size; a new reverb has 0.8 of the impulse although it shows that size.
    Rebuild([this](RoomShape& shape, CombReverb& comb) {
        shape.fSize = m_fRoomSize / kMaxRoomSize;
        comb.SetRoomSize(m_fRoomSize);
    });
}

void Reverb::SetDamping(float fDamping) {
    if (!Store(&Reverb::m_fDamping, fDamping, kDampings.fMin, kDampings.fMax)) return;
    Rebuild([this](RoomShape& shape, CombReverb& comb) {
        shape.fDamping = m_fDamping;
        comb.SetDamping(m_fDamping);
    });
}

void Reverb::SetReflectionsDelay(float fMs) {
    if (!Store(&Reverb::m_fReflectionsDelay, fMs, kDelaysMs.fMin, kDelaysMs.fMax)) return;
    Rebuild([this](RoomShape& shape, CombReverb& comb) {
        shape.fPreDelayMs = m_fReflectionsDelay;
        comb.SetReflectionsDelay(m_fReflectionsDelay);
    });
}

void Reverb::SetWidth(float fWidth) {
    if (!Store(&Reverb::m_fWidth, fWidth, kWidths.fMin, kWidths.fMax)) return;
    Rebuild([this](RoomShape& shape, CombReverb& comb) {
        shape.fWidth = m_fWidth;
        comb.SetWidth(m_fWidth);
    });
}

ReverbCutoffs Reverb::Cutoffs() const {
    return {m_fLowCutoffFreq, m_fLowCutoffQ, m_fHighCutoffFreq, m_fHighCutoffQ};
}

void Reverb::CutoffsChanged() {
    Rebuild([this](RoomShape& shape, CombReverb& comb) {
        shape.cutoffs = Cutoffs();
        comb.SetCutoffs(shape.cutoffs);
    });
}

void Reverb::SetLowCutoffFreq(float fHz) {
    if (Store(&Reverb::m_fLowCutoffFreq, fHz, kCutoffsHz.fMin, kCutoffsHz.fMax)) CutoffsChanged();
}

void Reverb::SetLowCutoffQ(float fQ) {
    if (Store(&Reverb::m_fLowCutoffQ, fQ, kCutoffQs.fMin, kCutoffQs.fMax)) CutoffsChanged();
}

void Reverb::SetHighCutoffFreq(float fHz) {
    if (Store(&Reverb::m_fHighCutoffFreq, fHz, kCutoffsHz.fMin, kCutoffsHz.fMax)) CutoffsChanged();
}

void Reverb::SetHighCutoffQ(float fQ) {
    if (Store(&Reverb::m_fHighCutoffQ, fQ, kCutoffQs.fMin, kCutoffQs.fMax)) CutoffsChanged();
}

void Reverb::SetBypass(bool bBypass) {
    if (bBypass == m_bBypass) return;
    MarkDirty();
    m_bBypass = bBypass;
    ActivityChanged();
}

void Reverb::SetSoloMute(bool bMute) {
    if (bMute == m_bSoloMute) return;
    MarkDirty();
    m_bSoloMute = bMute;
    ActivityChanged();
}

void Reverb::SetSoloWet(bool bSolo) {
    if (bSolo == m_bSoloWet) return;
    MarkDirty();
    m_bSoloWet = bSolo;
    UpdateDryGains();
}

void Reverb::SetType(std::int32_t nType) {
    nType = std::clamp<std::int32_t>(nType, kPlate, kRoom);
    if (nType == m_nType) return;
    MarkDirty();
    {
        const std::lock_guard lock(m_lock);
        m_nType = nType;
        RestartBlocks();
        OffloadIfWanted();
    }
    DelayChanged();
}

void Reverb::SetBufferSize(std::int32_t nIndex) {
    nIndex = std::clamp<std::int32_t>(nIndex, 0, static_cast<std::int32_t>(kBufferSizes.size()) - 1);
    if (nIndex == m_nBufferSize) return;
    MarkDirty();
    bool bClaimed = false;
    {
        const std::lock_guard lock(m_lock);
        m_nBufferSize = nIndex;
        {
            const std::lock_guard offload(m_offload.Lock());
            m_target.nBlock = kBufferSizes[static_cast<std::size_t>(nIndex)];
        }
        RestartBlocks();
        // The convolver is laid out for the block; that is work for the thread as an impulse is, or for this
        // one: it takes memory.
        OffloadIfWanted();
        const std::lock_guard offload(m_offload.Lock());
        bClaimed = AudioMakesRooms() && m_offload.Claim();
    }
    if (bClaimed) m_offload.RunClaimed();
    DelayChanged();
}

void Reverb::SetOffload(std::int32_t nMode) {
    nMode = std::clamp<std::int32_t>(nMode, kNone, kAll);
    if (nMode == m_nOffloadMode) return;
    MarkDirty();
    bool bClaimed = false;
    {
        const std::lock_guard lock(m_lock);
        m_nOffloadMode = nMode;
        const std::lock_guard offload(m_offload.Lock());
        bClaimed = AudioMakesRooms() && m_offload.Claim();
    }
    if (bClaimed) m_offload.RunClaimed();
}

/// Frames of the block buffer.
int Reverb::BlockFrames() const {
    return m_nType == kRoom ? kBufferSizes[static_cast<std::size_t>(m_nBufferSize.Get())] : 0;
}

/// Under the component's lock.
void Reverb::RestartBlocks() {
    m_blockBuffer.SetBlockSize(BlockFrames());
    ClearUnderLock();
    m_blockBuffer.Clear();
}

// The stream. -----------------------------------------------------------------------------------------------

void Reverb::SetSampleRate(std::uint32_t uSampleRate) {
    bool bOtherRate = false;
    {
        const std::lock_guard lock(m_lock);
        {
            const std::lock_guard comb(m_combLock);
            m_comb.SetSampleRate(uSampleRate);
        }
        const std::lock_guard offload(m_offload.Lock());
        bOtherRate = m_target.uSampleRate != std::max(uSampleRate, 1u);
        m_target.uSampleRate = std::max(uSampleRate, 1u);
        m_target.nChannels = m_plugin.InputChannels() == 1 ? 1 : 2;
    }
    // A fold to mono comes here on the audio thread, with the rate that there is.
    if (bOtherRate) m_offload.RunHere(m_lock);
}

void Reverb::ClearState() {
    const std::lock_guard lock(m_lock);
    ClearUnderLock();
}

void Reverb::ClearUnderLock() {
    {
        const std::lock_guard comb(m_combLock);
        m_comb.Reset();
    }
    {
        const std::lock_guard offload(m_offload.Lock());
        m_bResetRoom = m_offload.IsRunning();
        if (m_bResetRoom) return;
    }
    m_room.Reset();
}

/// The offload thread's work, and in its place RunHere's.
void Reverb::MakeRoom(const Util::Relaxed<bool>& stop) {
    RoomTarget target;
    {
        const std::lock_guard offload(m_offload.Lock());
        target = m_target;
    }
    if (m_room.Update(target, stop) && AudioMakesRooms()) m_room.Reserve(kDelaysMs.fMax);
    bool bReset = false;
    {
        const std::lock_guard offload(m_offload.Lock());
        std::swap(bReset, m_bResetRoom);
    }
    if (bReset) m_room.Reset();
}

std::uint32_t Reverb::ProcessBlock(std::uint32_t uFrames, float* left, float* right) {
    const auto nFrames = static_cast<std::int32_t>(uFrames);
    RoomTarget target;
    bool bReset = false;
    {
        const std::lock_guard offload(m_offload.Lock());
        if (m_offload.IsRunning()) {
            const float fDry = m_bSoloWet ? 0.0f : m_fDryOut / 100.0f;
            VectorScale(fDry, left, nFrames);
            if (right) VectorScale(fDry, right, nFrames);
            return uFrames;
        }
        if (uFrames != 0) m_target.nChannels = right ? 2 : 1;
        target = m_target;
        std::swap(bReset, m_bResetRoom);
    }
    if (bReset) m_room.Reset();
    if (m_nType == kPlate) {
        const std::lock_guard comb(m_combLock);
        m_comb.Process(nFrames, left, right);
    } else {
        ProcessRoom(target, uFrames, left, right);
    }
    return uFrames;
}

void Reverb::ProcessRoom(const RoomTarget& target, std::uint32_t uFrames, float* left, float* right) {
    if (uFrames == 0) return;
    m_room.Update(target, false);
    const std::array<float*, 2> channels{left, right};
    m_room.Process(channels.data(), static_cast<int>(uFrames), nullptr);
}

}  // namespace DSP
