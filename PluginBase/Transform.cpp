#include "PluginBase/Transform.h"

#include <algorithm>
#include <mutex>

#include "PluginBase/Plugin.h"
#include "dsp/CrossOver.h"
#include "dsp/DCOffset.h"
#include "dsp/Dither.h"
#include "dsp/Dynamics.h"
#include "dsp/Exciter.h"
#include "dsp/Gain.h"
#include "dsp/Imager.h"
#include "dsp/Maximizer.h"
#include "dsp/Parametric.h"
#include "dsp/Reverb.h"
#include "dsp/Snapshot.h"
#include "dsp/meter/AutoNormalize.h"
#include "dsp/meter/Bit.h"
#include "dsp/meter/Level.h"
#include "dsp/meter/Phase.h"
#include "dsp/meter/Spectrum.h"
#include "dsp/meter/SpectrumState.h"
#include "dsp/vector/Elementwise.h"

namespace {

std::int32_t Length(std::uint32_t uFrames) {
    return static_cast<std::int32_t>(uFrames);
}

void RunModule(Component* module, const StageContext& context, std::uint32_t uFrames, float* left,
               float* right) {
    if (module) module->ProcessAutomated(context, uFrames, left, right);
}

void RunStage(Component* module, std::uint32_t uStage, const StageContext& context, std::uint32_t uFrames,
              float* left, float* right, bool bForce = false) {
    if (!module) return;
    module->SetStage(uStage);
    module->ProcessAutomated(context, uFrames, left, right, bForce);
}

bool IsRunning(const Component* meter) {
    return meter && meter->Active();
}

}  // namespace

// The order of these lines is the order of every persisted format: a new one goes where its place is fixed,
// and no two change places.
ModuleSet BuildModules(PluginContext& plugin) {
    using namespace DSP::Meter;
    ModuleSet modules;
    modules.level = modules.Add<Level>(plugin);
    auto* const spectrumState = modules.Add<SpectrumState>(plugin);
    modules.spectrum = modules.Add<Spectrum>(plugin, *spectrumState);
    modules.phase = modules.Add<Phase>(plugin);
    modules.bit = modules.Add<Bit>(plugin);
    modules.autoNormalize = modules.Add<AutoNormalize>(plugin);
    modules.gain = modules.Add<DSP::Gain>(plugin);
    auto* const crossOver = modules.Add<DSP::CrossOver>(plugin);
    modules.crossOver = crossOver;
    modules.bands = crossOver;
    auto* const equalizer = modules.Add<DSP::Equalizer::Parametric>(plugin);
    modules.equalizer = equalizer;
    auto* const snapshot = modules.Add<Snapshot>(plugin, *modules.spectrum, *equalizer);
    modules.matching = snapshot;
    modules.snapshots = snapshot;
    modules.reverb = modules.Add<DSP::Reverb>(plugin);
    modules.maximizer = modules.Add<DSP::Maximizer>(plugin);
    modules.exciter = modules.Add<DSP::Exciter>(plugin, modules.bands);
    modules.dynamics = modules.Add<DSP::Dynamics>(plugin);
    modules.imager = modules.Add<DSP::Imager>(plugin);
    modules.dcOffset = modules.Add<DSP::DCOffset>(plugin);
    modules.dither = modules.Add<DSP::Dither>(plugin);

    // The bands are split while a module works on them.
    crossOver->SetBandModules({modules.exciter, modules.dynamics, modules.imager});
    return modules;
}

Transform::Transform(Plugin& plugin, ModuleFactory buildModules)
    : TransformBase(plugin), m_modules(buildModules(plugin)) {}

void Transform::UpdateAll() {
    MarkAllDirty();
    UpdateNow();
}

void Transform::ReserveBlocks(std::uint32_t uFrames) {
    TransformBase::ReserveBlocks(uFrames);
    for (std::uint32_t b = 0; b < kBands; ++b) {
        m_bandsLeft[b].reserve(uFrames);
        m_bandsRight[b].reserve(uFrames);
    }
}

