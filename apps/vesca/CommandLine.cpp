#include "apps/vesca/CommandLine.h"

#include <CLI/CLI.hpp>

#include "apps/vesca/CommandError.h"
#include "apps/vesca/Interruption.h"
#include "apps/vesca/WholeFile.h"

namespace App {

namespace {

constexpr int kDone = 0;
constexpr int kFileFailure = 1;
constexpr int kUsageError = 2;

int Fail(const Output& output, int nCode, const char* text) {
    output.messages << "vesca: " << text << '\n';
    return nCode;
}

}  // namespace

int RunCommandLine(int nArguments, const char* const* arguments, const Output& output) {
    CLI::App root(
        "Vesca: the mastering chain on the command line.\n"
        "\"vesca COMMAND --help\" explains a command.",
        "vesca");
    root.set_version_flag("--version", "vesca " VESCA_VERSION);
    root.require_subcommand(1);
    root.failure_message([](const CLI::App*, const CLI::Error& error) {
        return std::string("vesca: ") + error.what() + "\nRun with --help for more information.\n";
    });
    Action action;
    AddRenderCommand(root, action);
    AddParamsCommand(root, action);
    AddPresetCommand(root, action);
    AddStateCommand(root, action);
    AddSelfTestCommand(root, action);
    AddSnapshotCommand(root, action);
    try {
        root.parse(nArguments, arguments);
        action(output);
        output.product.flush();
        if (!output.product) throw FileFailure("can't write to standard output");
        return kDone;
    } catch (const CLI::ParseError& error) {
        return root.exit(error, output.product, output.messages) == 0 ? kDone : kUsageError;
    } catch (const UsageError& error) {
        return Fail(output, kUsageError, error.what());
    } catch (const Interrupted&) {
        throw;
    } catch (const Util::Exception::FileIO& failure) {
        return Fail(output, kFileFailure, (failure.Message() + ": " + FailureReason(failure)).c_str());
    } catch (const std::bad_alloc&) {
        return Fail(output, kFileFailure, "out of memory");
    } catch (const std::exception& failure) {
        return Fail(output, kFileFailure, failure.what());
    }
}

}  // namespace App
