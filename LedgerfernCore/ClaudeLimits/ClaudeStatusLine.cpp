#include "ClaudeLimits/ClaudeStatusLine.h"

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "ClaudeLimits/StatusLineScript.h"
#include "Foundation/Files.h"
#include "Foundation/JsonDocument.h"
#include "Foundation/Locations.h"
#include "Foundation/UnicodeText.h"

namespace ledgerfern::ClaudeStatusLine {

namespace {

namespace fs = std::filesystem;
using Object = JsonNode::Object;

std::string shown(const std::string& path) {
    return "“" + repairedUtf8(path) + "”";
}

std::string inFolder(const std::string& folder, std::string_view name) {
    return folder + "/" + std::string(name);
}

/// The settings, or why they can't be read.
struct Settings {
    Object members;
    Result result;
};

Settings settingsOf(const std::string& path, std::string_view bytes) {
    if (bytes.empty()) return {};
    JsonErrorPlace place;
    auto document = readJsonDocument(bytes, place);
    if (!document)
        return {{},
                {shown(path) + " isn't valid JSON (line " + std::to_string(place.line) + ", column " +
                 std::to_string(place.column) + ") and stays as it is; correct it, and try again"}};
    if (auto* const object = document->as<Object>()) return {std::move(*object), {}};
    return {{}, {repairedUtf8(path) + " isn't a JSON object; not changing it."}};
}

Result unreadable(const std::string& path, int error) {
    return {"can't read " + shown(path) + ": " + std::generic_category().message(error)};
}

Settings readSettings(const std::string& path) {
    struct stat attributes{};
    if (::stat(path.c_str(), &attributes) != 0) {
        if (errno == ENOENT) return {};
        return {{}, unreadable(path, errno)};
    }
    if (S_ISDIR(attributes.st_mode)) return {{}, unreadable(path, EISDIR)};
    errno = 0;
    const auto bytes = readWholeFile(path);
    if (!bytes) return {{}, unreadable(path, errno == 0 ? EINVAL : errno)};
    return settingsOf(path, *bytes);
}

Result createFolder(const std::string& path) {
    std::error_code error;
    fs::create_directories(path, error);
    if (error) return {"can't make the folder " + shown(path) + ": " + error.message()};
    return {};
}

Result writeSettings(Object settings, const std::string& path, WriteSteps& steps) {
    const std::string target = linkTarget(path);
    if (auto made = createFolder(fs::path(target).parent_path()); !made) return made;
    return writeAtomically(target, jsonText({std::move(settings)}), std::nullopt, steps);
}

/// The status line's command; null where it has none.
const std::string* commandOf(const Object& settings) {
    const auto found = settings.find("statusLine");
    const auto* const statusLine = found == settings.end() ? nullptr : found->second.as<Object>();
    if (!statusLine) return nullptr;
    const auto command = statusLine->find("command");
    return command == statusLine->end() ? nullptr : command->second.as<std::string>();
}

bool isOurs(const Object& settings, const std::string& supportDirectory) {
    const std::string* const command = commandOf(settings);
    return command && *command == wrapperCommand(supportDirectory);
}

/// The settings couldn't name the script.
Result requireUtf8Path(const std::string& supportDirectory) {
    if (isValidUtf8(supportDirectory)) return {};
    return {"the path " + shown(supportDirectory) +
            " isn't UTF-8, so Claude Code's settings can't hold it; rename its folders, and try again"};
}

/// What isn't UTF-8 couldn't be put back.
Result requireUtf8Command(const Object& settings, const std::string& settingsPath) {
    const std::string* const command = commandOf(settings);
    if (!command || isValidUtf8(*command)) return {};
    return {"the status line's command in " + shown(settingsPath) +
            " holds half of a surrogate pair, which can't be saved; correct it, and try again"};
}

/// Keeps the first state of the settings, unless there are none.
Result backUp(const std::string& settingsPath, WriteSteps& steps) {
    const std::string backup = settingsPath + std::string(backupExtension);
    struct stat attributes{};
    if (::lstat(backup.c_str(), &attributes) == 0) return {};
    if (::stat(settingsPath.c_str(), &attributes) != 0) return {};
    const auto bytes = readWholeFile(settingsPath);
    if (!bytes) return unreadable(settingsPath, errno);
    return writeAtomically(backup, *bytes, attributes.st_mode & 0777, steps);
}

Result writeScript(const std::string& supportDirectory, WriteSteps& steps) {
    constexpr mode_t runnable = 0755;
    return writeAtomically(inFolder(supportDirectory, scriptName), script(supportDirectory), runnable, steps);
}

/// For the user's eyes alone, since the settings that it comes from may be that too.
Result saveFormerCommand(const Object& settings, const std::string& supportDirectory, WriteSteps& steps) {
    constexpr mode_t usersAlone = 0600;
    const std::string* const command = commandOf(settings);
    return writeAtomically(inFolder(supportDirectory, originalName), command ? *command : std::string(),
                           usersAlone, steps);
}

/// What is to become of the settings' status line; an object, whatever was there.
Object& statusLineOf(Object& settings) {
    JsonNode& statusLine = settings["statusLine"];
    if (!statusLine.as<Object>()) statusLine = {Object{}};
    return *statusLine.as<Object>();
}

}  // namespace

std::string defaultSettingsPath() {
    return homeDirectory() + "/.claude/settings.json";
}

std::string wrapperCommand(const std::string& supportDirectory) {
    return "bash \"" + inFolder(supportDirectory, scriptName) + "\"";
}

std::string script(const std::string& supportDirectory) {
    std::string text = R"sh(#!/bin/bash
# Ledgerfern: saves Claude Code's status-line JSON (incl. rate limits)
# for the menu bar, then runs your original status line unchanged.
# Remove from Ledgerfern → Settings → Claude limits.
dir=")sh";
    text += supportDirectory;
    text += R"sh("
input=$(cat)
printf '%s' "$input" > "$dir/claude-status.json.tmp" && mv -f "$dir/claude-status.json.tmp" "$dir/claude-status.json"
if [ -s "$dir/claude-statusline-original" ]; then
  printf '%s' "$input" | bash -c "$(cat "$dir/claude-statusline-original")"
else
)sh";
    text += ownLine;
    text += R"sh(  printf '%s' "$line"
fi
)sh";
    return text;
}

