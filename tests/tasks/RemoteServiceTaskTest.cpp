#include "model/CommonDataMO.h"
#include "model/ModelObject.h"
#include "model/SyncableObjectMO.h"
#include "tasks/MemoryCredentialStore.h"
#include "tasks/ResetSyncDelegate.h"
#include "tasks/TaskDelegate.h"
#include "tasks/TaskSyncHooks.h"
#include "tasks/TaskTestSupport.h"
#include "tasks/TestServiceTask.h"

namespace {

class RecordingTaskDelegate : public TaskDelegate, public ResetSyncDelegate {
public:
    explicit RecordingTaskDelegate(QStringList *journal) : m_journal(journal) {}
    void remoteServiceTaskAdded(RemoteServiceTask *) override { m_journal->append("added"); }
    void remoteServiceTaskRemoved(RemoteServiceTask *) override { m_journal->append("removed"); }
    void stateChange(qint64 state, RemoteServiceTask *) override {
        m_journal->append(QStringLiteral("state %1").arg(state));
    }
    void resetSyncHasFinished(bool success, RemoteServiceTask *) override {
        m_journal->append(QStringLiteral("reset finished %1").arg(success));
    }

private:
    QStringList *m_journal;
};

}  // namespace

class RemoteServiceTaskTest : public TaskManagerTest {
protected:
    RemoteServiceTaskTest() {
        TestServiceTask::registerKind(&journal);
        SyncHooks::setShared(&m_hooks);
    }
    ~RemoteServiceTaskTest() override {
        SyncHooks::setShared(nullptr);
        TestServiceTask::unregisterKind();
    }

    ModelObject *makeService(const QString &uid, double syncInterval = 600,
                             std::optional<Date> lastSyncTime = std::nullopt) {
        auto *service = ModelObject::as<ModelObject>(
            context().insertNewObject(QStringLiteral("RemoteService")));
        service->setValue(QStringLiteral("serviceName"),
                          QString::fromLatin1(TestServiceTask::kServiceName));
        if (!uid.isEmpty())
            service->setValue(QStringLiteral("uid"), uid);
        service->setDoubleValue(syncInterval, QStringLiteral("syncInterval"));
        service->setDateValue(lastSyncTime, QStringLiteral("lastSyncTime"));
        return service;
    }
    TestServiceTask *addService(double syncInterval = 600,
                                std::optional<Date> lastSyncTime = std::nullopt) {
        m_service = makeService(QStringLiteral("S1"), syncInterval, lastSyncTime);
        auto task = RemoteServiceTask::newTaskForRemoteService(m_service, true);
        if (!task)
            throw std::logic_error("no task for the test service");
        return static_cast<TestServiceTask *>(manager().addTask(std::move(task), &m_delegate));
    }
    // Runs the cycle that is due next up to its request, answers it and ends it.
    void cycle(TestServiceTask *task) {
        m_clock.advanceTo(task->nextWakeup());
        ASSERT_TRUE(task->isBlocked()) << "the request is under way";
        task->answer();
        advance(0);
    }
    double secondsToWakeup(const Task *task) const {
        return task->nextWakeup().secondsSince(m_clock.now());
    }
    QVariantMap syncOptions() const {
        return m_service->unarchivedValueForKey(QStringLiteral("syncOptions")).toMap();
    }

    TaskSyncHooks m_hooks;
    RecordingTaskDelegate m_delegate{&journal};
    ModelObject *m_service = nullptr;
};

