#include "Console.h"

#include <algorithm>
#include <string>

#include "PrintableText.h"

namespace ledgerfern {

namespace {

constexpr std::size_t usualWidth = 80;
constexpr std::size_t leastWidth = 20;

}  // namespace

std::size_t Console::width() const {
    return std::max(leastWidth, out.columns().value_or(usualWidth));
}

int Console::print(std::string_view text) {
    return end(out.write(text));
}

int Console::end(const Written& written) {
    if (written.outcome != Written::Outcome::failed) return ExitStatus::ok;
    return fail(ExitStatus::failed, "can't write to standard output: " + written.reason);
}

void Console::warn(std::string_view sentence) {
    // There is nowhere to tell that this can't be written.
    static_cast<void>(err.write("ledgerfern-cli: " + printable(sentence) + "\n"));
}

int Console::fail(int status, std::string_view sentence) {
    warn(sentence);
    return status;
}

}  // namespace ledgerfern
