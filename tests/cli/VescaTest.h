#pragma once

#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"

namespace Test {

/// Runs the built program to its end.
inline ChildProcess::Result Vesca(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), VESCA_BINARY);
    return RunProgram(arguments);
}

inline bool Contains(const std::string& strText, const std::string& strPiece) {
    return strText.find(strPiece) != std::string::npos;
}

}  // namespace Test
