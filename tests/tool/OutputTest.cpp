#include "Output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <thread>

namespace ledgerfern {
namespace {

/// Both ends of a pipe that doesn't wait, with SIGPIPE ignored as the program has it.
class Pipe {
public:
    Pipe() {
        if (::pipe(ends_.data()) != 0 || ::fcntl(ends_[1], F_SETFL, O_NONBLOCK) != 0) std::abort();
        previous_ = std::signal(SIGPIPE, SIG_IGN);
    }
    ~Pipe() {
        closeReader();
        closeWriter();
        std::signal(SIGPIPE, previous_);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int writer() const { return ends_[1]; }
    void closeReader() { close(ends_[0]); }
    void closeWriter() { close(ends_[1]); }
    std::size_t countAll() const {
        std::array<char, 4096> buffer{};
        std::size_t count = 0;
        for (ssize_t n = 0; (n = ::read(ends_[0], buffer.data(), buffer.size())) > 0;)
            count += static_cast<std::size_t>(n);
        return count;
    }

private:
    static void close(int& descriptor) {
        if (descriptor >= 0) ::close(descriptor);
        descriptor = -1;
    }

    std::array<int, 2> ends_{};
    void (*previous_)(int) = nullptr;
};

TEST(DescriptorOutput, writesAllToAPipeThatDoesNotWait) {
    Pipe pipe;
    std::size_t count = 0;
    std::thread reader([&] { count = pipe.countAll(); });
    DescriptorOutput output(pipe.writer());
    EXPECT_TRUE(output.write(std::string(1'000'000, 'x')));
    pipe.closeWriter();
    reader.join();
    EXPECT_EQ(count, 1'000'000u);
}

TEST(DescriptorOutput, tellsThatNobodyReads) {
    Pipe pipe;
    pipe.closeReader();
    EXPECT_EQ(DescriptorOutput(pipe.writer()).write("x").outcome, Written::Outcome::closed);
}

TEST(DescriptorOutput, tellsWhyItFails) {
    const Written written = DescriptorOutput(-1).write("x");
    EXPECT_EQ(written.outcome, Written::Outcome::failed);
    EXPECT_EQ(written.reason, "Bad file descriptor");
}

TEST(DescriptorOutput, isNoTerminalWhereItIsAPipe) {
    const Pipe pipe;
    EXPECT_FALSE(DescriptorOutput(pipe.writer()).isTerminal());
    EXPECT_EQ(DescriptorOutput(pipe.writer()).columns(), std::nullopt);
}

}  // namespace
}  // namespace ledgerfern
