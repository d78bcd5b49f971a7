#include "model/DatabaseController.h"

#include <pwd.h>
#include <unistd.h>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QSysInfo>
#include <QUuid>
#include <QtConcurrent>
#include <cstring>
#include <stdexcept>

#include "model/CalendarPublishing.h"
#include "model/CommonDataMO.h"
#include "model/DatabaseControllerDelegate.h"
#include "model/DatabaseUpgrade.h"
#include "model/RemoteServiceLifecycle.h"
#include "model/Schema.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Log.h"
#include "model/foundation/Paths.h"
#include "model/foundation/Preferences.h"
#include "model/foundation/StartMode.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"

namespace {

DatabaseController *g_shared = nullptr;

const QString kOffline = QStringLiteral("offline");
const QString kLastVacuum = QStringLiteral("lastVacuum");
const QString kAutoSaveInterval = QStringLiteral("autoSaveInterval");
const QString kPrevDatabaseID = QStringLiteral("prevDatabaseID");

double megabytes(const QString &path) {
    return double(QFileInfo(path).size()) / 1e6;
}

// The user's full name, else the login name; empty when neither is known.
QString currentUserName() {
    if (const passwd *entry = ::getpwuid(::getuid())) {
        const QString gecos =
            QString::fromLocal8Bit(entry->pw_gecos).section(QLatin1Char(','), 0, 0);
        if (!gecos.trimmed().isEmpty())
            return gecos.trimmed();
        return QString::fromLocal8Bit(entry->pw_name);
    }
    return qEnvironmentVariable("USER");
}

// Withdraws a container from a service it is published to; a deleted
// calendar only leaves the list.
void withdrawFromService(ManagedObject *container, ModelObject *service) {
    if (CommonDataMO *calendar = ModelObject::as<SyncableObjectMO>(container)->objectData())
        CalendarPublishing::setIsPublished(*calendar, false, service, false);
    else
        service->removeObject(QStringLiteral("publishedContainers"), container);
}

}  // namespace

DatabaseController::DatabaseController() {
    if (!g_shared)
        g_shared = this;
}

DatabaseController::~DatabaseController() {
    m_purge.waitForFinished();  // it reads the store
    if (g_shared == this)
        g_shared = nullptr;
}

DatabaseController *DatabaseController::sharedController() {
    return g_shared;
}

DatabaseControllerDelegate *DatabaseController::sharedDelegate() {
    const DatabaseController *controller = sharedController();
    return controller ? controller->delegate() : nullptr;
}

QString DatabaseController::crashMonitorPath() const {
    return QDir(m_applicationSupportFolder).filePath(QStringLiteral("_running"));
}

void DatabaseController::presentError(const QString &description) {
    if (m_delegate && StartModes::current() == StartMode::Normal)
        m_delegate->presentError(description);
}

// --- Start-up ----------------------------------------------------------------

void DatabaseController::startup() {
    initController();
    if (StartModes::current() == StartMode::Normal && !m_crashMonitorKeptElsewhere)
        detectCrash();
    openDatabase();
    initializeDatabase();
    startAllTasks();
    if (StartModes::current() == StartMode::Normal)
        purgeOldDeletedObjects();
    m_started = true;
}

void DatabaseController::initController() {
    m_applicationSupportFolder = Paths::applicationSupportFolder();
    m_attachmentsFolder = Paths::attachmentsFolder();
    m_addedGraphicsFolder = Paths::graphicsFolder();
    for (const QString &folder : {m_applicationSupportFolder, m_attachmentsFolder}) {
        if (QDir().mkpath(folder))
            continue;
        const QString reason = QString::fromLocal8Bit(std::strerror(errno));
        presentError(format("Unable to create folder %@: %@", folder, reason));
        logError("Unable to create folder %@: %@", folder, reason);
        throw std::logic_error(
            format("initController: unable to create folder %@", folder).toStdString());
    }
    m_databasePath = QDir(m_applicationSupportFolder)
                         .filePath(QLatin1String(Paths::kProductName) + QStringLiteral(".bsql"));
}

