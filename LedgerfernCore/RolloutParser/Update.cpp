#include "RolloutParser/Update.h"

#include <array>

#include "Foundation/Paths.h"
#include "Parsing/MarkerSearch.h"
#include "RolloutParser/RolloutParser.h"
#include "UsageRecords/TSDate.h"

namespace ledgerfern::RolloutParser {

namespace {

/// The bytes that decide whether a line is worth parsing. The last two only make it worth asking for labels.
constexpr std::array<std::string_view, 10> markers = {"\"session_meta\"",
                                                      "\"response_item\"",
                                                      "\"token_count\"",
                                                      "\"context_compacted\"",
                                                      "\"compacted\"",
                                                      "\"rate_limits\"",
                                                      "\"thread_settings_applied\"",
                                                      "\"event_msg\"",
                                                      "\"call_id\"",
                                                      "\"mcp_tool_call_end\""};
constexpr std::size_t firstLabelMarker = 8;
using Markers = MarkerSearch<markers>;

/// What the markers say of a line. The search goes no further than it must, so the answer on labels may be
/// open.
struct Filter {
    bool passes = false;       ///< The line is to be applied.
    bool hasLabels = false;    ///< A label marker stands before `searched`.
    std::size_t searched = 0;  ///< Where the search stopped.

    explicit Filter(std::string_view line) {
        while (!passes) {
            const auto hit = Markers::first(line, searched);
            if (hit.position == Markers::npos) {
                searched = line.size();
                return;
            }
            passes = hit.marker < firstLabelMarker;
            hasLabels = hasLabels || !passes;
            searched = hit.position + 1;
        }
    }
};

bool hasLabelMarker(std::string_view line, std::size_t from) {
    for (;;) {
        const auto hit = Markers::first(line, from);
        if (hit.position == Markers::npos) return false;
        if (hit.marker >= firstLabelMarker) return true;
        from = hit.position + 1;
    }
}

/// Only these records have a say on labels; asking first saves the search for a marker in all others.
bool mayHaveLabels(const Envelope& line) {
    return line.payloadType == PayloadType::functionCall || line.payloadType == PayloadType::customToolCall ||
           line.payloadType == PayloadType::mcpToolCallEnd;
}

}  // namespace

void Update::takeLine(std::string_view line) {
    const Filter filter(line);
    if (!filter.passes && !filter.hasLabels) return;
    const auto object = asObject(scratch_.lines().readPadded(line));
    if (!object) {
        if (filter.passes) ++state_.malformedLines;
        return;
    }
    const Envelope envelope(*object);
    if (mayHaveLabels(envelope) && (filter.hasLabels || hasLabelMarker(line, filter.searched)))
        resolveLabels(envelope);
    if (filter.passes) dispatch(envelope);
}

void Update::takeLabels(std::string_view line) {
    if (!hasLabelMarker(line, 0)) return;
    if (const auto object = asObject(scratch_.lines().readPadded(line))) resolveLabels(Envelope(*object));
}

void Update::applyLine(std::string_view line) {
    if (!Filter(line).passes) return;
    if (const auto object = asObject(scratch_.lines().readPadded(line)))
        dispatch(Envelope(*object));
    else
        ++state_.malformedLines;
}

void Update::dispatch(const Envelope& line) {
    if (line.ts && (!state_.lastTs || *line.ts > *state_.lastTs)) state_.lastTs = line.ts;
    switch (line.type) {
        case LineType::sessionMeta:
            openSegment(line);
            break;
        case LineType::eventMsg:
            dispatchEvent(line);
            break;
        case LineType::compacted:
            state_.cacheTracker.pendingCompaction = true;
            break;
        case LineType::responseItem:
            if (!line.payload) break;
            ++state_.responseItems;
            takeItem(line);
            break;
        case LineType::other:
            break;
    }
}

void Update::dispatchEvent(const Envelope& line) {
    if (line.payloadType == PayloadType::tokenCount) {
        countTokens(line);
    } else if (line.payloadType == PayloadType::contextCompacted) {
        ++state_.compactions;
        state_.cacheTracker.pendingCompaction = true;
    } else if (line.payloadType == PayloadType::threadSettingsApplied) {
        const auto settings = asObject(member(*line.payload, "thread_settings"));
        const auto model = settings ? asString(member(*settings, "model")) : std::nullopt;
        if (!model) return;
        state_.model = *model;
        state_.currentRequestModel = *model;
    }
}

void Update::openSegment(const Envelope& line) {
    if (state_.segCum) state_.totals.add(*state_.segCum);
    state_.segCum.reset();
    state_.prevTotal.reset();
    state_.window.resize(openWindowBegin());
    state_.cacheTracker = {};
    state_.metaSet = true;

    std::array<OptionalJson, 4> values;
    if (line.payload) values = members(*line.payload, "cwd", "originator", "source", "timestamp");
    const auto& [cwd, originator, source, timestamp] = values;
    state_.cwd = asString(cwd).value_or("?");
    const std::string_view project = lastPathComponent(state_.cwd);
    state_.project = project.empty() ? "?" : project;
    state_.originator = asString(originator).value_or("");
    state_.source = extractSource(source);
    if (!state_.started) state_.started = TSDate::parse(asString(timestamp));
    if (!state_.started) state_.started = line.ts;
}

void Update::settle() {
    for (WindowItem& item : state_.window) {
        const auto label = state_.labels.label(item.call);
        if (label != StringPool::none) item.label = label;
        item.call = StringPool::none;
    }
    std::size_t begin = 0;
    for (const ClosedRequest& request : closed_) {
        attribute(request, begin);
        begin = request.windowEnd;
    }
    state_.window.erase(state_.window.begin(), state_.window.begin() + static_cast<std::ptrdiff_t>(begin));
    closed_.clear();
}

}  // namespace ledgerfern::RolloutParser
