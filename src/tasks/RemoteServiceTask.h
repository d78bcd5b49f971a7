#pragma once

#include <QHash>
#include <QString>
#include <QUrl>
#include <functional>
#include <memory>
#include <optional>

#include "model/foundation/Date.h"
#include "tasks/NetworkTask.h"
#include "tasks/SyncState.h"

class ModelObject;
class ResetSyncDelegate;

// The task that syncs one RemoteService: the state shown to the user, the
// cycle of steps spread over many slices while answers are awaited, the
// requests that turn local edits into a sync soon after, retries after
// failures with growing delays, and the names under which account passwords
// are kept. Each kind of service derives from it, supplies the steps and
// registers a factory under its "serviceName".
//
// A step is an operation of the kind without arguments. It does some work
// and then either sets the next step and returns (it runs at the next
// slice), starts a request, sets the step that handles the answer and
// block()s (the answer unblock()s), or ends the cycle with
// syncCompletedWithState(). A step working through a long list returns when
// timeToYield() is true without changing the next step.
class RemoteServiceTask : public NetworkTask {
public:
    using Factory = std::function<std::unique_ptr<RemoteServiceTask>(ModelObject *service)>;
    using Step = std::function<void()>;

    static constexpr double kNetworkErrorRetryInterval = 15.0;
    static constexpr double kMaxRetryMultiplier = 32;
    static constexpr double kFailureRetryDelay = 86400;
    // The longest wait a server may ask for before the next attempt.
    static constexpr double kMaxServerRetryDelay = 3600;
    static constexpr double kChangesDelay = 3.0;
    static constexpr double kPendingChangesRestartDelay = 5.0;
    static constexpr double kSyncNeededRestartDelay = 3.0;
    static constexpr double kEditDelay = 5.0;
    static constexpr double kGreatEditDelay = 120.0;
    // Keys of the service's "syncOptions" where the outcome of the last
    // cycle is kept for listings.
    static constexpr char kLastSyncStateKey[] = "lastSyncState";
    static constexpr char kLastSyncErrorKey[] = "lastSyncError";

    // --- Kinds of service ---------------------------------------------------
    // Replaces the factory of the kind; an empty factory removes it.
    static void registerKind(const QString &serviceName, Factory factory);
    // A new task, not yet added, for the service; none for an unknown kind.
    // With `cleanUpNilServices`, a service without uid is deleted instead.
    static std::unique_ptr<RemoteServiceTask> newTaskForRemoteService(ModelObject *service,
                                                                      bool cleanUpNilServices);
    static RemoteServiceTask *taskForRemoteService(const ModelObject *service);
    // Every idle task drops its caches.
    static void flushAllCaches();

    // --- Passwords ---------------------------------------------------------
    // The host of the service's "url" when it has one, else of `url`.
    static std::optional<QString> hostNameForService(const ModelObject *service, const QUrl &url);
    // "<executable> - <host> (<login>)", with the login in *loginName; none
    // without host or login.
    static std::optional<QString> keychainEntryNameForService(const ModelObject *service,
                                                              const QUrl &url, QString *loginName);
    // The service's "transPassword" if set, else the stored password.
    static std::optional<QString> passwordForService(const ModelObject *service, const QUrl &url);
    // Stores (or with none removes) the password, then clears "transPassword".
    static void setPassword(const std::optional<QString> &password, ModelObject *service,
                            const QUrl &url);
    static QString trimWhiteSpaceFromPassword(const QString &password);

    explicit RemoteServiceTask(ModelObject *service);
    ~RemoteServiceTask() override;

    ModelObject *remoteService() const { return m_remoteService; }
    // The service's "serviceName" and "syncInterval".
    QString name() const override;
    double sleepInterval() const override;
    void started() override;
    void terminate() override;
    // One slice of the cycle; starts a cycle from idle or a failure state.
    void run() override;

