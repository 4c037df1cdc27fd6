#include "PluginBase/Component.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "hvBase/Util/Text.h"

namespace {

constexpr std::int64_t kTicksPerSecond = 10'000'000;

}  // namespace

/// The automation of one piece: for each automatable parameter one value a stride. `bLive` says whether the
/// parameter had segments when the piece began.
struct Component::EnvelopeValues {
    template <class Value>
    struct Lane {
        std::uint32_t uIndex;
        bool bLive = false;
        std::vector<Value> values;
    };
    std::vector<Lane<float>> floats;
    std::vector<Lane<std::uint8_t>> bools;
    std::vector<Lane<std::int32_t>> ints;
    std::uint32_t uStrides = 0;  ///< room in every lane

    /// Takes memory for all lanes at once, automated or not: with the longest block, not with the first
    /// segment. Audio thread.
    void Grow(std::uint32_t uWanted) {
        if (uWanted <= uStrides) return;
        uStrides = uWanted;
        const auto grow = [&](auto& lanes) {
            for (auto& lane : lanes)
                lane.values.resize(uStrides);
        };
        grow(floats);
        grow(bools);
        grow(ints);
    }
};

Component::Component(PluginContext& plugin, std::string strName)
    : m_plugin(plugin),
      m_lock(Util::Format("DSP::Component %1", strName), Util::LockUse::OnAudioThread),
      m_strName(std::move(strName)),
      m_values(std::make_unique<EnvelopeValues>()) {}

Component::~Component() = default;

void Component::FinishTables() {
    m_envelopes = std::make_unique<EnvelopeHandler>(Util::Format("%1::EnvelopeHandler", m_strName),
                                                    m_floats.size(), m_bools.size(), m_ints.size());
    const auto collect = [](const auto& table, auto& lanes) {
        for (std::uint32_t i = 0; i < table.size(); ++i) {
            if (table[i].bAutomatable) lanes.push_back({i, false, {}});
        }
    };
    collect(m_floats, m_values->floats);
    collect(m_bools, m_values->bools);
    collect(m_ints, m_values->ints);
    m_plugin.AddComponent(*this);
}

std::uint32_t Component::Count(ParameterGroup group) const {
    switch (group) {
        case ParameterGroup::Float:
            return static_cast<std::uint32_t>(m_floats.size());
        case ParameterGroup::Bool:
            return static_cast<std::uint32_t>(m_bools.size());
        case ParameterGroup::Int:
            return static_cast<std::uint32_t>(m_ints.size());
        case ParameterGroup::UInt:
            return static_cast<std::uint32_t>(m_uints.size());
    }
    return 0;
}

ParameterInfo& Component::Info(ParameterGroup group, std::uint32_t uIndex) {
    switch (group) {
        case ParameterGroup::Float:
            return m_floats[uIndex];
        case ParameterGroup::Bool:
            return m_bools[uIndex];
        case ParameterGroup::Int:
            return m_ints[uIndex];
        case ParameterGroup::UInt:
            break;
    }
    return m_uints[uIndex];
}

void Component::WriteExtraBytes(std::vector<std::uint8_t>&, std::size_t) const {}
void Component::ReadExtraBytes(const std::vector<std::uint8_t>&, std::size_t) {}
void Component::CopyBand(std::uint32_t, Util::DataStream&) const {}
void Component::PasteBand(std::uint32_t, Util::DataStream&) {}
void Component::ResetBand(std::uint32_t) {}

void Component::DelayChanged() {
    if (!m_bPresetChanging) m_plugin.RequestDelayUpdate();
}

void Component::ActivityChanged() {
    if (!m_bPresetChanging) m_plugin.RequestActivityUpdate();
}

bool Component::RunsAllBands() const {
    return TakesAllBands() && !m_envelopes->HasSegments();
}

