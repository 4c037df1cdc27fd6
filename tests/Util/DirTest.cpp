#include "hvBase/Util/Dir.h"

#include <doctest/doctest.h>

#include <random>
#include <string>
#include <vector>

#include "hvBase/Util/Exception.h"
#include "hvBase/Util/Text.h"
#include "tests/support/ScopedVariable.h"
#include "tests/support/TempFolder.h"

namespace {

namespace Dir = Util::Dir;
using Names = std::vector<std::string>;

// The pattern's meaning, word for word and in exponential time.
bool SlowMatches(const std::string& strName, const std::string& strPattern) {
    if (strPattern.empty()) return strName.empty();
    const std::string strRest = strPattern.substr(1);
    if (strPattern[0] == '*') {
        for (std::size_t i = 0; i <= strName.size(); ++i) {
            if (SlowMatches(strName.substr(i), strRest)) return true;
        }
        return false;
    }
    if (strName.empty()) return false;
    return (strPattern[0] == '?' || strPattern[0] == strName[0]) && SlowMatches(strName.substr(1), strRest);
}

}  // namespace

TEST_CASE("Path: a path cut after its last separator joins to the same path again") {
    const struct {
        const char *path, *folder, *name;
    } table[] = {{"/usr/lib/x.so", "/usr/lib/", "x.so"},
                 {"x.so", "", "x.so"},
                 {"/x", "/", "x"},
                 {"/a/b/", "/a/b/", ""},
                 {"", "", ""},
                 {"a//b", "a//", "b"}};
    for (const auto& row : table) {
        CAPTURE(row.path);
        const auto names = Util::SplitPath(row.path);
        CHECK(names.strFolder == row.folder);
        CHECK(names.strName == row.name);
        CHECK(Util::JoinPath(names.strFolder, names.strName) == row.path);
    }
    CHECK(Util::JoinPath("a", "b") == std::string("a") + Util::kPathSeparator + "b");
#ifdef _WIN32
    CHECK(Util::SplitPath("C:\\a\\b").strFolder == "C:\\a\\");
    CHECK(Util::SplitPath("C:b").strName == "b");
#else
    CHECK(Util::SplitPath("a\\b").strName == "a\\b");
#endif
}

TEST_CASE("Path: only a leading tilde with its slash stands for the home folder") {
    {
        const Test::ScopedVariable home("HOME", "/home/ada");
        CHECK(Util::ExpandHome("~/x/y") == "/home/ada/x/y");
        CHECK(Util::ExpandHome("~/") == "/home/ada/");
        for (const char* path : {"~", "~ada/x", "/~/x", "x~/", "", "./~/x"}) {
            CHECK(Util::ExpandHome(path) == path);
        }
    }
    const Test::ScopedVariable home("HOME", std::nullopt);
    CHECK(Util::ExpandHome("~/x") == "~/x");
}

TEST_CASE("Dir: a folder is made with what is missing above it, and a failure says so") {
    const Test::TempFolder folder;
    const std::string strDeep = folder.File("a") + "/b/c";
    CHECK_FALSE(Dir::Exists(strDeep));
    Dir::Create(strDeep);
    CHECK(Dir::Exists(strDeep));
    Dir::Create(strDeep + "//");
    Dir::Create("");

    Test::Spill(folder.File("file"), "x");
    CHECK((Dir::FileExists(folder.File("file")) && !Dir::Exists(folder.File("file"))));
    CHECK_FALSE(Dir::FileExists(folder.File("a")));
    CHECK_FALSE(Dir::FileExists(folder.File("none")));
    for (const std::string& strPath : {folder.File("file"), folder.File("file") + "/below"}) {
        CHECK_THROWS_WITH_AS(Dir::Create(strPath), "_mkdir() failed", Util::Exception::FileIO);
    }

    const Test::ScopedVariable home("HOME", folder.Path());
    Dir::Create("~/fromhome");
    CHECK(Dir::Exists(folder.File("fromhome")));
    CHECK(Dir::Exists("~/fromhome"));
}

TEST_CASE("Dir: a listing has the matching names of one kind, in order") {
    const Test::TempFolder folder;
    for (const char* name : {"b.xml", "a.xml", "C.XML", "a.xml.bak", "xml", "\xC3\xA4.xml", ".xml"}) {
        Test::Spill(folder.File(name), "");
    }
    Dir::Create(folder.File("folder.xml"));
    CHECK(Dir::List(folder.Path(), "*.xml") == Names{".xml", "C.XML", "a.xml", "b.xml", "\xC3\xA4.xml"});
    CHECK(Dir::List(folder.Path(), "*", Dir::Entry::Folder) == Names{"folder.xml"});
    CHECK(Dir::List(folder.Path(), "?.xml") == Names{"C.XML", "a.xml", "b.xml"});
    CHECK(Dir::List(folder.Path(), "*").size() == 7);
    CHECK(Dir::List(folder.File("none"), "*").empty());
}

TEST_CASE("Dir: a pattern matches what its meaning says, for all short names and in little time") {
    std::mt19937 random(5);
    const auto draw = [&random](const char* letters, std::size_t uLetters) {
        std::string strText;
        for (auto i = random() % 7; i > 0; --i) {
            strText += letters[random() % uLetters];
        }
        return strText;
    };
    for (int i = 0; i < 20000; ++i) {
        const std::string strName = draw("ab", 2), strPattern = draw("ab*?", 4);
        if (Dir::Matches(strName, strPattern) != SlowMatches(strName, strPattern)) {
            FAIL("\"" << strName << "\" and \"" << strPattern << "\"");
        }
    }
    std::string strStars;
    for (int i = 0; i < 50; ++i) {
        strStars += "*a";
    }
    // Trying every star in turn would not end.
    CHECK_FALSE(Dir::Matches(std::string(2000, 'a') + 'b', strStars));
    CHECK(Dir::Matches("Preset.XmL", "pRESET.xMl"));
}
