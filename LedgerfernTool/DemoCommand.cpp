#include <cmath>
#include <optional>

#include "ClaudeLimits/ClaudeStatus.h"
#include "Commands.h"
#include "DemoClaude.h"
#include "DemoCodex.h"
#include "DemoHistory.h"
#include "DemoLimits.h"
#include "DemoPlan.h"
#include "Foundation/Clock.h"
#include "Foundation/DelayedSignals.h"
#include "Foundation/Locations.h"
#include "Foundation/Numbers.h"
#include "NewTree.h"
#include "PrintableText.h"
#include "Quoted.h"

namespace ledgerfern {

namespace {

struct DemoFile {
    std::string path;
    std::string bytes;
    DemoTime::Milliseconds modified;
};

DemoFile logFile(const DemoSession& session, const std::vector<DemoSession>& all) {
    const std::string parentId = session.parent ? all[*session.parent].id : std::string();
    if (session.agent == ToolKind::codex)
        return {DemoCodex::path(session), DemoCodex::log(session, parentId), session.end()};
    return {DemoClaude::path(session, parentId), DemoClaude::log(session, parentId), session.end()};
}

/// Writes a demo file by file, and counts the bytes.
class DemoWriter {
public:
    DemoWriter(NewTree& tree, const DelayedSignals& signals) : tree_(tree), signals_(signals) {}

    Result write(const DemoWish& wish) {
        const std::vector<DemoSession> sessions = planDemo(wish);
        if (Result result = tree_.begin(); !result) return result;
        for (const DemoSession& session : sessions)
            if (Result result = add(logFile(session, sessions)); !result) return result;
        if (Result result = add({".codex/session_index.jsonl", DemoCodex::threadNames(sessions), wish.now});
            !result)
            return result;
        if (Result result = addApplicationFiles(sessions, wish); !result) return result;
        return tree_.finish();
    }

    std::int64_t bytes() const { return bytes_; }

private:
    /// What the application keeps in its own folder.
    Result addApplicationFiles(const std::vector<DemoSession>& sessions, const DemoWish& wish) {
        const std::string folder = "Library/Application Support/Ledgerfern/";
        const DemoStatus status = claudeStatus(wish);
        if (Result result = add({folder + std::string(ClaudeStatus::fileName), status.text, status.toldAt});
            !result)
            return result;
        const std::string scratch = tree_.scratchPath("history");
        const auto history = demoHistory(scratch, sessions, wish);
        if (!history) return {"can't write " + inQuotes(scratch)};
        return add({folder + "snapshots.sqlite", *history, wish.now});
    }

    Result add(const DemoFile& file) {
        if (signals_.areWaiting()) return {"interrupted"};
        bytes_ += static_cast<std::int64_t>(file.bytes.size());
        return tree_.add(file.path, file.bytes, file.modified);
    }

    NewTree& tree_;
    const DelayedSignals& signals_;
    std::int64_t bytes_ = 0;
};

/// As a shell reads it back.
std::string shellWord(const std::string& text) {
    const bool isPlain =
        text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./-") ==
        std::string::npos;
    if (isPlain) return text;
    std::string word = "'";
    for (const char c : text)
        word += c == '\'' ? "'\\''" : std::string(1, c);
    return word + "'";
}

std::string doneText(const std::string& folder, std::size_t sessions, std::int64_t bytes) {
    return "Wrote " + std::to_string(sessions) + (sessions == 1 ? " session (" : " sessions (") +
           fixedText(static_cast<double>(bytes) / 1e6, 1) + " MB) to " + inQuotes(printable(folder)) +
           ".\nTo see them: HOME=" + printable(shellWord(folder)) + " ledgerfern-cli report\n";
}

}  // namespace

int runDemo(const Options& options, Console& console) {
    const double now = options.now ? *options.now : systemClock()();
    const DemoWish wish{options.seed, static_cast<DemoTime::Milliseconds>(std::floor(now * 1000)),
                        options.sessions};
    if (wish.now < earliestDemo)
        return console.fail(ExitStatus::badUsage,
                            "--now is too early for a demo, whose logs go back ten weeks; it takes " +
                                std::to_string(earliestDemo / DemoTime::second) + " and later");
    const std::string folder = lexicallyAbsolute(options.operand);
    const DelayedSignals signals;
    TreeSteps steps;
    NewTree tree(folder, steps);
    DemoWriter writer(tree, signals);
    if (const Result result = writer.write(wish); !result)
        return console.fail(ExitStatus::failed, *result.error);
    return console.print(doneText(folder, options.sessions, writer.bytes()));
}

}  // namespace ledgerfern