TEST_F(RemoteServiceTaskTest, ACycleRunsItsStepsOverSeveralSlicesAndSleepsItsInterval) {
    TestServiceTask *task = addService(600);
    EXPECT_EQ(task->name(), QLatin1String(TestServiceTask::kServiceName));
    EXPECT_EQ(task->uid(), QStringLiteral("S1"));
    EXPECT_EQ(task->sleepInterval(), 600);
    const Date start = m_clock.now();
    advance(0);  // never synced: due at once
    EXPECT_EQ(journal, (QStringList{"added", "state 1", "start", "request"}));
    EXPECT_EQ(task->syncState(), SyncState::Synchronizing);
    EXPECT_TRUE(task->isBlocked());
    EXPECT_FALSE(SyncableObjectMO::isSyncInProgress()) << "only while a step runs";

    advance(100);  // the answer takes its time
    task->answer();
    advance(0);
    EXPECT_EQ(journal.mid(4), (QStringList{"answer", "finish 0", "state 0"}));
    EXPECT_EQ(task->syncState(), SyncState::Idle);
    EXPECT_EQ(m_service->dateValueForKey(QStringLiteral("lastSyncTime")), start);
    EXPECT_EQ(task->nextWakeup(), start.addingSeconds(600));
    EXPECT_EQ(task->cleanups, 1);
    EXPECT_EQ(syncOptions().value(RemoteServiceTask::kLastSyncStateKey).toLongLong(), 0);

    journal.clear();
    advance(499);
    EXPECT_TRUE(journal.isEmpty());
    advance(1);
    EXPECT_EQ(journal, (QStringList{"state 1", "start", "request"}));
}

TEST_F(RemoteServiceTaskTest, NetworkFailuresRetryAtGrowingIntervalsUntilOneSucceeds) {
    TestServiceTask *task = addService(600);
    task->outcomes = {4, 4, 4, 4, 4, 4, 4, 0, 4};
    QList<double> delays;
    for (int failure = 0; failure < 7; ++failure) {
        cycle(task);
        delays << secondsToWakeup(task);
    }
    EXPECT_EQ(delays, (QList<double>{15, 30, 60, 120, 240, 480, 480}));
    EXPECT_EQ(task->syncErrorString(), QStringLiteral("failed with 4"));
    EXPECT_EQ(syncOptions().value(RemoteServiceTask::kLastSyncErrorKey).toString(),
              QStringLiteral("failed with 4"));
    EXPECT_FALSE(m_service->dateValueForKey(QStringLiteral("lastSyncTime")))
        << "a failed cycle saves no sync time";
    cycle(task);
    EXPECT_EQ(task->syncState(), SyncState::Idle);
    EXPECT_EQ(secondsToWakeup(task), 600);
    EXPECT_FALSE(syncOptions().contains(RemoteServiceTask::kLastSyncErrorKey));
    cycle(task);
    EXPECT_EQ(secondsToWakeup(task), 15) << "a success resets the back-off";
}

TEST_F(RemoteServiceTaskTest, OtherFailuresWaitADayOrForTheUser) {
    TestServiceTask *task = addService(600);
    task->outcomes = {2, 3, 5, 6, 7};
    cycle(task);
    EXPECT_EQ(task->syncState(), SyncState::LoginFailed);
    EXPECT_EQ(secondsToWakeup(task), 86400);
    cycle(task);
    EXPECT_EQ(task->syncState(), SyncState::QuotaExceeded);
    EXPECT_EQ(secondsToWakeup(task), 86400);
    for (qint64 state :
         {SyncState::IncompatibleServer, SyncState::InternalError, SyncState::Offline}) {
        // Only the user (or an event) restarts such a service: requests are
        // remembered, a tickle starts a cycle.
        task->tickle();
        cycle(task);
        EXPECT_EQ(task->syncState(), state);
        EXPECT_EQ(task->nextWakeup(), Task::kDistantFuture);
        task->notePendingChanges();
        task->noteSyncNeeded();
        EXPECT_EQ(task->nextWakeup(), Task::kDistantFuture);
        EXPECT_TRUE(task->pendingChanges());
        EXPECT_TRUE(task->syncNeeded());
    }
    EXPECT_EQ(task->cleanups, 5);
}

TEST_F(RemoteServiceTaskTest, ForcingAFailedServiceOnlyRemembersTheRequest) {
    TestServiceTask *task = addService(600);
    task->outcomes = {4};
    cycle(task);
    const Date retry = task->nextWakeup();
    task->forceSync();
    EXPECT_EQ(task->nextWakeup(), retry);
    EXPECT_TRUE(task->syncNeeded());
    task->noteSyncNeededIfOnline();
    EXPECT_EQ(task->nextWakeup(), retry);
    // The retry runs as the forced sync.
    cycle(task);
    EXPECT_TRUE(task->forcedDuringCycle);
    EXPECT_FALSE(task->forcedSync());
}

