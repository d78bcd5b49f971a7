#include "app/BackgroundTasks.h"

#include "tasks/LogindSleepMonitor.h"

BackgroundTasks::BackgroundTasks(TaskDelegate *taskDelegate)
    : m_control(nullptr, taskDelegate), m_sleep(std::make_unique<LogindSleepMonitor>()) {
    SyncHooks::setShared(&m_hooks);
    CredentialStore::setShared(&m_credentials);
    m_control.watchSleep(m_sleep.get());
}

BackgroundTasks::~BackgroundTasks() {
    CredentialStore::setShared(nullptr);
    SyncHooks::setShared(nullptr);
}
