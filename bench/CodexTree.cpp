#include "CodexTree.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

#include "CodexSession.h"

namespace ledgerfern::bench {

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t firstDay = 20454;  // 1 January 2026, in days since the epoch
constexpr std::int64_t daysCovered = 200;
constexpr std::int64_t millisecondsADay = 86'400'000;
constexpr std::size_t chunk = std::size_t{4} << 20;

std::vector<std::uint64_t> fileSizes(Random& random, const TreeShape& shape) {
    std::vector<double> weights(shape.files);
    double sum = 0;
    for (double& weight : weights)
        sum += weight = random.logNormal(1, 1.3);
    std::vector<std::uint64_t> sizes;
    for (const double weight : weights)
        sizes.push_back(static_cast<std::uint64_t>(weight / sum * static_cast<double>(shape.bytes)));
    return sizes;
}

fs::path pathOf(const fs::path& root, std::int64_t start, const std::string& id) {
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

void writeOut(std::ofstream& file, std::string& out, std::uint64_t& written) {
    file.write(out.data(), static_cast<std::streamsize>(out.size()));
    written += out.size();
    out.clear();
}

void writeSession(const fs::path& root, const SessionTexts& texts, Random random, std::uint64_t size) {
    const std::int64_t start =
        firstDay * millisecondsADay + static_cast<std::int64_t>(random.below(daysCovered * millisecondsADay));
    CodexSession session(texts, random, start);
    const fs::path path = pathOf(root, start, session.id());
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

}  // namespace

void writeCodexTree(const fs::path& root, const TreeShape& shape) {
    Random random(shape.seed);
    const SessionTexts texts{Random(random.next())};
    for (const std::uint64_t size : fileSizes(random, shape))
        writeSession(root, texts, Random(random.next()), size);
}

std::vector<fs::path> treeFiles(const fs::path& root) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(root))
        if (entry.path().extension() == ".jsonl") files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace ledgerfern::bench
