#pragma once

#include <string_view>

namespace ledgerfern {

/// What a command word says about its command.
enum class ShellFamily {
    builds,
    packageManager,  ///< The argument decides.
    tests,
    git,
    reads,
    fileChanges,
    network,
    packageInstalls,
    scripts,
    system,
    other,  ///< No word of the table.
};

/// The family of a command word in lower case.
ShellFamily shellFamily(std::string_view word);

}  // namespace ledgerfern