bool Component::HasAutomation() const {
    const auto automated = [&](ParameterGroup group, const auto& lanes) {
        return std::any_of(lanes.begin(), lanes.end(), [&](const auto& lane) {
            return m_envelopes->SegmentCount(group, lane.uIndex) != 0;
        });
    };
    return automated(ParameterGroup::Float, m_values->floats) ||
           automated(ParameterGroup::Bool, m_values->bools) || automated(ParameterGroup::Int, m_values->ints);
}

void Component::SpreadHighlight(Highlight highlight) {
    const auto spread = [&](ParameterGroup group, auto& table) {
        for (std::uint32_t i = 0; i < table.size(); ++i) {
            const bool bAutomated = table[i].bAutomatable && m_envelopes->SegmentCount(group, i) != 0;
            table[i].SetHighlight(static_cast<std::uint32_t>(bAutomated ? highlight : Highlight::None));
        }
    };
    spread(ParameterGroup::Float, m_floats);
    spread(ParameterGroup::Bool, m_bools);
    spread(ParameterGroup::Int, m_ints);
}

std::uint32_t Component::BlockBufferLatency() {
    const std::lock_guard lock(m_lock);
    return m_blockBuffer.Latency();
}

void Component::ClearAudio() {
    ClearState();
    ClearBlockBuffer();
}

void Component::ClearBlockBuffer() {
    const std::lock_guard lock(m_lock);
    m_blockBuffer.Clear();
}

std::uint32_t Component::ProcessBlock(std::uint32_t uFrames, float*, float*) {
    return uFrames;
}

void Component::ReserveBlocks(std::uint32_t uFrames) {
    const std::lock_guard lock(m_lock);
    m_values->Grow(StageContext::MostStrides(uFrames));
    m_blockBuffer.ReserveBlocks(uFrames);
}

std::uint32_t Component::ProcessAutomated(const StageContext& context, std::uint32_t uFrames, float* left,
                                          float* right, bool bForce, float* const* bandsLeft,
                                          float* const* bandsRight) {
    if (!m_bActive && !m_bAutomationActive && !bForce) return uFrames;
    const std::lock_guard lock(m_lock);
    m_blockBuffer.Begin(uFrames, left, right, bandsLeft, bandsRight);
    std::uint32_t uResult = uFrames;
    ComponentBlockBuffer::Piece piece;
    while (m_blockBuffer.NextBlock(piece)) {
        const std::uint32_t uDone = ProcessBuffered(context, piece);
        if (m_blockBuffer.BlockSize() == 0 && !m_blockBuffer.Reconfigured()) uResult = uDone;
    }
    m_blockBuffer.End();
    m_bandsLeft.fill(nullptr);
    m_bandsRight.fill(nullptr);
    return uResult;
}

std::uint32_t Component::ProcessBuffered(const StageContext& context,
                                         const ComponentBlockBuffer::Piece& piece) {
    const std::int64_t nPosition =
        context.nPosition + piece.nOffset * kTicksPerSecond / std::int64_t{context.uSampleRate};
    if (!m_envelopes->HasSegments()) {
        m_nPosition = nPosition;
        return RunPiece(piece, 0, piece.uFrames);
    }
    return ProcessStrides(context, piece, nPosition);
}

/// Gives ProcessBlock a stretch of the piece.
std::uint32_t Component::RunPiece(const ComponentBlockBuffer::Piece& piece, std::uint32_t uOffset,
                                  std::uint32_t uFrames) {
    const auto at = [uOffset](float* samples) { return samples ? samples + uOffset : nullptr; };
    for (std::uint32_t i = 0; i < ComponentBlockBuffer::kBands; ++i) {
        m_bandsLeft[i] = at(piece.bandsLeft[i]);
        m_bandsRight[i] = at(piece.bandsRight[i]);
    }
    const std::uint32_t uDone = ProcessBlock(uFrames, at(piece.left), at(piece.right));
    m_blockBuffer.Advance(uFrames);
    return uDone;
}

