#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "Foundation/SharedArray.h"

namespace ledgerfern {

/// Byte strings in one arena, numbered from 0 in the order in which they came. Copies share the arena
/// (`SharedArray`), so a published copy stays readable while its owner adds to it.
class StringPool {
public:
    using Index = std::uint32_t;
    /// No string: what an absent name is in a compact record. Never a valid index.
    static constexpr Index none = UINT32_MAX;

    std::size_t size() const { return ends_.size(); }
    std::string_view operator[](Index index) const {
        const std::uint32_t start = index == 0 ? 0 : ends_[index - 1];
        return {bytes_.data() + start, ends_[index] - start};
    }
    /// Absent for `none`.
    std::optional<std::string_view> text(Index index) const {
        if (index == none) return std::nullopt;
        return (*this)[index];
    }

    /// Adds `text` and returns its index; `none` where the arena would pass 4 GiB.
    Index add(std::string_view text);
    void shrinkToFit();

private:
    SharedArray<char> bytes_;
    SharedArray<std::uint32_t> ends_;
};

/// A `StringPool` whose strings are distinct, with a flat hash table to find them: 5 to 11 bytes a
/// string beside the arena, while strings are looked for.
class StringIndex {
public:
    using Index = StringPool::Index;

    const StringPool& pool() const { return pool_; }
    std::size_t size() const { return pool_.size(); }
    std::string_view operator[](Index index) const { return pool_[index]; }

    /// The index of `text`, or `StringPool::none` where it isn't there.
    Index find(std::string_view text);
    /// The index of `text`, which is added where it isn't there; `StringPool::none` where it can't be.
    Index intern(std::string_view text);
    /// Gives back what isn't needed to hold the strings, until the next look for one.
    void shrinkToFit() {
        pool_.shrinkToFit();
        slots_ = std::vector<Index>();
    }

private:
    std::size_t slotOf(std::string_view text) const;
    void makeRoom();

    StringPool pool_;
    std::vector<Index> slots_;  // none, or a power of two and at most 3/4 full; `none` is a free slot
};

}  // namespace ledgerfern
