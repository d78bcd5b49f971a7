#include "app/RunningInstance.h"

#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>

#include "model/CalendarChanges.h"
#include "model/CommonDataMO.h"
#include "model/DatabaseController.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Log.h"
#include "model/foundation/Paths.h"
#include "model/foundation/Preferences.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"
#include "model/store/StoreError.h"
#include "tasks/RemoteServiceTask.h"
#include "tasks/SyncState.h"
#include "tasks/TaskManager.h"

namespace {

constexpr int kConnectMilliseconds = 1000;

// Whether items of the service's calendars were changed here and not yet
// sent (tombstones of deletions included).
bool serviceHasLocalChanges(const ModelObject *service) {
    for (ManagedObject *object : service->objectsForKey(QStringLiteral("ownedContainers"))) {
        auto *calendar = ModelObject::as<SyncableObjectMO>(object);
        if (!calendar || calendar->isTombstone())
            continue;
        if (!CalendarChanges::modifiedRemoteChildren(*calendar->objectData()).isEmpty())
            return true;
    }
    return false;
}

ManagedObjectContext *storeContext() {
    DatabaseController *controller = DatabaseController::sharedController();
    return controller && controller->isStarted() ? controller->managedObjectContext() : nullptr;
}

}  // namespace

RunningInstance::RunningInstance() : m_server(new QLocalServer(this)) {
    connect(m_server, &QLocalServer::newConnection, this, &RunningInstance::accept);
}

RunningInstance::~RunningInstance() {
    m_server->close();
}

QString RunningInstance::socketPath() {
    return QDir(Paths::applicationSupportFolder()).filePath(QStringLiteral("_instance"));
}

bool RunningInstance::isRunning() {
    QLocalSocket socket;
    socket.connectToServer(socketPath());
    return socket.waitForConnected(kConnectMilliseconds);
}

bool RunningInstance::listen() {
    // Nobody answers (checked before the store was opened): a socket left
    // behind by an application that crashed.
    QLocalServer::removeServer(socketPath());
    if (m_server->listen(socketPath()))
        return true;
    logError("Unable to listen on %@: %@", socketPath(), m_server->errorString());
    return false;
}

void RunningInstance::accept() {
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { readLines(socket); });
        connect(socket, &QLocalSocket::disconnected, this, [this, socket] {
            release(socket);
            socket->deleteLater();
        });
    }
}

void RunningInstance::readLines(QLocalSocket *socket) {
    while (socket->canReadLine()) {
        const QByteArray line = socket->readLine().trimmed();
        if (line == "hold")
            hold(socket);
        else if (line == "release")
            release(socket);
        else
            logWarning("RunningInstance: unknown request %@", QString::fromUtf8(line));
    }
}

void RunningInstance::hold(QLocalSocket *socket) {
    if (m_holders.isEmpty()) {
        logInfo("RunningInstance: held by a command; stopping the sync tasks");
        if (DatabaseController *controller = DatabaseController::sharedController())
            controller->stopNetworkTasks();
        m_saveTimer.stop();
        saveStore();
    }
    m_holders.insert(socket);
    socket->write("held\n");
    socket->flush();
}

void RunningInstance::release(QLocalSocket *socket) {
    if (!m_holders.remove(socket) || !m_holders.isEmpty())
        return;
    logInfo("RunningInstance: released; reading the store again");
    readStoreAgain();
    DatabaseController *controller = DatabaseController::sharedController();
    if (controller && !Preferences::shared().boolForKey(QStringLiteral("offline")))
        controller->startNetworkTasks();
    notePendingLocalChanges();
}

void RunningInstance::saveStore() {
    ManagedObjectContext *context = storeContext();
    if (!context)
        return;
    context->processPendingChanges();
    if (!context->hasChanges())
        return;
    try {
        context->save();
    } catch (const StoreError &error) {
        logError("RunningInstance: unable to save the store: %@", QString::fromUtf8(error.what()));
    }
}

void RunningInstance::readStoreAgain() {
    ManagedObjectContext *context = storeContext();
    if (!context)
        return;
    // Saved when the hold began and untouched since: every object turns
    // back into a fault and is read again as the commands left its row, and
    // the rows the commands added keep their keys.
    context->store()->readPrimaryKeys();
    for (ManagedObject *object : context->registeredObjects())
        context->refreshObject(object, false);
}

void RunningInstance::notePendingLocalChanges() {
    if (!TaskManager::hasSharedManager())
        return;
    for (RemoteServiceTask *task :
         TaskManager::sharedManager().allTasksOfClass<RemoteServiceTask>()) {
        if (task->remoteService() && serviceHasLocalChanges(task->remoteService()))
            task->notePendingChanges();
    }
}

void RunningInstance::stateChange(qint64 state, RemoteServiceTask * /*task*/) {
    // The cycle's last writes (its time, its outcome) follow this notice.
    if (state != SyncState::Synchronizing && m_holders.isEmpty())
        m_saveTimer.start(0, [] { saveStore(); });
}
