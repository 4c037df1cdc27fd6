#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace App {

/// The module order from a comma list of nine labels or codes, each module exactly once. Blanks around an
/// entry do not count. `labels` holds the label of each code. Throws a UsageError that names the entry.
std::vector<std::uint32_t> ParseModuleOrder(const std::string& strOrder,
                                            const std::vector<std::string>& labels);

}  // namespace App
