#pragma once

#include <rapidcheck.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ClaudeLog.h"
#include "CodexLog.h"
#include "UsageRecords/TSDate.h"

/// Made-up logs of both agents, with what must be read from them. To be made within a property.
namespace ledgerfern::test {

/// Some days before the clock is changed in spring, in most zones that change it.
inline constexpr Instant firstLogInstant = 1774000000;
inline constexpr std::int64_t logSpan = 3 * 604'800;  // seconds

struct ExpectedRequest {
    std::optional<Instant> ts;
    UsageTotals d;
    std::optional<std::string> model;
};

/// Tokens that are shared out, among so many.
struct SharedOut {
    std::int64_t tokens = 0;
    std::int64_t shares = 0;

    void add(std::int64_t moreTokens, std::int64_t moreShares) {
        if (moreShares == 0) return;
        tokens += moreTokens;
        shares += moreShares;
    }
};

struct ExpectedSession {
    ToolKind tool = ToolKind::codex;
    std::string project;
    bool isGuardian = false;
    std::vector<ExpectedRequest> requests;
    UsageTotals totals;
    bool everFell = false;                 ///< A running total did, so the totals aren't the requests' sum.
    std::optional<std::int64_t> resetsAt;  ///< Of the last rate-limit reading.
    std::int64_t calls = 0;
    SharedOut input, output;
};

/// Up to, and not including, `end`, all alike however small the cases are to be.
template <class Number>
Number between(Number begin, Number end) {
    return *rc::gen::resize(rc::kNominalSize, rc::gen::inRange<Number>(begin, end));
}

/// Halves of a second from `firstLogInstant` on.
inline Instant randomLogInstant() {
    return firstLogInstant + static_cast<double>(between<std::int64_t>(0, 2 * logSpan)) / 2;
}

/// The instant as a log writes it. Of whole and half seconds.
inline std::string logTime(Instant instant) {
    const auto seconds = static_cast<std::int64_t>(std::floor(instant)) % 86400;
    const auto two = [](std::int64_t n) { return std::string(n < 10 ? "0" : "") + std::to_string(n); };
    return TSDate::utcDayKey(instant) + "T" + two(seconds / 3600) + ":" + two(seconds / 60 % 60) + ":" +
           two(seconds % 60) + (instant == std::floor(instant) ? "Z" : ".500Z");
}

inline std::int64_t randomTokens() {
    return between<std::int64_t>(0, 100'000);
}
inline bool oneIn(int number) {
    return between(0, number) == 0;
}
inline std::string randomText() {
    return std::string(between<std::size_t>(1, 60), 'x');
}
inline std::string randomProject() {
    return *rc::gen::elementOf(std::vector<std::string>{"alpha", "beta", "gamma"});
}
inline std::string randomModel() {
    return *rc::gen::elementOf(std::vector<std::string>{"gpt-5", "claude-opus-4-1", "unheard-of"});
}

class RandomCodexLog {
public:
    RandomCodexLog() : isGuardian_(oneIn(4)), usesNothing_(isGuardian_ && oneIn(2)) {
        expected.tool = ToolKind::codex;
        expected.isGuardian = isGuardian_;
        openSegment();
        for (int steps = between(0, 16); steps > 0; --steps)
            step();
        expected.totals.add(total_);
    }

    const std::string& text() const { return log_.text; }
    ExpectedSession expected;

private:
    void step() {
        switch (between(0, 12)) {
            case 0:
                log_.message("user", randomText());
                ++items_;
                break;
            case 1:
                log_.message("assistant", randomText());
                ++items_, ++written_;
                break;
            case 2:
            case 3:
                call();
                break;
            case 4:
                model_ = randomModel();
                log_.model(*model_);
                break;
            case 5:
                if (oneIn(2)) openSegment();
                break;
            default:
                tokens();
        }
    }

    void openSegment() {
        expected.totals.add(total_);
        total_ = {};
        isFirst_ = true;
        items_ = written_ = calls_ = 0;
        expected.project = randomProject();
        Json more = {{"originator", "codex"}};
        if (isGuardian_) more["source"] = {{"subagent", {{"other", "guardian"}}}};
        log_.meta("/home/ada/" + expected.project, more);
    }

    void call() {
        const std::string id = "c" + std::to_string(++lastCall_);
        if (oneIn(2))
            log_.shell(id, *rc::gen::elementOf(std::vector<std::string>{"git push", "ls -l", "A=1"}));
        else
            log_.call(id, "read", {{"path", randomText()}});
        log_.output(id, randomText());
        items_ += 2;
        ++written_, ++calls_;
    }

    void tokens() {
        const UsageTotals before = std::exchange(total_, nextTotal());
        UsageTotals d;
        for (std::size_t i = 0; i < UsageTotals::fields.size(); ++i)
            d.at(i) = std::max<std::int64_t>(total_.at(i) - before.at(i), 0);
        std::optional<Instant> ts;
        if (!oneIn(8)) ts = randomLogInstant();
        if (ts)
            log_.at(logTime(*ts));
        else
            log_.withoutTime();
        log_.tokens(total_.v(), std::nullopt, limits());
        expected.requests.push_back({ts, d, model_});
        expected.input.add(d.inputTokens, items_);
        expected.output.add(d.outputTokens, written_);
        expected.calls += calls_;
        items_ = written_ = calls_ = 0;
        isFirst_ = false;
    }

    /// It grows, or stays, or falls to what may be nothing.
    UsageTotals nextTotal() {
        if (usesNothing_) return {};
        const bool falls = !isFirst_ && oneIn(10);
        if (falls) expected.everFell = true;
        const std::int64_t parts = between(0, 3);
        UsageTotals next;
        next.inputTokens = falls ? total_.inputTokens * parts / 3 : total_.inputTokens + randomTokens();
        next.cachedInputTokens = falls ? 0 : total_.cachedInputTokens + randomTokens() / 2;
        next.outputTokens = falls ? total_.outputTokens * parts / 3 : total_.outputTokens + randomTokens();
        if (!falls && oneIn(8)) next = total_;
        next.totalTokens = next.inputTokens + next.outputTokens;
        return next;
    }

    std::optional<Json> limits() {
        if (!oneIn(4)) return std::nullopt;
        Json primary = {{"used_percent", 12.5}};
        expected.resetsAt.reset();
        if (!oneIn(4)) expected.resetsAt = 1'774'000'000 + between<std::int64_t>(-logSpan, 2 * logSpan);
        if (expected.resetsAt) primary["resets_at"] = *expected.resetsAt;
        return Json{{"primary", primary}};
    }

    CodexLog log_;
    const bool isGuardian_;
    const bool usesNothing_;
    std::optional<std::string> model_;
    UsageTotals total_;  // the segment's, so far
    bool isFirst_ = true;
    int lastCall_ = 0;
    // Of the request to come:
    std::int64_t items_ = 0, written_ = 0, calls_ = 0;
};

class RandomClaudeLog {
public:
    RandomClaudeLog() {
        expected.tool = ToolKind::claudeCode;
        expected.project = randomProject();
        log_.record("summary", {{"cwd", "/home/ada/" + expected.project}});
        for (int steps = between(0, 16); steps > 0; --steps)
            step();
        closeRequest();
    }

    const std::string& text() const { return log_.text; }
    ExpectedSession expected;

private:
    void step() {
        switch (between(0, 12)) {
            case 0:
                log_.user(randomText(), anyChain());
                ++nextItems_;
                break;
            case 1:
                log_.record("attachment", {{"attachment", {{"name", randomText()}}}});
                ++nextItems_;
                break;
            case 2:
                log_.user(Json::array({toolResult("t" + std::to_string(randomTokens() % 4), randomText())}));
                ++nextItems_;
                break;
            case 3:
                log_.record("assistant", {{"message", {{"content", "no usage"}}}});
                break;
            case 4:
                log_.compaction(anyChain());
                break;
            case 5:
                model_ = oneIn(3) ? "<synthetic>" : randomModel();
                log_.model(model_);
                break;
            case 6:
            case 7:
                if (!expected.requests.empty()) repeat();
                break;
            default:
                request();
        }
    }

    Json anyChain() { return oneIn(4) ? Json{{"isSidechain", true}, {"agentId", "a"}} : Json::object(); }

    void request() {
        const std::int64_t plain = randomTokens(), output = randomTokens();
        const std::int64_t read = oneIn(3) ? 0 : randomTokens(), wrote = oneIn(2) ? 0 : randomTokens();
        const std::int64_t input = plain + read + wrote;
        ExpectedRequest request{{}, {input, read, wrote, output, 0, input + output}, {}};
        Json more = anyChain();
        if (!oneIn(8)) request.ts = randomLogInstant();
        more["timestamp"] = request.ts ? logTime(*request.ts) : "never";
        if (model_ != "<synthetic>") request.model = model_;
        closeRequest();
        expected.requests.push_back(request);
        expected.totals.add(request.d);
        items_ = std::exchange(nextItems_, 0);
        log_.assistant("r" + std::to_string(expected.requests.size()),
                       claudeUsage(plain, output, read, wrote), blocks(), more);
    }

    /// Another line of a request that has been counted.
    void repeat() {
        const auto number = between<std::size_t>(1, expected.requests.size() + 1);
        log_.assistant("r" + std::to_string(number), claudeUsage(randomTokens(), randomTokens()), blocks());
    }

    Json blocks() {
        Json result = Json::array();
        for (int count = between(0, 3); count > 0; --count) {
            ++items_, ++written_;
            if (oneIn(2)) {
                result.push_back(textBlock(randomText()));
            } else {
                result.push_back(toolUse("t" + std::to_string(randomTokens() % 4),
                                         oneIn(2) ? "Bash" : "mcp__db__query", {{"command", "git push"}}));
                ++calls_;
            }
        }
        return result;
    }

    void closeRequest() {
        if (expected.requests.empty()) return;
        const UsageTotals& d = expected.requests.back().d;
        expected.input.add(d.inputTokens, items_);
        expected.output.add(d.outputTokens, written_);
        expected.calls += calls_;
        items_ = written_ = calls_ = 0;
    }

    ClaudeLog log_;
    std::string model_ = "claude-opus-4-1";
    // Of the newest request:
    std::int64_t items_ = 0, written_ = 0, calls_ = 0;
    std::int64_t nextItems_ = 0;
};

}  // namespace ledgerfern::test
