#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "Console.h"
#include "Output.h"

namespace ledgerfern {

/// An output into a text, from whatever threads.
class TextOutput final : public Output {
public:
    explicit TextOutput(std::optional<std::size_t> terminalColumns = std::nullopt)
        : columns_(terminalColumns) {}

    Written write(std::string_view text) override {
        const std::lock_guard lock(mutex_);
        if (outcome.outcome != Written::Outcome::whole) return outcome;
        text_ += text;
        changed_.notify_all();
        return {};
    }
    bool isTerminal() const override { return columns_.has_value(); }
    std::optional<std::size_t> columns() const override { return columns_; }

    std::string text() const {
        const std::lock_guard lock(mutex_);
        return text_;
    }
    void waitForText() const {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return !text_.empty(); });
    }

    Written outcome;  ///< What writing comes to.

private:
    std::optional<std::size_t> columns_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::string text_;
};

/// A console whose outputs are texts.
struct TextConsole {
    explicit TextConsole(std::optional<std::size_t> terminalColumns = std::nullopt)
        : out(terminalColumns), console{out, err, false} {}

    TextOutput out;
    TextOutput err;
    Console console;
};

}  // namespace ledgerfern
