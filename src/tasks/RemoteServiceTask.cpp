#include "tasks/RemoteServiceTask.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <algorithm>
#include <stdexcept>

#include "model/ModelObject.h"
#include "model/RemoteServiceLifecycle.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Clock.h"
#include "model/foundation/Log.h"
#include "model/store/ManagedObjectContext.h"
#include "tasks/CredentialStore.h"
#include "tasks/ResetSyncDelegate.h"
#include "tasks/TaskDelegate.h"
#include "tasks/TaskManager.h"

namespace {

QHash<QString, RemoteServiceTask::Factory> &factories() {
    static QHash<QString, RemoteServiceTask::Factory> registered;
    return registered;
}

QString stringOf(const ModelObject *service, const char *key) {
    return service->valueForKey(QLatin1String(key)).toString();
}

QString executableName() {
    if (!QCoreApplication::instance())
        return QStringLiteral("merovan");
    return QFileInfo(QCoreApplication::applicationFilePath()).fileName();
}

double secondsUntil(Date date) {
    return date.secondsSince(Clock::shared().now());
}

}  // namespace

// --- Kinds of service ------------------------------------------------------------

void RemoteServiceTask::registerKind(const QString &serviceName, Factory factory) {
    if (factory)
        factories().insert(serviceName, std::move(factory));
    else
        factories().remove(serviceName);
}

std::unique_ptr<RemoteServiceTask> RemoteServiceTask::newTaskForRemoteService(
    ModelObject *service, bool cleanUpNilServices) {
    const double syncInterval = service->doubleValueForKey(QStringLiteral("syncInterval"));
    const std::optional<Date> lastSyncTime =
        service->dateValueForKey(QStringLiteral("lastSyncTime"));
    const QString serviceName = stringOf(service, "serviceName");
    const QString uid = stringOf(service, "uid");
    const Date firstWakeup =
        lastSyncTime ? lastSyncTime->addingSeconds(syncInterval) : Clock::shared().now();

    if (cleanUpNilServices && uid.isEmpty()) {
        logWarning("Removing unresolved service %@", RemoteServiceLifecycle::urlSummary(service));
        ManagedObjectContext *context = service->managedObjectContext();
        context->deleteObject(service);
        context->processPendingChanges();
        return nullptr;
    }
    const Factory factory = factories().value(serviceName);
    if (!factory) {
        logWarning("RemoteServiceTask: unknown service name %@", serviceName);
        return nullptr;
    }
    std::unique_ptr<RemoteServiceTask> task = factory(service);
    task->setName(serviceName);
    task->setUid(uid);
    task->setNextWakeup(task->autoWakeupOnServerChanges() ? kDistantFuture : firstWakeup);
    return task;
}

RemoteServiceTask *RemoteServiceTask::taskForRemoteService(const ModelObject *service) {
    if (!service || !TaskManager::hasSharedManager())
        return nullptr;
    for (RemoteServiceTask *task :
         TaskManager::sharedManager().allTasksOfClass<RemoteServiceTask>())
        if (task->remoteService() == service)
            return task;
    return nullptr;
}

void RemoteServiceTask::flushAllCaches() {
    if (!TaskManager::hasSharedManager())
        return;
    for (RemoteServiceTask *task :
         TaskManager::sharedManager().allTasksOfClass<RemoteServiceTask>())
        if (task->syncState() == SyncState::Idle)
            task->flushCaches();
}

// --- Passwords ----------------------------------------------------------------------

std::optional<QString> RemoteServiceTask::hostNameForService(const ModelObject *service,
                                                             const QUrl &url) {
    const QString own = stringOf(service, "url");
    const QString host = own.isEmpty() ? url.host() : QUrl(own).host();
    if (host.isEmpty())
        return std::nullopt;
    return host;
}

std::optional<QString> RemoteServiceTask::keychainEntryNameForService(const ModelObject *service,
                                                                      const QUrl &url,
                                                                      QString *loginName) {
    const std::optional<QString> host = hostNameForService(service, url);
    if (!host)
        return std::nullopt;
    const QString login =
        service->unmaskedStringValueForKey(QStringLiteral("login")).value_or(QString());
    if (loginName)
        *loginName = login;
    if (login.isEmpty())
        return std::nullopt;
    return format("%@ - %@ (%@)", executableName(), *host, login);
}

std::optional<QString> RemoteServiceTask::passwordForService(const ModelObject *service,
                                                             const QUrl &url) {
    const std::optional<QString> transPassword =
        service->unmaskedStringValueForKey(QStringLiteral("transPassword"));
    if (transPassword && !transPassword->isEmpty())
        return transPassword;
    QString login;
    const std::optional<QString> name = keychainEntryNameForService(service, url, &login);
    if (!name)
        return std::nullopt;
    return CredentialStore::shared().password(*name, login);
}

