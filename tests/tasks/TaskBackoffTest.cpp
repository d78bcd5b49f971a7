#include <algorithm>

#include "tasks/TaskControlFixture.h"

// A failing service's back-off (its state, the time of its next attempt and
// the growth of its delay) survives its task being stopped and made again,
// as when a command holds the running application; and a server's own
// "retry after" is honoured, within reason.
namespace {

class TaskBackoffTest : public TaskControlFixture {
protected:
    // The store with one service of the test kind, and its task.
    TestServiceTask *startTask() {
        open();
        addService(QStringLiteral("S1"), QString::fromLatin1(TestServiceTask::kServiceName));
        m_control.startRemoteServices();
        return onlyTask();
    }
    TestServiceTask *onlyTask() {
        const QList<RemoteServiceTask *> tasks = serviceTasks();
        return tasks.size() == 1 ? static_cast<TestServiceTask *>(tasks.first()) : nullptr;
    }
    // Runs one cycle of the task to its end with the given outcome.
    void runCycle(TestServiceTask *task, qint64 outcome) {
        task->outcomes = {outcome};
        m_clock.advance(0);
        ASSERT_TRUE(task->isBlocked());
        task->answer();
        m_clock.advance(0);
        EXPECT_EQ(task->syncState(), outcome);
    }
    // Stops the tasks and makes them again, as a command's hold does.
    void holdAndRelease() {
        m_controller->stopNetworkTasks();
        EXPECT_TRUE(serviceTasks().isEmpty());
        m_controller->startNetworkTasks();
    }
};

}  // namespace

TEST_F(TaskBackoffTest, AFailingServiceKeepsItsBackoffWhenItsTaskIsMadeAgain) {
    TestServiceTask *task = startTask();
    ASSERT_NE(task, nullptr);
    runCycle(task, SyncState::UnableToConnect);
    m_clock.advance(15);
    runCycle(task, SyncState::UnableToConnect);
    const Date retry = m_clock.now().addingSeconds(30);
    ASSERT_EQ(task->nextWakeup(), retry);

    m_clock.advance(10);
    holdAndRelease();
    task = onlyTask();
    ASSERT_NE(task, nullptr);
    EXPECT_EQ(task->syncState(), SyncState::UnableToConnect);
    EXPECT_EQ(task->syncErrorString().value_or(QString()), QStringLiteral("failed with 4"));
    EXPECT_EQ(task->nextWakeup(), retry);
    EXPECT_EQ(task->retryMultiplier(), 4.0);
    EXPECT_TRUE(m_log.contains(QStringLiteral("keeping the back-off of state 4")));
    // Local changes made meanwhile wait for the retry, as they do for a
    // failed service.
    task->notePendingChanges();
    m_clock.advance(19);
    EXPECT_FALSE(task->isBlocked()) << "retried before its time";
    EXPECT_EQ(task->syncState(), SyncState::UnableToConnect);

    // The delay goes on growing from where it was.
    m_clock.advance(1);
    ASSERT_TRUE(task->isBlocked());
    task->outcomes = {SyncState::UnableToConnect};
    task->answer();
    m_clock.advance(0);
    EXPECT_EQ(task->nextWakeup(), m_clock.now().addingSeconds(60));
}

TEST_F(TaskBackoffTest, AServiceSyncedWhileItsTaskWasStoppedStartsAfresh) {
    TestServiceTask *task = startTask();
    ASSERT_NE(task, nullptr);
    runCycle(task, SyncState::LoginFailed);
    ModelObject *service = task->remoteService();

    m_controller->stopNetworkTasks();
    // A command synced the service meanwhile.
    service->setDateValue(m_clock.now(), QStringLiteral("lastSyncTime"));
    m_controller->startNetworkTasks();
    task = onlyTask();
    ASSERT_NE(task, nullptr);
    EXPECT_EQ(task->syncState(), SyncState::Idle);
    EXPECT_EQ(task->retryMultiplier(), 1.0);
    EXPECT_EQ(task->nextWakeup(), m_clock.now().addingSeconds(600));
}

TEST_F(TaskBackoffTest, ANetworkFailureWaitsAsLongAsTheServerAsksWithinReason) {
    TestServiceTask *task = startTask();
    ASSERT_NE(task, nullptr);
    // One failed cycle after the previous retry, the server having asked
    // to wait `asked` seconds (0: not asked); the delay it ends with.
    const auto delayAfterFailure = [&](double asked) {
        m_clock.advance(std::max(0.0, task->nextWakeup().secondsSince(m_clock.now())));
        task->outcomes = {SyncState::UnableToConnect};
        if (asked > 0)
            task->noteServerRetryDelay(asked);
        task->answer();
        m_clock.advance(0);
        return task->nextWakeup().secondsSince(m_clock.now());
    };
    m_clock.advance(0);
    EXPECT_EQ(delayAfterFailure(120), 120);  // longer than the back-off: the server's
    EXPECT_EQ(delayAfterFailure(5), 30);     // shorter: the back-off's
    EXPECT_EQ(delayAfterFailure(5 * 86400), RemoteServiceTask::kMaxServerRetryDelay);
    EXPECT_EQ(delayAfterFailure(0), 120);  // not asked again: the back-off's
}
