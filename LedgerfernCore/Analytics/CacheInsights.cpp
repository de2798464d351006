#include <algorithm>
#include <cmath>

#include "Analytics/CostEstimator.h"
#include "Analytics/InsightSums.h"
#include "Foundation/Arithmetic.h"

// The rules about caches that are lost or missed.

namespace ledgerfern::InsightRules {

namespace {

std::string costNote(double usd) {
    if (!std::isfinite(usd) || usd < 0.01) return "";
    return " (≈ " + CostEstimator::fmtUSD(usd) + " at API prices)";
}

std::string_view cacheBreakAdvice(std::string_view topReason) {
    if (topReason == "idle")
        return "The prompt cache expires when a session sits idle (5 minutes by default, up to an hour on "
               "some plans), so resuming a big session re-sends all of it. For a new task, start a fresh "
               "session (/clear in Claude Code, /new in Codex) instead of resuming a long one.";
    if (topReason == "model switch")
        return "Each model has its own cache. Switching models mid-session rebuilds the whole prompt — pick "
               "the model at the start of a task.";
    return "Something early in the prompt changed between requests (edited CLAUDE.md/AGENTS.md, MCP servers "
           "connecting, toggled tools). Keep those stable during a session.";
}

}  // namespace

void CacheBreakSums::add(const SessionResult& session) {
    const SessionInsights& insights = session.insights;
    addFromOutside(breaks_, insights.cacheBreaks);
    addFromOutside(rebuilt_, insights.rebuiltTokens);
    for (const auto& [reason, count] : insights.breakReasons)
        if (reason != "compaction") addFromOutside(reasons_[reason], count);
    if (insights.rebuiltTokens != 0) addCost(session);
    if (insights.cacheBreaks > 0) sessions_.push_back(&session);
}

void CacheBreakSums::addCost(const SessionResult& session) {
    if (!session.model) return;
    const auto [entry, isNew] = pricesOfModels_.try_emplace(*session.model);
    if (isNew) entry->second = prices_.priceFor(session.model);
    const auto& price = entry->second;
    if (!price) return;
    usd_ +=
        (price->input - price->cachedInput) * static_cast<double>(session.insights.rebuiltTokens) / 1'000'000;
}

/// Most frequent first.
std::vector<CacheBreakSums::Reason> CacheBreakSums::reasonsByCount() const {
    std::vector<Reason> reasons(reasons_.begin(), reasons_.end());
    std::stable_sort(reasons.begin(), reasons.end(),
                     [](const Reason& a, const Reason& b) { return a.second > b.second; });
    return reasons;
}

std::optional<Insight> CacheBreakSums::finding() const {
    if (breaks_ < 3 || rebuilt_ < 100'000) return std::nullopt;
    const std::vector<Reason> reasons = reasonsByCount();
    std::string list;
    for (const auto& [reason, count] : reasons)
        list.append(list.empty() ? "" : ", ").append(std::to_string(count)).append(" ").append(reason);
    Insight insight;
    insight.id = "cache-breaks";
    insight.severity = rebuilt_ >= 1'000'000 ? Severity::warning : Severity::notice;
    insight.title = std::to_string(breaks_) + " cache rebuilds re-sent " + fmt(rebuilt_) + " tokens";
    insight.detail =
        "Requests where most of the previous prompt wasn't served from cache: " + list + costNote(usd_) + ".";
    insight.advice = cacheBreakAdvice(reasons.empty() ? "" : reasons.front().first);
    insight.weight = rebuilt_;
    insight.metric = fmt(rebuilt_);
    insight.metricLabel = "tokens re-sent";
    insight.sessions = pathsOf(sessions_);
    return insight;
}

void LowCacheSums::add(const SessionResult& session) {
    Project& project = projects_[session.project];
    project.name = session.project;
    addFromOutside(project.input, session.totals.inputTokens);
    addFromOutside(project.cached, session.totals.cachedInputTokens);
    project.sessions.push_back(&session);
}

/// Of the projects with enough input the one that hits the cache least, if that is little; otherwise null.
const LowCacheSums::Project* LowCacheSums::lowest() const {
    const Project* lowest = nullptr;
    for (const auto& [name, project] : projects_) {
        if (project.input < 2'000'000 || !(project.rate() < 0.7)) continue;
        const bool isFirst = !lowest || project.rate() < lowest->rate() ||
                             (project.rate() == lowest->rate() && name < lowest->name);
        if (isFirst) lowest = &project;
    }
    return lowest;
}

std::optional<Insight> LowCacheSums::finding() const {
    const Project* project = lowest();
    if (!project) return std::nullopt;
    const auto percent = percentage(project->rate());
    if (!percent) return std::nullopt;
    const std::string name(project->name);
    Insight insight;
    insight.id = "low-cache-" + name;
    insight.severity = Severity::notice;
    insight.title = name + " only hits the cache " + percentText(*percent) + " of the time";
    insight.detail = fmt(project->input) + " input tokens; well-behaved sessions usually sit above 85%.";
    insight.advice =
        "Look for many short sessions, frequent model switches, or files that change at the top of the "
        "prompt (memory files, hooks injecting context).";
    insight.weight = project->input;
    insight.metric = percentText(*percent);
    insight.metricLabel = "cache hits";
    insight.sessions = pathsOf(project->sessions);
    return insight;
}

}  // namespace ledgerfern::InsightRules
