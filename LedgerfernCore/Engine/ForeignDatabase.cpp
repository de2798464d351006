#include "Engine/ForeignDatabase.h"

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "Foundation/DelayedSignals.h"
#include "Foundation/FileStat.h"
#include "Foundation/Files.h"
#include "Foundation/TemporaryFolder.h"

// To open a database is to lock it, and SQLite may write to it too: it takes over the work that a journal
// holds, and puts an index beside a write-ahead log. So:
//
// - A database without a journal is read as one that nobody changes, which touches nothing but its bytes. If
//   it has changed all the same, that reading is void.
// - Otherwise it is copied with its journals, and SQLite does with the copy what it likes. The journals are
//   copied first: all that a write-ahead log is given later is then simply not in the copy. The copy is sound
//   if meanwhile nothing wrote to the database itself, no log was begun anew, and no rollback journal
//   changed.

namespace ledgerfern {

namespace {

constexpr int attempts = 5;
constexpr std::string_view writeAheadLog = "-wal";
constexpr std::string_view rollbackJournal = "-journal";

struct Signature {
    dev_t device;
    ino_t inode;
    std::uint64_t size;
    std::time_t seconds;
    long nanoseconds;

    bool operator==(const Signature&) const = default;
};

/// Absent where there is no regular file.
std::optional<Signature> signature(const std::string& path) {
    struct stat attributes{};
    if (::stat(path.c_str(), &attributes) != 0 || !S_ISREG(attributes.st_mode)) return std::nullopt;
    const std::timespec time = modificationTime(attributes);
    return Signature{attributes.st_dev, attributes.st_ino, static_cast<std::uint64_t>(attributes.st_size),
                     time.tv_sec, time.tv_nsec};
}

/// What must stay the same while the database is read or copied.
struct State {
    std::optional<Signature> database;
    std::optional<Signature> journal;
    std::optional<std::string> logHeader;  ///< It tells one write-ahead log from the next.

    bool operator==(const State&) const = default;
    bool hasJournals() const { return journal || logHeader; }
};

/// Absent where there is no log; empty where nothing has been written to it.
std::optional<std::string> logHeader(const std::string& path) {
    constexpr std::size_t size = 32;
    auto reader = FileReader::open(path);
    if (!reader) return std::nullopt;
    std::string header(size, '\0');
    header.resize(reader->read(header.data(), size));
    return header;
}

State stateOf(const std::string& path) {
    return {signature(path), signature(path + std::string(rollbackJournal)),
            logHeader(path + std::string(writeAheadLog))};
}

/// Where links lead to: SQLite's journals lie beside the file itself. Absent where there is no file.
std::optional<std::string> resolved(const std::string& path) {
    struct Freer {
        void operator()(char* text) const { std::free(text); }
    };
    const std::unique_ptr<char, Freer> result(::realpath(path.c_str(), nullptr));
    if (!result) return std::nullopt;
    return std::string(result.get());
}

/// True where there is no such file, too.
bool copyIfThere(const std::string& from, const std::string& to) {
    auto reader = FileReader::open(from);
    if (!reader) return true;
    std::ofstream copy(to, std::ios::binary);
    std::vector<char> block(1 << 20);
    while (const std::size_t size = reader->read(block.data(), block.size()))
        copy.write(block.data(), static_cast<std::streamsize>(size));
    copy.close();
    return copy.good();
}

bool copyDatabase(const std::string& path, const std::string& copy) {
    for (const std::string_view journal : {writeAheadLog, rollbackJournal})
        if (!copyIfThere(path + std::string(journal), copy + std::string(journal))) return false;
    return copyIfThere(path, copy);
}

/// SQLite takes what is missing of a last page that was cut for zeros, and notices every other cut by itself.
bool hasWholePages(SqliteDatabase& database, const State& state) {
    auto pageSize = database.prepare("PRAGMA page_size");
    if (!pageSize || pageSize->step() != SqliteStatement::Step::row) return false;
    const std::int64_t size = pageSize->integer(0).value_or(0);
    return size > 0 && state.database->size % static_cast<std::uint64_t>(size) == 0;
}

bool readImmutable(const std::string& path, const State& state, const DatabaseReading& reading) {
    auto database = SqliteDatabase::openImmutable(path);
    return database && hasWholePages(*database, state) && reading(*database);
}

/// Absent where the copy isn't sound.
std::optional<bool> readCopy(const std::string& path, const State& before, const DatabaseReading& reading) {
    const DelayedSignals delayed;  // so that an interrupted program leaves no copy behind
    const auto folder = TemporaryFolder::create();
    if (!folder) return false;
    const std::string copy = folder->path() + "/copy.sqlite";
    if (!copyDatabase(path, copy)) return false;
    if (stateOf(path) != before) return std::nullopt;
    auto database = SqliteDatabase::open(copy);
    // The copy needn't outlive a power failure.
    return database && database->execute("PRAGMA synchronous=OFF") && hasWholePages(*database, before) &&
           reading(*database);
}

/// Absent where the database changed meanwhile.
std::optional<bool> tryToRead(const std::string& path, const DatabaseReading& reading) {
    const State before = stateOf(path);
    if (!before.database) return false;
    if (before.hasJournals()) return readCopy(path, before, reading);
    const bool read = readImmutable(path, before, reading);
    if (stateOf(path) != before) return std::nullopt;
    return read;
}

}  // namespace

bool readForeignDatabase(const std::string& path, const DatabaseReading& reading) {
    const auto file = resolved(path);
    for (int i = 0; file && i < attempts; ++i)
        if (const auto read = tryToRead(*file, reading)) return *read;
    return false;
}

}  // namespace ledgerfern
