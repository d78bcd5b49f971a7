#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <csignal>

#include "model/DatabaseController.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"
#include "support/TestSupport.h"

namespace {

constexpr int kCommitted = 100;
constexpr int kLargeSave = 300000;

void insertEvents(ManagedObjectContext &context, int count, const QString &prefix) {
    for (int i = 0; i < count; ++i) {
        ManagedObject *event = context.insertNewObject(QStringLiteral("SyncableEvent"));
        event->setValue(QStringLiteral("uid"), QStringLiteral("%1-%2").arg(prefix).arg(i));
    }
}

qint64 eventCount(DatabaseController &controller) {
    return controller.managedObjectContext()->countForFetchRequest(
        FetchRequest(QStringLiteral("SyncableEvent")));
}

}  // namespace

// Child: a store with a few committed events, shut down cleanly.
MEROVAN_CHILD_ROUTINE(CommitSmall) {
    DatabaseController controller;
    controller.startup();
    insertEvents(*controller.managedObjectContext(), kCommitted, QStringLiteral("kept"));
    controller.managedObjectContext()->save();
    controller.shutdown();
    return 0;
}

// Child: a large save, announced on standard output before it starts; the
// parent kills the process while it runs.
MEROVAN_CHILD_ROUTINE(SaveLarge) {
    DatabaseController controller;
    controller.startup();
    insertEvents(*controller.managedObjectContext(), kLargeSave, QStringLiteral("lost"));
    std::fputs("saving\n", stdout);
    std::fflush(stdout);
    controller.managedObjectContext()->save();
    controller.shutdown();
    return 0;
}

TEST(CrashSafety, AKilledSaveLeavesThePreviousContentsAndTriggersRecovery) {
    TemporaryHome home;
    ScopedManualClock clock;
    QProcessEnvironment environment;
    environment.insert(QStringLiteral("MEROVAN_HOME"), home.path());
    ASSERT_EQ(runChildRoutine("CommitSmall", environment).exitCode, 0);

    std::unique_ptr<QProcess> child = startChildRoutine("SaveLarge", environment);
    ASSERT_TRUE(child->waitForStarted(10000));
    ASSERT_TRUE(child->waitForReadyRead(120000)) << "the child never started saving";
    ASSERT_EQ(child->readLine().trimmed(), QByteArray("saving"));
    // Kill it once the transaction has written into the log, mid-save.
    const QString wal = QDir(home.path()).filePath(QStringLiteral("Merovan.bsql-wal"));
    for (int i = 0; i < 2000 && QFileInfo(wal).size() < 512 * 1024; ++i)
        child->waitForFinished(5);
    ::kill(pid_t(child->processId()), SIGKILL);
    child->waitForFinished(10000);
    ASSERT_EQ(child->exitStatus(), QProcess::CrashExit);

    LogCapture log;
    auto controller = std::make_unique<DatabaseController>();
    controller->startup();
    EXPECT_TRUE(controller->crashRecoveryStarted());
    EXPECT_TRUE(log.contains(QStringLiteral("Crash recovery in progress - please be patient")));
    // The save is all or nothing; what was committed before is all there.
    const qint64 count = eventCount(*controller);
    EXPECT_TRUE(count == kCommitted || count == kCommitted + kLargeSave) << count;
    FetchRequest kept(QStringLiteral("SyncableEvent"));
    kept.setPredicate(Predicate::fromFormat(QStringLiteral("uid BEGINSWITH 'kept-'")));
    EXPECT_EQ(controller->managedObjectContext()->countForFetchRequest(kept), kCommitted);
    EXPECT_EQ(controller->persistentStore()->connection().queryValue(
                  QStringLiteral("PRAGMA integrity_check")),
              QVariant(QStringLiteral("ok")));

    // Another launch without a clean shutdown recovers again.
    controller.reset();
    controller = std::make_unique<DatabaseController>();
    controller->startup();
    EXPECT_TRUE(controller->crashRecoveryStarted());
    controller->shutdown();
}
