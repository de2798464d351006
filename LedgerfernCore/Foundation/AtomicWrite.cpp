#include "Foundation/AtomicWrite.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "Foundation/FileDescriptor.h"
#include "Foundation/UnicodeText.h"

namespace ledgerfern {

namespace {

struct NewFile {
    std::string path;
    int number;  ///< Negative where it couldn't be made.
};

Result failure(const std::string& path, int error) {
    return {"can't write “" + repairedUtf8(path) + "”: " + std::system_category().message(error)};
}

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

/// The permissions that the new file is to have; absent where it has those of any new file.
std::optional<mode_t> wantedMode(const std::string& replaced, std::optional<mode_t> mode) {
    struct stat attributes{};
    if (!mode && ::stat(replaced.c_str(), &attributes) == 0) mode = attributes.st_mode & 0777;
    return mode;
}

/// The name is short, so that it is possible wherever the file's own name is.
NewFile createBeside(const std::string& path, mode_t mode, WriteSteps& steps) {
    static std::atomic<unsigned> counter = 0;
    constexpr int attempts = 100;
    const std::string prefix = folderOf(path) + ".ledgerfern-" + std::to_string(::getpid()) + "-";
    NewFile file{"", -1};
    for (int i = 0; i < attempts && file.number < 0; ++i) {
        file.path = prefix + std::to_string(counter++);
        file.number = steps.create(file.path, mode);
        if (file.number < 0 && errno != EEXIST) break;
    }
    return file;
}

/// What a new file gets may be less than was wanted, and never more. A file system without such modes keeps
/// its own, and only permissions that were asked for are missed there. Returns 0, or the error.
int setMode(int file, std::optional<mode_t> wanted, bool isAskedFor, WriteSteps& steps) {
    if (!wanted || steps.setMode(file, *wanted) == 0) return 0;
    return isAskedFor ? errno : 0;
}

bool writeAll(int file, std::string_view bytes, WriteSteps& steps) {
    while (!bytes.empty()) {
        const ssize_t count = steps.write(file, bytes.data(), bytes.size());
        if (count > 0)
            bytes.remove_prefix(static_cast<std::size_t>(count));
        else if (count == 0 || errno != EINTR)
            return false;
    }
    return true;
}

/// Some file systems can't flush one file, and say so.
bool syncOrUnsupported(int file, WriteSteps& steps) {
    return steps.sync(file) == 0 || errno == EINVAL || errno == ENOTSUP;
}

/// Fills and closes the new file. Returns `error`, or 0, or what went wrong.
int fill(int file, std::string_view bytes, int error, WriteSteps& steps) {
    errno = EIO;
    if (error == 0 && !(writeAll(file, bytes, steps) && syncOrUnsupported(file, steps))) error = errno;
    if (steps.close(file) != 0 && error == 0) return errno;
    return error;
}

}  // namespace

int WriteSteps::create(const std::string& path, mode_t mode) {
    return FileDescriptor::open(path, O_WRONLY | O_CREAT | O_EXCL, mode).release();
}
ssize_t WriteSteps::write(int file, const char* bytes, std::size_t size) {
    return ::write(file, bytes, size);
}
int WriteSteps::setMode(int file, mode_t mode) {
    return ::fchmod(file, mode);
}
int WriteSteps::sync(int file) {
    return ::fsync(file);
}
int WriteSteps::close(int file) {
    return ::close(file);
}
int WriteSteps::rename(const std::string& from, const std::string& to) {
    return std::rename(from.c_str(), to.c_str());
}
int WriteSteps::remove(const std::string& path) {
    return ::unlink(path.c_str());
}
int WriteSteps::syncFolder(const std::string& path) {
    const FileDescriptor folder = FileDescriptor::open(path, O_RDONLY | O_DIRECTORY);
    return folder.isOpen() ? ::fsync(folder.number()) : -1;
}

Result writeAtomically(const std::string& path, std::string_view bytes, std::optional<mode_t> mode) {
    WriteSteps steps;
    return writeAtomically(path, bytes, mode, steps);
}

Result writeAtomically(const std::string& path, std::string_view bytes, std::optional<mode_t> mode,
                       WriteSteps& steps) {
    constexpr mode_t anyFilesMode = 0666;
    const auto wanted = wantedMode(path, mode);
    const NewFile file = createBeside(path, wanted.value_or(anyFilesMode), steps);
    if (file.number < 0) return failure(path, errno);
    int error = setMode(file.number, wanted, mode.has_value(), steps);
    error = fill(file.number, bytes, error, steps);
    if (error == 0 && steps.rename(file.path, path) != 0) error = errno;
    if (error != 0) {
        steps.remove(file.path);
        return failure(path, error);
    }
    // The file is in its place. Not every folder can be flushed, and then there is nothing to undo.
    steps.syncFolder(folderOf(path));
    return {};
}

}  // namespace ledgerfern
