#include "Foundation/FileEvents.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>

#include "Foundation/DirectoryWalk.h"
#include "Foundation/FileDescriptor.h"

// The system watches single folders, so every folder of a tree is watched, and the events themselves tell
// which folders come and go. Each is watched first and listed then: what is made in it meanwhile is either
// listed or told of, whatever happens at what speed. A name may be out of date when its event is read; then
// the folder isn't there any more, or is watched already, and both do no harm, as events are only hints.
//
// A watch stays with its folder wherever that is moved. So the watches of a tree that is moved away are taken
// back, and set anew where it turns up.
//
// Where the system refuses a further watch, the folder and all below it are left to the slow look: as long as
// there are such folders, their logs are walked from time to time and compared with what was there before.

namespace ledgerfern {

namespace {

using SteadyTime = std::chrono::steady_clock::time_point;

constexpr std::uint32_t watchedEvents = IN_CREATE | IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_MOVED_FROM |
                                        IN_MOVED_TO | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR |
                                        IN_EXCL_UNLINK;

SteadyTime after(double seconds) {
    return std::chrono::steady_clock::now() + std::chrono::duration_cast<SteadyTime::duration>(
                                                  std::chrono::duration<double>(std::max(seconds, 0.0)));
}

/// For poll(2): whole milliseconds until then, rounded up; for ever where absent.
int timeoutUntil(const std::optional<SteadyTime>& end) {
    if (!end) return -1;
    constexpr double longest = 1e9;
    const std::chrono::duration<double, std::milli> left = *end - std::chrono::steady_clock::now();
    return static_cast<int>(std::clamp(std::ceil(left.count()), 0.0, longest));
}

bool isOver(const std::optional<SteadyTime>& end) {
    return end && std::chrono::steady_clock::now() >= *end;
}

/// Calls `each` with the entries of a folder and of all below it, and erases them. Below it are the names
/// between "folder/" and "folder0", '0' being the character behind '/'; a sibling such as "folder-x" stands
/// before them.
template <class Map, class Each>
void eraseTree(Map& map, const std::string& folder, const Each& each) {
    const auto erase = [&](auto first, auto last) {
        std::for_each(first, last, each);
        map.erase(first, last);
    };
    erase(map.lower_bound(folder), map.upper_bound(folder));
    erase(map.lower_bound(folder + "/"), map.lower_bound(folder + "0"));
}

/// Which folder has which watch.
class WatchedFolders {
public:
    /// Null where the watch is of no folder any more.
    const std::string* folderOf(int watch) const {
        const auto found = byWatch_.find(watch);
        return found == byWatch_.end() ? nullptr : &found->second->first;
    }
    bool contains(const std::string& folder) const { return watches_.contains(folder); }
    bool isEmpty() const { return watches_.empty(); }

    /// A folder that was known by another name has the new one from now on. Gives the watch that the name had
    /// before, if that was another.
    std::optional<int> add(const std::string& folder, int watch) {
        const auto known = byWatch_.find(watch);
        if (known != byWatch_.end() && known->second->first == folder) return std::nullopt;
        forget(watch);
        const auto [place, isNew] = watches_.try_emplace(folder, watch);
        const int before = std::exchange(place->second, watch);
        if (!isNew) byWatch_.erase(before);
        byWatch_[watch] = place;
        return isNew ? std::nullopt : std::optional(before);
    }
    void forget(int watch) {
        const auto found = byWatch_.find(watch);
        if (found == byWatch_.end()) return;
        watches_.erase(found->second);
        byWatch_.erase(found);
    }
    /// Forgets a folder and all below it; calls `each` with their watches.
    template <class Each>
    void forgetTree(const std::string& folder, const Each& each) {
        eraseTree(watches_, folder, [&](const auto& entry) {
            byWatch_.erase(entry.second);
            each(entry.second);
        });
    }

private:
    std::map<std::string, int> watches_;  // by folder
    std::unordered_map<int, std::map<std::string, int>::iterator> byWatch_;
};

/// Changes where a scan would find a change of the logs below the folder, in whatever order they are listed.
std::uint64_t lookOf(const std::string& folder) {
    std::uint64_t sum = 0;
    for (const WalkedFile& file : walkLogFiles(folder)) {
        std::string text = file.path + '\n';
        if (file.stat) text += std::to_string(file.stat->size) + ' ' + std::to_string(file.stat->mtimeMs);
        sum += std::hash<std::string>()(text);
    }
    return sum;
}

class InotifyFileEvents final : public FileEvents {
public:
    InotifyFileEvents(std::vector<std::string> roots, double slowLook)
        : roots_(std::move(roots)), slowLook_(slowLook), stop_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        start();
    }

