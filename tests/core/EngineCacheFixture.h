#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ClaudeLog.h"
#include "CodexLog.h"
#include "Engine/Engine.h"
#include "FileCache/CachedFile.h"
#include "Foundation/Sqlite.h"
#include "TempFolder.h"

namespace ledgerfern::test {

/// Engines over one root of each agent and one cache file, which come and go as the program's runs do.
///
/// A file that is disguised has other bytes behind the same size and time: its old numbers show that it
/// wasn't read.
class EngineCacheFixture : public testing::Test {
protected:
    static constexpr Instant now = 1772400000;  // 2026-03-01 21:20 UTC
    static constexpr double longAgo = 1000, recently = 3000;
    using Inputs = std::map<std::string, std::int64_t>;
    using Names = std::set<std::string>;

    /// What a row says beside its record; `number` is another one each time that the row is written.
    struct Row {
        std::int64_t size = 0, mtime = 0, consumed = 0, number = 0;
        std::string tool;
        bool wasUsable = false;
        std::optional<std::string> sessionId;

        bool operator==(const Row&) const = default;
    };
    using Rows = std::map<std::string, Row>;  // by name

    std::string database() const { return home / "cache.sqlite"; }
    std::vector<ToolRoot> roots() const {
        return {{home / "codex", ToolKind::codex}, {home / "claude", ToolKind::claudeCode}};
    }
    Engine newEngine() const { return Engine(roots(), fixedClock(now), 2, database()); }
    /// The event happens when the engine's first scan has read the largest file, and none of the others.
    Engine engineInterruptedBy(const std::function<void()>& event) const {
        const auto hasHappened = std::make_shared<bool>(false);
        const Clock clock = [=] {
            if (!std::exchange(*hasHappened, true)) event();
            return now;
        };
        return Engine(roots(), clock, 1, database());
    }
    static ScanOptions cached() {
        ScanOptions options;
        options.useCache = true;
        return options;
    }
    static ScanOptions quick() {
        ScanOptions options = cached();
        options.quickCutoff = (longAgo + recently) / 2;
        return options;
    }
    /// One run of the program.
    Snapshot run(const ScanOptions& options = cached()) const { return newEngine().rescan(options); }

    /// A log whose session has so many input tokens; equally long for numbers of as many digits.
    static std::string codexLog(std::int64_t input) {
        return CodexLog().meta().tokens(usage(input, 0, 10)).text;
    }
    static std::string claudeLog(std::int64_t input) {
        return ClaudeLog().user("Fix it", {{"sessionId", "s1"}}).assistant("r1", claudeUsage(input, 10)).text;
    }
    void write(const std::string& name, const std::string& text, double mtime = longAgo) const {
        setModified(home.write(name, text), mtime);
    }
    void append(const std::string& name, const std::string& text, double mtime) const {
        home.append(name, text);
        setModified(home / name, mtime);
    }
    void disguise(const std::string& name, const std::string& text) const {
        const auto time = std::filesystem::last_write_time(home / name);
        ASSERT_EQ(std::filesystem::file_size(home / name), text.size());
        home.write(name, text);
        std::filesystem::last_write_time(home / name, time);
    }
    void remove(const std::string& name) const { std::filesystem::remove(home / name); }

    std::string nameOf(const std::string& path) const { return path.substr(home.path().size() + 1); }
    /// Input tokens of each session in the snapshot, by name.
    Inputs inputs(const Snapshot& snapshot) const {
        Inputs result;
        for (const SessionPointer& session : snapshot.sessions) {
            const bool isNew = result.emplace(nameOf(session->path), session->totals.inputTokens).second;
            EXPECT_TRUE(isNew) << session->path << " is there twice";
        }
        return result;
    }
    static std::int64_t files(const Snapshot& snapshot, ToolKind kind) {
        const auto entry = snapshot.filesPerTool.find(kind);
        return entry == snapshot.filesPerTool.end() ? 0 : entry->second;
    }

    Rows rows() const {
        Rows result;
        auto opened = SqliteDatabase::open(database());
        auto statement = opened->prepare("SELECT path, size, mtime, consumed, rowid, tool, blob FROM files");
        if (!statement) return result;
        while (statement->step() == SqliteStatement::Step::row) {
            const auto number = [&](int column) { return statement->integer(column).value(); };
            const auto file = CachedFileDecoder().decode(std::string(statement->blob(6).value())).value();
            result[nameOf(std::string(statement->text(0).value()))] = {
                number(1),      number(2),     number(3), number(4), std::string(statement->text(5).value()),
                file.wasUsable, file.sessionId};
        }
        return result;
    }
    Names rowNames() const {
        Names result;
        for (const auto& [name, row] : rows())
            result.insert(name);
        return result;
    }
    /// The names of rows that have been written since, or weren't there.
    Names writtenSince(const Rows& before) const {
        Names result;
        for (const auto& [name, row] : rows())
            if (const auto old = before.find(name); old == before.end() || old->second != row)
                result.insert(name);
        return result;
    }

    TempFolder home;
};

}  // namespace ledgerfern::test
