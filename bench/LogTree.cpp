#include "LogTree.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

#include "ClaudeSession.h"
#include "CodexSession.h"

namespace ledgerfern::bench {

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t firstDay = 20454;  // 1 January 2026, in days since the epoch
constexpr std::int64_t daysCovered = 200;
constexpr std::int64_t millisecondsADay = 86'400'000;
constexpr std::size_t chunk = std::size_t{4} << 20;

std::vector<std::uint64_t> fileSizes(Random& random, std::uint64_t bytes, std::size_t files) {
    std::vector<double> weights(files);
    double sum = 0;
    for (double& weight : weights)
        sum += weight = random.logNormal(1, 1.3);
    std::vector<std::uint64_t> sizes;
    for (const double weight : weights)
        sizes.push_back(static_cast<std::uint64_t>(weight / sum * static_cast<double>(bytes)));
    return sizes;
}

fs::path codexPath(const fs::path& root, std::int64_t start, const std::string& id) {
    using namespace std::chrono;
    const year_month_day date{sys_days{days{start / millisecondsADay}}};
    const hh_mm_ss time{seconds{start % millisecondsADay / 1000}};
    char folder[16];
    char name[40];
    std::snprintf(folder, sizeof folder, "%04d/%02u/%02u", int(date.year()) % 10000,
                  unsigned(date.month()) % 100, unsigned(date.day()) % 100);
    std::snprintf(name, sizeof name, "T%02d-%02d-%02d-", int(time.hours().count()) % 100,
                  int(time.minutes().count()) % 100, int(time.seconds().count()) % 100);
    std::string day = folder;
    std::replace(day.begin(), day.end(), '/', '-');
    return root / folder / ("rollout-" + day + name + id + ".jsonl");
}

/// Some are sub-agents', which lie deeper.
fs::path claudePath(const fs::path& root, Random& random, const SessionWriter& session) {
    std::string project = session.cwd();
    std::replace(project.begin(), project.end(), '/', '-');
    if (random.percent(70)) return root / project / (session.id() + ".jsonl");
    return root / project / session.id() / "subagents" / ("agent-" + session.id().substr(0, 7) + ".jsonl");
}

void writeOut(std::ofstream& file, std::string& out, std::uint64_t& written) {
    file.write(out.data(), static_cast<std::streamsize>(out.size()));
    written += out.size();
    out.clear();
}

void writeSession(const fs::path& path, SessionWriter& session, std::uint64_t size) {
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    std::string out;
    std::uint64_t written = 0;
    session.begin(out);
    while (written + out.size() < size) {
        session.turn(out, static_cast<std::size_t>(size - written));
        if (out.size() >= chunk) writeOut(file, out, written);
    }
    writeOut(file, out, written);
    if (!file.flush()) throw std::runtime_error("can't write " + path.string());
}

void writeSessions(const fs::path& root, Agent agent, Random& random, std::uint64_t bytes, std::size_t files,
                   double textScale) {
    const SessionTexts texts(Random(random.next()), textScale);
    for (const std::uint64_t size : fileSizes(random, bytes, files)) {
        Random own(random.next());
        const std::int64_t start = firstDay * millisecondsADay +
                                   static_cast<std::int64_t>(own.below(daysCovered * millisecondsADay));
        if (agent == Agent::codex) {
            CodexSession session(texts, own, start);
            writeSession(codexPath(root, start, session.id()), session, size);
        } else {
            ClaudeSession session(texts, own, start);
            writeSession(claudePath(root, own, session), session, size);
        }
    }
}

}  // namespace

fs::path rootOf(const fs::path& tree, Agent agent) {
    return agent == Agent::codex ? tree / "sessions" : tree / "projects";
}

void writeTree(const fs::path& tree, const TreeShape& shape) {
    Random random(shape.seed);
    for (const Agent agent : {Agent::codex, Agent::claude}) {
        if (shape.agent && shape.agent != agent) continue;
        const std::size_t parts = shape.agent ? 1 : 2;
        writeSessions(rootOf(tree, agent), agent, random, shape.bytes / parts,
                      std::max<std::size_t>(shape.files / parts, 1), shape.textScale);
    }
}

std::vector<LogFile> treeFiles(const fs::path& tree) {
    std::vector<LogFile> files;
    for (const Agent agent : {Agent::codex, Agent::claude}) {
        if (!fs::exists(rootOf(tree, agent))) continue;
        const auto first = static_cast<std::ptrdiff_t>(files.size());
        for (const auto& entry : fs::recursive_directory_iterator(rootOf(tree, agent)))
            if (entry.path().extension() == ".jsonl") files.push_back({entry.path(), agent});
        std::sort(files.begin() + first, files.end(),
                  [](const LogFile& a, const LogFile& b) { return a.path < b.path; });
    }
    return files;
}

}  // namespace ledgerfern::bench
