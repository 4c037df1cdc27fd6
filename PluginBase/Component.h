#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "PluginBase/ComponentBlockBuffer.h"
#include "PluginBase/EnvelopeHandler.h"
#include "PluginBase/Parameter.h"
#include "PluginBase/PluginContext.h"
#include "hvBase/Util/NamedLock.h"
#include "hvBase/Util/Relaxed.h"

namespace Util {
class DataStream;
}

/// What every stage of the chain is told about the block in hand.
struct StageContext {
    std::uint32_t uSampleRate = 44100;       ///< Hz
    std::int64_t nPosition = 0;              ///< time of the block's first frame, 100 ns
    std::uint32_t uStride = 1;               ///< frames between two evaluations of automation
    Util::Relaxed<bool>* refresh = nullptr;  ///< set when automation changed something that a display shows

    /// The finest stride that a user can set, in frames, and the most evaluations of a block: so many values
    /// there is room for once such a block has come, whatever is automated later.
    static constexpr std::uint32_t kFinestStride = 10;
    static constexpr std::uint32_t MostStrides(std::uint32_t uFrames) {
        return (uFrames + kFinestStride - 1) / kFinestStride;
    }
};

/// Any piece of the system that has parameters: each audio module, each meter, the global settings. It has
/// four tables of parameters, which everything walks that stores, shows or automates them; one lock; one
/// envelope handler; one block buffer; and the operations of audio work, which do nothing here.
///
/// Values live in the derived class. The tables reach them through its getters and setters, and all rules
/// of a parameter (clamping, side effects, marking the plug-in dirty) are the setter's.
///
/// Threads:   the tables may be read on any thread, without the lock; a value may be one block old. Setters
///            run on the editor's and the host's control thread, and on the audio thread for automation. The
///            audio thread holds the component's lock throughout ProcessAutomated, and a setter that rebuilds
///            anything takes it for the swap. What is passed to the plug-in (an activity or delay request) is
///            sent after the lock is released.
/// Indices:   unchecked in release builds.
class Component {
public:
    static constexpr std::uint32_t kNoExtraData = 10;

    virtual ~Component();
    Component(const Component&) = delete;
    Component& operator=(const Component&) = delete;

    const std::string& Name() const { return m_strName; }
    Util::NamedLock& Lock() { return m_lock; }
    EnvelopeHandler& Envelopes() { return *m_envelopes; }
    const EnvelopeHandler& Envelopes() const { return *m_envelopes; }

    // The parameter tables. ---------------------------------------------------------------------------

    std::uint32_t Count(ParameterGroup group) const;
    ParameterInfo& Info(ParameterGroup group, std::uint32_t uIndex);
    const FloatRecord& FloatInfo(std::uint32_t uIndex) const { return m_floats[uIndex]; }
    const BoolRecord& BoolInfo(std::uint32_t uIndex) const { return m_bools[uIndex]; }
    const IntRecord& IntInfo(std::uint32_t uIndex) const { return m_ints[uIndex]; }
    const UIntRecord& UIntInfo(std::uint32_t uIndex) const { return m_uints[uIndex]; }

    /// For the marks of a record, which change while the plug-in runs.
    FloatRecord& FloatInfo(std::uint32_t uIndex) { return m_floats[uIndex]; }
    BoolRecord& BoolInfo(std::uint32_t uIndex) { return m_bools[uIndex]; }
    IntRecord& IntInfo(std::uint32_t uIndex) { return m_ints[uIndex]; }
    UIntRecord& UIntInfo(std::uint32_t uIndex) { return m_uints[uIndex]; }