    /// Whether there is anything that can happen.
    bool isAlive() const { return stop_.isOpen() && (!watched_.isEmpty() || !rest_.empty()); }

    Outcome wait(std::optional<double> seconds) override;

    void stop() override {
        const std::uint64_t one = 1;
        // Fails only where it has been stopped some 2^64 times.
        [[maybe_unused]] const ssize_t written = ::write(stop_.number(), &one, sizeof one);
    }

private:
    enum class Attempt { watched, refused, gone };

    void start();
    bool readEvents();
    bool take(const inotify_event& event, const char* name);
    void takeFolder(const inotify_event& event, const char* name);
    bool isRoot(const std::string& folder) const {
        return std::find(roots_.begin(), roots_.end(), folder) != roots_.end();
    }
    Attempt watch(const std::string& folder);
    void watchTree(std::string top);
    void unwatchTree(const std::string& top);
    void leaveToTheLook(const std::string& folder);
    bool lookAtTheRest();

    const std::vector<std::string> roots_;
    const double slowLook_;
    const FileDescriptor stop_;
    FileDescriptor inotify_;  // not open where the system refuses: then all roots are in rest_
    WatchedFolders watched_;
    std::map<std::string, std::uint64_t> rest_;  // what can't be watched, and what it looked like
    std::optional<SteadyTime> nextLook_;         // absent where there is no rest
    std::array<char, 16384> buffer_{};
};

FileEvents::Outcome InotifyFileEvents::wait(std::optional<double> seconds) {
    const auto end = seconds ? std::optional(after(*seconds)) : std::nullopt;
    while (true) {
        std::array<pollfd, 2> sources{{{stop_.number(), POLLIN, 0}, {inotify_.number(), POLLIN, 0}}};
        const bool looksFirst = nextLook_ && (!end || *nextLook_ < *end);
        const int ready = ::poll(sources.data(), sources.size(), timeoutUntil(looksFirst ? nextLook_ : end));
        if (ready > 0 && sources[0].revents != 0) return Outcome::stopped;
        if (ready > 0 && readEvents()) return Outcome::event;
        if (isOver(nextLook_) && lookAtTheRest()) return Outcome::event;
        if (isOver(end)) return Outcome::timeout;
    }
}

/// Also where events were lost: closing gives all watches back, and listing everything again finds what they
/// would have told of.
void InotifyFileEvents::start() {
    inotify_ = FileDescriptor();
    watched_ = WatchedFolders();
    rest_.clear();
    nextLook_.reset();
    inotify_ = FileDescriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    for (const std::string& root : roots_)
        watchTree(root);
}

/// Tells whether any of them is a change.
bool InotifyFileEvents::readEvents() {
    const ssize_t size = ::read(inotify_.number(), buffer_.data(), buffer_.size());
    bool hasChange = false;
    for (ssize_t place = 0; place < size;) {
        const char* const start = buffer_.data() + place;
        inotify_event event{};
        std::memcpy(&event, start, sizeof event);
        if ((event.mask & IN_Q_OVERFLOW) != 0) {
            this->start();
            return true;
        }
        hasChange = take(event, start + sizeof event) || hasChange;
        place += static_cast<ssize_t>(sizeof event + event.len);
    }
    return hasChange;
}

/// Tells whether it is a change. The end of a watch isn't: another event tells why it ended.
bool InotifyFileEvents::take(const inotify_event& event, const char* name) {
    if ((event.mask & IN_IGNORED) != 0) {
        watched_.forget(event.wd);
        return false;
    }
    if ((event.mask & IN_ISDIR) != 0 && event.len > 0) takeFolder(event, name);
    return true;
}

void InotifyFileEvents::takeFolder(const inotify_event& event, const char* name) {
    const std::string* const parent = watched_.folderOf(event.wd);
    if (parent == nullptr) return;
    const std::string folder = *parent + (parent->ends_with('/') ? "" : "/") + name;
    if ((event.mask & IN_MOVED_FROM) != 0) unwatchTree(folder);
    if ((event.mask & (IN_CREATE | IN_MOVED_TO)) != 0) watchTree(folder);
    // It may be one that couldn't be read before.
    if ((event.mask & IN_ATTRIB) != 0 && !watched_.contains(folder)) watchTree(folder);
}

InotifyFileEvents::Attempt InotifyFileEvents::watch(const std::string& folder) {
    const std::uint32_t link = isRoot(folder) ? 0 : IN_DONT_FOLLOW;
    const int watch = ::inotify_add_watch(inotify_.number(), folder.c_str(), watchedEvents | link);
    if (watch >= 0) {
        if (const auto before = watched_.add(folder, watch)) ::inotify_rm_watch(inotify_.number(), *before);
        return Attempt::watched;
    }
    const bool isRefused = errno == ENOSPC || errno == ENOMEM || errno == EBADF;
    return isRefused ? Attempt::refused : Attempt::gone;
}

void InotifyFileEvents::watchTree(std::string top) {
    std::vector<std::string> waiting;
    waiting.push_back(std::move(top));
    while (!waiting.empty()) {
        const std::string folder = std::move(waiting.back());
        waiting.pop_back();
        const Attempt attempt = watch(folder);
        if (attempt == Attempt::refused) leaveToTheLook(folder);
        if (attempt != Attempt::watched) continue;
        for (std::string& below : subfolders(folder, isRoot(folder)))
            waiting.push_back(std::move(below));
    }
}

void InotifyFileEvents::unwatchTree(const std::string& top) {
    watched_.forgetTree(top, [&](int watch) { ::inotify_rm_watch(inotify_.number(), watch); });
    eraseTree(rest_, top, [](const auto&) {});
}

void InotifyFileEvents::leaveToTheLook(const std::string& folder) {
    rest_[folder] = lookOf(folder);
    if (!nextLook_) nextLook_ = after(slowLook_);
}

/// Tries to watch the rest once more, and tells whether any of it has changed. What is still refused is put
/// back with its new look.
bool InotifyFileEvents::lookAtTheRest() {
    nextLook_.reset();
    if (!inotify_.isOpen()) inotify_ = FileDescriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    bool hasChanged = false;
    for (const auto& [folder, before] : std::exchange(rest_, {})) {
        watchTree(folder);
        const auto still = rest_.find(folder);
        hasChanged = (still == rest_.end() ? lookOf(folder) : still->second) != before || hasChanged;
    }
    return hasChanged;
}

std::vector<std::string> foldersAmong(const std::vector<std::string>& paths) {
    std::vector<std::string> folders;
    std::error_code error;
    std::copy_if(paths.begin(), paths.end(), std::back_inserter(folders),
                 [&](const std::string& path) { return std::filesystem::is_directory(path, error); });
    return folders;
}

}  // namespace

std::unique_ptr<FileEvents> fileEvents(const std::vector<std::string>& folders, double slowLook) {
    auto events = std::make_unique<InotifyFileEvents>(foldersAmong(folders), slowLook);
    if (!events->isAlive()) return nullptr;
    return events;
}

}  // namespace ledgerfern
