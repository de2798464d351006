#pragma once

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <utility>

#include "Foundation/Check.h"

namespace ledgerfern {

/// Another process that has something open. It makes it, prepares it, and keeps it until this object goes;
/// then it dies on the spot, without closing anything.
class OtherProgram {
public:
    template <class Open, class Prepare>
    OtherProgram(const Open& open, const Prepare& prepare)
        : OtherProgram(open, prepare, [](auto&) { return false; }) {}

    /// Does its work over and over, as long as that returns true.
    template <class Open, class Prepare, class Work>
    OtherProgram(const Open& open, const Prepare& prepare, const Work& work) {
        std::array<int, 2> ready{}, goodbye{};
        check(::pipe(ready.data()) == 0 && ::pipe(goodbye.data()) == 0, "no pipe for a test");
        process_ = ::fork();
        check(process_ >= 0, "no process for a test");
        if (process_ == 0) {
            ::close(goodbye[1]);
            auto thing = open();
            const char isReady = prepare(thing) ? 1 : 0;
            if (::write(ready[1], &isReady, 1) != 1) ::_exit(1);
            while (!isClosed(goodbye[0], 0) && work(thing)) {
            }
            isClosed(goodbye[0], -1);
            ::_exit(0);
        }
        ::close(goodbye[0]);
        ::close(ready[1]);
        goodbye_ = goodbye[1];
        char isReady = 0;
        isReady_ = ::read(ready[0], &isReady, 1) == 1 && isReady == 1;
        ::close(ready[0]);
    }
    OtherProgram(OtherProgram&& other) noexcept
        : process_(std::exchange(other.process_, -1)), goodbye_(other.goodbye_), isReady_(other.isReady_) {}
    OtherProgram& operator=(OtherProgram&&) = delete;
    ~OtherProgram() {
        if (process_ < 0) return;
        ::close(goodbye_);
        ::waitpid(process_, nullptr, 0);
    }

    /// Whether what it was to prepare went well.
    bool isReady() const { return isReady_; }

private:
    static bool isClosed(int pipe, int timeout) {
        struct pollfd waiting{pipe, POLLIN, 0};
        return ::poll(&waiting, 1, timeout) > 0;
    }

    pid_t process_ = -1;
    int goodbye_ = -1;
    bool isReady_ = false;
};

}  // namespace ledgerfern
