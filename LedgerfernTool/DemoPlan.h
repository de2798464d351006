#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "DemoConversation.h"
#include "DemoProjects.h"
#include "DemoTime.h"
#include "UsageRecords/Records.h"

namespace ledgerfern {

enum class DemoRole { main, subagent, guardian };

/// One session of the made-up home: all that its log is written from.
struct DemoSession {
    ToolKind agent = ToolKind::codex;
    DemoRole role = DemoRole::main;
    const DemoProject* project = nullptr;
    std::optional<std::size_t> parent;  ///< The place of the session that started this one.
    std::vector<std::string_view> models;
    bool hasSideChain = false;  ///< A sub-agent's requests stand in the session's own log.
    std::uint64_t textSeed = 0;
    std::string id;
    std::string nickname;  ///< A sub-agent's: with Claude Code its id.
    std::vector<DemoRequest> requests;

    DemoTime::Milliseconds start() const { return requests.front().at - 2 * DemoTime::second; }
    DemoTime::Milliseconds end() const { return requests.back().at; }
};

/// What a main session was started for.
const DemoTask& demoTask(const DemoSession& session);
/// Its working directory on the made-up machine.
std::string demoFolder(const DemoSession& session);

/// What a demo is made of.
struct DemoWish {
    std::uint64_t seed = 1;
    DemoTime::Milliseconds now = 0;  ///< Not before `earliestDemo`.
    std::size_t sessions = 0;
};

constexpr DemoTime::Milliseconds demoSpan = 10 * DemoTime::week;
constexpr DemoTime::Milliseconds earliestDemo = demoSpan + DemoTime::week;

/// The sessions of the last ten weeks before `now`, from the most telling ones on: with a few dozen of them
/// every kind is there. The last request of the first is at `now`, and nothing is later.
std::vector<DemoSession> planDemo(const DemoWish& wish);

}  // namespace ledgerfern
