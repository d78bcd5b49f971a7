#pragma once

#include <QList>
#include <QSet>
#include <QThread>
#include <QVariant>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "model/foundation/Clock.h"
#include "model/foundation/Date.h"

class ManagedObject;
class ManagedObjectContext;
class Task;
class TaskDelegate;
class TaskManagerDelegate;
class UserError;
struct ChangeSet;

// The one scheduler of background work: a cooperative, single-threaded
// manager on the main thread's event loop. Runnable tasks wait in the run
// queue, blocked ones in the wait queue; one timer on the shared Clock is
// armed for the earliest due task and each firing runs exactly one slice of
// one task. The manager also carries the store's notifications to the
// application delegate, and the context's change batches to the tasks that
// asked for them.
//
// All operations belong to the main thread. Exceptions from a task's
// started(), run() and terminate() never leave the manager.
class TaskManager {
public:
    // How the length of a slice is measured: seconds on a monotonic scale.
    using MonotonicSource = std::function<double()>;

    static constexpr double kSuspendedPollSeconds = 1.0;
    static constexpr double kHangSeconds = 2700;  // 45 minutes

    // The shared instance, made on first use.
    static TaskManager &sharedManager();
    static bool hasSharedManager();
    // terminate(), then deletes the shared instance with its tasks.
    static void stopSharedManager();
    // Keeps the object alive until the current turn of the event loop is over.
    static void temporaryRetain(std::shared_ptr<const void> object);

    ~TaskManager();
    TaskManager(const TaskManager &) = delete;
    TaskManager &operator=(const TaskManager &) = delete;

    TaskManagerDelegate *delegate() const { return m_delegate; }
    void setDelegate(TaskManagerDelegate *delegate) { m_delegate = delegate; }
    // Replaces the slice timer (tests move it by hand); nullptr restores the
    // monotonic system timer.
    void setMonotonicSource(MonotonicSource source);
    // Seconds since the current (or last) slice began.
    double sliceSeconds() const;

    // Takes the task unless one with the same non-empty uid is there already
    // (then the new task is deleted unstarted and nullptr returned). The
    // task's started() runs before this returns.
    Task *addTask(std::unique_ptr<Task> task, TaskDelegate *delegate = nullptr);
    // Takes the tasks out of both queues and terminates them; they are deleted
    // once the current turn of the event loop is over.
    void removeTask(Task *task);
    void removeTasks(const QList<Task *> &tasks);
    // The run queue followed by the wait queue.
    QList<Task *> allTasks() const;
    template <typename T>
    QList<T *> allTasksOfClass() const {
        QList<T *> found;
        for (Task *task : allTasks())
            if (T *typed = dynamic_cast<T *>(task))
                found.append(typed);
        return found;
    }
    // nullptr for an empty uid or when no task has it.
    Task *taskWithUid(const QString &uid) const;

    void blockTask(Task *task);
    void unblockTask(Task *task);
    bool taskIsBlocked(const Task *task) const;
    bool taskIsRunning(const Task *task) const;
    // The task's next wake-up becomes now + delay; the timer is re-armed only
    // for a task of the run queue.
    void tickleTask(Task *task, double delay = 0);

    bool isShuttingDown() const { return m_shuttingDown; }
    bool isRunningTask() const { return m_running; }
    bool inMainRunLoop() const { return QThread::currentThread() == m_mainThread; }

    // Nested hold on running tasks; object-model sync marking is held while
    // suspended.
    void suspend();
    void resume();
    qint64 suspendCount() const { return m_suspended; }

    void awakeFromSleep();
    // A user input event at `date`, or none when the application became inactive.
    void userActivity(std::optional<Date> date);
    qint64 userActivityCount() const { return m_userActivityCount; }
    QVariant presentErrorToUser(const UserError &error);

    // Timer callback: runs one slice of the first task.
    void wakeup();
    void setNextWakeup();
    void monitorBlockedTasks();
    // When the timer fires next (kDistantFuture when nothing is due).
    Date wakeupDate() const { return m_wakeupDate; }

    // Sends the context's change batches to the tasks that asked for them.
    void observeContext(ManagedObjectContext *context);

    // Notifications of the store, passed on to the delegate.
    void objectReceived(ManagedObject *syncableObject);
    void objectUpdated(ManagedObject *object);
    void notificationsChanged();
    void subscribedContainersChanged();
    void conflictForObject(ManagedObject *object, const QString &reason);
    void conflictContainerCreated(ManagedObject *container);
    void remoteServiceWillBeAdded(ManagedObject *service);
    void remoteServiceWillBeDeleted(ManagedObject *service);
    void changesSentToService(ManagedObject *service);
    void initialSyncCompletedToService(ManagedObject *service);

    // Terminates every task (run queue, then wait queue) and stops the
    // timer; the tasks stay in the queues.
    void terminate();

private:
    TaskManager();
    void sortRunQueue();
    void runFirstTask();
    void reportRunException(Task *task, const QString &exceptionName, const QString &reason);
    void deliverDatabaseChanges();
    void forward(const std::function<void(TaskManagerDelegate &)> &notify);
    void fanOut(int interest, const ChangeSet &changes);
    void scheduleDisposal();

    bool m_running = false;
    bool m_shuttingDown = false;
    qint64 m_suspended = 0;
    QList<Task *> m_runQueue;
    QList<Task *> m_waitQueue;
    ClockTimer m_wakeupTimer;
    Date m_wakeupDate;
    QThread *m_mainThread;
    Date m_lastRunDate;
    Date m_lastMonitorDate;
    std::optional<Date> m_lastUserEventDate;
    qint64 m_userActivityCount = 0;
    TaskManagerDelegate *m_delegate = nullptr;
    QSet<ManagedObject *> m_databaseChanges;

    std::vector<std::unique_ptr<Task>> m_tasks;     // every task accepted and not yet removed
    std::vector<std::unique_ptr<Task>> m_disposed;  // removed, deleted at the next turn
    std::vector<std::shared_ptr<const void>> m_retained;
    ClockTimer m_disposalTimer;
    MonotonicSource m_monotonic;
    double m_sliceStart = 0;
    std::vector<QMetaObject::Connection> m_connections;
};
