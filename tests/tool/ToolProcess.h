#pragma once

#include <sys/types.h>

#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ledgerfern {

/// How the program is to be run.
struct ToolRun {
    std::vector<std::string> arguments;
    std::map<std::string, std::string> environment;  ///< All that it sees.
    std::optional<unsigned short> outColumns;        ///< Standard output is a terminal of that width.
    bool errIsTerminal = false;
    std::string outFile;  ///< Standard output goes there.
    bool outIsClosedPipe = false;
    std::optional<std::size_t> mostFileBytes;  ///< No file may grow larger.
};

struct ToolOutcome {
    int status = -1;         ///< Exit status; above 128 a signal.
    bool wasKilled = false;  ///< By a signal.
    std::string out;
    std::string err;
};

/// The program while it runs. One that isn't awaited is killed.
class ToolProcess {
public:
    explicit ToolProcess(const ToolRun& run);
    ~ToolProcess();
    ToolProcess(const ToolProcess&) = delete;
    ToolProcess& operator=(const ToolProcess&) = delete;

    /// Waits until standard error holds the text, or the program has closed it; tells which.
    bool awaitErr(std::string_view text);
    /// The same of standard output.
    bool awaitOut(std::string_view text);
    /// Forgets what has been read from standard output so far.
    void dropOut() { outcome_.out.clear(); }
    /// Reads no more of standard output.
    void closeOut();
    /// Sends it a signal.
    void signal(int number) const;
    /// Waits for its end.
    ToolOutcome await();

private:
    bool readSome();
    bool awaitText(std::size_t source, const std::string& read, std::string_view text);

    pid_t child_ = -1;
    std::array<int, 2> sources_ = {-1, -1};  // standard output and standard error, until their ends
    ToolOutcome outcome_;
};

/// Runs the program to its end.
ToolOutcome runTool(const ToolRun& run);

}  // namespace ledgerfern
