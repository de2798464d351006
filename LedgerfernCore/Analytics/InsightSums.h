#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Analytics/InsightRules.h"
#include "Analytics/LabelNumbers.h"

/// What each rule remembers of the sessions. A rule is shown them one by one, in order, and then asked for
/// its finding: sessions lie scattered over memory, so that a pass over all of them costs more than what a
/// rule does with them, and the rules share one. The sessions must outlive it.
namespace ledgerfern::InsightRules {

using SessionRefs = std::vector<const SessionResult*>;

class CacheBreakSums {
public:
    explicit CacheBreakSums(const PriceTable& prices) : prices_(prices) {}
    void add(const SessionResult& session);
    std::optional<Insight> finding() const;

private:
    using Reason = std::pair<std::string_view, std::int64_t>;

    void addCost(const SessionResult& session);
    std::vector<Reason> reasonsByCount() const;

    const PriceTable& prices_;
    std::unordered_map<std::string_view, std::optional<ModelPrice>> pricesOfModels_;
    std::int64_t breaks_ = 0;
    std::int64_t rebuilt_ = 0;
    double usd_ = 0;  ///< What the rebuilt tokens cost more than cached ones would have.
    std::map<std::string_view, std::int64_t> reasons_;
    SessionRefs sessions_;
};

class StartupSums {
public:
    void add(const SessionResult& session);
    std::optional<Insight> finding() const;

private:
    /// The sessions of one agent in one project.
    struct Group {
        ToolKind tool = ToolKind::codex;
        std::string_view project;
        std::vector<std::int64_t> inputs;
        SessionRefs sessions;
    };
    struct HeavyGroup {
        const Group* group = nullptr;
        std::int64_t median = 0;
    };

    std::vector<HeavyGroup> heavyGroups() const;

    std::map<std::pair<std::string_view, std::string_view>, Group> groups_;  // by agent and project
};

class ConsumerSums {
public:
    void add(const SessionResult& session);
    std::optional<Insight> finding() const;

private:
    using Number = std::uint32_t;
    struct Consumer {
        std::string_view key;
        std::int64_t impact = 0;
    };

    Number consumerOfLabel(std::string_view label);
    const Consumer* top() const;
    std::vector<std::string> usersOf(const Consumer& consumer) const;

    LabelNumbers labels_;
    std::vector<Number> consumersOfLabels_;  // by the labels' numbers
    std::vector<Consumer> consumers_;        // by number
    std::unordered_map<std::string_view, Number> numbers_;
    std::int64_t total_ = 0;
    SessionRefs sessions_;
    std::vector<Number> used_;         // the consumers of all sessions, one session after the other
    std::vector<std::size_t> usedTo_;  // where each session's end
};

class LongContextSums {
public:
    void add(const SessionResult& session);
    std::optional<Insight> finding() const;

private:
    std::int64_t peak_ = 0;
    SessionRefs sessions_;
};

class LowCacheSums {
public:
    void add(const SessionResult& session);
    std::optional<Insight> finding() const;

private:
    struct Project {
        std::string_view name;
        std::int64_t input = 0;
        std::int64_t cached = 0;
        SessionRefs sessions;

        double rate() const { return static_cast<double>(cached) / static_cast<double>(input); }
    };

    const Project* lowest() const;

    std::unordered_map<std::string_view, Project> projects_;
};

class SubagentSums {
public:
    void add(const SessionResult& session, std::int64_t tokensInScope);
    /// `total` is that of all sessions in scope.
    std::optional<Insight> finding(std::int64_t total) const;

private:
    std::int64_t tokens_ = 0;
    std::int64_t heavy_ = 0;  ///< Sessions that read much and wrote little.
    SessionRefs sessions_;
};

/// In whole percent, cut toward zero; absent where that leaves 64 bits.
std::optional<std::int64_t> percentage(double fraction);
std::string percentText(std::int64_t percent);
std::vector<std::string> pathsOf(const SessionRefs& sessions);

}  // namespace ledgerfern::InsightRules
