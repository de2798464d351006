#include "AppProcess.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Measure.h"

namespace ledgerfern::bench {

namespace {

namespace fs = std::filesystem;

/// Tells a program in a desktop where temporary files were kept outside.
constexpr const char* outerFolder = "LEDGERFERN_BENCH_TMPDIR";

fs::path procFolder(pid_t process) {
    return "/proc/" + std::to_string(process);
}

}  // namespace

void enterDesktop(char** arguments) {
    if (const char* const folder = std::getenv(outerFolder)) {
        ::setenv("TMPDIR", folder, 1);
        return;
    }
    ::setenv(outerFolder, fs::temp_directory_path().c_str(), 1);
    std::string script = LEDGERFERN_WITH_DESKTOP, tray = "--tray";
    std::string program = fs::read_symlink("/proc/self/exe");
    std::vector<char*> words{script.data(), tray.data(), program.data()};
    for (char** argument = arguments + 1; *argument != nullptr; ++argument)
        words.push_back(*argument);
    words.push_back(nullptr);
    ::execv(words[0], words.data());
    throw std::runtime_error("no desktop");
}

AppProcess::AppProcess(const fs::path& home) {
    ::setenv("HOME", home.c_str(), 1);
    std::string program = LEDGERFERN_APP;
    char* const words[] = {program.data(), nullptr};
    if (::posix_spawn(&id_, words[0], nullptr, nullptr, words, ::environ) != 0)
        throw std::runtime_error("the application doesn't start");
}

AppProcess::~AppProcess() {
    ::kill(id_, SIGTERM);
    ::waitpid(id_, nullptr, 0);
}

std::uint64_t AppProcess::residentMemory() const {
    return processFigure(procFolder(id_) / "status", "VmRSS:") * 1024;
}

double AppProcess::processorSeconds() const {
    clockid_t clock{};
    timespec used{};
    if (::clock_getcpuclockid(id_, &clock) != 0 || ::clock_gettime(clock, &used) != 0)
        throw std::runtime_error("the application has ended");
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

void AppProcess::awaitRest() const {
    constexpr double nextToNothing = 0.01;
    for (int quietSeconds = 0; quietSeconds < 2;) {
        const double before = processorSeconds();
        std::this_thread::sleep_for(std::chrono::seconds(1));
        quietSeconds = processorSeconds() - before < nextToNothing ? quietSeconds + 1 : 0;
    }
}

WakeUps::WakeUps(pid_t process) : threads_(procFolder(process) / "task") {
    look();
    count_ = 0;
}

void WakeUps::look() {
    for (const auto& thread : fs::directory_iterator(threads_)) {
        const std::uint64_t now = processFigure(thread.path() / "status", "voluntary_ctxt_switches:");
        std::uint64_t& before = seen_[thread.path().filename()];
        // Numbers of threads that have ended are given to new ones.
        count_ += now >= before ? now - before : now;
        before = now;
    }
}

}  // namespace ledgerfern::bench
