#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <vector>

namespace ledgerfern {

/// Tokens or requests in a scope, by the sessions' paths. The paths are the sessions' own: whoever keeps the
/// counts keeps the sessions too.
///
/// A flat table, since one is filled for all sessions at each derivation.
class SessionCounts {
public:
    struct Entry {
        std::string_view path;
        std::int64_t count = 0;

        bool operator==(const Entry&) const = default;
    };

    SessionCounts() = default;
    SessionCounts(std::initializer_list<Entry> entries);

    /// Room for so many sessions.
    void reserve(std::size_t sessions);
    /// A path that was set before takes the new count.
    void set(std::string_view path, std::int64_t count);
    std::optional<std::int64_t> find(std::string_view path) const;

    std::size_t size() const { return entries_.size(); }
    bool empty() const { return entries_.empty(); }
    /// In the order in which they were set first.
    auto begin() const { return entries_.begin(); }
    auto end() const { return entries_.end(); }

    /// Whatever their order.
    bool operator==(const SessionCounts& other) const;

private:
    std::size_t slotOf(std::string_view path) const;
    void grow(std::size_t slots);

    std::vector<Entry> entries_;
    std::vector<std::uint32_t> slots_;  // the entries' numbers; a power of two, at most 3/4 taken
};

}  // namespace ledgerfern
