#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Analytics/UsageSummary.h"
#include "Foundation/JsonWriter.h"
#include "Scope.h"

/// The documents of the commands for people.
namespace ledgerfern {

/// The members of an object, by their keys, each written by its function.
using JsonMembers = std::map<std::string_view, std::function<void(JsonWriter&)>>;

/// A member's value: a text, a number, a flag, or one of those that may be absent.
template <class T>
std::function<void(JsonWriter&)> jsonValue(T value) {
    return [value = std::move(value)](JsonWriter& json) { json.value(value); };
}

void writeObject(JsonWriter& json, const JsonMembers& members);

/// A row: its name under `nameKey`, its tokens, requests, cost (0 without a price) and, where `hasSessions`,
/// the number of its sessions, with `more` members.
void writeUsageRow(JsonWriter& json, std::string_view nameKey, const UsageRow& row, bool hasSessions,
                   JsonMembers more = {});
/// An array of rows, each under `nameKey`.
std::function<void(JsonWriter&)> usageRows(std::string_view nameKey, std::vector<UsageRow> rows);

/// A cycle with its first and last day; all three null where there is no key.
void writeCycle(JsonWriter& json, const std::optional<std::string>& key, const UsageRow& row);

/// The document with `content` and what tells the scope, with a line feed at its end.
std::string jsonDocument(const ScopedScan& scoped, JsonMembers content);

}  // namespace ledgerfern
