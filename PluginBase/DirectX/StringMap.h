#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

/// A titled list of names by number, in the order of the numbers: controllers, for example.
class StringMap {
public:
    /// Numbers run from 0 to nMaxNames - 1; what lies beyond is not taken.
    StringMap(std::string strTitle, std::int32_t nMaxNames)
        : m_strTitle(std::move(strTitle)), m_nMaxNames(nMaxNames) {}

    void Set(std::int32_t nNumber, std::string strName);

    const std::string& Title() const { return m_strTitle; }
    std::int32_t MaxNames() const { return m_nMaxNames; }
    std::int32_t Count() const { return static_cast<std::int32_t>(m_names.size()); }

    /// The name, or null if the number has none.
    const std::string* Find(std::int32_t nNumber) const;

    /// Walks the list: the entry at a position from 0 to Count() - 1, or null.
    const std::pair<const std::int32_t, std::string>* At(std::int32_t nPosition) const;

private:
    std::string m_strTitle;
    std::int32_t m_nMaxNames;
    std::map<std::int32_t, std::string> m_names;
};

/// The three lists that the plug-in offers: "Controllers", all 128 of them with number 7 named "Volume",
/// "RPNs" and "NRPNs", which are empty.
StringMap ControllerNames();
StringMap RpnNames();
StringMap NrpnNames();
