#pragma once

#include <set>
#include <string>
#include <string_view>

#include "Foundation/AtomicWrite.h"
#include "Foundation/Result.h"

namespace ledgerfern {

/// The system calls of writing a tree, with their results and errno; a test puts failing ones in their place.
class TreeSteps : public WriteSteps {
public:
    virtual int makeFolder(const std::string& path);
};

/// Fills a folder that is empty, or isn't there yet, with files: all of them or none. Until `finish` they lie
/// in a folder of their own in it; one that ends unfinished takes all of its own away again, and nothing that
/// somebody else has put there meanwhile. Errors begin in lower case, without a full stop.
class NewTree {
public:
    NewTree(std::string folder, TreeSteps& steps);
    ~NewTree();
    NewTree(const NewTree&) = delete;
    NewTree& operator=(const NewTree&) = delete;

    /// Must be called first, and have gone well. The folder above must exist.
    Result begin();
    /// Writes a file, in folders that are made for it. `path` is relative; the file looks as if it was last
    /// changed at `modified`, in milliseconds since the epoch, where the file system can tell that.
    Result add(const std::string& path, std::string_view bytes, long long modified);
    /// Where a file of the name may lie that is needed on the way; it is gone at the end.
    std::string scratchPath(const std::string& name) const { return stagingPath(".scratch-" + name); }
    /// Puts everything into its place.
    Result finish();
    /// Takes away all that was written. Where that fails, the error says what is left.
    Result abandon();

private:
    Result failure(int error);
    Result requireEmptyFolder() const;
    void removeFolderIfEmpty() const;
    int makeFoldersFor(const std::string& path);
    int writeFile(const std::string& path, std::string_view bytes, long long modified);
    std::string stagingPath(const std::string& path) const { return staging_ + "/" + path; }

    std::string folder_;
    std::string staging_;
    TreeSteps& steps_;
    bool madeFolder_ = false;
    bool isOpen_ = false;            // the staging folder is ours
    std::set<std::string> folders_;  // those made so far, relative
    std::set<std::string> tops_;     // the first names of all paths
    std::set<std::string> placed_;   // those of them that are in their place
};

}  // namespace ledgerfern
