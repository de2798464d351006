// A signal's handler may do next to nothing, so it writes a byte to a pair of sockets, whose other end the
// event loop reads.
#include "Application/EndSignals.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <utility>

#include "Foundation/Check.h"

namespace ledgerfern {

namespace {

constexpr std::array endingSignals = {SIGHUP, SIGINT, SIGTERM};

std::atomic<int> toldNumber = -1;

extern "C" void tellSignal(int /*signal*/) {
    const int before = errno;
    const char byte = 0;
    // Full, it has been told already.
    [[maybe_unused]] const ssize_t written = ::write(toldNumber, &byte, 1);
    errno = before;
}

void prepare(const FileDescriptor& end) {
    ::fcntl(end.number(), F_SETFD, FD_CLOEXEC);
    ::fcntl(end.number(), F_SETFL, O_NONBLOCK);
}

std::pair<FileDescriptor, FileDescriptor> socketPair() {
    int numbers[2];
    check(::socketpair(AF_UNIX, SOCK_STREAM, 0, numbers) == 0, "no sockets for signals");
    std::pair<FileDescriptor, FileDescriptor> ends{numbers[0], numbers[1]};
    prepare(ends.first);
    prepare(ends.second);
    return ends;
}

void handle(int signal, struct sigaction& before) {
    struct sigaction handling{};
    handling.sa_handler = tellSignal;
    handling.sa_flags = SA_RESTART;
    ::sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) ::sigaction(signal, &handling, nullptr);
}

}  // namespace

EndSignals::EndSignals(std::function<void()> onSignal) : onSignal_(std::move(onSignal)) {
    std::tie(heard_, told_) = socketPair();
    check(toldNumber.exchange(told_.number()) == -1, "signals have one handler at a time");
    notifier_ = std::make_unique<QSocketNotifier>(heard_.number(), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { readSignals(); });
    for (std::size_t i = 0; i < endingSignals.size(); ++i)
        handle(endingSignals[i], before_[i]);
}

EndSignals::~EndSignals() {
    for (std::size_t i = 0; i < endingSignals.size(); ++i)
        ::sigaction(endingSignals[i], &before_[i], nullptr);
    toldNumber = -1;
}

void EndSignals::readSignals() {
    char bytes[64];
    if (::read(heard_.number(), bytes, sizeof bytes) > 0) onSignal_();
}

}  // namespace ledgerfern
