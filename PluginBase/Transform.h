#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "PluginBase/DenormalGuard.h"
#include "PluginBase/MeterReadings.h"
#include "PluginBase/ModuleSet.h"
#include "PluginBase/TransformBase.h"

/// The chain itself: input gain, the modules in the user's order, output gain and what stands behind it.
///
/// The three multiband modules run together between the split and the sum, at the place of the first of them
/// in the order and in their own relative order; a module placed between two of them runs after all bands.
/// They run band by band, but for one that takes all bands in one call. Channel operations always run; every
/// other module only while it is active.
class Transform final : public TransformBase {
public:
    Transform(Plugin& plugin, ModuleFactory buildModules);

    /// Recomputes activity and system delay, whatever is marked.
    void UpdateAll();

    void ClearLatches() override;

    /// What the meters show, as displays read it: peaks and least gains begin anew. Any thread; allocates.
    MeterReadings ReadMeters();

    /// The stored spectra, null in a chain without them.
    SnapshotSlots* Snapshots() { return m_modules.snapshots; }

private:
    static constexpr std::uint32_t kBands = ComponentBlockBuffer::kBands;
    /// The band index by which the imager knows that it runs on the whole signal.
    static constexpr std::uint32_t kFullBand = kBands;

    /// A stretch of audio on its way through the chain. A null right is mono.
    struct Block {
        std::uint32_t uFrames;
        float* left;
        float* right;
    };

    std::uint32_t ProcessChain(const StageContext& context, std::uint32_t uFrames, float* inLeft,
                               float* inRight, float* outLeft, float* outRight) override;
    void ProcessBypassed(std::uint32_t uFrames, const float* inLeft, const float* inRight, float* outLeft,
                         float* outRight) override;
    void ReserveBlocks(std::uint32_t uFrames) override;
    void ResetGuards() override;

    void MeterLevel(std::uint32_t uFirstChannel, const Block& block);
    void MeterPhase(const Block& block);
    void RunModuleOrder(const StageContext& context, const Block& block);
    void RunMultiband(const StageContext& context, const Block& block, const Global::ModuleOrder& order,
                      std::size_t uPosition);
    void RunBandModules(const StageContext& context, const Block& block, const Global::ModuleOrder& order,
                        std::size_t uPosition);
    void SplitBands(const StageContext& context, const Block& block);
    void MergeBands(const Block& block);
    Component* BandModule(std::uint32_t uCode) const;

    ModuleSet m_modules;

    // State: ResetGuards clears it.
    DenormalGuard m_crossOverGuard;
    DenormalGuard m_bandGuard;
    DenormalGuard m_silenceGuard;

    // Scratch: means nothing between two calls. Never shrinks.
    std::array<std::vector<float>, kBands> m_bandsLeft;
    std::array<std::vector<float>, kBands> m_bandsRight;
};