void RemoteServiceTask::setPassword(const std::optional<QString> &password, ModelObject *service,
                                    const QUrl &url) {
    QString login;
    const std::optional<QString> name = keychainEntryNameForService(service, url, &login);
    if (!name)
        return;
    CredentialStore::shared().setPassword(*name, login, password);
    if (service->unmaskedStringValueForKey(QStringLiteral("transPassword")))
        service->setValue(QStringLiteral("transPassword"), QVariant());
}

QString RemoteServiceTask::trimWhiteSpaceFromPassword(const QString &password) {
    return password.trimmed();
}

// --- The task ---------------------------------------------------------------------------

RemoteServiceTask::RemoteServiceTask(ModelObject *service) : m_remoteService(service) {}

RemoteServiceTask::~RemoteServiceTask() = default;

QString RemoteServiceTask::name() const {
    if (!m_remoteService)
        return Task::name();
    return stringOf(m_remoteService, "serviceName");
}

double RemoteServiceTask::sleepInterval() const {
    if (!m_remoteService)
        return Task::sleepInterval();
    return m_remoteService->doubleValueForKey(QStringLiteral("syncInterval"));
}

QString RemoteServiceTask::logIdentity() const {
    if (!uid().isEmpty() || !m_remoteService)
        return uid();
    return RemoteServiceLifecycle::urlSummary(m_remoteService);
}

void RemoteServiceTask::started() {
    NetworkTask::started();
    if (delegate())
        delegate()->remoteServiceTaskAdded(this);
}

void RemoteServiceTask::terminate() {
    if (delegate() && !TaskManager::sharedManager().isShuttingDown())
        delegate()->remoteServiceTaskRemoved(this);
    m_remoteService = nullptr;
    NetworkTask::terminate();
}

void RemoteServiceTask::syncInProgress(bool inProgress) {
    SyncableObjectMO::syncInProgress(inProgress, m_remoteService);
}

void RemoteServiceTask::run() {
    syncInProgress(true);
    try {
        if (SyncState::isRestartable(m_syncState))
            startCycle();
        if (!m_syncStateMachine)
            throw std::logic_error("RemoteServiceTask: no step to perform");
        const Step step = m_syncStateMachine;  // the step may set the next one
        step();
    } catch (...) {
        syncCompletedWithState(SyncState::InternalError);
        syncInProgress(false);
        throw;
    }
    syncInProgress(false);
}

void RemoteServiceTask::startCycle() {
    m_pendingChanges = false;
    m_syncNeeded = false;
    m_syncErrorString.reset();
    m_lastSyncTime = m_remoteService->dateValueForKey(QStringLiteral("lastSyncTime"));
    m_syncStartTime = Clock::shared().now();
    m_syncStateMachine = [this] { startOfSync(); };
    setSyncState(SyncState::Synchronizing);
}

void RemoteServiceTask::setSyncState(qint64 state) {
    logDebug("%@ (%@): setSyncState: oldState = %ld, newState = %ld", name(), logIdentity(),
             long(m_syncState), long(state));
    if (state == m_syncState)
        return;
    m_syncState = state;
    if (delegate())
        delegate()->stateChange(state, this);
}

// --- End of a cycle ---------------------------------------------------------------------

void RemoteServiceTask::syncCompletedWithState(qint64 state) {
    setSyncState(state);
    syncCompleted(true);
}

void RemoteServiceTask::syncCompleted(bool saveSyncTime) {
    const Date now = Clock::shared().now();
    const Date started = m_syncStartTime.value_or(now);
    bool finished = true;
    switch (m_syncState) {
        case SyncState::Idle:
            if (saveSyncTime && m_remoteService)
                m_remoteService->setDateValue(m_syncStartTime, QStringLiteral("lastSyncTime"));
            if (m_pendingChanges) {
                delayedTickle(kPendingChangesRestartDelay);
                finished = false;
            } else if (nextWakeup() > started || m_syncNeeded) {
                delayedTickle(kSyncNeededRestartDelay);
                finished = false;
            } else {
                setNextWakeup(autoWakeupOnServerChanges() ? kDistantFuture
                                                          : started.addingSeconds(sleepInterval()));
            }
            break;
        case SyncState::LoginFailed:
        case SyncState::QuotaExceeded:
            setNextWakeup(now.addingSeconds(kFailureRetryDelay));
            break;
        case SyncState::UnableToConnect:
            setNextWakeup(now.addingSeconds(
                std::max(m_networkErrorRetryInterval * m_retryMultiplier,
                         std::min(m_serverRetryDelay.value_or(0), kMaxServerRetryDelay))));
            break;
        case SyncState::IncompatibleServer:
        case SyncState::InternalError:
        case SyncState::Offline:
            setNextWakeup(kDistantFuture);
            break;
        default:
            break;  // synchronising, or a busy state of the kind: unchanged
    }
    if (m_syncState != SyncState::UnableToConnect)
        m_retryMultiplier = 1.0;
    else if (m_retryMultiplier < kMaxRetryMultiplier)
        m_retryMultiplier *= 2;

    m_serverRetryDelay.reset();
    m_lastSyncTime.reset();
    m_syncStartTime.reset();
    if (finished)
        m_forceSync = false;  // a follow-up cycle is still the forced one
    recordOutcome();
    cleanup();
    unblock();
    TaskManager::sharedManager().setNextWakeup();

    if (finished && m_doingResetSync && m_resetDelegate) {
        ResetSyncDelegate *resetDelegate = std::exchange(m_resetDelegate, nullptr);
        resetDelegate->resetSyncHasFinished(m_syncState == SyncState::Idle, this);
    }
}

