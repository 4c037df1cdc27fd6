#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace App {

/// The entries of a comma list, without the blanks around them. An empty text is one empty entry.
std::vector<std::string> SplitList(std::string_view text);

/// Rows of cells as lines of text, each column as wide as its widest cell, two blanks between columns and
/// none at the end of a line. The first row is the heading.
std::string AlignedTable(const std::vector<std::vector<std::string>>& rows);

}  // namespace App
