#include <chrono>
#include <functional>
#include <latch>
#include <memory>
#include <string>

#include "AppStateFixture.h"
#include "Application/ThreadWorkers.h"

// With workers that are threads, as in the application.

namespace ledgerfern {
namespace {

using test::AppStateFixture;
using test::CodexLog;
using test::usage;

class AppStateThreadsTest : public AppStateFixture {
protected:
    void TearDown() override {
        state.reset();
        EXPECT_TRUE(threads.waitUntilIdle(std::chrono::minutes(1)));
    }
    /// Takes in what is posted until that is so.
    void turnUntil(const std::function<bool()>& isSo) {
        while (!isSo())
            loop.waitForPosted();
    }
    /// Goes on to the second scan, which is under way then.
    void passTheFirst() {
        turnUntil([this] { return notifications.fetchCount == 1; });
        notifications.answerFetches(NotificationCentre::Authorization::authorized);
    }

    ThreadWorkers threads;
    std::latch isListed{1};
};

TEST_F(AppStateThreadsTest, scansTheRestNotBeforeChangesAreNoticed) {
    writeCodex("old.jsonl", codexLog(12), start - 7 * 86'400);
    AppState::Environment slow = environment(threads);
    slow.fileEvents = [this](const auto&) {
        isListed.wait();
        return std::make_unique<FakeFileEvents>();
    };
    state = std::make_unique<AppState>(slow);
    passTheFirst();
    EXPECT_FALSE(threads.waitUntilIdle(std::chrono::milliseconds(20)));
    EXPECT_EQ(loop.runPosted(), 0);
    EXPECT_EQ(sessionCount(), 0U);
    isListed.count_down();
    turnUntil([this] { return sessionCount() == 1; });
}

TEST_F(AppStateThreadsTest, goesOnWhileItsWorkersRun) {
    constexpr int rounds = 20;
    writeCodex("a.jsonl", codexLog(1));
    state = std::make_unique<AppState>(environment(threads));
    passTheFirst();
    eventsMade.wait();
    int answers = 0;
    for (int round = 1; round <= rounds; ++round) {
        home.append(".codex/sessions/a.jsonl", CodexLog().tokens(usage(1000 + 100 * round, 0, 10)).text);
        writeCodex(std::to_string(round) + ".jsonl", codexLog(1));
        writeStatus(round, 1, start + round);
        state->refresh();
        events->happen();
        state->fullResult(codexFile("a.jsonl"), [&](const auto& result) { answers += result ? 1 : 0; });
        loop.pass(20);
        loop.waitForPosted();
    }
    turnUntil([&] {
        return sessionCount() == rounds + 1 && answers == rounds && !state->refreshInFlight() &&
               state->claudeFiveHour()->usedPercent == rounds;
    });
    EXPECT_EQ(state->statusText(), "20%");
}

TEST_F(AppStateThreadsTest, endsWhileItsWorkersRun) {
    writeCodex("a.jsonl", codexLog(1));
    state = std::make_unique<AppState>(environment(threads));
    passTheFirst();
    eventsMade.wait();
    state->refresh();
    events->happen();
    state->fullResult(codexFile("a.jsonl"),
                      [](const auto&) { ADD_FAILURE() << "nobody is there to answer"; });
    state.reset();
    EXPECT_TRUE(threads.waitUntilIdle(std::chrono::minutes(1)));
    loop.runPosted();
}

}  // namespace
}  // namespace ledgerfern
