#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "PluginBase/ComponentImpl.h"
#include "dsp/AltSoloImpl.h"
#include "dsp/BufferSizes.h"
#include "dsp/CurveConvolver.h"
#include "dsp/CurveFir.h"
#include "dsp/DesignTurn.h"
#include "dsp/DisplayResponse.h"
#include "dsp/FilterNode.h"
#include "dsp/MatchingCurve.h"
#include "dsp/NodeCascade.h"

namespace DSP::Equalizer {

/// The equalizer: eight nodes, an audition filter, soft saturation, and three types of sound.
///
/// Analog:    a series of biquads; no delay.
/// Digital:   the nodes drawn as a curve and turned into one linear-phase FIR filter of N taps. It delays by
///            N / 2 - 1 frames, and the block buffer by its own share.
/// Matching:  as Digital, with a correction added that brings one spectrum closer to another.
/// Audition:  while the audition filter is on, it is all that is heard: neither nodes nor saturation run.
///
/// Units:     Hz, dB, percent; every setter clamps to its range. Above half the sample rate a highpass of the
///            Analog type is silence, every other node a wire.
/// Lines:     the delay lines of an Analog node stay when its gain or Q changes, and when its frequency
///            moves by less than 0.3 decades, so that a dragged node does not click. A greater step, a shape,
///            a type and a sample rate clear them.
/// Threads:   setters anywhere, on the audio thread under the component's lock. A block runs under that lock;
///            taps of the Analog type are written under it. FIR filters are designed outside of it and
///            swapped in. At most one thread designs at a time, and the setters of automatable parameters do
///            not wait for it: a thread that finds another one designing leaves its wish there, and the other
///            fulfils it before it goes on. A setter may thus return before its filter is in force;
///            FinishBackgroundWork waits. What changes sizes - FFT and buffer size, sample rate, spectra, the
///            end of a load - does wait, and designs itself, so that the audio thread never finds a wish that
///            takes memory; it runs on any thread but that. The lock of the audition filter is taken inside
///            the component's.
/// Real time: neither a block nor an automated parameter allocates. In the FIR types an automated node costs
///            a design a stride on the audio thread, from tens of microseconds at 1024 taps to a millisecond
///            or two at 16384; automated smoothing of the Matching type computes its curve as well.
/// Blocks:    Analog: any cut gives the same bits. The others run on the block buffer's fixed blocks.
/// NaN:       see NodeCascade, PartConv and AltSoloImpl: clean again from the next block on, or at once.
class Parametric final : public ComponentImpl<Parametric> {
public:
    enum class Type : std::int32_t { Analog = 0, Digital = 1, Matching = 2 };

    explicit Parametric(PluginContext& plugin);

    void SetSampleRate(std::uint32_t uSampleRate) override;
    void ResetStream() override { ClearState(); }
    bool IsActive() const override { return !m_bBypass && !m_bSoloMute; }
    std::uint32_t ProcessBlock(std::uint32_t uFrames, float* left, float* right) override;
    void ClearState() override;
    std::uint32_t GetLatency() const override { return m_uLatency; }

    /// Between the two, a FIR type keeps its filter: one design at the end serves all parameters.
    void BeginStateLoad() override { ++m_nHolds; }
    void EndStateLoad() override { Release(); }
    void BeginPresetChange() override { ++m_nHolds; }
    void EndPresetChange() override { Release(); }
    void FinishBackgroundWork() override;

    /// Sets all of a node but its switch, at once. Always true.
    bool SetNode(std::uint32_t iNode, float fFrequency, float fGainDb, float fQ, Shape shape);
    FilterNode Node(std::uint32_t iNode) const { return m_nodes[iNode].Get(); }

    /// Turns the audition filter on, or moves it; what is missing keeps its value.
    void SetAuditionFilter(std::optional<float> frequency, std::optional<float> gainDb,
                           std::optional<float> q);
    void ClearAuditionFilter() { m_audition.Clear(); }

