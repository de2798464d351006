#include <array>
#include <csignal>
#include <random>

#include "core/FileCacheFixture.h"
#include "core/Kills.h"
#include "core/OtherProgram.h"

namespace ledgerfern {
namespace {

using FileCacheProcessesTest = FileCacheFixture;

constexpr std::size_t pathCount = 5;

std::string pathOf(std::int64_t version) {
    return "/logs/" + std::to_string(version % static_cast<std::int64_t>(pathCount));
}

/// Of some versions a file isn't written but removed.
bool removes(std::int64_t version) {
    return version % 4 == 3;
}

/// A process that writes or removes one row after the other, and a byte into a pipe for each, a hundred
/// times. Now and then it opens the store anew, which brings the log into the database.
class Writer {
public:
    /// Returns as soon as it is about to open the store.
    Writer(const std::string& database, std::int64_t firstVersion) {
        std::array<int, 2> pipe{};
        check(::pipe(pipe.data()) == 0, "no pipe for a test");
        process_ = ::fork();
        check(process_ >= 0, "no process for a test");
        if (process_ == 0) writeRows(database, firstVersion, pipe[1]);
        ::close(pipe[1]);
        written_ = pipe[0];
        await(1);
    }
    ~Writer() {
        ::close(written_);
        ::waitpid(process_, nullptr, 0);
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    /// Waits for so many rows more.
    void await(std::size_t rows) const {
        char byte = 0;
        for (; rows > 0; --rows)
            check(::read(written_, &byte, 1) == 1, "a test's process ended before it was to");
    }
    void kill() const { ::kill(process_, SIGKILL); }
    /// How many rows have been written beside those that were waited for. Ask when it is dead.
    std::size_t rest() const {
        std::size_t rows = 0;
        for (char byte = 0; ::read(written_, &byte, 1) == 1;)
            ++rows;
        return rows;
    }

private:
    static void tell(int pipe) {
        if (::write(pipe, "", 1) != 1) ::_exit(1);
    }

    /// What is to be written is made before, so that a kill finds the process at the database.
    [[noreturn]] static void writeRows(const std::string& database, std::int64_t first, int pipe) {
        constexpr std::int64_t rows = 100;
        std::vector<EncodedFile> files;
        for (std::int64_t version = first; version < first + rows; ++version)
            files.push_back(encode(fileOfVersion(pathOf(version), version)).value());
        tell(pipe);
        std::optional<FileCacheStore> store;
        for (std::int64_t i = 0; i < rows; ++i) {
            if (i % 11 == 10) store.reset();
            if (!store) store.emplace(database);
            if (removes(first + i))
                store->remove({pathOf(first + i)});
            else
                store->upsert(files[static_cast<std::size_t>(i)], stampOfVersion(first + i));
            tell(pipe);
        }
        while (true)
            ::pause();
    }

    pid_t process_ = -1;
    int written_ = -1;
};

/// Lives and dies, and tells the last version that it has written for certain. The less it is let to do, the
/// likelier it dies while it makes the database.
std::int64_t lastOfKilled(const std::string& database, std::int64_t firstVersion, std::size_t mostRows,
                          std::mt19937& random) {
    const Writer writer(database, firstVersion);
    const std::size_t awaited = random() % (mostRows + 1);
    writer.await(awaited);
    // Somewhere within the next rows.
    spin(random, 200'000);
    writer.kill();
    return firstVersion - 1 + static_cast<std::int64_t>(awaited + writer.rest());
}

TEST_F(FileCacheProcessesTest, aKillLeavesEachRowOldOrNew) {
    std::mt19937 random(3);
    std::int64_t version = 1;
    Versions expected;
    const auto expect = [&] {
        if (removes(version))
            expected.erase(pathOf(version));
        else
            expected[pathOf(version)] = version;
        ++version;
    };
    for (int round = 0; round < kills() && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        const bool isNew = round % 3 == 0;
        if (isNew) {
            forgetDatabase();
            expected.clear();
        }
        const std::int64_t last = lastOfKilled(database(), version, isNew ? 1 : 50, random);
        while (version <= last)
            expect();
        const Versions found = versions();
        EXPECT_EQ(query("PRAGMA integrity_check"), std::vector<std::string>{"ok"});
        // The row that was under way may be there or not.
        if (found != expected) expect();
        EXPECT_EQ(found, expected);
    }
}

/// A process that waits until the pipe is closed, writes so many rows, and ends.
pid_t startWriter(const std::string& database, const std::string& folder, std::size_t rows,
                  const std::array<int, 2>& start) {
    const pid_t process = ::fork();
    check(process >= 0, "no process for a test");
    if (process > 0) return process;
    ::close(start[1]);
    char byte = 0;
    if (::read(start[0], &byte, 1) != 0) ::_exit(1);
    {
        FileCacheStore store(database);
        for (std::size_t i = 0; i < rows; ++i)
            upsertVersion(store, folder + std::to_string(i), 5);
    }
    ::_exit(0);
}

TEST_F(FileCacheProcessesTest, twoProcessesMakeTheDatabaseAtOnce) {
    constexpr std::size_t rows = 5;
    for (int round = 0; round < 20 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        forgetDatabase();
        std::array<int, 2> start{};
        check(::pipe(start.data()) == 0, "no pipe for a test");
        const std::array writers = {startWriter(database(), "/one/", rows, start),
                                    startWriter(database(), "/two/", rows, start)};
        ::close(start[0]);
        ::close(start[1]);
        for (const pid_t writer : writers) {
            int status = -1;
            EXPECT_EQ(::waitpid(writer, &status, 0), writer);
            EXPECT_EQ(status, 0);
        }
        const Versions found = versions();
        EXPECT_EQ(found.size(), 2 * rows);
        for (const auto& [path, version] : found)
            EXPECT_EQ(version, 5) << path;
        EXPECT_EQ(query("PRAGMA integrity_check"), std::vector<std::string>{"ok"});
    }
}

TEST_F(FileCacheProcessesTest, aReaderSeesWholeRowsWhileAnotherProcessWrites) {
    std::int64_t version = 0;
    const OtherProgram program([this] { return store(); },
                               [&](FileCacheStore& opened) {
                                   for (; version < 20; ++version)
                                       upsertVersion(opened, pathOf(version), version);
                                   return opened.isOpen();
                               },
                               [&](FileCacheStore& opened) {
                                   upsertVersion(opened, pathOf(version), version);
                                   ++version;
                                   return true;
                               });
    ASSERT_TRUE(program.isReady());
    FileCacheStore reader = store();
    Versions before;
    std::int64_t changes = 0;
    for (int round = 0; changes < 50 && !HasFailure(); ++round) {
        const Versions found = versionsIn(reader);
        EXPECT_EQ(found.size(), pathCount);
        for (const auto& [path, now] : found) {
            EXPECT_GE(now, before[path]) << path << " in round " << round;
            if (before[path] != now) ++changes;
        }
        before = found;
    }
}

TEST_F(FileCacheProcessesTest, twoProcessesWriteWithoutLosingARow) {
    store();
    constexpr std::size_t rows = 100;
    std::size_t done = 0;
    const OtherProgram program(
        [this] { return store(); }, [](FileCacheStore& opened) { return opened.isOpen(); },
        [&](FileCacheStore& opened) {
            upsertVersion(opened, "/theirs/" + (done < rows ? std::to_string(done) : "end"), 5);
            ++done;
            return true;
        });
    ASSERT_TRUE(program.isReady());
    FileCacheStore ours = store();
    for (std::size_t i = 0; i < rows; ++i)
        upsertVersion(ours, "/ours/" + std::to_string(i), 6);
    Versions found = versionsIn(ours);
    while (!found.contains("/theirs/end"))
        found = versionsIn(ours);
    EXPECT_EQ(found.size(), 2 * rows + 1);
    for (const auto& [path, version] : found)
        EXPECT_EQ(version, path.starts_with("/ours") ? 6 : 5) << path;
}

}  // namespace
}  // namespace ledgerfern
