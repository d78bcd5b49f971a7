#pragma once

#include <QFuture>
#include <QList>
#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <optional>

#include "model/foundation/Clock.h"
#include "model/foundation/Date.h"
#include "model/store/ObjectID.h"

class DatabaseControllerDelegate;
class DatabaseTaskControl;
class ManagedObject;
class ManagedObjectContext;
class ManagedObjectModel;
class PersistentStore;
class StoreError;

// The single owner of the store: where it lives, opening (with migration,
// vacuum and integrity check), crash detection through the "_running" monitor
// file, the one-per-database records, the tombstone purge, saving at shutdown
// and "reset database". The first instance made becomes sharedController().
//
// startup() and shutdown() run on the main thread; failures to create the
// folders or open the store throw std::logic_error with the messages the logs
// show ("initController: …", "openDatabase: …").
class DatabaseController : public QObject {
    Q_OBJECT
public:
    static constexpr char kDatabaseVersion[] = "4.5";
    static constexpr char kDatabaseVersionKey[] = "Database Version";
    static constexpr double kPurgeAge = 2592000;       // 30 days
    static constexpr double kPurgeInterval = 259200;   // 3 days of cut-off progress
    static constexpr double kVacuumInterval = 604800;  // 7 days

    DatabaseController();
    ~DatabaseController() override;

    static DatabaseController *sharedController();
    // The shared controller's delegate; nullptr without either.
    static DatabaseControllerDelegate *sharedDelegate();

    void startup();
    void shutdown();

    ManagedObjectContext *managedObjectContext() const { return m_managedObjectContext.get(); }
    PersistentStore *persistentStore() const { return m_persistentStore.get(); }
    const QString &applicationSupportFolder() const { return m_applicationSupportFolder; }
    const QString &attachmentsFolder() const { return m_attachmentsFolder; }
    const QString &addedGraphicsFolder() const { return m_addedGraphicsFolder; }
    QString databaseFileType() const { return QStringLiteral("SQLite"); }
    const QString &databasePath() const { return m_databasePath; }
    QString crashMonitorPath() const;
    bool isStarted() const { return m_started; }
    bool databaseUpgraded() const { return m_dbUpgraded; }

    DatabaseControllerDelegate *delegate() const { return m_delegate; }
    void setDelegate(DatabaseControllerDelegate *delegate) { m_delegate = delegate; }
    // The task framework's side; nullptr: no tasks.
    void setTaskControl(DatabaseTaskControl *control) { m_taskControl = control; }
    // Another process that has the store open (the running application)
    // keeps the crash monitor: this one neither reads, makes nor removes it.
    void setCrashMonitorKeptElsewhere(bool kept) { m_crashMonitorKeptElsewhere = kept; }

    // The identity of this database: the uid of its BonjourPublisher record.
    QString databaseUID() const;
    std::optional<Date> lastCrashDate() const;
    void setLastCrashDate(Date date);
    // Seconds since crash recovery began, or nothing when this launch did
    // not detect a crash.
    std::optional<double> timeIntervalSinceCrashRecoveryStarted() const;
    bool crashRecoveryStarted() const { return m_crashRecoveryStarted != 0; }

    void startAllTasks();
    void stopAllTasks();
    void startNetworkTasks();
    void stopNetworkTasks();
    void syncNow();
    void goOffline();
    void goOnline();
    void setAutoSaveInterval(double seconds);

    // Removes old tombstones and withdrawn-container records on a worker
    // context, at most once per three days of cut-off progress; purgeFinished()
    // tells how many objects were deleted.
    void purgeOldDeletedObjects();

    // Reset machinery: withdraw publications, let each service's task run its
    // reset sync, then run `finish` (0.1 s later on the clock).
    void resetServices(const QList<ManagedObject *> &services,
                       std::function<void(const QList<ManagedObject *> &)> finish);
    void resetSyncHasFinished(ManagedObject *service);
    // Resets the services as above, then deletes each of them
    // (RemoteServiceLifecycle::deleteRemoteService).
    void unpublishToServices(const QList<ManagedObject *> &services);
    void resetDatabase();
    void closeDatabaseAsIfReset();
    bool databaseWasReset() const { return m_resetDatabase; }

    // An error with a readable description: multiple validation errors are
    // listed (the first ten when there are more), and each is logged.
    static StoreError betterCoreDataError(const StoreError &error);

signals:
    void purgeFinished(int deletedCount);

private:
    void initController();
    void detectCrash();
    void openDatabase();
    void initializeDatabase();
    void purgeObjects(const QList<ObjectID> &ids);
    void finishResetDatabase();
    void scheduleResetFinish();
    ManagedObject *bonjourPublisher() const;
    void presentError(const QString &description);

    std::unique_ptr<PersistentStore> m_persistentStore;
    std::unique_ptr<ManagedObjectContext> m_managedObjectContext;
    QString m_applicationSupportFolder;
    QString m_attachmentsFolder;
    QString m_addedGraphicsFolder;
    QString m_databasePath;
    bool m_started = false;
    bool m_dbUpgraded = false;
    double m_crashRecoveryStarted = 0;  // seconds since 1970
    std::optional<Date> m_crashDatabaseModTime;
    bool m_resetDatabase = false;
    bool m_crashMonitorKeptElsewhere = false;
    int m_resetServicesCount = 0;
    std::function<void(const QList<ManagedObject *> &)> m_finshResetSelector;
    QList<ManagedObject *> m_resetServices;
    ClockTimer m_resetTimer;
    QFuture<QList<ObjectID>> m_purge;  // the purge's worker, waited for at shutdown
    DatabaseControllerDelegate *m_delegate = nullptr;
    DatabaseTaskControl *m_taskControl = nullptr;
};
