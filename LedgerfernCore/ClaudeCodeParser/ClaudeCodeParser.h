#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "ClaudeCodeParser/State.h"
#include "Foundation/JsonReader.h"
#include "Parsing/ReadScratch.h"
#include "UsageRecords/SessionResult.h"

/// The parser of Claude Code's session logs: JSONL files of one session, or of one sub-agent, each, read
/// incrementally into a `State`.
///
/// For a file: `updateState` any number of times as it grows; `finishEOF` once it is taken as finished, on
/// the state or on a copy of it; `usable` and `finalize` whenever a result is wanted. Bad input is never an
/// error: a value of the wrong type counts as missing, and a line that should have been read and isn't a JSON
/// object is counted.
///
/// A request is written as several lines, one for each block of its output, and may be repeated; its first
/// line decides what it used. Its tokens are shared out when the next request opens, since only then are all
/// its blocks known.
///
/// A state is changed by one thread at a time; different states may be used in parallel.
namespace ledgerfern::ClaudeCodeParser {

/// Reads what the file holds behind `bytesConsumed`. False where the file can't be opened; the state is
/// untouched then.
[[nodiscard]] bool updateState(const std::string& path, State& state, ReadScratch& scratch);
[[nodiscard]] bool updateState(const std::string& path, State& state);
/// The same for bytes from elsewhere, which follow those that the state has seen.
void updateState(const ByteSource& source, State& state, ReadScratch& scratch);

/// Applies one line, given without its line feed.
void apply(std::string_view line, State& state);

/// Takes an unfinished last line for a line.
void finishEOF(State& state);

/// True where the state makes a session: a working directory and a request have been seen.
bool usable(const State& state);

/// The session as it stands, the pending request's tokens shared out as far as its blocks are known. The
/// state stays as it is, so this may be called again and again; the result shares the state's requests.
SessionResult finalize(const State& state, const std::string& path);

/// Gives back the room that a state keeps for growing.
void shrinkToFit(State& state);

/// What one request used, by its "usage": here the input is the whole prompt, cached or not.
UsageTotals deltas(const JsonObject& usage);

/// The label under which a tool call is counted: "mcp:server/tool", the category of a Bash command, or
/// "tool:" and the name.
std::string toolLabel(std::string_view name, const std::optional<JsonObject>& input);

}  // namespace ledgerfern::ClaudeCodeParser
