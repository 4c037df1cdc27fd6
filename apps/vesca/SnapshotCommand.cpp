#include <CLI/CLI.hpp>
#include <memory>

#include "apps/vesca/CommandError.h"
#include "apps/vesca/Commands.h"
#include "apps/vesca/OfflinePlugin.h"
#include "apps/vesca/SpectrumCapture.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

/// The meter's label for a kind of spectrum.
std::string TypeLabel(const std::string& strType) {
    if (strType == "third-octave") return "1/3 Octave";
    return strType == "critical" ? "Critical" : "Linear";
}

struct CaptureOptions {
    std::string strAudio;
    std::string strSnapshot;
    std::string strType = "linear";
};

void Capture(const CaptureOptions& options) {
    OfflinePlugin plugin;
    SnapshotSlots& slots = *plugin.GetTransform().Snapshots();
    slots.Store(0, CaptureSpectrum(options.strAudio, TypeLabel(options.strType)));
    const std::string strProblem = slots.Export(options.strSnapshot, 0, SnapshotFileKind::Single);
    if (!strProblem.empty())
        throw FileFailure(Util::Format("can't write %1: %2", options.strSnapshot, strProblem));
}

}  // namespace

void AddSnapshotCommand(CLI::App& root, Action& action) {
    CLI::App* const command = root.add_subcommand("snapshot", "Make spectrum snapshots, to match sounds.");
    command->require_subcommand(1);
    CLI::App* const capture = command->add_subcommand(
        "capture",
        "Write the average spectrum of an audio file as a snapshot, for \"vesca render --match\".");
    const auto options = std::make_shared<CaptureOptions>();
    capture->add_option("AUDIO", options->strAudio, "Audio file of one or two channels")->required();
    capture->add_option("OUT.snapshot", options->strSnapshot, "Snapshot file to write")->required();
    capture
        ->add_option("--type", options->strType,
                     "Kind of spectrum: linear (every bin), third-octave or critical (default linear)")
        ->option_text("linear|third-octave|critical")
        ->check(CLI::IsMember({"linear", "third-octave", "critical"}).description(""));
    capture->callback([&action, options] { action = [options](const Output&) { Capture(*options); }; });
}

}  // namespace App