    /// The two spectra of the Matching type. Their owner keeps them; these are copies.
    void SetSpectra(MatchSpectrum source, MatchSpectrum target);
    /// How much of the matching curve is applied, 0 to 100 percent, and how smooth it is, 0 to 1. The
    /// parameters are another component's, which also marks the plug-in dirty.
    void SetMatchingAmount(float fPercent);
    float MatchingAmount() const { return m_fMatchingAmount; }
    void SetSmoothing(float fSmoothing);
    float Smoothing() const { return m_fSmoothing; }

    // What a display draws, in dB at the frequencies of ResponseFrequencies. Never on the audio thread: the
    // taps of the FIR types are transformed, which allocates.

    /// One node as it sounds in the type that is set, 0 dB if it does not take part.
    void NodeResponse(std::uint32_t iNode, ResponseCurve& decibels);
    /// The whole equalizer without its saturation: all nodes, or the FIR filter in force.
    void TotalResponse(ResponseCurve& decibels);
    /// The matching curve alone, at the amount in force.
    void MatchingResponse(ResponseCurve& decibels);

private:
    /// What remains to be done before the sound agrees with the parameters.
    enum Work : std::uint32_t {
        kCurve = 1,    ///< the matching curve
        kFilter = 2,   ///< the FIR filter
        kRestart = 4,  ///< the FIR filter begins with silence
        kFlush = 8,    ///< the whole component begins with silence
    };

    struct NodeParameters {
        Util::Relaxed<bool> bEnabled = true;
        Util::Relaxed<std::int32_t> nShape = 0;
        Util::Relaxed<float> fFrequency = 1000.0f;
        Util::Relaxed<float> fGainDb = 0.0f;
        Util::Relaxed<float> fQ = 1.0f;

        FilterNode Get() const;
        void Store(const FilterNode& node);
    };

    struct Spectra {
        MatchTable source;
        MatchTable target;
    };

    /// Where the designing thread works. Two impulses take turns in the convolver: the one that is not in
    /// force gets the next taps, so that a design for the same sizes takes no memory.
    struct Bench {
        CurveFir::Work fir;
        PartConvImpulse::Workshop workshop;
        std::array<std::shared_ptr<PartConvImpulse>, 2> impulses;
        std::size_t iSpare = 0;
        MatchingWork matching;
        std::vector<float> curve;  ///< the next one
    };

    /// What a design starts from: all of one moment.
    struct Plan {
        Type type;
        std::uint32_t uSampleRate;
        std::uint32_t iFftSize;
        std::int32_t nBlock;
        float fAmount;
        float fSmoothing;
        std::array<FilterNode, kNodes> nodes;
    };

    // Accessors of the tables.
    bool Bypass() const { return m_bBypass; }
    void SetBypass(bool bBypass);
    bool SoloMute() const { return m_bSoloMute; }
    void SetSoloMute(bool bMute);
    bool SoftSaturation() const { return m_bSoftSaturation; }
    void SetSoftSaturation(bool bSaturate);
    std::int32_t TypeIndex() const { return m_nType; }
    void SetTypeIndex(std::int32_t nType);
    std::int32_t FftSizeIndex() const { return m_nFftSize; }
    void SetFftSizeIndex(std::int32_t nIndex);
    std::int32_t BufferSizeIndex() const { return m_nBufferSize; }
    void SetBufferSizeIndex(std::int32_t nIndex);
    bool Enabled(std::uint32_t iNode) const { return m_nodes[iNode].bEnabled; }
    void SetEnabled(std::uint32_t iNode, bool bEnabled);
    std::int32_t ShapeIndex(std::uint32_t iNode) const { return m_nodes[iNode].nShape; }
    void SetShapeIndex(std::uint32_t iNode, std::int32_t nShape);
    float Frequency(std::uint32_t iNode) const { return m_nodes[iNode].fFrequency; }
    void SetFrequency(std::uint32_t iNode, float fFrequency);
    float GainDb(std::uint32_t iNode) const { return m_nodes[iNode].fGainDb; }
    void SetGainDb(std::uint32_t iNode, float fGainDb);
    float Q(std::uint32_t iNode) const { return m_nodes[iNode].fQ; }
    void SetQ(std::uint32_t iNode, float fQ);

