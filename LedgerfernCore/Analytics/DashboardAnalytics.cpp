#include "Analytics/DashboardAnalytics.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "Analytics/SessionNaming.h"
#include "Analytics/SessionWalk.h"
#include "Foundation/Arithmetic.h"
#include "Foundation/UnicodeText.h"
#include "UsageRecords/TSDate.h"

namespace ledgerfern::DashboardAnalytics {

namespace {

constexpr std::size_t shownTools = 8;

using Texts = std::map<std::string, std::string>;

std::optional<TimeRange> selectedRange(const Selection& selection, bool isToday, Instant now) {
    if (isToday) return TSDate::localDay(now);
    if (selection.allTime || !selection.cycleKey) return std::nullopt;
    return Aggregates::cycleRange(*selection.cycleKey);
}

/// The cycle that `now` lies in, of those that lead to the anchor; before the one that ends there, that one.
TimeRange currentCycle(double anchor, Instant now) {
    const double base = anchor - Aggregates::cycleLength;
    const double steps = std::trunc((now - base) / Aggregates::cycleLength);
    const Instant start = base + steps * Aggregates::cycleLength;
    return {start, start + Aggregates::cycleLength};
}

/// Decides which sessions a search text finds.
class Search {
public:
    Search(std::string_view text, const Texts& ids, const Texts& names)
        : text_(lowercased(text)), ids_(ids), names_(names) {}

    bool finds(const SessionResult& session) const {
        // The name comes last: it takes the longest to find out.
        return text_.empty() || isIn(session.project) || (session.model && isIn(*session.model)) ||
               (session.firstMessage && isIn(*session.firstMessage)) ||
               isIn(SessionNaming::displayName(session, ids_, names_));
    }

private:
    bool isIn(std::string_view text) const { return lowercased(text).find(text_) != std::string::npos; }

    std::string text_;
    const Texts& ids_;
    const Texts& names_;
};

/// A session and what of it lies in scope.
struct ScopedSession {
    const SessionPointer* session = nullptr;
    std::int64_t tokens = 0;
    std::int64_t reqs = 0;
    std::int64_t input = 0;
    std::int64_t cached = 0;
};

ScopedSession whole(const SessionPointer& session) {
    const UsageTotals& totals = session->totals;
    return {&session, totals.totalTokens, static_cast<std::int64_t>(session->requests.size()),
            totals.inputTokens, totals.cachedInputTokens};
}

ScopedSession scoped(const SessionPointer& session, const Scope& scope) {
    const auto range = scope.rangeOf(*session);
    if (!range) return whole(session);
    ScopedSession sums{&session};
    for (const RequestRecord& request : session->requests.records()) {
        if (!range->contains(request.time)) continue;
        addFromOutside(sums.tokens, request.d.totalTokens);
        addFromOutside(sums.input, request.d.inputTokens);
        addFromOutside(sums.cached, request.d.cachedInputTokens);
        ++sums.reqs;
    }
    return sums;
}

bool isInScope(const ScopedSession& sums) {
    if ((*sums.session)->source.isGuardian && sums.tokens == 0) return false;
    return sums.tokens > 0 || sums.reqs > 0;
}

std::vector<TopTool> topTools(const std::map<std::string, ToolStat>& stats) {
    std::vector<TopTool> tools;
    for (const auto& [label, stat] : stats) {
        TopTool& tool = tools.emplace_back(TopTool{label, stat.calls, stat.attribInput});
        addFromOutside(tool.impact, stat.attribOutput);
    }
    std::stable_sort(tools.begin(), tools.end(),
                     [](const TopTool& a, const TopTool& b) { return a.impact > b.impact; });
    if (tools.size() > shownTools) tools.resize(shownTools);
    return tools;
}

/// Collects what is in scope, one session after the other: each is read as a whole while it is at hand.
class Derivation {
public:
    Derivation(const Scope& scope, std::size_t sessions)
        : scope_(scope), stacks_(scope.allTime ? StackUnit::isoWeek : StackUnit::localDay, scope.range) {
        derived_.rowTokens.reserve(sessions);
        derived_.rowReqs.reserve(sessions);
    }

    void add(const SessionPointer& session) {
        const ScopedSession sums = scoped(session, scope_);
        if (!isInScope(sums)) return;
        kept_.push_back(sums);
        addFromOutside(derived_.totalTokens, sums.tokens);
        addFromOutside(derived_.totalReqs, sums.reqs);
        addFromOutside(derived_.totalInput, sums.input);
        addFromOutside(derived_.totalCached, sums.cached);
        derived_.rowTokens.set(session->path, sums.tokens);
        derived_.rowReqs.set(session->path, sums.reqs);
        stacks_.addWithModels(*session, SessionKind::label(*session));
    }

    bool isEmpty() const { return kept_.empty(); }

    /// To be asked for once.
    DashboardDerived result(const PriceTable& prices, const std::map<std::string, ToolStat>& tools) {
        takeRows(prices);
        derived_.topTools = topTools(tools);
        derived_.kindStacks = stacks_.stacks();
        derived_.modelStacks = stacks_.modelStacks();
        derived_.kindLegend = legendOf(derived_.kindStacks);
        derived_.modelLegend = legendOf(derived_.modelStacks);
        return std::move(derived_);
    }

private:
    /// Fills in the rows, and what they tell.
    void takeRows(const PriceTable& prices) {
        std::stable_sort(kept_.begin(), kept_.end(),
                         [](const ScopedSession& a, const ScopedSession& b) { return a.tokens > b.tokens; });
        std::vector<std::int64_t> tokens;
        for (const ScopedSession& sums : kept_) {
            derived_.rows.push_back(*sums.session);
            tokens.push_back(sums.tokens);
        }
        derived_.insights = InsightRules::derive(derived_.rows, tokens, prices);
    }

    const Scope& scope_;
    StackBuilder stacks_;
    std::vector<ScopedSession> kept_;
    DashboardDerived derived_;
};

DashboardDerived nothing() {
    DashboardDerived derived;
    derived.isEmpty = true;
    return derived;
}

}  // namespace

Scope scopeOf(const Aggregates& aggregates, const Selection& selection, Instant now) {
    const bool isToday = selection.cycleKey == "today";
    Scope scope{selection.allTime, selectedRange(selection, isToday, now), {}};
    const bool isMixed = aggregates.toolsUseDifferentAnchors() && !selection.allTime && !isToday;
    if (isMixed)
        for (const auto& [tool, anchor] : aggregates.cycleAnchorsByTool)
            scope.cyclesByTool[tool] = currentCycle(anchor, now);
    return scope;
}

std::optional<TimeRange> Scope::rangeOf(const SessionResult& session) const {
    if (allTime) return std::nullopt;
    const auto cycle = cyclesByTool.find(session.tool);
    return cycle == cyclesByTool.end() ? range : cycle->second;
}

DashboardDerived derive(const Snapshot* snap, const Selection& selection, const Texts& ids,
                        const Texts& names, const PriceTable& prices, Instant now) {
    if (snap == nullptr) return nothing();
    const Scope scope = scopeOf(snap->aggregates, selection, now);
    const Search search(selection.search, ids, names);
    Derivation derivation(scope, snap->sessions.size());
    walk(snap->sessions, fetchRequests, [&](std::size_t i) {
        const SessionPointer& session = snap->sessions[i];
        if ((!selection.tool || session->tool == *selection.tool) && search.finds(*session))
            derivation.add(session);
    });
    if (derivation.isEmpty()) return nothing();
    return derivation.result(prices, snap->aggregates.tools);
}

}  // namespace ledgerfern::DashboardAnalytics
