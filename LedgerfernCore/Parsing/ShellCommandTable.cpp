#include "Parsing/ShellCommandTable.h"

#include <algorithm>

namespace ledgerfern {

namespace {

struct Row {
    std::string_view word;
    ShellFamily family;
};

constexpr Row rows[] = {
    {"awk", ShellFamily::reads},           {"brew", ShellFamily::packageInstalls},
    {"cargo", ShellFamily::builds},        {"cat", ShellFamily::reads},
    {"chmod", ShellFamily::fileChanges},   {"chown", ShellFamily::fileChanges},
    {"cmake", ShellFamily::builds},        {"cp", ShellFamily::fileChanges},
    {"curl", ShellFamily::network},        {"defaults", ShellFamily::fileChanges},
    {"diff", ShellFamily::reads},          {"dig", ShellFamily::network},
    {"dns-sd", ShellFamily::network},      {"du", ShellFamily::reads},
    {"file", ShellFamily::reads},          {"find", ShellFamily::reads},
    {"gem", ShellFamily::packageInstalls}, {"git", ShellFamily::git},
    {"gradle", ShellFamily::builds},       {"grep", ShellFamily::reads},
    {"head", ShellFamily::reads},          {"hostname", ShellFamily::system},
    {"jest", ShellFamily::tests},          {"kill", ShellFamily::system},
    {"killall", ShellFamily::system},      {"launchctl", ShellFamily::system},
    {"ln", ShellFamily::fileChanges},      {"ls", ShellFamily::reads},
    {"make", ShellFamily::builds},         {"mkdir", ShellFamily::fileChanges},
    {"mv", ShellFamily::fileChanges},      {"nc", ShellFamily::network},
    {"node", ShellFamily::scripts},        {"npm", ShellFamily::packageManager},
    {"open", ShellFamily::system},         {"osascript", ShellFamily::scripts},
    {"pbcopy", ShellFamily::system},       {"pbpaste", ShellFamily::system},
    {"perl", ShellFamily::scripts},        {"ping", ShellFamily::network},
    {"pip", ShellFamily::packageInstalls}, {"pip3", ShellFamily::packageInstalls},
    {"plutil", ShellFamily::fileChanges},  {"pnpm", ShellFamily::packageManager},
    {"pod", ShellFamily::packageInstalls}, {"ps", ShellFamily::system},
    {"pytest", ShellFamily::tests},        {"python", ShellFamily::scripts},
    {"python3", ShellFamily::scripts},     {"rg", ShellFamily::reads},
    {"rm", ShellFamily::fileChanges},      {"rmdir", ShellFamily::fileChanges},
    {"ruby", ShellFamily::scripts},        {"scp", ShellFamily::network},
    {"scutil", ShellFamily::system},       {"sed", ShellFamily::reads},
    {"sort", ShellFamily::reads},          {"ssh", ShellFamily::network},
    {"stat", ShellFamily::reads},          {"strings", ShellFamily::reads},
    {"sw_vers", ShellFamily::system},      {"swift", ShellFamily::builds},
    {"sysctl", ShellFamily::system},       {"tail", ShellFamily::reads},
    {"tee", ShellFamily::fileChanges},     {"touch", ShellFamily::fileChanges},
    {"tuist", ShellFamily::builds},        {"uname", ShellFamily::system},
    {"uniq", ShellFamily::reads},          {"uptime", ShellFamily::system},
    {"vitest", ShellFamily::tests},        {"wc", ShellFamily::reads},
    {"wget", ShellFamily::network},        {"which", ShellFamily::reads},
    {"whoami", ShellFamily::system},       {"xcodebuild", ShellFamily::builds},
    {"xcrun", ShellFamily::builds},        {"yarn", ShellFamily::packageManager},
};
static_assert(std::ranges::is_sorted(rows, {}, &Row::word));

}  // namespace

ShellFamily shellFamily(std::string_view word) {
    const Row* row = std::ranges::lower_bound(rows, word, {}, &Row::word);
    return row != std::end(rows) && row->word == word ? row->family : ShellFamily::other;
}

}  // namespace ledgerfern