    qint64 syncState() const { return m_syncState; }
    void setSyncState(qint64 state);
    const std::optional<QString> &syncErrorString() const { return m_syncErrorString; }
    void setSyncErrorString(const std::optional<QString> &text) { m_syncErrorString = text; }
    void setNetworkErrorRetryInterval(double seconds) { m_networkErrorRetryInterval = seconds; }
    double retryMultiplier() const { return m_retryMultiplier; }
    bool pendingChanges() const { return m_pendingChanges; }
    bool syncNeeded() const { return m_syncNeeded; }
    bool forcedSync() const { return m_forceSync; }
    bool doingResetSync() const { return m_doingResetSync; }

    // The server asked not to be tried again for that many seconds (a
    // "Retry-After" with a refusal): a network failure ending this cycle
    // waits at least that long, up to kMaxServerRetryDelay.
    void noteServerRetryDelay(double seconds);

    // Where a failed task stands in its back-off: its state and error, the
    // time of its next attempt and the growth of its delay, with the
    // service's "lastSyncTime" when it was taken.
    struct Backoff {
        qint64 state = SyncState::Idle;
        std::optional<QString> errorString;
        Date nextWakeup;
        double retryMultiplier = 1.0;
        std::optional<Date> lastSyncTime;
    };
    // None unless the last cycle failed (states 2 to 7).
    std::optional<Backoff> backoff() const;
    // A new task of the service takes over the back-off of the one it
    // replaces (stopped while a command held the application), so that it
    // does not try a failing server again at once.
    void resumeBackoff(const Backoff &backoff);

    // End of a cycle, saving the sync time or not.
    void syncCompleted(bool saveSyncTime);
    void syncCompletedWithState(qint64 state);
    // Abandons the cycle (without saving its time) when local changes arrived.
    bool terminateSyncIfPendingChanges();
    void resetStartOfSyncTimeIfNoPendingChanges();

    // Requests for a sync; while a cycle runs or after a failure they are
    // only remembered.
    void notePendingChanges();
    void noteSyncNeeded();
    void noteSyncNeededWithDelay(double seconds);
    void noteSyncNeededIfOnline();
    void forceSync();
    void forceResetSync(ResetSyncDelegate *delegate);
    // The user is editing: postpone an imminent sync.
    void delaySyncIfNeeded();
    void greatlyDelaySyncIfNeeded(bool delay);

    // True for kinds whose server announces its changes: they sleep between
    // cycles until tickled.
    virtual bool autoWakeupOnServerChanges() const { return false; }
    // The service is about to be deleted.
    virtual void serviceWillBeDeleted() {}

protected:
    // The steps of the kind.
    virtual void startOfSync() = 0;
    // Releases what one cycle kept; called at the end of every cycle.
    virtual void cleanup() = 0;
    virtual void flushCaches() = 0;

    void setNextStep(Step step) { m_syncStateMachine = std::move(step); }
    std::optional<Date> lastSyncTime() const { return m_lastSyncTime; }
    std::optional<Date> syncStartTime() const { return m_syncStartTime; }
    // The task's uid, or the service's summary when it has none (for logs).
    QString logIdentity() const;

private:
    void syncInProgress(bool inProgress);
    void startCycle();
    void syncNeededWithChanges(bool changes, double delay);
    void recordOutcome();

    double m_networkErrorRetryInterval = kNetworkErrorRetryInterval;
    double m_retryMultiplier = 1.0;
    std::optional<double> m_serverRetryDelay;
    qint64 m_syncState = SyncState::Idle;
    std::optional<QString> m_syncErrorString;
    bool m_forceSync = false;
    bool m_pendingChanges = false;
    bool m_syncNeeded = false;
    bool m_doingResetSync = false;
    ResetSyncDelegate *m_resetDelegate = nullptr;
    ModelObject *m_remoteService;
    std::optional<Date> m_lastSyncTime;
    std::optional<Date> m_syncStartTime;
    Step m_syncStateMachine;
};
