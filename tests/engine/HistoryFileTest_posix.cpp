#include <doctest/doctest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "PluginBase/HistoryFile.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestPlugin.h"

TEST_CASE("Two processes that save a history at once leave one whole file at every moment") {
    const Test::TempFolder folder;
    Test::TestPlugin plugin;
    plugin.Settings().SetText("InstallPath", folder.Path());
    const HistoryFile file(plugin);
    HistoryList list;
    file.Reset(list);
    for (int i = 0; i < 20; ++i)
        file.Push(list, "a");
    REQUIRE(file.Save(list));

    const pid_t child = fork();
    REQUIRE(child >= 0);
    if (child == 0) {
        // Longer and different, so that a mixture could not pass for either.
        for (int i = 0; i < 20; ++i)
            file.Push(list, "bb");
        bool bSaved = true;
        for (int i = 0; i < 30; ++i)
            bSaved = file.Save(list) && bSaved;
        _exit(bSaved ? 0 : 1);
    }
    for (int i = 0; i < 30; ++i) {
        REQUIRE(file.Save(list));
        HistoryList loaded;
        REQUIRE(file.Load(loaded));
        const std::size_t uEntries = loaded.Entries().size();
        REQUIRE((uEntries == 21 || uEntries == 41));
        REQUIRE(loaded.Entries().back().strLabel == (uEntries == 21 ? "a" : "bb"));
    }
    int nStatus = 0;
    REQUIRE(waitpid(child, &nStatus, 0) == child);
    CHECK(nStatus == 0);
    CHECK(folder.Count() == 1);
}
