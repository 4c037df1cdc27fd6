#include "apps/vesca/ModuleOrder.h"

#include <algorithm>
#include <charconv>

#include "apps/vesca/CommandError.h"
#include "apps/vesca/TextList.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

std::uint32_t ParseModule(const std::string& strEntry, const std::vector<std::string>& labels) {
    const auto label = std::find(labels.begin(), labels.end(), strEntry);
    if (label != labels.end()) return static_cast<std::uint32_t>(label - labels.begin());

    std::uint32_t uCode = 0;
    const char* const end = strEntry.data() + strEntry.size();
    const auto parsed = std::from_chars(strEntry.data(), end, uCode);
    if (parsed.ec == std::errc() && parsed.ptr == end && uCode < labels.size()) return uCode;

    std::string strKnown;
    for (std::size_t i = 0; i < labels.size(); ++i)
        strKnown += Util::Format("%1%2 \"%3\"", i == 0 ? "" : ", ", i, labels[i]);
    throw UsageError(Util::Format("--order: \"%1\" is no module; the modules are %2", strEntry, strKnown));
}

}  // namespace

std::vector<std::uint32_t> ParseModuleOrder(const std::string& strOrder,
                                            const std::vector<std::string>& labels) {
    std::vector<std::uint32_t> order;
    for (const std::string& strEntry : SplitList(strOrder)) {
        const std::uint32_t uCode = ParseModule(strEntry, labels);
        if (std::find(order.begin(), order.end(), uCode) != order.end())
            throw UsageError(Util::Format("--order: \"%1\" stands there twice", labels[uCode]));
        order.push_back(uCode);
    }
    for (std::uint32_t uCode = 0; uCode < labels.size(); ++uCode) {
        if (std::find(order.begin(), order.end(), uCode) == order.end())
            throw UsageError(Util::Format("--order: \"%1\" is missing", labels[uCode]));
    }
    return order;
}

}  // namespace App
