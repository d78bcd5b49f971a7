#include "tasks/TaskManager.h"

#include <cxxabi.h>
#include <QElapsedTimer>
#include <QStringList>
#include <algorithm>
#include <stdexcept>
#include <typeinfo>

#include "model/SyncableObjectMO.h"
#include "model/UserError.h"
#include "model/foundation/Log.h"
#include "model/store/ManagedObjectContext.h"
#include "tasks/Task.h"
#include "tasks/TaskManagerDelegate.h"

namespace {

TaskManager *g_shared = nullptr;

QString taskNames(const QList<Task *> &tasks) {
    QStringList names;
    for (const Task *task : tasks)
        names.append(task->name());
    return QStringLiteral("(") + names.join(QStringLiteral(", ")) + QStringLiteral(")");
}

QString exceptionName(const std::type_info &type) {
    int status = 0;
    char *demangled = abi::__cxa_demangle(type.name(), nullptr, nullptr, &status);
    const QString name = QString::fromUtf8(status == 0 && demangled ? demangled : type.name());
    std::free(demangled);
    return name;
}

// Calls `call`, logging what it throws with `message` (task name, exception text).
template <typename Call>
void guarded(const char *message, const Task *task, Call call) {
    try {
        call();
    } catch (const std::exception &error) {
        logError(message, task->name(), QString::fromUtf8(error.what()));
    } catch (...) {
        logError(message, task->name(), QStringLiteral("unknown exception"));
    }
}

// The error shown when a task's slice failed.
UserError internalError() {
    UserError error = UserError::withDescription(
        QStringLiteral("TaskManager"), 0,
        QStringLiteral("An internal error occurred in a background task."));
    error.setRecoverySuggestion(
        QStringLiteral("Please send the log files to support so that the problem can be fixed."));
    error.addRecoveryOption(QStringLiteral("Email Support"), QStringLiteral("Internal error"));
    error.addRecoveryOption(QStringLiteral("Ignore"), QStringLiteral("None"));
    error.setSeverity(UserError::kInternalSeverity);
    return error;
}

}  // namespace

// --- The shared instance -------------------------------------------------------

TaskManager &TaskManager::sharedManager() {
    if (!g_shared)
        g_shared = new TaskManager();
    return *g_shared;
}

bool TaskManager::hasSharedManager() {
    return g_shared != nullptr;
}

void TaskManager::stopSharedManager() {
    if (!g_shared)
        return;
    g_shared->terminate();
    delete g_shared;
    g_shared = nullptr;
}

void TaskManager::temporaryRetain(std::shared_ptr<const void> object) {
    if (!object)
        return;
    TaskManager &manager = sharedManager();
    manager.m_retained.push_back(std::move(object));
    manager.scheduleDisposal();
}

TaskManager::TaskManager()
    : m_mainThread(QThread::currentThread()),
      m_lastRunDate(Clock::shared().now()),
      m_lastMonitorDate(m_lastRunDate) {
    setMonotonicSource(nullptr);
    setNextWakeup();
}

TaskManager::~TaskManager() {
    for (const QMetaObject::Connection &connection : m_connections)
        QObject::disconnect(connection);
    m_wakeupTimer.stop();
    m_disposalTimer.stop();
    // Tasks may ask the manager about themselves while they are deleted.
    std::vector<std::unique_ptr<Task>> tasks = std::move(m_tasks);
    m_runQueue.clear();
    m_waitQueue.clear();
    tasks.clear();
    m_disposed.clear();
    m_retained.clear();
    if (g_shared == this)
        g_shared = nullptr;
}

void TaskManager::setMonotonicSource(MonotonicSource source) {
    if (!source) {
        auto timer = std::make_shared<QElapsedTimer>();
        timer->start();
        source = [timer] { return double(timer->nsecsElapsed()) / 1e9; };
    }
    m_monotonic = std::move(source);
    m_sliceStart = m_monotonic();
}

double TaskManager::sliceSeconds() const {
    return m_monotonic() - m_sliceStart;
}

// --- Adding and removing ---------------------------------------------------------

Task *TaskManager::addTask(std::unique_ptr<Task> owned, TaskDelegate *delegate) {
    if (!owned || taskWithUid(owned->uid()))
        return nullptr;
    Task *task = owned.get();
    logDebug("TaskManager: starting task %@", task->name());
    task->setDelegate(delegate);
    m_tasks.push_back(std::move(owned));
    m_runQueue.append(task);
    guarded("TaskManager caught exception starting task %@: %@", task, [task] { task->started(); });
    setNextWakeup();
    return task;
}

