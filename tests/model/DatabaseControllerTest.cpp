#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QSignalSpy>

#include "model/DatabaseController.h"
#include "model/DatabaseControllerDelegate.h"
#include "model/ModelObject.h"
#include "model/foundation/StartMode.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"
#include "support/TestSupport.h"

namespace {

class RecordingDelegate : public DatabaseControllerDelegate {
public:
    void migratingDatabase(bool inProgress) override { migrating << inProgress; }
    void crashRecoveryDatabase(bool inProgress) override { recovering << inProgress; }
    void terminateApplication() override { terminated = true; }
    QList<bool> migrating, recovering;
    bool terminated = false;
};

class DatabaseControllerTest : public ::testing::Test {
protected:
    DatabaseControllerTest() { StartModes::setCurrent(StartMode::Normal); }
    ~DatabaseControllerTest() override { StartModes::setCurrent(StartMode::Normal); }

    std::unique_ptr<DatabaseController> start() {
        auto controller = std::make_unique<DatabaseController>();
        controller->setDelegate(&m_delegate);
        controller->startup();
        return controller;
    }
    QString supportFile(const QString &name) const { return QDir(m_home.path()).filePath(name); }

    TemporaryHome m_home;
    ScopedManualClock m_clock{Date(800000000)};
    RecordingDelegate m_delegate;
    LogCapture m_log;
};

}  // namespace

TEST_F(DatabaseControllerTest, FirstStartCreatesTheStoreAndItsIdentity) {
    auto controller = start();
    EXPECT_TRUE(QFileInfo(supportFile(QStringLiteral("Attachments"))).isDir());
    EXPECT_TRUE(QFileInfo::exists(supportFile(QStringLiteral("Merovan.bsql"))));
    EXPECT_TRUE(QFileInfo::exists(supportFile(QStringLiteral("_running"))));
    const QString uid = controller->databaseUID();
    EXPECT_EQ(uid.size(), 36);
    EXPECT_EQ(uid, uid.toUpper());
    EXPECT_EQ(controller->persistentStore()
                  ->metadata()
                  .value(QStringLiteral("Database Version"))
                  .toString(),
              QStringLiteral("4.5"));
    EXPECT_FALSE(controller->crashRecoveryStarted());
    controller->shutdown();
    EXPECT_FALSE(QFileInfo::exists(supportFile(QStringLiteral("_running"))));

    // The same database the next time.
    controller = start();
    EXPECT_EQ(controller->databaseUID(), uid);
    EXPECT_FALSE(controller->crashRecoveryStarted());
    controller->shutdown();
}

TEST_F(DatabaseControllerTest, AStartWithoutCleanShutdownRecovers) {
    auto first = start();
    first.reset();  // no shutdown: the monitor file stays
    auto second = start();
    EXPECT_TRUE(second->crashRecoveryStarted());
    EXPECT_EQ(m_delegate.recovering, (QList<bool>{true, false}));
    EXPECT_TRUE(m_log.contains(QStringLiteral("Crash detected - database mod time = ")));
    EXPECT_TRUE(second->lastCrashDate().has_value());
    m_clock.advance(90);
    EXPECT_EQ(second->timeIntervalSinceCrashRecoveryStarted(), 90.0);
    second->shutdown();
    auto third = start();
    EXPECT_FALSE(third->crashRecoveryStarted());
    third->shutdown();
}

TEST_F(DatabaseControllerTest, OtherStartModesSkipTheCrashMonitorAndThePurge) {
    StartModes::setCurrent(StartMode::Reset);
    auto controller = start();
    EXPECT_FALSE(QFileInfo::exists(supportFile(QStringLiteral("_running"))));
    controller.reset();
    auto again = start();
    EXPECT_FALSE(again->crashRecoveryStarted());
    again->shutdown();
}

TEST_F(DatabaseControllerTest, ResetDeletesTheStoreAndTheNextStoreRemembersIt) {
    auto controller = start();
    const QString oldUID = controller->databaseUID();
    QFile attachment(QDir(controller->attachmentsFolder()).filePath(QStringLiteral("a.txt")));
    ASSERT_TRUE(attachment.open(QIODevice::WriteOnly));
    attachment.close();
    controller->resetDatabase();
    m_clock.advance(0.2);
    EXPECT_TRUE(m_delegate.terminated);
    controller->shutdown();
    for (const char *name :
         {"Merovan.bsql", "Merovan.bsql-wal", "Merovan.bsql-shm", "Attachments", "_running"})
        EXPECT_FALSE(QFileInfo::exists(supportFile(QLatin1String(name)))) << name;

    controller = start();
    EXPECT_NE(controller->databaseUID(), oldUID);
    FetchRequest request(QStringLiteral("BonjourPublisher"));
    ManagedObject *publisher =
        controller->managedObjectContext()->executeFetchRequest(request).first();
    EXPECT_EQ(publisher->valueForKey(QStringLiteral("lastResetUID")).toString(), oldUID);
    EXPECT_EQ(publisher->valueForKey(QStringLiteral("lastResetTime")).value<Date>(), m_clock.now());
    controller->shutdown();
}

