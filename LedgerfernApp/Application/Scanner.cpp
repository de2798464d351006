#include "Application/Scanner.h"

#include <utility>

#include "Analytics/CostEstimator.h"

namespace ledgerfern {

Scanner::Scanner(std::vector<ToolRoot> roots, std::string cachePath, Clock clock,
                 std::shared_ptr<const PreferencesStore> preferences)
    : clock_(std::move(clock)),
      preferences_(std::move(preferences)),
      engine_(std::move(roots), clock_, 0, std::move(cachePath)) {}

void Scanner::scan(const ScanOptions& options, const std::function<void(PreparedSnapshot)>& handOver) {
    scans_.sync([&] { handOver(prepare(engine_.rescan(options))); });
}

PreparedSnapshot Scanner::prepare(Snapshot snapshot) const {
    return prepared(std::move(snapshot), PriceTable(CostEstimator::prices(*preferences_)), clock_());
}

std::optional<SessionResult> Scanner::fullResult(const std::string& path) {
    return engine_.fullResult(path);
}

}  // namespace ledgerfern
