#include "Engine/ThreadNames.h"

#include <algorithm>
#include <initializer_list>
#include <optional>
#include <string_view>

#include "Engine/ForeignDatabase.h"
#include "Foundation/Files.h"
#include "Foundation/JsonReader.h"
#include "Foundation/UnicodeText.h"

namespace ledgerfern {

namespace {

using Texts = std::map<std::string, std::string>;

/// What the state database tells. No text in `names` and `titles` is empty.
struct Threads {
    Texts paths;   ///< By id. Both are bytes, as the logs' own paths are, and ids may be equal to those.
    Texts names;   ///< By id.
    Texts titles;  ///< By path.
};

/// Only `name` may be NULL: a row without one of the others is none.
void takeRow(SqliteStatement& row, Threads& threads) {
    for (const int column : {0, 1, 2})
        if (!row.text(column)) return;
    const std::string id(row.text(0).value_or(""));
    const std::string path(row.text(1).value_or(""));
    const std::string title = shortenedTitle(repairedUtf8(row.text(2).value_or("")));
    const std::string name = repairedUtf8(row.text(3).value_or(""));
    if (!title.empty()) threads.titles[path] = title;
    if (!name.empty()) threads.names[id] = name;
    threads.paths[id] = path;
}

bool readRows(SqliteDatabase& database, Threads& threads) {
    auto statement = database.prepare("SELECT id, rollout_path, title, name FROM threads;");
    if (!statement) return false;
    auto step = statement->step();
    for (; step == SqliteStatement::Step::row; step = statement->step())
        takeRow(*statement, threads);
    return step == SqliteStatement::Step::done;
}

/// Empty where the database can't be read to its end: what a torn one gives isn't to be trusted.
Threads readThreads(const std::string& path) {
    Threads threads;
    const bool read = readForeignDatabase(path, [&](SqliteDatabase& database) {
        threads = {};
        return readRows(database, threads);
    });
    return read ? threads : Threads{};
}

void takeIndexLine(const OptionalJson& line, Texts& names) {
    const auto object = asObject(line);
    if (!object) return;
    const auto [id, name] = members(*object, "id", "thread_name");
    const auto idText = asString(id);
    const auto nameText = asString(name);
    if (idText && nameText && !nameText->empty()) names[std::string(*idText)] = *nameText;
}

/// Names by id.
Texts readIndex(const std::string& path) {
    Texts names;
    const std::string bytes = readWholeFile(path).value_or("");
    JsonReader reader;
    for (std::string_view rest = bytes; !rest.empty();) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        if (!line.empty()) takeIndexLine(reader.read(line), names);
    }
    return names;
}

const std::string* find(const Texts& texts, const std::string& key) {
    const auto entry = texts.find(key);
    return entry == texts.end() ? nullptr : &entry->second;
}

/// Null where the thread has no name. The titles are kept by path and asked by id: a title is no name, save
/// where a thread's id is its path.
const std::string* nameOf(const std::string& id, const Threads& threads, const Texts& index) {
    if (const auto* name = find(threads.names, id)) return name;
    if (const auto* name = find(index, id)) return name;
    return find(threads.titles, id);
}

}  // namespace

std::string shortenedTitle(const std::string& title) {
    constexpr std::size_t longest = 80;
    const std::string_view line = std::string_view(title).substr(0, title.find('\n'));
    const std::string_view beginning = firstCharacters(line, longest);
    return std::string(beginning) + (beginning.size() < line.size() ? "..." : "");
}

ThreadNames loadThreadNames(const std::string& base) {
    const Threads threads = readThreads(base + "/state_5.sqlite");
    const Texts index = readIndex(base + "/session_index.jsonl");
    ThreadNames names;
    Texts chosen;
    for (const auto& [id, path] : threads.paths) {
        const std::string* const name = nameOf(id, threads, index);
        if (name == nullptr) continue;
        names[path] = *name;
        chosen[id] = *name;
    }
    // Where both know an id, the name that was chosen stands.
    names.insert(chosen.begin(), chosen.end());
    names.insert(index.begin(), index.end());
    return names;
}

}  // namespace ledgerfern
