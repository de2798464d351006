#pragma once

#include <QObject>
#include <QString>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Analytics/Snapshot.h"
#include "Application/MainLoop.h"
#include "Application/PreparedSnapshot.h"
#include "Application/Workers.h"
#include "ClaudeLimits/ClaudeStatus.h"
#include "Engine/Engine.h"
#include "Foundation/Clock.h"
#include "Foundation/PreferencesStore.h"
#include "Foundation/Result.h"
#include "History/SnapshotStore.h"
#include "Services/NotificationCentre.h"
#include "Services/Notifier.h"
#include "Services/WatchService.h"

namespace ledgerfern {

class Scanner;

/// The application's one long-lived object: owns the engine, the history, the notifications and the watcher,
/// decides when a scan runs, and turns every finished one into what the screens and the status item show.
///
/// A scan runs after file events, or when the user asks for it. Claude's status file is looked at on a timer,
/// and at the start.
///
/// Main thread. Every property changes there, and nothing in it waits for a scan.
class AppState : public QObject {
    Q_OBJECT
    Q_PROPERTY(SnapshotPointer snapshot READ snapshot NOTIFY snapshotChanged)
    Q_PROPERTY(QString statusText READ statusText NOTIFY statusTextChanged)
    Q_PROPERTY(QString statusSymbol READ statusSymbol NOTIFY statusSymbolChanged)
    Q_PROPERTY(std::optional<QString> lastError READ lastError NOTIFY lastErrorChanged)
    Q_PROPERTY(std::optional<qint64> budgetEstimate READ budgetEstimate NOTIFY budgetEstimateChanged)
    Q_PROPERTY(Trend trend READ trend NOTIFY trendChanged)
    Q_PROPERTY(Trend dailyCostTrend READ dailyCostTrend NOTIFY dailyCostTrendChanged)
    Q_PROPERTY(double todayCostUSD READ todayCostUSD NOTIFY todayCostUSDChanged)
    Q_PROPERTY(ToolFilter toolFilter READ toolFilter WRITE setToolFilter NOTIFY toolFilterChanged)
    Q_PROPERTY(Limit claudeFiveHour READ claudeFiveHour NOTIFY claudeFiveHourChanged)
    Q_PROPERTY(Trend claudeTrend READ claudeTrend NOTIFY claudeTrendChanged)
    Q_PROPERTY(bool claudeLimitsConnected READ claudeLimitsConnected NOTIFY claudeLimitsConnectedChanged)
    Q_PROPERTY(QString pendingProject READ pendingProject NOTIFY pendingProjectChanged)
    Q_PROPERTY(QString pendingScopeKey READ pendingScopeKey NOTIFY pendingScopeKeyChanged)
    Q_PROPERTY(bool pendingScopeIsCycle READ pendingScopeIsCycle NOTIFY pendingScopeIsCycleChanged)
    Q_PROPERTY(bool notificationsEnabled READ notificationsEnabled WRITE setNotificationsEnabled NOTIFY
                   notificationsEnabledChanged)

public:
    using SnapshotPointer = std::shared_ptr<const Snapshot>;
    using Trend = std::vector<SnapshotStore::Point>;
    using ToolFilter = std::optional<ToolKind>;
    using Limit = std::optional<RateLimitInfo>;
    using FullResultAnswer = std::function<void(const SessionPointer&)>;  ///< Null: unknown.

    /// What the application stands on. What is referred to outlives the object.
    struct Environment {
        MainLoop& loop;
        Workers& workers;
        NotificationCentre& notifications;
        std::shared_ptr<const PreferencesStore> preferences;  ///< Workers read the prices.
        std::string homeDirectory;
        Clock clock = systemClock();
        std::function<bool()> isUpdateAvailable = [] { return false; };
        WatchService::Source fileEvents = WatchService::platformSource();
        double limitsInterval = 20;  ///< Seconds between two looks at Claude's status file.
    };

    /// Starts the first scan, the watcher and the timer, and returns; nothing has been scanned yet. With
    /// `root`, only Codex's logs below it count.
    explicit AppState(Environment environment, const std::optional<std::string>& root = std::nullopt);
    ~AppState() override;

    /// The latest, with Claude's limits; null before the first.
    const SnapshotPointer& snapshot() const { return snapshot_; }
    const QString& statusText() const { return statusText_; }
    const QString& statusSymbol() const { return statusSymbol_; }
    /// How many lines of the logs couldn't be read, if there are any.
    const std::optional<QString>& lastError() const { return lastError_; }
    /// Tokens per 100 % of Codex's weekly limit.
    std::optional<qint64> budgetEstimate() const { return budgetEstimate_; }
    /// Percent of Codex's weekly limit over time, oldest first; so are the other two.
    const Trend& trend() const { return trend_; }
    const Trend& dailyCostTrend() const { return dailyCostTrend_; }
    const Trend& claudeTrend() const { return claudeTrend_; }
    double todayCostUSD() const { return todayCostUSD_; }
    const ToolFilter& toolFilter() const { return toolFilter_; }
    const Limit& claudeFiveHour() const { return claudeFiveHour_; }
    /// Whether the script stands in front of Claude Code's status line.
    bool claudeLimitsConnected() const { return claudeLimitsConnected_; }
    /// The project that the popover asks the dashboard to open; empty: none.
    const QString& pendingProject() const { return pendingProject_; }
    /// The key of the cycle or week that goes with it; empty: none.
    const QString& pendingScopeKey() const { return pendingScopeKey_; }
    /// It is a cycle's key, not a week's.
    bool pendingScopeIsCycle() const { return pendingScopeIsCycle_; }
    bool notificationsEnabled() const { return notificationsEnabled_; }
    /// A rescan that the user asked for is running.
    bool refreshInFlight() const { return refreshInFlight_; }
    /// The percentage that the status text shows, before rounding; absent before the first snapshot.
    std::optional<double> worstPercent() const { return worstPercent_; }