void Transform::ResetGuards() {
    m_crossOverGuard.Reset();
    m_bandGuard.Reset();
    m_silenceGuard.Reset();
}

void Transform::ClearLatches() {
    if (m_modules.level) m_modules.level->ClearClips();
}

MeterReadings Transform::ReadMeters() {
    MeterReadings readings;
    if (auto* const level = m_modules.level) {
        for (std::uint32_t i = 0; i < readings.levels.size(); ++i) {
            const DSP::Meter::Level::Reading reading = level->Read(i);
            readings.levels[i] = {reading.fValue, reading.fHeld, level->Clipped(i)};
        }
    }
    if (auto* const spectrum = m_modules.spectrum) {
        DSP::Meter::Spectrum::Reading reading = spectrum->Current();
        readings.strSpectrumType = std::move(reading.strType);
        readings.frequencies = std::move(reading.frequencies);
        readings.magnitudes = std::move(reading.magnitudes);
    }
    if (const auto* const phase = m_modules.phase) {
        const auto histogram = phase->Histogram();
        readings.correlations.assign(histogram.begin(), histogram.end());
        for (const DSP::Meter::Phase::Point& point : phase->Trace()) {
            readings.trace.push_back(point.nColumn);
            readings.trace.push_back(point.nRow);
        }
    }
    for (std::uint32_t i = 0; m_modules.bit && i < readings.bits.size(); ++i) {
        const auto& bits = m_modules.bit->Bits(i);
        readings.bits[i].assign(bits.begin(), bits.end());
    }
    if (auto* const dynamics = dynamic_cast<DSP::Dynamics*>(m_modules.dynamics)) {
        for (std::uint32_t b = 0; b < readings.dynamics.size(); ++b) {
            const auto histogram = dynamics->Histogram(b);
            readings.dynamics[b] = {dynamics->TakeMinimumCompGain(b),
                                    dynamics->TakeMinimumGateGain(b),
                                    {histogram.begin(), histogram.end()}};
        }
    }
    if (auto* const maximizer = dynamic_cast<DSP::Maximizer*>(m_modules.maximizer)) {
        const auto histogram = maximizer->Histogram();
        readings.fMaximizerMinimumGain = maximizer->TakeMinimumGain();
        readings.maximizerHistogram.assign(histogram.begin(), histogram.end());
    }
    if (const auto* const filter = dynamic_cast<DSP::DCOffset*>(m_modules.dcOffset)) {
        for (std::uint32_t i = 0; i < readings.offsetMinimum.size(); ++i) {
            readings.offsetMinimum[i] = filter->OffsetMinimum(i);
            readings.offsetMaximum[i] = filter->OffsetMaximum(i);
        }
    }
    return readings;
}

std::uint32_t Transform::ProcessChain(const StageContext& context, std::uint32_t uFrames, float* inLeft,
                                      float* inRight, float* outLeft, float* outRight) {
    using DSP::Meter::Level;
    const bool bNormalize = IsRunning(m_modules.autoNormalize);
    if (bNormalize) m_modules.autoNormalize->MeasureInput(uFrames, inLeft, inRight);
    RunStage(m_modules.gain, DSP::Gain::kInput, context, uFrames, inLeft, inRight);
    MeterLevel(Level::kInputLeft, {uFrames, inLeft, inRight});
    RunModuleOrder(context, {uFrames, inLeft, inRight});

    DSP::VectorMove(inLeft, outLeft, Length(uFrames));
    if (inRight) DSP::VectorMove(inRight, outRight, Length(uFrames));
    float* const right = inRight ? outRight : nullptr;
    if (bNormalize) m_modules.autoNormalize->MeasureOutput(uFrames, outLeft, right);
    RunStage(m_modules.gain, DSP::Gain::kOutput, context, uFrames, outLeft, right);
    RunModule(m_modules.dcOffset, context, uFrames, outLeft, right);
    RunModule(m_modules.dither, context, uFrames, outLeft, right);
    if (IsRunning(m_modules.bit)) m_modules.bit->Measure(uFrames, outLeft, right);
    MeterLevel(Level::kOutputLeft, {uFrames, outLeft, right});
    return uFrames;
}

