#pragma once

#include <gtest/gtest.h>

#include <latch>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Application/AppState.h"
#include "FakeFileEvents.h"
#include "FakeMainLoop.h"
#include "FakeNotificationCentre.h"
#include "FakeWorkers.h"
#include "UsageRecords/TSDate.h"
#include "core/CodexLog.h"
#include "core/FakePreferences.h"
#include "core/TempFolder.h"

namespace ledgerfern::test {

/// An application state in a home folder of its own, with a clock, workers and a main loop that stand still
/// until the test moves them.
class AppStateFixture : public testing::Test {
protected:
    static constexpr Instant start = 1772572800;  // Tuesday, 2026-03-03 21:20 UTC
    static constexpr Instant reset = start + 2 * 86'400;

    static Json limit(double usedPercent, std::string_view plan = "pro") {
        return {{"primary", {{"used_percent", usedPercent}, {"window_minutes", 10080}, {"resets_at", reset}}},
                {"plan_type", plan}};
    }
    /// One request of a Codex session, with a reading of the weekly limit.
    static std::string codexLog(double usedPercent, std::int64_t input = 1000) {
        return CodexLog()
            .meta()
            .model("gpt-5.5")
            .tokens(usage(input, 0, 10), usage(input, 0, 10), limit(usedPercent))
            .text;
    }
    std::string codexFile(std::string_view name) const {
        return home / (".codex/sessions/" + std::string(name));
    }
    void writeCodex(std::string_view name, std::string_view text, Instant modified) {
        setModified(home.write(".codex/sessions/" + std::string(name), text), modified);
    }
    /// Writes a log that was last modified now.
    void writeCodex(std::string_view name, std::string_view text) { writeCodex(name, text, now); }

    /// Appends a reading of the weekly limit to the log.
    void readLimit(double usedPercent) {
        now += 60;
        used_ += 100;
        home.append(".codex/sessions/limit.jsonl",
                    CodexLog()
                        .at(timestamp(now))
                        .tokens(usage(1000 + used_, 0, 10), usage(100, 0, 0), limit(usedPercent))
                        .text);
        rescan();
    }
    static std::string timestamp(Instant ts) {
        const std::string text = TSDate::utcString(ts);  // "2026-03-01 10:20 UTC"
        return text.substr(0, 10) + "T" + text.substr(11, 5) + ":00Z";
    }

    std::string supportFile(std::string_view name) const {
        return home / ("Library/Application Support/Ledgerfern/" + std::string(name));
    }
    /// What Claude Code hands to its status line.
    void writeStatus(double fiveHour, double sevenDay, Instant modified) {
        const Json status = {{"rate_limits",
                              {{"five_hour", {{"used_percentage", fiveHour}, {"resets_at", start + 3600}}},
                               {"seven_day", {{"used_percentage", sevenDay}, {"resets_at", reset + 60}}}}}};
        setModified(home.write("Library/Application Support/Ledgerfern/claude-status.json", status.dump()),
                    modified);
    }

    AppState::Environment environment(Workers& threads) {
        return {loop,
                threads,
                notifications,
                preferences,
                home.path(),
                [this] { return now; },
                [this] { return updateAvailable; },
                [this](const std::vector<std::string>& paths) {
                    watched = paths;
                    auto made = std::make_unique<FakeFileEvents>();
                    events = made.get();
                    if (!eventsMade.try_wait()) eventsMade.count_down();
                    return made;
                }};
    }
    void make(const std::optional<std::string>& root = std::nullopt) {
        state = std::make_unique<AppState>(environment(workers), root);
    }
    /// Runs everything that there is to do, until nothing waits.
    void settle() {
        do {
            notifications.answerFetches(NotificationCentre::Authorization::authorized);
            if (!workers.waiting.empty()) workers.run();
        } while (loop.runPosted() > 0 || !workers.waiting.empty());
    }
    /// A state that has been through its first two scans.
    void makeSettled() {
        make();
        settle();
        ASSERT_TRUE(state->snapshot());
    }
    /// Scans as after a change of the logs.
    void rescan() {
        state->refresh();
        settle();
    }
    /// Looks at Claude's status file when it is time.
    void look() {
        loop.pass(20);
        settle();
    }
    std::vector<std::string> postedTitles() const {
        std::vector<std::string> titles;
        for (const auto& notification : notifications.posted)
            titles.push_back(notification.title);
        return titles;
    }
    std::size_t sessionCount() const { return state->snapshot()->sessions.size(); }

    TempFolder home;
    Instant now = start;
    bool updateAvailable = false;
    std::shared_ptr<FakePreferences> preferences = std::make_shared<FakePreferences>();
    FakeMainLoop loop;
    FakeWorkers workers;
    FakeNotificationCentre notifications;
    std::vector<std::string> watched;
    FakeFileEvents* events = nullptr;
    std::latch eventsMade{1};
    std::unique_ptr<AppState> state;

private:
    std::int64_t used_ = 0;
};

}  // namespace ledgerfern::test