    /// Setting a Float to NaN changes nothing; every other value reaches the setter, which clamps it.
    virtual float GetFloat(std::uint32_t uIndex) const = 0;
    virtual void SetFloat(std::uint32_t uIndex, float fValue) = 0;
    virtual bool GetBool(std::uint32_t uIndex) const = 0;
    virtual void SetBool(std::uint32_t uIndex, bool bValue) = 0;
    virtual std::int32_t GetInt(std::uint32_t uIndex) const = 0;
    virtual void SetInt(std::uint32_t uIndex, std::int32_t nValue) = 0;
    virtual std::uint32_t GetUInt(std::uint32_t uIndex) const = 0;
    virtual void SetUInt(std::uint32_t uIndex, std::uint32_t uValue) = 0;

    // State. --------------------------------------------------------------------------------------------

    /// Bytes beyond the tables. They are stored only if the class is not kNoExtraData. WriteExtraBytes
    /// fills GetExtraByteCount() bytes from the offset on; ReadExtraBytes reads them there.
    virtual std::uint32_t GetExtraByteCount() const { return 0; }
    virtual std::uint32_t GetExtraDataClass() const { return kNoExtraData; }
    virtual void WriteExtraBytes(std::vector<std::uint8_t>& bytes, std::size_t uOffset) const;
    virtual void ReadExtraBytes(const std::vector<std::uint8_t>& bytes, std::size_t uOffset);

    /// Copies one band's settings to a stream, takes them from one, or sets them to their defaults.
    virtual void CopyBand(std::uint32_t uBand, Util::DataStream& stream) const;
    virtual void PasteBand(std::uint32_t uBand, Util::DataStream& stream);
    virtual void ResetBand(std::uint32_t uBand);

    virtual void BeginStateLoad() {}
    virtual void EndStateLoad() {}
    virtual void BeginPresetChange() {}
    virtual void EndPresetChange() {}
    void SetPresetChanging(bool bChanging) { m_bPresetChanging = bChanging; }
    bool IsPresetChanging() const { return m_bPresetChanging; }

    // Audio. --------------------------------------------------------------------------------------------

    /// A new sample rate in Hz, or the same again, when streaming starts. Not during a block.
    virtual void SetSampleRate(std::uint32_t /*uSampleRate*/) {}

    /// Streaming has stopped, or the chain changes between mono and stereo.
    virtual void ResetStream() {}

    /// Whether the component's own switches and the engine's want it to run. The engine stores the answer;
    /// see Active.
    virtual bool IsActive() const = 0;

    /// The answer of IsActive that the engine acts on.
    bool Active() const { return m_bActive; }
    void SetActive(bool bActive) { m_bActive = bActive; }

    /// Whether any automatable parameter has automation.
    virtual bool HasAutomation() const;

    /// The host has connected automation: the component runs even while not active.
    void SetAutomationActive(bool bActive) { m_bAutomationActive = bActive; }

    /// Inherent delay in frames, without the block buffer's.
    virtual std::uint32_t GetLatency() const { return 0; }

    /// Delay of the block buffer in frames. Takes the component's lock.
    std::uint32_t BlockBufferLatency();

    /// Drops all audio history. Parameter values stay.
    virtual void ClearState() {}

    /// ClearState, and then the block buffer, under the component's lock.
    void ClearAudio();

    /// Empties the block buffer alone, under the component's lock: what waits there belongs to settings that
    /// are no more. The module's own history stays.
    void ClearBlockBuffer();

    /// Waits until work that a setter has sent to another thread is done and its result installed, so that a
    /// render does not depend on timing. Never on the audio thread.
    virtual void FinishBackgroundWork() {}

    /// Takes the memory for blocks of up to so many frames, in work or switched off, automated or not. Takes
    /// the lock. Audio thread, at the head of the first such block.
    void ReserveBlocks(std::uint32_t uFrames);

    /// Which stage (gain) or band (multiband modules) the next call is for. Audio thread.
    void SetStage(std::uint32_t uStage) { m_uStage = uStage; }
    std::uint32_t Stage() const { return m_uStage; }

    /// Of a multiband module: whether it can take all bands in one call, as the band arrays of
    /// ProcessAutomated, and not a call a band. A band that it is to leave alone is then null.
    virtual bool TakesAllBands() const { return false; }
    /// Whether the next block goes to all bands in one call. Not with automation, which is evaluated in each
    /// band's call anew.
    bool RunsAllBands() const;

