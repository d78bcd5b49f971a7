#include <QCoreApplication>
#include <QSemaphore>
#include <QThread>
#include <atomic>
#include <stdexcept>

#include "tasks/TaskTestSupport.h"
#include "tasks/TaskWorker.h"

namespace {

// Processes events until `done` is true: the hand-back is an event.
void processEventsUntil(const std::function<bool()> &done) {
    while (!done())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

}  // namespace

TEST_F(TaskManagerTest, WorkerResultsComeBackOnTheMainThreadBeforeTheTaskRunsAgain) {
    QSemaphore release;
    std::atomic<QThread *> workerThread = nullptr;
    int result = 0;
    QThread *finishedOn = nullptr;
    QString reportedError = QStringLiteral("not called");
    ScriptedTask *task = add(QStringLiteral("parse"), 0, [&](ScriptedTask &self) {
        if (self.runs == 1) {
            TaskWorker::start(
                &self,
                [&] {
                    release.acquire();
                    workerThread = QThread::currentThread();
                    result = 42;
                },
                [&](const QString &error) {
                    finishedOn = QThread::currentThread();
                    reportedError = error;
                });
        } else {
            self.setNextWakeup(Task::kDistantFuture);
        }
    });
    advance(0);
    EXPECT_TRUE(task->isBlocked()) << "blocked while the worker works";
    advance(60);
    EXPECT_EQ(task->runs, 1);
    release.release();
    processEventsUntil([&] { return finishedOn != nullptr; });
    EXPECT_EQ(finishedOn, QThread::currentThread());
    EXPECT_NE(workerThread.load(), QThread::currentThread());
    EXPECT_TRUE(reportedError.isEmpty());
    EXPECT_EQ(result, 42);
    EXPECT_FALSE(task->isBlocked());
    advance(0);
    EXPECT_EQ(task->runs, 2);
}

TEST_F(TaskManagerTest, AFailedWorkerIsReportedAndARemovedTaskIsLeftAlone) {
    QString reportedError;
    bool failedReturned = false;
    ScriptedTask *failing = add(QStringLiteral("failing"), 0, [&](ScriptedTask &self) {
        self.setNextWakeup(Task::kDistantFuture);
        TaskWorker::start(
            &self, [] { throw std::runtime_error("truncated answer"); },
            [&](const QString &error) {
                reportedError = error;
                failedReturned = true;
            });
    });
    advance(0);
    processEventsUntil([&] { return failedReturned; });
    EXPECT_EQ(reportedError, QStringLiteral("truncated answer"));
    EXPECT_TRUE(m_log.contains(QStringLiteral("failing: worker failed: truncated answer")));
    EXPECT_FALSE(failing->isBlocked());

    // A task removed while its worker runs hears nothing back.
    QSemaphore release;
    bool called = false;
    QFuture<void> handBack;
    ScriptedTask *gone = add(QStringLiteral("gone"), 0, [&](ScriptedTask &self) {
        self.setNextWakeup(Task::kDistantFuture);
        handBack = TaskWorker::start(
            &self, [&] { release.acquire(); }, [&](const QString &) { called = true; });
    });
    advance(0);
    ASSERT_TRUE(gone->isBlocked());
    manager().removeTask(gone);
    release.release();
    processEventsUntil([&] { return handBack.isFinished(); });
    EXPECT_FALSE(called);
}
