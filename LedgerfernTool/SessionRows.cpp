#include "SessionRows.h"

#include <algorithm>

#include "Analytics/Formats.h"
#include "Analytics/SessionNaming.h"
#include "DumpDocument.h"
#include "DumpRecords.h"
#include "Foundation/Paths.h"
#include "PrintableText.h"
#include "UsageRecords/TSDate.h"
#include "UsageTable.h"
#include "ValueText.h"

namespace ledgerfern {

namespace {

/// True where `a` comes before `b`, apart from ties.
bool isBefore(const SessionRow& a, const SessionRow& b, SessionOrder order) {
    switch (order) {
        case SessionOrder::tokens:
            return a.usage.tokens > b.usage.tokens;
        case SessionOrder::cost:
            return a.usage.cost > b.usage.cost;  // absent is less than any
        case SessionOrder::recent:
            return a.session->lastTs > b.session->lastTs;
        case SessionOrder::name:
            return a.name < b.name;
    }
    return false;
}

std::function<void(JsonWriter&)> instantValue(std::optional<Instant> instant) {
    return [instant](JsonWriter& json) { DumpRecords::writeNumber(json, instant); };
}

void writeRow(JsonWriter& json, const Snapshot& snapshot, const SessionRow& row) {
    const SessionResult& session = *row.session;
    writeUsageRow(json, "path", row.usage, false,
                  {{"display_name", jsonValue(row.name)},
                   {"kind", jsonValue(SessionKind::label(session))},
                   {"last_ts", instantValue(session.lastTs)},
                   {"model", jsonValue(session.model)},
                   {"project", jsonValue(session.project)},
                   {"session_id", jsonValue(sessionIdOf(snapshot, session))},
                   {"started", instantValue(session.started)},
                   {"tool", jsonValue(rawValue(session.tool))}});
}

/// What stands behind the last "-" of the log's name.
std::string_view shortId(std::string_view path) {
    std::string_view name = lastPathComponent(path);
    name = name.substr(0, name.rfind('.'));
    return name.substr(name.rfind('-') + 1);
}

bool areOfThePresentYear(const std::vector<SessionRow>& rows, std::size_t count, Instant now) {
    const auto yearOf = [](Instant instant) { return TSDate::localDayKey(instant).substr(0, 4); };
    return std::all_of(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(count),
                       [&](const SessionRow& row) {
                           return !row.session->lastTs || yearOf(*row.session->lastTs) == yearOf(now);
                       });
}

}  // namespace

std::vector<SessionRow> sessionRows(const ScopedScan& scoped, const SessionList& rows,
                                    const UsageSummary& summary) {
    const Snapshot& snapshot = scoped.scan.snapshot;
    std::vector<SessionRow> result;
    for (std::size_t i = 0; i < rows.size(); ++i)
        result.push_back({rows[i],
                          SessionNaming::displayName(*rows[i], snapshot.sessionIDs, snapshot.threadNames),
                          summary.sessions[i]});
    return result;
}

void sortRows(std::vector<SessionRow>& rows, SessionOrder order) {
    std::stable_sort(rows.begin(), rows.end(), [order](const SessionRow& a, const SessionRow& b) {
        if (isBefore(a, b, order)) return true;
        if (order == SessionOrder::tokens || isBefore(b, a, order)) return false;
        return a.session->path < b.session->path;
    });
}

Table sessionTable(const std::vector<SessionRow>& rows, std::size_t shown, bool hasProjects, Instant now) {
    Table table({{"Sessions", Align::left, 24},
                 {"id", Align::left, std::nullopt, 4},
                 {"project", Align::left, std::nullopt, 5},
                 {"agent", Align::left, std::nullopt, 2},
                 {"model", Align::left, std::nullopt, 1},
                 {"last active", Align::left, std::nullopt, 6},
                 {"tokens", Align::right},
                 {"requests", Align::right, std::nullopt, 3},
                 {"cost", Align::right, std::nullopt, 7}});
    const std::size_t count = std::min(shown, rows.size());
    const std::size_t yearWidth =
        areOfThePresentYear(rows, count, now) ? std::string_view("2026-").size() : 0;
    for (std::size_t i = 0; i < count; ++i) {
        const SessionResult& session = *rows[i].session;
        const UsageRow& usage = rows[i].usage;
        table.addRow({printableName(rows[i].name), printable(shortId(session.path)),
                      hasProjects ? printableName(session.project) : "", SessionKind::label(session),
                      printableName(session.model.value_or("")),
                      session.lastTs ? timeText(session.lastTs).substr(yearWidth) : timeText(std::nullopt),
                      fmtTokens(usage.tokens), std::to_string(usage.requests), costText(usage.cost)});
    }
    if (rows.size() > shown) table.addRow({"… and " + std::to_string(rows.size() - shown) + " more"});
    return table;
}

std::function<void(JsonWriter&)> jsonSessions(const ScopedScan& scoped, std::vector<SessionRow> rows) {
    return [&snapshot = scoped.scan.snapshot, rows = std::move(rows)](JsonWriter& json) {
        json.beginArray();
        for (const SessionRow& row : rows)
            writeRow(json, snapshot, row);
        json.endArray();
    };
}

}  // namespace ledgerfern
