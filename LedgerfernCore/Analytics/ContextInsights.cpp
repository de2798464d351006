#include <algorithm>

#include "Analytics/InsightSums.h"
#include "Foundation/Arithmetic.h"

// The rules about what fills the contexts.

namespace ledgerfern::InsightRules {

namespace {

constexpr std::string_view mcpPrefix = "mcp:";

/// All tools of one MCP server are one consumer.
std::string_view consumerOf(std::string_view label) {
    return label.starts_with(mcpPrefix) ? label.substr(0, label.find('/')) : label;
}

bool isCandidate(std::string_view consumer) {
    return consumer != "user messages" && consumer != "assistant output (replayed)" &&
           consumer != "attachments";
}

/// True for the consumer itself, and for what goes on with a "/" behind its name.
bool countsFor(std::string_view label, std::string_view consumer) {
    return label.starts_with(consumer) && (label.size() == consumer.size() || label[consumer.size()] == '/');
}

std::string consumerName(std::string_view key) {
    if (!key.starts_with(mcpPrefix)) return std::string(key);
    return "MCP server " + std::string(key.substr(mcpPrefix.size()));
}

std::string_view consumerAdvice(std::string_view key) {
    return key.starts_with(mcpPrefix)
               ? "Large MCP results stay in context for the rest of the session. Ask for narrower results, "
                 "or disable the server when you don't need it."
               : "Big tool results stay in context for the rest of the session. Prefer targeted reads (line "
                 "ranges, grep) over dumping whole files or logs.";
}

}  // namespace

void StartupSums::add(const SessionResult& session) {
    const auto input = session.insights.startupInput;
    if (session.source.isSubagent || !input || *input <= 0) return;
    Group& group = groups_[{rawValue(session.tool), session.project}];
    group.tool = session.tool;
    group.project = session.project;
    group.inputs.push_back(*input);
    group.sessions.push_back(&session);
}

/// The groups with large startup prompts, heaviest first.
std::vector<StartupSums::HeavyGroup> StartupSums::heavyGroups() const {
    std::vector<HeavyGroup> heavy;
    for (const auto& [key, group] : groups_) {
        const std::int64_t middle = median(group.inputs);
        if (group.inputs.size() >= 2 && middle >= 30'000) heavy.push_back({&group, middle});
    }
    std::stable_sort(heavy.begin(), heavy.end(),
                     [](const HeavyGroup& a, const HeavyGroup& b) { return a.median > b.median; });
    return heavy;
}

std::optional<Insight> StartupSums::finding() const {
    const std::vector<HeavyGroup> heavy = heavyGroups();
    if (heavy.empty()) return std::nullopt;
    const auto& [top, middle] = heavy.front();
    const auto count = static_cast<std::int64_t>(top->inputs.size());
    const std::string memory = top->tool == ToolKind::claudeCode ? "CLAUDE.md" : "AGENTS.md";
    Insight insight;
    insight.id = "startup-overhead";
    insight.severity = middle >= 60'000 ? Severity::warning : Severity::notice;
    insight.title = std::string(top->project) + " starts every session at ~" + fmt(middle) + " tokens";
    insight.detail = "Median first-request size across " + std::to_string(count) +
                     " sessions — paid before you type anything, and re-read on every request.";
    if (heavy.size() > 1)
        insight.detail += " " + std::to_string(heavy.size() - 1) + " other project(s) are above 30K too.";
    insight.advice = "Trim " + memory +
                     ", MCP servers and tool definitions. Disable MCP servers this project doesn't use; each "
                     "one ships its full tool schema with every request.";
    insight.weight = productWithin64Bits(middle, count).value_or(middle);
    insight.metric = "~" + fmt(middle);
    insight.metricLabel = "before your first message";
    insight.sessions = pathsOf(top->sessions);
    return insight;
}

void ConsumerSums::add(const SessionResult& session) {
    labels_.beginSession();
    for (const auto& [label, stat] : session.tools) {
        const Number consumer = consumerOfLabel(label);
        std::int64_t impact = stat.attribInput;
        addFromOutside(impact, stat.attribOutput);
        addFromOutside(consumers_[consumer].impact, impact);
        addFromOutside(total_, impact);
        used_.push_back(consumer);
    }
    sessions_.push_back(&session);
    usedTo_.push_back(used_.size());
}

ConsumerSums::Number ConsumerSums::consumerOfLabel(std::string_view label) {
    const std::size_t number = labels_.numberOf(label);
    if (number == consumersOfLabels_.size()) {
        const std::string_view key = consumerOf(label);
        const auto [entry, isNew] = numbers_.try_emplace(key, static_cast<Number>(consumers_.size()));
        if (isNew) consumers_.push_back({key});
        consumersOfLabels_.push_back(entry->second);
    }
    return consumersOfLabels_[number];
}

/// The candidate with the largest impact; null without any.
const ConsumerSums::Consumer* ConsumerSums::top() const {
    const Consumer* top = nullptr;
    for (const Consumer& consumer : consumers_) {
        if (!isCandidate(consumer.key)) continue;
        const bool isFirst = !top || consumer.impact > top->impact ||
                             (consumer.impact == top->impact && consumer.key < top->key);
        if (isFirst) top = &consumer;
    }
    return top;
}

std::vector<std::string> ConsumerSums::usersOf(const Consumer& consumer) const {
    std::vector<bool> counts;
    for (const Consumer& any : consumers_)
        counts.push_back(countsFor(any.key, consumer.key));
    std::vector<std::string> paths;
    auto used = used_.begin();
    for (std::size_t i = 0; i < sessions_.size(); ++i) {
        const auto end = used_.begin() + static_cast<std::ptrdiff_t>(usedTo_[i]);
        if (std::any_of(used, end, [&](Number number) { return counts[number]; }))
            paths.push_back(sessions_[i]->path);
        used = end;
    }
    return paths;
}

std::optional<Insight> ConsumerSums::finding() const {
    const Consumer* consumer = top();
    if (total_ < 1 || !consumer) return std::nullopt;
    const auto percent = percentage(static_cast<double>(consumer->impact) / static_cast<double>(total_));
    if (!percent || *percent < 25) return std::nullopt;
    Insight insight;
    insight.id = "consumer-" + std::string(consumer->key);
    insight.severity = *percent >= 40 ? Severity::warning : Severity::notice;
    insight.title = consumerName(consumer->key) + " drives " + percentText(*percent) + " of context growth";
    insight.detail = "Share of attributed input/output impact across tool results and calls in this scope.";
    insight.advice = consumerAdvice(consumer->key);
    insight.weight = consumer->impact;
    insight.metric = percentText(*percent);
    insight.metricLabel = "of context growth";
    insight.sessions = usersOf(*consumer);
    return insight;
}

void LongContextSums::add(const SessionResult& session) {
    const std::int64_t peak = session.insights.peakInput;
    if (peak < 150'000) return;
    peak_ = std::max(peak_, peak);
    sessions_.push_back(&session);
}

std::optional<Insight> LongContextSums::finding() const {
    if (sessions_.size() < 2) return std::nullopt;
    Insight insight;
    insight.id = "long-contexts";
    insight.severity = Severity::notice;
    insight.title = std::to_string(sessions_.size()) + " sessions ran past 150K tokens of context";
    insight.detail = "Largest single request: " + fmt(peak_) +
                     " tokens. Every request in a long session re-reads the whole context.";
    insight.advice =
        "Split long tasks into fresh sessions, or compact earlier. Cached reads are cheaper but still count "
        "toward rate limits.";
    insight.weight = peak_;
    insight.metric = fmt(peak_);
    insight.metricLabel = "largest request";
    insight.sessions = pathsOf(sessions_);
    return insight;
}

void SubagentSums::add(const SessionResult& session, std::int64_t tokensInScope) {
    if (!session.source.isSubagent || session.source.isGuardian) return;
    addFromOutside(tokens_, tokensInScope);
    const UsageTotals& totals = session.totals;
    const bool isHeavy =
        totals.inputTokens >= 200'000 &&
        static_cast<double>(totals.outputTokens) / static_cast<double>(totals.inputTokens) < 0.005;
    heavy_ += isHeavy ? 1 : 0;
    sessions_.push_back(&session);
}

std::optional<Insight> SubagentSums::finding(std::int64_t total) const {
    if (total < 1) return std::nullopt;
    const auto percent = percentage(static_cast<double>(tokens_) / static_cast<double>(total));
    if (sessions_.size() < 3 || !percent || *percent < 30) return std::nullopt;
    Insight insight;
    insight.id = "subagents";
    insight.severity = *percent >= 50 ? Severity::warning : Severity::info;
    insight.title = "Sub-agents used " + percentText(*percent) + " of tokens";
    insight.detail = std::to_string(sessions_.size()) + " sub-agent sessions in this scope.";
    if (heavy_ != 0)
        insight.detail +=
            " " + std::to_string(heavy_) + " of them read 200K+ tokens and wrote very little back.";
    insight.advice =
        "Sub-agents start with a fresh context and re-read what they need. For small lookups, doing it "
        "inline is often cheaper; for big fan-outs, use a cheaper model for the agents.";
    insight.weight = tokens_;
    insight.metric = percentText(*percent);
    insight.metricLabel = "of tokens";
    insight.sessions = pathsOf(sessions_);
    return insight;
}

}  // namespace ledgerfern::InsightRules
