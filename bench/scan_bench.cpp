// Measures a whole scan against the least work that any scanner has to do, on invented trees of logs.
// Every measurement runs in a process of its own, so that each begins with fresh memory and none counts
// another's.

#include <ftw.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "LogTree.h"
#include "Measure.h"
#include "Reference.h"
#include "WholeScan.h"

namespace {

using namespace ledgerfern::bench;
namespace fs = std::filesystem;

struct Options {
    std::uint64_t size = 1'000'000'000;
    std::size_t files = 2000;
    unsigned threads = std::max(std::thread::hardware_concurrency(), 1U);
    unsigned rounds = 5;
    fs::path dir = fs::temp_directory_path() / "ledgerfern-bench";
    bool growth = true;
    std::string agent;  // empty: all
};

struct Tree {
    fs::path root;
    std::vector<LogFile> files;
};

std::string nameOf(std::optional<Agent> agent) {
    if (!agent) return "mixed";
    return agent == Agent::codex ? "codex" : "claude";
}

/// The tree of that shape, made where it isn't there from an earlier run.
Tree makeTree(const fs::path& dir, const TreeShape& shape) {
    const fs::path root =
        dir / (nameOf(shape.agent) + "-" + std::to_string(shape.bytes) + "-" + std::to_string(shape.files));
    const fs::path complete = root / "complete";
    if (!fs::exists(complete)) {
        std::fprintf(stderr, "writing %s\n", root.c_str());
        fs::remove_all(root);
        inChild([&] {
            writeTree(root, shape);
            std::ofstream(complete).flush();
            return true;
        });
    }
    return {root, treeFiles(root)};
}

struct ScanRun {
    double seconds;
    std::uint64_t peakBytes;
    ScanFigures figures;
};

struct ReferenceRun {
    double seconds;
    std::uint64_t peakBytes;
    ReferenceCounts counts;
};

ScanRun runScan(const Tree& tree, unsigned threads) {
    return inChild([&] {
        ScanRun run{};
        run.seconds = secondsOf([&] { run.figures = wholeScan(tree.root, threads).figures; });
        run.peakBytes = peakMemory();
        return run;
    });
}

ReferenceRun runReferenceAlone(const Tree& tree, unsigned threads) {
    return inChild([&] {
        ReferenceRun run{};
        run.seconds = secondsOf([&] { run.counts = runReference(tree.files, threads); });
        run.peakBytes = peakMemory();
        return run;
    });
}

struct Comparison {
    ScanRun scan{};            // medians
    ReferenceRun reference{};  // medians
    double ratio = 0;          // the median of the rounds' ratios
    double leastRatio = 0;
    double largestRatio = 0;
};

Comparison compare(const Tree& tree, const Options& options) {
    std::vector<fs::path> paths;
    for (const LogFile& log : tree.files)
        paths.push_back(log.path);
    warmCache(paths);
    Comparison result;
    std::vector<double> scans, references, ratios;
    for (unsigned round = 0; round < options.rounds; ++round) {
        result.scan = runScan(tree, options.threads);
        result.reference = runReferenceAlone(tree, options.threads);
        scans.push_back(result.scan.seconds);
        references.push_back(result.reference.seconds);
        ratios.push_back(scans.back() / references.back());
    }
    result.scan.seconds = median(scans);
    result.reference.seconds = median(references);
    result.ratio = median(ratios);
    result.leastRatio = *std::min_element(ratios.begin(), ratios.end());
    result.largestRatio = *std::max_element(ratios.begin(), ratios.end());
    return result;
}

std::uint64_t bytesWalked = 0;

double walkSeconds(const Tree& tree) {
    constexpr int openFolders = 64;
    return secondsOf([&] {
        const auto visit = [](const char*, const struct stat* status, int, struct FTW*) {
            bytesWalked += static_cast<std::uint64_t>(status->st_size);
            return 0;
        };
        ::nftw(tree.root.c_str(), visit, openFolders, FTW_PHYS);
    });
}

/// A record that a scan has to account for, different from step to step.
std::string requestLine(Agent agent, unsigned step) {
    if (agent == Agent::claude)
        return R"({"type":"assistant","cwd":"/","timestamp":"2026-09-01T00:00:00.000Z","requestId":"req_step_)" +
               std::to_string(step) + R"(","message":{"model":"m","usage":{"input_tokens":5}}})" + "\n";
    const std::string input = std::to_string(4'000'000'000 + step * 1000ULL);
    return R"({"timestamp":"2026-09-01T00:00:00.000Z","type":"event_msg","payload":{"type":"token_count","info":)"
           R"({"total_token_usage":{"input_tokens":)" +
           input + R"(,"output_tokens":1,"total_tokens":)" + input + "}}}}\n";
}

struct RescanRun {
    double rescan;
    double snapshot;
    double walk;
    double ratio;
};

