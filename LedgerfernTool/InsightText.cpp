#include "InsightText.h"

#include <algorithm>
#include <string_view>

#include "Foundation/UnicodeText.h"

namespace ledgerfern {

namespace {

constexpr std::size_t namedSessions = 3;
constexpr std::string_view nothingToFix =
    "Nothing to fix: no cache rebuild streaks, heavy startup overhead, or dominant context consumers in this "
    "scope.";

Tone insightTone(Severity severity) {
    switch (severity) {
        case Severity::info:
            return Tone::heading;
        case Severity::notice:
            return Tone::notice;
        case Severity::warning:
            return Tone::alarm;
    }
    return Tone::plain;
}

/// How many sessions it is about, and the first of them.
std::string sessionsText(const std::vector<std::string>& paths, const SessionNames& sessionName) {
    std::string text = "in " + counted(static_cast<std::int64_t>(paths.size()), "session");
    for (std::size_t i = 0; i < std::min(paths.size(), namedSessions); ++i)
        text += (i == 0 ? ": " : " · ") + std::string(trimmedWhiteSpace(sessionName(paths[i])));
    if (paths.size() > namedSessions)
        text += " · and " + std::to_string(paths.size() - namedSessions) + " more";
    return text;
}

void addInsight(Page& page, const Insight& insight, const SessionNames& sessionName) {
    page.heading(insight.title, insightTone(insight.severity));
    page.sentence(std::string(nameOf(insight.severity)) + " · " + insight.metric + " " + insight.metricLabel);
    page.sentence(insight.detail);
    page.sentence("→ " + insight.advice, 2, 2);
    if (!insight.sessions.empty()) page.sentence(sessionsText(insight.sessions, sessionName), 2, 2);
}

}  // namespace

void addInsightTitles(Page& page, const std::vector<Insight>& insights) {
    for (const Insight& insight : insights)
        page.sentence(insight.title + " · " + std::string(nameOf(insight.severity)), 2, 2,
                      insightTone(insight.severity));
    if (insights.empty()) page.sentence(nothingToFix);
}

void addInsights(Page& page, const std::vector<Insight>& insights, const SessionNames& sessionName) {
    for (const Insight& insight : insights)
        addInsight(page, insight, sessionName);
    if (insights.empty()) page.sentence(nothingToFix, 0);
}

}  // namespace ledgerfern
