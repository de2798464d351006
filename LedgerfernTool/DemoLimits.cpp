#include "DemoLimits.h"

#include <algorithm>
#include <map>

#include "JsonText.h"

namespace ledgerfern {

namespace {

using DemoTime::Milliseconds;

/// Streams of chance that no session has.
constexpr std::uint64_t codexStream = std::uint64_t{1} << 40;
constexpr std::uint64_t claudeStream = codexStream + 1;

/// The first full hour that is so far ahead.
Milliseconds fullHourAfter(Milliseconds instant) {
    return (instant / DemoTime::hour + 1) * DemoTime::hour;
}

std::vector<DemoRequest*> codexRequestsInOrder(std::vector<DemoSession>& sessions) {
    std::vector<DemoRequest*> requests;
    for (DemoSession& session : sessions)
        if (session.agent == ToolKind::codex)
            for (DemoRequest& request : session.requests)
                requests.push_back(&request);
    std::stable_sort(requests.begin(), requests.end(),
                     [](const DemoRequest* a, const DemoRequest* b) { return a->at < b->at; });
    return requests;
}

struct Cycle {
    std::int64_t total = 0;  ///< Weight of all its requests.
    std::int64_t used = 0;   ///< Of those so far.
    std::int64_t peak = 0;   ///< What its last reading says, in percent.
};

JsonText windowText(const DemoWindow& window) {
    return JsonText::object({{"used_percentage", JsonText::decimal(window.tenthsOfPercent)},
                             {"resets_at", window.resetsAt / DemoTime::second}});
}

std::string statusText(const DemoStatus& status, const std::string& sessionId) {
    const JsonText limits = JsonText::object(
        {{"five_hour", windowText(status.fiveHours)}, {"seven_day", windowText(status.sevenDays)}});
    const JsonText model = JsonText::object({{"id", "claude-opus-5"}, {"display_name", "Opus 5"}});
    return JsonText::object({{"session_id", sessionId},
                             {"cwd", "/home/mira/code/atlas-mobile"},
                             {"model", model},
                             {"version", "2.1.227"},
                             {"rate_limits", limits}})
        .text();
}

}  // namespace

std::int64_t weightOf(const DemoRequest& request) {
    return request.input - request.cached + request.cached / 10 + 5 * request.output;
}

void setLimits(std::vector<DemoSession>& sessions, const DemoWish& wish) {
    DemoRandom random(wish.seed, codexStream);
    const Milliseconds reset =
        fullHourAfter(wish.now + random.between(40 * DemoTime::hour, 75 * DemoTime::hour));
    const std::vector<DemoRequest*> requests = codexRequestsInOrder(sessions);
    std::map<std::int64_t, Cycle> cycles;  // by how many weeks before the current one
    for (const DemoRequest* request : requests)
        cycles[(reset - 1 - request->at) / DemoTime::week].total += weightOf(*request);
    for (auto& [weeksAgo, cycle] : cycles)
        cycle.peak = weeksAgo == 0 ? random.between(52, 79) : random.between(31, 98);
    for (DemoRequest* request : requests) {
        const std::int64_t weeksAgo = (reset - 1 - request->at) / DemoTime::week;
        Cycle& cycle = cycles[weeksAgo];
        cycle.used += weightOf(*request);
        request->usedPercent = cycle.used * cycle.peak / cycle.total;
        request->resetsAt = (reset - weeksAgo * DemoTime::week) / DemoTime::second;
    }
}

DemoStatus claudeStatus(const DemoWish& wish) {
    DemoRandom random(wish.seed, claudeStream);
    DemoStatus status;
    status.toldAt = wish.now - 4 * DemoTime::minute;
    status.sevenDays.resetsAt =
        fullHourAfter(wish.now + random.between(80 * DemoTime::hour, 130 * DemoTime::hour));
    status.fiveHours.resetsAt = fullHourAfter(wish.now + random.between(0, 3 * DemoTime::hour));
    status.fiveHours.tenthsOfPercent = random.between(180, 640);
    status.sevenDays.tenthsOfPercent = random.between(350, 780);
    status.text = statusText(status, random.uuid());
    return status;
}

}  // namespace ledgerfern
