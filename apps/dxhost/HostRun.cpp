#include "apps/dxhost/HostRun.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <ostream>

#include "apps/dxhost/GraphDriver.h"
#include "apps/dxhost/PluginModule.h"
#include "apps/dxhost/PluginState.h"
#include "apps/dxhost/PrivateSettings.h"
#include "dsp/vector/HostFormat.h"
#include "hvBase/Util/AtomicFile.h"
#include "hvBase/Util/Text.h"

namespace DxHost {

namespace {

/// A stream that takes longer hangs.
constexpr std::uint32_t kPatience = 60'000;

struct NamedFormat {
    const char* name;
    bool bFloat;
    std::uint32_t uBits;
};
constexpr NamedFormat kFormats[] = {{"u8", false, 8},   {"s16", false, 16}, {"s24", false, 24},
                                    {"s32", false, 32}, {"f32", true, 32},  {"f64", true, 64}};

DSP::HostConversion Conversion(const AudioFormat& format) {
    DSP::HostSample sample{};
    DSP::FindHostSample(format.bFloat, static_cast<std::int32_t>((format.uBits + 7) / 8), &sample);
    const auto nChannels = static_cast<std::int32_t>(format.uChannels);
    return DSP::ChooseConversion(sample, nChannels, nChannels);
}

void SetUp(IUnknown* plugin, const HostOptions& options, std::ostream& output) {
    if (!options.strState.empty())
        Check(LoadState(plugin, ReadBytes(options.strState)), "the plug-in refused the state");
    if (!options.settings.empty() || !options.envelopes.empty() || !options.flushes.empty() ||
        options.bList) {
        const MediaParameters parameters(plugin);
        for (const auto& setting : options.settings) {
            const MediaParameter& parameter = parameters.Find(setting.strName);
            parameters.Set(parameter, MediaParameters::Parse(parameter, setting.strValue));
        }
        for (const auto& envelope : options.envelopes)
            parameters.Add(parameters.Find(envelope.strName), {envelope.stretch});
        for (const auto& flush : options.flushes)
            parameters.Flush(parameters.Find(flush.strName), flush.fStart, flush.fEnd);
        if (options.bList)
            for (const MediaParameter& parameter : parameters.All())
                output << parameter.strName << '\t' << parameters.Get(parameter) << '\t' << parameter.strUnits
                       << '\n';
    }
    if (!options.strSaveState.empty()) Util::WriteFileAtomically(options.strSaveState, SaveState(plugin));
}

SourcePlan MakePlan(const HostOptions& options) {
    SourcePlan plan;
    plan.sound = ReadWav(options.strInput);
    if (!options.strFormat.empty()) plan.sound = ConvertSound(plan.sound, options.strFormat);
    if (options.bMonoToStereo && plan.sound.format.uChannels != 1)
        throw UsageError("--mono-to-stereo: the input is not mono");
    plan.blocks = options.blocks;
    plan.bTimes = options.bTimes;
    plan.bMediaTimes = options.bMediaTimes;
    plan.nStart = static_cast<std::int64_t>(std::round(options.fStart * 1e7));
    plan.bEndOfStream = options.bEndOfStream;
    return plan;
}

/// Plays until the stream ends, or as far as was asked for.
void PlayTo(GraphDriver& graph, const HostOptions& options, std::uint32_t uFrameBytes) {
    graph.Run();
    bool bInTime = true;
    if (options.stopAfter) {
        const std::uint64_t uWanted = *options.stopAfter * uFrameBytes;
        std::uint64_t uSamples = 0;
        while (bInTime && graph.Arrived().EndsOfStream() == 0 && graph.Arrived().Bytes().size() < uWanted)
            bInTime = graph.Arrived().WaitForSamples(++uSamples, kPatience);
    } else if (options.bEndOfStream) {
        bInTime = graph.WaitForComplete(kPatience);
    } else {
        bInTime = graph.Source().Output().Feed().WaitUntilFed(kPatience);
    }
    graph.Stop();
    if (!bInTime) throw Failure(E_ABORT, "the stream did not end");
}

Sound Play(IBaseFilter* plugin, const HostOptions& options) {
    const SourcePlan plan = MakePlan(options);
    Sound result;
    result.format = plan.sound.format;
    if (options.bMonoToStereo) result.format.uChannels = 2;
    GraphDriver graph(plugin);
    graph.Arrived().SetBufferBytes(options.nOutputBuffer);
    if (options.bMonoToStereo) {
        graph.ConnectMonoToStereo(plan);
    } else {
        graph.Connect(plan);
    }
    if (options.seek) graph.Seek(static_cast<std::int64_t>(std::round(*options.seek * 1e7)));
    PlayTo(graph, options, result.format.FrameBytes());
    result.bytes = graph.Arrived().Bytes();
    graph.Disconnect();
    return result;
}

/// A mono sound in stereo, the same on both sides.
Sound Doubled(const Sound& mono) {
    Sound stereo{mono.format, {}};
    stereo.format.uChannels = 2;
    const auto nSample = static_cast<std::ptrdiff_t>(mono.format.FrameBytes());
    for (auto at = mono.bytes.begin(); at != mono.bytes.end(); at += nSample)
        for (int iChannel = 0; iChannel < 2; ++iChannel)
            stereo.bytes.insert(stereo.bytes.end(), at, at + nSample);
    return stereo;
}

/// A mono file is what both channels of a stereo sound have to be.
bool IsExpected(const Sound& sound, const std::string& strExpected, std::ostream& output) {
    Sound expected = ReadWav(strExpected);
    if (expected.format.uChannels == 1 && sound.format.uChannels == 2) expected = Doubled(expected);
    if (!(expected.format == sound.format)) {
        output << "differs from " << strExpected << " in its format\n";
        return false;
    }
    const auto [its, other] =
        std::mismatch(sound.bytes.begin(), sound.bytes.end(), expected.bytes.begin(), expected.bytes.end());
    if (its == sound.bytes.end() && other == expected.bytes.end()) return true;
    const auto uByte = static_cast<std::uint64_t>(its - sound.bytes.begin());
    output << Util::Format("differs from %1 in frame %2 (of %3, expected %4 frames)\n", strExpected,
                           uByte / sound.format.FrameBytes(), sound.Frames(), expected.Frames());
    return false;
}

}  // namespace

Sound ConvertSound(const Sound& sound, const std::string& strFormat) {
    const auto row = std::find_if(std::begin(kFormats), std::end(kFormats),
                                  [&](const NamedFormat& format) { return strFormat == format.name; });
    if (row == std::end(kFormats))
        throw UsageError(Util::Format("--format: \"%1\" is no sample format", strFormat));
    Sound result{{row->bFloat, row->uBits, sound.format.uChannels, sound.format.uSampleRate}, {}};
    const auto uFrames = static_cast<std::size_t>(sound.Frames());
    std::vector<float> left(uFrames);
    std::vector<float> right(uFrames);
    result.bytes.resize(uFrames * result.format.FrameBytes());
    Conversion(sound.format)
        .deinterleave(static_cast<std::int32_t>(uFrames), sound.bytes.data(), left.data(), right.data());
    Conversion(result.format)
        .interleave(static_cast<std::int32_t>(uFrames), left.data(), right.data(), result.bytes.data());
    return result;
}

bool RunHost(const HostOptions& options, std::ostream& output) {
    PrivateSettings settings;
    settings.SetDelayCompensation(options.bCompensation);
    std::optional<PluginModule> module;
    if (!options.strModule.empty()) module.emplace(options.strModule);
    // Declared after the module, so that it is released before the file is unloaded.
    const ComPtr<IBaseFilter> plugin = module ? module->Create() : CreateRegistered();
    SetUp(plugin.Get(), options, output);
    if (options.strInput.empty()) return true;
    const Sound result = Play(plugin.Get(), options);
    if (!options.strOutput.empty()) WriteWav(options.strOutput, result);
    return options.strExpected.empty() || IsExpected(result, options.strExpected, output);
}

}  // namespace DxHost
