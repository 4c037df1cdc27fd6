#include "apps/vesca/RenderJob.h"

#include <charconv>
#include <cmath>
#include <utility>

#include "apps/vesca/AudioReader.h"
#include "apps/vesca/AudioWriter.h"
#include "apps/vesca/AutomationFile.h"
#include "apps/vesca/CommandError.h"
#include "apps/vesca/Interruption.h"
#include "apps/vesca/ModuleOrder.h"
#include "apps/vesca/OfflinePlugin.h"
#include "apps/vesca/ParameterSetting.h"
#include "apps/vesca/PresetUse.h"
#include "apps/vesca/Progress.h"
#include "apps/vesca/StateFile.h"
#include "apps/vesca/StreamRenderer.h"
#include "apps/vesca/TextList.h"
#include "apps/vesca/WholeFile.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

constexpr std::uint32_t kMostBlock = 1048576;  ///< frames
constexpr double kMostTailSeconds = 86400.0;
constexpr const char* kCompensationName = "Global: Delay Compensation";
constexpr const char* kOrderName = "Global: Filter Graph Item 0";

std::vector<std::uint32_t> ParseBlocks(const std::string& strBlocks) {
    std::vector<std::uint32_t> blocks;
    for (const std::string& strEntry : SplitList(strBlocks)) {
        std::uint32_t uBlock = 0;
        const char* const end = strEntry.data() + strEntry.size();
        const auto parsed = std::from_chars(strEntry.data(), end, uBlock);
        if (parsed.ec != std::errc() || parsed.ptr != end || uBlock < 1 || uBlock > kMostBlock)
            throw UsageError(
                Util::Format("--block: \"%1\" is no number of frames from 1 to %2", strEntry, kMostBlock));
        blocks.push_back(uBlock);
    }
    return blocks;
}

std::optional<SampleFormat> ParseFormat(const std::string& strFormat) {
    if (strFormat.empty()) return std::nullopt;
    if (const auto format = FindSampleFormat(strFormat)) return format;
    throw UsageError(Util::Format("--format: \"%1\" is none of u8, s16, s24, s32, f32 and f64", strFormat));
}

double CheckedTail(double fSeconds) {
    if (fSeconds >= 0.0 && fSeconds <= kMostTailSeconds) return fSeconds;
    throw UsageError("--tail: expected 0 to 86400 seconds");
}

}  // namespace

RenderJob::RenderJob(RenderSettings settings)
    : m_settings(std::move(settings)),
      m_blocks(ParseBlocks(m_settings.strBlocks)),
      m_format(ParseFormat(m_settings.strFormat)) {
    m_settings.fTailSeconds = CheckedTail(m_settings.fTailSeconds);
}

void RenderJob::Check() const {
    RenderJob withoutInput = *this;
    withoutInput.m_settings.match = {};
    OfflinePlugin plugin;
    std::vector<std::string> warnings;
    withoutInput.Configure(plugin, "", warnings);
}

/// Brings the engine to the sound that the command line describes.
void RenderJob::Configure(OfflinePlugin& plugin, const std::string& strInput,
                          std::vector<std::string>& warnings) const {
    const ParameterIndex parameters(plugin.Components());
    const ParameterRef compensation = parameters.Require(kCompensationName, "render");
    compensation.Set(m_settings.bNoCompensation ? 0.0 : 1.0);
    if (!m_settings.strState.empty())
        plugin.ApplyState(ReadStateFile(m_settings.strState, plugin.Components()), Plugin::ApplyMode::Silent);
    if (!m_settings.strPreset.empty()) ApplyPreset(plugin, m_settings.strPreset);
    ApplyMatch(plugin, parameters, m_settings.match, strInput, warnings);
    for (const std::string& strSetting : m_settings.settings)
        ApplySetting(parameters, strSetting, warnings);
    if (m_settings.bNoCompensation && compensation.Get() != 0.0)
        throw UsageError(Util::Format("--no-compensation: contradicts a --set of \"%1\"", kCompensationName));
    if (!m_settings.strOrder.empty()) {
        const auto& labels = parameters.Require(kOrderName, "--order").EnumerationLabels();
        plugin.GetTransform().GlobalSettings().SetFilterGraph(ParseModuleOrder(m_settings.strOrder, labels));
    }
    if (!m_settings.strAutomation.empty()) {
        const auto bytes = ReadWholeFile(m_settings.strAutomation);
        const std::string_view json(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        InstallAutomation(ParseAutomation(json, m_settings.strAutomation, parameters, warnings));
    }
}

void RenderJob::SaveSettings(OfflinePlugin& plugin) const {
    if (!m_settings.strSaveState.empty()) {
        std::vector<std::uint8_t> bytes;
        plugin.CaptureState(bytes);
        WriteWholeFile(m_settings.strSaveState, bytes);
    }
    if (!m_settings.strSavePreset.empty()) SavePreset(plugin, m_settings.strSavePreset);
}

RenderSummary RenderJob::Run(const std::string& strInput, const std::string& strOutput,
                             const Observers& observers) const {
    // Before anything is read: whether the extension means a container does not depend on the input.
    RequireContainer(strOutput);
    OfflinePlugin plugin;
    std::vector<std::string> warnings;
    Configure(plugin, strInput, warnings);
    for (const std::string& strWarning : warnings)
        observers.warn(strWarning);

    std::optional<AudioReader> reader(strInput);
    RenderSummary summary;
    summary.blocks = m_blocks;
    summary.uSampleRate = reader->SampleRate();
    summary.uChannels = reader->Channels();
    const auto uTail =
        static_cast<std::uint64_t>(std::llround(m_settings.fTailSeconds * summary.uSampleRate));
    const std::uint64_t uExpected = reader->Frames() + uTail;
    AudioWriter writer(strOutput,
                       ChooseOutput(strOutput, m_format, reader->Samples(), summary.uChannels, uExpected),
                       summary.uSampleRate, summary.uChannels);
    SaveSettings(plugin);

    std::optional<Measurement> before;
    std::optional<Measurement> after;
    if (observers.bMeasure) {
        before.emplace(summary.uChannels, summary.uSampleRate);
        after.emplace(summary.uChannels, summary.uSampleRate);
    }
    StreamRenderer renderer(plugin, summary.uSampleRate, summary.uChannels, m_blocks);
    {
        Progress progress(observers.progress, uExpected, summary.uSampleRate);
        const auto source = [&](std::uint32_t uFrames, float* left, float* right) {
            InterruptionGuard::Check();
            const std::uint32_t uRead = reader->Read(uFrames, left, right);
            if (before && uRead != 0) before->Add(uRead, left, right);
            return uRead;
        };
        const auto sink = [&](std::uint32_t uFrames, float* left, float* right) {
            InterruptionGuard::Check();
            writer.Write(uFrames, left, right);
            if (after) after->Add(uFrames, left, right);
            progress.Advance(uFrames);
        };
        renderer.Render(source, uTail, sink);
        summary.fElapsedSeconds = progress.ElapsedSeconds();
    }
    // The input may be the file that the output replaces.
    reader.reset();
    writer.Commit();

    summary.uFramesIn = renderer.FramesIn();
    summary.uFramesOut = renderer.FramesOut();
    summary.uSystemDelay = renderer.SystemDelay();
    summary.meters = renderer.Meters();
    if (before) summary.input = before->Finish();
    if (after) summary.output = after->Finish();
    return summary;
}

}  // namespace App