bool isInstalled(const std::string& settingsPath, const std::string& supportDirectory) {
    const Settings settings = readSettings(settingsPath);
    return settings.result && isOurs(settings.members, supportDirectory);
}

Result install(const std::string& settingsPath, const std::string& supportDirectory, WriteSteps& steps) {
    if (auto valid = requireUtf8Path(supportDirectory); !valid) return valid;
    if (auto made = createFolder(supportDirectory); !made) return made;
    Settings settings = readSettings(settingsPath);
    if (!settings.result) return settings.result;
    if (auto valid = requireUtf8Command(settings.members, settingsPath); !valid) return valid;
    if (auto written = writeScript(supportDirectory, steps); !written) return written;
    // The former command is saved already, and would be lost.
    if (isOurs(settings.members, supportDirectory)) return {};
    if (auto kept = backUp(settingsPath, steps); !kept) return kept;
    if (auto saved = saveFormerCommand(settings.members, supportDirectory, steps); !saved) return saved;
    Object& statusLine = statusLineOf(settings.members);
    statusLine["type"] = {std::string("command")};
    statusLine["command"] = {wrapperCommand(supportDirectory)};
    return writeSettings(std::move(settings.members), settingsPath, steps);
}

Result uninstall(const std::string& settingsPath, const std::string& supportDirectory, WriteSteps& steps) {
    Settings settings = readSettings(settingsPath);
    if (!settings.result) return settings.result;
    if (!isOurs(settings.members, supportDirectory)) return {};
    const std::string saved = inFolder(supportDirectory, originalName);
    const std::string former = readWholeFile(saved).value_or("");
    if (former.empty() || !isValidUtf8(former))
        settings.members.erase("statusLine");
    else
        statusLineOf(settings.members)["command"] = {former};
    if (auto written = writeSettings(std::move(settings.members), settingsPath, steps); !written)
        return written;
    steps.remove(saved);
    return {};
}

Result install(const std::string& settingsPath, const std::string& supportDirectory) {
    WriteSteps steps;
    return install(settingsPath, supportDirectory, steps);
}

Result uninstall(const std::string& settingsPath, const std::string& supportDirectory) {
    WriteSteps steps;
    return uninstall(settingsPath, supportDirectory, steps);
}

}  // namespace ledgerfern::ClaudeStatusLine
