#include "Application/AppState.h"

#include <unistd.h>

#include <utility>

#include "Analytics/SessionNaming.h"
#include "Application/Scanner.h"
#include "ClaudeLimits/ClaudeStatusLine.h"
#include "Foundation/FileStat.h"
#include "UsageRecords/TSDate.h"

namespace ledgerfern {

namespace {

std::vector<ToolRoot> rootsFor(const std::string& home, const std::optional<std::string>& root) {
    if (root) return {{*root, ToolKind::codex}};
    return {{home + "/.codex/sessions", ToolKind::codex}, {home + "/.claude/projects", ToolKind::claudeCode}};
}

std::vector<std::string> watchPathsFor(const std::vector<ToolRoot>& roots,
                                       const std::optional<std::string>& root) {
    if (root) return {*root};
    return ToolRoot::existingWatchPaths(roots);
}

ScanOptions cached() {
    ScanOptions options;
    options.useCache = true;
    return options;
}

}  // namespace

AppState::AppState(Environment environment, const std::optional<std::string>& root)
    : environment_(std::move(environment)),
      supportDirectory_(environment_.homeDirectory + "/Library/Application Support/Ledgerfern"),
      settingsPath_(environment_.homeDirectory + "/.claude/settings.json"),
      roots_(rootsFor(environment_.homeDirectory, root)),
      snapshotStore_(supportDirectory_ + "/snapshots.sqlite"),
      notifier_(environment_.notifications),
      scanner_(std::make_shared<Scanner>(roots_, supportDirectory_ + "/filecache.sqlite", environment_.clock,
                                         environment_.preferences)) {
    claudeLimitsConnected_ = ClaudeStatusLine::isInstalled(settingsPath_, supportDirectory_);
    reloadClaudeStatus();
    environment_.loop.post(ifAlive([this] { initialScan(); }));
    watcher_ = std::make_unique<WatchService>(
        watchPathsFor(roots_, root), [this] { filesChanged(); }, environment_.loop, environment_.fileEvents);
    watcher_->start();
    environment_.loop.every(environment_.limitsInterval, ifAlive([this] { lookAtClaudeStatus(); }));
}

AppState::~AppState() = default;

/// Numbers appear early: first this week's logs, and of the rest what the cache answers for; then everything.
void AppState::initialScan() {
    ScanOptions quick = cached();
    quick.quickCutoff = TSDate::localWeekStart(environment_.clock());
    scan(WorkPriority::userInitiated, quick,
         [this] { notifier_.requestAuthorizationIfNeeded(ifAlive([this] { startFullPass(); })); });
}

/// Begins once changes are noticed, so that none falls between the scan and the watcher.
void AppState::startFullPass() {
    environment_.workers.start(WorkPriority::utility,
                               [&loop = environment_.loop, watching = watcher_->progress(),
                                scanNow = ifAlive([this] { scan(WorkPriority::utility, cached()); })] {
                                   watching->waitUntilSettled();
                                   loop.post(scanNow);
                               });
}

/// Events that come before the first snapshot are dropped: the full pass follows.
void AppState::filesChanged() {
    if (snapshot_) scan(WorkPriority::utility, cached());
}

void AppState::refresh() {
    if (refreshInFlight_) return;
    setRefreshInFlight(true);
    scan(WorkPriority::userInitiated, cached(), [this] { setRefreshInFlight(false); });
}

void AppState::lookAtClaudeStatus() {
    if (reloadClaudeStatus()) applyAgain(WorkPriority::utility);
}

/// True where the file has another time than at the last look, is new or gone.
bool AppState::reloadClaudeStatus() {
    const auto file = supportDirectory_ + "/" + std::string(ClaudeStatus::fileName);
    const auto modified = modificationInstant(file);
    if (modified == claudeStatusMTime_) return false;
    claudeStatusMTime_ = modified;
    claudeStatus_ = ClaudeStatus::load(supportDirectory_, environment_.clock());
    return true;
}

Result AppState::connectClaudeLimits() {
    Result result = ClaudeStatusLine::install(settingsPath_, supportDirectory_);
    if (result) set(claudeLimitsConnected_, true, &AppState::claudeLimitsConnectedChanged);
    return result;
}

Result AppState::disconnectClaudeLimits() {
    Result result = ClaudeStatusLine::uninstall(settingsPath_, supportDirectory_);
    if (!result) return result;
    set(claudeLimitsConnected_, false, &AppState::claudeLimitsConnectedChanged);
    ::unlink((supportDirectory_ + "/" + std::string(ClaudeStatus::fileName)).c_str());
    claudeStatus_.reset();
    claudeStatusMTime_.reset();
    set(claudeFiveHour_, Limit(), &AppState::claudeFiveHourChanged);
    applyAgain(WorkPriority::userInitiated);
    return result;
}

std::string AppState::displayName(const SessionResult& session) const {
    if (!snapshot_) return SessionNaming::displayName(session, {}, {});
    return SessionNaming::displayName(session, snapshot_->sessionIDs, snapshot_->threadNames);
}

void AppState::fullResult(const std::string& path, FullResultAnswer answer) {
    auto& answers = awaitedResults_[path];
    answers.push_back(std::move(answer));
    if (answers.size() > 1) return;
    if (fullResultCache_.contains(path))
        environment_.loop.post(ifAlive([this, path] { answerFullResult(path); }));
    else
        fetchFullResult(path);
}

void AppState::fetchFullResult(const std::string& path) {
    auto found = std::make_shared<SessionPointer>();
    const auto answer = ifAlive([this, path, found] {
        if (*found) fullResultCache_[path] = *found;
        answerFullResult(path);
    });
    environment_.workers.start(WorkPriority::userInitiated,
                               [scanner = scanner_, &loop = environment_.loop, path, found, answer] {
                                   if (auto result = scanner->fullResult(path))
                                       *found = std::make_shared<const SessionResult>(std::move(*result));
                                   loop.post(answer);
                               });
}

void AppState::answerFullResult(const std::string& path) {
    const auto known = fullResultCache_.find(path);
    const SessionPointer result = known == fullResultCache_.end() ? nullptr : known->second;
    const auto awaited = awaitedResults_.extract(path);
    for (const FullResultAnswer& answer : awaited.mapped())
        answer(result);
}

void AppState::scan(WorkPriority priority, const ScanOptions& options, std::function<void()> then) {
    auto result = std::make_shared<PreparedSnapshot>();
    const auto finish = ifAlive([this, result, then = std::move(then)] {
        apply(std::move(*result));
        then();
    });
    environment_.workers.start(priority,
                               [scanner = scanner_, &loop = environment_.loop, options, result, finish] {
                                   scanner->scan(options, [&](PreparedSnapshot prepared) {
                                       *result = std::move(prepared);
                                       loop.post(finish);
                                   });
                               });
}

/// Applies the present snapshot once more. One that has replaced it meanwhile is prepared instead.
void AppState::applyAgain(WorkPriority priority) {
    if (!snapshot_) return;
    auto result = std::make_shared<PreparedSnapshot>();
    const auto finish = ifAlive([this, base = snapshot_, result, priority] {
        if (base == snapshot_)
            apply(std::move(*result));
        else
            applyAgain(priority);
    });
    environment_.workers.start(
        priority, [scanner = scanner_, &loop = environment_.loop, base = snapshot_, result, finish] {
            *result = scanner->prepare(*base);
            loop.post(finish);
        });
}

/// The same work, left out where this object is gone by then.
MainLoop::Work AppState::ifAlive(MainLoop::Work work) const {
    return [work = std::move(work), alive = std::weak_ptr(alive_)] {
        if (!alive.expired()) work();
    };
}

void AppState::setRefreshInFlight(bool isInFlight) {
    set(refreshInFlight_, isInFlight, &AppState::refreshInFlightChanged);
}

void AppState::setToolFilter(ToolFilter filter) {
    set(toolFilter_, filter, &AppState::toolFilterChanged);
}

void AppState::setPending(const QString& project, const QString& scopeKey, bool scopeIsCycle) {
    const bool isOtherProject = assign(pendingProject_, project);
    const bool isOtherKey = assign(pendingScopeKey_, scopeKey);
    const bool isOtherKind = assign(pendingScopeIsCycle_, scopeIsCycle);
    if (isOtherProject) Q_EMIT pendingProjectChanged();
    if (isOtherKey) Q_EMIT pendingScopeKeyChanged();
    if (isOtherKind) Q_EMIT pendingScopeIsCycleChanged();
}

void AppState::setNotificationsEnabled(bool on) {
    notifier_.setEnabled(on);
    set(notificationsEnabled_, on, &AppState::notificationsEnabledChanged);
}

}  // namespace ledgerfern
