#include "SessionSearch.h"

#include <functional>
#include <vector>

#include "Foundation/Locations.h"
#include "Foundation/Paths.h"
#include "Quoted.h"

namespace ledgerfern {

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

}  // namespace

std::variant<std::string, NoSession> findSession(const Snapshot& snapshot, const std::string& pathOrID) {
    const std::string& text = pathOrID;
    const std::string path = lexicallyAbsolute(text);
    const std::vector<std::function<bool(const Candidate&)>> tests = {
        [&](const Candidate& c) { return c.path == path; }, [&](const Candidate& c) { return c.id == text; },
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
    return NoSession{"there is no session " + inQuotes(text) +
                     "; give the path of its log, or its id or a part of it"};
}

}  // namespace ledgerfern