/// Fills the lanes of all parameters that have segments.
void Component::EvaluateEnvelopes(const EnvelopeSpan& span) {
    m_values->Grow(span.StrideCount());
    const auto evaluate = [&](ParameterGroup group, auto& lanes, auto&& run) {
        for (auto& lane : lanes) {
            lane.bLive = m_envelopes->SegmentCount(group, lane.uIndex) != 0;
            if (!lane.bLive) continue;
            run(lane);
        }
    };
    evaluate(ParameterGroup::Float, m_values->floats, [&](auto& lane) {
        m_envelopes->EvaluateFloat(lane.uIndex, span, GetFloat(lane.uIndex), 0.0f, lane.values);
    });
    evaluate(ParameterGroup::Bool, m_values->bools, [&](auto& lane) {
        m_envelopes->EvaluateBool(lane.uIndex, span, GetBool(lane.uIndex), lane.values);
    });
    evaluate(ParameterGroup::Int, m_values->ints, [&](auto& lane) {
        m_envelopes->EvaluateInt(lane.uIndex, span, GetInt(lane.uIndex), lane.values);
    });
}

void Component::FollowAutomation(const StageContext& context, std::uint32_t uFrames) {
    if (uFrames == 0 || !m_envelopes->HasSegments()) return;
    const std::lock_guard lock(m_lock);
    const EnvelopeSpan span{context.uSampleRate, context.nPosition, uFrames, std::max(context.uStride, 1u)};
    EvaluateEnvelopes(span);
    ApplyEnvelopes(static_cast<std::uint32_t>(span.StrideCount()) - 1);
    if (context.refresh) *context.refresh = true;
}

std::uint32_t Component::ProcessStrides(const StageContext& context, const ComponentBlockBuffer::Piece& piece,
                                        std::int64_t nPosition) {
    const bool bBuffered = m_blockBuffer.BlockSize() != 0;
    const EnvelopeSpan span{context.uSampleRate, nPosition, piece.uFrames,
                            std::max(bBuffered ? piece.uFrames : context.uStride, 1u)};
    EvaluateEnvelopes(span);

    std::uint32_t uDone = 0;
    for (std::uint32_t i = 0; i < span.StrideCount(); ++i) {
        const std::uint32_t uOffset = i * span.uStride;
        const std::uint32_t uFrames = std::min(span.uStride, piece.uFrames - uOffset);
        ApplyEnvelopes(i);
        if (m_blockBuffer.Reconfigured()) {
            uDone += piece.uFrames - uOffset;
            break;
        }
        m_nPosition = nPosition + std::int64_t{uOffset} * kTicksPerSecond / std::int64_t{context.uSampleRate};
        uDone += RunPiece(piece, uOffset, uFrames);
    }
    // The automation may have switched the module on or off.
    m_bActive = IsActive();
    if (context.refresh) *context.refresh = true;
    return uDone;
}

void Component::ApplyEnvelopes(std::uint32_t uStride) {
    for (const auto& lane : m_values->floats) {
        if (!lane.bLive || m_floats[lane.uIndex].bTouched) continue;
        if (const float fValue = lane.values[uStride]; fValue != GetFloat(lane.uIndex)) {
            SetFloat(lane.uIndex, fValue);
        }
    }
    for (const auto& lane : m_values->bools) {
        if (!lane.bLive || m_bools[lane.uIndex].bTouched) continue;
        if (const bool bValue = lane.values[uStride] != 0; bValue != GetBool(lane.uIndex)) {
            SetBool(lane.uIndex, bValue);
        }
    }
    for (const auto& lane : m_values->ints) {
        if (!lane.bLive || m_ints[lane.uIndex].bTouched) continue;
        if (const std::int32_t nValue = lane.values[uStride]; nValue != GetInt(lane.uIndex)) {
            SetInt(lane.uIndex, nValue);
        }
    }
}
