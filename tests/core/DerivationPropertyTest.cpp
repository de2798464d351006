#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "Analytics/CostEstimator.h"
#include "Analytics/DashboardAnalytics.h"
#include "Analytics/ProjectAnalytics.h"
#include "Analytics/SessionNaming.h"
#include "Foundation/Numbers.h"
#include "Foundation/UnicodeText.h"
#include "SessionSamples.h"
#include "UsageRecords/TSDate.h"

// Both derivations against the same rules written down plainly: request by request, key by key, with nothing
// remembered between them.

namespace ledgerfern {
namespace {

using Texts = std::map<std::string, std::string>;
using Stacks = std::vector<DayStack>;
using Counts = std::map<std::string, std::int64_t>;

constexpr double cycleLength = 604800;
/// Some days before the clock is changed in spring, in most zones that change it.
constexpr Instant firstInstant = 1774000000;

template <class T>
std::optional<T> optional(const rc::Gen<T>& gen) {
    if (*rc::gen::inRange(0, 3) == 0) return std::nullopt;
    return *gen;
}

rc::Gen<std::string> word() {
    return rc::gen::elementOf(std::vector<std::string>{"alpha", "Beta", "gamma", "m1", "m2", "Überall"});
}

Instant randomInstant() {
    return firstInstant + static_cast<double>(*rc::gen::inRange<std::int64_t>(0, 4 * 3 * 604'800)) / 4;
}

SessionResult randomSession(std::size_t number) {
    std::vector<RequestRecord> records;
    std::vector<std::optional<std::string>> models;
    for (int count = *rc::gen::inRange(0, 12); count > 0; --count) {
        const auto tokens = *rc::gen::inRange<std::int64_t>(-5, 100'000);
        const bool hasTime = *rc::gen::inRange(0, 8) != 0;
        records.push_back(requestAt(hasTime ? std::optional(randomInstant()) : std::nullopt,
                                    UsageTotals{tokens * 2, tokens, 0, 1, 0, tokens}));
        models.push_back(optional(word()));
    }
    SessionResult result = inLog("/" + std::to_string(number), session(records, *word()));
    result = withModels(result, models);
    result.tool = *rc::gen::element(ToolKind::codex, ToolKind::claudeCode);
    result.model = optional(word());
    result.firstMessage = optional(word());
    result.lastTs = optional(rc::gen::map(rc::gen::inRange(0, 4), [](int n) { return n * 10.0; }));
    result.source.isSubagent = *rc::gen::arbitrary<bool>();
    result.source.isGuardian = *rc::gen::inRange(0, 5) == 0;
    result.tools = ToolTable({{"tool:" + *word(), {1, static_cast<std::int64_t>(number) % 3, 2}}});
    result.insights = {2, {{"idle", 2}}, 60'000, 40'000, 200'000};
    return result;
}

Snapshot randomSnapshot() {
    Snapshot snapshot;
    std::vector<SessionResult> sessions;
    const auto count = *rc::gen::inRange<std::size_t>(0, 8);
    for (std::size_t i = 0; i < count; ++i)
        sessions.push_back(randomSession(i));
    snapshot.sessions = listOf(sessions);
    snapshot.aggregates = Aggregates(snapshot.sessions, 0, firstInstant);
    for (const ToolKind tool : {ToolKind::codex, ToolKind::claudeCode})
        if (*rc::gen::inRange(0, 3) != 0)
            snapshot.aggregates.cycleAnchorsByTool[tool] =
                firstInstant + static_cast<double>(*rc::gen::inRange(-2, 3)) * 250'000;
    snapshot.sessionIDs = {{"/0", "zero"}, {"/1", "one"}};
    snapshot.threadNames = {{"zero", "Delta"}, {"/1", ""}};
    return snapshot;
}

std::optional<std::string> randomCycleKey() {
    switch (*rc::gen::inRange(0, 5)) {
        case 0:
            return std::nullopt;
        case 1:
            return "today";
        case 2:
            return "2026-W13";
        default:
            return std::to_string(static_cast<std::int64_t>(randomInstant()));
    }
}

// The dashboard

struct Range {
    double start, end;
    bool has(const std::optional<Instant>& ts) const { return ts && *ts >= start && *ts < end; }
};

std::optional<Range> cycleRange(const std::optional<std::string>& key) {
    const auto start = key ? readDouble(*key) : std::nullopt;
    if (!start) return std::nullopt;
    return Range{*start, *start + cycleLength};
}

struct Scoped {
    std::int64_t tokens = 0, reqs = 0, input = 0, cached = 0;
};

/// The local day of `now`, found minute by minute.
Range localDay(Instant now) {
    const std::string key = TSDate::localDayKey(now);
    double start = std::floor(now / 60) * 60;
    double end = start;
    while (TSDate::localDayKey(start - 60) == key)
        start -= 60;
    while (TSDate::localDayKey(end) == key)
        end += 60;
    return {start, end};
}

/// The derivation as it is told, step by step.
class PlainDashboard {
public:
    PlainDashboard(const Snapshot& snap, const DashboardAnalytics::Selection& selection, Instant now)
        : snap_(snap), selection_(selection), now_(now) {
        const bool isToday = selection.cycleKey == "today";
        if (isToday)
            range_ = localDay(now);
        else if (!selection.allTime)
            range_ = cycleRange(selection.cycleKey);
        isMixed_ = snap.aggregates.toolsUseDifferentAnchors() && !selection.allTime && !isToday;
    }

    DashboardDerived derived() const {
        DashboardDerived result;
        std::vector<std::pair<SessionPointer, Scoped>> kept;
        for (const SessionPointer& session : snap_.sessionsOf(selection_.tool)) {
            const Scoped sums = scoped(*session);
            if (!isFound(*session) || (session->source.isGuardian && sums.tokens == 0)) continue;
            if (sums.tokens > 0 || sums.reqs > 0) kept.emplace_back(session, sums);
        }
        result.isEmpty = kept.empty();
        if (result.isEmpty) return result;
        std::map<std::string, DayStack> kinds, models;
        for (const auto& [session, sums] : kept) {
            result.totalTokens += sums.tokens;
            result.totalReqs += sums.reqs;
            result.totalInput += sums.input;
            result.totalCached += sums.cached;
            result.rowTokens.set(session->path, sums.tokens);
            result.rowReqs.set(session->path, sums.reqs);
            stack(*session, kinds, models);
        }
        std::stable_sort(kept.begin(), kept.end(),
                         [](const auto& a, const auto& b) { return a.second.tokens > b.second.tokens; });
        for (const auto& row : kept)
            result.rows.push_back(row.first);
        for (const auto& [key, stack] : kinds)
            result.kindStacks.push_back(stack);
        for (const auto& [key, stack] : models)
            result.modelStacks.push_back(stack);
        return result;
    }

private:
    Scoped scoped(const SessionResult& session) const {
        auto range = range_;
        const auto anchor = snap_.aggregates.cycleAnchorsByTool.find(session.tool);
        if (isMixed_ && anchor != snap_.aggregates.cycleAnchorsByTool.end()) {
            const double a = anchor->second - cycleLength;
            const auto n = static_cast<std::int64_t>((now_ - a) / cycleLength);
            const double start = a + static_cast<double>(n) * cycleLength;
            range = Range{start, start + cycleLength};
        }
        const UsageTotals& totals = session.totals;
        if (selection_.allTime || !range)
            return {totals.totalTokens, static_cast<std::int64_t>(session.requests.size()),
                    totals.inputTokens, totals.cachedInputTokens};
        Scoped sums;
        for (std::size_t i = 0; i < session.requests.size(); ++i) {
            const RequestDelta request = session.requests[i];
            if (!range->has(request.ts)) continue;
            sums.tokens += request.d["total_tokens"];
            sums.input += request.d["input_tokens"];
            sums.cached += request.d["cached_input_tokens"];
            ++sums.reqs;
        }
        return sums;
    }

    bool isFound(const SessionResult& session) const {
        const std::string searched = lowercased(selection_.search);
        if (searched.empty()) return true;
        for (const std::string& text :
             {SessionNaming::displayName(session, snap_.sessionIDs, snap_.threadNames), session.project,
              session.model.value_or(""), session.firstMessage.value_or("")})
            if (lowercased(text).find(searched) != std::string::npos) return true;
        return false;
    }

    void stack(const SessionResult& session, std::map<std::string, DayStack>& kinds,
               std::map<std::string, DayStack>& models) const {
        for (std::size_t i = 0; i < session.requests.size(); ++i) {
            const RequestDelta request = session.requests[i];
            if (!request.ts || (range_ && !range_->has(request.ts))) continue;
            const std::string key =
                selection_.allTime ? TSDate::isoWeekKey(*request.ts) : TSDate::localDayKey(*request.ts);
            const std::int64_t tokens = request.d.totalTokens;
            const std::string model(request.model.value_or(session.model.value_or("unknown")));
            for (DayStack* stack : {&kinds[key], &models[key]}) {
                stack->key = key;
                stack->total += tokens;
            }
            kinds[key].parts[std::string(SessionKind::label(session))] += tokens;
            models[key].parts[model] += tokens;
        }
    }

    const Snapshot& snap_;
    const DashboardAnalytics::Selection& selection_;
    Instant now_;
    std::optional<Range> range_;
    bool isMixed_ = false;
};

std::int64_t sumOf(const Stacks& stacks) {
    std::int64_t sum = 0;
    for (const DayStack& stack : stacks) {
        std::int64_t parts = 0;
        for (const auto& [label, tokens] : stack.parts)
            parts += tokens;
        RC_ASSERT(parts == stack.total);
        sum += stack.total;
    }
    return sum;
}

std::int64_t sumOf(const std::vector<LegendEntry>& legend) {
    std::int64_t sum = 0;
    for (const LegendEntry& entry : legend)
        sum += entry.value;
    return sum;
}

DashboardAnalytics::Selection randomSelection() {
    DashboardAnalytics::Selection selection;
    if (*rc::gen::inRange(0, 2) == 0)
        selection.tool = *rc::gen::element(ToolKind::codex, ToolKind::claudeCode);
    selection.cycleKey = randomCycleKey();
    selection.allTime = *rc::gen::inRange(0, 3) == 0;
    selection.search = *rc::gen::elementOf(std::vector<std::string>{"", "", "", "A", "delta", "ÜBER", "m1"});
    return selection;
}

DashboardDerived derived(const Snapshot& snapshot, const DashboardAnalytics::Selection& selection,
                         Instant now) {
    return DashboardAnalytics::derive(&snapshot, selection, snapshot.sessionIDs, snapshot.threadNames,
                                      PriceTable(CostEstimator::defaults()), now);
}

bool dashboardEqualsPlain() {
    return rc::check("the dashboard follows its rules", [] {
        const Snapshot snapshot = randomSnapshot();
        const auto selection = randomSelection();
        const Instant now = randomInstant();
        const DashboardDerived result = derived(snapshot, selection, now);
        const DashboardDerived plain = PlainDashboard(snapshot, selection, now).derived();
        RC_CLASSIFY(result.isEmpty);
        RC_ASSERT(result.isEmpty == plain.isEmpty);
        RC_ASSERT(result.rows == plain.rows);
        RC_ASSERT(result.rowTokens == plain.rowTokens);
        RC_ASSERT(result.rowReqs == plain.rowReqs);
        RC_ASSERT(result.totalTokens == plain.totalTokens);
        RC_ASSERT(result.totalReqs == plain.totalReqs);
        RC_ASSERT(result.totalInput == plain.totalInput);
        RC_ASSERT(result.totalCached == plain.totalCached);
        RC_ASSERT(result.kindStacks == plain.kindStacks);
        RC_ASSERT(result.modelStacks == plain.modelStacks);
    });
}

TEST(DerivationProperty, theDashboardOfAllTimeAddsUp) {
    EXPECT_TRUE(rc::check("totals, bars, legends and roll-up agree", [] {
        Snapshot snapshot = randomSnapshot();
        std::erase_if(snapshot.sessions, [](const SessionPointer& session) {  // what isn't shown at all
            return session->source.isGuardian || session->requests.empty();
        });
        snapshot.aggregates = Aggregates(snapshot.sessions, 0, firstInstant);
        const DashboardDerived result = derived(snapshot, {{}, {}, true, ""}, firstInstant);
        std::int64_t all = 0, timed = 0;
        for (const SessionPointer& session : snapshot.sessions) {
            all += session->totals.totalTokens;
            for (const RequestRecord& request : session->requests.records())
                timed += request.hasTime() ? request.d.totalTokens : 0;
        }
        RC_ASSERT(result.totalTokens == all);
        RC_ASSERT(result.totalTokens == snapshot.aggregates.totals.totalTokens);
        RC_ASSERT(sumOf(result.kindStacks) == timed);
        RC_ASSERT(sumOf(result.modelStacks) == timed);
        RC_ASSERT(sumOf(result.kindLegend) == timed);
        RC_ASSERT(sumOf(result.modelLegend) == timed);
        RC_ASSERT(result.kindStacks.size() == snapshot.aggregates.weeks.size());
        for (const DayStack& stack : result.kindStacks)
            RC_ASSERT(stack.total == snapshot.aggregates.weeks.at(stack.key).total().totalTokens);
    }));
}

TEST(DerivationProperty, theCyclesOfTheRollUpAreThoseOfTheDashboard) {
    EXPECT_TRUE(rc::check("each cycle has the same tokens", [] {
        Snapshot snapshot = randomSnapshot();
        std::erase_if(snapshot.sessions,
                      [](const SessionPointer& session) { return session->source.isGuardian; });
        snapshot.aggregates = Aggregates(snapshot.sessions, 0, firstInstant);
        for (const auto& [key, bucket] : snapshot.aggregates.cycles) {
            const DashboardDerived result = derived(snapshot, {{}, key, false, ""}, firstInstant);
            RC_ASSERT(result.totalTokens == bucket.total().totalTokens);
            RC_ASSERT(sumOf(result.kindStacks) == result.totalTokens);
        }
    }));
}

// A project's page

/// The derivation as it is told, step by step.
ProjectDerived plainProject(const Snapshot& snap, const ProjectAnalytics::Selection& selection) {
    const auto range = cycleRange(selection.cycleKey);
    const auto passes = [&](const RequestDelta& request) {
        if (!request.ts) return false;
        if (range) return range->has(request.ts);
        return !selection.weekKey || TSDate::isoWeekKey(*request.ts) == *selection.weekKey;
    };
    ProjectDerived result;
    std::map<std::string, DayStack> stacks;
    for (const SessionPointer& session : snap.sessionsOf(selection.tool)) {
        if (session->project != selection.project) continue;
        std::int64_t tokens = 0, reqs = 0;
        for (std::size_t i = 0; i < session->requests.size(); ++i) {
            const RequestDelta request = session->requests[i];
            tokens += passes(request) ? request.d.totalTokens : 0;
            reqs += passes(request) ? 1 : 0;
        }
        if (selection.allTime) tokens = session->totals.totalTokens;
        if (selection.allTime) reqs = static_cast<std::int64_t>(session->requests.size());
        if (!selection.allTime && reqs == 0) continue;
        result.rows.push_back(session);
        result.rowTokens.set(session->path, tokens);
        result.rowReqs.set(session->path, reqs);
        result.totalTokens += tokens;
        result.totalReqs += reqs;
        const std::string label(selection.breakdown == Breakdown::model ? session->model.value_or("unknown")
                                                                        : SessionKind::label(*session));
        for (std::size_t i = 0; i < session->requests.size(); ++i) {
            const RequestDelta request = session->requests[i];
            if (!request.ts || (range && !range->has(request.ts))) continue;
            if (!selection.allTime && !passes(request)) continue;
            const std::string key =
                selection.allTime ? TSDate::isoWeekKey(*request.ts) : TSDate::localDayKey(*request.ts);
            stacks[key].key = key;
            stacks[key].total += request.d.totalTokens;
            stacks[key].parts[label] += request.d.totalTokens;
        }
    }
    result.isEmpty = result.rows.empty();
    std::stable_sort(result.rows.begin(), result.rows.end(),
                     [&](const SessionPointer& a, const SessionPointer& b) {
                         if (selection.recent) return a->lastTs.value_or(-1e15) > b->lastTs.value_or(-1e15);
                         return *result.rowTokens.find(a->path) > *result.rowTokens.find(b->path);
                     });
    for (const auto& [key, stack] : stacks)
        result.stacks.push_back(stack);
    return result;
}

bool projectEqualsPlain() {
    return rc::check("a project's page follows its rules", [] {
        const Snapshot snapshot = randomSnapshot();
        ProjectAnalytics::Selection selection;
        selection.project = *word();
        selection.cycleKey = randomCycleKey();
        selection.weekKey = optional(
            rc::gen::elementOf(std::vector<std::string>{"2026-W12", "2026-W13", "2026-W14", "2026-W1"}));
        selection.allTime = *rc::gen::inRange(0, 3) == 0;
        selection.breakdown = *rc::gen::element(Breakdown::kind, Breakdown::model);
        selection.recent = *rc::gen::arbitrary<bool>();
        if (*rc::gen::inRange(0, 3) == 0)
            selection.tool = *rc::gen::element(ToolKind::codex, ToolKind::claudeCode);
        const ProjectDerived result = ProjectAnalytics::derive(&snapshot, selection);
        const ProjectDerived plain = plainProject(snapshot, selection);
        RC_CLASSIFY(result.isEmpty);
        RC_ASSERT(result.isEmpty == plain.isEmpty);
        RC_ASSERT(result.rows == plain.rows);
        RC_ASSERT(result.rowTokens == plain.rowTokens);
        RC_ASSERT(result.rowReqs == plain.rowReqs);
        RC_ASSERT(result.totalTokens == plain.totalTokens);
        RC_ASSERT(result.totalReqs == plain.totalReqs);
        RC_ASSERT(result.stacks == plain.stacks);
        RC_ASSERT(sumOf(result.legend) == sumOf(result.stacks));
    });
}

TEST(DerivationPropertyDeathTest, bothFollowTheirRulesInAnyZone) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const char* zone : {"UTC", "America/New_York", "Asia/Beirut", "Europe/Berlin", "Asia/Kathmandu"})
        EXPECT_EXIT(
            {
                setenv("TZ", zone, 1);
                std::_Exit(dashboardEqualsPlain() && projectEqualsPlain() ? 0 : 1);
            },
            testing::ExitedWithCode(0), "")
            << zone;
}

}  // namespace
}  // namespace ledgerfern
