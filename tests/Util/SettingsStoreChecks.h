#pragma once

#include <doctest/doctest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "hvBase/Util/SettingsStore.h"

/// What every settings store owes its users, from an empty store on.
inline void CheckSettingsStore(Util::SettingsStore& store) {
    using Bytes = std::vector<std::uint8_t>;
    std::uint32_t uNumber = 77;
    std::string strText = "kept";
    Bytes bytes = {1, 2};

    // Absent values leave the argument alone.
    CHECK_FALSE(store.GetNumber("Number", uNumber));
    CHECK_FALSE(store.GetText("Text", strText));
    CHECK_FALSE(store.GetBytes("Bytes", bytes));
    CHECK((uNumber == 77 && strText == "kept" && bytes == Bytes{1, 2}));
    CHECK(store.GetText("Text", std::string_view("en")) == "en");
    CHECK(store.EnumerateValues().empty());

    const std::string strTricky = "C:\\Presets\\ \"M\xC3\xA4rz\"\n\x7F # = end";
    CHECK(store.SetNumber("Number", 0xFFFFFFFF));
    CHECK(store.SetText("Text", strTricky));
    CHECK(store.SetBytes("Bytes", "\0\xFF\"\n", 4));
    CHECK(store.GetNumber("Number", uNumber));
    CHECK(store.GetText("Text", strText));
    CHECK(store.GetBytes("Bytes", bytes));
    CHECK((uNumber == 0xFFFFFFFF && strText == strTricky && bytes == Bytes{0, 0xFF, '"', '\n'}));
    CHECK(store.GetText("Text", std::string_view("en")) == strTricky);
    auto names = store.EnumerateValues();
    std::sort(names.begin(), names.end());
    CHECK(names == std::vector<std::string>{"Bytes", "Number", "Text"});

    // A value is found only as what it is.
    strText = "kept";
    CHECK_FALSE(store.GetText("Number", strText));
    CHECK_FALSE(store.GetText("Bytes", strText));
    CHECK_FALSE(store.GetNumber("Text", uNumber));
    CHECK_FALSE(store.GetNumber("Bytes", uNumber));
    CHECK_FALSE(store.GetBytes("Number", bytes));
    CHECK_FALSE(store.GetBytes("Text", bytes));
    CHECK((uNumber == 0xFFFFFFFF && strText == "kept" && bytes.size() == 4));

    // A name has one value, also across kinds.
    CHECK(store.SetText("Number", ""));
    CHECK_FALSE(store.GetNumber("Number", uNumber));
    CHECK(store.GetText("Number", std::string_view("en")).empty());
    CHECK(store.EnumerateValues().size() == 3);

    // Edges: no bytes, text with a 0 inside, the parameters' long names, no name.
    CHECK(store.SetBytes("Bytes", nullptr, 0));
    CHECK(store.GetBytes("Bytes", bytes));
    CHECK(bytes.empty());
    CHECK(store.SetText("Text", std::string("a\0b", 3)));
    CHECK(store.GetText("Text", std::string_view()) == "a");
    CHECK(store.SetNumber("Params.Global.Global: FPS", 30));
    CHECK(store.GetNumber("Params.Global.Global: FPS", uNumber));
    CHECK(uNumber == 30);
    CHECK_FALSE(store.SetNumber("", 1));
    CHECK_FALSE(store.GetNumber("", uNumber));
    CHECK(store.EnumerateValues().size() == 4);
}