void Transform::MeterLevel(std::uint32_t uFirstChannel, const Block& block) {
    if (!IsRunning(m_modules.level)) return;
    m_modules.level->Meter(uFirstChannel, block.uFrames, block.left);
    if (block.right) m_modules.level->Meter(uFirstChannel + 1, block.uFrames, block.right);
}

void Transform::MeterPhase(const Block& block) {
    if (!IsRunning(m_modules.phase)) return;
    const float* const right = block.right ? block.right : block.left;
    m_modules.phase->MeasureVectorscope(block.uFrames, block.left, right);
    m_modules.phase->MeasureCorrelation(block.uFrames, block.left, right);
}

void Transform::ProcessBypassed(std::uint32_t uFrames, const float* inLeft, const float* inRight,
                                float* outLeft, float* outRight) {
    TransformBase::ProcessBypassed(uFrames, inLeft, inRight, outLeft, outRight);
    if (!m_modules.gain) return;
    m_modules.gain->SetStage(DSP::Gain::kBypass);
    m_modules.gain->ProcessBlock(uFrames, outLeft, inRight ? outRight : nullptr);
}

void Transform::RunModuleOrder(const StageContext& context, const Block& block) {
    Global::ModuleOrder order;
    {
        const std::lock_guard lock(m_plugin.Lock());
        order = GlobalSettings().FilterGraph();
    }
    const bool bSplit = m_modules.crossOver && m_modules.crossOver->Active();
    bool bMultibandDone = false;
    for (std::size_t p = 0; p < order.size(); ++p) {
        switch (static_cast<ModuleOrderCode>(order[p])) {
            case ModuleOrderCode::Equalizer:
                if (m_modules.matching) m_modules.matching->FollowAutomation(context, block.uFrames);
                RunModule(m_modules.equalizer, context, block.uFrames, block.left, block.right);
                break;
            case ModuleOrderCode::Reverb:
                RunModule(m_modules.reverb, context, block.uFrames, block.left, block.right);
                break;
            case ModuleOrderCode::MultibandDynamics:
            case ModuleOrderCode::MultibandExciter:
            case ModuleOrderCode::MultibandImager:
                if (bSplit) {
                    if (!bMultibandDone) RunMultiband(context, block, order, p);
                } else if (Component* const module = BandModule(order[p])) {
                    // A module switched on here runs from the next block, with the delay that it brings.
                    module->FollowAutomation(context, block.uFrames);
                }
                bMultibandDone = true;
                break;
            case ModuleOrderCode::ChannelOperations:
                RunStage(m_modules.imager, kFullBand, context, block.uFrames, block.left, block.right, true);
                break;
            case ModuleOrderCode::Maximizer:
                RunModule(m_modules.maximizer, context, block.uFrames, block.left, block.right);
                break;
            case ModuleOrderCode::Spectrum:
                if (IsRunning(m_modules.spectrum))
                    m_modules.spectrum->Meter(block.uFrames, block.left, block.right);
                break;
            case ModuleOrderCode::PhaseMeter:
                MeterPhase(block);
                break;
        }
    }
}

Component* Transform::BandModule(std::uint32_t uCode) const {
    switch (static_cast<ModuleOrderCode>(uCode)) {
        case ModuleOrderCode::MultibandDynamics:
            return m_modules.dynamics;
        case ModuleOrderCode::MultibandExciter:
            return m_modules.exciter;
        case ModuleOrderCode::MultibandImager:
            return m_modules.imager;
        default:
            return nullptr;
    }
}

