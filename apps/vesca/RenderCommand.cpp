#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <memory>
#include <optional>

#include "apps/vesca/AudioReader.h"
#include "apps/vesca/AudioWriter.h"
#include "apps/vesca/AutomationFile.h"
#include "apps/vesca/CommandError.h"
#include "apps/vesca/Commands.h"
#include "apps/vesca/Interruption.h"
#include "apps/vesca/Matching.h"
#include "apps/vesca/ModuleOrder.h"
#include "apps/vesca/OfflinePlugin.h"
#include "apps/vesca/ParameterSetting.h"
#include "apps/vesca/PresetUse.h"
#include "apps/vesca/Progress.h"
#include "apps/vesca/Report.h"
#include "apps/vesca/StateFile.h"
#include "apps/vesca/StreamRenderer.h"
#include "apps/vesca/Terminal.h"
#include "apps/vesca/TextList.h"
#include "apps/vesca/WholeFile.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

constexpr std::uint32_t kMostBlock = 1048576;  ///< frames
constexpr double kMostTailSeconds = 86400.0;
constexpr const char* kCompensationName = "Global: Delay Compensation";
constexpr const char* kOrderName = "Global: Filter Graph Item 0";

struct RenderOptions {
    std::string strInput;
    std::string strOutput;
    std::string strState;
    std::string strPreset;
    MatchOptions match;
    std::vector<std::string> settings;
    std::string strOrder;
    std::string strAutomation;
    std::string strBlocks = "512";
    std::string strFormat;
    bool bNoCompensation = false;
    double fTailSeconds = 0.0;
    std::string strReport;
    std::string strSaveState;
    std::string strSavePreset;
    bool bQuiet = false;
};

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

