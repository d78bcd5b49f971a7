#include <QRegularExpression>
#include <stdexcept>

#include "model/ModelObject.h"
#include "model/SyncableObjectMO.h"
#include "model/UserError.h"
#include "tasks/TaskTestSupport.h"

namespace {

// Records what the manager passes on, and whether it was suspended meanwhile.
class RecordingDelegate : public TaskManagerDelegate {
public:
    void taskManagerSyncableObjectsChanged(const QSet<ManagedObject *> &objects) override {
        calls << QStringLiteral("changed %1").arg(objects.size());
    }
    void taskManagerSyncableObjectsUpdated(const QSet<ManagedObject *> &objects) override {
        calls << QStringLiteral("updated %1 suspended %2")
                     .arg(objects.size())
                     .arg(TaskManager::sharedManager().suspendCount());
    }
    void taskManagerConflictForObjects(const QSet<ManagedObject *> &,
                                       const QString &reason) override {
        calls << QStringLiteral("conflict ") + reason;
    }
    QVariant taskManagerPresentError(const UserError &error) override {
        errors.append(error);
        calls << QStringLiteral("error suspended %1")
                     .arg(TaskManager::sharedManager().suspendCount());
        return QStringLiteral("None");
    }
    QStringList calls;
    QList<UserError> errors;
};

// A slice that sleeps the task for `seconds`.
ScriptedTask::Slice sleepFor(double seconds) {
    return [seconds](ScriptedTask &task) {
        task.setNextWakeup(Clock::shared().now().addingSeconds(seconds));
    };
}

}  // namespace

TEST_F(TaskManagerTest, RunsOneTaskPerFiringInOrderOfWakeup) {
    add(QStringLiteral("C"), 30);
    add(QStringLiteral("A"), 10);
    add(QStringLiteral("B"), 20);
    journal.clear();
    EXPECT_EQ(manager().wakeupDate(), m_clock.now().addingSeconds(10));
    advance(15);
    EXPECT_EQ(journal, QStringList{QStringLiteral("run A")});
    advance(20);
    EXPECT_EQ(journal, (QStringList{QStringLiteral("run A"), QStringLiteral("run B"),
                                    QStringLiteral("run C")}));
    // Nothing left due: the timer aims at the far future.
    EXPECT_EQ(manager().wakeupDate(), Task::kDistantFuture);
    EXPECT_EQ(manager().allTasks().size(), 3);
}

TEST_F(TaskManagerTest, KeepsTheFirstOfTwoTasksWithOneUid) {
    auto first = std::make_unique<ScriptedTask>(QStringLiteral("first"), &journal);
    first->setUid(QStringLiteral("U1"));
    Task *kept = manager().addTask(std::move(first));
    auto second = std::make_unique<ScriptedTask>(QStringLiteral("second"), &journal);
    second->setUid(QStringLiteral("U1"));
    EXPECT_EQ(manager().addTask(std::move(second)), nullptr);
    EXPECT_EQ(journal, QStringList{QStringLiteral("started first")});
    EXPECT_EQ(manager().taskWithUid(QStringLiteral("U1")), kept);
    EXPECT_EQ(manager().taskWithUid(QString()), nullptr);
    // Tasks without uid may be many.
    add(QStringLiteral("x"));
    add(QStringLiteral("y"));
    EXPECT_EQ(manager().allTasks().size(), 3);
}

TEST_F(TaskManagerTest, EmptyQueueWaitsForeverAndSuspensionPollsEverySecond) {
    EXPECT_EQ(manager().wakeupDate(), Task::kDistantFuture);
    manager().suspend();
    manager().suspend();
    add(QStringLiteral("A"));
    EXPECT_EQ(manager().wakeupDate(), m_clock.now().addingSeconds(1));
    advance(5);
    EXPECT_EQ(journal, QStringList{QStringLiteral("started A")});
    manager().resume();  // still held once
    advance(3);
    EXPECT_EQ(journal.count(QStringLiteral("run A")), 0);
    manager().resume();
    advance(1);
    EXPECT_EQ(journal.count(QStringLiteral("run A")), 1);
    EXPECT_THROW(manager().resume(), std::logic_error);
}

TEST_F(TaskManagerTest, SuspensionHoldsSyncMarking) {
    auto *service =
        ModelObject::as<ModelObject>(context().insertNewObject(QStringLiteral("RemoteService")));
    SyncableObjectMO::syncInProgress(true, service);
    manager().suspend();
    manager().suspend();
    EXPECT_FALSE(SyncableObjectMO::isSyncInProgress()) << "edits while held are the user's";
    manager().resume();
    EXPECT_FALSE(SyncableObjectMO::isSyncInProgress());
    manager().resume();
    EXPECT_EQ(SyncableObjectMO::syncingService(), service);
    SyncableObjectMO::syncInProgress(false, service);
}

