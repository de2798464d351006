#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <ostream>

namespace ledgerfern {

int runCommandLine(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
    CLI::App app{"Usage analytics from the session logs of AI coding agents"};
    app.set_version_flag("--version", LEDGERFERN_VERSION);
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& error) {
        return app.exit(error, out, err);
    }
    return 0;
}

}  // namespace ledgerfern