TEST_F(DatabaseControllerTest, PurgeRemovesOldTombstonesAtMostEveryThreeDays) {
    auto controller = start();
    ManagedObjectContext &context = *controller->managedObjectContext();
    const auto tombstone = [&](const QString &uid, double age) {
        ManagedObject *object = context.insertNewObject(QStringLiteral("SyncableEvent"));
        object->setValue(QStringLiteral("uid"), uid);
        object->setValue(QStringLiteral("localReceivedTime"),
                         QVariant::fromValue(m_clock.now().addingSeconds(-age)));
    };
    tombstone(QStringLiteral("old"), 31 * 86400.0);
    tombstone(QStringLiteral("recent"), 25 * 86400.0);
    ManagedObject *live = context.insertNewObject(QStringLiteral("SyncableEvent"));
    live->setValue(QStringLiteral("uid"), QStringLiteral("live"));
    live->setValue(QStringLiteral("localReceivedTime"),
                   QVariant::fromValue(m_clock.now().addingSeconds(-400 * 86400.0)));
    live->setObject(QStringLiteral("objectData"), context.insertNewObject(QStringLiteral("Event")));
    context.save();
    controller->shutdown();
    controller.reset();

    // A start that is not the first purges: the first one set the cut-off.
    m_clock.advance(4 * 86400.0);
    controller = std::make_unique<DatabaseController>();
    QSignalSpy purged(controller.get(), &DatabaseController::purgeFinished);
    controller->startup();
    ASSERT_TRUE(purged.count() > 0 || purged.wait(20000));
    EXPECT_EQ(purged.first().first().toInt(), 1);
    EXPECT_TRUE(m_log.contains(QStringLiteral("Purging old deleted object: old")));
    controller->managedObjectContext()->save();
    FetchRequest all(QStringLiteral("SyncableEvent"));
    EXPECT_EQ(controller->managedObjectContext()->countForFetchRequest(all), 2);

    // Within three days of cut-off progress nothing runs.
    purged.clear();
    controller->purgeOldDeletedObjects();
    ASSERT_EQ(purged.count(), 1);
    EXPECT_EQ(purged.first().first().toInt(), 0);
    controller->shutdown();
}

TEST_F(DatabaseControllerTest, AnOlderStoreIsUpgradedAndStamped) {
    auto controller = start();
    controller->persistentStore()->setMetadataValue(QStringLiteral("Database Version"),
                                                    QStringLiteral("4.1"));
    controller->shutdown();
    controller.reset();
    m_log.clear();

    controller = start();
    EXPECT_TRUE(controller->databaseUpgraded());
    EXPECT_EQ(m_delegate.migrating, (QList<bool>{true, false}));
    EXPECT_TRUE(m_log.contains(QStringLiteral("Upgrading database from 4.1 to 4.5")));
    EXPECT_TRUE(m_log.contains(QStringLiteral("Vacuuming database... ")));
    EXPECT_TRUE(m_log.contains(QStringLiteral("Database upgrade completed")));
    EXPECT_EQ(controller->persistentStore()
                  ->metadata()
                  .value(QStringLiteral("Database Version"))
                  .toString(),
              QStringLiteral("4.5"));
    controller->shutdown();
}

TEST_F(DatabaseControllerTest, OfflineDoesNotSurviveARestart) {
    auto controller = start();
    controller->goOffline();
    EXPECT_TRUE(m_home.preferences().boolForKey(QStringLiteral("offline")));
    controller->shutdown();
    EXPECT_FALSE(m_home.preferences().boolForKey(QStringLiteral("offline")));
}

TEST(DatabaseControllerErrors, ManyValidationErrorsListTheFirstTen) {
    LogCapture log;
    StoreError multiple(StoreError::ValidationMultipleErrors,
                        QStringLiteral("Multiple validation errors"));
    QList<StoreError> details;
    for (int i = 0; i < 12; ++i)
        details << StoreError(StoreError::ValidationMissingMandatoryProperty,
                              QStringLiteral("error %1").arg(i));
    multiple.setDetailedErrors(details);
    const QString text = DatabaseController::betterCoreDataError(multiple).description();
    EXPECT_TRUE(text.startsWith(
        QStringLiteral("12 validation errors have occurred.\nThe first 10 are:\nerror 0\n")));
    EXPECT_TRUE(text.contains(QStringLiteral("error 9")));
    EXPECT_FALSE(text.contains(QStringLiteral("error 10")));
    EXPECT_EQ(log.count(QStringLiteral(" - ")), 12);

    details = details.mid(0, 2);
    multiple.setDetailedErrors(details);
    EXPECT_EQ(DatabaseController::betterCoreDataError(multiple).description(),
              QStringLiteral("2 validation errors have occurred:\nerror 0\nerror 1\n"));
    const StoreError other(StoreError::PersistentStoreOpen, QStringLiteral("cannot open"));
    EXPECT_EQ(DatabaseController::betterCoreDataError(other).description(),
              QStringLiteral("cannot open"));
}
