#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "UsageRecords/SessionResult.h"

namespace ledgerfern::test {

/// Reads of the text's bytes, for either parser; the text must outlive it.
inline auto readsOf(std::string_view text) {
    return [text](char* buffer, std::size_t size) mutable {
        const std::size_t count = text.copy(buffer, size);
        text.remove_prefix(count);
        return count;
    };
}

/// The statistics of one label; absent where the session has none.
inline std::optional<ToolStat> stat(const SessionResult& session, std::string_view label) {
    const ToolStat* found = session.tools.find(label);
    if (!found) return std::nullopt;
    return *found;
}

/// The labels that have statistics, in order.
inline std::vector<std::string> labels(const SessionResult& session) {
    std::vector<std::string> names;
    for (const auto& [label, unused] : session.tools)
        names.emplace_back(label);
    return names;
}

}  // namespace ledgerfern::test