TEST_F(TaskManagerTest, LongWorkYieldsAfterFiftyMillisecondsAndDueTasksTakeTurns) {
    // Each item costs 20 ms: a slice does three items, then yields.
    int items = 10;
    QList<int> slices;
    add(QStringLiteral("long"), 0, [&](ScriptedTask &task) {
        int done = 0;
        while (items > 0) {
            --items;
            ++done;
            monotonic += 0.02;
            if (task.timeToYield())
                break;
        }
        slices << done;
        if (items == 0)
            task.setNextWakeup(Task::kDistantFuture);
    });
    int shortRuns = 0;
    add(QStringLiteral("short"), 0, [&](ScriptedTask &task) {
        if (++shortRuns == 3)
            task.setNextWakeup(Task::kDistantFuture);
    });
    journal.clear();
    advance(0);
    EXPECT_EQ(slices, (QList<int>{3, 3, 3, 1}));
    EXPECT_EQ(journal, (QStringList{"run long", "run short", "run long", "run short", "run long",
                                    "run short", "run long"}));
    EXPECT_TRUE(m_log.contains(QStringLiteral("TaskManager: ran task long for 0.06 seconds")));
}

TEST_F(TaskManagerTest, IdleOnlyTasksGoBehindOthersWhenBothAreDue) {
    ScriptedTask *idle = add(QStringLiteral("idle"));
    idle->setIdlePriority(5);
    add(QStringLiteral("busy"));
    journal.clear();
    advance(0);
    EXPECT_EQ(journal, (QStringList{"run busy", "run idle"}));
}

TEST_F(TaskManagerTest, BlockedTasksWaitForTheirAnswer) {
    ScriptedTask *waiting = add(QStringLiteral("W"), 0, [](ScriptedTask &task) {
        if (task.runs == 1)
            task.block();  // a request is under way; its answer will unblock
        else
            task.setNextWakeup(Task::kDistantFuture);
    });
    advance(0);
    EXPECT_TRUE(waiting->isBlocked());
    EXPECT_EQ(waiting->blockDate(), m_clock.now());
    EXPECT_TRUE(m_log.contains(QStringLiteral("TaskManager: blocking task W")));
    // Tickling a blocked task only sets the date it will have when unblocked.
    manager().tickleTask(waiting, 50);
    EXPECT_EQ(waiting->nextWakeup(), m_clock.now().addingSeconds(50));
    EXPECT_EQ(manager().wakeupDate(), Task::kDistantFuture);
    advance(100);
    EXPECT_EQ(waiting->runs, 1);
    // The answer arrives: the task's wake-up is long past, so it runs at once.
    waiting->unblock();
    EXPECT_FALSE(waiting->isBlocked());
    EXPECT_TRUE(manager().taskIsRunning(waiting));
    EXPECT_EQ(manager().wakeupDate(), waiting->nextWakeup());
    advance(0);
    EXPECT_EQ(waiting->runs, 2);
}

TEST_F(TaskManagerTest, TheTimerArmedForABlockedTaskRunsNothingEarly) {
    ScriptedTask *a = add(QStringLiteral("A"), 10);
    add(QStringLiteral("B"), 60);
    manager().blockTask(a);  // the timer stays armed for A's wake-up
    journal.clear();
    advance(30);
    EXPECT_TRUE(journal.isEmpty());
    advance(30);
    EXPECT_EQ(journal, QStringList{QStringLiteral("run B")});
}

TEST_F(TaskManagerTest, TaskThatRemovesItselfIsTerminatedOnceAndDeletedAfterTheTurn) {
    ScriptedTask *quitter = add(QStringLiteral("Q"), 0, [](ScriptedTask &task) { task.exit(); });
    const std::weak_ptr<const bool> alive = quitter->lifetime();
    advance(0);
    EXPECT_TRUE(m_log.contains(QStringLiteral("TaskManager: blocking task Q")));
    EXPECT_EQ(journal.count(QStringLiteral("terminated Q")), 1);
    EXPECT_TRUE(manager().allTasks().isEmpty());
    EXPECT_TRUE(alive.expired());
    // Stopping the manager does not reach it again.
    TaskManager::stopSharedManager();
    EXPECT_EQ(journal.count(QStringLiteral("terminated Q")), 1);
}

