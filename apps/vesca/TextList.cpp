#include "apps/vesca/TextList.h"

#include <algorithm>

namespace App {

namespace {

std::string_view Trimmed(std::string_view text) {
    const std::size_t uFirst = text.find_first_not_of(' ');
    if (uFirst == std::string_view::npos) return {};
    return text.substr(uFirst, text.find_last_not_of(' ') - uFirst + 1);
}

}  // namespace

std::vector<std::string> SplitList(std::string_view text) {
    std::vector<std::string> entries;
    for (;;) {
        const std::size_t uComma = text.find(',');
        entries.emplace_back(Trimmed(text.substr(0, uComma)));
        if (uComma == std::string_view::npos) return entries;
        text.remove_prefix(uComma + 1);
    }
}

std::string AlignedTable(const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    }
    std::string strTable;
    for (const auto& row : rows) {
        std::string strLine;
        for (std::size_t i = 0; i < row.size(); ++i) {
            strLine += row[i];
            strLine.append(widths[i] - row[i].size() + 2, ' ');
        }
        strLine.erase(strLine.find_last_not_of(' ') + 1);
        strTable += strLine + '\n';
    }
    return strTable;
}

}  // namespace App
