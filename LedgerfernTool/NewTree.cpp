#include "NewTree.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "Quoted.h"

namespace ledgerfern {

namespace {

constexpr mode_t anyFilesMode = 0666;  // less what the user's mask takes away

namespace fs = std::filesystem;

void setModified(int file, long long milliseconds) {
    timespec time{};
    time.tv_sec = static_cast<time_t>(milliseconds / 1000);
    time.tv_nsec = static_cast<long>(milliseconds % 1000 * 1'000'000);
    const std::array<timespec, 2> times = {time, time};
    ::futimens(file, times.data());
}

/// Returns 0, or the error.
int writeWhole(int file, std::string_view bytes, WriteSteps& steps) {
    while (!bytes.empty()) {
        const ssize_t count = steps.write(file, bytes.data(), bytes.size());
        if (count > 0)
            bytes.remove_prefix(static_cast<std::size_t>(count));
        else if (count == 0)
            return EIO;
        else if (errno != EINTR)
            return errno;
    }
    return 0;
}

}  // namespace

int TreeSteps::makeFolder(const std::string& path) {
    return ::mkdir(path.c_str(), 0777);
}

NewTree::NewTree(std::string folder, TreeSteps& steps)
    : folder_(std::move(folder)), staging_(folder_ + "/.ledgerfern-demo"), steps_(steps) {}

NewTree::~NewTree() {
    static_cast<void>(abandon());
}

Result NewTree::failure(int error) {
    std::string sentence =
        "can't write the demo to " + inQuotes(folder_) + ": " + std::generic_category().message(error);
    if (const Result undone = abandon(); !undone) sentence += "; " + *undone.error;
    return {sentence};
}

Result NewTree::requireEmptyFolder() const {
    std::error_code error;
    if (!fs::is_directory(folder_, error))
        return {inQuotes(folder_) + " is no folder; demo takes a new or an empty one"};
    const bool isEmpty = fs::is_empty(folder_, error);
    if (error) return {"can't read the folder " + inQuotes(folder_) + ": " + error.message()};
    if (!isEmpty)
        return {"the folder " + inQuotes(folder_) + " isn't empty; demo takes a new or an empty one"};
    return {};
}

Result NewTree::begin() {
    madeFolder_ = steps_.makeFolder(folder_) == 0;
    if (!madeFolder_ && errno != EEXIST) return failure(errno);
    if (!madeFolder_)
        if (Result result = requireEmptyFolder(); !result) return result;
    isOpen_ = steps_.makeFolder(staging_) == 0;
    if (isOpen_) return {};
    const int error = errno;
    removeFolderIfEmpty();
    return failure(error);
}

int NewTree::makeFoldersFor(const std::string& path) {
    tops_.insert(path.substr(0, path.find('/')));
    for (std::size_t end = path.find('/'); end != std::string::npos; end = path.find('/', end + 1)) {
        const std::string folder = path.substr(0, end);
        if (folders_.contains(folder)) continue;
        if (steps_.makeFolder(stagingPath(folder)) != 0) return errno;
        folders_.insert(folder);
    }
    return 0;
}

int NewTree::writeFile(const std::string& path, std::string_view bytes, long long modified) {
    const int file = steps_.create(stagingPath(path), anyFilesMode);
    if (file < 0) return errno;
    int error = writeWhole(file, bytes, steps_);
    setModified(file, modified);
    // Some file systems can't flush one file, and say so.
    if (error == 0 && steps_.sync(file) != 0 && errno != EINVAL && errno != ENOTSUP) error = errno;
    if (steps_.close(file) != 0 && error == 0) error = errno;
    return error;
}

Result NewTree::add(const std::string& path, std::string_view bytes, long long modified) {
    int error = makeFoldersFor(path);
    if (error == 0) error = writeFile(path, bytes, modified);
    return error == 0 ? Result{} : failure(error);
}

Result NewTree::finish() {
    for (const std::string& top : tops_) {
        if (steps_.rename(stagingPath(top), folder_ + "/" + top) != 0) return failure(errno);
        placed_.insert(top);
    }
    isOpen_ = false;
    std::error_code ignored;
    fs::remove_all(staging_, ignored);
    return {};
}

/// Where it was made here.
void NewTree::removeFolderIfEmpty() const {
    std::error_code ignored;
    if (madeFolder_) fs::remove(folder_, ignored);
}

Result NewTree::abandon() {
    if (!isOpen_) return {};
    isOpen_ = false;
    std::error_code error, ignored;
    fs::remove_all(staging_, error);
    for (const std::string& top : placed_)
        fs::remove_all(folder_ + "/" + top, error ? ignored : error);
    removeFolderIfEmpty();
    if (!error) return {};
    return {"part of it is left in " + inQuotes(folder_) + ": " + error.message()};
}

}  // namespace ledgerfern
