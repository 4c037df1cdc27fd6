#include "PluginBase/TransformBase.h"

#include <algorithm>
#include <mutex>

#include "PluginBase/Plugin.h"
#include "dsp/vector/Elementwise.h"
#include "dsp/vector/Repair.h"
#include "hvBase/Util/TickCount.h"

namespace {

constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::uint32_t kRefreshIntervalMs = 67;

std::int32_t Length(std::uint32_t uFrames) {
    return static_cast<std::int32_t>(uFrames);
}

}  // namespace

TransformBase::TransformBase(Plugin& plugin) : m_plugin(plugin), m_global(plugin), m_globalDerived(plugin) {}

void TransformBase::SetChannels(std::uint32_t uInput, std::uint32_t uOutput) {
    m_uInputChannels = uInput;
    m_uOutputChannels = uOutput;
}

bool TransformBase::HardBypass() {
    return m_global.Bypass() &&
           m_global.Envelopes().SegmentCount(ParameterGroup::Bool, Global::kBypassIndex) == 0;
}

std::uint32_t TransformBase::Run(std::uint32_t uFrames, float* inLeft, float* inRight, float* outLeft,
                                 float* outRight) {
    if (uFrames == 0) return 0;
    const std::lock_guard block(m_plugin.TransformLock());

    const bool bChanging = m_plugin.IsPresetChanging();
    const PresetChangeMode mode = m_global.ChangeMode();
    if (bChanging ? mode == PresetChangeMode::Bypass : HardBypass()) {
        ProcessBypassed(uFrames, inLeft, inRight, outLeft, outRight);
        return uFrames;
    }
    if (bChanging && mode == PresetChangeMode::Mute) {
        DSP::VectorZero(outLeft, Length(uFrames));
        if (outRight) DSP::VectorZero(outRight, Length(uFrames));
        return uFrames;
    }

    const bool bWantMono = m_global.ProcessAsMono();
    if (bWantMono != m_bMono && inRight) {
        m_bMono = bWantMono;
        ResetStreams();
        Reconfigure(m_uSampleRate);
    }
    float* const callersRight = outRight;
    const bool bFold = m_bMono && inRight;
    if (bFold) {
        DSP::VectorAdd(inRight, inLeft, Length(uFrames));
        DSP::VectorScale(0.5f, inLeft, Length(uFrames));
        inRight = outRight = nullptr;
    }
    m_bRanMono = inRight == nullptr;

    UpdateNow();
    if (uFrames > m_uReserved) ReserveBlocks(uFrames);
    {
        const std::lock_guard lock(m_plugin.Lock());
        m_bInBlock = true;
    }
    m_bDelayCompensation = m_global.DelayCompensation();
    const std::uint32_t uProduced = TrimDelay(uFrames, inLeft, inRight, outLeft, outRight);
    {
        const std::lock_guard lock(m_plugin.Lock());
        m_bInBlock = false;
    }
    if (bFold && callersRight) DSP::VectorCopy(outLeft, callersRight, Length(uProduced));
    return uProduced;
}

void TransformBase::ReserveBlocks(std::uint32_t uFrames) {
    m_uReserved = uFrames;
    m_bypassValues.resize(StageContext::MostStrides(uFrames));
    for (Component* component : m_plugin.Components())
        component->ReserveBlocks(uFrames);
}

bool TransformBase::IsCompensating() const {
    return m_bDelayCompensation && m_plugin.TrimsDelay();
}

std::uint32_t TransformBase::TrimDelay(std::uint32_t uFrames, float* inLeft, float* inRight, float* outLeft,
                                       float* outRight) {
    const std::uint32_t uProduced = RunAutomated(uFrames, inLeft, inRight, outLeft, outRight);
    if (!IsCompensating() || m_uDelayTrimmed >= m_uSystemDelay) return uProduced;

    const std::uint32_t uRemaining = m_uSystemDelay - m_uDelayTrimmed;
    if (uRemaining >= uProduced) {
        m_uDelayTrimmed = m_uDelayTrimmed + uProduced;
        return 0;
    }
    const std::uint32_t uKept = uProduced - uRemaining;
    DSP::VectorMove(outLeft + uRemaining, outLeft, Length(uKept));
    if (outRight) DSP::VectorMove(outRight + uRemaining, outRight, Length(uKept));
    m_uDelayTrimmed = m_uDelayTrimmed + uRemaining;
    return uKept;
}

