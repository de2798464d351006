#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace ledgerfern {

/// How writing went.
struct [[nodiscard]] Written {
    enum class Outcome {
        whole,
        closed,  ///< Nobody reads any more: a closed pipe.
        failed,
    };

    Outcome outcome = Outcome::whole;
    std::string reason;  ///< Of a failure, in the system's words.

    explicit operator bool() const { return outcome == Outcome::whole; }
};

/// Where a command writes to: standard output and standard error, or a test's text.
class Output {
public:
    virtual ~Output() = default;

    /// Writes the whole text, unbuffered.
    virtual Written write(std::string_view text) = 0;
    virtual bool isTerminal() const = 0;
    /// Columns of the terminal; absent where it isn't one, or doesn't say.
    virtual std::optional<std::size_t> columns() const = 0;
    /// The open file of the process that is written to; absent where it is none.
    virtual std::optional<int> descriptor() const { return std::nullopt; }
};

/// An open file of the process, which is ready for SIGPIPE to be ignored.
class DescriptorOutput final : public Output {
public:
    explicit DescriptorOutput(int descriptor) : descriptor_(descriptor) {}

    Written write(std::string_view text) override;
    bool isTerminal() const override;
    std::optional<std::size_t> columns() const override;
    std::optional<int> descriptor() const override { return descriptor_; }

private:
    int descriptor_;
};

}  // namespace ledgerfern
