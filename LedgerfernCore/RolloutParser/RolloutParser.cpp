#include "RolloutParser/RolloutParser.h"

#include <algorithm>

#include "Foundation/UnicodeText.h"
#include "Parsing/PaddedLine.h"
#include "Parsing/TailRead.h"
#include "RolloutParser/Update.h"

namespace ledgerfern::RolloutParser {

namespace {

std::optional<std::string> optionalText(const OptionalJson& value) {
    const auto text = asString(value);
    if (!text) return std::nullopt;
    return std::string(*text);
}

}  // namespace

void updateState(const ByteSource& source, ParseState& state, ReadScratch& scratch) {
    Update update(state, scratch);
    // The first line may have begun in an earlier update; then only the rest of it is asked for labels.
    std::size_t known = state.pendingPartial.size();
    const auto consume = [&](std::string_view line) {
        if (known == 0) {
            update.takeLine(line);
            return;
        }
        update.takeLabels(line.substr(std::min(known, line.size())));
        update.applyLine(line);
        known = 0;
    };
    readTail(source, scratch, state.bytesConsumed, state.pendingPartial, consume);
    update.settle();
}

bool updateState(const std::string& path, ParseState& state, ReadScratch& scratch) {
    const auto file = openTail(path, state.bytesConsumed);
    if (file) updateState(file, state, scratch);
    return file != nullptr;
}

bool updateState(const std::string& path, ParseState& state) {
    ReadScratch scratch;
    return updateState(path, state, scratch);
}

void apply(std::string_view line, ParseState& state) {
    ReadScratch scratch(0);
    Update update(state, scratch);
    const PaddedLine padded(line);
    update.applyLine(padded.view());
    update.settle();
}

void finishEOF(ParseState& state) {
    if (!state.pendingPartial.empty()) {
        const std::string line = std::exchange(state.pendingPartial, {});
        ReadScratch scratch(0);
        Update update(state, scratch);
        update.takeLabels(PaddedLine(repairedUtf8(line)).view());
        update.applyLine(PaddedLine(line).view());
        update.settle();
    }
    if (state.segCum) state.totals.add(*state.segCum);
    state.segCum.reset();
}

bool usable(const ParseState& state) {
    return state.metaSet && !state.requests.empty();
}

std::optional<ParseState> parseFile(const std::string& path) {
    ParseState state;
    if (!updateState(path, state)) return std::nullopt;
    finishEOF(state);
    return state;
}

SessionResult finalize(const ParseState& state, const std::string& path, ToolKind tool) {
    SessionResult result;
    result.path = path;
    result.tool = tool;
    result.project = state.project;
    result.cwd = state.cwd;
    result.originator = state.originator;
    result.source = state.source;
    result.model = state.model;
    result.firstMessage = state.firstUserMessage;
    result.started = state.started;
    result.lastTs = state.lastTs;
    result.requests = RequestList(state.requests, state.names.pool());
    result.totals = state.totals;
    if (state.segCum) result.totals.add(*state.segCum);
    result.tools = state.stats.table(state.names.pool());
    result.rateLimit = state.lastRateLimit;
    result.rlDaily = state.rlDaily;
    result.insights = state.insights;
    return result;
}

void shrinkToFit(ParseState& state) {
    state.labels.shrinkToFit();
    state.window.shrink_to_fit();
    state.requests.shrinkToFit();
    state.names.shrinkToFit();
    state.stats.shrinkToFit();
    state.tcLog.shrink_to_fit();
    state.pendingPartial.shrink_to_fit();
}

SourceInfo extractSource(const OptionalJson& value) {
    SourceInfo source;
    if (const auto text = asString(value)) source.raw = *text;
    const auto object = asObject(value);
    if (!object) return source;
    source.isSubagent = true;
    const auto subagent = asObject(member(*object, "subagent"));
    if (!subagent) return source;
    const auto [spawnValue, other] = members(*subagent, "thread_spawn", "other");
    source.isGuardian = asString(other) == "guardian";
    if (const auto spawn = asObject(spawnValue)) {
        const auto [nickname, parent] = members(*spawn, "agent_nickname", "parent_thread_id");
        source.nickname = optionalText(nickname);
        source.parentThread = optionalText(parent);
    }
    return source;
}

}  // namespace ledgerfern::RolloutParser
