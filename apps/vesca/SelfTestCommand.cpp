#include <CLI/CLI.hpp>
#include <iomanip>

#include "apps/vesca/Commands.h"
#include "apps/vesca/Interruption.h"
#include "apps/vesca/SelfTest.h"
#include "hvBase/Util/Exception.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

constexpr int kNameWidth = 13;
constexpr int kFigureWidth = 60;

void RunSelfTests(const Output& output) {
    const InterruptionGuard interruptions;
    std::ostream& table = output.product;
    const auto row = [&](const std::string& strName, const std::string& strFigure,
                         const std::string& strLimit, const char* verdict) {
        table << std::left << std::setw(kNameWidth) << strName << std::setw(kFigureWidth) << strFigure
              << std::setw(0) << ' ' << verdict << "  (" << strLimit << ")\n"
              << std::flush;
    };
    int nFailed = 0;
    const auto tests = SelfTests();
    for (const SelfTest& test : tests) {
        InterruptionGuard::Check();
        const SelfTestResult result = test.run();
        row(test.strName, result.strFigure, result.strLimit, result.bPassed ? "pass" : "FAIL");
        if (!result.bPassed) ++nFailed;
    }
    if (nFailed != 0)
        throw ::Exception::Base(Util::Format("selftest: %1 of %2 checks failed", nFailed, tests.size()));
    table << "All " << tests.size() << " checks passed.\n";
}

}  // namespace

void AddSelfTestCommand(CLI::App& root, Action& action) {
    CLI::App* const command = root.add_subcommand(
        "selftest",
        "Prove the engine on this machine, in some seconds: latency as reported, null, ceiling, dither\n"
        "spectrum, loudness, and the same bits at every processor level and block length.\n"
        "Exit code 0 if every check passes, 1 if not.");
    command->callback([&action] { action = &RunSelfTests; });
}

}  // namespace App
