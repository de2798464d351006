#include "Foundation/Sqlite.h"

#include <sqlite3.h>

#include <limits>

#include "Foundation/Check.h"
#include "Foundation/Numbers.h"

namespace ledgerfern {

namespace {

/// SQLite takes a null pointer for NULL, and an empty view may hold one.
const char* data(std::string_view bytes) {
    return bytes.data() == nullptr ? "" : bytes.data();
}

/// A name that can't be one of the special ones, and is no URI where SQLite was built to look for them.
std::string plainName(const std::string& path) {
    return path.starts_with('/') ? path : "./" + path;
}

bool isUriSafe(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || isDigit(c) || c == '/' || c == '-' ||
           c == '_' || c == '.' || c == '~';
}

std::string percentEncoded(const std::string& path) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string result;
    for (const char c : path) {
        if (isUriSafe(c)) {
            result += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            result += '%';
            result += digits[byte >> 4];
            result += digits[byte & 15];
        }
    }
    return result;
}

}  // namespace

void SqliteStatement::Finalizer::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

void SqliteStatement::noteBinding(int status) {
    check(status != SQLITE_RANGE && status != SQLITE_MISUSE, "a parameter that the statement can't take");
    if (status != SQLITE_OK) bindingFailed_ = true;
}

void SqliteStatement::bindText(int parameter, std::string_view text) {
    noteBinding(sqlite3_bind_text64(statement_.get(), parameter, data(text), text.size(), SQLITE_TRANSIENT,
                                    SQLITE_UTF8));
}

void SqliteStatement::bindBlob(int parameter, std::string_view bytes) {
    noteBinding(
        sqlite3_bind_blob64(statement_.get(), parameter, data(bytes), bytes.size(), SQLITE_TRANSIENT));
}

void SqliteStatement::bindInteger(int parameter, std::int64_t value) {
    noteBinding(sqlite3_bind_int64(statement_.get(), parameter, value));
}

void SqliteStatement::bindDouble(int parameter, double value) {
    noteBinding(sqlite3_bind_double(statement_.get(), parameter, value));
}

void SqliteStatement::bindNull(int parameter) {
    noteBinding(sqlite3_bind_null(statement_.get(), parameter));
}

SqliteStatement::Step SqliteStatement::step() {
    if (bindingFailed_) return Step::error;
    const int status = sqlite3_step(statement_.get());
    if (status == SQLITE_ROW) return Step::row;
    return status == SQLITE_DONE ? Step::done : Step::error;
}

void SqliteStatement::reset() {
    sqlite3_reset(statement_.get());
    bindingFailed_ = false;
}

SqliteStatement::Type SqliteStatement::type(int column) {
    check(column >= 0 && column < sqlite3_column_count(statement_.get()),
          "a column that the row doesn't have");
    switch (sqlite3_column_type(statement_.get(), column)) {
        case SQLITE_INTEGER:
            return Type::integer;
        case SQLITE_FLOAT:
            return Type::real;
        case SQLITE_TEXT:
            return Type::text;
        case SQLITE_BLOB:
            return Type::blob;
        default:
            return Type::null;
    }
}

std::optional<std::string_view> SqliteStatement::text(int column) {
    if (isNull(column)) return std::nullopt;
    const auto* const bytes = sqlite3_column_text(statement_.get(), column);
    if (bytes == nullptr) return std::nullopt;
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column));
    return std::string_view(reinterpret_cast<const char*>(bytes), size);
}

std::optional<std::string_view> SqliteStatement::blob(int column) {
    if (isNull(column)) return std::nullopt;
    const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(statement_.get(), column));
    if (bytes == nullptr) return std::string_view();  // how SQLite gives an empty one
    return std::string_view(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column)));
}

std::optional<std::int64_t> SqliteStatement::integer(int column) {
    if (isNull(column)) return std::nullopt;
    return sqlite3_column_int64(statement_.get(), column);
}

std::optional<double> SqliteStatement::real(int column) {
    if (isNull(column)) return std::nullopt;
    return sqlite3_column_double(statement_.get(), column);
}

void SqliteDatabase::Closer::operator()(sqlite3* database) const {
    sqlite3_close_v2(database);
}

std::optional<SqliteDatabase> SqliteDatabase::open(const std::string& name, int flags) {
    sqlite3* handle = nullptr;
    const int status = sqlite3_open_v2(name.c_str(), &handle, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    SqliteDatabase database(handle);  // a failed opening leaves a handle too
    if (status != SQLITE_OK) return std::nullopt;
    return database;
}

std::optional<SqliteDatabase> SqliteDatabase::open(const std::string& path) {
    return open(plainName(path), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
}

std::optional<SqliteDatabase> SqliteDatabase::openReadOnly(const std::string& path) {
    return open(plainName(path), SQLITE_OPEN_READONLY);
}

std::optional<SqliteDatabase> SqliteDatabase::openImmutable(const std::string& path) {
    // The empty authority keeps a path that begins with two slashes from being read as one with a host.
    const std::string scheme = path.starts_with('/') ? "file://" : "file:";
    return open(scheme + percentEncoded(plainName(path)) + "?immutable=1",
                SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
}

void SqliteDatabase::setPatience(std::chrono::milliseconds patience) {
    sqlite3_busy_timeout(database_.get(), static_cast<int>(patience.count()));
}

bool SqliteDatabase::isLocked() const {
    const int primaryCode = sqlite3_errcode(database_.get()) & 0xFF;
    return primaryCode == SQLITE_BUSY || primaryCode == SQLITE_LOCKED;
}

bool SqliteDatabase::execute(const std::string& sql) {
    return sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

std::optional<SqliteStatement> SqliteDatabase::prepare(std::string_view sql) {
    if (sql.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return std::nullopt;
    sqlite3_stmt* statement = nullptr;
    const int size = static_cast<int>(sql.size());
    if (sqlite3_prepare_v2(database_.get(), sql.data(), size, &statement, nullptr) != SQLITE_OK)
        return std::nullopt;
    if (statement == nullptr) return std::nullopt;  // no statement at all in the text
    return SqliteStatement(statement);
}

}  // namespace ledgerfern
