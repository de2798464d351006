#include "FileCache/CachedRows.h"

#include "Foundation/JsonReader.h"

namespace ledgerfern {

namespace {

// Enough for a worker to be busy for a while, and little beside what the sessions take.
constexpr std::size_t batchBytes = std::size_t{256} << 10;

}  // namespace

RowBatch::Row RowBatch::operator[](std::size_t index) const {
    const Place& place = rows_[index];
    const std::string_view bytes = bytes_;
    return {bytes.substr(place.path, place.blob - place.path), place.stamp,
            bytes.substr(place.blob, place.end - place.blob)};
}

void RowBatch::clear(std::size_t first) {
    rows_.clear();
    first_ = first;
}

void RowBatch::add(std::string_view path, const FileStamp& stamp, std::string_view blob) {
    const std::size_t start = used();
    bytes_.resize(start);
    bytes_.append(path).append(blob);
    rows_.push_back({start, start + path.size(), bytes_.size(), stamp});
    bytes_.append(JsonReader::padding, '\0');
}

bool RowBatch::isFull() const {
    return used() >= batchBytes;
}

bool RowReader::next(RowBatch& batch) {
    const std::lock_guard guard(lock_);
    batch.clear(taken_);
    while (!batch.isFull() && step())
        take(batch);
    taken_ += batch.size();
    return batch.size() > 0;
}

/// A statement that is through would begin anew.
bool RowReader::step() {
    isAtEnd_ = isAtEnd_ || statement_.step() != SqliteStatement::Step::row;
    return !isAtEnd_;
}

void RowReader::take(RowBatch& batch) {
    const auto path = statement_.text(0);
    const auto size = count(1);
    const auto mtime = count(2);
    const auto consumed = count(3);
    if (!path || !size || !mtime || !consumed || statement_.type(4) != SqliteStatement::Type::blob) return;
    const auto blob = statement_.blob(4);
    if (blob && !blob->empty()) batch.add(*path, {*consumed, *size, *mtime}, *blob);
}

std::optional<std::uint64_t> RowReader::count(int column) {
    const auto number = statement_.integer(column);
    if (!number || *number < 0) return std::nullopt;
    return static_cast<std::uint64_t>(*number);
}

}  // namespace ledgerfern
