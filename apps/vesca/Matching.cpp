#include "apps/vesca/Matching.h"

#include <CLI/CLI.hpp>
#include <utility>

#include "apps/vesca/CommandError.h"
#include "apps/vesca/SpectrumCapture.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

constexpr std::uint32_t kSource = 0;
constexpr std::uint32_t kTarget = 1;
constexpr const char* kReferenceType = "Linear";

/// A file's snapshot; of a set the first.
SnapshotRecord ReadSnapshot(SnapshotSlots& slots, const std::string& strPath) {
    const std::string strProblem = slots.Import(strPath, 0);
    if (!strProblem.empty())
        throw FileFailure(Util::Format("can't use snapshot %1: %2", strPath, strProblem));
    return slots.Record(0);
}

}  // namespace

void AddMatchOptions(CLI::App& command, MatchOptions& options) {
    auto* const match =
        command
            .add_option("--match", options.snapshots,
                        "Match the sound whose spectrum is SOURCE to TARGET: snapshot files; of "
                        "a set the first slot. Sets the equalizer to \"Matching\"")
            ->expected(2)
            ->option_text("SOURCE TARGET");
    command
        .add_option("--reference", options.strReference,
                    "Match the input to this audio file: both spectra are captured on the way")
        ->option_text("AUDIO")
        ->excludes(match);
    command
        .add_option("--match-amount", options.strAmount,
                    "How much of the difference is taken away, 0 to 100 percent (default 10)")
        ->option_text("P");
    command
        .add_option(
            "--match-smoothing", options.strSmoothing,
            "How smooth the correction is, 0 to 1 (default 0.5). How fine it can be, \"EQ: FFT Size\" "
            "decides")
        ->option_text("S");
}

void ApplyMatch(OfflinePlugin& plugin, const ParameterIndex& parameters, const MatchOptions& options,
                const std::string& strInput, std::vector<std::string>& warnings) {
    if (options.snapshots.empty() && options.strReference.empty()) {
        if (!options.strAmount.empty() || !options.strSmoothing.empty())
            throw UsageError(Util::Format("%1: only with --match or --reference", options.strAmount.empty()
                                                                                      ? "--match-smoothing"
                                                                                      : "--match-amount"));
        return;
    }
    SnapshotSlots& slots = *plugin.GetTransform().Snapshots();
    SnapshotRecord source;
    SnapshotRecord target;
    if (options.strReference.empty()) {
        source = ReadSnapshot(slots, options.snapshots[0]);
        target = ReadSnapshot(slots, options.snapshots[1]);
    } else {
        source = CaptureSpectrum(strInput, kReferenceType);
        target = CaptureSpectrum(options.strReference, kReferenceType);
        CompleteTarget(source, target);
    }
    slots.Store(kSource, std::move(source));
    slots.Store(kTarget, std::move(target));
    slots.SetSource(kSource);
    slots.SetTarget(kTarget);
    ApplyValue(parameters.Require("EQ: Type", "--match"), "Matching", "--match", warnings);
    ApplyValue(parameters.Require("EQ: Bypass", "--match"), "off", "--match", warnings);
    const auto apply = [&](const char* strName, const std::string& strValue, const char* strOption) {
        if (!strValue.empty())
            ApplyValue(parameters.Require(strName, strOption), strValue,
                       Util::Format("%1 \"%2\"", strOption, strValue), warnings);
    };
    apply("EQ: Matching Amount", options.strAmount, "--match-amount");
    apply("EQ: Smoothing Amount", options.strSmoothing, "--match-smoothing");
}

}  // namespace App
