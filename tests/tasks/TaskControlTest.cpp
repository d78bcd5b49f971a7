#include "model/store/FetchRequest.h"
#include "tasks/TaskControlFixture.h"

namespace {

class TaskControlTest : public TaskControlFixture {};

}  // namespace

TEST_F(TaskControlTest, EveryStoredServiceGetsItsTaskWhileOnline) {
    open();
    const QString kind = QString::fromLatin1(TestServiceTask::kServiceName);
    addService(QStringLiteral("S1"), kind);
    addService(QStringLiteral("S2"), kind);
    addService(QString(), kind);                                 // never resolved
    addService(QStringLiteral("S3"), QStringLiteral("Gopher"));  // no such kind
    close();

    open();
    ASSERT_TRUE(TaskManager::hasSharedManager());
    EXPECT_EQ(serviceTasks().size(), 2);
    EXPECT_TRUE(m_log.contains(QStringLiteral("RemoteServiceTask: unknown service name Gopher")));
    EXPECT_TRUE(m_log.contains(QStringLiteral("Removing unresolved service ")));
    // Starting again adds no second task for a service.
    m_control.startRemoteServices();
    EXPECT_EQ(serviceTasks().size(), 2);

    // Both start their first cycle at once; "sync now" brings idle ones back.
    m_clock.advance(0);
    for (RemoteServiceTask *task : serviceTasks()) {
        EXPECT_EQ(task->syncState(), SyncState::Synchronizing);
        static_cast<TestServiceTask *>(task)->answer();
    }
    m_clock.advance(0);
    const Date synced = m_clock.now();
    m_clock.advance(60);
    m_controller->syncNow();
    for (RemoteServiceTask *task : serviceTasks())
        EXPECT_EQ(task->nextWakeup(), m_clock.now())
            << "was due at " << synced.description().toStdString();

    // Offline stops them, online brings them back.
    m_controller->goOffline();
    EXPECT_TRUE(serviceTasks().isEmpty());
    m_controller->goOnline();
    EXPECT_EQ(serviceTasks().size(), 2);
    close();
    EXPECT_FALSE(TaskManager::hasSharedManager()) << "closing the store stops the manager";
}

TEST_F(TaskControlTest, OfflineStartsNoNetworkTask) {
    open();
    addService(QStringLiteral("S1"), QString::fromLatin1(TestServiceTask::kServiceName));
    close();
    m_home.preferences().setBool(QStringLiteral("offline"), true);
    open();
    EXPECT_TRUE(serviceTasks().isEmpty());
}

TEST_F(TaskControlTest, ResetOfAServiceWaitsForItsResetSync) {
    open();
    addService(QStringLiteral("S1"), QString::fromLatin1(TestServiceTask::kServiceName));
    m_control.startRemoteServices();
    ASSERT_EQ(serviceTasks().size(), 1);
    auto *task = static_cast<TestServiceTask *>(serviceTasks().first());
    ManagedObject *service = task->remoteService();
    // A calendar published to the service: resetting the service withdraws it
    // and lets the task run a reset sync first.
    ManagedObject *calendar = context().insertNewObject(QStringLiteral("SyncableCalendar"));
    calendar->setValue(QStringLiteral("uid"), QStringLiteral("C1"));
    service->addObject(QStringLiteral("publishedContainers"), calendar);
    EXPECT_FALSE(m_control.forceResetSync(nullptr));

    bool finished = false;
    m_controller->resetServices({service},
                                [&](const QList<ManagedObject *> &) { finished = true; });
    EXPECT_TRUE(task->doingResetSync());
    m_clock.advance(0);
    ASSERT_TRUE(task->isBlocked());
    m_clock.advance(60);
    EXPECT_FALSE(finished) << "the reset sync is still running";
    task->answer();
    m_clock.advance(1);
    EXPECT_TRUE(finished);
}
