#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Bench {

inline constexpr std::uint32_t kRate = 44100;  ///< Hz

/// Something that is timed: one call of `process` works on a block of noise whose level wanders, so that
/// gates close, compressors breathe and limiters bite.
struct Run {
    std::string strRow;        ///< what is compared with what: runs of one row belong together
    std::string strContender;  ///< "Vesca", or a peer's name
    std::string strBase;       ///< a row whose time is taken off, for what the chain costs without the module
    std::uint32_t uFrames = 512;
    std::function<void(float* left, float* right)> process;
};

/// 65536 frames of the material, channel 0 or 1.
const std::vector<float>& Material(int iChannel);

/// The chain with one module at a time, and with all of them.
std::vector<Run> ModuleRuns();
/// Transforms and convolution, beside FFTW and zita-convolver.
std::vector<Run> TransformRuns();
/// The LV2 plug-ins that are installed. None if the build has no LV2 host.
std::vector<Run> Lv2Peers();

}  // namespace Bench
