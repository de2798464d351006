#include "Foundation/DirectoryWalk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <memory>
#include <string_view>

#include "Foundation/FileDescriptor.h"

// Each scan walks every log folder, so the walk asks the system for as little as it can: a folder is opened
// by its path once, and its files are looked up in the open folder by their names alone. Folders wait on a
// list for their turn, so that a deep tree takes neither stack nor more than one open folder at a time.

namespace ledgerfern {

namespace {

struct FolderCloser {
    void operator()(DIR* folder) const { ::closedir(folder); }
};
using Folder = std::unique_ptr<DIR, FolderCloser>;

/// Null where it isn't a folder, or can't be opened.
Folder openFolder(const std::string& path, int flags) {
    FileDescriptor file = FileDescriptor::open(path, O_RDONLY | O_DIRECTORY | flags);
    if (!file.isOpen()) return nullptr;
    Folder folder(::fdopendir(file.number()));
    if (folder) file.release();
    return folder;
}

bool isLogName(std::string_view name) {
    constexpr std::string_view ending = ".jsonl";
    return name.size() > ending.size() && name.ends_with(ending);
}

/// Not every file system tells an entry's kind along with its name.
bool isFolder(DIR* folder, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
    struct stat attributes{};
    return ::fstatat(::dirfd(folder), entry.d_name, &attributes, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISDIR(attributes.st_mode);
}

bool isOwnOrParent(std::string_view name) {
    return name == "." || name == "..";
}

std::string prefixOf(const std::string& folder) {
    return folder.ends_with('/') ? folder : folder + "/";
}

std::optional<FileStat> statEntry(DIR* folder, const dirent& entry) {
    struct stat attributes{};
    if (::fstatat(::dirfd(folder), entry.d_name, &attributes, 0) != 0) return std::nullopt;
    return fileStat(attributes);
}

class Walk {
public:
    std::vector<WalkedFile> run(const std::string& root) {
        list(root, openFolder(root, 0));
        while (!waiting_.empty()) {
            const std::string path = std::move(waiting_.back());
            waiting_.pop_back();
            list(path, openFolder(path, O_NOFOLLOW));
        }
        return std::move(found_);
    }

private:
    void list(const std::string& path, const Folder& folder) {
        if (!folder) return;
        const std::string prefix = prefixOf(path);
        while (const dirent* const entry = ::readdir(folder.get()))
            take(prefix, folder.get(), *entry);
    }

    void take(const std::string& prefix, DIR* folder, const dirent& entry) {
        const std::string_view name = entry.d_name;
        if (isOwnOrParent(name)) return;
        if (isLogName(name)) found_.push_back({prefix + entry.d_name, statEntry(folder, entry)});
        if (isFolder(folder, entry)) waiting_.push_back(prefix + entry.d_name);
    }

    std::vector<WalkedFile> found_;
    std::vector<std::string> waiting_;
};

}  // namespace

std::vector<WalkedFile> walkLogFiles(const std::string& root) {
    return Walk().run(root);
}

std::vector<std::string> subfolders(const std::string& folder, bool followsLink) {
    std::vector<std::string> found;
    const Folder opened = openFolder(folder, followsLink ? 0 : O_NOFOLLOW);
    if (!opened) return found;
    const std::string prefix = prefixOf(folder);
    while (const dirent* const entry = ::readdir(opened.get()))
        if (!isOwnOrParent(entry->d_name) && isFolder(opened.get(), *entry))
            found.push_back(prefix + entry->d_name);
    return found;
}

}  // namespace ledgerfern
