#pragma once

#include <string>
#include <vector>

namespace App {

/// What one check of the engine on this machine has found.
struct SelfTestResult {
    std::string strFigure;  ///< what was measured, as a person reads it
    std::string strLimit;   ///< what it must be
    bool bPassed = false;
};

struct SelfTest {
    std::string strName;
    SelfTestResult (*run)();
};

/// The checks, all of them on signals that they make themselves: latency, null, ceiling, dither spectrum,
/// loudness and determinism. Each takes a few seconds at most. One at a time: "determinism" switches the
/// processor level of the whole program and puts the best one back.
std::vector<SelfTest> SelfTests();

}  // namespace App
