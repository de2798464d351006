#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "FileCache/CachedFile.h"
#include "RandomWorld.h"

namespace ledgerfern {
namespace {

using test::between;
using test::oneIn;

TEST(RestoredSessionsProperty, aSecondRunHasTheNumbersOfTheFirst) {
    EXPECT_TRUE(rc::check("sessions are as read, but for what the cache drops", [] {
        const test::World world;
        ScanOptions options;
        options.useCache = true;
        const auto run = [&](Instant present) {
            return Engine({{world.home / "codex", ToolKind::codex},
                           {world.home / "claude", ToolKind::claudeCode}},
                          fixedClock(present), 1, world.home / "cache.sqlite")
                .rescan(options);
        };
        const Snapshot first = run(test::firstLogInstant);
        const Snapshot second = run(test::firstLogInstant + 1);
        RC_ASSERT(first.sessions.size() == world.snapshot.sessions.size());
        RC_ASSERT(second.sessions.size() == first.sessions.size());
        RC_ASSERT(second.aggregates.totals == first.aggregates.totals);
        RC_ASSERT(second.filesPerTool == first.filesPerTool);
        std::map<std::string, SessionPointer> restored;
        for (const SessionPointer& session : second.sessions)
            restored[session->path] = session;
        for (const SessionPointer& session : first.sessions) {
            const CachedFile kept = CachedFile::of(*session, std::nullopt, true, test::firstLogInstant);
            RC_ASSERT(*restored.at(session->path) == *kept.toSessionResult());
        }
    }));
}

/// Logs that change at random, and an engine with a cache that follows them, now and then replaced by that of
/// a new run.
class ChangingWorld {
public:
    /// Something happens to a file, or to the engine.
    void step() {
        if (names_.empty() || oneIn(4)) {
            add();
            return;
        }
        const std::string name = *rc::gen::elementOf(names_);
        switch (between(0, 6)) {
            case 0:
                engine_ = newEngine();
                break;
            case 1:
                remove(name);
                break;
            case 2:  // by another log; a live state would take it for the old one if no scan were between
                remove(name);
                scan();
                put(name);
                break;
            default:
                write(name);
        }
    }

    void scan() {
        if (oneIn(2))
            scanQuickly();
        else
            scanFully();
    }
    void scanFully() {
        ScanOptions options;
        options.useCache = !oneIn(5);
        const Sessions found = sessionsOf(engine_->rescan(options));
        RC_ASSERT(found == asOnDisk());
    }

private:
    using Sessions = std::map<std::string, SessionResult>;  // by path
    static constexpr double longAgo = 1000, cutoff = 500'000, recently = 1'000'000;

    std::unique_ptr<Engine> newEngine() const {
        return std::make_unique<Engine>(roots(), fixedClock(test::firstLogInstant), 1,
                                        home_ / "cache.sqlite");
    }
    std::vector<ToolRoot> roots() const {
        return {{home_ / "codex", ToolKind::codex}, {home_ / "claude", ToolKind::claudeCode}};
    }

    void add() {
        const std::string number = std::to_string(++lastNumber_) + ".jsonl";
        put(oneIn(2) ? "codex/" + number : "claude/" + number);
    }
    /// A log of its own at the path.
    void put(const std::string& name) {
        texts_[name] =
            name.starts_with("codex") ? test::RandomCodexLog().text() : test::RandomClaudeLog().text();
        if (std::find(names_.begin(), names_.end(), name) == names_.end()) names_.push_back(name);
        write(name);
    }
    /// More of the log than before, or less: any of its beginnings, so that a size stands for one content.
    void write(const std::string& name) {
        const std::string& text = texts_.at(name);
        const std::size_t size = oneIn(3) ? text.size() : between<std::size_t>(0, text.size() + 1);
        test::setModified(home_.write(name, text.substr(0, size)),
                          (oneIn(2) ? longAgo : recently) + ++changes_);
    }
    void remove(const std::string& name) {
        std::filesystem::remove(home_ / name);
        std::erase(names_, name);
    }

    /// What is recent is as on the disk, and what is old may be as it was.
    void scanQuickly() {
        ScanOptions options;
        options.useCache = true;
        options.quickCutoff = cutoff;
        const Sessions found = sessionsOf(engine_->rescan(options));
        const Sessions onDisk = asOnDisk();
        for (const std::string& name : names_) {
            const std::string path = home_ / name;
            if (static_cast<double>(statFile(path)->mtimeMs) / 1000 < cutoff) continue;
            RC_ASSERT(found.contains(path) == onDisk.contains(path));
            if (found.contains(path)) RC_ASSERT(found.at(path) == onDisk.at(path));
        }
        for (const auto& [path, session] : found)
            RC_ASSERT(std::filesystem::exists(path));
    }

    Sessions asOnDisk() const {
        return sessionsOf(Engine(roots(), fixedClock(test::firstLogInstant), 1).rescan());
    }
    /// As the cache keeps them. Codex's labels are left out: those that a log brings late are missing where
    /// it was read in steps.
    static Sessions sessionsOf(const Snapshot& snapshot) {
        Sessions sessions;
        for (const SessionPointer& session : snapshot.sessions) {
            SessionResult kept =
                *CachedFile::of(*session, std::nullopt, true, test::firstLogInstant).toSessionResult();
            if (kept.tool == ToolKind::codex) kept.tools = {};
            sessions[kept.path] = std::move(kept);
        }
        RC_ASSERT(sessions.size() == snapshot.sessions.size());
        return sessions;
    }

    test::TempFolder home_;
    std::map<std::string, std::string> texts_;  // whole, by name
    std::vector<std::string> names_;            // of the files that are there
    int lastNumber_ = 0, changes_ = 0;
    std::unique_ptr<Engine> engine_ = newEngine();
};

TEST(RestoredSessionsProperty, whateverHappensAFullScanFindsWhatIsOnTheDisk) {
    EXPECT_TRUE(rc::check("any changes, scans and runs in any order", [] {
        ChangingWorld world;
        for (int steps = between(1, 13); steps > 0; --steps) {
            world.step();
            if (oneIn(2)) world.scan();
        }
        world.scanFully();
    }));
}

}  // namespace
}  // namespace ledgerfern
