#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Application/PreparedSnapshot.h"
#include "Engine/Engine.h"
#include "Foundation/Clock.h"
#include "Foundation/PreferencesStore.h"
#include "Foundation/SerialQueue.h"

namespace ledgerfern {

/// The engine, and what else the application's workers do. Any thread may call it; every function blocks.
class Scanner {
public:
    Scanner(std::vector<ToolRoot> roots, std::string cachePath, Clock clock,
            std::shared_ptr<const PreferencesStore> preferences);

    /// Scans, and hands over what came of it. Of overlapping scans each hands over before the next begins.
    void scan(const ScanOptions& options, const std::function<void(PreparedSnapshot)>& handOver);
    /// What a snapshot needs at this moment, by the prices in force.
    PreparedSnapshot prepare(Snapshot snapshot) const;
    std::optional<SessionResult> fullResult(const std::string& path);
    /// How many scans wait for their turn at this moment.
    std::uint64_t waitingCount() const { return scans_.waitingCount(); }

private:
    const Clock clock_;
    const std::shared_ptr<const PreferencesStore> preferences_;
    Engine engine_;
    SerialQueue scans_{"ledgerfern.scans"};
};

}  // namespace ledgerfern
