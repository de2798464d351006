#pragma once

#include <string>
#include <variant>
#include <vector>

#include "Analytics/Snapshot.h"

namespace ledgerfern {

/// A text that means no session, or several.
struct NoSession {
    std::string sentence;  ///< Says so, and what would be right.
};

/// The path of the session that a path or an id means.
///
/// In this order: the path, made absolute; another path of the same file; the whole id; the start of an id or
/// of a log's file name; any part of one. A text that means several sessions at its first match is ambiguous.
/// `folders` are those that the snapshot was read from.
std::variant<std::string, NoSession> findSession(const Snapshot& snapshot,
                                                 const std::vector<std::string>& folders,
                                                 const std::string& pathOrID);

}  // namespace ledgerfern