/// How long a scan takes that has one new line to read, how much of that is the snapshot at its end, and how
/// long the walk over the tree alone. Leaves the files as they were.
RescanRun runRescan(const Tree& tree, const Options& options) {
    const fs::path& grown = tree.files.front().path;
    const auto size = fs::file_size(grown);
    const auto run = inChild([&] {
        const WholeScan scan = wholeScan(tree.root, options.threads);
        std::vector<double> rescans, snapshots, walks, ratios;
        for (unsigned round = 0; round < 2 * options.rounds + 1; ++round) {
            std::ofstream(grown, std::ios::binary | std::ios::app)
                << requestLine(tree.files.front().agent, round);
            rescans.push_back(secondsOf([&] { scan.again(); }));
            snapshots.push_back(secondsOf([&] { scan.snapshot(); }));
            walks.push_back(walkSeconds(tree));
            ratios.push_back((rescans.back() - snapshots.back()) / walks.back());
        }
        return RescanRun{median(rescans), median(snapshots), median(walks), median(ratios)};
    });
    fs::resize_file(grown, size);
    return run;
}

double gigabytes(std::uint64_t bytes) {
    return static_cast<double>(bytes) / 1e9;
}

double megabytes(std::uint64_t bytes) {
    return static_cast<double>(bytes) / 1e6;
}

void printComparison(const Tree& tree, const Comparison& result, const Options& options) {
    const ReferenceCounts& counts = result.reference.counts;
    std::printf("tree              %.2f GB, %zu files, %llu lines, %llu of them parsed\n",
                gigabytes(counts.bytes), tree.files.size(), static_cast<unsigned long long>(counts.lines),
                static_cast<unsigned long long>(counts.parsed));
    std::printf("found             %llu sessions, %llu requests, %lld tokens\n",
                static_cast<unsigned long long>(result.scan.figures.sessions),
                static_cast<unsigned long long>(result.scan.figures.requests),
                static_cast<long long>(result.scan.figures.tokens));
    std::printf("threads, rounds   %u, %u\n", options.threads, options.rounds);
    std::printf("whole scan        %.3f s   %.2f GB/s   peak %.0f MB\n", result.scan.seconds,
                gigabytes(counts.bytes) / result.scan.seconds, megabytes(result.scan.peakBytes));
    std::printf("reference         %.3f s   %.2f GB/s   peak %.0f MB\n", result.reference.seconds,
                gigabytes(counts.bytes) / result.reference.seconds, megabytes(result.reference.peakBytes));
    std::printf("ratio             %.2f      %.2f to %.2f\n", result.ratio, result.leastRatio,
                result.largestRatio);
}

void printRescan(const RescanRun& run) {
    std::printf("rescan, one line  %.2f ms, of which snapshot %.2f ms\n", run.rescan * 1e3,
                run.snapshot * 1e3);
    std::printf("walk and stat     %.2f ms\n", run.walk * 1e3);
    std::printf("ratio             %.2f      without the snapshot\n", run.ratio);
}

void printGrowth(const Options& options) {
    for (const std::uint64_t size : {std::uint64_t{100'000'000}, std::uint64_t{2'000'000'000}}) {
        // Files of the same sizes, but more of them.
        const double share = static_cast<double>(size) / static_cast<double>(options.size);
        const auto files = static_cast<std::size_t>(share * static_cast<double>(options.files));
        const Tree tree = makeTree(options.dir, {Agent::codex, size, std::max<std::size_t>(files, 1)});
        const Comparison result = compare(tree, options);
        std::printf("at %4.0f MB        ratio %.2f   %.3f s   peak %.0f MB\n", megabytes(size), result.ratio,
                    result.scan.seconds, megabytes(result.scan.peakBytes));
    }
}

void run(const Options& options) {
    for (const auto agent :
         {std::optional(Agent::codex), std::optional(Agent::claude), std::optional<Agent>()}) {
        if (!options.agent.empty() && options.agent != nameOf(agent)) continue;
        const Tree tree = makeTree(options.dir, {agent, options.size, options.files});
        std::printf("%s\n", nameOf(agent).c_str());
        printComparison(tree, compare(tree, options), options);
        printRescan(runRescan(tree, options));
    }
    if (options.growth) printGrowth(options);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app{"Measures a whole scan of a tree of logs."};
    app.add_option("--size", options.size, "Bytes of logs, such as 500MB")
        ->transform(CLI::AsSizeValue(true))
        ->capture_default_str();
    app.add_option("--files", options.files, "Number of files")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--threads", options.threads, "Threads")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--rounds", options.rounds, "Times that each is measured")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--dir", options.dir, "Where the trees are kept from run to run")->capture_default_str();
    app.add_option("--agent", options.agent, "Whose logs alone")
        ->check(CLI::IsMember({"codex", "claude", "mixed"}));
    app.add_flag("!--no-growth", options.growth, "Leave out the trees of 100 MB and 2 GB");
    CLI11_PARSE(app, argc, argv);
    try {
        run(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "scan_bench: %s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