TEST_F(RemoteServiceTaskTest, ForcedSyncRunsAtOnce) {
    TestServiceTask *task = addService(600);
    cycle(task);
    EXPECT_FALSE(task->forcedDuringCycle);
    advance(10);
    task->forceSync();
    EXPECT_EQ(task->nextWakeup(), m_clock.now());
    cycle(task);
    EXPECT_TRUE(task->forcedDuringCycle);
    EXPECT_FALSE(task->forcedSync());
    EXPECT_EQ(secondsToWakeup(task), 600);
}

TEST_F(RemoteServiceTaskTest, AnExceptionInAStepEndsTheCycleAsInternalError) {
    TestServiceTask *task = addService(600);
    task->throwInRequest = true;
    advance(0);
    EXPECT_EQ(task->syncState(), SyncState::InternalError);
    EXPECT_FALSE(SyncableObjectMO::isSyncInProgress());
    EXPECT_EQ(task->nextWakeup(), Task::kDistantFuture);
    EXPECT_EQ(task->cleanups, 1);
    EXPECT_TRUE(m_log.contains(
        QStringLiteral("TaskManager caught exception running task Test Synchronization (S1): "
                       "std::runtime_error: server answer unreadable")));
    EXPECT_FALSE(task->isBlocked());
}

TEST_F(RemoteServiceTaskTest, ResetSyncReportsWhenTheCycleReallyEnds) {
    TestServiceTask *task = addService(600);
    cycle(task);
    journal.clear();
    task->forceResetSync(&m_delegate);
    m_clock.advanceTo(task->nextWakeup());
    task->notePendingChanges();  // the user edits while the reset sync runs
    task->answer();
    advance(0);
    EXPECT_FALSE(journal.contains(QStringLiteral("reset finished 1")));
    EXPECT_EQ(secondsToWakeup(task), 5) << "pending changes restart the sync soon";
    cycle(task);
    EXPECT_TRUE(journal.contains(QStringLiteral("reset finished 1")));
    EXPECT_TRUE(task->doingResetSync());
    // The delegate is told once.
    task->tickle();
    cycle(task);
    EXPECT_EQ(journal.count(QStringLiteral("reset finished 1")), 1);
}

TEST_F(RemoteServiceTaskTest, AbandonedCycleKeepsTheOldSyncTime) {
    TestServiceTask *task = addService(600, Date(kStart - 600));
    m_clock.advanceTo(task->nextWakeup());
    EXPECT_FALSE(task->terminateSyncIfPendingChanges());
    task->notePendingChanges();
    EXPECT_TRUE(task->terminateSyncIfPendingChanges());
    EXPECT_EQ(m_service->dateValueForKey(QStringLiteral("lastSyncTime")), Date(kStart - 600));
    EXPECT_EQ(secondsToWakeup(task), 5);
    EXPECT_FALSE(task->isBlocked());
}

TEST_F(RemoteServiceTaskTest, SyncTimeMovesToWhenTheServerWasReadWithoutPendingChanges) {
    TestServiceTask *task = addService(600);
    m_clock.advanceTo(task->nextWakeup());
    advance(20);
    task->resetStartOfSyncTimeIfNoPendingChanges();
    const Date read = m_clock.now();
    advance(20);
    task->answer();
    advance(0);
    EXPECT_EQ(m_service->dateValueForKey(QStringLiteral("lastSyncTime")), read);
    EXPECT_TRUE(m_log.contains(QStringLiteral("Test Synchronization (S1): - ok")));
}

