#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

namespace ledgerfern::bench {

/// Starts this program anew in a desktop of its own, as the desktop's tests run in, unless it is in one
/// already. Folders for temporary files stay as they are. Called first of all. Throws where there is no
/// desktop.
void enterDesktop(char** arguments);

/// The application, from its start on. (Linux.)
class AppProcess {
public:
    /// Throws where it doesn't start. Nothing else may use the environment meanwhile.
    explicit AppProcess(const std::filesystem::path& home);
    /// Asks it to end, and waits for that.
    ~AppProcess();
    AppProcess(const AppProcess&) = delete;
    AppProcess& operator=(const AppProcess&) = delete;

    pid_t id() const { return id_; }
    /// In bytes.
    std::uint64_t residentMemory() const;
    /// What all its threads have had so far, also those that have ended.
    double processorSeconds() const;
    /// Returns when it has had next to nothing to do for two seconds.
    void awaitRest() const;

private:
    pid_t id_ = -1;
};

/// How often the threads of a process have waited and been woken since this was made.
class WakeUps {
public:
    explicit WakeUps(pid_t process);

    /// To be called often: what a thread did after the last look before its end is missed.
    void look();
    std::uint64_t count() const { return count_; }

private:
    std::filesystem::path threads_;
    std::map<std::string, std::uint64_t> seen_;  // of each thread, at the last look
    std::uint64_t count_ = 0;
};

}  // namespace ledgerfern::bench
