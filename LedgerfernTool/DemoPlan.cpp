#include "DemoPlan.h"

#include <algorithm>
#include <array>
#include <span>

#include "DemoLimits.h"

namespace ledgerfern {

namespace {

using DemoTime::Milliseconds;

/// Ten sessions, again and again. A sub-agent belongs to the latest main session of its agent.
struct Kind {
    ToolKind agent;
    DemoRole role;
};
constexpr std::array<Kind, 10> kinds = {{{ToolKind::codex, DemoRole::main},
                                         {ToolKind::claudeCode, DemoRole::main},
                                         {ToolKind::codex, DemoRole::subagent},
                                         {ToolKind::claudeCode, DemoRole::subagent},
                                         {ToolKind::codex, DemoRole::main},
                                         {ToolKind::claudeCode, DemoRole::main},
                                         {ToolKind::claudeCode, DemoRole::subagent},
                                         {ToolKind::codex, DemoRole::subagent},
                                         {ToolKind::claudeCode, DemoRole::main},
                                         {ToolKind::codex, DemoRole::main}}};

/// The one session that goes on for days.
constexpr std::size_t longSession = 4;
constexpr Milliseconds longSessionsAge = 17 * DemoTime::day;

bool isGuardian(std::size_t place) {
    return place % 45 == 12;
}
bool isDeep(std::size_t place) {
    return place % 10 == 1 || place % 20 == 0;
}
bool hasUnknownModel(std::size_t place) {
    return place % 30 == 9;
}
bool changesModels(std::size_t place) {
    return place % 10 == 8 || place % 20 == 10;
}

using Names = std::span<const std::string_view>;
constexpr std::string_view codexModels[] = {"gpt-6-sol", "gpt-6-sol", "gpt-6-sol", "gpt-5.6-sol", "gpt-5.5"};
constexpr std::string_view codexAgentModels[] = {"gpt-5.6-luna", "gpt-5.6-luna", "gpt-6-sol",
                                                 "gpt-5.6-terra"};
constexpr std::string_view claudeModels[] = {"claude-opus-5", "claude-opus-5", "claude-sonnet-5",
                                             "claude-opus-4-8"};
constexpr std::string_view claudeAgentModels[] = {"claude-haiku-4-5-20251001", "claude-haiku-4-5-20251001",
                                                  "claude-sonnet-5"};
constexpr std::string_view nicknames[] = {"Noether", "Curie", "Hopper",  "Lovelace",
                                          "Turing",  "Euler", "Meitner", "Ramanujan"};

/// What the first sessions work on, so that a small home tells as much as a large one.
constexpr std::array<std::size_t, 12> firstProjects = {storefront, mobile,    storefront, mobile,
                                                       invoices,   lowCache,  lowCache,   invoices,
                                                       mobile,     household, storefront, lowCache};
/// One session in ten is of a project that is seldom worked on, each in its turn.
bool isOfSeldomProject(std::size_t place) {
    return place % 10 == 4;
}
constexpr std::size_t seldomProjects = 5;
/// The others, the frequent ones more often.
constexpr std::array<std::size_t, 16> otherProjects = {0, 0, 0, 1, 1, 1, 2, 2, 3, 4, 4, 5, 6, 7, 8, 9};

constexpr std::array<std::int64_t, 9> mainLengths = {4, 9, 16, 24, 33, 45, 60, 80, 110};
constexpr std::array<std::int64_t, 4> subagentLengths = {60, 80, 100, 120};

class Planner {
public:
    explicit Planner(const DemoWish& wish) : wish_(wish) {}

    std::vector<DemoSession> run() {
        for (std::size_t place = 0; place < wish_.sessions; ++place)
            addSession(place);
        setLimits(sessions_, wish_);
        return std::move(sessions_);
    }

private:
    void addSession(std::size_t place) {
        DemoRandom random(wish_.seed, place);
        DemoSession session;
        session.agent = kinds[place % kinds.size()].agent;
        session.role = kinds[place % kinds.size()].role;
        if (isGuardian(place)) session.agent = ToolKind::codex, session.role = DemoRole::guardian;
        if (session.role != DemoRole::main) session.parent = latestMain(session.agent);
        session.project = projectOf(place, session, random);
        session.models = modelsOf(place, session, random);
        session.hasSideChain = place % 20 == 11;
        session.textSeed = random.next();
        session.requests = converse(paceOf(place, session, random), random);
        move(session.requests, startOf(place, session, random));
        session.id = session.agent == ToolKind::codex ? random.uuidOf(session.start()) : random.uuid();
        session.nickname =
            session.agent == ToolKind::codex ? std::string(random.pick(nicknames)) : "a" + random.hex(6);
        sessions_.push_back(std::move(session));
    }

    std::size_t latestMain(ToolKind agent) const {
        const auto found =
            std::find_if(sessions_.rbegin(), sessions_.rend(), [&](const DemoSession& session) {
                return session.agent == agent && session.role == DemoRole::main;
            });
        return static_cast<std::size_t>(sessions_.rend() - found) - 1;
    }

    const DemoProject* projectOf(std::size_t place, const DemoSession& session, DemoRandom& random) const {
        if (session.parent) return sessions_[*session.parent].project;
        if (place < firstProjects.size()) return &demoProjects()[firstProjects[place]];
        if (isOfSeldomProject(place))
            return &demoProjects().last(seldomProjects)[place / 10 % seldomProjects];
        return &demoProjects()[random.pick(otherProjects)];
    }