TEST_F(RemoteServiceTaskTest, LocalEditsTickleTheServiceTaskOnce) {
    // A calendar of the service with an item; the service sends changes at once.
    ModelObject *service = makeService(QStringLiteral("S1"), 600, Date(kStart));
    service->setBoolValue(true, QStringLiteral("autoPublishChanges"));
    auto *info = ModelObject::as<SyncableObjectMO>(
        context().insertNewObject(QStringLiteral("SyncableCalendar")));
    auto *calendar =
        ModelObject::as<CommonDataMO>(context().insertNewObject(QStringLiteral("Calendar")));
    info->setValue(QStringLiteral("uid"), QStringLiteral("C1"));
    info->setObject(QStringLiteral("objectData"), calendar);
    info->setObject(QStringLiteral("ownedBy"), service);
    context().processPendingChanges();
    m_service = service;
    auto *task = static_cast<TestServiceTask *>(
        manager().addTask(RemoteServiceTask::newTaskForRemoteService(service, true)));
    EXPECT_EQ(secondsToWakeup(task), 600);

    for (int edit = 0; edit < 5; ++edit) {
        calendar->setValue(QStringLiteral("title"), QStringLiteral("Edit %1").arg(edit));
        context().processPendingChanges();
        advance(1);
    }
    // Each edit pushes the sync back: the last one is the one that counts
    // (five seconds, the editing delay, outlast the three of the change).
    EXPECT_EQ(secondsToWakeup(task), 4);
    advance(3);
    EXPECT_EQ(journal.count(QStringLiteral("start")), 0);
    advance(1);
    EXPECT_EQ(journal.count(QStringLiteral("start")), 1);
    EXPECT_TRUE(m_log.contains(QStringLiteral("Test Synchronization (S1): notePendingChanges")));

    // An edit while the cycle runs restarts it five seconds after its end.
    calendar->setValue(QStringLiteral("title"), QStringLiteral("During"));
    context().processPendingChanges();
    task->answer();
    advance(0);
    EXPECT_EQ(secondsToWakeup(task), 5);
}

TEST_F(RemoteServiceTaskTest, EditsBringADistantSyncForwardButLeaveANearOne) {
    TestServiceTask *task = addService(600);
    cycle(task);
    advance(590);  // the next sync is 10 s away
    task->notePendingChanges();
    EXPECT_EQ(secondsToWakeup(task), 3);
    cycle(task);
    advance(596);  // 4 s away
    task->notePendingChanges();
    EXPECT_EQ(secondsToWakeup(task), 4);
    // Editing the object postpones a sync that is about to start.
    task->delaySyncIfNeeded();
    EXPECT_EQ(secondsToWakeup(task), 5);
    task->greatlyDelaySyncIfNeeded(false);
    EXPECT_EQ(secondsToWakeup(task), 0);
    task->greatlyDelaySyncIfNeeded(true);
    EXPECT_EQ(secondsToWakeup(task), 120);
    task->noteSyncNeededWithDelay(30);
    EXPECT_EQ(secondsToWakeup(task), 30);
}

TEST_F(RemoteServiceTaskTest, ServicesThatAnnounceChangesSleepUntilTickled) {
    class PushTask : public TestServiceTask {
    public:
        using TestServiceTask::TestServiceTask;
        bool autoWakeupOnServerChanges() const override { return true; }
    };
    RemoteServiceTask::registerKind(
        QLatin1String(TestServiceTask::kServiceName),
        [this](ModelObject *service) { return std::make_unique<PushTask>(service, &journal); });
    m_service = makeService(QStringLiteral("P"), 0, Date(kStart - 10));
    auto *task = static_cast<TestServiceTask *>(
        manager().addTask(RemoteServiceTask::newTaskForRemoteService(m_service, false)));
    EXPECT_EQ(task->nextWakeup(), Task::kDistantFuture);
    task->tickle();
    cycle(task);
    EXPECT_EQ(task->nextWakeup(), Task::kDistantFuture);
}

