#include "JsonDocument.h"

#include "DumpRecords.h"

namespace ledgerfern {

void writeObject(JsonWriter& json, const JsonMembers& members) {
    json.beginObject();
    for (const auto& [key, write] : members) {
        json.key(key);
        write(json);
    }
    json.endObject();
}

void writeUsageRow(JsonWriter& json, std::string_view nameKey, const UsageRow& row, bool hasSessions,
                   JsonMembers more) {
    more.emplace(nameKey, jsonValue(row.name));
    more.emplace("total_tokens", jsonValue(row.tokens));
    more.emplace("total_reqs", jsonValue(row.requests));
    more.emplace("cost_usd",
                 [&](JsonWriter& writer) { DumpRecords::writeNumber(writer, row.cost.value_or(0)); });
    if (hasSessions) more.emplace("sessions_analyzed", jsonValue(row.sessions));
    writeObject(json, more);
}

std::function<void(JsonWriter&)> usageRows(std::string_view nameKey, std::vector<UsageRow> rows) {
    return [nameKey, rows = std::move(rows)](JsonWriter& json) {
        json.beginArray();
        for (const UsageRow& row : rows)
            writeUsageRow(json, nameKey, row, true);
        json.endArray();
    };
}

void writeCycle(JsonWriter& json, const std::optional<std::string>& key, const UsageRow& row) {
    const auto days = key ? cycleDays(*key) : std::nullopt;
    writeUsageRow(json, "key", row, true,
                  {{"key", jsonValue(key)},
                   {"first_day", jsonValue(days ? std::optional(days->first) : std::nullopt)},
                   {"last_day", jsonValue(days ? std::optional(days->last) : std::nullopt)}});
}

std::string jsonDocument(const ScopedScan& scoped, JsonMembers content) {
    const auto& tool = scoped.selection.tool;
    content.emplace("schema", jsonValue(std::int64_t{1}));
    content.emplace("scope", jsonValue(scoped.scope));
    content.emplace("search", jsonValue(scoped.selection.search));
    content.emplace("tool", jsonValue(tool ? std::optional(rawValue(*tool)) : std::nullopt));
    std::string text;
    JsonWriter json(text);
    writeObject(json, content);
    return text + "\n";
}

}  // namespace ledgerfern