std::uint32_t TransformBase::RunAutomated(std::uint32_t uFrames, float* inLeft, float* inRight,
                                          float* outLeft, float* outRight) {
    const std::uint32_t uStride = m_global.AutomationStride();
    const bool bAutomated =
        m_global.Envelopes().SegmentCount(ParameterGroup::Bool, Global::kBypassIndex) != 0;
    const std::uint32_t uProduced =
        bAutomated ? RunStrides(uFrames, inLeft, inRight, outLeft, outRight, uStride)
                   : RunSegment(uFrames, inLeft, inRight, outLeft, outRight, uStride, m_nStreamPosition);
    RefreshDisplay();
    return uProduced;
}

std::uint32_t TransformBase::RunStrides(std::uint32_t uFrames, float* inLeft, float* inRight, float* outLeft,
                                        float* outRight, std::uint32_t uStride) {
    const EnvelopeSpan span{m_uSampleRate, m_nStreamPosition, uFrames, uStride};
    m_global.Envelopes().EvaluateBool(Global::kBypassIndex, span, m_global.Bypass(), m_bypassValues);

    std::uint32_t uTotal = 0;
    for (std::uint32_t i = 0; i < span.StrideCount(); ++i) {
        const std::uint32_t uOffset = i * uStride;
        const std::uint32_t uLength = std::min(uStride, uFrames - uOffset);
        ApplyAutomatedBypass(m_bypassValues[i] != 0);
        float* const right = inRight ? inRight + uOffset : nullptr;
        float* const toRight = outRight ? outRight + uTotal : nullptr;
        if (m_global.Bypass()) {
            ProcessBypassed(uLength, inLeft + uOffset, right, outLeft + uTotal, toRight);
            uTotal += uLength;
        } else {
            const std::int64_t nPosition =
                m_nStreamPosition + std::int64_t{uOffset} * kTicksPerSecond / m_uSampleRate.Get();
            uTotal +=
                RunSegment(uLength, inLeft + uOffset, right, outLeft + uTotal, toRight, uStride, nPosition);
        }
    }
    return uTotal;
}

void TransformBase::ApplyAutomatedBypass(bool bBypass) {
    if (m_global.BoolInfo(Global::kBypassIndex).bTouched || bBypass == m_global.Bypass()) return;
    m_global.StoreBypass(bBypass);
    if (bBypass) ResetAll();
    m_bRefreshWanted = true;
}

void TransformBase::RefreshDisplay() {
    if (!m_bRefreshWanted || !m_plugin.HasEditor()) return;
    const std::uint32_t uNow = Util::TickCountMs();
    if (uNow - m_uLastRefresh < kRefreshIntervalMs) return;
    m_bRefreshWanted = false;
    m_uLastRefresh = uNow;
    m_plugin.PostToEditor(EditorNotifyCode::Refresh);
}

std::uint32_t TransformBase::RunSegment(std::uint32_t uFrames, float* inLeft, float* inRight, float* outLeft,
                                        float* outRight, std::uint32_t uStride, std::int64_t nPosition) {
    // Damage is kept out here as well as in each module: what a NaN or 1e30 leaves behind in one module, a
    // filter that rings down from 600 dB, is sound for the next, and a slow release answers it for minutes.
    DSP::VectorRepair(inLeft, inLeft, Length(uFrames));
    if (inRight) DSP::VectorRepair(inRight, inRight, Length(uFrames));
    m_entryGuard.Apply(uFrames, inLeft, inRight);
    const StageContext context{m_uSampleRate, nPosition, uStride, &m_bRefreshWanted};
    return ProcessChain(context, uFrames, inLeft, inRight, outLeft, outRight);
}