/// Brings the engine to the sound that the command line describes.
void Configure(OfflinePlugin& plugin, const RenderOptions& options, std::vector<std::string>& warnings) {
    const ParameterIndex parameters(plugin.Components());
    const ParameterRef compensation = parameters.Require(kCompensationName, "render");
    compensation.Set(options.bNoCompensation ? 0.0 : 1.0);
    if (!options.strState.empty())
        plugin.ApplyState(ReadStateFile(options.strState, plugin.Components()), Plugin::ApplyMode::Silent);
    if (!options.strPreset.empty()) ApplyPreset(plugin, options.strPreset);
    ApplyMatch(plugin, parameters, options.match, options.strInput, warnings);
    for (const std::string& strSetting : options.settings)
        ApplySetting(parameters, strSetting, warnings);
    if (options.bNoCompensation && compensation.Get() != 0.0)
        throw UsageError(Util::Format("--no-compensation: contradicts a --set of \"%1\"", kCompensationName));
    if (!options.strOrder.empty()) {
        const auto& labels = parameters.Require(kOrderName, "--order").EnumerationLabels();
        plugin.GetTransform().GlobalSettings().SetFilterGraph(ParseModuleOrder(options.strOrder, labels));
    }
    if (!options.strAutomation.empty()) {
        const auto bytes = ReadWholeFile(options.strAutomation);
        const std::string_view json(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        InstallAutomation(ParseAutomation(json, options.strAutomation, parameters, warnings));
    }
}

void SaveState(const OfflinePlugin& plugin, const std::string& strPath) {
    if (strPath.empty()) return;
    std::vector<std::uint8_t> bytes;
    plugin.CaptureState(bytes);
    WriteWholeFile(strPath, bytes);
}

void Render(const RenderOptions& options, const Output& output) {
    const auto blocks = ParseBlocks(options.strBlocks);
    const auto format = ParseFormat(options.strFormat);
    const double fTail = CheckedTail(options.fTailSeconds);
    // Before anything is read: whether the extension means a container does not depend on the input.
    RequireContainer(options.strOutput);

    OfflinePlugin plugin;
    std::vector<std::string> warnings;
    Configure(plugin, options, warnings);
    for (const std::string& strWarning : warnings)
        output.messages << "vesca: warning: " << strWarning << '\n';

    const InterruptionGuard interruptions;
    std::optional<AudioReader> reader(options.strInput);
    RenderSummary summary;
    summary.blocks = blocks;
    summary.uSampleRate = reader->SampleRate();
    summary.uChannels = reader->Channels();
    const auto uTail = static_cast<std::uint64_t>(std::llround(fTail * summary.uSampleRate));
    const std::uint64_t uExpected = reader->Frames() + uTail;
    AudioWriter writer(
        options.strOutput,
        ChooseOutput(options.strOutput, format, reader->Samples(), summary.uChannels, uExpected),
        summary.uSampleRate, summary.uChannels);
    SaveState(plugin, options.strSaveState);
    if (!options.strSavePreset.empty()) SavePreset(plugin, options.strSavePreset);

    std::optional<Measurement> before;
    std::optional<Measurement> after;
    if (!options.strReport.empty()) {
        before.emplace(summary.uChannels, summary.uSampleRate);
        after.emplace(summary.uChannels, summary.uSampleRate);
    }
    StreamRenderer renderer(plugin, summary.uSampleRate, summary.uChannels, blocks);
    const bool bShow = !options.bQuiet && IsErrorTerminal();
    {
        Progress progress(bShow ? &output.messages : nullptr, uExpected, summary.uSampleRate);
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

    if (options.strReport.empty()) return;
    summary.uFramesIn = renderer.FramesIn();
    summary.uFramesOut = renderer.FramesOut();
    summary.uSystemDelay = renderer.SystemDelay();
    summary.input = before->Finish();
    summary.output = after->Finish();
    summary.meters = renderer.Meters();
    if (options.strReport == "-") {
        output.product << ReportText(summary);
    } else {
        WriteWholeFile(options.strReport, ReportText(summary));
    }
}

void AddOptions(CLI::App& command, RenderOptions& options) {
    command.add_option("INPUT", options.strInput, "Audio file of one or two channels")->required();
    command
        .add_option("OUTPUT", options.strOutput,
                    "File to write; .wav, .flac, .aiff, .caf, .w64 or .ogg. It appears when the render is "
                    "complete, and may be the input")
        ->required();
    command.add_option("--state", options.strState, "Load an engine state block first")->option_text("FILE");
    AddMatchOptions(command, options.match);
    command
        .add_option("-p,--preset", options.strPreset,
                    "Then load a preset; the groups that are in it are applied")
        ->option_text("FILE");
    command
        .add_option("-s,--set", options.settings,
                    "Set a parameter by its exact name; may repeat, in order. VALUE is a label, on, off, "
                    "true, false or a number. \"vesca params\" lists the names")
        ->option_text("\"NAME=VALUE\"")
        ->allow_extra_args(false);
    command.add_option("--order", options.strOrder, "Module order: nine labels or codes")
        ->option_text("\"A,B,...\"");
    command
        .add_option("--automation", options.strAutomation,
                    "Automation as JSON: [{\"parameter\": NAME, \"segments\": [{\"start\": s, \"end\": s, "
                    "\"from\": v, \"to\": v, \"curve\": \"jump\", \"linear\", \"square\" or "
                    "\"inverse-square\"}]}], times in seconds")
        ->option_text("FILE");
    command
        .add_option("-b,--block", options.strBlocks,
                    "Frames of a process call, 1 to 1048576; the lengths of a comma list are used in turn "
                    "(default 512)")
        ->option_text("N[,N...]");
    command
        .add_option("-f,--format", options.strFormat,
                    "Sample format: u8, s16, s24, s32, f32 or f64 (default: the input's)")
        ->option_text("F");
    command.add_flag("--no-compensation", options.bNoCompensation,
                     "Keep the chain's delay at the head of the output");
    command
        .add_option("--tail", options.fTailSeconds,
                    "Feed this much silence after the input, and keep what it produces (default 0)")
        ->option_text("SECONDS");
    command
        .add_option(
            "--report", options.strReport,
            "Write levels and loudness of input and output, and what the meters show at the end, as JSON; "
            "- is standard output")
        ->option_text("FILE");
    command.add_option("--save-state", options.strSaveState, "Write the engine's state after all settings")
        ->option_text("FILE");
    command.add_option("--save-preset", options.strSavePreset, "Write the same as a preset, dated")
        ->option_text("FILE");
    command.add_flag("-q,--quiet", options.bQuiet, "No progress bar");
}

}  // namespace

void AddRenderCommand(CLI::App& root, Action& action) {
    CLI::App* const command = root.add_subcommand(
        "render",
        "Run an audio file through the chain.\n"
        "Settings are applied in this order: --state, --preset, --match or --reference, --set, --order, "
        "--automation.");
    const auto options = std::make_shared<RenderOptions>();
    AddOptions(*command, *options);
    command->callback(
        [&action, options] { action = [options](const Output& output) { Render(*options, output); }; });
}

}  // namespace App
