#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/JsonReader.h"
#include "UsageRecords/SessionResult.h"

namespace ledgerfern {

/// What the cache keeps of one log file: its session as it comes back, which isn't quite as it was parsed. A
/// request has no `dominant`, has a time in any case, and counters above 2^53 have lost their last bits.
struct CachedFile {
    /// Of the record's form. Rows of an earlier one are passed over.
    static constexpr std::int64_t version = 4;

    SessionPointer session;                ///< Never null.
    std::optional<std::string> sessionId;  ///< At parse time; not restored into the session.
    bool wasUsable = false;                ///< Whether the session is to be published.
    std::optional<std::int64_t> v = version;

    /// A request without a time gets `now`, the instant at which the record is built.
    static CachedFile of(const SessionResult& result, std::optional<std::string> sessionId, bool wasUsable,
                         Instant now);

    /// Costs nothing: the session never changes, and is shared.
    const SessionPointer& toSessionResult() const { return session; }
};

/// A record as a row holds it. Any thread can make it, so that the one that writes it needn't.
struct EncodedFile {
    std::string path;  ///< As bytes; in the JSON, those that aren't UTF-8 are U+FFFD.
    ToolKind tool = ToolKind::codex;
    std::string json;
};

/// Absent where a number that JSON is to hold isn't finite.
std::optional<EncodedFile> encode(const CachedFile& file);

/// Reads records, one at a time, into memory that is used again for the next. Each thread needs its own.
///
/// A record is read as it was meant or not at all. Absent is one that isn't a JSON object, that lacks a key
/// which is always written, that has another type under a known key (unknown ones may hold anything), whose
/// requests aren't base64, or that has a number which doesn't fit 64 bits. Null counts as missing. Any
/// version will do here.
class CachedFileDecoder {
public:
    /// The record in the row of the file at `path`. The text needs `JsonReader::padding` readable bytes
    /// behind it.
    std::optional<CachedFile> decodePadded(std::string_view json, std::string_view path);
    /// The record by itself.
    std::optional<CachedFile> decode(std::string_view json);

private:
    std::optional<CachedFile> fileOf(const OptionalJson& value, std::optional<std::string_view> path);

    JsonReader reader_;
    std::string packed_;
};

}  // namespace ledgerfern
