#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/JsonReader.h"
#include "Parsing/ReadScratch.h"
#include "RolloutParser/ParseState.h"
#include "UsageRecords/SessionResult.h"

/// The parser of OpenAI Codex's rollout files: JSONL logs of one session each, read incrementally into a
/// `ParseState`.
///
/// For a file: `updateState` any number of times as it grows; `finishEOF` once it is taken as finished, on
/// the state or on a copy of it; `usable` and `finalize` whenever a result is wanted. Bad input is never an
/// error: a value of the wrong type counts as missing, and a line that should have been read and isn't a JSON
/// object is counted.
///
/// A state is changed by one thread at a time; different states may be used in parallel.
namespace ledgerfern::RolloutParser {

/// Reads what the file holds behind `bytesConsumed`. False where the file can't be opened; the state is
/// untouched then.
///
/// A call's label may come after the call itself, so no tokens are attributed before all new lines have had
/// their say on labels. What an earlier update has attributed is never relabelled. The line that straddles
/// two updates has no say as a whole; only what the later one adds to it is looked at.
[[nodiscard]] bool updateState(const std::string& path, ParseState& state, ReadScratch& scratch);
[[nodiscard]] bool updateState(const std::string& path, ParseState& state);
/// The same for bytes from elsewhere, which follow those that the state has seen.
void updateState(const ByteSource& source, ParseState& state, ReadScratch& scratch);

/// Applies one line, given without its line feed.
void apply(std::string_view line, ParseState& state);

/// Ends the file: applies an unfinished last line as it stands, and closes the open segment for good. Lines
/// that are applied later start a segment that counts the earlier part twice, so who means to read on
/// finishes a copy.
void finishEOF(ParseState& state);

/// True where the state makes a session: its meta data and a request have been seen.
bool usable(const ParseState& state);

/// A whole file, finished. Absent where it can't be opened.
std::optional<ParseState> parseFile(const std::string& path);

/// The session as it stands. The state stays as it is, so this may be called again and again; the result
/// shares the state's requests.
SessionResult finalize(const ParseState& state, const std::string& path, ToolKind tool = ToolKind::codex);

/// Gives back the room that a state keeps for growing.
void shrinkToFit(ParseState& state);

/// Where a session comes from, by the value of its meta data's "source".
SourceInfo extractSource(const OptionalJson& value);

/// True for labels of tools, false for those of user and assistant text.
bool isToolLabel(std::string_view label);

/// The label that a call and its output are shown under, by what its log calls it.
std::string itemLabel(std::string_view rawLabel);

}  // namespace ledgerfern::RolloutParser
