#include <doctest/doctest.h>
#include <windows.h>

#include <string>

#include "hvBase/Util/SettingsStore.h"
#include "tests/Util/SettingsStoreChecks.h"

namespace {

// A key of this test's own under the user's hive, gone before and after.
class TestKey {
public:
    TestKey() { Remove(); }
    ~TestKey() { Remove(); }
    TestKey(const TestKey&) = delete;
    TestKey& operator=(const TestKey&) = delete;

    static constexpr const char* kPath = "SOFTWARE\\Halvane\\VescaTest";

private:
    static void Remove() { RegDeleteTreeA(HKEY_CURRENT_USER, kPath); }
};

bool SetRaw(const char* name, DWORD uType, const void* data, DWORD uLength) {
    return RegSetKeyValueA(HKEY_CURRENT_USER, TestKey::kPath, name, uType, data, uLength) == ERROR_SUCCESS;
}

}  // namespace

TEST_CASE("OpenUserSettings: values of three kinds by name in the registry, each found only as what it is") {
    const TestKey key;
    const auto store = Util::OpenUserSettings(TestKey::kPath);
    CheckSettingsStore(*store);
    CHECK(Util::OpenUserSettings(TestKey::kPath)->EnumerateValues().size() == 4);
}

TEST_CASE("OpenUserSettings: values that another program left half written do no harm") {
    const TestKey key;
    const auto store = Util::OpenUserSettings(TestKey::kPath);
    CHECK(store->SetNumber("made", 1));
    // A text without its final 0, half a character, nothing at all, a number of the wrong size.
    CHECK(SetRaw("open", REG_SZ, "ab", 2));
    const wchar_t wide[] = {L'a', L'b'};
    std::string strText;
    HKEY handle = nullptr;
    REQUIRE(RegOpenKeyExA(HKEY_CURRENT_USER, TestKey::kPath, 0, KEY_ALL_ACCESS, &handle) == ERROR_SUCCESS);
    RegSetValueExW(handle, L"odd", 0, REG_SZ, reinterpret_cast<const BYTE*>(wide), 3);
    RegSetValueExW(handle, L"none", 0, REG_SZ, nullptr, 0);
    RegSetValueExW(handle, L"short", 0, REG_DWORD, reinterpret_cast<const BYTE*>(wide), 2);
    RegCloseKey(handle);
    CHECK(store->GetText("open", strText));
    CHECK(store->GetText("odd", strText));
    CHECK(store->GetText("none", strText));
    CHECK(strText.empty());
    std::uint32_t uNumber = 77;
    CHECK_FALSE(store->GetNumber("short", uNumber));
    CHECK(uNumber == 77);
}
