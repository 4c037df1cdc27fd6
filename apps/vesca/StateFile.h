#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "PluginBase/Component.h"

namespace App {

/// Why a state block does not fit the engine's parameters; empty if it fits.
std::string StateProblem(std::span<const std::uint8_t> bytes, const std::vector<Component*>& components);

/// The bytes of a file with a state block that fits. Throws a FileFailure that says why one does not.
std::vector<std::uint8_t> ReadStateFile(const std::string& strPath,
                                        const std::vector<Component*>& components);

}  // namespace App
