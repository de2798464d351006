#pragma once

#include <map>
#include <string>

namespace ledgerfern {

/// Names of conversation threads, by the path of their log or by their id, mixed.
using ThreadNames = std::map<std::string, std::string>;

/// Reads the names that Codex keeps in its folder `base`: those in its state database "state_5.sqlite", and
/// those in "session_index.jsonl". A thread of the database has its name under its path and under its id, one
/// that only the index knows under its id. The database's own name goes before the index's.
///
/// What isn't there or can't be read gives no names. Nothing in the folder is changed or locked.
ThreadNames loadThreadNames(const std::string& base);

/// A thread's title as a name: its first line, and of that at most 80 characters, with "..." behind them
/// where there are more.
std::string shortenedTitle(const std::string& title);

}  // namespace ledgerfern