    void setToolFilter(ToolFilter filter);
    /// Whoever is told of one of the three finds the other two set as well.
    void setPending(const QString& project, const QString& scopeKey, bool scopeIsCycle);
    void setNotificationsEnabled(bool on);

    /// The user's rescan; does nothing while one runs.
    void refresh();
    Result connectClaudeLimits();
    /// Takes the script out again, and forgets Claude's limits.
    Result disconnectClaudeLimits();
    std::string displayName(const SessionResult& session) const;
    /// The complete record of one session, absent for a path that the engine doesn't know; `answer` is called
    /// later. Once found, it stays as it was found, however the session grows.
    void fullResult(const std::string& path, FullResultAnswer answer);

Q_SIGNALS:
    void snapshotChanged();
    void statusTextChanged();
    void statusSymbolChanged();
    void lastErrorChanged();
    void budgetEstimateChanged();
    void trendChanged();
    void dailyCostTrendChanged();
    void todayCostUSDChanged();
    void toolFilterChanged();
    void claudeFiveHourChanged();
    void claudeTrendChanged();
    void claudeLimitsConnectedChanged();
    void pendingProjectChanged();
    void pendingScopeKeyChanged();
    void pendingScopeIsCycleChanged();
    void notificationsEnabledChanged();
    void refreshInFlightChanged();
    /// A snapshot has been applied, and everything that follows from it stands.
    void applied();

private:
    struct Limits {
        std::optional<double> codexWeekly, claudeWeekly, claudeFiveHour;
    };

    // When something runs: AppState.cpp
    void initialScan();
    void startFullPass();
    void filesChanged();
    void lookAtClaudeStatus();
    bool reloadClaudeStatus();
    void scan(WorkPriority priority, const ScanOptions& options, std::function<void()> then = [] {});
    void applyAgain(WorkPriority priority);
    void fetchFullResult(const std::string& path);
    void answerFullResult(const std::string& path);
    MainLoop::Work ifAlive(MainLoop::Work work) const;
    void setRefreshInFlight(bool isInFlight);

    // What comes of it: AppStateApply.cpp
    void apply(PreparedSnapshot prepared);
    void publish(Snapshot snapshot, Instant now);
    Limits limits() const;
    void checkThresholds(const Limits& limits);
    void checkThreshold(const std::string& key, const std::string& title, std::optional<double> value);
    void updateStatus(const Limits& limits);
    void backfill(const std::vector<SnapshotStore::Reading>& readings);
    void updateHistory(const PreparedSnapshot& prepared, const Limits& limits, Instant now);
    void recordDay(std::int64_t codexRollingTotal, Instant now);
    template <class Value>
    static bool assign(Value& field, Value value) {
        const bool isOther = field != value;
        field = std::move(value);
        return isOther;
    }
    template <class Value>
    void set(Value& field, Value value, void (AppState::*changed)()) {
        if (assign(field, std::move(value))) Q_EMIT(this->*changed)();
    }

    const Environment environment_;
    const std::string supportDirectory_;
    const std::string settingsPath_;
    const std::vector<ToolRoot> roots_;
    SnapshotStore snapshotStore_;
    Notifier notifier_;
    const std::shared_ptr<Scanner> scanner_;  // workers hold it too
    std::unique_ptr<WatchService> watcher_;

    SnapshotPointer snapshot_;
    QString statusText_ = QStringLiteral("…");
    QString statusSymbol_ = QStringLiteral("gauge.with.dots.needle.0percent");
    std::optional<double> worstPercent_;
    std::optional<QString> lastError_;
    std::optional<qint64> budgetEstimate_;
    Trend trend_;
    Trend dailyCostTrend_;
    Trend claudeTrend_;
    double todayCostUSD_ = 0;
    ToolFilter toolFilter_;
    Limit claudeFiveHour_;
    bool claudeLimitsConnected_ = false;
    QString pendingProject_;
    QString pendingScopeKey_;
    bool pendingScopeIsCycle_ = false;
    bool notificationsEnabled_ = true;

    std::map<std::string, double> previousUsedPercent_;
    std::optional<ClaudeStatus> claudeStatus_;
    std::optional<Instant> claudeStatusMTime_;
    bool refreshInFlight_ = false;
    std::map<std::string, SessionPointer> fullResultCache_;
    std::map<std::string, std::vector<FullResultAnswer>> awaitedResults_;
    std::vector<Instant> storedReadings_;  // times of the readings that the history holds, ascending
    const std::shared_ptr<const char> alive_ = std::make_shared<const char>();  // what is posted looks at it
};

}  // namespace ledgerfern
