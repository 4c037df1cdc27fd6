#include "dsp/CrossOver.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <utility>

#include "dsp/vector/Elementwise.h"
#include "hvBase/Util/Text.h"

namespace DSP {

namespace {

constexpr float kMinCutoff = 20.0f;
constexpr float kMaxCutoff = 20000.0f;
constexpr float kMinQ = 1.0f;
constexpr float kMaxQ = 40.0f;

}  // namespace

CrossOver::CrossOver(PluginContext& plugin)
    : ComponentImpl(plugin, "CrossOver"),
      m_frequencies(ResponseFrequencies()),
      m_analog(m_uSampleRate),
      m_digital(std::make_unique<Digital>(kBufferSizes[kDefaultBufferSize])) {
    Float("Crossover Q", "", kMinQ, kMaxQ, m_fQ, &CrossOver::Q, &CrossOver::SetQ)
        .InPreset(PresetGroup::CrossOver)
        .Automatable();
    for (std::uint32_t i = 0; i < kCutoffs; ++i) {
        Float(Util::Format("CrossOver: Cutoff %1", i + 1), "Hz", kMinCutoff, kMaxCutoff, m_cutoffs[i],
              &CrossOver::Cutoff, &CrossOver::SetCutoff, i)
            .InPreset(PresetGroup::CrossOver)
            .Automatable();
    }
    for (std::uint32_t i = 0; i < kBands; ++i) {
        Bool(Util::Format("CrossOver: Band %1 Bypass", i + 1), false, &CrossOver::IsBandBypassed,
             &CrossOver::SetBandBypassed, i)
            .InPreset(PresetGroup::CrossOver)
            .Automatable();
    }
    for (std::uint32_t i = 0; i < kBands; ++i) {
        Bool(Util::Format("CrossOver: Band %1 Mute", i + 1), false, &CrossOver::IsBandMuted,
             &CrossOver::SetBandMuted, i)
            .InPreset(PresetGroup::CrossOver)
            .Automatable();
    }
    Int("CrossOver: Number of Bands", "", 1, kBands, m_nBands, &CrossOver::NumberOfBands,
        &CrossOver::SetNumberOfBands)
        .InPreset(PresetGroup::CrossOver)
        .Automatable();
    Int("CrossOver: Type", "", kAnalog, kDigital, m_nType, &CrossOver::GetType, &CrossOver::SetType)
        .Labelled({"Analog", "Digital"})
        .InPreset(PresetGroup::CrossOver)
        .Automatable();
    Int("CrossOver: Buffer Size", "", 0, static_cast<std::int32_t>(kBufferSizes.size()) - 1, m_nBufferSize,
        &CrossOver::BufferSize, &CrossOver::SetBufferSize)
        .Labelled(BufferSizeLabels())
        .InPreset(PresetGroup::CrossOver);

    m_analog.Design(m_nBands, AllCutoffs());
    m_blockBuffer.Reserve(kBufferSizes.back(), 2, 2 * kBands);
    FinishTables();
}

CrossOver::~CrossOver() = default;

void CrossOver::SetBandModules(std::vector<const Component*> modules) {
    m_modules = std::move(modules);
}

bool CrossOver::IsActive() const {
    return std::any_of(m_modules.begin(), m_modules.end(),
                       [](const Component* module) { return module->IsActive(); });
}

bool CrossOver::HasAutomation() const {
    return std::any_of(m_modules.begin(), m_modules.end(),
                       [](const Component* module) { return module->HasAutomation(); });
}

AnalogCrossover::Cutoffs CrossOver::AllCutoffs() const {
    AnalogCrossover::Cutoffs cutoffs;
    std::copy(m_cutoffs.begin(), m_cutoffs.end(), cutoffs.begin());
    return cutoffs;
}

// Parameters. -------------------------------------------------------------------------------------------

void CrossOver::SetQ(float fQ) {
    fQ = std::clamp(fQ, kMinQ, kMaxQ);
    if (fQ == m_fQ) return;
    MarkDirty();
    {
        const std::lock_guard lock(m_lock);
        m_fQ = fQ;
    }
    EditorDirty() = true;
    if (m_nType == kDigital) RedesignDigital(false);
}

void CrossOver::SetCutoff(std::uint32_t i, float fCutoff) {
    fCutoff = std::clamp(fCutoff, kMinCutoff, kMaxCutoff);
    if (fCutoff == m_cutoffs[i]) return;
    MarkDirty();
    EditorDirty() = true;
    {
        const std::lock_guard lock(m_lock);
        m_cutoffs[i] = fCutoff;
        if (m_nType == kAnalog) return m_analog.FadeTo(m_nBands, AllCutoffs());
        m_analog.Design(m_nBands, AllCutoffs());
    }
    RedesignDigital(false);
}

void CrossOver::SetBandBypassed(std::uint32_t iBand, bool bBypass) {
    if (m_bypass[iBand].Exchange(bBypass) != bBypass) MarkDirty();
}

void CrossOver::SetBandMuted(std::uint32_t iBand, bool bMute) {
    if (m_mute[iBand].Exchange(bMute) != bMute) MarkDirty();
}

/// One of the parameters that restart the filters.
void CrossOver::SetAndRestart(Util::Relaxed<std::int32_t>& parameter, std::int32_t nValue) {
    if (nValue == parameter) return;
    MarkDirty();
    {
        const std::lock_guard lock(m_lock);
        parameter = nValue;
    }
    Restart();
}

void CrossOver::SetNumberOfBands(std::int32_t nBands) {
    SetAndRestart(m_nBands, std::clamp(nBands, 1, static_cast<std::int32_t>(kBands)));
}

void CrossOver::SetType(std::int32_t nType) {
    SetAndRestart(m_nType, std::clamp<std::int32_t>(nType, kAnalog, kDigital));
}

void CrossOver::SetBufferSize(std::int32_t iSize) {
    iSize = std::clamp(iSize, 0, static_cast<std::int32_t>(kBufferSizes.size()) - 1);
    if (iSize == m_nBufferSize) return;
    MarkDirty();
    auto digital = std::make_unique<Digital>(kBufferSizes[static_cast<std::size_t>(iSize)]);
    {
        const std::lock_guard lock(m_lock);
        // Automation that comes next must find filters, spare filters and block buffer of one length, so the
        // impulses are made in here. Their design is not, which would take ten times as long.
        digital->TakeFilters(*m_digital);
        m_digital.swap(digital);
        m_nBufferSize = iSize;
        if (m_bDigital) RestartBlocks();
    }
    Restart();
}

std::vector<float> CrossOver::GetCutoffs() const {
    return {m_cutoffs.begin(), m_cutoffs.begin() + (m_nBands - 1)};
}

void CrossOver::SetCutoffs(const std::vector<float>& cutoffs) {
    const std::int32_t nBands = cutoffs.size() < kBands ? static_cast<std::int32_t>(cutoffs.size()) + 1 : 1;
    std::vector<float> wanted(cutoffs.begin(), cutoffs.begin() + (nBands - 1));
    for (float& fCutoff : wanted) {
        fCutoff = std::isnan(fCutoff) ? kMinCutoff : std::clamp(fCutoff, kMinCutoff, kMaxCutoff);
    }
    if (wanted == GetCutoffs()) return;
    MarkDirty();
    EditorDirty() = true;
    bool bRestart;
    {
        const std::lock_guard lock(m_lock);
        bRestart = nBands != m_nBands;
        std::copy(wanted.begin(), wanted.end(), m_cutoffs.begin());
        m_nBands = nBands;
        if (!bRestart) {
            if (m_nType == kAnalog) return m_analog.FadeTo(m_nBands, AllCutoffs());
            m_analog.Design(m_nBands, AllCutoffs());
        }
    }
    if (bRestart) return Restart();
    RedesignDigital(false);
}

// Design. -----------------------------------------------------------------------------------------------

CrossOver::Digital::Digital(int nBlock)
    : inForce(std::make_shared<DigitalFilters>()), spare(std::make_shared<DigitalFilters>()) {
    inForce->Prepare(nBlock, work);
    spare->Prepare(nBlock, work);
    // Stereo takes the most memory; mono then has it.
    crossover.Configure(2, 0, nBlock);
    crossover.Install(inForce);
}

void CrossOver::Digital::TakeFilters(const Digital& other) {
    spare->Adopt(*other.inForce, work);
    Install(spare);
}

void CrossOver::Digital::Redesign(const DigitalFilters::Design& design) {
    spare->Redesign(design, crossover.Block(), work);
    Install(spare);
}

void CrossOver::Digital::Install(std::shared_ptr<DigitalFilters>& filters) {
    crossover.Install(filters);
    inForce.swap(filters);
}

struct CrossOver::Request {
    std::uint64_t uNumber = 0;
    bool bOrdered = false;  ///< the cutoffs; otherwise the filters in force stay
    bool bRestart = false;
    int nBlock = 0;
    DigitalFilters::Design design;
};

/// Under the lock.
CrossOver::Request CrossOver::TakeRequest(bool bRestart) {
    Request request;
    request.uNumber = ++m_uRequested;
    if (bRestart) m_uRestartRequested = request.uNumber;
    request.bRestart = m_uRestartRequested > m_uInstalled;
    // With one band there are no cutoffs to be out of order.
    request.bOrdered = m_nBands < 2 || CoefficientSet::Ascend(m_nBands, AllCutoffs());
    request.nBlock = m_digital->crossover.Block();

    DigitalFilters::Design& design = request.design;
    design.nBands = m_nBands;
    design.fSampleRate = m_uSampleRate;
    design.fSteepness = std::sqrt(double{m_fQ}) / std::sqrt(double{kMaxQ});
    double fLowest = 0.0;
    for (std::size_t i = 0; i + 1 < static_cast<std::size_t>(design.nBands); ++i) {
        design.cutoffs[i] = std::min(double{m_cutoffs[i]}, design.fSampleRate / 2.0);
        if (design.cutoffs[i] <= fLowest) design.cutoffs[i] = fLowest + 1.0;
        fLowest = design.cutoffs[i];
    }
    return request;
}

void CrossOver::Restart() {
    EditorDirty() = true;
    if (m_nType == kAnalog) {
        RestartAnalog();
    } else {
        RedesignDigital(true);
    }
    DelayChanged();
}

void CrossOver::RestartAnalog() {
    const std::lock_guard lock(m_lock);
    // Another thread may have changed the type since, and then it sees to the filters.
    if (m_nType != kAnalog) return;
    m_uInstalled = ++m_uRequested;
    m_bDigital = false;
    m_analog.Design(m_nBands, AllCutoffs());
    m_blockBuffer.SetBlockSize(0, 2, 2 * kBands);
    ResetFilters();
    m_blockBuffer.Clear();
    UpdateInForce(m_nBands);
}

void CrossOver::RedesignDigital(bool bRestart) {
    for (;;) {
        std::unique_lock lock(m_lock);
        const Request request = TakeRequest(bRestart);
        if (m_nType != kDigital || (!request.bOrdered && !request.bRestart)) return;
        if (m_blockBuffer.IsInBlock()) {
            // The audio thread, as nobody else has the lock during a block.
            if (request.bOrdered) m_digital->Redesign(request.design);
            return Enter(request);
        }
        lock.unlock();

        std::shared_ptr<DigitalFilters> filters;
        if (request.bOrdered) {
            DigitalFilters::Work work;
            filters = std::make_shared<DigitalFilters>();
            filters->Prepare(request.nBlock, work);
            filters->Redesign(request.design, request.nBlock, work);
        }
        // What was in force before goes after the lock, not under it.
        const std::lock_guard install(m_lock);
        if (request.uNumber <= m_uInstalled) return;
        if (request.nBlock == m_digital->crossover.Block()) {
            if (filters) m_digital->Install(filters);
            return Enter(request);
        }
    }
}

/// Plays what a request asks for, whose filters are in force. Under the lock.
void CrossOver::Enter(const Request& request) {
    m_uInstalled = request.uNumber;
    m_bDigital = true;
    if (request.bRestart) RestartBlocks();
    UpdateInForce(request.design.nBands);
}

/// Begins with silence, in blocks of the digital type's length. Under the lock.
void CrossOver::RestartBlocks() {
    m_blockBuffer.SetBlockSize(m_digital->crossover.Block(), 2, 2 * kBands);
    ResetFilters();
    m_blockBuffer.Clear();
}

/// Copies what readers without the lock ask for.
void CrossOver::UpdateInForce(std::int32_t nBands) {
    m_uBandsInForce = static_cast<std::uint32_t>(nBands);
    const bool bDelays = m_bDigital && nBands > 1;
    m_uLatency = bDelays ? static_cast<std::uint32_t>(m_digital->crossover.Latency()) : 0;
}

void CrossOver::SetSampleRate(std::uint32_t uSampleRate) {
    {
        const std::lock_guard lock(m_lock);
        if (uSampleRate == m_uSampleRate) return;
        m_uSampleRate = uSampleRate;
        m_analog.SetSampleRate(uSampleRate);
        m_analog.Design(m_nBands, AllCutoffs());
    }
    if (m_nType == kDigital) RedesignDigital(false);
}

// Audio. ------------------------------------------------------------------------------------------------

void CrossOver::ClearState() {
    const std::lock_guard lock(m_lock);
    ResetFilters();
}

void CrossOver::ResetFilters() {
    m_analog.Reset();
    m_digital->crossover.Reset();
}

std::uint32_t CrossOver::ProcessBlock(std::uint32_t uFrames, float* left, float* right) {
    if (uFrames == 0 || m_bandsLeft[0] == nullptr) return uFrames;
    const auto nFrames = static_cast<int>(uFrames);
    const int nChannels = right ? 2 : 1;
    float* const inputs[] = {left, right};
    const Crossover::BandPointers bands[] = {m_bandsLeft, m_bandsRight};
    if (m_uBandsInForce == 1) {
        // The input bit by bit, also while the analogue sets would fade.
        for (int i = 0; i < nChannels; ++i) {
            VectorCopy(inputs[i], bands[i][0], nFrames);
            for (std::size_t iBand = 1; iBand < kBands; ++iBand)
                VectorZero(bands[i][iBand], nFrames);
        }
    } else if (m_bDigital) {
        ProcessDigital(nFrames, inputs, nChannels, bands);
    } else {
        m_analog.Process(left, right, bands[0].data(), bands[1].data(), nFrames);
    }
    return uFrames;
}

void CrossOver::ProcessDigital(int nFrames, float* const* inputs, int nChannels,
                               const Crossover::BandPointers* bands) {
    Crossover& crossover = m_digital->crossover;
    if (crossover.InputChannels() != nChannels) crossover.Configure(nChannels, 0, crossover.Block());
    crossover.ProcessBands(inputs, nFrames, bands);
    // A design that was abandoned leaves filters for fewer bands in force.
    for (int i = 0; i < nChannels; ++i) {
        for (auto iBand = static_cast<std::size_t>(crossover.Bands()); iBand < kBands; ++iBand)
            VectorZero(bands[i][iBand], nFrames);
    }
}

}  // namespace DSP
