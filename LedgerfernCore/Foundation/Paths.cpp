#include "Foundation/Paths.h"

namespace ledgerfern {

namespace {

/// The path without "/" at its end, save that a path of nothing but "/" keeps one.
std::string_view withoutTrailingSlashes(std::string_view path) {
    const std::size_t last = path.find_last_not_of('/');
    return path.substr(0, last == std::string_view::npos ? 1 : last + 1);
}

}  // namespace

std::string_view lastPathComponent(std::string_view path) {
    path = withoutTrailingSlashes(path);
    if (path == "/") return path;
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::string_view pathExtension(std::string_view path) {
    const std::string_view name = lastPathComponent(path);
    const std::size_t point = name.rfind('.');
    if (point == std::string_view::npos || point == 0) return {};
    return name.substr(point + 1);
}

std::string_view parentPath(std::string_view path) {
    path = withoutTrailingSlashes(path);
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? std::string_view{}
                                           : withoutTrailingSlashes(path.substr(0, slash + 1));
}

}  // namespace ledgerfern