void DatabaseController::detectCrash() {
    if (QFileInfo::exists(crashMonitorPath())) {
        m_crashRecoveryStarted = Date::now().secondsSince1970();
        const QFileInfo store(m_databasePath);
        if (store.exists())
            m_crashDatabaseModTime = Date::fromDateTime(store.lastModified());
        logError("Crash detected - database mod time = %@", m_crashDatabaseModTime);
        logError("Crash recovery in progress - please be patient");
        return;
    }
    QFile monitor(crashMonitorPath());
    if (!monitor.open(QIODevice::WriteOnly))
        logError("Unable to create %@: %@", crashMonitorPath(), monitor.errorString());
}

void DatabaseController::openDatabase() {
    const ManagedObjectModel &model = Schema::model();
    const QVariantMap metadata = PersistentStore::metadataForStore(m_databasePath);
    const QString oldVersion = metadata.value(QLatin1String(kDatabaseVersionKey)).toString();
    const bool upgrade = !metadata.isEmpty() && oldVersion != QLatin1String(kDatabaseVersion);
    if (upgrade) {
        logInfo("Upgrading database from %@ to %@", oldVersion, kDatabaseVersion);
        if (m_delegate)
            m_delegate->migratingDatabase(true);
    }
    Preferences &preferences = Preferences::shared();
    const std::optional<Date> lastVacuum = preferences.dateForKey(kLastVacuum);
    const bool vacuum =
        upgrade || !lastVacuum || Date::now().secondsSince(*lastVacuum) > kVacuumInterval;
    PersistentStore::Options options;
    options.vacuum = vacuum;
    options.integrityCheck = upgrade || crashRecoveryStarted();
    if (crashRecoveryStarted() && m_delegate)
        m_delegate->crashRecoveryDatabase(true);
    if (vacuum)
        logInfo("Vacuuming database... %.2f MB", megabytes(m_databasePath));
    try {
        m_persistentStore = std::make_unique<PersistentStore>(&model, m_databasePath, options);
    } catch (const StoreError &error) {
        if (crashRecoveryStarted() && m_delegate)
            m_delegate->crashRecoveryDatabase(false);
        const StoreError readable = betterCoreDataError(error);
        presentError(readable.description());
        logError("Unable to open database: %@", readable.description());
        throw std::logic_error(
            format("openDatabase: unable to open database %@", m_databasePath).toStdString());
    }
    if (crashRecoveryStarted() && m_delegate)
        m_delegate->crashRecoveryDatabase(false);
    if (vacuum) {
        preferences.setDate(kLastVacuum, Date::now());
        logInfo("Vacuuming finished... %.2f MB", megabytes(m_databasePath));
    }
    m_managedObjectContext = std::make_unique<ManagedObjectContext>(m_persistentStore.get());
    if (upgrade) {
        logInfo("Database upgrade completed");
        QFile::remove(PersistentStore::migrationBackupPath(m_databasePath));
        DatabaseUpgrade(m_managedObjectContext.get()).finishUpgradeFromVersion(oldVersion);
        m_persistentStore->setMetadataValue(QLatin1String(kDatabaseVersionKey),
                                            QLatin1String(kDatabaseVersion));
        m_dbUpgraded = true;
        if (m_delegate)
            m_delegate->migratingDatabase(false);
    } else if (m_persistentStore->wasMigrated()) {
        QFile::remove(PersistentStore::migrationBackupPath(m_databasePath));
    }
    if (m_persistentStore->wasMigrated())
        DatabaseUpgrade(m_managedObjectContext.get()).finishStoreMigration();
    if (crashRecoveryStarted() && m_crashDatabaseModTime) {
        setLastCrashDate(*m_crashDatabaseModTime);
        m_crashDatabaseModTime.reset();
    }
}

