#include "ClaudeCodeParser/ClaudeCodeParser.h"

#include <utility>

#include "ClaudeCodeParser/Attribution.h"
#include "ClaudeCodeParser/Record.h"
#include "Parsing/PaddedLine.h"
#include "Parsing/TailRead.h"

namespace ledgerfern::ClaudeCodeParser {

void updateState(const ByteSource& source, State& state, ReadScratch& scratch) {
    readTail(source, scratch, state.bytesConsumed, state.pendingPartial,
             [&](std::string_view line) { applyPadded(line, state, scratch.lines()); });
}

bool updateState(const std::string& path, State& state, ReadScratch& scratch) {
    const auto file = openTail(path, state.bytesConsumed);
    if (file) updateState(file, state, scratch);
    return file != nullptr;
}

bool updateState(const std::string& path, State& state) {
    ReadScratch scratch;
    return updateState(path, state, scratch);
}

void apply(std::string_view line, State& state) {
    JsonReader reader;
    applyPadded(PaddedLine(line).view(), state, reader);
}

void finishEOF(State& state) {
    if (state.pendingPartial.empty()) return;
    const std::string line = std::exchange(state.pendingPartial, {});
    apply(std::string_view(line), state);
}

bool usable(const State& state) {
    return state.metaSet && !state.requests.empty();
}

SessionResult finalize(const State& state, const std::string& path) {
    LabelStats stats = state.stats;
    attributePending(state, stats);
    SessionResult result;
    result.path = path;
    result.tool = ToolKind::claudeCode;
    result.project = state.project;
    result.cwd = state.cwd;
    result.originator = "Claude Code";
    result.source.isSubagent =
        path.find("/subagents/") != std::string::npos || (state.sidechainRecords >= 1 && !state.sawMainChain);
    result.model = state.model;
    result.firstMessage = state.firstUserMessage;
    result.started = state.started;
    result.lastTs = state.lastTs;
    result.requests = RequestList(state.requests, state.names.pool());
    result.totals = state.totals;
    result.tools = stats.table(state.names.pool());
    result.insights = state.insights;
    return result;
}

void shrinkToFit(State& state) {
    state.seenRequestIds.shrinkToFit();
    state.requests.shrinkToFit();
    state.names.shrinkToFit();
    state.labels.shrinkToFit();
    state.stats.shrinkToFit();
    for (auto* entries : {&state.curAdds, &state.curAsst, &state.nextAdds})
        entries->shrink_to_fit();
    state.pendingPartial.shrink_to_fit();
}

}  // namespace ledgerfern::ClaudeCodeParser
