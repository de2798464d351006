#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "ClaudeLimits/ClaudeStatusLine.h"
#include "Foundation/Files.h"
#include "core/FileFixture.h"

namespace ledgerfern {

/// A folder of its own with Claude Code's settings and a support directory.
class ClaudeStatusLineFixture : public FileFixture {
protected:
    std::string settings() const { return path("claude/settings.json"); }
    std::string support() const { return path("Application Support/Ledgerfern"); }
    std::string wrapper() const { return ClaudeStatusLine::wrapperCommand(support()); }

    void writeSettings(const std::string& text) const { write("claude/settings.json", text); }
    std::string settingsText() const { return readWholeFile(settings()).value_or(""); }
    std::string former() const { return read(original); }
    bool exists(const std::string& name) const { return std::filesystem::exists(path(name)); }

    Result install() const { return ClaudeStatusLine::install(settings(), support()); }
    Result uninstall() const { return ClaudeStatusLine::uninstall(settings(), support()); }
    bool isInstalled() const { return ClaudeStatusLine::isInstalled(settings(), support()); }

    static constexpr const char* script = "Application Support/Ledgerfern/claude-statusline.sh";
    static constexpr const char* original = "Application Support/Ledgerfern/claude-statusline-original";
    static constexpr const char* backup = "claude/settings.json.ledgerfern-backup";
};

}  // namespace ledgerfern
