#include "caldav/CalDAVAccountCheck.h"

#include <QEventLoop>
#include <stdexcept>

#include "model/foundation/Clock.h"
#include "tasks/RemoteServiceTask.h"
#include "tasks/SyncState.h"
#include "tasks/TaskDelegate.h"
#include "tasks/TaskManager.h"

namespace {

// Leaves the loop once the cycle has ended.
class FirstCycleWatcher : public TaskDelegate {
public:
    explicit FirstCycleWatcher(QEventLoop *loop) : m_loop(loop) {}
    void stateChange(qint64 state, RemoteServiceTask * /*task*/) override {
        if (state != SyncState::Synchronizing)
            m_loop->quit();
    }

private:
    QEventLoop *m_loop;
};

}  // namespace

namespace CalDAVAccountCheck {

Outcome runFirstCycle(ModelObject *service, int timeoutSeconds) {
    std::unique_ptr<RemoteServiceTask> made =
        RemoteServiceTask::newTaskForRemoteService(service, false);
    if (!made)
        throw std::logic_error("CalDAVAccountCheck: no task for the service");
    QEventLoop loop;
    FirstCycleWatcher watcher(&loop);
    TaskManager &manager = TaskManager::sharedManager();
    auto *task = static_cast<RemoteServiceTask *>(manager.addTask(std::move(made), &watcher));
    if (!task)
        throw std::logic_error("CalDAVAccountCheck: the service's task runs already");
    ClockTimer deadline;
    deadline.start(timeoutSeconds, [&loop] { loop.quit(); });
    manager.tickleTask(task);
    loop.exec();
    Outcome outcome{task->syncState(), task->syncErrorString(), {}};
    if (const auto *caldavTask = dynamic_cast<const CalDAVSyncTask *>(task))
        outcome.counts = caldavTask->counts();
    if (outcome.state == SyncState::Synchronizing)
        outcome.error = QStringLiteral("no answer within %1 seconds").arg(timeoutSeconds);
    task->setDelegate(nullptr);
    manager.removeTask(task);
    return outcome;
}

}  // namespace CalDAVAccountCheck
