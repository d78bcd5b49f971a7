#pragma once

#include <memory>

#include "tasks/SecretServiceCredentialStore.h"
#include "tasks/TaskControl.h"
#include "tasks/TaskSyncHooks.h"

class LogindSleepMonitor;
class TaskDelegate;

// The task framework of one run of the application: installed (the model's
// sync notices, the keyring, waking from sleep) while the object lives, and
// driven by the database controller through control().
class BackgroundTasks {
public:
    // `taskDelegate` hears of every sync task (none: nobody).
    explicit BackgroundTasks(TaskDelegate *taskDelegate = nullptr);
    ~BackgroundTasks();
    BackgroundTasks(const BackgroundTasks &) = delete;
    BackgroundTasks &operator=(const BackgroundTasks &) = delete;

    TaskControl &control() { return m_control; }

private:
    TaskSyncHooks m_hooks;
    SecretServiceCredentialStore m_credentials;
    TaskControl m_control;
    std::unique_ptr<LogindSleepMonitor> m_sleep;
};
