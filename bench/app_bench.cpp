// The application from its start to the first numbers, and while it rests, on a tree of 10,000 logs whose
// cache is warm, beside what the core alone takes. It is started as the desktop starts it, with a screen, a
// session bus and a tray that are nobody else's. Prints a table for docs/performance.md.

#include <CLI/CLI.hpp>
#include <QCoreApplication>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "AppProcess.h"
#include "LogTree.h"
#include "Measure.h"
#include "ProductRuns.h"
#include "app/EventLoop.h"
#include "app/FakeTrayWatcher.h"

namespace {

using namespace ledgerfern;
using namespace ledgerfern::bench;
namespace fs = std::filesystem;

struct Options {
    std::size_t files = 10000;
    unsigned threads = std::max(std::thread::hardware_concurrency(), 1U);
    unsigned rounds = 5;
    int rest = 60;
    fs::path dir = fs::temp_directory_path() / "ledgerfern-bench";
};

/// A home folder whose logs are those of the tree.
fs::path makeHome(const ProductTree& tree) {
    fs::path home = tree.root.string() + "-home";
    fs::remove_all(home);
    fs::create_directories(home / ".codex");
    fs::create_directories(home / ".claude");
    fs::create_directory_symlink(rootOf(tree.root, Agent::codex), home / ".codex/sessions");
    fs::create_directory_symlink(rootOf(tree.root, Agent::claude), home / ".claude/projects");
    return home;
}

struct AppRun {
    double toFirstNumbers = 0;    ///< Seconds from its start to a tool tip with numbers.
    std::uint64_t resting = 0;    ///< Resident memory after its rest, in bytes.
    std::uint64_t wakeUps = 0;    ///< While it rested.
    double processorSeconds = 0;  ///< The same.
};

void awaitFirstNumbers(const FakeTrayWatcher& tray) {
    constexpr qint64 patience = 600'000;  // milliseconds, for a start without a cache
    if (!eventually([&] { return tray.toolTip().contains('%'); }, patience))
        throw std::runtime_error("the application shows no numbers");
}

void rest(const AppProcess& application, int seconds, AppRun& run) {
    application.awaitRest();
    WakeUps wakeUps(application.id());
    const double before = application.processorSeconds();
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        wakeUps.look();
    }
    run.wakeUps = wakeUps.count();
    run.processorSeconds = application.processorSeconds() - before;
    run.resting = application.residentMemory();
}

/// The application until its first numbers or, where a rest is given, until it has had so many seconds of it.
AppRun runApplication(const fs::path& home, std::optional<int> restSeconds) {
    return inChild([&] {
        int count = 1;
        char name[] = "app_bench";
        char* arguments[] = {name, nullptr};
        const QCoreApplication loop(count, arguments);
        FakeTrayWatcher tray;
        if (!tray.start()) throw std::runtime_error("no session bus");
        AppRun run;
        std::optional<AppProcess> application;
        run.toFirstNumbers = secondsOf([&] {
            application.emplace(home);
            awaitFirstNumbers(tray);
        });
        if (restSeconds) rest(*application, *restSeconds, run);
        return run;
    });
}

double megabytes(std::uint64_t bytes) {
    return static_cast<double>(bytes) / 1e6;
}

void measure(const Options& options) {
    const ProductTree tree = makeProductTree(options.dir, options.files, options.threads);
    const fs::path home = makeHome(tree);
    firstScan(tree, FirstScan::writingCache);
    runApplication(home, 0);  // writes its own cache
    std::vector<double> core, application, ratios;
    for (unsigned round = 0; round < options.rounds; ++round) {
        core.push_back(firstScan(tree, FirstScan::warm).seconds);
        application.push_back(runApplication(home, std::nullopt).toFirstNumbers);
        ratios.push_back(application.back() / core.back());
    }
    const std::uint64_t coreResting = firstScan(tree, FirstScan::warm).resting;
    const AppRun rested = runApplication(home, options.rest);
    fs::remove_all(home);
    std::printf("%zu files, %u threads, %u rounds; a rest of %d s\n\n", options.files, options.threads,
                options.rounds, options.rest);
    std::printf("| Program | First numbers | Against | Resting | Wake-ups | Processor time |\n");
    std::printf("|---|---|---|---|---|---|\n");
    std::printf("| the core's warm start | %.1f ms | | %.1f MB | | |\n", median(core) * 1e3,
                megabytes(coreResting));
    std::printf(
        "| the application | %.1f ms | %.2f × core | %.1f MB, %.1f MB above the core | %llu | %.1f ms |\n",
        median(application) * 1e3, median(ratios), megabytes(rested.resting),
        megabytes(rested.resting) - megabytes(coreResting), static_cast<unsigned long long>(rested.wakeUps),
        rested.processorSeconds * 1e3);
}

int run(int argc, char** argv) {
    Options options;
    CLI::App app{"Measures the application's start and rest."};
    app.add_option("--files", options.files, "Number of files")->capture_default_str();
    app.add_option("--threads", options.threads, "Threads of the core")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--rounds", options.rounds, "Times that the start is measured")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--rest", options.rest, "Seconds of rest")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--dir", options.dir, "Where the trees are kept from run to run")->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    measure(options);
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        enterDesktop(argv);
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "app_bench: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
