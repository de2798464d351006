#include "Analytics/SessionCounts.h"

#include <algorithm>
#include <functional>

#include "Foundation/Check.h"

namespace ledgerfern {

namespace {

constexpr std::uint32_t freeSlot = UINT32_MAX;

}  // namespace

SessionCounts::SessionCounts(std::initializer_list<Entry> entries) {
    for (const Entry& entry : entries)
        set(entry.path, entry.count);
}

/// The slot of the path, or the free one where it belongs. There must be a free one.
std::size_t SessionCounts::slotOf(std::string_view path) const {
    const std::size_t mask = slots_.size() - 1;
    std::size_t slot = std::hash<std::string_view>{}(path)&mask;
    while (slots_[slot] != freeSlot && entries_[slots_[slot]].path != path)
        slot = (slot + 1) & mask;
    return slot;
}

void SessionCounts::grow(std::size_t slots) {
    slots_.assign(slots, freeSlot);
    for (std::size_t i = 0; i < entries_.size(); ++i)
        slots_[slotOf(entries_[i].path)] = static_cast<std::uint32_t>(i);
}

void SessionCounts::reserve(std::size_t sessions) {
    entries_.reserve(sessions);
    std::size_t slots = 8;
    while (slots / 4 * 3 <= sessions)
        slots *= 2;
    if (slots > slots_.size()) grow(slots);
}

void SessionCounts::set(std::string_view path, std::int64_t count) {
    check(entries_.size() < freeSlot, "more sessions than can be numbered");
    if (slots_.size() / 4 * 3 <= entries_.size()) grow(std::max<std::size_t>(8, slots_.size() * 2));
    const std::size_t slot = slotOf(path);
    if (slots_[slot] != freeSlot) {
        entries_[slots_[slot]].count = count;
        return;
    }
    slots_[slot] = static_cast<std::uint32_t>(entries_.size());
    entries_.push_back({path, count});
}

std::optional<std::int64_t> SessionCounts::find(std::string_view path) const {
    if (slots_.empty()) return std::nullopt;
    const std::uint32_t entry = slots_[slotOf(path)];
    if (entry == freeSlot) return std::nullopt;
    return entries_[entry].count;
}

bool SessionCounts::operator==(const SessionCounts& other) const {
    return size() == other.size() && std::all_of(begin(), end(), [&](const Entry& entry) {
               return other.find(entry.path) == entry.count;
           });
}

}  // namespace ledgerfern