ManagedObject *DatabaseController::bonjourPublisher() const {
    FetchRequest request(QStringLiteral("BonjourPublisher"));
    request.setFetchLimit(1);
    const QList<ManagedObject *> found = m_managedObjectContext->executeFetchRequest(request);
    return found.isEmpty() ? nullptr : found.first();
}

void DatabaseController::initializeDatabase() {
    if (bonjourPublisher())
        return;
    m_persistentStore->setMetadataValue(QLatin1String(kDatabaseVersionKey),
                                        QLatin1String(kDatabaseVersion));
    Preferences &preferences = Preferences::shared();
    const QString previousID = preferences.stringForKey(kPrevDatabaseID);
    preferences.removeObjectForKey(kPrevDatabaseID);
    ManagedObject *publisher =
        m_managedObjectContext->insertNewObject(QStringLiteral("BonjourPublisher"));
    publisher->setValue(QStringLiteral("bonjourName"), QString());
    publisher->setValue(QStringLiteral("uid"),
                        QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper());
    if (!previousID.isEmpty()) {
        publisher->setValue(QStringLiteral("lastResetUID"), previousID);
        publisher->setValue(QStringLiteral("lastResetTime"), QVariant::fromValue(Date::now()));
    }
    const QString userName = currentUserName();
    const QString computerName = QSysInfo::machineHostName();
    if (!userName.isEmpty() &&
        (computerName.isEmpty() || !computerName.contains(userName, Qt::CaseInsensitive)))
        publisher->setValue(QStringLiteral("bonjourName"), userName);
    m_managedObjectContext->save();
}

// --- Identity and crash bookkeeping -------------------------------------------

QString DatabaseController::databaseUID() const {
    ManagedObject *publisher = m_managedObjectContext ? bonjourPublisher() : nullptr;
    return publisher ? publisher->valueForKey(QStringLiteral("uid")).toString() : QString();
}

std::optional<Date> DatabaseController::lastCrashDate() const {
    ManagedObject *publisher = bonjourPublisher();
    const QVariant value =
        publisher ? publisher->valueForKey(QStringLiteral("lastCrashTime")) : QVariant();
    if (!value.isValid())
        return std::nullopt;
    return value.value<Date>();
}

void DatabaseController::setLastCrashDate(Date date) {
    ManagedObject *publisher = bonjourPublisher();
    if (!publisher)
        return;
    publisher->setValue(QStringLiteral("lastCrashTime"), QVariant::fromValue(date));
    publisher->setValue(QStringLiteral("lastUpdatedTime"), QVariant::fromValue(Date::now()));
}

std::optional<double> DatabaseController::timeIntervalSinceCrashRecoveryStarted() const {
    if (!crashRecoveryStarted())
        return std::nullopt;
    return Date::now().secondsSince1970() - m_crashRecoveryStarted;
}

// --- Tasks -------------------------------------------------------------------

void DatabaseController::startAllTasks() {
    if (!m_taskControl)
        return;
    m_taskControl->startAllTasks();
    if (!Preferences::shared().boolForKey(kOffline))
        startNetworkTasks();
}

void DatabaseController::stopAllTasks() {
    if (m_taskControl)
        m_taskControl->stopAllTasks();
}

void DatabaseController::startNetworkTasks() {
    if (m_taskControl)
        m_taskControl->startNetworkTasks();
}

void DatabaseController::stopNetworkTasks() {
    if (m_taskControl)
        m_taskControl->stopNetworkTasks();
}

void DatabaseController::syncNow() {
    if (m_taskControl)
        m_taskControl->syncNow();
}

void DatabaseController::goOffline() {
    Preferences &preferences = Preferences::shared();
    if (preferences.boolForKey(kOffline))
        return;
    preferences.setBool(kOffline, true);
    stopNetworkTasks();
}

void DatabaseController::goOnline() {
    Preferences &preferences = Preferences::shared();
    if (!preferences.boolForKey(kOffline))
        return;
    preferences.setBool(kOffline, false);
    startNetworkTasks();
    if (m_taskControl)
        m_taskControl->wakeWeatherTask();
}