TEST_F(TaskManagerTest, IdleTasksWaitForTheUserToPause) {
    ScriptedTask *idle = add(QStringLiteral("idle"), 0);
    idle->setIdlePriority(300);
    manager().userActivity(m_clock.now());
    EXPECT_EQ(manager().userActivityCount(), 1);
    manager().tickleTask(idle);
    EXPECT_EQ(manager().wakeupDate(), m_clock.now().addingSeconds(300));
    advance(299);
    EXPECT_EQ(idle->runs, 0);
    advance(1);
    EXPECT_EQ(idle->runs, 1);

    // Input again; the application then loses the active state.
    manager().userActivity(m_clock.now());
    manager().tickleTask(idle);
    advance(10);
    EXPECT_EQ(idle->runs, 1);
    manager().userActivity(std::nullopt);
    advance(0);
    EXPECT_EQ(idle->runs, 2);
    EXPECT_TRUE(m_log.contains(QStringLiteral("TaskManager: defer wakeup until idle")));
}

TEST_F(TaskManagerTest, ExceptionFromASliceIsReportedAndTheTaskStays) {
    RecordingDelegate delegate;
    manager().setDelegate(&delegate);
    ScriptedTask *failing = add(QStringLiteral("F"), 0, [](ScriptedTask &task) {
        task.setUid(QStringLiteral("F-1"));
        task.setNextWakeup(Task::kDistantFuture);
        throw std::invalid_argument("bad value");
    });
    advance(0);
    EXPECT_TRUE(m_log.contains(QStringLiteral(
        "TaskManager caught exception running task F (F-1): std::invalid_argument: bad value")));
    ASSERT_EQ(delegate.errors.size(), 1);
    const UserError &error = delegate.errors.first();
    EXPECT_EQ(error.domain(), QStringLiteral("TaskManager"));
    EXPECT_EQ(error.code(), 0);
    EXPECT_TRUE(error.isInternal());
    EXPECT_EQ(error.recoveryActions(), (QStringList{"Internal error", "None"}));
    EXPECT_EQ(error.recoveryOptions().size(), 2);
    EXPECT_EQ(delegate.calls, QStringList{QStringLiteral("error suspended 1")});
    EXPECT_TRUE(manager().taskIsRunning(failing));
    EXPECT_EQ(manager().suspendCount(), 0);
}

TEST_F(TaskManagerTest, ExceptionsFromStartAndTerminateAreOnlyLogged) {
    class Fragile : public Task {
    public:
        void started() override { throw std::runtime_error("no start"); }
        void terminate() override { throw std::runtime_error("no stop"); }
    };
    auto fragile = std::make_unique<Fragile>();
    fragile->setName(QStringLiteral("fragile"));
    Task *task = manager().addTask(std::move(fragile));
    ASSERT_NE(task, nullptr);
    EXPECT_TRUE(m_log.contains(
        QStringLiteral("TaskManager caught exception starting task fragile: no start")));
    manager().removeTask(task);
    EXPECT_TRUE(m_log.contains(
        QStringLiteral("TaskManager caught exception removing task fragile no stop")));
}

TEST_F(TaskManagerTest, ReportsTasksBlockedFortyFiveMinutesWhileTheManagerRuns) {
    // A ticker keeps the manager running every ten seconds; the first
    // inspection comes at 2710 s, when "exact" has been blocked 2700 s and
    // "short" 2699 s.
    add(QStringLiteral("ticker"), 0, sleepFor(10));
    ScriptedTask *exact =
        add(QStringLiteral("exact"), 10, [](ScriptedTask &task) { task.block(); });
    exact->setUid(QStringLiteral("E"));
    add(QStringLiteral("short"), 11, [](ScriptedTask &task) { task.block(); });
    advance(2709);
    EXPECT_TRUE(journal.filter(QStringLiteral("hang")).isEmpty());
    advance(1);
    EXPECT_EQ(journal.filter(QStringLiteral("hang")), QStringList{QStringLiteral("hang exact")});
    EXPECT_TRUE(m_log.contains(
        QStringLiteral("TaskManager: task exact (E) has been blocked for 45 minutes.")));
    EXPECT_TRUE(exact->isBlocked()) << "reported, not removed";
    // The next inspection is 45 minutes later.
    advance(2700);
    EXPECT_EQ(journal.filter(QStringLiteral("hang")).size(), 1);
    advance(10);
    EXPECT_EQ(journal.filter(QStringLiteral("hang")),
              (QStringList{"hang exact", "hang exact", "hang short"}));
}

