#include "PluginBase/HistoryList.h"

#include <algorithm>
#include <utility>

#include "hvBase/Util/DataStream.h"

namespace {

/// The most entries for a value of "Global: History Depth"; nothing for no limit.
std::optional<std::size_t> Depth(std::int32_t nSetting) {
    switch (nSetting) {
        case 0:
            return 50;
        case 1:
            return 100;
        case 2:
            return 500;
        default:
            return std::nullopt;
    }
}

}  // namespace

void HistoryList::Reset(std::vector<std::uint8_t> state) {
    std::vector<Entry> entries;
    entries.push_back({std::move(state), kInitialLabel});
    m_entries = std::move(entries);
    m_slots = {};
    m_uCurrent = 0;
}

void HistoryList::Push(std::vector<std::uint8_t> state, std::string strLabel) {
    if (strLabel.size() > Util::DataStream::kMaxStringLength) {
        strLabel.resize(Util::DataStream::kMaxStringLength);
    }
    const auto uEntries = static_cast<std::uint32_t>(m_entries.size());
    if (m_uCurrent + 1 < uEntries) {
        std::vector<std::uint32_t> order;
        for (std::uint32_t i = 0; i < uEntries; ++i) {
            if (i < m_uCurrent || (i > m_uCurrent && IsInSlot(i))) order.push_back(i);
        }
        order.push_back(m_uCurrent);
        Arrange(order);
    }
    m_entries.push_back({std::move(state), std::move(strLabel)});
    m_uCurrent = static_cast<std::uint32_t>(m_entries.size() - 1);
}

void HistoryList::LimitDepth(std::int32_t nDepth) {
    const std::size_t uMost = Depth(nDepth).value_or(m_entries.size());
    if (m_entries.size() <= uMost) return;
    std::size_t uTooMany = m_entries.size() - uMost;
    std::vector<std::uint32_t> order;
    for (std::uint32_t i = 0; i < m_entries.size(); ++i) {
        if (uTooMany > 0 && i != m_uCurrent && !IsInSlot(i)) {
            --uTooMany;
        } else {
            order.push_back(i);
        }
    }
    Arrange(order);
}

bool HistoryList::SetCurrent(std::uint32_t uEntry) noexcept {
    if (uEntry >= m_entries.size()) return false;
    m_uCurrent = uEntry;
    return true;
}

std::optional<std::uint32_t> HistoryList::Slot(std::uint32_t uSlot) const noexcept {
    return uSlot < kSlots ? m_slots[uSlot] : std::nullopt;
}

bool HistoryList::SetSlot(std::uint32_t uSlot, std::uint32_t uEntry) noexcept {
    if (uSlot >= kSlots || uEntry >= m_entries.size()) return false;
    m_slots[uSlot] = uEntry;
    return true;
}

bool HistoryList::IsInSlot(std::uint32_t uEntry) const noexcept {
    return std::find(m_slots.begin(), m_slots.end(), uEntry) != m_slots.end();
}

/// Keeps the entries whose indices are given, in that order. The one in force and those of slots are among
/// them.
void HistoryList::Arrange(const std::vector<std::uint32_t>& order) {
    const auto placeOf = [&](std::uint32_t uEntry) {
        return static_cast<std::uint32_t>(std::find(order.begin(), order.end(), uEntry) - order.begin());
    };
    std::vector<Entry> entries;
    entries.reserve(order.size() + 1);
    for (const std::uint32_t uEntry : order)
        entries.push_back(std::move(m_entries[uEntry]));
    m_entries = std::move(entries);
    m_uCurrent = placeOf(m_uCurrent);
    for (auto& slot : m_slots) {
        if (slot) slot = placeOf(*slot);
    }
}
