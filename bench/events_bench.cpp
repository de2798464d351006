// What it costs to follow a log that an agent appends to many times a second: the processor time of the
// events and their debounce, and that of the whole application, beside that of a bare program that reads the
// same events and resets a timer. All watch the same folder at the same time. Fails where the changes aren't
// told of once, after the quiet spell, where the application scans more often, or where events and debounce
// take more than twice the bare program's time.

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/timerfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>

#include "AppProcess.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/FileEvents.h"
#include "Foundation/TemporaryFolder.h"

namespace {

using ledgerfern::FileDescriptor;

struct Options {
    double seconds = 10;
    double rate = 50;
    bool keepsOpen = false;
    int folders = 200;
};

/// What a process that follows the log came to.
struct Followed {
    double processorSeconds = 0;
    int changes = 0;
};

double processorSeconds() {
    timespec used{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        if (::pipe(ends.data()) != 0) throw std::runtime_error("no pipe");
        out = FileDescriptor(ends[0]);
        in = FileDescriptor(ends[1]);
    }
    FileDescriptor out, in;
};

/// A process that follows a folder from its `awaitReady` until its `finish`.
class Follower {
public:
    /// `follow` calls what it is given once it is ready, and returns when the descriptor is readable.
    explicit Follower(const std::function<int(const std::function<void()>&, int)>& follow) {
        child_ = ::fork();
        if (child_ < 0) throw std::runtime_error("no process");
        if (child_ == 0) run(follow);
        result_.in = FileDescriptor();
    }
    ~Follower() {
        ::kill(child_, SIGKILL);
        ::waitpid(child_, nullptr, 0);
    }
    Follower(const Follower&) = delete;
    Follower& operator=(const Follower&) = delete;

    void awaitReady() const {
        char ready = 0;
        if (::read(result_.out.number(), &ready, 1) != 1)
            throw std::runtime_error("a follower doesn't start");
    }
    Followed finish() {
        Followed followed;
        if (::write(end_.in.number(), "e", 1) != 1) throw std::runtime_error("a follower can't be ended");
        if (::read(result_.out.number(), &followed, sizeof followed) != sizeof followed)
            throw std::runtime_error("a follower has no result");
        return followed;
    }

private:
    [[noreturn]] void run(const std::function<int(const std::function<void()>&, int)>& follow) {
        double start = 0;
        Followed followed;
        followed.changes = follow(
            [&] {
                start = processorSeconds();
                if (::write(result_.in.number(), "r", 1) != 1) ::_exit(EXIT_FAILURE);
            },
            end_.out.number());
        followed.processorSeconds = processorSeconds() - start;
        const bool isWritten = ::write(result_.in.number(), &followed, sizeof followed) == sizeof followed;
        ::_exit(isWritten ? EXIT_SUCCESS : EXIT_FAILURE);
    }

    Pipe end_, result_;
    pid_t child_ = -1;
};

/// As `ledgerfern-cli watch` and the application do, without the scan.
int followEvents(const std::string& root, const std::function<void()>& onReady, int end) {
    const auto events = ledgerfern::fileEvents({root});
    int changes = 0;
    std::thread thread([&] { ledgerfern::runDebounced(*events, [&] { ++changes; }); });
    onReady();
    pollfd waiting{end, POLLIN, 0};
    ::poll(&waiting, 1, -1);
    events->stop();
    thread.join();
    return changes;
}

/// Reads the events of the log's folder and sets a timer back with each reading.
int followBare(const std::string& folder, const std::function<void()>& onReady, int end) {
    const FileDescriptor events(::inotify_init1(IN_CLOEXEC));
    const FileDescriptor timer(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC));
    ::inotify_add_watch(events.number(), folder.c_str(),
                        IN_CREATE | IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO |
                            IN_DELETE | IN_DELETE_SELF);
    const itimerspec quiet{{0, 0}, {1, 500'000'000}};
    std::array<char, 16384> buffer{};
    std::uint64_t count = 0;
    int changes = 0;
    onReady();
    while (true) {
        std::array<pollfd, 3> waiting{
            {{end, POLLIN, 0}, {events.number(), POLLIN, 0}, {timer.number(), POLLIN, 0}}};
        ::poll(waiting.data(), waiting.size(), -1);
        if (waiting[0].revents != 0) return changes;
        if (waiting[1].revents != 0 && ::read(events.number(), buffer.data(), buffer.size()) > 0)
            ::timerfd_settime(timer.number(), 0, &quiet, nullptr);
        if (waiting[2].revents != 0 && ::read(timer.number(), &count, sizeof count) == sizeof count)
            ++changes;
    }
}

/// A home folder whose only root is the one that is given.
std::string makeHome(const std::string& folder, const std::string& root) {
    const std::string home = folder + "/home";
    std::filesystem::create_directories(home + "/.codex");
    std::filesystem::create_directory_symlink(root, home + "/.codex/sessions");
    return home;
}

