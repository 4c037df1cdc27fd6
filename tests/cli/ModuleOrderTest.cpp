#include "apps/vesca/ModuleOrder.h"

#include <doctest/doctest.h>

#include "apps/vesca/CommandError.h"
#include "tests/support/TestPlugin.h"

namespace {

std::string OrderError(const std::string& strOrder, const std::vector<std::string>& labels) {
    try {
        App::ParseModuleOrder(strOrder, labels);
    } catch (const App::UsageError& error) {
        return error.Message();
    }
    return "none";
}

}  // namespace

TEST_CASE("Module order: labels and codes mix, and each module stands in it exactly once") {
    Test::TestPlugin plugin;
    const auto labels = plugin.Parameter("Global: Filter Graph Item 0").EnumerationLabels();
    REQUIRE(labels.size() == 9);
    CHECK(App::ParseModuleOrder("8,7,6,5,4,3,2,1,0", labels) ==
          std::vector<std::uint32_t>{8, 7, 6, 5, 4, 3, 2, 1, 0});
    CHECK(App::ParseModuleOrder("Maximizer, 0,Reverb,Mutliband Dynamics,3, 4 ,5,Spectrum,Phase Meter",
                                labels) == std::vector<std::uint32_t>{6, 0, 1, 2, 3, 4, 5, 7, 8});

    CHECK(OrderError("0,1,2,3,4,5,6,7", labels).find("\"Phase Meter\" is missing") != std::string::npos);
    CHECK(OrderError("0,1,2,3,4,5,6,7,Reverb", labels).find("\"Reverb\" stands there twice") !=
          std::string::npos);
    for (const std::string strEntry : {"9", "-1", "Limiter", "", "1.5", "reverb"}) {
        CAPTURE(strEntry);
        const std::string strError = OrderError("0,1,2,3,4,5,6,7," + strEntry, labels);
        CHECK(strError.find("--order: \"" + strEntry + "\" is no module") != std::string::npos);
    }
}
