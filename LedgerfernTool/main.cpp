#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "CommandLine.h"

int main(int argc, char** argv) {
    // A reader that goes away is seen where writing fails.
    std::signal(SIGPIPE, SIG_IGN);
    // So is a limit on the size of files.
    std::signal(SIGXFSZ, SIG_IGN);
    ledgerfern::DescriptorOutput out(STDOUT_FILENO);
    ledgerfern::DescriptorOutput err(STDERR_FILENO);
    ledgerfern::Console console{out, err, std::getenv("NO_COLOR") != nullptr};
    return ledgerfern::runCommandLine({argv + 1, argv + argc}, console);
}
