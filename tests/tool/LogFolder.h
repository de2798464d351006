#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace ledgerfern {

/// A temporary folder, removed with all that is in it.
class LogFolder {
public:
    LogFolder();
    ~LogFolder();
    LogFolder(const LogFolder&) = delete;
    LogFolder& operator=(const LogFolder&) = delete;

    std::string path(std::string_view name = "") const;
    /// Writes a file, in folders that are made for it; gives its path.
    std::string write(std::string_view name, std::string_view content) const;

private:
    std::filesystem::path folder_;
};

/// Token counts so far, as a log tells them.
struct Cumulative {
    std::int64_t input = 0;
    std::int64_t cached = 0;
    std::int64_t output = 0;
    std::int64_t reasoning = 0;
    std::int64_t total = 0;
};

/// Puts together the lines of a Codex log. An empty time leaves the timestamp out.
class RolloutLog {
public:
    RolloutLog& line(std::string_view time, std::string_view type, std::string_view payload);
    RolloutLog& meta(std::string_view time, std::string_view cwd, std::string_view source = "\"cli\"");
    RolloutLog& model(std::string_view name);
    RolloutLog& user(std::string_view text);
    /// `limits` is the JSON of the reading, if there is one.
    RolloutLog& tokens(std::string_view time, const Cumulative& total, std::string_view limits = "");
    RolloutLog& raw(std::string_view text);
    const std::string& text() const { return text_; }

private:
    std::string text_;
};

/// The name of a log whose id is `id`, which has 35 characters.
std::string rolloutName(std::string_view id);

}  // namespace ledgerfern
