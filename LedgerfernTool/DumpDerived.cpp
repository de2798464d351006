#include "DumpDerived.h"

#include <map>

#include "DumpRecords.h"

namespace ledgerfern::DumpDerived {

namespace {

using namespace DumpRecords;

/// An array of the items, each written by `write`.
template <class Items, class Write>
void writeArray(JsonWriter& json, const Items& items, Write write) {
    json.beginArray();
    for (const auto& item : items)
        write(item);
    json.endArray();
}

void writePaths(JsonWriter& json, const SessionList& rows) {
    writeArray(json, rows, [&](const SessionPointer& session) { json.value(session->path); });
}

void writeCounts(JsonWriter& json, const SessionCounts& counts) {
    std::map<std::string, std::int64_t> byPath;
    for (const auto& [path, count] : counts)
        byPath.emplace(path, count);
    writeMap(json, byPath, [&](std::int64_t count) { json.value(count); });
}

void writeStacks(JsonWriter& json, const std::vector<DayStack>& stacks) {
    writeArray(json, stacks, [&](const DayStack& stack) {
        json.beginObject();
        json.member("key", stack.key);
        json.key("parts");
        writeMap(json, stack.parts, [&](std::int64_t tokens) { json.value(tokens); });
        json.member("total", stack.total);
        json.endObject();
    });
}

void writeLegend(JsonWriter& json, const std::vector<LegendEntry>& legend) {
    writeArray(json, legend, [&](const LegendEntry& entry) {
        json.beginObject();
        json.key("fraction");
        writeNumber(json, entry.fraction);
        json.member("label", entry.label);
        json.member("value", entry.value);
        json.endObject();
    });
}

void writeCharts(JsonWriter& json, const std::vector<LegendEntry>& kindLegend,
                 const std::vector<DayStack>& kindStacks, const std::vector<LegendEntry>& modelLegend,
                 const std::vector<DayStack>& modelStacks) {
    json.key("kind_legend");
    writeLegend(json, kindLegend);
    json.key("kind_stacks");
    writeStacks(json, kindStacks);
    json.key("model_legend");
    writeLegend(json, modelLegend);
    json.key("model_stacks");
    writeStacks(json, modelStacks);
}

void writeRowCounts(JsonWriter& json, const SessionCounts& reqs, const SessionCounts& tokens,
                    const SessionList& rows) {
    json.key("row_reqs");
    writeCounts(json, reqs);
    json.key("row_tokens");
    writeCounts(json, tokens);
    json.key("rows");
    writePaths(json, rows);
}

}  // namespace

ProjectPage projectPage(const Snapshot& snapshot, ProjectAnalytics::Selection selection) {
    ProjectPage page;
    page.name = selection.project;
    selection.recent = false;
    selection.breakdown = Breakdown::kind;
    page.byKind = ProjectAnalytics::derive(&snapshot, selection);
    selection.breakdown = Breakdown::model;
    page.byModel = ProjectAnalytics::derive(&snapshot, selection);
    selection.recent = true;
    page.recentRows = ProjectAnalytics::derive(&snapshot, selection).rows;
    return page;
}

void writeTopTools(JsonWriter& json, const std::vector<TopTool>& tools) {
    writeArray(json, tools, [&](const TopTool& tool) {
        json.beginObject();
        json.member("calls", tool.calls);
        json.member("impact", tool.impact);
        json.member("label", tool.label);
        json.endObject();
    });
}

void writeInsights(JsonWriter& json, const std::vector<Insight>& insights) {
    writeArray(json, insights, [&](const Insight& insight) {
        json.beginObject();
        json.member("advice", insight.advice);
        json.member("detail", insight.detail);
        json.member("id", insight.id);
        json.member("metric", insight.metric);
        json.member("metric_label", insight.metricLabel);
        json.key("sessions");
        writeArray(json, insight.sessions, [&](const std::string& path) { json.value(path); });
        json.member("severity", nameOf(insight.severity));
        json.member("title", insight.title);
        json.member("weight", insight.weight);
        json.endObject();
    });
}

void writeDerived(JsonWriter& json, const DashboardDerived& derived) {
    json.beginObject();
    json.key("insights");
    writeInsights(json, derived.insights);
    json.member("is_empty", derived.isEmpty);
    writeCharts(json, derived.kindLegend, derived.kindStacks, derived.modelLegend, derived.modelStacks);
    writeRowCounts(json, derived.rowReqs, derived.rowTokens, derived.rows);
    json.key("top_tools");
    writeTopTools(json, derived.topTools);
    json.member("total_cached", derived.totalCached);
    json.member("total_input", derived.totalInput);
    json.member("total_reqs", derived.totalReqs);
    json.member("total_tokens", derived.totalTokens);
    json.endObject();
}

void writeProject(JsonWriter& json, const ProjectPage& page) {
    const ProjectDerived& derived = page.byKind;
    json.beginObject();
    json.member("is_empty", derived.isEmpty);
    writeCharts(json, derived.legend, derived.stacks, page.byModel.legend, page.byModel.stacks);
    json.member("name", page.name);
    json.key("recent_rows");
    writePaths(json, page.recentRows);
    writeRowCounts(json, derived.rowReqs, derived.rowTokens, derived.rows);
    json.member("total_reqs", derived.totalReqs);
    json.member("total_tokens", derived.totalTokens);
    json.endObject();
}

}  // namespace ledgerfern::DumpDerived