void RemoteServiceTask::noteServerRetryDelay(double seconds) {
    if (seconds > 0)
        m_serverRetryDelay = std::max(seconds, m_serverRetryDelay.value_or(0));
}

std::optional<RemoteServiceTask::Backoff> RemoteServiceTask::backoff() const {
    if (m_syncState < SyncState::LoginFailed || m_syncState > SyncState::Offline)
        return std::nullopt;
    return Backoff{m_syncState, m_syncErrorString, nextWakeup(), m_retryMultiplier,
                   m_remoteService
                       ? m_remoteService->dateValueForKey(QStringLiteral("lastSyncTime"))
                       : std::nullopt};
}

void RemoteServiceTask::resumeBackoff(const Backoff &backoff) {
    logInfo("%@ (%@): keeping the back-off of state %ld until %@", name(), logIdentity(),
            long(backoff.state), backoff.nextWakeup.description());
    setSyncState(backoff.state);
    m_syncErrorString = backoff.errorString;
    m_retryMultiplier = backoff.retryMultiplier;
    setNextWakeup(backoff.nextWakeup);
}

void RemoteServiceTask::recordOutcome() {
    if (!m_remoteService)
        return;
    const QString key = QStringLiteral("syncOptions");
    QVariantMap options = m_remoteService->unarchivedValueForKey(key).toMap();
    options.insert(QLatin1String(kLastSyncStateKey), m_syncState);
    if (m_syncErrorString)
        options.insert(QLatin1String(kLastSyncErrorKey), *m_syncErrorString);
    else
        options.remove(QLatin1String(kLastSyncErrorKey));
    m_remoteService->setArchivedValue(options, key);
}

bool RemoteServiceTask::terminateSyncIfPendingChanges() {
    if (!m_pendingChanges)
        return false;
    setSyncState(SyncState::Idle);
    syncCompleted(false);
    return true;
}

void RemoteServiceTask::resetStartOfSyncTimeIfNoPendingChanges() {
    if (m_pendingChanges) {
        logDebug("%@ (%@): - pending changes", name(), logIdentity());
        return;
    }
    m_syncStartTime = Clock::shared().now();
    logDebug("%@ (%@): - ok", name(), logIdentity());
}

// --- Requests for a sync ------------------------------------------------------------------

void RemoteServiceTask::syncNeededWithChanges(bool changes, double delay) {
    if (m_syncState != SyncState::Idle) {
        (changes ? m_pendingChanges : m_syncNeeded) = true;
        return;
    }
    const double untilWakeup = secondsUntil(nextWakeup());
    // A burst of edits pushes a near sync back; a distant one is brought forward.
    if (delay == 0 || delay > untilWakeup || untilWakeup > kEditDelay)
        delayedTickle(delay);
}

void RemoteServiceTask::notePendingChanges() {
    logDebug("%@ (%@): notePendingChanges", name(), logIdentity());
    syncNeededWithChanges(true, kChangesDelay);
}

void RemoteServiceTask::noteSyncNeededWithDelay(double seconds) {
    logDebug("%@ (%@): noteSyncNeededWithDelay %.2f", name(), logIdentity(), seconds);
    syncNeededWithChanges(false, seconds);
}

void RemoteServiceTask::noteSyncNeeded() {
    noteSyncNeededWithDelay(kChangesDelay);
}

void RemoteServiceTask::noteSyncNeededIfOnline() {
    if (m_syncState != SyncState::Offline)
        noteSyncNeededWithDelay(0);
}

void RemoteServiceTask::forceSync() {
    logDebug("forceSync: %@", name());
    m_forceSync = true;
    syncNeededWithChanges(false, 0);
}

void RemoteServiceTask::forceResetSync(ResetSyncDelegate *delegate) {
    m_resetDelegate = delegate;
    m_doingResetSync = true;
    forceSync();
}

void RemoteServiceTask::delaySyncIfNeeded() {
    if (m_syncState == SyncState::Idle && secondsUntil(nextWakeup()) < kEditDelay)
        delayedTickle(kEditDelay);
}

void RemoteServiceTask::greatlyDelaySyncIfNeeded(bool delay) {
    if (m_syncState != SyncState::Idle || secondsUntil(nextWakeup()) >= kGreatEditDelay)
        return;
    if (delay)
        delayedTickle(kGreatEditDelay);
    else
        tickle();
}
