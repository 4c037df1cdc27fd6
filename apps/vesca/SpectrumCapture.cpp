#include "apps/vesca/SpectrumCapture.h"

#include <algorithm>
#include <vector>

#include "apps/vesca/AudioReader.h"
#include "apps/vesca/CommandError.h"
#include "apps/vesca/OfflinePlugin.h"
#include "apps/vesca/ParameterSetting.h"
#include "dsp/vector/Decibel.h"
#include "hvBase/Util/Path.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

constexpr std::uint32_t kBlock = 4096;

std::string Stem(const std::string& strPath) {
    const std::string strName = Util::SplitPath(strPath).strName;
    const std::size_t uDot = strName.rfind('.');
    return uDot == std::string::npos || uDot == 0 ? strName : strName.substr(0, uDot);
}

void Choose(const ParameterIndex& parameters, const std::string& strName, const std::string& strLabel) {
    const ParameterRef parameter = parameters.Require(strName, "capture");
    parameter.Set(ParseValue(parameter, strLabel).value());
}

void RunWhole(AudioReader& reader, OfflinePlugin& plugin) {
    std::vector<float> left(kBlock);
    std::vector<float> right(kBlock);
    const bool bStereo = reader.Channels() == 2;
    plugin.GetTransform().SetChannels(reader.Channels(), reader.Channels());
    plugin.BeginStreaming(reader.SampleRate());
    for (std::uint32_t uRead = kBlock; uRead == kBlock;) {
        float* const rightOrNull = bStereo ? right.data() : nullptr;
        uRead = reader.Read(kBlock, left.data(), rightOrNull);
        plugin.Process(uRead, left.data(), rightOrNull, left.data(), rightOrNull);
    }
}

/// The mean power of the levels up to a frequency.
double MeanPower(const SnapshotRecord& record, float fLast) {
    double fSum = 0.0;
    std::size_t uCount = 0;
    for (std::size_t i = 0; i < record.levels.size() && record.frequencies[i] <= fLast; ++i) {
        const double fLevel = DSP::DbToLinear(double{record.levels[i]});
        fSum += fLevel * fLevel;
        ++uCount;
    }
    return uCount == 0 ? 0.0 : fSum / static_cast<double>(uCount);
}

}  // namespace

SnapshotRecord CaptureSpectrum(const std::string& strPath, const std::string& strType) {
    OfflinePlugin plugin;
    const ParameterIndex parameters(plugin.Components());
    Choose(parameters, "Spectrum Type", strType);
    Choose(parameters, "Spectrum Average Window Size", "Infinite");

    AudioReader reader(strPath);
    RunWhole(reader, plugin);
    SnapshotSlots& slots = *plugin.GetTransform().Snapshots();
    slots.Capture(0);
    SnapshotRecord record = slots.Record(0);
    // The meter's guard keeps even silence above the level that stands for no measurement at all.
    if (std::all_of(record.levels.begin(), record.levels.end(),
                    [](float fDb) { return fDb <= static_cast<float>(DSP::kSilenceDb); }))
        throw FileFailure(
            Util::Format("can't capture %1: it is shorter than a window of the meter", strPath));
    record.strName = Stem(strPath);
    return record;
}

void CompleteTarget(const SnapshotRecord& source, SnapshotRecord& target) {
    const float fLast = target.frequencies.back();
    const double fSource = MeanPower(source, fLast);
    const double fTarget = MeanPower(target, fLast);
    if (!(fSource > 0.0) || !(fTarget > 0.0)) return;
    const auto fOffsetDb = static_cast<float>(DSP::LinearToDb(fTarget / fSource) * 0.5);
    for (std::size_t i = 0; i < source.frequencies.size(); ++i) {
        if (source.frequencies[i] <= fLast) continue;
        target.frequencies.push_back(source.frequencies[i]);
        target.levels.push_back(source.levels[i] + fOffsetDb);
    }
}

}  // namespace App