TEST_F(RemoteServiceTaskTest, MakingTasksForStoredServices) {
    // Due at the last sync plus the interval.
    ModelObject *synced = makeService(QStringLiteral("A"), 900, Date(kStart - 100));
    auto task = RemoteServiceTask::newTaskForRemoteService(synced, true);
    ASSERT_TRUE(task);
    EXPECT_EQ(task->nextWakeup(), Date(kStart + 800));

    ModelObject *unknown = makeService(QStringLiteral("B"));
    unknown->setValue(QStringLiteral("serviceName"), QStringLiteral("Carrier Pigeon"));
    EXPECT_FALSE(RemoteServiceTask::newTaskForRemoteService(unknown, true));
    EXPECT_TRUE(
        m_log.contains(QStringLiteral("RemoteServiceTask: unknown service name Carrier Pigeon")));

    ModelObject *unresolved = makeService(QString());
    unresolved->setValue(QStringLiteral("url"), QStringLiteral("https://cal.example.org/"));
    EXPECT_TRUE(RemoteServiceTask::newTaskForRemoteService(unresolved, false))
        << "kept when clean-up is not asked for";
    EXPECT_FALSE(RemoteServiceTask::newTaskForRemoteService(unresolved, true));
    EXPECT_TRUE(unresolved->isDeleted());
    EXPECT_TRUE(
        m_log.contains(QStringLiteral("Removing unresolved service https://cal.example.org/")));

    // One task per service; it is found by its service and leaves with it.
    Task *added = manager().addTask(std::move(task), &m_delegate);
    EXPECT_FALSE(manager().addTask(RemoteServiceTask::newTaskForRemoteService(synced, true)));
    EXPECT_EQ(RemoteServiceTask::taskForRemoteService(synced), added);
    EXPECT_EQ(RemoteServiceTask::taskForRemoteService(unknown), nullptr);
    SyncHooks::shared().serviceWillBeDeleted(synced);
    EXPECT_EQ(RemoteServiceTask::taskForRemoteService(synced), nullptr);
    EXPECT_EQ(journal, (QStringList{"added", "removed"}));
}

TEST_F(RemoteServiceTaskTest, OnlyIdleTasksFlushTheirCaches) {
    TestServiceTask *idle = addService(600);
    cycle(idle);
    m_service = makeService(QStringLiteral("S2"));
    auto *busy = static_cast<TestServiceTask *>(
        manager().addTask(RemoteServiceTask::newTaskForRemoteService(m_service, true)));
    advance(0);
    ASSERT_EQ(busy->syncState(), SyncState::Synchronizing);
    RemoteServiceTask::flushAllCaches();
    EXPECT_EQ(idle->cacheFlushes, 1);
    EXPECT_EQ(busy->cacheFlushes, 0);
}

TEST_F(RemoteServiceTaskTest, StateChangesAreToldOnce) {
    TestServiceTask *task = addService(600);
    journal.clear();
    task->setSyncState(SyncState::Offline);
    task->setSyncState(SyncState::Offline);
    EXPECT_EQ(journal, QStringList{QStringLiteral("state 7")});
    EXPECT_EQ(m_log.count(QStringLiteral(
                  "Test Synchronization (S1): setSyncState: oldState = 7, newState = 7")),
              1);
    task->noteSyncNeededIfOnline();
    EXPECT_FALSE(task->syncNeeded()) << "an offline service ignores the request";
}

TEST(SyncStateTest, StatusLines) {
    EXPECT_EQ(SyncState::statusText(SyncState::Synchronizing, "Work"), "Synchronizing with Work");
    EXPECT_EQ(SyncState::statusText(SyncState::UnableToConnect, "Work"),
              "Unable to connect to Work");
    EXPECT_EQ(SyncState::statusText(SyncState::IncompatibleServer, "Work"),
              "Incompatible with Work - make sure you are using the latest version of Work");
    EXPECT_TRUE(SyncState::statusText(SyncState::Idle, "Work").isEmpty());
    EXPECT_EQ(SyncState::name(SyncState::LoginFailed), "login failed");
    EXPECT_EQ(SyncState::name(9), "busy (9)");
    EXPECT_TRUE(SyncState::isRestartable(SyncState::Offline));
    EXPECT_FALSE(SyncState::isRestartable(SyncState::Synchronizing));
    EXPECT_FALSE(SyncState::isRestartable(8));
}

TEST_F(RemoteServiceTaskTest, ReceivedObjectsReachTheManagerOnlyWhileItRuns) {
    class Collector : public TaskManagerDelegate {
    public:
        void taskManagerSyncableObjectsChanged(const QSet<ManagedObject *> &objects) override {
            received += objects.size();
        }
        qsizetype received = 0;
    } collector;
    manager().setDelegate(&collector);
    ModelObject *service = makeService(QStringLiteral("S9"));
    SyncHooks::shared().objectReceived(service);
    add(QStringLiteral("any"));
    advance(0);
    EXPECT_EQ(collector.received, 1);
    TaskManager::stopSharedManager();
    SyncHooks::shared().objectReceived(service);
    SyncHooks::shared().objectUpdated(service);
    EXPECT_FALSE(TaskManager::hasSharedManager()) << "a late notice starts no manager";
}
