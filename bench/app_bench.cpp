// What the application takes from its start to the first numbers, and while it rests, on a tree of 10,000
// logs whose cache is warm, each beside what the core alone takes.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <QApplication>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "Application/AppState.h"
#include "Application/QtMainLoop.h"
#include "Application/ThreadWorkers.h"
#include "Foundation/UserPreferences.h"
#include "LogTree.h"
#include "Measure.h"
#include "ProductRuns.h"

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

/// How often the threads of this process have waited and been woken.
std::uint64_t wakeUps() {
    std::uint64_t sum = 0;
    for (const auto& thread : fs::directory_iterator("/proc/self/task")) {
        std::ifstream status(thread.path() / "status");
        for (std::string word; status >> word;) {
            std::uint64_t count = 0;
            if (word == "voluntary_ctxt_switches:" && status >> count) sum += count;
        }
    }
    return sum;
}

struct SilentCentre : NotificationCentre {
    bool isUsable() const override { return false; }
    void fetchAuthorization(std::function<void(Authorization)>) override {}
    void requestAuthorization(std::function<void(bool)>) override {}
    void post(const Notification&) override {}
};

struct AppRun {
    double toFirstNumbers = 0;  ///< Seconds from the start of the process.
    std::uint64_t resting = 0;
    std::uint64_t wakeUps = 0;  ///< While it rested.
};

/// The application without its tray item, until it has rested so many seconds after the full pass.
AppRun runApplication(const fs::path& home, int rest) {
    return inChild([&] {
        const auto start = std::chrono::steady_clock::now();
        ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
        ::setenv("HOME", home.c_str(), 1);
        ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
        int count = 1;
        char name[] = "app_bench";
        char* arguments[] = {name, nullptr};
        const QApplication application(count, arguments);
        QtMainLoop loop;
        ThreadWorkers workers;
        SilentCentre notifications;
        AppState state({.loop = loop,
                        .workers = workers,
                        .notifications = notifications,
                        .preferences = userPreferences(),
                        .homeDirectory = home.string()});
        AppRun run;
        int applied = 0;
        std::uint64_t before = 0;
        QObject::connect(&state, &AppState::applied, [&] {
            const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
            if (++applied == 1) run.toFirstNumbers = passed.count();
            if (applied != 2) return;
            QTimer::singleShot(1000, [&] { before = wakeUps(); });
            QTimer::singleShot(1000 + rest * 1000, [] { QApplication::quit(); });
        });
        QApplication::exec();
        run.wakeUps = wakeUps() - before;
        run.resting = residentMemory();
        workers.waitUntilIdle(std::chrono::minutes(1));
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
    std::vector<double> core, first, ratios;
    for (unsigned round = 0; round < options.rounds; ++round) {
        core.push_back(firstScan(tree, FirstScan::warm).seconds);
        first.push_back(runApplication(home, 0).toFirstNumbers);
        ratios.push_back(first.back() / core.back());
    }
    std::printf("start to first numbers: %.1f ms, %.2f x the core's warm start of %.1f ms\n",
                median(first) * 1e3, median(ratios), median(core) * 1e3);
    const std::uint64_t coreResting = firstScan(tree, FirstScan::warm).resting;
    const AppRun rested = runApplication(home, options.rest);
    std::printf("resting: %.1f MB, %.1f MB above the core's %.1f MB; %llu wake-ups in %d s\n",
                megabytes(rested.resting), megabytes(rested.resting) - megabytes(coreResting),
                megabytes(coreResting), static_cast<unsigned long long>(rested.wakeUps), options.rest);
    fs::remove_all(home);
}

}  // namespace

int main(int argc, char** argv) {
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
    try {
        measure(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "app_bench: %s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
