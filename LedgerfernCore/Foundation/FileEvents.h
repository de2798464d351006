#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ledgerfern {

/// Tells that something below some folders has changed, and nothing else about it: whoever is interested
/// looks for himself.
class FileEvents {
public:
    enum class Outcome { event, timeout, stopped };

    virtual ~FileEvents() = default;

    /// Waits until something has changed since the last event, `seconds` have passed (absent: for ever) or
    /// `stop` was called. One thread at a time.
    virtual Outcome wait(std::optional<double> seconds) = 0;
    /// Ends the present and every later `wait`. Any thread.
    virtual void stop() = 0;
};

/// How often what the platform refuses to watch is looked at, in seconds. That costs a walk over those
/// folders, some 10 ms for as many thousand logs: a three-thousandth of a processor.
inline constexpr double usualSlowLook = 30;

/// The platform's events below the folders, however deep, those that are made later included, from now on. A
/// folder may be a link to one; links below it aren't followed. Where the platform can't watch everything,
/// the logs in the rest are looked at every `slowLook` seconds, and otherwise nothing runs without an event.
/// Folders that aren't there are left out, and one that vanishes stays unwatched. Null where no folder is
/// left, or the platform gives no events. May list every folder first, which takes some 50 ms for 2,000.
std::unique_ptr<FileEvents> fileEvents(const std::vector<std::string>& folders,
                                       double slowLook = usualSlowLook);

/// How long it must have been quiet after a change before anybody is told, in seconds.
inline constexpr double quietSpell = 1.5;

/// Calls `onChange` after each quiet spell that follows a change, however long the changes before it go on,
/// until `events` are stopped. Blocks; `onChange` runs on the same thread.
void runDebounced(FileEvents& events, const std::function<void()>& onChange);

}  // namespace ledgerfern