void TaskManager::removeTask(Task *task) {
    removeTasks({task});
}

void TaskManager::removeTasks(const QList<Task *> &tasks) {
    for (Task *task : tasks) {
        const auto owned = std::find_if(m_tasks.begin(), m_tasks.end(),
                                        [task](const auto &entry) { return entry.get() == task; });
        if (owned == m_tasks.end())
            continue;  // not ours, or already removed
        logDebug("TaskManager: stopping task %@", task->name());
        m_runQueue.removeAll(task);
        m_waitQueue.removeAll(task);
        m_disposed.push_back(std::move(*owned));
        m_tasks.erase(owned);
        guarded("TaskManager caught exception removing task %@ %@", task,
                [task] { task->terminate(); });
    }
    scheduleDisposal();
    setNextWakeup();
}

void TaskManager::scheduleDisposal() {
    if (m_disposalTimer.isActive())
        return;
    m_disposalTimer.start(0, [this] {
        // Deleting a task may retain or remove more; take what is there now.
        std::vector<std::unique_ptr<Task>> disposed = std::move(m_disposed);
        std::vector<std::shared_ptr<const void>> retained = std::move(m_retained);
        m_disposed.clear();
        m_retained.clear();
    });
}

QList<Task *> TaskManager::allTasks() const {
    return m_runQueue + m_waitQueue;
}

Task *TaskManager::taskWithUid(const QString &uid) const {
    if (uid.isEmpty())
        return nullptr;
    for (Task *task : allTasks())
        if (task->uid() == uid)
            return task;
    return nullptr;
}

// --- Blocking and tickling ------------------------------------------------------

void TaskManager::blockTask(Task *task) {
    if (!m_runQueue.contains(task))
        return;
    task->setBlockDate(Clock::shared().now());
    m_waitQueue.append(task);
    m_runQueue.removeAll(task);
    logTaskTrace("TaskManager: blocked task %@", task->name());
}

void TaskManager::unblockTask(Task *task) {
    if (!m_waitQueue.contains(task))
        return;
    logTaskTrace("TaskManager: unblocked task %@", task->name());
    m_runQueue.append(task);
    m_waitQueue.removeAll(task);
    setNextWakeup();
}

bool TaskManager::taskIsBlocked(const Task *task) const {
    return m_waitQueue.contains(const_cast<Task *>(task));
}

bool TaskManager::taskIsRunning(const Task *task) const {
    return m_runQueue.contains(const_cast<Task *>(task));
}

void TaskManager::tickleTask(Task *task, double delay) {
    task->setNextWakeup(Clock::shared().now().addingSeconds(delay));
    if (!m_runQueue.contains(task))
        return;
    logTaskTrace("TaskManager: tickled task %@ with delay %.2f", task->name(), delay);
    setNextWakeup();
}

// --- Suspension, sleep and user activity ------------------------------------------

void TaskManager::suspend() {
    logTaskTrace("TaskManager: suspend");
    if (m_suspended == 0)
        SyncableObjectMO::suspendSyncInProgress();
    ++m_suspended;
}

void TaskManager::resume() {
    logTaskTrace("TaskManager: resume");
    if (m_suspended == 0)
        throw std::logic_error("TaskManager: resume without suspend");
    if (--m_suspended == 0)
        SyncableObjectMO::resumeSyncInProgress();
}

void TaskManager::awakeFromSleep() {
    for (Task *task : allTasks())
        guarded("TaskManager caught exception waking task %@: %@", task,
                [task] { task->awakeFromSleep(); });
    setNextWakeup();
}

void TaskManager::userActivity(std::optional<Date> date) {
    logTaskTrace("TaskManager: userActivity @ %@", date);
    m_lastUserEventDate = date;
    if (date)
        ++m_userActivityCount;
    else
        setNextWakeup();
}

QVariant TaskManager::presentErrorToUser(const UserError &error) {
    QVariant answer;
    forward(
        [&](TaskManagerDelegate &delegate) { answer = delegate.taskManagerPresentError(error); });
    return answer;
}

// --- Scheduling -------------------------------------------------------------------

