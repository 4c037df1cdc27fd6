#include "hvBase/Util/SettingsStore.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "hvBase/Util/MemorySettingsStore.h"
#include "hvBase/Util/SettingsData.h"
#include "tests/Util/SettingsStoreChecks.h"

namespace {

using Util::SettingsData;

std::string RandomText(std::mt19937& random, std::size_t uLongest) {
    std::string strText(random() % (uLongest + 1), '\0');
    for (char& c : strText) {
        c = static_cast<char>(static_cast<unsigned char>(random() & 0xFFu));
    }
    return strText;
}

SettingsData RandomData(std::mt19937& random) {
    SettingsData data;
    for (auto i = random() % 12; i > 0; --i) {
        const std::string strName = RandomText(random, 10), strText = RandomText(random, 40);
        switch (random() % 3) {
            case 0:
                data.Set(strName, SettingsData::FromBytes(strText.data(), strText.size()));
                break;
            case 1:
                data.Set(strName, SettingsData::FromText(strText));
                break;
            default:
                data.Set(strName, SettingsData::FromNumber(static_cast<std::uint32_t>(random())));
        }
    }
    return data;
}

// Where two sets differ, or an empty text.
std::string Difference(const SettingsData& left, const SettingsData& right) {
    if (left.Names() != right.Names()) return "names";
    for (const std::string& strName : left.Names()) {
        if (*left.Find(strName) != *right.Find(strName)) return strName;
    }
    return {};
}

}  // namespace

TEST_CASE("MemorySettingsStore: values of three kinds by name, each found only as what it is") {
    Util::MemorySettingsStore store;
    CheckSettingsStore(store);
}

TEST_CASE("SettingsData: the text is one that a person can read and write") {
    SettingsData data;
    data.Set("Lang", SettingsData::FromText("en \"x\" \\ \n\x1F\xC3\xA4"));
    data.Set("A", SettingsData::FromNumber(0xFFFFFFFF));
    data.Set("B", SettingsData::FromBytes("\x01\xAB", 2));
    CHECK(data.Print() ==
          "\"A\" number \"4294967295\"\n"
          "\"B\" bytes \"01ab\"\n"
          "\"Lang\" text \"en \\\"x\\\" \\\\ \\x0a\\x1f\xC3\xA4\"\n");

    const SettingsData read = SettingsData::Parse(
        "# a remark\n\"n\" number \"7\"\n\n\"n\" number \"8\"\n\"new\" colour \"red\"\n\"t\" text \"no line end\"");
    CHECK(read.Names() == std::vector<std::string>{"n", "t"});
    CHECK(*read.Find("n") == SettingsData::FromNumber(8));
    // What it does not understand it keeps.
    CHECK(read.Print() ==
          "# a remark\n\"new\" colour \"red\"\n\"n\" number \"8\"\n\"t\" text \"no line end\"\n");
}

TEST_CASE("SettingsData: a line that is not whole gives no value and is kept") {
    for (const char* line : {"\"n\" number \"\"",
                             "\"n\" number \"-1\"",
                             "\"n\" number \"4294967296\"",
                             "\"n\" number \"1x\"",
                             "\"n\" number \" 1\"",
                             "\"n\" number 1",
                             "\"n\" number \"1",
                             "\"n\" number \"1\" ",
                             "\"n\" number\"1\"",
                             "\"n\"number \"1\"",
                             "\"n\" numbers \"1\"",
                             "\"n\" bytes \"0\"",
                             "\"n\" bytes \"0g\"",
                             "\"n\" bytes \"AB\"",
                             "\"\" number \"1\"",
                             "n number \"1\"",
                             "\"n\\\" number \"1\"",
                             "\"n\" text \"\\\"",
                             "\"n\" text \"\\q\"",
                             "\"n\" text \"\\x1\"",
                             "\"n\" text \"\\x\"",
                             "\"n\"",
                             "\""}) {
        CAPTURE(line);
        CHECK(SettingsData::Parse(line).Names().empty());
        CHECK(SettingsData::Parse(line).Print() == std::string(line) + '\n');
    }
}

TEST_CASE("SettingsData: what is set reads back, and a cut loses at most the value that it goes through") {
    std::mt19937 random(10);
    for (int i = 0; i < 100; ++i) {
        const SettingsData whole = RandomData(random);
        const std::string strText = whole.Print();
        CHECK(Difference(whole, SettingsData::Parse(strText)) == "");
        for (std::size_t uLength = 0; uLength <= strText.size(); ++uLength) {
            const SettingsData cut = SettingsData::Parse(std::string_view(strText).substr(0, uLength));
            const auto nLines =
                std::count(strText.begin(), strText.begin() + static_cast<std::ptrdiff_t>(uLength), '\n');
            if (cut.Names().size() < static_cast<std::size_t>(nLines))
                FAIL("lost a whole line at " << uLength);
            for (const std::string& strName : cut.Names()) {
                const SettingsData::Value* const expected = whole.Find(strName);
                if (!expected || *expected != *cut.Find(strName)) FAIL("invented a value at " << uLength);
            }
        }
    }
}

TEST_CASE("SettingsData: damaged and random text never harms, and reads the same after a write") {
    std::mt19937 random(11);
    for (int i = 0; i < 2000; ++i) {
        std::string strText = i % 2 == 0 ? RandomText(random, 300) : RandomData(random).Print();
        for (auto uHits = random() % 4; uHits > 0 && !strText.empty(); --uHits)
            strText[random() % strText.size()] = "\"\\\nx0 "[random() % 6];
        const SettingsData first = SettingsData::Parse(strText);
        const std::string strPrinted = first.Print();
        const SettingsData second = SettingsData::Parse(strPrinted);
        if (Difference(first, second) != "" || second.Print() != strPrinted)
            FAIL("round " << i << ": the text does not settle");
    }
}
