#include "tool/ToolProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <utility>

namespace ledgerfern {

namespace {

/// Two ends: what the program writes to, and where the test reads that.
struct Channel {
    int programEnd = -1;
    int testEnd = -1;
};

constexpr int patience = 60'000;  // milliseconds

void require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

Channel makePipe() {
    std::array<int, 2> ends{};
    require(::pipe(ends.data()) == 0, "no pipe");
    // The program must not hold both ends of it.
    require(::fcntl(ends[0], F_SETFD, FD_CLOEXEC) == 0, "no pipe");
    return {ends[1], ends[0]};
}

/// A terminal that hands on bytes as they are.
Channel makeTerminal(unsigned short columns) {
    Channel channel;
    channel.testEnd = ::posix_openpt(O_RDWR | O_NOCTTY);
    require(channel.testEnd >= 0 && ::grantpt(channel.testEnd) == 0 && ::unlockpt(channel.testEnd) == 0,
            "no terminal");
    channel.programEnd = ::open(::ptsname(channel.testEnd), O_RDWR | O_NOCTTY);
    require(channel.programEnd >= 0, "no terminal");
    termios settings{};
    require(::tcgetattr(channel.programEnd, &settings) == 0, "no settings");
    ::cfmakeraw(&settings);
    require(::tcsetattr(channel.programEnd, TCSANOW, &settings) == 0, "no settings");
    const winsize size{24, columns, 0, 0};
    require(::ioctl(channel.programEnd, TIOCSWINSZ, &size) == 0, "no size");
    return channel;
}

Channel makeOut(const ToolRun& run) {
    if (run.outColumns) return makeTerminal(*run.outColumns);
    if (!run.outFile.empty()) return {::open(run.outFile.c_str(), O_WRONLY), -1};
    Channel channel = makePipe();
    if (run.outIsClosedPipe) {
        ::close(channel.testEnd);
        channel.testEnd = -1;
    }
    return channel;
}

void closeIfOpen(int descriptor) {
    if (descriptor >= 0) ::close(descriptor);
}

[[noreturn]] void start(const ToolRun& run, int out, int err) {
    std::vector<std::string> texts;
    texts.reserve(run.environment.size());
    for (const auto& [name, value] : run.environment)
        texts.emplace_back(name).append("=").append(value);
    std::vector<char*> environment, arguments;
    for (std::string& text : texts)
        environment.push_back(text.data());
    environment.push_back(nullptr);
    std::vector<std::string> words = run.arguments;
    words.insert(words.begin(), LEDGERFERN_CLI);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    if (run.mostFileBytes) {
        const rlimit limit{*run.mostFileBytes, *run.mostFileBytes};
        if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) ::_exit(127);
    }
    ::dup2(::open("/dev/null", O_RDONLY), STDIN_FILENO);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    ::execve(LEDGERFERN_CLI, arguments.data(), environment.data());
    ::_exit(127);
}

}  // namespace

ToolProcess::ToolProcess(const ToolRun& run) {
    const Channel out = makeOut(run);
    const Channel err = run.errIsTerminal ? makeTerminal(80) : makePipe();
    child_ = ::fork();
    require(child_ >= 0, "no process");
    if (child_ == 0) start(run, out.programEnd, err.programEnd);
    closeIfOpen(out.programEnd);
    closeIfOpen(err.programEnd);
    sources_ = {out.testEnd, err.testEnd};
}

ToolProcess::~ToolProcess() {
    for (const int source : sources_)
        closeIfOpen(source);
    if (child_ < 0) return;
    ::kill(child_, SIGKILL);
    ::waitpid(child_, nullptr, 0);
}

/// Takes what there is to read, waiting for it; false where both are at their ends. A program that says
/// nothing for so long that it hangs is killed. A terminal whose other side is closed gives an error.
bool ToolProcess::readSome() {
    std::array<pollfd, 2> requests = {{{sources_[0], POLLIN, 0}, {sources_[1], POLLIN, 0}}};
    if (sources_[0] < 0 && sources_[1] < 0) return false;
    if (::poll(requests.data(), requests.size(), patience) == 0) ::kill(child_, SIGKILL);
    for (std::size_t i = 0; i < requests.size(); ++i) {
        if (sources_[i] < 0 || requests[i].revents == 0) continue;
        std::array<char, 4096> buffer{};
        const ssize_t count = ::read(sources_[i], buffer.data(), buffer.size());
        if (count > 0) {
            (i == 0 ? outcome_.out : outcome_.err).append(buffer.data(), static_cast<std::size_t>(count));
            continue;
        }
        ::close(sources_[i]);
        sources_[i] = -1;
    }
    return true;
}

bool ToolProcess::awaitText(std::size_t source, const std::string& read, std::string_view text) {
    while (read.find(text) == std::string::npos)
        if (sources_.at(source) < 0 || !readSome()) return false;
    return true;
}

bool ToolProcess::awaitErr(std::string_view text) {
    return awaitText(1, outcome_.err, text);
}

bool ToolProcess::awaitOut(std::string_view text) {
    return awaitText(0, outcome_.out, text);
}

void ToolProcess::closeOut() {
    closeIfOpen(std::exchange(sources_[0], -1));
}

void ToolProcess::signal(int number) const {
    ::kill(child_, number);
}

ToolOutcome ToolProcess::await() {
    while (readSome()) {
    }
    int status = 0;
    require(::waitpid(child_, &status, 0) == child_, "no status");
    child_ = -1;
    outcome_.wasKilled = WIFSIGNALED(status);
    outcome_.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return std::move(outcome_);
}

ToolOutcome runTool(const ToolRun& run) {
    return ToolProcess(run).await();
}

}  // namespace ledgerfern
