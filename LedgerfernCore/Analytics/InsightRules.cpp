#include "Analytics/InsightRules.h"

#include <algorithm>
#include <array>
#include <utility>

#include "Analytics/InsightSums.h"
#include "Analytics/SessionWalk.h"
#include "Foundation/Arithmetic.h"
#include "Foundation/Check.h"
#include "Foundation/Numbers.h"

namespace ledgerfern {

std::string_view nameOf(Severity severity) {
    static constexpr std::array<std::string_view, 3> names = {"info", "notice", "warning"};
    return names[static_cast<std::size_t>(severity)];
}

namespace InsightRules {

namespace {

/// What one rule finds by itself.
template <class Sums>
std::optional<Insight> findingOf(Sums sums, const SessionList& sessions) {
    walk(sessions, fetchInsights, [&](std::size_t i) { sums.add(*sessions[i]); });
    return sums.finding();
}

/// All rules at once.
struct AllSums {
    explicit AllSums(const PriceTable& prices) : cacheBreaks(prices) {}

    std::int64_t total = 0;
    CacheBreakSums cacheBreaks;
    StartupSums startup;
    ConsumerSums consumers;
    LongContextSums longContexts;
    LowCacheSums lowCache;
    SubagentSums subagents;

    void add(const SessionResult& session, std::int64_t tokensInScope) {
        addFromOutside(total, tokensInScope);
        cacheBreaks.add(session);
        startup.add(session);
        consumers.add(session);
        longContexts.add(session);
        lowCache.add(session);
        subagents.add(session, tokensInScope);
    }

    std::array<std::optional<Insight>, 6> findings() const {
        return {cacheBreaks.finding(),  startup.finding(),  consumers.finding(),
                longContexts.finding(), lowCache.finding(), subagents.finding(total)};
    }
};

}  // namespace

std::vector<Insight> derive(const SessionList& sessions, const SessionCounts& tokensBySession,
                            const PriceTable& prices) {
    std::vector<std::int64_t> tokens;
    tokens.reserve(sessions.size());
    for (const SessionPointer& session : sessions)
        tokens.push_back(tokensBySession.find(session->path).value_or(0));
    return derive(sessions, tokens, prices);
}

std::vector<Insight> derive(const SessionList& sessions, std::span<const std::int64_t> tokens,
                            const PriceTable& prices) {
    check(tokens.size() == sessions.size(), "a session has no tokens in scope");
    AllSums sums(prices);
    walk(sessions, fetchInsights, [&](std::size_t i) { sums.add(*sessions[i], tokens[i]); });
    if (sums.total < 1) return {};
    std::vector<Insight> insights;
    for (auto& finding : sums.findings())
        if (finding) insights.push_back(*std::move(finding));
    std::stable_sort(insights.begin(), insights.end(), [](const Insight& a, const Insight& b) {
        return a.severity != b.severity ? a.severity > b.severity : a.weight > b.weight;
    });
    return insights;
}

std::optional<Insight> cacheBreaks(const SessionList& sessions, const PriceTable& prices) {
    return findingOf(CacheBreakSums(prices), sessions);
}

std::optional<Insight> startupOverhead(const SessionList& sessions) {
    return findingOf(StartupSums(), sessions);
}

std::optional<Insight> contextConsumers(const SessionList& sessions) {
    return findingOf(ConsumerSums(), sessions);
}

std::optional<Insight> longContexts(const SessionList& sessions) {
    return findingOf(LongContextSums(), sessions);
}

std::optional<Insight> lowCacheProjects(const SessionList& sessions) {
    return findingOf(LowCacheSums(), sessions);
}

std::optional<Insight> subagentShare(const SessionList& sessions, const SessionCounts& tokensBySession,
                                     std::int64_t total) {
    SubagentSums sums;
    for (const SessionPointer& session : sessions)
        sums.add(*session, tokensBySession.find(session->path).value_or(0));
    return sums.finding(total);
}

std::string fmt(std::int64_t value) {
    const auto number = static_cast<double>(value);
    if (value >= 1'000'000 || value <= -1'000'000) return fixedText(number / 1'000'000, 1) + "M";
    if (value >= 1'000 || value <= -1'000) return fixedText(number / 1'000, 0) + "K";
    return std::to_string(value);
}

std::int64_t median(std::vector<std::int64_t> values) {
    if (values.empty()) return 0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::optional<std::int64_t> percentage(double fraction) {
    return truncated(fraction * 100);
}

std::string percentText(std::int64_t percent) {
    return std::to_string(percent) + "%";
}

std::vector<std::string> pathsOf(const SessionRefs& sessions) {
    std::vector<std::string> paths;
    paths.reserve(sessions.size());
    for (const SessionResult* session : sessions)
        paths.push_back(session->path);
    return paths;
}

}  // namespace InsightRules

}  // namespace ledgerfern
