#pragma once

#include <string>

/// Paths as bytes.
namespace ledgerfern {

/// The path made absolute by the working directory, without "." or "..", double or trailing "/". Nothing is
/// looked up, so links stay as they are. A relative path stays one where the working directory is gone.
std::string lexicallyAbsolute(const std::string& path);

/// Where the links of a path's last component lead to, whether there is something or not. The path itself
/// where it is no link.
std::string linkTarget(const std::string& path);

/// The user's home directory: the environment's HOME, otherwise that of the user's account, otherwise "/".
std::string homeDirectory();

/// Where the program keeps its own files: "Library/Application Support/Ledgerfern" below the home directory.
/// It needn't exist.
std::string supportDirectory();

}  // namespace ledgerfern
