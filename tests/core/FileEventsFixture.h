#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "Foundation/FileEvents.h"
#include "core/FileFixture.h"

namespace ledgerfern::test {

inline constexpr double patience = 30;  // seconds that an event may take
inline constexpr double never = 1e6;    // for a slow look that doesn't come while a test runs

/// Events of a folder "root", empty at first.
class FileEventsFixture : public FileFixture {
protected:
    using Outcome = FileEvents::Outcome;

    void SetUp() override { makeFolder("root"); }

    /// Starts anew, with no event behind what has happened so far.
    void watch(double slowLook = never) {
        events = fileEvents({path("root")}, slowLook);
        ASSERT_TRUE(events);
    }
    bool hasEvent() const { return events->wait(patience) == Outcome::event; }
    /// Takes all events that there are.
    void settle() const {
        while (events->wait(0) == Outcome::event) {
        }
    }
    /// What has happened so far is told at once, but for a slow look's.
    bool isQuiet() const { return events->wait(0.05) == Outcome::timeout; }
    void append(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary | std::ios::app) << bytes;
    }
    void move(const std::string& from, const std::string& to) const {
        std::filesystem::rename(path(from), path(to));
    }
    void remove(const std::string& name) const { std::filesystem::remove_all(path(name)); }

    /// Whether what is appended to that file is noticed by itself.
    bool follows(const std::string& name) const {
        settle();
        append(name, "more");
        return hasEvent();
    }

    std::unique_ptr<FileEvents> events;
};

}  // namespace ledgerfern::test