    /// The module's work on one piece of audio, in place; a null right pointer is mono. Returns the frames.
    /// Called by ProcessAutomated with the lock held.
    virtual std::uint32_t ProcessBlock(std::uint32_t uFrames, float* left, float* right);

    /// Runs the component on a block, in place: takes the lock, cuts the block as the block buffer and the
    /// automation need it, and calls ProcessBlock. Does nothing unless the component is active, automated or
    /// forced. The band arrays, four pointers each, are the outputs of a band splitter, or what a module that
    /// takes all bands works on. Audio thread.
    std::uint32_t ProcessAutomated(const StageContext& context, std::uint32_t uFrames, float* left,
                                   float* right, bool bForce = false, float* const* bandsLeft = nullptr,
                                   float* const* bandsRight = nullptr);

    /// Carries the automated parameters to where they stand at the block's end, for a block in which nothing
    /// calls ProcessAutomated. Without it automation could switch off the last module of a group that runs
    /// only while one of it is active, and never switch one on again. Computes no audio. Audio thread.
    void FollowAutomation(const StageContext& context, std::uint32_t uFrames);

    // For displays. -------------------------------------------------------------------------------------

    void SetMetersEnabled(bool bEnabled) { m_bMetersEnabled = bEnabled; }
    bool MetersEnabled() const { return m_bMetersEnabled; }
    Util::Relaxed<bool>& EditorDirty() { return m_bEditorDirty; }

    /// Colours the marks of all automated parameters that have segments, and takes the mark off all others.
    void SpreadHighlight(Highlight highlight);

protected:
    Component(PluginContext& plugin, std::string strName);

    /// Enters the finished tables into the engine. The last line of a module's constructor.
    void FinishTables();

    /// The value behind a changed setter has been stored.
    void MarkDirty() { m_plugin.MarkDirty(); }

    /// The latency or the activity may have changed. Left out during a preset change, whose end recomputes
    /// both. Not under the component's lock, unless on the audio thread.
    void DelayChanged();
    void ActivityChanged();

    PluginContext& m_plugin;
    Util::NamedLock m_lock;

    // The tables. Written at construction only, but for the marks.
    std::vector<FloatRecord> m_floats;
    std::vector<BoolRecord> m_bools;
    std::vector<IntRecord> m_ints;
    std::vector<UIntRecord> m_uints;

    // The block in progress, under the lock.
    ComponentBlockBuffer m_blockBuffer;
    std::array<float*, ComponentBlockBuffer::kBands> m_bandsLeft{};  ///< the band arrays
    std::array<float*, ComponentBlockBuffer::kBands> m_bandsRight{};
    std::int64_t m_nPosition = 0;  ///< time of the sub-block's first frame, 100 ns

private:
    struct EnvelopeValues;

    std::uint32_t ProcessBuffered(const StageContext& context, const ComponentBlockBuffer::Piece& piece);
    std::uint32_t ProcessStrides(const StageContext& context, const ComponentBlockBuffer::Piece& piece,
                                 std::int64_t nPosition);
    void EvaluateEnvelopes(const EnvelopeSpan& span);
    void ApplyEnvelopes(std::uint32_t uStride);
    std::uint32_t RunPiece(const ComponentBlockBuffer::Piece& piece, std::uint32_t uOffset,
                           std::uint32_t uFrames);

    std::string m_strName;
    std::unique_ptr<EnvelopeHandler> m_envelopes;
    std::unique_ptr<EnvelopeValues> m_values;

    std::uint32_t m_uStage = 0;
    Util::Relaxed<bool> m_bActive = false;
    Util::Relaxed<bool> m_bAutomationActive = false;
    Util::Relaxed<bool> m_bMetersEnabled = true;
    Util::Relaxed<bool> m_bPresetChanging = false;
    Util::Relaxed<bool> m_bEditorDirty = false;
};