/// Counts the application's scans of a log that has changed, by what they write to its cache.
class Scans {
public:
    explicit Scans(const std::string& home)
        : journal_(home + "/Library/Application Support/Ledgerfern/filecache.sqlite-wal"),
          last_(std::filesystem::last_write_time(journal_)) {}

    /// To be called more than once a second: two scans are further apart than that.
    void look() {
        const auto written = std::filesystem::last_write_time(journal_);
        if (written - last_ > std::chrono::seconds(1)) ++count_;
        last_ = written;
    }
    int count() const { return count_; }

private:
    std::string journal_;
    std::filesystem::file_time_type last_;
    int count_ = 0;
};

/// Appends lines as an agent does, each at its time, and looks at the scans.
void append(const std::string& log, const Options& options, Scans& scans) {
    const std::string line(400, 'x');
    const auto start = std::chrono::steady_clock::now();
    FileDescriptor file;
    const auto lines = static_cast<int>(options.seconds * options.rate);
    for (int i = 0; i < lines; ++i) {
        std::this_thread::sleep_until(start + std::chrono::duration<double>(i / options.rate));
        if (!file.isOpen()) file = FileDescriptor::open(log, O_WRONLY | O_CREAT | O_APPEND, 0600);
        if (::write(file.number(), line.data(), line.size()) < 0) throw std::runtime_error("can't append");
        if (!options.keepsOpen) file = FileDescriptor();
        scans.look();
    }
}

/// Until every follower has told of the last line.
void awaitEnd(Scans& scans) {
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::duration<double>(ledgerfern::quietSpell + 1);
    while (std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        scans.look();
    }
}

/// A tree of as many folders as a year of sessions has; gives the last one.
std::string makeFolders(const std::string& root, int count) {
    std::string last = root;
    for (int i = 0; i < count; ++i) {
        last = root + "/" + std::to_string(i);
        std::filesystem::create_directories(last);
    }
    return last;
}

double ratio(const Followed& followed, const Followed& least) {
    return followed.processorSeconds / least.processorSeconds;
}

void print(const char* name, const Followed& followed, const Followed& least, double seconds) {
    std::printf("| %s | %.2f ms | %.4f %% | %.2f × bare | %d |\n", name, followed.processorSeconds * 1e3,
                followed.processorSeconds / seconds * 100, ratio(followed, least), followed.changes);
}

/// Whether the bounds are kept.
bool measure(const Options& options) {
    const auto folder = ledgerfern::TemporaryFolder::create();
    if (!folder) throw std::runtime_error("no temporary folder");
    const std::string root = folder->path() + "/root";
    const std::string last = makeFolders(root, options.folders);
    const std::string home = makeHome(folder->path(), root);
    Follower ours([&](const auto& onReady, int end) { return followEvents(root, onReady, end); });
    ours.awaitReady();
    Follower bare([&](const auto& onReady, int end) { return followBare(last, onReady, end); });
    bare.awaitReady();
    const ledgerfern::bench::AppProcess application(home);
    application.awaitRest();
    Scans scans(home);
    const double before = application.processorSeconds();
    append(last + "/log.jsonl", options, scans);
    const Followed following{application.processorSeconds() - before, scans.count()};
    awaitEnd(scans);
    const Followed whole{application.processorSeconds() - before, scans.count()};
    const Followed followed = ours.finish(), least = bare.finish();
    std::printf("%.0f appended lines a second for %.0f seconds, %d folders\n\n", options.rate,
                options.seconds, options.folders);
    std::printf(
        "| Program | Processor time | Of one processor | Against | Changes told |\n|---|---|---|---|---|\n");
    print("bare", least, least, options.seconds);
    print("file events and debounce", followed, least, options.seconds);
    print("application, until the last line", following, least, options.seconds);
    print("application, with its scan", whole, least, options.seconds);
    return followed.changes == 1 && whole.changes == 1 && ratio(followed, least) <= 2;
}

int run(int argc, char** argv) {
    Options options;
    CLI::App app{"Measures what it takes to follow a log that is appended to."};
    app.add_option("--seconds", options.seconds, "How long lines are appended")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--rate", options.rate, "Lines a second, more than one")
        ->check(CLI::Range(1.0, 10000.0))
        ->capture_default_str();
    app.add_option("--folders", options.folders, "Folders that are watched")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_flag("--keep-open", options.keepsOpen, "Don't close the log between two lines");
    CLI11_PARSE(app, argc, argv);
    if (measure(options)) return EXIT_SUCCESS;
    std::fprintf(stderr, "events_bench: a bound isn't kept: one change, and twice the bare program's time\n");
    return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        ledgerfern::bench::enterDesktop(argv);
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "events_bench: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
