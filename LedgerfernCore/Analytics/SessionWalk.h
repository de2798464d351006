#pragma once

#include <algorithm>
#include <cstddef>

#include "UsageRecords/SessionResult.h"

/// Going over many sessions. Their records lie scattered over memory, so that waiting for it takes most of
/// the time; the idea is to ask for those that come next while one is being read.
namespace ledgerfern {

/// Asks for the memory from `place` on, without waiting for it.
inline void fetchAhead(const void* place, std::size_t bytes) {
    constexpr std::size_t line = 64;
    for (std::size_t offset = 0; offset < bytes; offset += line)
        __builtin_prefetch(static_cast<const char*>(place) + offset);
}

/// Calls `visit` with the index of each session, in order. `fetch` is given a session that comes some time
/// later, and asks for what of it lies elsewhere.
template <class Fetch, class Visit>
void walk(const SessionList& sessions, Fetch fetch, Visit visit) {
    constexpr std::size_t contentsAhead = 4;
    constexpr std::size_t recordsAhead = 8;
    const std::size_t count = sessions.size();
    for (std::size_t i = 0; i < count; ++i) {
        if (i + recordsAhead < count) fetchAhead(sessions[i + recordsAhead].get(), sizeof(SessionResult));
        if (i + contentsAhead < count) fetch(*sessions[i + contentsAhead]);
        visit(i);
    }
}

/// Asks for the session's path, the beginning of its requests and their names.
inline void fetchRequests(const SessionResult& session) {
    constexpr std::size_t beginning = 1024;
    __builtin_prefetch(session.path.data());
    const auto records = session.requests.records();
    fetchAhead(records.data(), std::min(records.size_bytes(), beginning));
    const StringPool& names = session.requests.names();
    if (names.size() > 0) __builtin_prefetch(names[0].data());
}

/// Asks for what the session's insights and its tools are made of.
inline void fetchInsights(const SessionResult& session) {
    if (!session.insights.breakReasons.empty()) __builtin_prefetch(&*session.insights.breakReasons.begin());
    if (session.model) __builtin_prefetch(session.model->data());
    if (session.tools.empty()) return;
    const auto first = session.tools[0];
    fetchAhead(&first.stat, session.tools.size() * sizeof(ToolTable::Row));
    __builtin_prefetch(first.label.data());
}

}  // namespace ledgerfern
