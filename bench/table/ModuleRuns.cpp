#include <cmath>
#include <memory>

#include "bench/support/Chains.h"
#include "bench/table/Runs.h"
#include "hvBase/Util/Text.h"

namespace Bench {

namespace {

using Settings = std::vector<std::string>;

std::vector<float> MakeMaterial(std::uint32_t uSeed) {
    constexpr std::size_t kFrames = 65536;
    constexpr std::size_t kPassage = 2000;  ///< frames of one level
    std::vector<float> samples = Noise(uSeed, kFrames);
    for (std::size_t i = 0; i < kFrames; ++i) {
        // From full scale down to -40 dB, the same passages in both channels.
        const std::size_t uPassage = i / kPassage;
        samples[i] *= static_cast<float>(2.0 * std::pow(10.0, -static_cast<double>(uPassage * 7 % 11) / 5.0));
    }
    return samples;
}

Run Chain(std::string strRow, std::string strBase, Settings settings, std::uint32_t uFrames = 512,
          bool bMeters = false) {
    settings.push_back(Util::Format("Global: Meter Enable=%1", bMeters ? "on" : "off"));
    const std::shared_ptr<App::OfflinePlugin> plugin = StartChain(settings, kRate);
    return {
        std::move(strRow), "Vesca", std::move(strBase), uFrames,
        [plugin, uFrames](float* left, float* right) { plugin->Process(uFrames, left, right, left, right); }};
}

Settings Join(Settings settings, const Settings& more) {
    settings.insert(settings.end(), more.begin(), more.end());
    return settings;
}

Settings Nodes() {
    Settings settings = {"EQ: Bypass=off"};
    for (int i = 1; i <= 8; ++i)
        settings.push_back(Util::Format("EQ: Gain %1=%2", i, i % 2 == 0 ? 3 : -3));
    return settings;
}

Settings InEachBand(const Settings& patterns) {
    Settings settings;
    for (int b = 1; b <= 4; ++b) {
        for (const std::string& strPattern : patterns)
            settings.push_back(Util::Format(strPattern.c_str(), b));
    }
    return settings;
}

const Settings& BusyDynamics() {
    static const Settings settings =
        Join({"DYN: Bypass=off", "DYN: RMS Detection=on", "DYN: Auto-smoothing=on"},
             InEachBand({"DYN: Band %1 Comp Threshold=-40", "DYN: Band %1 Comp Ratio=3",
                         "DYN: Band %1 Lim Threshold=-16", "DYN: Band %1 Gate Threshold=-45",
                         "DYN: Band %1 Gate Ratio=2"}));
    return settings;
}

Settings Excite(const std::string& strMode) {
    return Join({"EXC: Bypass=off", "EXC: Mode=" + strMode},
                InEachBand({"EXC: Band %1 Amount=4", "EXC: Band %1 Mix=50"}));
}

Settings Widen() {
    return Join({"IMG: Bypass=off", "CHOPS: Switch L/R=on", "CHOPS: Invert L=on"},
                InEachBand({"IMG: Band %1 Width=0.3", "IMG: Band %1 Delay=1"}));
}

Settings Limit(const std::string& strMode, bool bIntersample) {
    return {"LMAX: Bypass=off", "LMAX: Mode=" + strMode, "LMAX: Threshold=-9", "LMAX: Margin=-1",
            bIntersample ? "LMAX: Intersample Clip Detect=on" : "LMAX: Intersample Clip Detect=off"};
}

}  // namespace

const std::vector<float>& Material(int iChannel) {
    static const std::vector<float> channels[] = {MakeMaterial(1), MakeMaterial(2)};
    return channels[iChannel];
}

std::vector<Run> ModuleRuns() {
    const std::string strEmpty = "empty chain";

    std::vector<Run> runs;
    runs.push_back(Chain(strEmpty, "", {}));
    runs.push_back(Chain("equalizer Analog, 8 live nodes", strEmpty, Nodes()));
    for (const char* const size : {"1024", "4096", "16384"}) {
        runs.push_back(Chain(Util::Format("equalizer Digital, FFT %1", size), strEmpty,
                             Join(Nodes(), {"EQ: Type=Digital", Util::Format("EQ: FFT Size=%1", size)})));
    }
    // A band module that does nothing keeps the crossover in the chain.
    runs.push_back(Chain("crossover, 4 bands, Analog", strEmpty, {"IMG: Bypass=off"}));
    runs.push_back(
        Chain("crossover, 4 bands, Digital", strEmpty, {"IMG: Bypass=off", "CrossOver: Type=Digital"}));
    runs.push_back(Chain("dynamics, 4 bands, with crossover", strEmpty, BusyDynamics()));
    for (const char* const mode : {"Retro", "Tape", "Tube"}) {
        runs.push_back(
            Chain(Util::Format("exciter %1, 4 bands, with crossover", mode), strEmpty, Excite(mode)));
    }
    runs.push_back(Chain("imager, 4 bands, and channel operations, with crossover", strEmpty, Widen()));
    runs.push_back(Chain("reverb Plate", strEmpty, {"RVB: Bypass=off", "RVB: Type=Plate"}));
    runs.push_back(Chain("reverb Room, buffer 1024", strEmpty, {"RVB: Bypass=off", "RVB: Type=Room"}));
    runs.push_back(Chain("maximizer Intelligent", strEmpty, Limit("Intelligent", false)));
    runs.push_back(Chain("maximizer Intelligent, inter-sample", strEmpty, Limit("Intelligent", true)));
    runs.push_back(Chain("maximizer Brickwall", strEmpty, Limit("Brickwall", false)));
    runs.push_back(Chain("maximizer Soft", strEmpty, Limit("Soft", false)));
    runs.push_back(
        Chain("dither Psych9", strEmpty, {"DTR: Dithering Type=Type 2", "DTR: Dithering Shape=Psych9"}));
    runs.push_back(Chain("dither DSHP+", strEmpty, {"DTR: Dithering Type=DSHP+"}));
    runs.push_back(Chain("all meters", strEmpty, {}, 512, true));
    for (const std::uint32_t uFrames : {64u, 512u}) {
        runs.push_back(Chain(Util::Format("whole chain, everything on, block %1", uFrames), "",
                             FullChainSettings(), uFrames, true));
    }
    return runs;
}

}  // namespace Bench
