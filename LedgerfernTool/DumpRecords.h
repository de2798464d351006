#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/JsonWriter.h"
#include "Foundation/UnicodeText.h"
#include "UsageRecords/SessionResult.h"

/// The records as they stand in documents.
namespace ledgerfern::DumpRecords {

/// What a document says of a session that isn't in its record.
struct SessionText {
    std::string id;
    std::string displayName;
    std::string_view kind;
    double cost;
};

/// Null where absent, or beyond what a document can hold.
void writeNumber(JsonWriter& json, std::optional<double> number);
void writeTotals(JsonWriter& json, const UsageTotals& totals);
void writeToolStat(JsonWriter& json, const ToolStat& stat);
/// Null where absent.
void writeRateLimit(JsonWriter& json, const std::optional<RateLimitInfo>& info);
void writeSession(JsonWriter& json, const SessionResult& session, const SessionText& text);
/// The same without the requests, but with the sums that a row has.
void writeSessionRow(JsonWriter& json, const SessionResult& session, const SessionText& text);
/// An array of the requests from `first` on.
void writeRequests(JsonWriter& json, const RequestList& requests, std::size_t first);

/// An object of the map's entries, each value written by `write`. Keys may be any bytes: they are put in
/// order as they are written, and of keys that differ only in bytes that can't be written, the last one's
/// value stands.
template <class Value, class Write>
void writeMap(JsonWriter& json, const std::map<std::string, Value>& map, Write write) {
    std::map<std::string, const Value*> named;
    for (const auto& [key, value] : map)
        named.insert_or_assign(repairedUtf8(key), &value);
    json.beginObject();
    for (const auto& [key, value] : named) {
        json.key(key);
        write(*value);
    }
    json.endObject();
}

}  // namespace ledgerfern::DumpRecords
