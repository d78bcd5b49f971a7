#pragma once

#include <QString>
#include <memory>

#include "model/foundation/Date.h"

struct ChangeSet;
class TaskDelegate;

// One piece of background work, run by the TaskManager in slices on the main
// thread. A task is due when its nextWakeup() is not in the future; each
// run() does a slice of work and returns, at the latest once timeToYield() is
// true. A task that waits for an answer (network, worker thread) calls
// block() and returns; the answer's callback calls unblock().
//
// The manager owns every task it accepted; a task is deleted only after its
// terminate() has run and the current turn of the event loop has returned.
// Everything here runs on the main thread.
class Task {
public:
    // The far ends of time: a task due at kDistantFuture never runs unless
    // tickled; a new task last ran at kDistantPast.
    static constexpr Date kDistantFuture = Date(63113904000.0);
    static constexpr Date kDistantPast = Date(-63114076800.0);
    // The length of a slice before timeToYield() turns true.
    static constexpr double kYieldSeconds = 0.05;

    // Which store changes the task wants to hear of (setStoreChangeInterest()).
    enum StoreChangeInterest : int {
        NoStoreChanges = 0,
        ObjectsChanged = 1,  // every processed batch, saved or not
        ObjectsSaved = 2,    // every batch written to the store
    };

    Task();
    virtual ~Task();
    Task(const Task &) = delete;
    Task &operator=(const Task &) = delete;

    virtual QString name() const { return m_name; }
    void setName(const QString &name) { m_name = name; }
    // Empty: no identity. The manager never holds two tasks with one non-empty uid.
    const QString &uid() const { return m_uid; }
    void setUid(const QString &uid) { m_uid = uid; }
    Date nextWakeup() const { return m_nextWakeup; }
    void setNextWakeup(Date date) { m_nextWakeup = date; }
    Date blockDate() const { return m_blockDate; }
    void setBlockDate(Date date) { m_blockDate = date; }
    Date lastRunDate() const { return m_lastRunDate; }
    void setLastRunDate(Date date) { m_lastRunDate = date; }
    // The task's normal period in seconds (10 unless changed or overridden).
    virtual double sleepInterval() const { return m_sleepInterval; }
    void setSleepInterval(double seconds) { m_sleepInterval = seconds; }
    // 0: run whenever due; N > 0: run only after N seconds without user input.
    double idlePriority() const { return m_idlePriority; }
    void setIdlePriority(double seconds) { m_idlePriority = seconds; }
    TaskDelegate *delegate() const { return m_delegate; }
    void setDelegate(TaskDelegate *delegate) { m_delegate = delegate; }
    // Set when the application quits after a database reset: tasks that keep
    // files tidy them up in terminate().
    bool cleansUpOnTermination() const { return m_cleanUpOnTermination; }
    void cleanUpOnTermination() { m_cleanUpOnTermination = true; }
    int storeChangeInterest() const { return m_storeChangeInterest; }
    void setStoreChangeInterest(int interest) { m_storeChangeInterest = interest; }

    // Requests to the shared manager about this task.
    void tickle();
    void delayedTickle(double seconds);
    void block();
    void unblock();
    bool isBlocked() const;
    // Removes the task from the manager (terminate() runs).
    void exit();
    // True once the current slice has lasted more than kYieldSeconds.
    bool timeToYield() const;

    // Called by the manager: once when it accepts the task, for each slice,
    // once when the task is removed or the manager shuts down, after the
    // computer woke from sleep, and when the task has been blocked too long.
    // The base class does nothing but drop the delegate in terminate().
    virtual void started() {}
    virtual void run() {}
    virtual void terminate();
    virtual void awakeFromSleep() {}
    virtual void reportHang() {}
    // The store changes the task asked for, as the context sent them.
    virtual void objectsDidChange(const ChangeSet & /*changes*/) {}
    virtual void objectsDidSave(const ChangeSet & /*changes*/) {}

    // Turns false when the task is deleted: callbacks that may outlive the
    // task (worker threads, replies) check it before touching the task.
    std::weak_ptr<const bool> lifetime() const { return m_alive; }

private:
    QString m_name;
    QString m_uid;
    Date m_nextWakeup;
    Date m_blockDate;
    Date m_lastRunDate = kDistantPast;
    double m_sleepInterval = 10.0;
    double m_idlePriority = 0;
    bool m_cleanUpOnTermination = false;
    TaskDelegate *m_delegate = nullptr;
    int m_storeChangeInterest = NoStoreChanges;
    std::shared_ptr<const bool> m_alive = std::make_shared<const bool>(true);
};
