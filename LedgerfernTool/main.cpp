#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "CommandLine.h"

int main(int argc, char** argv) {
    // A reader that goes away is seen where writing fails.
    std::signal(SIGPIPE, SIG_IGN);
    const char* const noColor = std::getenv("NO_COLOR");
    ledgerfern::DescriptorOutput out(STDOUT_FILENO);
    ledgerfern::DescriptorOutput err(STDERR_FILENO);
    ledgerfern::Console console{out, err, noColor != nullptr && *noColor != '\0'};
    return ledgerfern::runCommandLine({argv + 1, argv + argc}, console);
}
