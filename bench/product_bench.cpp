// What the product's work takes on trees of 100, 1,000 and 10,000 logs, each beside the least that such work
// can take. Prints a table for docs/performance.md.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "LogTree.h"
#include "Measure.h"
#include "ProductRuns.h"
#include "Reference.h"

namespace {

using namespace ledgerfern::bench;
namespace fs = std::filesystem;

struct Options {
    std::vector<std::size_t> files = {100, 1000, 10000};
    unsigned threads = std::max(std::thread::hardware_concurrency(), 1U);
    unsigned rounds = 5;
    fs::path dir = fs::temp_directory_path() / "ledgerfern-bench";
};

/// Each is run so often, in turns, and the medians are given.
struct Measured {
    ProductRun cold, writing, warm, quick;
    double reference = 0;
    double weighing = 0;  ///< The reference with its lines weighed.
    double rows = 0;
    double weighingRatio = 0, coldRatio = 0, writingRatio = 0,
           warmRatio = 0;  // medians of the rounds' ratios
    KnownTreeRun known;
    std::uint64_t cacheBytes = 0;
    ReferenceCounts counts;
};

struct ReferenceRun {
    double seconds = 0;
    ReferenceCounts counts;
};

ReferenceRun referenceRun(const std::vector<LogFile>& files, unsigned threads, Lines lines) {
    return inChild([&] {
        ReferenceRun run;
        run.seconds = secondsOf([&] { run.counts = runReference(files, threads, lines); });
        return run;
    });
}

Measured measure(const ProductTree& tree, unsigned rounds) {
    const std::vector<LogFile> files = treeFiles(tree.root);
    std::vector<fs::path> paths;
    for (const LogFile& file : files)
        paths.push_back(file.path);
    warmCache(paths);
    Measured all;
    std::vector<double> cold, writing, warm, quick, reference, weighing, rows;
    std::vector<double> weighingRatio, coldRatio, writingRatio, warmRatio;
    for (unsigned round = 0; round < rounds; ++round) {
        const ReferenceRun least = referenceRun(files, tree.threads, Lines::parsed);
        all.counts = least.counts;
        weighing.push_back(referenceRun(files, tree.threads, Lines::weighed).seconds);
        all.quick = firstScan(tree, FirstScan::quick);
        all.cold = firstScan(tree, FirstScan::withoutCache);
        all.writing = firstScan(tree, FirstScan::writingCache);
        all.cacheBytes = fs::file_size(tree.cache);
        all.warm = firstScan(tree, FirstScan::warm);
        reference.push_back(least.seconds);
        rows.push_back(readRowsAndWalk(tree));
        quick.push_back(all.quick.seconds);
        cold.push_back(all.cold.seconds);
        writing.push_back(all.writing.seconds);
        warm.push_back(all.warm.seconds);
        weighingRatio.push_back(weighing.back() / reference.back());
        coldRatio.push_back(cold.back() / reference.back());
        writingRatio.push_back((writing.back() - cold.back()) / reference.back());
        warmRatio.push_back(warm.back() / rows.back());
    }
    all.cold.seconds = median(cold);
    all.writing.seconds = median(writing);
    all.warm.seconds = median(warm);
    all.quick.seconds = median(quick);
    all.reference = median(reference);
    all.weighing = median(weighing);
    all.weighingRatio = median(weighingRatio);
    all.rows = median(rows);
    all.coldRatio = median(coldRatio);
    all.writingRatio = median(writingRatio);
    all.warmRatio = median(warmRatio);
    all.known = knownTree(tree, rounds);
    return all;
}

double megabytes(std::uint64_t bytes) {
    return static_cast<double>(bytes) / 1e6;
}

void printScan(const char* name, const ProductRun& run, const char* ratio) {
    std::printf("| %s | %.1f ms | %s | %.1f MB | %.0f MB | %.0f MB |\n", name, run.seconds * 1e3, ratio,
                megabytes(run.bytesRead), megabytes(run.peak), megabytes(run.resting));
}

void printWork(const char* name, double seconds, double ratio, const char* reference) {
    std::printf("| %s | %.2f ms | %.2f × %s | | | |\n", name, seconds * 1e3, ratio, reference);
}

std::string ratioText(double ratio, const char* reference) {
    char text[80];
    std::snprintf(text, sizeof text, "%.2f × %s", ratio, reference);
    return text;
}

void print(std::size_t files, const Measured& all) {
    std::printf("\n%zu files, %.2f GB, %llu sessions, %llu requests\n\n", files,
                megabytes(all.counts.bytes) / 1e3, static_cast<unsigned long long>(all.cold.sessions),
                static_cast<unsigned long long>(all.cold.requests));
    std::printf("| Work | Time | Against | Read | Peak | Resting |\n|---|---|---|---|---|---|\n");
    std::printf("| (the reference with its lines weighed) | %.1f ms | %.2f × reference | | | |\n",
                all.weighing * 1e3, all.weighingRatio);
    printScan("cold scan, cache off", all.cold, ratioText(all.coldRatio, "reference").c_str());
    printScan("cold scan, cache written", all.writing,
              ("adds " + ratioText(all.writingRatio, "reference")).c_str());
    printScan("warm start", all.warm, ratioText(all.warmRatio, "rows and walk").c_str());
    printScan("quick scan, a week, no cache", all.quick, "");
    const KnownTreeRun& known = all.known;
    printWork("rescan of nothing", known.rescanOfNothing, known.rescanOfNothing / known.walkAndStat,
              "walk and stat");
    printWork("rescan of one line", known.rescanOfOneLine, known.rescanOfOneLine / known.walkAndStat,
              "walk and stat");
    printWork("snapshot", known.snapshot, known.snapshot / known.addCounters, "counter loop");
    printWork("roll-up", known.rollUp, known.rollUp / known.addCounters, "counter loop");
    printWork("derivation, all time", known.derivation, known.derivation / known.addCounters, "counter loop");
    const double room = 77.0 * static_cast<double>(all.cold.requests) + 2000.0 * static_cast<double>(files);
    std::printf(
        "\nreference %.1f ms; rows and walk %.1f ms; walk and stat %.2f ms; counter loop %.2f ms; cache "
        "file %.1f MB, %.2f × (77 bytes a request + 2 KB a file)\n",
        all.reference * 1e3, all.rows * 1e3, known.walkAndStat * 1e3, known.addCounters * 1e3,
        megabytes(all.cacheBytes), static_cast<double>(all.cacheBytes) / room);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app{"Measures what the product's work takes on trees of logs."};
    app.add_option("--files", options.files, "Numbers of files")->capture_default_str();
    app.add_option("--threads", options.threads, "Threads")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--rounds", options.rounds, "Times that each is measured")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--dir", options.dir, "Where the trees are kept from run to run")->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    try {
        std::printf("%u threads, %u rounds\n", options.threads, options.rounds);
        for (const std::size_t files : options.files)
            print(files, measure(makeProductTree(options.dir, files, options.threads), options.rounds));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "product_bench: %s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
