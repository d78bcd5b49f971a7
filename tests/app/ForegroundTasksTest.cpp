#include <gtest/gtest.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <csignal>
#include <functional>

#include "model/DatabaseController.h"
#include "model/ModelObject.h"
#include "model/store/ManagedObjectContext.h"
#include "support/TestSupport.h"

namespace {

// Writes services into the store of the current home, as an earlier run would have.
void storeServices(const std::function<void(ManagedObjectContext &)> &make) {
    DatabaseController controller;
    controller.startup();
    make(*controller.managedObjectContext());
    controller.shutdown();
}

ModelObject *makeService(ManagedObjectContext &context, const QString &uid, const QString &kind,
                         const QString &title) {
    auto *service =
        ModelObject::as<ModelObject>(context.insertNewObject(QStringLiteral("RemoteService")));
    service->setValue(QStringLiteral("uid"), uid);
    service->setValue(QStringLiteral("serviceName"), kind);
    service->setValue(QStringLiteral("title"), title);
    return service;
}

QString logOf(const TemporaryHome &home) {
    QFile file(home.filePath(QStringLiteral("Logs/log-000000.txt")));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// Starts `merovan` alone, waits until its log shows `ready`, sends SIGTERM and
// returns what the run logged. A signal that arrives early is read once the
// store is open and the tasks are started.
QString runUntilTerminated(const TemporaryHome &home, const QStringList &arguments,
                           const QString &ready) {
    const qsizetype before = logOf(home).size();
    QProcess process;
    process.start(merovanExecutable(), arguments);
    EXPECT_TRUE(process.waitForStarted(30000));
    QDeadlineTimer deadline(30000);
    while (!logOf(home).mid(before).contains(ready) && process.state() == QProcess::Running &&
           !deadline.hasExpired())
        process.waitForFinished(20);
    EXPECT_EQ(process.state(), QProcess::Running) << process.readAllStandardError().toStdString();
    ::kill(pid_t(process.processId()), SIGTERM);
    EXPECT_TRUE(process.waitForFinished(30000)) << "still running 30 s after SIGTERM";
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    return logOf(home).mid(before);
}

}  // namespace

TEST(ForegroundTasks, TerminationStopsTheTasksAndLeavesACleanStore) {
    TemporaryHome home;
    // A service of a kind this build cannot sync shows that the services'
    // tasks were asked for.
    storeServices([](ManagedObjectContext &context) {
        makeService(context, QStringLiteral("S1"), QStringLiteral("Carrier Pigeon"), "Loft");
    });

    const QString ready = QStringLiteral("RemoteServiceTask: unknown service name Carrier Pigeon");
    const QString log = runUntilTerminated(home, {}, ready);
    EXPECT_TRUE(log.contains(ready)) << log.toStdString();
    EXPECT_TRUE(log.contains(QStringLiteral("Received signal 15, shutting down")));
    EXPECT_FALSE(QFile::exists(home.filePath(QStringLiteral("_running"))))
        << "the crash monitor file is removed";

    // Offline, the services get no task; the next launch finds no crash.
    const QString secondRun =
        runUntilTerminated(home, {QStringLiteral("-offline")}, QStringLiteral("Starting"));
    EXPECT_TRUE(secondRun.contains(QStringLiteral(" -1- Stopped"))) << secondRun.toStdString();
    EXPECT_FALSE(secondRun.contains(ready)) << secondRun.toStdString();
    EXPECT_FALSE(secondRun.contains(QStringLiteral("Crash detected"))) << secondRun.toStdString();
    EXPECT_FALSE(QFile::exists(home.filePath(QStringLiteral("_running"))));
}

TEST(ForegroundTasks, AccountsListTheirKindStateAndLastError) {
    TemporaryHome home;
    storeServices([](ManagedObjectContext &context) {
        ModelObject *failing =
            makeService(context, QStringLiteral("S2"), QStringLiteral("CalDAV Synchronization"),
                        QStringLiteral("Work"));
        failing->setArchivedValue(
            QVariantMap{{QStringLiteral("lastSyncState"), 4},
                        {QStringLiteral("lastSyncError"), QStringLiteral("host unreachable")}},
            QStringLiteral("syncOptions"));
        ModelObject *fine = makeService(context, QStringLiteral("S1"),
                                        QStringLiteral("WebDAV Subscribe Synchronization"),
                                        QStringLiteral("Holidays"));
        fine->setArchivedValue(QVariantMap{{QStringLiteral("lastSyncState"), 0}},
                               QStringLiteral("syncOptions"));
        fine->setDateValue(Date(800000000), QStringLiteral("lastSyncTime"));
        makeService(context, QStringLiteral("S3"), QStringLiteral("Exchange Synchronization"),
                    QStringLiteral("Office"));
    });

    const ProcessResult result = runMerovan({QStringLiteral("accounts"), QStringLiteral("--json")});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonArray accounts = QJsonDocument::fromJson(result.out.toUtf8()).array();
    ASSERT_EQ(accounts.size(), 3) << "this machine's publishing record is no account";
    const QJsonObject holidays = accounts[0].toObject();
    EXPECT_EQ(holidays[QStringLiteral("title")].toString(), QStringLiteral("Holidays"));
    EXPECT_EQ(holidays[QStringLiteral("kind")].toString(),
              QStringLiteral("WebDAV Subscribe Synchronization"));
    EXPECT_EQ(holidays[QStringLiteral("state")].toString(), QStringLiteral("idle"));
    EXPECT_EQ(holidays[QStringLiteral("lastSyncTime")].toString(), Date(800000000).description());
    EXPECT_TRUE(holidays[QStringLiteral("lastError")].isNull());
    const QJsonObject office = accounts[1].toObject();
    EXPECT_TRUE(office[QStringLiteral("state")].isNull()) << "never synced";
    EXPECT_TRUE(office[QStringLiteral("lastSyncTime")].isNull());
    const QJsonObject work = accounts[2].toObject();
    EXPECT_EQ(work[QStringLiteral("uid")].toString(), QStringLiteral("S2"));
    EXPECT_EQ(work[QStringLiteral("state")].toString(), QStringLiteral("unable to connect"));
    EXPECT_EQ(work[QStringLiteral("stateCode")].toInt(), 4);
    EXPECT_EQ(work[QStringLiteral("lastError")].toString(), QStringLiteral("host unreachable"));

    const ProcessResult text = runMerovan({QStringLiteral("accounts")});
    ASSERT_EQ(text.exitCode, 0);
    const QStringList lines = text.out.trimmed().split(u'\n');
    ASSERT_EQ(lines.size(), 3) << text.out.toStdString();
    EXPECT_EQ(lines[1], QStringLiteral(
                            "S3  Exchange Synchronization  Office  never synced  last sync never"));
    EXPECT_TRUE(lines[2].endsWith(
        QStringLiteral("unable to connect  last sync never  error: host unreachable")))
        << lines[2].toStdString();
}