void TaskManager::sortRunQueue() {
    const Date now = Clock::shared().now();
    std::stable_sort(m_runQueue.begin(), m_runQueue.end(), [now](const Task *a, const Task *b) {
        const double untilA = a->nextWakeup().secondsSince(now);
        const double untilB = b->nextWakeup().secondsSince(now);
        // A task is due when its wake-up is not in the future.
        if (untilA <= 0 && untilB <= 0) {
            if (a->idlePriority() != b->idlePriority())
                return a->idlePriority() < b->idlePriority();
            return a->lastRunDate() < b->lastRunDate();
        }
        return untilA < untilB;
    });
}

void TaskManager::setNextWakeup() {
    if (m_running)
        return;
    const Date now = Clock::shared().now();
    Date fire = Task::kDistantFuture;
    if (!m_runQueue.isEmpty() && m_suspended != 0) {
        fire = now.addingSeconds(kSuspendedPollSeconds);
    } else if (!m_runQueue.isEmpty()) {
        sortRunQueue();
        const Task *first = m_runQueue.first();
        fire = first->nextWakeup();
        if (m_lastUserEventDate && first->idlePriority() > 0 &&
            fire.secondsSince(*m_lastUserEventDate) < first->idlePriority()) {
            fire = m_lastUserEventDate->addingSeconds(first->idlePriority());
            logTaskTrace("TaskManager: defer wakeup until idle");
        }
    }
    logTaskTrace("TaskManager: runQueue = %@, nextWakeup in %.2f seconds.", taskNames(m_runQueue),
                 fire.secondsSince(now));
    m_wakeupTimer.stop();
    m_wakeupDate = fire;
    if (fire < Task::kDistantFuture && !m_shuttingDown)
        m_wakeupTimer.startAt(fire, [this] { wakeup(); });
}

void TaskManager::wakeup() {
    const Date now = Clock::shared().now();
    m_wakeupDate = Task::kDistantFuture;
    const Task *first = m_runQueue.isEmpty() ? nullptr : m_runQueue.first();
    const bool waitForIdle = first && m_lastUserEventDate && first->idlePriority() > 0 &&
                             first->idlePriority() > now.secondsSince(*m_lastUserEventDate);
    if (waitForIdle || m_suspended != 0 || m_shuttingDown) {
        setNextWakeup();
        return;
    }
    m_running = true;
    // The timer was armed for the first task; one that blocked meanwhile
    // leaves a task in front that may not be due yet.
    if (first && first->nextWakeup() <= now)
        runFirstTask();
    m_running = false;
    deliverDatabaseChanges();
    monitorBlockedTasks();
    setNextWakeup();
    m_lastRunDate = Clock::shared().now();
}

void TaskManager::runFirstTask() {
    Task *task = m_runQueue.first();
    logTaskTrace("TaskManager: running task %@", task->name());
    task->setLastRunDate(Clock::shared().now());
    m_sliceStart = m_monotonic();
    try {
        task->run();
    } catch (const std::exception &error) {
        reportRunException(task, exceptionName(typeid(error)), QString::fromUtf8(error.what()));
    } catch (...) {
        reportRunException(task, QStringLiteral("unknown exception"), QString());
    }
    const double seconds = sliceSeconds();
    if (seconds >= Task::kYieldSeconds || Log::isEnabled(LogFlagTaskTrace))
        logDebug("TaskManager: ran task %@ for %.2f seconds", task->name(), seconds);
    const Date now = Clock::shared().now();
    if (!m_runQueue.contains(task))
        logTaskTrace("TaskManager: blocking task %@", task->name());
    else if (task->nextWakeup() > now)
        logTaskTrace("TaskManager: sleeping task %@ for %.2f seconds", task->name(),
                     task->nextWakeup().secondsSince(now));
    else
        logTaskTrace("TaskManager: yielding task %@", task->name());
    // Behind the tasks that ran as recently, so that due tasks take turns
    // even when the clock did not move during the slice.
    if (m_runQueue.removeAll(task) > 0)
        m_runQueue.append(task);
}

void TaskManager::reportRunException(Task *task, const QString &exceptionName,
                                     const QString &reason) {
    logError("TaskManager caught exception running task %@ (%@): %@: %@", task->name(), task->uid(),
             exceptionName, reason);
    presentErrorToUser(internalError());
}

