#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Engine/FormatHealth.h"
#include "Parsing/ReadScratch.h"
#include "UsageRecords/SessionResult.h"

namespace ledgerfern {

/// A log file that has been read in this run: the state of its agent's parser, and what was last published of
/// it.
class LiveLog {
public:
    virtual ~LiveLog() = default;

    /// Reads what was appended. False where the file can't be opened: then nothing changes.
    bool read(const std::string& path, ReadScratch& scratch);
    /// Takes the file as ended.
    void finish();
    /// The session, finalised anew only where the state has changed since; null where the state makes none.
    SessionPointer session(const std::string& path) { return isUsable() ? result(path) : nullptr; }
    /// The same, but never null.
    SessionPointer result(const std::string& path);
    /// Whether the state makes a session that is to be published.
    virtual bool isUsable() const = 0;
    /// The session as if the file ended here. The state stays as it is.
    virtual SessionResult finished(const std::string& path) const = 0;
    /// What stands for the session where its thread is meant.
    std::string sessionID(const std::string& path) const { return ownSessionID(path).value_or(path); }
    /// Absent where neither the log nor its name tells it.
    virtual std::optional<std::string> ownSessionID(const std::string& path) const = 0;

    virtual std::uint64_t bytesConsumed() const = 0;
    virtual std::int64_t malformedLines() const = 0;
    virtual std::optional<Instant> lastTs() const = 0;
    virtual void reportTo(FormatHealth::Report& report) const = 0;
    /// Gives back the room that the state keeps for growing.
    virtual void giveBackRoom() = 0;

protected:
    LiveLog() = default;
    LiveLog(const LiveLog&) = default;
    LiveLog& operator=(const LiveLog&) = default;

private:
    virtual bool readTail(const std::string& path, ReadScratch& scratch) = 0;
    virtual void finishState() = 0;
    virtual SessionResult finalized(const std::string& path) const = 0;

    SessionPointer published_;
};

/// A log of which nothing has been read. Codex requests before `attribCutoff` are counted and not attributed.
std::unique_ptr<LiveLog> makeLiveLog(ToolKind kind, std::optional<Instant> attribCutoff = std::nullopt);

/// What stands for a Codex session where its thread is meant: the file's name without its first 20 characters
/// and its last, where it is a rollout's, else the whole path. Characters are user-perceived ones.
std::string sessionIDForPath(std::string_view path);

}  // namespace ledgerfern
