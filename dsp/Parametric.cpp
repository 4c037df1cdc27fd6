#include "dsp/Parametric.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <utility>

#include "dsp/vector/Decibel.h"
#include "dsp/vector/SoftSaturation.h"
#include "hvBase/Util/Text.h"

namespace DSP::Equalizer {

namespace {

constexpr float kMinFrequency = 20.0f;
constexpr float kMaxFrequency = 20000.0f;
constexpr float kMinGainDb = -30.0f;
constexpr float kMaxGainDb = 15.0f;
constexpr float kMinQ = 0.2f;
constexpr float kMaxQ = 12.0f;
constexpr float kKeptDecades = 0.3f;

constexpr FilterNode kFactoryNodes[kNodes] = {
    {true, Shape::LowShelf, 30.0f, 0.0f, 0.2f}, {true, Shape::Bell, 70.0f, 0.0f, 0.2f},
    {true, Shape::Bell, 180.0f, 0.0f, 0.3f},    {true, Shape::Bell, 520.0f, 0.0f, 0.3f},
    {true, Shape::Bell, 1870.0f, 0.0f, 0.3f},   {true, Shape::Bell, 3900.0f, 0.0f, 0.3f},
    {true, Shape::Bell, 7400.0f, 0.0f, 0.3f},   {true, Shape::HighShelf, 16000.0f, 0.0f, 0.2f},
};

constexpr std::int32_t kLastType = 2;
constexpr std::int32_t kLastFftSize = static_cast<std::int32_t>(CurveFir::kLengths.size()) - 1;
constexpr std::int32_t kLastBufferSize = static_cast<std::int32_t>(kBufferSizes.size()) - 1;
constexpr std::int32_t kLastShape = 4;

// A NaN reads as the lower end.
float Limited(float fValue, float fMin, float fMax) {
    return fValue >= fMin ? std::min(fValue, fMax) : fMin;
}

FilterNode Limited(FilterNode node) {
    const auto nShape = std::clamp(static_cast<std::int32_t>(node.shape), 0, kLastShape);
    node.shape = static_cast<Shape>(nShape);
    node.fFrequency = Limited(node.fFrequency, kMinFrequency, kMaxFrequency);
    node.fGainDb = Limited(node.fGainDb, kMinGainDb, kMaxGainDb);
    node.fQ = Limited(node.fQ, kMinQ, kMaxQ);
    return node;
}

}  // namespace

FilterNode Parametric::NodeParameters::Get() const {
    return {bEnabled, static_cast<Shape>(nShape.Get()), fFrequency, fGainDb, fQ};
}

void Parametric::NodeParameters::Store(const FilterNode& node) {
    bEnabled = node.bEnabled;
    nShape = static_cast<std::int32_t>(node.shape);
    fFrequency = node.fFrequency;
    fGainDb = node.fGainDb;
    fQ = node.fQ;
}

Parametric::Parametric(PluginContext& plugin) : ComponentImpl(plugin, "Equalizer::Parametric") {
    const auto name = [](const char* pattern, std::uint32_t iNode) {
        return Util::Format(pattern, std::to_string(iNode + 1));
    };
    for (std::uint32_t i = 0; i < kNodes; ++i) {
        m_nodes[i].Store(kFactoryNodes[i]);
        Float(name("EQ: Freq %1", i), "Hz", kMinFrequency, kMaxFrequency, kFactoryNodes[i].fFrequency,
              &Parametric::Frequency, &Parametric::SetFrequency, i)
            .InPreset(PresetGroup::Equalizer)
            .Automatable();
    }
    for (std::uint32_t i = 0; i < kNodes; ++i) {
        Float(name("EQ: Gain %1", i), "dB", kMinGainDb, kMaxGainDb, 0, &Parametric::GainDb,
              &Parametric::SetGainDb, i)
            .InPreset(PresetGroup::Equalizer)
            .Automatable();
    }
    for (std::uint32_t i = 0; i < kNodes; ++i) {
        Float(name("EQ: Q/Slope %1", i), "", kMinQ, kMaxQ, kFactoryNodes[i].fQ, &Parametric::Q,
              &Parametric::SetQ, i)
            .InPreset(PresetGroup::Equalizer)
            .Automatable();
    }
    Bool("EQ: Bypass", true, &Parametric::Bypass, &Parametric::SetBypass)
        .InPreset(PresetGroup::Equalizer)
        .Automatable();
    Bool("EQ: Solo Mute", false, &Parametric::SoloMute, &Parametric::SetSoloMute)
        .InPreset(PresetGroup::Equalizer);
    Bool("EQ: Soft Saturation", false, &Parametric::SoftSaturation, &Parametric::SetSoftSaturation)
        .InPreset(PresetGroup::Equalizer)
        .Automatable();
    for (std::uint32_t i = 0; i < kNodes; ++i) {
        Bool(name("EQ: Enable %1", i), true, &Parametric::Enabled, &Parametric::SetEnabled, i)
            .InPreset(PresetGroup::Equalizer)
            .Automatable();
    }
    Int("EQ: Type", "", 0, kLastType, 0, &Parametric::TypeIndex, &Parametric::SetTypeIndex)
        .Labelled({"Analog", "Digital", "Matching"})
        .InPreset(PresetGroup::Equalizer)
        .Automatable();
    Int("EQ: FFT Size", "", 0, kLastFftSize, 0, &Parametric::FftSizeIndex, &Parametric::SetFftSizeIndex)
        .Labelled({"1024", "4096", "16384"})
        .InPreset(PresetGroup::Equalizer);
    Int("EQ: Buffer Size", "", 0, kLastBufferSize, kDefaultBufferSize, &Parametric::BufferSizeIndex,
        &Parametric::SetBufferSizeIndex)
        .Labelled(BufferSizeLabels())
        .InPreset(PresetGroup::Equalizer);
    for (std::uint32_t i = 0; i < kNodes; ++i) {
        Int(name("EQ: Shape %1", i), "", 0, kLastShape, static_cast<std::int32_t>(kFactoryNodes[i].shape),
            &Parametric::ShapeIndex, &Parametric::SetShapeIndex, i)
            .Labelled({"Bell", "Lowshelf", "Highshelf", "Lowpass", "Highpass"})
            .InPreset(PresetGroup::Equalizer);
    }

    for (auto* const curve : {&m_curve, &m_bench.curve})
        curve->reserve(static_cast<std::size_t>(CurveFir::kLengths.back()) / 2 + 1);
    DesignAllNodes();
    Request(kCurve | kFilter);
    m_blockBuffer.Reserve(kBufferSizes.back());
    FinishTables();
}

// Switches and enumerations. --------------------------------------------------------------------------------

void Parametric::SetFlag(Util::Relaxed<bool>& flag, bool bValue) {
    if (flag.Exchange(bValue) != bValue) MarkDirty();
}

bool Parametric::SetIndex(Util::Relaxed<std::int32_t>& index, std::int32_t nValue, std::int32_t nLast) {
    nValue = std::clamp(nValue, 0, nLast);
    if (index.Exchange(nValue) == nValue) return false;
    MarkDirty();
    return true;
}

void Parametric::SetBypass(bool bBypass) {
    if (m_bBypass.Exchange(bBypass) == bBypass) return;
    MarkDirty();
    ActivityChanged();
}

void Parametric::SetSoloMute(bool bMute) {
    if (m_bSoloMute.Exchange(bMute) == bMute) return;
    MarkDirty();
    ActivityChanged();
}

void Parametric::SetSoftSaturation(bool bSaturate) {
    SetFlag(m_bSoftSaturation, bSaturate);
}

void Parametric::SetTypeIndex(std::int32_t nType) {
    if (SetIndex(m_nType, nType, kLastType)) Request(kFilter | kRestart | kFlush);
}

void Parametric::SetFftSizeIndex(std::int32_t nIndex) {
    ChangeAsDesigner(
        [=, this] { return SetIndex(m_nFftSize, nIndex, kLastFftSize) ? kCurve | kFilter | kRestart : 0u; });
}

void Parametric::SetBufferSizeIndex(std::int32_t nIndex) {
    ChangeAsDesigner([=, this] {
        return SetIndex(m_nBufferSize, nIndex, kLastBufferSize) ? kFilter | kRestart | kFlush : 0u;
    });
}

// Nodes. ----------------------------------------------------------------------------------------------------

template <class Change>
void Parametric::ChangeNode(std::uint32_t iNode, Change change) {
    bool bFilter = false;
    {
        // Held over the whole change: two setters of one node must not undo each other.
        const std::lock_guard lock(m_lock);
        const FilterNode before = m_nodes[iNode].Get();
        FilterNode after = before;
        change(after);
        after = Limited(after);
        if (after == before) return;
        MarkDirty();
        m_nodes[iNode].Store(after);
        if (!m_bFir) UpdateTaps(iNode, before, after);
        bFilter = m_nType != static_cast<std::int32_t>(Type::Analog) && (before.IsLive() || after.IsLive());
    }
    if (bFilter) Request(kFilter);
}

void Parametric::UpdateTaps(std::uint32_t iNode, const FilterNode& before, const FilterNode& after) {
    m_cascade.SetTaps(iNode, DesignBiquad(after, m_uSampleRate));
    const float fDecades = GuardedLog10(after.fFrequency) - GuardedLog10(before.fFrequency);
    const bool bKeep = after.shape == before.shape && std::abs(fDecades) < kKeptDecades;
    if (!bKeep) m_cascade.Reset(iNode);
}

void Parametric::DesignAllNodes() {
    for (std::uint32_t i = 0; i < kNodes; ++i)
        m_cascade.SetTaps(i, DesignBiquad(m_nodes[i].Get(), m_uSampleRate));
    m_cascade.Reset();
}

void Parametric::SetEnabled(std::uint32_t iNode, bool bEnabled) {
    ChangeNode(iNode, [=](FilterNode& node) { node.bEnabled = bEnabled; });
}

void Parametric::SetShapeIndex(std::uint32_t iNode, std::int32_t nShape) {
    ChangeNode(iNode, [=](FilterNode& node) { node.shape = static_cast<Shape>(nShape); });
}

void Parametric::SetFrequency(std::uint32_t iNode, float fFrequency) {
    ChangeNode(iNode, [=](FilterNode& node) { node.fFrequency = fFrequency; });
}

void Parametric::SetGainDb(std::uint32_t iNode, float fGainDb) {
    ChangeNode(iNode, [=](FilterNode& node) { node.fGainDb = fGainDb; });
}

void Parametric::SetQ(std::uint32_t iNode, float fQ) {
    ChangeNode(iNode, [=](FilterNode& node) { node.fQ = fQ; });
}

bool Parametric::SetNode(std::uint32_t iNode, float fFrequency, float fGainDb, float fQ, Shape shape) {
    ChangeNode(iNode, [=](FilterNode& node) { node = {node.bEnabled, shape, fFrequency, fGainDb, fQ}; });
    return true;
}

// Audition and matching.
// --------------------------------------------------------------------------------------

void Parametric::SetAuditionFilter(std::optional<float> frequency, std::optional<float> gainDb,
                                   std::optional<float> q) {
    m_audition.Set(m_uSampleRate, frequency, gainDb, q);
}

void Parametric::SetSpectra(MatchSpectrum source, MatchSpectrum target) {
    Spectra spectra{MatchTable(std::move(source)), MatchTable(std::move(target))};
    ChangeAsDesigner([&] {
        m_spectra = std::move(spectra);
        return kCurve | kFilter;
    });
}

void Parametric::SetMatchingAmount(float fPercent) {
    fPercent = Limited(fPercent, 0.0f, 100.0f);
    if (m_fMatchingAmount.Exchange(fPercent) != fPercent) Request(kFilter);
}

void Parametric::SetSmoothing(float fSmoothing) {
    fSmoothing = Limited(fSmoothing, 0.0f, 1.0f);
    if (m_fSmoothing.Exchange(fSmoothing) != fSmoothing) Request(kCurve | kFilter);
}

// Audio.
// ------------------------------------------------------------------------------------------------------

void Parametric::SetSampleRate(std::uint32_t uSampleRate) {
    uSampleRate = std::max(uSampleRate, 1u);
    if (uSampleRate == m_uSampleRate) return ClearState();
    ChangeAsDesigner([=, this] {
        const std::lock_guard lock(m_lock);
        m_uSampleRate = uSampleRate;
        if (!m_bFir) DesignAllNodes();
        if (m_audition.IsOn()) m_audition.Set(uSampleRate, std::nullopt, std::nullopt, std::nullopt);
        return kCurve | kFilter | kRestart;
    });
}

void Parametric::ClearState() {
    const std::lock_guard lock(m_lock);
    ClearHeld();
}

// ClearState, for those who hold the lock.
void Parametric::ClearHeld() {
    m_audition.Reset();
    m_cascade.Reset();
    if (m_convolver) m_convolver->Reset();
}

std::uint32_t Parametric::ProcessBlock(std::uint32_t uFrames, float* left, float* right) {
    const std::lock_guard lock(m_lock);
    {
        const std::lock_guard audition(m_auditionLock);
        if (m_audition.IsOn()) return m_audition.Process(uFrames, left, right);
    }
    const auto nFrames = static_cast<int>(uFrames);
    if (m_bFir) {
        m_convolver->Process(nFrames, left, right);
    } else {
        NodeCascade::NodeSet live;
        for (std::uint32_t i = 0; i < kNodes; ++i)
            live[i] = m_nodes[i].Get().IsLive();
        m_cascade.Process(live, nFrames, left, right);
    }
    if (m_bSoftSaturation) {
        VectorSoftSaturate(left, nFrames);
        if (right) VectorSoftSaturate(right, nFrames);
    }
    return uFrames;
}

}  // namespace DSP::Equalizer