TEST_F(TaskManagerTest, NoHangReportAfterTheManagerItselfSlept) {
    ScriptedTask *blocked = add(QStringLiteral("B"), 0, [](ScriptedTask &task) { task.block(); });
    advance(0);
    // The computer sleeps for an hour; the first run after it finds nothing hung.
    m_clock.advance(3600);
    add(QStringLiteral("late"));
    advance(0);
    EXPECT_FALSE(journal.contains(QStringLiteral("hang B")));
    EXPECT_TRUE(blocked->isBlocked());
    add(QStringLiteral("ticker"), 0, sleepFor(100));
    advance(2800);
    EXPECT_TRUE(journal.contains(QStringLiteral("hang B")));
}

TEST_F(TaskManagerTest, SavedChangesGoToExactlyTheTasksThatAskedForThem) {
    manager().observeContext(&context());
    add(QStringLiteral("deaf"));
    add(QStringLiteral("saves"))->setStoreChangeInterest(Task::ObjectsSaved);
    add(QStringLiteral("both"))->setStoreChangeInterest(Task::ObjectsSaved | Task::ObjectsChanged);
    journal.clear();
    context().insertNewObject(QStringLiteral("RemoteService"));
    context().insertNewObject(QStringLiteral("RemoteService"));
    context().processPendingChanges();
    EXPECT_EQ(journal, QStringList{QStringLiteral("changed both 2")});
    journal.clear();
    context().save();
    EXPECT_TRUE(journal.contains(QStringLiteral("saved saves 2")));
    EXPECT_TRUE(journal.contains(QStringLiteral("saved both 2")));
    EXPECT_TRUE(journal.filter(QStringLiteral("deaf")).isEmpty());
}

TEST_F(TaskManagerTest, StoreNotificationsReachTheDelegate) {
    RecordingDelegate delegate;
    manager().setDelegate(&delegate);
    ManagedObject *first = context().insertNewObject(QStringLiteral("RemoteService"));
    ManagedObject *second = context().insertNewObject(QStringLiteral("RemoteService"));
    // Received objects are collected and go out after the next task run, once.
    manager().objectReceived(first);
    manager().objectReceived(second);
    manager().objectReceived(first);
    EXPECT_TRUE(delegate.calls.isEmpty());
    add(QStringLiteral("A"));
    advance(0);
    add(QStringLiteral("B"));
    advance(0);
    EXPECT_EQ(delegate.calls, QStringList{QStringLiteral("changed 2")});
    delegate.calls.clear();
    // The others go out at once, with the manager held.
    manager().objectUpdated(first);
    manager().conflictForObject(second, QStringLiteral("both changed"));
    EXPECT_EQ(delegate.calls, (QStringList{"updated 1 suspended 1", "conflict both changed"}));
    EXPECT_EQ(manager().suspendCount(), 0);
}

TEST_F(TaskManagerTest, WakingFromSleepReachesEveryTask) {
    ScriptedTask *blocked = add(QStringLiteral("B"), 0, [](ScriptedTask &task) { task.block(); });
    add(QStringLiteral("R"), 100);
    advance(0);
    journal.clear();
    manager().awakeFromSleep();
    EXPECT_EQ(journal, (QStringList{"awake R", "awake B"}));
    EXPECT_TRUE(blocked->isBlocked());
}

TEST_F(TaskManagerTest, ShutdownTerminatesBlockedTasksToo) {
    ScriptedTask *blocked = add(QStringLiteral("B"), 0, [](ScriptedTask &task) { task.block(); });
    ScriptedTask *due = add(QStringLiteral("D"), 10);
    advance(0);
    ASSERT_TRUE(blocked->isBlocked());
    journal.clear();
    manager().terminate();
    EXPECT_TRUE(manager().isShuttingDown());
    EXPECT_EQ(journal, (QStringList{"terminated D", "terminated B"}));
    // Nothing runs after shutdown, not even an answer that arrives late.
    blocked->unblock();
    advance(60);
    EXPECT_EQ(due->runs, 0);
    EXPECT_EQ(blocked->runs, 1);
    EXPECT_EQ(manager().allTasks().size(), 2);
    journal.clear();
    TaskManager::stopSharedManager();
    EXPECT_TRUE(journal.isEmpty()) << "no task is terminated twice";
}

TEST_F(TaskManagerTest, TemporaryRetainKeepsAnObjectForOneTurn) {
    auto object = std::make_shared<int>(7);
    std::weak_ptr<int> watch = object;
    TaskManager::temporaryRetain(std::move(object));
    EXPECT_FALSE(watch.expired());
    advance(0);
    EXPECT_TRUE(watch.expired());
}