void TransformBase::ProcessBypassed(std::uint32_t uFrames, const float* inLeft, const float* inRight,
                                    float* outLeft, float* outRight) {
    DSP::VectorCopy(inLeft, outLeft, Length(uFrames));
    if (inRight && outRight) DSP::VectorCopy(inRight, outRight, Length(uFrames));
}

std::uint32_t TransformBase::Flush(std::vector<float>& outLeft, std::vector<float>* outRight) {
    const std::lock_guard block(m_plugin.TransformLock());
    const std::uint32_t uDelay = m_uSystemDelay;
    if (!IsCompensating() || uDelay == 0) return 0;
    if (outLeft.size() < uDelay) outLeft.resize(uDelay);
    if (outRight && outRight->size() < uDelay) outRight->resize(uDelay);
    m_flushLeft.assign(uDelay, 0.0f);
    m_flushRight.assign(uDelay, 0.0f);

    // A mono chain behind a stereo output gives both channels the same, in the tail as before it.
    const bool bFold = outRight && m_bRanMono;
    const bool bStereo = outRight && !bFold;
    const std::uint32_t uProduced =
        RunSegment(uDelay, m_flushLeft.data(), bStereo ? m_flushRight.data() : nullptr, outLeft.data(),
                   bStereo ? outRight->data() : nullptr, m_global.AutomationStride(), m_nStreamPosition);
    if (bFold) DSP::VectorCopy(outLeft.data(), outRight->data(), Length(uProduced));
    return uDelay;
}

void TransformBase::RequestActivityUpdate() {
    m_bActivityDirty = true;
    RequestDelayUpdate();
}

void TransformBase::RequestDelayUpdate() {
    // The flags are atomic and not under the plug-in's lock: automation comes here on the audio thread,
    // inside a component's lock, while a state load holds the plug-in's lock and waits for the component's.
    m_bDelayDirty = true;
    if (m_bInBlock) return;
    UpdateNow();
    m_plugin.PostToEditor(EditorNotifyCode::Refresh);
}

void TransformBase::UpdateNow() {
    const bool bActivity = m_bActivityDirty.Exchange(false);
    const bool bDelay = m_bDelayDirty.Exchange(false);
    if (bActivity) UpdateActivity();
    if (bDelay) UpdateSystemDelay();
}

void TransformBase::UpdateActivity() {
    for (Component* component : m_plugin.Components()) {
        const bool bActive = component->IsActive();
        if (bActive == component->Active()) continue;
        component->SetActive(bActive);
        if (!bActive) component->ClearAudio();
    }
}

void TransformBase::UpdateSystemDelay() {
    std::uint32_t uDelay = 0;
    for (Component* component : m_plugin.Components()) {
        if (component->Active()) uDelay += component->GetLatency() + component->BlockBufferLatency();
    }
    const auto frozen = m_plugin.FrozenSystemDelay();
    uDelay = frozen.value_or(uDelay);
    if (m_plugin.AddsHostLatency()) uDelay += m_plugin.HostLatency(frozen.has_value());
    m_uSystemDelay = uDelay;
    m_plugin.OnSystemDelayUpdated();
}

void TransformBase::ResetStreams() {
    for (Component* component : m_plugin.Components())
        component->ResetStream();
}

void TransformBase::ResetAll() {
    MarkAllDirty();
    m_uDelayTrimmed = 0;
    m_entryGuard.Reset();
    ResetGuards();
    for (Component* component : m_plugin.Components())
        component->ClearAudio();
}

void TransformBase::Reconfigure(std::uint32_t uSampleRate) {
    m_uDelayTrimmed = 0;
    m_bDelayCompensation = m_global.DelayCompensation();
    const bool bChanged = uSampleRate != m_uSampleRate;
    m_uSampleRate = uSampleRate;
    ResetAll();
    for (Component* component : m_plugin.Components())
        component->SetSampleRate(uSampleRate);
    UpdateNow();
    if (bChanged) m_plugin.PostToEditor(EditorNotifyCode::SampleRateChanged);
}
