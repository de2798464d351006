#include "tool/ToolProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <stdexcept>

namespace ledgerfern {

namespace {

/// Two ends: what the program writes to, and where the test reads that.
struct Channel {
    int programEnd = -1;
    int testEnd = -1;
};

void require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

Channel makePipe() {
    std::array<int, 2> ends{};
    require(::pipe(ends.data()) == 0, "no pipe");
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
    ::dup2(::open("/dev/null", O_RDONLY), STDIN_FILENO);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    ::execve(LEDGERFERN_CLI, arguments.data(), environment.data());
    ::_exit(127);
}

/// Reads both to their ends. A terminal whose other side is closed gives an error there.
void readAll(int out, int err, ToolOutcome& outcome) {
    std::array<pollfd, 2> sources = {{{out, POLLIN, 0}, {err, POLLIN, 0}}};
    const std::array<std::string*, 2> texts = {&outcome.out, &outcome.err};
    while (sources[0].fd >= 0 || sources[1].fd >= 0) {
        if (::poll(sources.data(), sources.size(), -1) < 0) continue;
        for (std::size_t i = 0; i < sources.size(); ++i) {
            if (sources[i].fd < 0 || sources[i].revents == 0) continue;
            std::array<char, 4096> buffer{};
            const ssize_t count = ::read(sources[i].fd, buffer.data(), buffer.size());
            if (count > 0)
                texts[i]->append(buffer.data(), static_cast<std::size_t>(count));
            else
                sources[i].fd = -1;
        }
    }
}

}  // namespace

ToolOutcome runTool(const ToolRun& run) {
    const Channel out = makeOut(run);
    const Channel err = run.errIsTerminal ? makeTerminal(80) : makePipe();
    const pid_t child = ::fork();
    require(child >= 0, "no process");
    if (child == 0) start(run, out.programEnd, err.programEnd);
    closeIfOpen(out.programEnd);
    closeIfOpen(err.programEnd);
    ToolOutcome outcome;
    readAll(out.testEnd, err.testEnd, outcome);
    closeIfOpen(out.testEnd);
    closeIfOpen(err.testEnd);
    int status = 0;
    require(::waitpid(child, &status, 0) == child, "no status");
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return outcome;
}

}  // namespace ledgerfern
