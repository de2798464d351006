#include "Output.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace ledgerfern {

namespace {

/// Another program may have made the file one that doesn't wait.
void waitUntilWritable(int descriptor) {
    pollfd request{descriptor, POLLOUT, 0};
    ::poll(&request, 1, -1);
}

Written failure(int error) {
    if (error == EPIPE) return {Written::Outcome::closed, {}};
    return {Written::Outcome::failed, std::generic_category().message(error)};
}

}  // namespace

Written DescriptorOutput::write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(descriptor_, text.data(), text.size());
        if (count >= 0)
            text.remove_prefix(static_cast<std::size_t>(count));
        else if (errno == EAGAIN || errno == EWOULDBLOCK)
            waitUntilWritable(descriptor_);
        else if (errno != EINTR)
            return failure(errno);
    }
    return {};
}

bool DescriptorOutput::isTerminal() const {
    return ::isatty(descriptor_) == 1;
}

std::optional<std::size_t> DescriptorOutput::columns() const {
    winsize size{};
    if (!isTerminal() || ::ioctl(descriptor_, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
        return std::nullopt;
    return size.ws_col;
}

}  // namespace ledgerfern
