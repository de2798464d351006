#pragma once

#include <string_view>

/// File paths as bytes, taken apart without asking the file system. The results are views of the path.
namespace ledgerfern {

/// What stands behind the last "/"; "/" at the end of the path is ignored. "/" for a path of nothing else,
/// empty for an empty path.
std::string_view lastPathComponent(std::string_view path);

/// What stands behind the last "." of the last component: "jsonl" for "a/b.jsonl". Empty for a component
/// without ".", and for one whose only "." stands first (".jsonl"), for "a.", "." and "..".
std::string_view pathExtension(std::string_view path);

/// The path without its last component and the "/" before it: "/a" for "/a/b/". "/" for "/a" and for "/"
/// itself, empty for a path of one relative component.
std::string_view parentPath(std::string_view path);

}  // namespace ledgerfern