void DatabaseController::setAutoSaveInterval(double seconds) {
    Preferences &preferences = Preferences::shared();
    if (preferences.doubleForKey(kAutoSaveInterval) == seconds)
        return;
    preferences.setDouble(kAutoSaveInterval, seconds);
    if (m_taskControl)
        m_taskControl->wakeAutoSaveTask();
}

// --- Purge -------------------------------------------------------------------

void DatabaseController::purgeOldDeletedObjects() {
    ManagedObject *publisher = bonjourPublisher();
    if (!publisher)
        return;
    const Date cutoff = Date::now().addingSeconds(-kPurgeAge);
    const QVariant lastPurge = publisher->valueForKey(QStringLiteral("lastPurgeTime"));
    if (lastPurge.isValid() && cutoff.secondsSince(lastPurge.value<Date>()) <= kPurgeInterval) {
        emit purgeFinished(0);
        return;
    }
    publisher->setValue(QStringLiteral("lastPurgeTime"), QVariant::fromValue(cutoff));
    PersistentStore *store = m_persistentStore.get();
    auto *watcher = new QFutureWatcher<QList<ObjectID>>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher] {
        watcher->deleteLater();
        purgeObjects(watcher->result());
    });
    m_purge = QtConcurrent::run([store, cutoff] {
        ManagedObjectContext worker(store, ManagedObjectContext::Kind::Worker);
        const QVariant when = QVariant::fromValue(cutoff);
        FetchRequest tombstones(QStringLiteral("SyncableObject"));
        tombstones.setPredicate(Predicate::fromFormat(
            QStringLiteral("(%K == nil) AND (%K < %@)"),
            {QStringLiteral("objectData"), QStringLiteral("localReceivedTime"), when}));
        FetchRequest withdrawn(QStringLiteral("UnpublishedContainer"));
        withdrawn.setPredicate(Predicate::fromFormat(QStringLiteral("%K < %@"),
                                                     {QStringLiteral("lastModTime"), when}));
        return worker.fetchObjectIDs(tombstones) + worker.fetchObjectIDs(withdrawn);
    });
    watcher->setFuture(m_purge);
}

void DatabaseController::purgeObjects(const QList<ObjectID> &ids) {
    if (!m_managedObjectContext)
        return;
    int deleted = 0;
    for (const ObjectID &id : ids) {
        // Another change may have deleted it meanwhile.
        ManagedObject *object = m_managedObjectContext->existingObjectWithID(id);
        if (!object || object->isDeleted())
            continue;
        logInfo("Purging old deleted object: %@", object->valueForKey(QStringLiteral("uid")));
        m_managedObjectContext->deleteObject(object);
        ++deleted;
    }
    if (deleted > 0)
        m_managedObjectContext->processPendingChanges();
    // Security-scoped file bookmarks, which the purge would also tidy, do not
    // exist on this platform: files are reached by plain paths.
    emit purgeFinished(deleted);
}

// --- Shutdown ----------------------------------------------------------------

void DatabaseController::shutdown() {
    stopAllTasks();
    m_purge.waitForFinished();
    if (m_started && m_managedObjectContext) {
        m_managedObjectContext->processPendingChanges();
        bool saved = true;
        if (!m_resetDatabase && m_managedObjectContext->hasChanges()) {
            try {
                m_managedObjectContext->save();
            } catch (const StoreError &error) {
                saved = false;
                const StoreError readable = betterCoreDataError(error);
                presentError(readable.description());
                logError("Unable to save database: %@", readable.description());
            }
        }
        // A failed save leaves the monitor file, so the next start recovers.
        if (saved && !m_crashMonitorKeptElsewhere)
            QFile::remove(crashMonitorPath());
        m_started = false;
    }
    if (m_resetDatabase) {
        m_managedObjectContext.reset();
        m_persistentStore.reset();
        QDir(m_attachmentsFolder).removeRecursively();
        for (const QString &suffix : {QString(), QStringLiteral("-wal"), QStringLiteral("-shm")})
            QFile::remove(m_databasePath + suffix);
        QFile::remove(crashMonitorPath());
    }
    Preferences &preferences = Preferences::shared();
    if (preferences.boolForKey(kOffline))
        preferences.setBool(kOffline, false);  // offline never survives a restart
    preferences.synchronize();
}

