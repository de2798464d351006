#include "SessionSearch.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <vector>

#include "Foundation/Locations.h"
#include "Foundation/Paths.h"
#include "Quoted.h"

namespace ledgerfern {

namespace fs = std::filesystem;

namespace {

struct Candidate {
    std::string path;
    std::string id;
    std::string fileName;
};

std::vector<Candidate> candidates(const Snapshot& snapshot) {
    std::vector<Candidate> all;
    for (const SessionPointer& session : snapshot.sessions) {
        const auto id = snapshot.sessionIDs.find(session->path);
        all.push_back({session->path, id == snapshot.sessionIDs.end() ? session->path : id->second,
                       std::string(lastPathComponent(session->path))});
    }
    return all;
}

NoSession ambiguous(const std::string& text, const std::vector<const Candidate*>& found) {
    // Logs in two folders may have one name, and so one id: then only their paths tell them apart.
    const bool sameId = found[0]->id == found[1]->id;
    const auto nameOf = [&](const Candidate& c) { return inQuotes(sameId ? c.path : c.id); };
    return {inQuotes(text) + " means " + std::to_string(found.size()) + " sessions, " + nameOf(*found[0]) +
            " and " + nameOf(*found[1]) + " among them; give " +
            (sameId ? "the path" : "more of the id, or the path")};
}

bool isLog(const std::string& path) {
    std::error_code error;
    return pathExtension(path) == "jsonl" && fs::is_regular_file(path, error);
}

bool isSameFile(const std::string& a, const std::string& b) {
    std::error_code error;
    return fs::equivalent(a, b, error);
}

/// Where links lead to is looked at.
bool isBelow(const std::string& path, const std::string& folder) {
    std::error_code error;
    const fs::path inner = fs::canonical(path, error), outer = fs::canonical(folder, error);
    return !error &&
           std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first == outer.end();
}

NoSession none(const std::string& text, const std::string& path, const std::vector<std::string>& folders) {
    if (!isLog(path))
        return {"there is no session " + inQuotes(text) +
                "; give the path of its log, or its id or a part of it"};
    if (std::any_of(folders.begin(), folders.end(), [&](const std::string& f) { return isBelow(path, f); }))
        return {"the log " + inQuotes(text) + " holds no usage; give the path of a session's log"};
    return {"the log " + inQuotes(text) +
            " lies outside the folders that are read; name its folder with --codex or --claude"};
}

}  // namespace

std::variant<std::string, NoSession> findSession(const Snapshot& snapshot,
                                                 const std::vector<std::string>& folders,
                                                 const std::string& pathOrID) {
    const std::string& text = pathOrID;
    const std::string path = lexicallyAbsolute(text);
    const std::vector<std::function<bool(const Candidate&)>> tests = {
        [&](const Candidate& c) { return c.path == path; },
        [&, isThere = isLog(path)](const Candidate& c) { return isThere && isSameFile(c.path, path); },
        [&](const Candidate& c) { return c.id == text; },
        [&](const Candidate& c) { return c.id.starts_with(text) || c.fileName.starts_with(text); },
        [&](const Candidate& c) {
            return c.id.find(text) != std::string::npos || c.fileName.find(text) != std::string::npos;
        }};
    const auto all = candidates(snapshot);
    for (const auto& test : tests) {
        std::vector<const Candidate*> found;
        for (const Candidate& candidate : all)
            if (test(candidate)) found.push_back(&candidate);
        if (found.size() == 1) return found.front()->path;
        if (found.size() > 1) return ambiguous(text, found);
    }
    return none(text, path, folders);
}

}  // namespace ledgerfern
