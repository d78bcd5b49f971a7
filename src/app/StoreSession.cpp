#include "app/StoreSession.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <stdexcept>

#include "app/Command.h"
#include "model/DatabaseController.h"
#include "model/foundation/StartMode.h"
#include "tasks/TaskManager.h"

StoreSession::StoreSession() = default;

StoreSession::~StoreSession() {
    close();
}

void StoreSession::open() {
    if (!m_runningApplication)
        m_hold.acquire();
    if (m_hold.isHeld() && StartModes::current() == StartMode::Reset) {
        m_hold.release();
        throw std::runtime_error("the application is running; stop it before resetting the store");
    }
    try {
        if (StartModes::current() == StartMode::Reset)
            resetExistingStore();
        m_controller = std::make_unique<DatabaseController>();
        m_controller->setDelegate(this);
        m_controller->setTaskControl(m_taskControl);
        m_controller->setCrashMonitorKeptElsewhere(m_hold.isHeld());
        m_controller->startup();
    } catch (const std::exception &error) {
        m_controller.reset();
        m_hold.release();
        // One line: what failed, and the store's own reason when it gave one.
        QString reason = QString::fromUtf8(error.what());
        if (!m_openError.isEmpty())
            reason += QStringLiteral(" (%1)").arg(m_openError.simplified());
        throw std::runtime_error(reason.toStdString());
    }
    m_opened = true;
}

void StoreSession::close() {
    if (m_controller) {
        m_controller->shutdown();
        m_controller.reset();
    }
    m_hold.release();
}

void StoreSession::resetExistingStore() {
    DatabaseController resetting;
    resetting.setDelegate(this);
    resetting.startup();
    resetting.resetDatabase();
    // The reset finishes once every service's reset sync is done; the
    // controller then asks the application to terminate.
    m_resetting = true;
    m_terminated = false;
    QEventLoop loop;
    while (!m_terminated)
        loop.processEvents(QEventLoop::WaitForMoreEvents);
    m_resetting = false;
    resetting.shutdown();
}

void StoreSession::migratingDatabase(bool inProgress) {
    if (inProgress)
        CommandOutput::message(QStringLiteral("Upgrading the database…"));
}

void StoreSession::crashRecoveryDatabase(bool inProgress) {
    if (inProgress)
        CommandOutput::message(QStringLiteral("Recovering from a crash, please be patient…"));
}

void StoreSession::presentError(const QString &description) {
    if (m_opened)
        CommandOutput::message(QStringLiteral("merovan: ") + description);
    else
        m_openError = description;
}

void StoreSession::terminateApplication() {
    m_terminated = true;
    if (!m_resetting)
        QCoreApplication::quit();
}

void StoreSession::databaseControllerObjectReceived(ManagedObject *object) {
    if (TaskManager::hasSharedManager())
        TaskManager::sharedManager().objectReceived(object);
}

void StoreSession::databaseControllerRemoteServiceWillBeAdded(ManagedObject *service) {
    if (TaskManager::hasSharedManager())
        TaskManager::sharedManager().remoteServiceWillBeAdded(service);
}

void StoreSession::databaseControllerRemoteServiceWillBeDeleted(ManagedObject *service) {
    if (TaskManager::hasSharedManager())
        TaskManager::sharedManager().remoteServiceWillBeDeleted(service);
}
