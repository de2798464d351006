#include <algorithm>

#include "Commands.h"
#include "Foundation/UnicodeText.h"
#include "PrintableText.h"
#include "Quoted.h"
#include "SessionRows.h"
#include "UsageTable.h"

namespace ledgerfern {

namespace {

bool isKnown(const Snapshot& snapshot, const std::string& project) {
    return std::any_of(snapshot.sessions.begin(), snapshot.sessions.end(),
                       [&](const SessionPointer& session) { return session->project == project; });
}

std::string unknownProject(const Snapshot& snapshot, const std::string& name) {
    std::vector<std::string_view> names;
    for (const SessionPointer& session : snapshot.sessions)
        names.push_back(session->project);
    const std::string start = "there is no project " + inQuotes(name) + "; ";
    if (const auto meant = nearMiss(name, names)) return start + "did you mean " + inQuotes(*meant) + "?";
    return start + inQuotes("ledgerfern-cli projects --scope all") + " lists those there are";
}

/// The project's sessions in scope, in their order.
SessionList sessionsOf(const ScopedScan& scoped, const std::string& project) {
    SessionList sessions = scoped.derived().rows;
    std::erase_if(sessions, [&](const SessionPointer& session) { return session->project != project; });
    return sessions;
}

std::string document(const ScopedScan& scoped, const std::string& name, const UsageSummary& usage,
                     const std::vector<SessionRow>& rows) {
    UsageRow project = usage.all;
    project.name = name;
    return jsonDocument(scoped, {{"project",
                                  [&](JsonWriter& json) {
                                      writeUsageRow(json, "name", project, true,
                                                    {{"days", usageRows("key", usage.periods)}});
                                  }},
                                 {"sessions", jsonSessions(scoped, rows)}});
}

void addProject(Page& page, const ScopedScan& scoped, const std::string& name, const UsageSummary& usage,
                const std::vector<SessionRow>& rows) {
    page.heading(printableName(name) + " · " + scoped.heading());
    if (const auto note = scoped.ownCycleNote()) page.sentence(*note);
    if (rows.empty()) return page.sentence(scoped.emptySentence(name));
    page.sentence(usageText(usage.all));
    page.sentence(splitText(usage.totals));
    page.sentence(sessionsText(usage));
    page.table(usageTable(scoped.selection.allTime ? "Weeks" : "Days", usage.periods));
    page.table(sessionTable(rows, rows.size(), false, scoped.scan.now));
}

}  // namespace

int runProject(const Options& options, Console& console) {
    const auto scoped = scanInScope(options, console);
    if (!scoped) return ExitStatus::badUsage;
    const std::string& name = options.operand;
    if (!isKnown(scoped->scan.snapshot, name))
        return console.fail(ExitStatus::failed, unknownProject(scoped->scan.snapshot, name));
    const SessionList sessions = sessionsOf(*scoped, name);
    const UsageSummary usage = scoped->summary(sessions, scoped->usualUnit());
    const auto rows = sessionRows(*scoped, sessions, usage);
    if (options.json) return console.print(document(*scoped, name, usage, rows));
    const Palette palette = paletteFor(options, console);
    Page page(console.width(), palette);
    addProject(page, *scoped, name, usage, rows);
    return console.print(page.text());
}

}  // namespace ledgerfern