void Transform::RunMultiband(const StageContext& context, const Block& block,
                             const Global::ModuleOrder& order, std::size_t uPosition) {
    SplitBands(context, block);
    RunBandModules(context, block, order, uPosition);
    if (IsRunning(m_modules.spectrum)) {
        for (std::uint32_t b = 0; b < m_modules.bands->BandCount(); ++b) {
            float* const right = block.right ? m_bandsRight[b].data() : nullptr;
            if (m_modules.spectrum->AnalysesBand(b))
                m_modules.spectrum->Meter(block.uFrames, m_bandsLeft[b].data(), right);
        }
    }
    MergeBands(block);
}

void Transform::RunBandModules(const StageContext& context, const Block& block,
                               const Global::ModuleOrder& order, std::size_t uPosition) {
    std::array<float*, kBands> left{};
    std::array<float*, kBands> right{};
    bool bAny = false;
    for (std::uint32_t b = 0; b < m_modules.bands->BandCount(); ++b) {
        if (m_modules.bands->IsBandBypassed(b)) continue;
        left[b] = m_bandsLeft[b].data();
        if (block.right) right[b] = m_bandsRight[b].data();
        bAny = true;
    }
    if (!bAny) return;

    const auto takesAll = [this](std::uint32_t uCode) {
        const Component* const module = BandModule(uCode);
        return module && module->RunsAllBands();
    };
    auto next = order.begin() + static_cast<std::ptrdiff_t>(uPosition);
    while (next != order.end()) {
        if (takesAll(*next)) {
            BandModule(*next)->ProcessAutomated(context, block.uFrames, block.left, block.right, false,
                                                left.data(), right.data());
            ++next;
            continue;
        }
        const auto last = std::find_if(next, order.end(), takesAll);
        for (std::uint32_t b = 0; b < kBands; ++b) {
            if (!left[b]) continue;
            for (auto code = next; code != last; ++code)
                RunStage(BandModule(*code), b, context, block.uFrames, left[b], right[b]);
        }
        next = last;
    }
}

void Transform::SplitBands(const StageContext& context, const Block& block) {
    m_crossOverGuard.Apply(block.uFrames, block.left, block.right);
    std::array<float*, kBands> left;
    std::array<float*, kBands> right{};
    for (std::uint32_t b = 0; b < kBands; ++b) {
        m_bandsLeft[b].resize(block.uFrames);
        m_bandsRight[b].resize(block.uFrames);
        left[b] = m_bandsLeft[b].data();
        if (block.right) right[b] = m_bandsRight[b].data();
    }
    // Forced: the walk has asked once whether the bands run, and a switch in mid-block must not leave them
    // unwritten.
    m_modules.crossOver->ProcessAutomated(context, block.uFrames, block.left, block.right, true, left.data(),
                                          right.data());
    const std::uint32_t uBands = m_modules.bands->BandCount();
    for (std::uint32_t b = 0; b < uBands; ++b) {
        // All bands share one sign pattern, so that their guards add up.
        m_bandGuard.Apply(block.uFrames, left[b], right[b], b + 1 == uBands);
    }
}

void Transform::MergeBands(const Block& block) {
    const std::int32_t nFrames = Length(block.uFrames);
    bool bAny = false;
    for (std::uint32_t b = 0; b < m_modules.bands->BandCount(); ++b) {
        if (m_modules.bands->IsBandMuted(b)) continue;
        const auto merge = bAny ? &DSP::VectorAdd : &DSP::VectorCopy;
        merge(m_bandsLeft[b].data(), block.left, nFrames);
        if (block.right) merge(m_bandsRight[b].data(), block.right, nFrames);
        bAny = true;
    }
    if (bAny) return;
    DSP::VectorZero(block.left, nFrames);
    if (block.right) DSP::VectorZero(block.right, nFrames);
    m_silenceGuard.Fill(block.uFrames, block.left, block.right);
}