    static Names candidates(const DemoSession& session) {
        if (session.role == DemoRole::main)
            return session.agent == ToolKind::codex ? Names(codexModels) : Names(claudeModels);
        return session.agent == ToolKind::codex ? Names(codexAgentModels) : Names(claudeAgentModels);
    }

    static std::vector<std::string_view> modelsOf(std::size_t place, const DemoSession& session,
                                                  DemoRandom& random) {
        if (session.role == DemoRole::guardian) return {"codex-auto-review"};
        if (hasUnknownModel(place)) return {"aurora-preview"};
        if (!changesModels(place)) return {random.pick(candidates(session))};
        return {candidates(session).front(), candidates(session).back()};
    }

    static DemoPace paceOf(std::size_t place, const DemoSession& session, DemoRandom& random) {
        DemoPace pace;
        pace.cachePercent = session.project->cachePercent;
        pace.startup =
            session.agent == ToolKind::codex ? session.project->codexStartup : session.project->claudeStartup;
        pace.models = session.models.size();
        switch (session.role) {
            case DemoRole::main:
                setMainPace(pace, place, random);
                break;
            case DemoRole::subagent:
                setSubagentPace(pace, random);
                break;
            case DemoRole::guardian:
                setGuardianPace(pace, random);
                break;
        }
        return pace;
    }

    static void setSubagentPace(DemoPace& pace, DemoRandom& random) {
        pace.requests = random.pick(subagentLengths);
        pace.startup = 14'000;
        pace.growth = 1'100;
        // Most read much and write little.
        pace.mostOutput = random.chance(60) ? 260 : 800;
        pace.hasUser = false;
    }

    static void setGuardianPace(DemoPace& pace, DemoRandom& random) {
        pace.requests = random.between(3, 9);
        pace.startup = 8'000;
        pace.growth = 300;
        pace.mostOutput = 160;
        pace.hasUser = false;
    }

    static void setMainPace(DemoPace& pace, std::size_t place, DemoRandom& random) {
        pace.compactedAt = random.between(140'000, 230'000);
        const bool isTelling = place < firstProjects.size();
        pace.requests = isTelling ? random.between(60, 80) : random.pick(mainLengths);
        if (isDeep(place)) {
            pace.growth = 2'600;
            pace.requests = random.between(70, 95);
        }
        if (place != longSession) return;
        pace.requests = random.between(2'200, 2'500);
        pace.compactedAt = 135'000;
        pace.growth = 700;
    }

    /// Where a conversation begins that takes so long.
    Milliseconds startOf(std::size_t place, const DemoSession& session, DemoRandom& random) const {
        const Milliseconds length = session.end();
        const Milliseconds latest = latestEnd(place, random) - length;
        if (place == 0) return latest;
        if (session.parent) return std::min(latest, momentWithin(sessions_[*session.parent], random));
        // The first few are of today, and still going on or just over.
        if (place < 2) return latest;
        if (place == longSession)
            return std::min(latest, morning(wish_.now - longSessionsAge) + 8 * DemoTime::hour);
        return std::max(wish_.now - demoSpan, std::min(latest, workingHour(place, random)));
    }

    Milliseconds latestEnd(std::size_t place, DemoRandom& random) const {
        if (place == 0) return wish_.now;
        return wish_.now -
               random.between(2 * DemoTime::minute, place == 1 ? 4 * DemoTime::minute : 3 * DemoTime::hour);
    }

    static Milliseconds momentWithin(const DemoSession& session, DemoRandom& random) {
        const auto last = static_cast<std::int64_t>(session.requests.size()) - 1;
        const auto& request =
            session.requests[static_cast<std::size_t>(random.between(last / 6, last * 2 / 3))];
        return request.at + random.between(500, 1500);
    }

    static Milliseconds morning(Milliseconds instant) { return instant - instant % DemoTime::day; }

    /// Of a day that is worked on: most of the week, few weekends, and some days more than others. What tells
    /// most is of the last days, so that the current cycle has it.
    Milliseconds workingHour(std::size_t place, DemoRandom& random) const {
        const bool isRecent = place < firstProjects.size() || random.chance(12);
        std::int64_t daysAgo = random.between(0, isRecent ? 3 : 69);
        if (!isRecent && random.chance(25)) daysAgo -= daysAgo % 7 - 2;
        Milliseconds date = morning(wish_.now - daysAgo * DemoTime::day);
        const int weekday = DemoTime::weekdayOf(date);
        if (!isRecent && weekday >= 5 && random.chance(80)) date -= (weekday - 4) * DemoTime::day;
        const std::int64_t hour = random.chance(85) ? random.between(7, 16) : random.between(17, 22);
        return date + hour * DemoTime::hour + random.between(0, DemoTime::hour - 1);
    }

    static void move(std::vector<DemoRequest>& requests, Milliseconds start) {
        for (DemoRequest& request : requests)
            request.at += start;
    }

    const DemoWish& wish_;
    std::vector<DemoSession> sessions_;
};

}  // namespace

const DemoTask& demoTask(const DemoSession& session) {
    return session.project->tasks[session.textSeed % session.project->tasks.size()];
}

std::string demoFolder(const DemoSession& session) {
    return "/home/mira/code/" + std::string(session.project->name);
}

std::vector<DemoSession> planDemo(const DemoWish& wish) {
    return Planner(wish).run();
}

}  // namespace ledgerfern
