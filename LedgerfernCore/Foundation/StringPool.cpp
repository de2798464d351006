#include "Foundation/StringPool.h"

#include <algorithm>
#include <cstring>

namespace ledgerfern {

namespace {

std::uint64_t wordAt(std::string_view text, std::size_t at) {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data() + at, sizeof word);
    return word;
}

/// Ids and labels of 10 to 40 bytes are looked up all the time: their hash takes eight bytes at once, the
/// last eight whether or not some were taken before.
std::size_t hashOf(std::string_view text) {
    constexpr std::size_t step = sizeof(std::uint64_t);
    std::uint64_t hash = text.size();
    const auto add = [&](std::uint64_t word) {
        hash = (hash ^ word) * 0x9E3779B97F4A7C15;
        hash ^= hash >> 32;
    };
    if (text.size() < step) {
        for (const char c : text)
            add(static_cast<unsigned char>(c));
    } else {
        for (std::size_t at = 0; at + step < text.size(); at += step)
            add(wordAt(text, at));
        add(wordAt(text, text.size() - step));
    }
    return static_cast<std::size_t>(hash);
}

/// Most are equal if they are as long, and then it is quicker not to call anybody.
bool areEqual(std::string_view a, std::string_view b) {
    constexpr std::size_t step = sizeof(std::uint64_t);
    if (a.size() != b.size()) return false;
    if (a.size() < step) return a == b;
    for (std::size_t at = 0; at + step < a.size(); at += step)
        if (wordAt(a, at) != wordAt(b, at)) return false;
    return wordAt(a, a.size() - step) == wordAt(b, b.size() - step);
}

}  // namespace

StringPool::Index StringPool::add(std::string_view text) {
    if (text.size() > UINT32_MAX - bytes_.size() || ends_.size() >= none - 1) return none;
    bytes_.append(text.data(), text.size());
    ends_.push_back(static_cast<std::uint32_t>(bytes_.size()));
    return static_cast<Index>(ends_.size() - 1);
}

void StringPool::shrinkToFit() {
    bytes_.shrinkToFit();
    ends_.shrinkToFit();
}

/// The slot that holds `text`, or the free slot where it belongs. The table must have a free slot.
std::size_t StringIndex::slotOf(std::string_view text) const {
    const std::size_t mask = slots_.size() - 1;
    std::size_t slot = hashOf(text) & mask;
    while (slots_[slot] != StringPool::none && !areEqual(pool_[slots_[slot]], text))
        slot = (slot + 1) & mask;
    return slot;
}

StringIndex::Index StringIndex::find(std::string_view text) {
    if (pool_.size() == 0) return StringPool::none;
    if (slots_.empty()) makeRoom();
    return slots_[slotOf(text)];
}

StringIndex::Index StringIndex::intern(std::string_view text) {
    if (slots_.size() / 4 * 3 <= pool_.size()) makeRoom();
    const std::size_t slot = slotOf(text);
    if (slots_[slot] == StringPool::none) slots_[slot] = pool_.add(text);
    return slots_[slot];
}

/// Makes a table with room for another string.
void StringIndex::makeRoom() {
    std::size_t size = std::max<std::size_t>(slots_.size(), 8);
    while (size / 4 * 3 <= pool_.size())
        size *= 2;
    slots_.assign(size, StringPool::none);
    for (Index index = 0; index < pool_.size(); ++index)
        slots_[slotOf(pool_[index])] = index;
}

}  // namespace ledgerfern