    template <class Change>
    void ChangeNode(std::uint32_t iNode, Change change);
    void SetFlag(Util::Relaxed<bool>& flag, bool bValue);
    bool SetIndex(Util::Relaxed<std::int32_t>& index, std::int32_t nValue, std::int32_t nLast);
    void UpdateTaps(std::uint32_t iNode, const FilterNode& before, const FilterNode& after);
    void DesignAllNodes();
    void ClearHeld();

    void Request(std::uint32_t uWork);
    /// Changes what only the designing thread may, and does at once the work that `change` asks for. Waits
    /// for the turn.
    template <class Change>
    void ChangeAsDesigner(const Change& change) {
        {
            const DesignTurn::Hold turn(m_turn);
            m_uWork.fetch_or(change());
            if (HasWork()) Design(m_uWork.exchange(0));
        }
        WorkOff();
    }
    void Release();
    bool HasWork() const { return m_nHolds == 0 && m_uWork != 0; }
    void WorkOff();
    void Design(std::uint32_t uWork);
    Plan MakePlan();
    void RefreshCurve(const Plan& plan);
    void DesignTaps(const Plan& plan);
    bool ConvolverFits(const Plan& plan) const;
    std::unique_ptr<CurveConvolver> BuildConvolver(const Plan& plan);
    void InstallAnalog(const Plan& plan);
    void InstallFir(const Plan& plan, std::uint32_t uWork);
    bool EnterLatency(std::uint32_t uLatency, std::int32_t nBlock);

    // Set-up: written at construction only.
    const ResponseCurve m_frequencies = ResponseFrequencies();
    const CurveFir m_curveFir;

    // Parameters: written by setters, read once at the head of a block. The nodes are written under the lock.
    Util::Relaxed<bool> m_bBypass = true;
    Util::Relaxed<bool> m_bSoloMute = false;
    Util::Relaxed<bool> m_bSoftSaturation = false;
    Util::Relaxed<std::int32_t> m_nType = 0;
    Util::Relaxed<std::int32_t> m_nFftSize = 0;
    Util::Relaxed<std::int32_t> m_nBufferSize = kDefaultBufferSize;
    Util::Relaxed<float> m_fMatchingAmount = 10.0f;
    Util::Relaxed<float> m_fSmoothing = 0.5f;
    Util::Relaxed<std::uint32_t> m_uSampleRate = 44100;
    std::array<NodeParameters, kNodes> m_nodes;

    // Who designs, and what for. Touched in one order by all threads.
    std::atomic<std::uint32_t> m_uWork = 0;
    DesignTurn m_turn;
    std::atomic<int> m_nHolds = 0;  ///< state loads and preset changes in progress

    // The designing thread's, and so are the sizes among the parameters.
    Bench m_bench;
    Spectra m_spectra;

    // In force, under the lock. The convolver is replaced only by the thread that designs.
    bool m_bFir = false;  ///< a FIR type sounds
    NodeCascade m_cascade;
    std::unique_ptr<CurveConvolver> m_convolver;  ///< at hand in the Analog type too, for automation
    std::vector<float>
        m_curve;  ///< dB for each bin of the FFT size in force; written by the designing thread
    Util::Relaxed<std::uint32_t> m_uLatency = 0;

    Util::NamedLock m_auditionLock{"DSP::AltSoloImpl", Util::LockUse::OnAudioThread};
    AltSoloImpl m_audition{m_auditionLock};
};

}  // namespace DSP::Equalizer
