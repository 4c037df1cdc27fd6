#include <CLI/CLI.hpp>
#include <memory>

#include "apps/vesca/BatchRender.h"
#include "apps/vesca/CommandError.h"
#include "apps/vesca/Commands.h"
#include "apps/vesca/Interruption.h"
#include "apps/vesca/RenderJob.h"
#include "apps/vesca/Report.h"
#include "apps/vesca/Terminal.h"
#include "apps/vesca/WholeFile.h"
#include "hvBase/Util/Dir.h"
#include "hvBase/Util/Path.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

struct RenderOptions {
    std::vector<std::string> files;  ///< inputs, and the output at the end
    std::uint32_t uJobs = 1;
    RenderSettings render;
    std::string strReport;
    bool bQuiet = false;
};

void WriteReport(const std::string& strPath, const std::string& strText, const Output& output) {
    if (strPath.empty()) return;
    if (strPath == "-") {
        output.product << strText;
    } else {
        WriteWholeFile(strPath, strText);
    }
}

void RenderOne(const RenderOptions& options, const std::string& strInput, const std::string& strOutput,
               const Output& output) {
    const RenderJob job(options.render);
    RenderJob::Observers observers;
    observers.warn = [&](const std::string& strWarning) {
        output.messages << "vesca: warning: " << strWarning << '\n';
    };
    if (!options.bQuiet && IsErrorTerminal()) observers.progress = &output.messages;
    observers.bMeasure = !options.strReport.empty();
    const RenderSummary summary = job.Run(strInput, strOutput, observers);
    WriteReport(options.strReport, ReportText(summary), output);
}

void RenderAll(const RenderOptions& options, const std::vector<std::string>& inputs,
               const std::string& strFolder, const Output& output) {
    if (!options.render.strSaveState.empty() || !options.render.strSavePreset.empty())
        throw UsageError("--save-state and --save-preset: only with a single output");
    const BatchRender batch(inputs, strFolder, options.uJobs);
    const RenderJob job(options.render);
    const auto results = batch.Run(job, options.bQuiet ? nullptr : &output.messages);
    WriteReport(options.strReport, ReportListText(results), output);
    if (options.strReport != "-") output.product << BatchTable(results);
    RequireSuccess(results);
}

void Render(const RenderOptions& options, const Output& output) {
    const InterruptionGuard interruptions;
    if (options.files.empty()) throw UsageError("INPUT is required");
    if (options.files.size() == 1) throw UsageError("OUTPUT is required");
    const std::vector<std::string> inputs(options.files.begin(), options.files.end() - 1);
    const std::string& strOutput = options.files.back();
    const bool bFolder =
        !strOutput.empty() && (Util::IsPathSeparator(strOutput.back()) || Util::Dir::Exists(strOutput));
    if (bFolder) return RenderAll(options, inputs, strOutput, output);
    if (inputs.size() > 1)
        throw UsageError(Util::Format(
            "%1 is no folder: several inputs need one as OUTPUT, or a name that ends with /", strOutput));
    RenderOne(options, inputs.front(), strOutput, output);
}

void AddOptions(CLI::App& command, RenderOptions& options) {
    command
        .add_option(
            "FILES", options.files,
            "INPUT: an audio file of one or two channels; may repeat. OUTPUT: the file to write; .wav, "
            ".flac, .aiff, .caf, .w64 or .ogg. It appears when the render is complete, and may be the "
            "input. A folder, or a name that ends with /, takes the outputs under the names of the "
            "inputs")
        ->option_text("INPUT... OUTPUT");
    command
        .add_option("-j,--jobs", options.uJobs, "With a folder: files rendered at the same time (default 1)")
        ->check(CLI::Range(1, 256))
        ->option_text("N");
    command.add_option("--state", options.render.strState, "Load an engine state block first")
        ->option_text("FILE");
    AddMatchOptions(command, options.render.match);
    command
        .add_option("-p,--preset", options.render.strPreset,
                    "Then load a preset; the groups that are in it are applied")
        ->option_text("FILE");
    command
        .add_option("-s,--set", options.render.settings,
                    "Set a parameter by its exact name; may repeat, in order. VALUE is a label, on, off, "
                    "true, false or a number. \"vesca params\" lists the names")
        ->option_text("\"NAME=VALUE\"")
        ->allow_extra_args(false);
    command.add_option("--order", options.render.strOrder, "Module order: nine labels or codes")
        ->option_text("\"A,B,...\"");
    command
        .add_option("--automation", options.render.strAutomation,
                    "Automation as JSON: [{\"parameter\": NAME, \"segments\": [{\"start\": s, \"end\": s, "
                    "\"from\": v, \"to\": v, \"curve\": \"jump\", \"linear\", \"square\" or "
                    "\"inverse-square\"}]}], times in seconds")
        ->option_text("FILE");
    command
        .add_option("-b,--block", options.render.strBlocks,
                    "Frames of a process call, 1 to 1048576; the lengths of a comma list are used in turn "
                    "(default 512)")
        ->option_text("N[,N...]");
    command
        .add_option("-f,--format", options.render.strFormat,
                    "Sample format: u8, s16, s24, s32, f32 or f64 (default: the input's)")
        ->option_text("F");
    command.add_flag("--no-compensation", options.render.bNoCompensation,
                     "Keep the chain's delay at the head of the output");
    command
        .add_option("--tail", options.render.fTailSeconds,
                    "Feed this much silence after the input, and keep what it produces (default 0)")
        ->option_text("SECONDS");
    command
        .add_option(
            "--report", options.strReport,
            "Write levels and loudness of input and output, and what the meters show at the end, as JSON; "
            "- is standard output. With a folder, a list of one for each file")
        ->option_text("FILE");
    command
        .add_option("--save-state", options.render.strSaveState,
                    "Write the engine's state after all settings")
        ->option_text("FILE");
    command.add_option("--save-preset", options.render.strSavePreset, "Write the same as a preset, dated")
        ->option_text("FILE");
    command.add_flag("-q,--quiet", options.bQuiet, "No progress bar");
}

}  // namespace

void AddRenderCommand(CLI::App& root, Action& action) {
    CLI::App* const command = root.add_subcommand(
        "render",
        "Run audio files through the chain: \"render INPUT OUTPUT\" or \"render INPUT... FOLDER\".\n"
        "Settings are applied in this order: --state, --preset, --match or --reference, --set, --order, "
        "--automation.");
    const auto options = std::make_shared<RenderOptions>();
    AddOptions(*command, *options);
    command->callback(
        [&action, options] { action = [options](const Output& output) { Render(*options, output); }; });
}

}  // namespace App
