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

/// What a request takes from the limit: cached input counts for little, output for much.
std::int64_t weightOf(const DemoRequest& request) {
    return request.input - request.cached + request.cached / 10 + 5 * request.output;
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

JsonText window(std::int64_t tenthsOfPercent, Milliseconds resetsAt) {
    return JsonText::object({{"used_percentage", JsonText::decimal(tenthsOfPercent)},
                             {"resets_at", resetsAt / DemoTime::second}});
}

}  // namespace

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

Milliseconds claudeStatusTime(const DemoWish& wish) {
    return wish.now - 4 * DemoTime::minute;
}

std::string claudeStatusText(const DemoWish& wish) {
    DemoRandom random(wish.seed, claudeStream);
    const Milliseconds sevenDays =
        fullHourAfter(wish.now + random.between(80 * DemoTime::hour, 130 * DemoTime::hour));
    const Milliseconds fiveHours = fullHourAfter(wish.now + random.between(0, 3 * DemoTime::hour));
    const JsonText limits = JsonText::object({{"five_hour", window(random.between(180, 640), fiveHours)},
                                              {"seven_day", window(random.between(350, 780), sevenDays)}});
    const JsonText model = JsonText::object({{"id", "claude-opus-5"}, {"display_name", "Opus 5"}});
    return JsonText::object({{"session_id", random.uuid()},
                             {"cwd", "/home/mira/code/atlas-mobile"},
                             {"model", model},
                             {"version", "2.1.227"},
                             {"rate_limits", limits}})
        .text();
}

}  // namespace ledgerfern
