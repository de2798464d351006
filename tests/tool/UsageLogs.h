#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

#include "CommandLine.h"
#include "tool/LogFolder.h"
#include "tool/TextOutput.h"

namespace ledgerfern {

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

/// Logs of both agents, seen from 2 March 2026, 12:00 UTC. The one known reset, at 2 March 00:00 UTC, makes
/// the cycle from 23 February (1771804800) the current one.
///
/// Codex: web-app at gpt-5 with 1,050 and 2,100 tokens on 1 March; scripts without a model with 10 tokens on
/// 20 February and 20 on the 24th. Claude Code: web-app at claude-opus-4 with 8 tokens on 2 March.
class UsageLogs : public testing::Test {
protected:
    UsageLogs() {
        RolloutLog web;
        web.meta("2026-03-01T10:00:00Z", "/p/web-app").model("gpt-5").user("Fix the login page");
        web.tokens("2026-03-01T10:01:00Z", {1000, 400, 50, 0, 1050},
                   R"({"primary":{"used_percent":42.5,"window_minutes":10080,"resets_at":1772409600}})");
        web.tokens("2026-03-01T10:02:00Z", {3000, 1400, 150, 0, 3150});
        webPath = folder.write("codex/web.jsonl", web.text());
        RolloutLog scripts;
        scripts.meta("2026-02-20T09:00:00Z", "/p/scripts").tokens("2026-02-20T09:00:00Z", {5, 0, 5, 0, 10});
        scripts.tokens("2026-02-24T09:00:00Z", {20, 0, 10, 0, 30});
        scriptsPath = folder.write("codex/scripts.jsonl", scripts.text());
        claudePath = folder.write(
            "claude/p/c.jsonl",
            R"({"type":"assistant","timestamp":"2026-03-02T09:00:00Z","cwd":"/p/web-app","requestId":"r","message":)"
            R"({"id":"m","model":"claude-opus-4","usage":{"input_tokens":5,"output_tokens":3},"content":[]}})"
            "\n");
    }

    Outcome run(std::vector<std::string> arguments, std::optional<std::size_t> columns = std::nullopt) const {
        TextConsole text(columns);
        arguments.insert(arguments.end(), {"--codex", folder.path("codex"), "--claude", folder.path("claude"),
                                           "--now", "1772452800"});
        const int status = runCommandLine(arguments, text.console);
        return {status, text.out.text(), text.err.text()};
    }
    /// Of a run that succeeds.
    std::string text(std::vector<std::string> arguments) const {
        const Outcome outcome = run(std::move(arguments));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        return outcome.out;
    }
    nlohmann::json document(std::vector<std::string> arguments) const {
        return nlohmann::json::parse(text(std::move(arguments)));
    }

    LogFolder folder;
    std::string webPath, scriptsPath, claudePath;
};

}  // namespace ledgerfern