void TaskManager::monitorBlockedTasks() {
    const Date now = Clock::shared().now();
    if (now.secondsSince(m_lastMonitorDate) <= kHangSeconds)
        return;
    if (now.secondsSince(m_lastRunDate) <= kHangSeconds) {
        for (Task *task : QList<Task *>(m_waitQueue)) {
            const double blocked = now.secondsSince(task->blockDate());
            if (blocked < kHangSeconds)
                continue;
            logWarning("TaskManager: task %@ (%@) has been blocked for %ld minutes.", task->name(),
                       task->uid(), long(blocked / 60));
            guarded("TaskManager caught exception reporting task %@: %@", task,
                    [task] { task->reportHang(); });
        }
    }
    m_lastMonitorDate = now;
}

// --- Store notifications ------------------------------------------------------------

void TaskManager::observeContext(ManagedObjectContext *context) {
    m_connections.push_back(QObject::connect(
        context, &ManagedObjectContext::objectsDidChange, context,
        [this](const ChangeSet &changes) { fanOut(Task::ObjectsChanged, changes); }));
    m_connections.push_back(QObject::connect(
        context, &ManagedObjectContext::didSave, context,
        [this](const ChangeSet &changes) { fanOut(Task::ObjectsSaved, changes); }));
}

void TaskManager::fanOut(int interest, const ChangeSet &changes) {
    for (Task *task : allTasks()) {
        if (!(task->storeChangeInterest() & interest))
            continue;
        guarded("TaskManager caught exception notifying task %@: %@", task, [&] {
            if (interest == Task::ObjectsSaved)
                task->objectsDidSave(changes);
            else
                task->objectsDidChange(changes);
        });
    }
}

void TaskManager::forward(const std::function<void(TaskManagerDelegate &)> &notify) {
    if (!m_delegate)
        return;
    suspend();
    try {
        notify(*m_delegate);
    } catch (...) {
        resume();
        throw;
    }
    resume();
}

void TaskManager::deliverDatabaseChanges() {
    if (m_databaseChanges.isEmpty())
        return;
    const QSet<ManagedObject *> changes = std::exchange(m_databaseChanges, {});
    if (m_delegate)
        m_delegate->taskManagerSyncableObjectsChanged(changes);
}

void TaskManager::objectReceived(ManagedObject *syncableObject) {
    m_databaseChanges.insert(syncableObject);
}

void TaskManager::objectUpdated(ManagedObject *object) {
    forward([object](TaskManagerDelegate &d) { d.taskManagerSyncableObjectsUpdated({object}); });
}

void TaskManager::notificationsChanged() {
    forward([](TaskManagerDelegate &d) { d.taskManagerNotificationsChanged(); });
}

void TaskManager::subscribedContainersChanged() {
    forward([](TaskManagerDelegate &d) { d.taskManagerSubscribedContainersChanged(); });
}

void TaskManager::conflictForObject(ManagedObject *object, const QString &reason) {
    forward([&](TaskManagerDelegate &d) { d.taskManagerConflictForObjects({object}, reason); });
}

void TaskManager::conflictContainerCreated(ManagedObject *container) {
    forward([container](TaskManagerDelegate &d) {
        d.taskManagerConflictContainerCreated({container});
    });
}

void TaskManager::remoteServiceWillBeAdded(ManagedObject *service) {
    forward([service](TaskManagerDelegate &d) { d.taskManagerRemoteServiceWillBeAdded(service); });
}

void TaskManager::remoteServiceWillBeDeleted(ManagedObject *service) {
    forward(
        [service](TaskManagerDelegate &d) { d.taskManagerRemoteServiceWillBeDeleted(service); });
}

void TaskManager::changesSentToService(ManagedObject *service) {
    forward(
        [service](TaskManagerDelegate &d) { d.taskManagerChangesSentToRemoteService(service); });
}

void TaskManager::initialSyncCompletedToService(ManagedObject *service) {
    forward([service](TaskManagerDelegate &d) {
        d.taskManagerInitialSyncCompletedToRemoteService(service);
    });
}

// --- Shutdown ------------------------------------------------------------------------

void TaskManager::terminate() {
    if (m_shuttingDown)
        return;  // tasks are terminated once
    m_shuttingDown = true;
    for (Task *task : allTasks())
        guarded("TaskManager caught exception terminating task %@ %@", task,
                [task] { task->terminate(); });
    m_wakeupTimer.stop();
    m_wakeupDate = Task::kDistantFuture;
}
