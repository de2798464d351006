#include "ProductTree.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>

#include "LogTree.h"
#include "Measure.h"

namespace ledgerfern::bench {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t bytesAFile = 300'000;
constexpr double textScale = 0.04;  // makes about a hundred requests a file

void spreadTimes(const fs::path& root) {
    constexpr int days = 200;
    const auto now = fs::file_time_type::clock::now();
    int i = 0;
    for (const LogFile& log : treeFiles(root))
        fs::last_write_time(log.path, now - std::chrono::hours(24) * (i++ % days));
}

void write(const fs::path& root, std::size_t files) {
    std::fprintf(stderr, "writing %s\n", root.c_str());
    fs::remove_all(root);
    TreeShape shape{{}, bytesAFile * files, files};
    shape.textScale = textScale;
    inChild([&] {
        writeTree(root, shape);
        std::ofstream(root / "complete").flush();
        return true;
    });
}

}  // namespace

ProductTree makeProductTree(const fs::path& folder, std::size_t files, unsigned threads) {
    const fs::path root = folder / ("product-" + std::to_string(files));
    if (!fs::exists(root / "complete")) write(root, files);
    spreadTimes(root);
    return {root, root.string() + ".sqlite", threads};
}

}  // namespace ledgerfern::bench
