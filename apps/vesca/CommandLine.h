#pragma once

#include "apps/vesca/Commands.h"

namespace App {

/// Runs the command line and gives the exit code: 0 done, 1 a file could not be read, written or understood,
/// 2 the command line is wrong. What went wrong is told on `output.messages`. Throws nothing but Interrupted.
int RunCommandLine(int nArguments, const char* const* arguments, const Output& output);

}  // namespace App
