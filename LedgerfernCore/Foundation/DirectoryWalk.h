#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Foundation/FileStat.h"

namespace ledgerfern {

struct WalkedFile {
    std::string path;              ///< `root`, "/" and the names below it, as bytes.
    std::optional<FileStat> stat;  ///< Of what a link leads to; absent where it can't be read.
};

/// Every entry below `root` whose extension is exactly "jsonl", in no order: files, links, and folders of
/// such a name, which are walked as well. Hidden entries count. A link to a folder isn't followed, but `root`
/// may be one. What isn't there or can't be read adds nothing.
std::vector<WalkedFile> walkLogFiles(const std::string& root);

/// The folders directly in a folder, as paths, in no order; links to folders aren't among them. None where it
/// can't be read, or is itself a link and links aren't to be followed.
std::vector<std::string> subfolders(const std::string& folder, bool followsLink);

}  // namespace ledgerfern
