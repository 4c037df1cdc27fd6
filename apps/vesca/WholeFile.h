#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "hvBase/Util/Exception.h"

namespace App {

/// The whole content of a small file: a state block, a list of automation. Throws FileFailure; a file
/// above 64 MB is refused before anything is allocated for it.
std::vector<std::uint8_t> ReadWholeFile(const std::string& strPath);

/// Replaces a file in one step. Throws FileFailure and leaves the old file as it was.
void WriteWholeFile(const std::string& strPath, std::span<const std::uint8_t> bytes);
void WriteWholeFile(const std::string& strPath, const std::string& strText);

/// What the system says about a failed file operation, for a person.
std::string FailureReason(const Util::Exception::FileIO& failure);

}  // namespace App
