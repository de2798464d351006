#include <gtest/gtest.h>

#include <deque>
#include <vector>

#include "Foundation/FileEvents.h"

namespace ledgerfern {
namespace {

/// Events at given times, in a time that passes only while somebody waits. Stopped at `end`.
class ScriptedEvents final : public FileEvents {
public:
    ScriptedEvents(std::deque<double> events, double end) : events_(std::move(events)), end_(end) {}

    Outcome wait(std::optional<double> seconds) override {
        const double until = seconds ? now_ + *seconds : end_;
        if (!events_.empty() && events_.front() <= until && events_.front() < end_) {
            now_ = std::max(now_, events_.front());
            events_.pop_front();
            return Outcome::event;
        }
        now_ = std::min(until, end_);
        return now_ < end_ ? Outcome::timeout : Outcome::stopped;
    }
    void stop() override { end_ = now_; }

    double now() const { return now_; }
    /// As a change does that takes its time.
    void pass(double seconds) { now_ += seconds; }

private:
    std::deque<double> events_;
    double end_;
    double now_ = 0;
};

/// When `onChange` was called.
std::vector<double> changesOf(ScriptedEvents events) {
    std::vector<double> times;
    runDebounced(events, [&] { times.push_back(events.now()); });
    return times;
}

std::deque<double> spaced(int count, double start, double distance) {
    std::deque<double> times;
    for (int i = 0; i < count; ++i)
        times.push_back(start + i * distance);
    return times;
}

TEST(Debounce, tellsOfABurstOnceAfterItsLastEvent) {
    const std::deque<double> burst = spaced(100, 5, 0.01);
    EXPECT_EQ(changesOf({burst, 1000}), std::vector<double>{burst.back() + 1.5});
}

TEST(Debounce, tellsOfNothingWhileEventsComeOneASecond) {
    EXPECT_EQ(changesOf({spaced(60, 1, 1), 1000}), std::vector<double>{61.5});
    EXPECT_EQ(changesOf({spaced(60, 1, 1), 60.5}), std::vector<double>());
}

TEST(Debounce, knowsNoLongestWait) {
    EXPECT_EQ(changesOf({spaced(100'000, 0, 1.4), 139'000}), std::vector<double>());
}

TEST(Debounce, tellsOfEachChangeThatAQuietSpellFollows) {
    EXPECT_EQ(changesOf({{1, 2.6, 10}, 1000}), (std::vector<double>{2.5, 4.1, 11.5}));
}

TEST(Debounce, tellsOfNothingWithoutEvents) {
    EXPECT_EQ(changesOf({{}, 1000}), std::vector<double>());
}

TEST(Debounce, tellsOfNothingWhenItIsStoppedDuringTheQuietSpell) {
    EXPECT_EQ(changesOf({{1}, 2.4}), std::vector<double>());
    EXPECT_EQ(changesOf({{1}, 2.6}), std::vector<double>{2.5});
}

TEST(Debounce, waitsAgainForWhatChangesWhileAChangeIsTold) {
    ScriptedEvents events({1, 3}, 1000);
    std::vector<double> times;
    runDebounced(events, [&] {
        times.push_back(events.now());
        events.pass(4);
    });
    EXPECT_EQ(times, (std::vector<double>{2.5, 8}));
}

TEST(Debounce, endsWhereAChangeStopsIt) {
    ScriptedEvents events({1, 5}, 1000);
    int calls = 0;
    runDebounced(events, [&] {
        ++calls;
        events.stop();
    });
    EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace ledgerfern
