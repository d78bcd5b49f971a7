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
    return CycleRunner(service).runCycle(timeoutSeconds);
}

CycleRunner::CycleRunner(ModelObject *service) {
    std::unique_ptr<RemoteServiceTask> made =
        RemoteServiceTask::newTaskForRemoteService(service, false);
    if (!made)
        throw std::logic_error("CalDAVAccountCheck: no task for the service");
    m_task =
        static_cast<RemoteServiceTask *>(TaskManager::sharedManager().addTask(std::move(made)));
    if (!m_task)
        throw std::logic_error("CalDAVAccountCheck: the service's task runs already");
}

CycleRunner::~CycleRunner() {
    TaskManager::sharedManager().removeTask(m_task);
}

Outcome CycleRunner::runCycle(int timeoutSeconds) {
    QEventLoop loop;
    FirstCycleWatcher watcher(&loop);
    m_task->setDelegate(&watcher);
    ClockTimer deadline;
    deadline.start(timeoutSeconds, [&loop] { loop.quit(); });
    TaskManager::sharedManager().tickleTask(m_task);
    loop.exec();
    Outcome outcome{m_task->syncState(), m_task->syncErrorString(), {}};
    if (const auto *caldavTask = dynamic_cast<const CalDAVSyncTask *>(m_task))
        outcome.counts = caldavTask->counts();
    if (outcome.state == SyncState::Synchronizing)
        outcome.error = QStringLiteral("no answer within %1 seconds").arg(timeoutSeconds);
    m_task->setDelegate(nullptr);
    return outcome;
}

}  // namespace CalDAVAccountCheck
