#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Analytics/PriceTable.h"
#include "Analytics/SessionCounts.h"
#include "UsageRecords/SessionResult.h"

namespace ledgerfern {

/// In ascending order of weight.
enum class Severity { info = 0, notice = 1, warning = 2 };

/// "info", "notice" or "warning".
std::string_view nameOf(Severity severity);

/// A habit that costs tokens, in plain words.
struct Insight {
    std::string id;  ///< Stable key of the finding.
    Severity severity = Severity::info;
    std::string title;                  ///< One line.
    std::string detail;                 ///< The numbers behind it.
    std::string advice;                 ///< What to do.
    std::int64_t weight = 0;            ///< Tokens at stake, for sorting.
    std::string metric;                 ///< Short figure for the card.
    std::string metricLabel;            ///< Caption of the figure.
    std::vector<std::string> sessions;  ///< Paths of the sessions concerned.

    bool operator==(const Insight&) const = default;
};

/// What the sessions in scope tell about lost tokens. Each rule finds one thing or nothing; where several
/// projects, tools or reasons tie, the first in ascending order of bytes is taken. Any thread may call every
/// function.
namespace InsightRules {

/// All findings, the most severe first, and of those the heaviest. `tokensBySession` has the tokens in scope;
/// without any there are no findings.
std::vector<Insight> derive(const SessionList& sessions, const SessionCounts& tokensBySession,
                            const PriceTable& prices);
/// The same with the tokens in scope in the order of the sessions, one of each.
std::vector<Insight> derive(const SessionList& sessions, std::span<const std::int64_t> tokens,
                            const PriceTable& prices);

/// Prompts that had to be sent again because the cache was lost.
std::optional<Insight> cacheBreaks(const SessionList& sessions, const PriceTable& prices);
/// A project whose sessions begin with a large prompt.
std::optional<Insight> startupOverhead(const SessionList& sessions);
/// A tool, or all tools of one MCP server, that fills the context.
std::optional<Insight> contextConsumers(const SessionList& sessions);
/// Sessions with very large requests.
std::optional<Insight> longContexts(const SessionList& sessions);
/// A project that misses the cache.
std::optional<Insight> lowCacheProjects(const SessionList& sessions);
/// Sub-agents that take a large share of `total`, the tokens in scope.
std::optional<Insight> subagentShare(const SessionList& sessions, const SessionCounts& tokensBySession,
                                     std::int64_t total);

/// "999", "12K" or "1.5M".
std::string fmt(std::int64_t value);
/// The middle value, of an even count the upper of the two; 0 for no values.
std::int64_t median(std::vector<std::int64_t> values);

}  // namespace InsightRules

}  // namespace ledgerfern
