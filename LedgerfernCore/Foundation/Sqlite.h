#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace ledgerfern {

/// A prepared statement, finalised with its owner. One that outlives its database keeps it open.
///
/// Parameters are numbered from 1 and columns from 0, as SQLite has them; a number that the statement doesn't
/// have is a fault.
class SqliteStatement {
public:
    enum class Step { row, done, error };
    enum class Type { null, integer, real, text, blob };

    /// The values are copied, and stay until they are bound anew. One that the database refuses makes the
    /// next step an error.
    void bindText(int parameter, std::string_view text);
    void bindBlob(int parameter, std::string_view bytes);
    void bindInteger(int parameter, std::int64_t value);
    void bindDouble(int parameter, double value);
    void bindNull(int parameter);

    Step step();
    /// Makes the statement ready to be stepped from its start.
    void reset();

    /// As what the column of the present row is stored. Not to be asked once it was read as another type.
    Type type(int column);
    /// The column of the present row, in SQLite's conversion where it is of another type; absent for NULL.
    /// Texts and blobs are views until the next step or reset, or until the column is read as another type; a
    /// text needn't be valid UTF-8.
    std::optional<std::string_view> text(int column);
    std::optional<std::string_view> blob(int column);
    std::optional<std::int64_t> integer(int column);
    std::optional<double> real(int column);

private:
    friend class SqliteDatabase;
    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const;
    };

    explicit SqliteStatement(sqlite3_stmt* statement) : statement_(statement) {}
    void noteBinding(int status);
    bool isNull(int column) { return type(column) == Type::null; }

    std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
    bool bindingFailed_ = false;
};

/// An SQLite database, closed with its owner. One thread at a time uses it and its statements.
///
/// A path is a path of bytes, whatever it looks like: neither a URI nor one of SQLite's special names.
class SqliteDatabase {
public:
    /// For reading and writing, created where it is missing. Each is absent where the database can't be
    /// opened; whether the file is one shows when the first statement is run.
    static std::optional<SqliteDatabase> open(const std::string& path);
    static std::optional<SqliteDatabase> openReadOnly(const std::string& path);
    /// For reading a file that nobody changes meanwhile. Takes no locks, looks for no journal, and creates
    /// nothing.
    static std::optional<SqliteDatabase> openImmutable(const std::string& path);

    /// How long a statement waits for the lock of another connection before it fails; not at all unless this
    /// is set.
    void setPatience(std::chrono::milliseconds patience);
    /// After a failure: whether another connection's lock was the reason.
    bool isLocked() const;

    /// Runs statements that take no parameters; false where one fails.
    bool execute(const std::string& sql);
    /// Absent where the statement isn't valid for this database.
    std::optional<SqliteStatement> prepare(std::string_view sql);

private:
    struct Closer {
        void operator()(sqlite3* database) const;
    };

    explicit SqliteDatabase(sqlite3* database) : database_(database) {}
    static std::optional<SqliteDatabase> open(const std::string& name, int flags);

    std::unique_ptr<sqlite3, Closer> database_;
};

}  // namespace ledgerfern
