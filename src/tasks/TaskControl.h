#pragma once

#include <QHash>

#include "model/DatabaseControllerDelegate.h"
#include "tasks/RemoteServiceTask.h"
#include "tasks/ResetSyncDelegate.h"

class SleepMonitor;
class TaskDelegate;
class TaskManagerDelegate;

// The task framework as the database controller drives it: the shared task
// manager started on the main context, one task for every stored remote
// service while online, the user's "sync now", reset syncs, and shutdown.
class TaskControl : public DatabaseTaskControl, public ResetSyncDelegate {
public:
    // The delegates given to the manager and to each task (the application's).
    explicit TaskControl(TaskManagerDelegate *managerDelegate = nullptr,
                         TaskDelegate *taskDelegate = nullptr);

    // Wakes every task when the computer woke from sleep.
    void watchSleep(SleepMonitor *monitor);

    // DatabaseTaskControl
    void startAllTasks() override;
    void stopAllTasks() override;
    void startNetworkTasks() override;
    void stopNetworkTasks() override;
    void startRemoteServices() override;
    void syncNow() override;
    void cleanUpTasksForTermination() override;
    bool forceResetSync(ManagedObject *service) override;

    // ResetSyncDelegate: tells the database controller.
    void resetSyncHasFinished(bool success, RemoteServiceTask *task) override;

private:
    TaskManagerDelegate *m_managerDelegate;
    TaskDelegate *m_taskDelegate;
    // The back-off of failed services' tasks stopped by stopNetworkTasks(),
    // by service uid, for the tasks made again for them; dropped for a
    // service synced meanwhile (by a command).
    QHash<QString, RemoteServiceTask::Backoff> m_backoffs;
};