// --- Reset -------------------------------------------------------------------

void DatabaseController::resetServices(const QList<ManagedObject *> &services,
                                       std::function<void(const QList<ManagedObject *> &)> finish) {
    m_resetServices = services;
    m_finshResetSelector = std::move(finish);
    m_resetServicesCount = 0;
    for (ManagedObject *service : services) {
        const QList<ManagedObject *> published =
            service->objectsForKey(QStringLiteral("publishedContainers"));
        for (ManagedObject *container : published)
            withdrawFromService(container, ModelObject::as<ModelObject>(service));
        if (!published.isEmpty() && m_taskControl && m_taskControl->forceResetSync(service))
            ++m_resetServicesCount;
    }
    if (m_resetServicesCount == 0)
        scheduleResetFinish();
}

void DatabaseController::resetSyncHasFinished(ManagedObject *) {
    if (m_resetServicesCount > 0 && --m_resetServicesCount == 0)
        scheduleResetFinish();
}

void DatabaseController::scheduleResetFinish() {
    m_resetTimer.start(0.1, [this] {
        auto finish = std::move(m_finshResetSelector);
        const QList<ManagedObject *> services = std::move(m_resetServices);
        m_finshResetSelector = nullptr;
        m_resetServices.clear();
        if (finish)
            finish(services);
    });
}

void DatabaseController::unpublishToServices(const QList<ManagedObject *> &services) {
    resetServices(services, [](const QList<ManagedObject *> &reset) {
        for (ManagedObject *service : reset)
            RemoteServiceLifecycle::deleteRemoteService(ModelObject::as<ModelObject>(service));
    });
}

void DatabaseController::resetDatabase() {
    m_resetDatabase = true;
    if (!m_started)
        return;
    Preferences::shared().setBool(kOffline, false);
    if (m_taskControl) {
        m_taskControl->startRemoteServices();
        m_taskControl->stopAutoSaveTask();
    }
    resetServices(
        m_managedObjectContext->executeFetchRequest(FetchRequest(QStringLiteral("RemoteService"))),
        [this](const QList<ManagedObject *> &) { finishResetDatabase(); });
}

void DatabaseController::finishResetDatabase() {
    Preferences::shared().setString(kPrevDatabaseID, databaseUID());
    Preferences::shared().synchronize();
    if (m_taskControl)
        m_taskControl->cleanUpTasksForTermination();
    if (m_delegate)
        m_delegate->terminateApplication();
}

void DatabaseController::closeDatabaseAsIfReset() {
    m_resetDatabase = true;
    finishResetDatabase();
}

// --- Errors ------------------------------------------------------------------

StoreError DatabaseController::betterCoreDataError(const StoreError &error) {
    if ((error.code() & ~1023) == 1024)
        logError("%@", error.userInfo());
    if (error.code() != StoreError::ValidationMultipleErrors)
        return error;
    const QList<StoreError> &details = error.detailedErrors();
    QString description = format("%ld validation errors have occurred", details.size());
    description +=
        details.size() > 10 ? QStringLiteral(".\nThe first 10 are:\n") : QStringLiteral(":\n");
    for (qsizetype i = 0; i < details.size(); ++i) {
        logError(
            "%@ - %@", details[i].description(),
            details[i].object() ? details[i].object()->objectID().uriRepresentation() : QString());
        if (i < 10)
            description += details[i].description() + QLatin1Char('\n');
    }
    StoreError better(error.code(), description, error.object());
    better.setDetailedErrors(details);
    return better;
}
