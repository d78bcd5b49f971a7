#include "app/StoreSession.h"

#include <QCoreApplication>
#include <QEventLoop>

#include "app/Command.h"
#include "model/DatabaseController.h"
#include "model/foundation/StartMode.h"

StoreSession::StoreSession() = default;

StoreSession::~StoreSession() {
    close();
}

void StoreSession::open() {
    if (StartModes::current() == StartMode::Reset)
        resetExistingStore();
    m_controller = std::make_unique<DatabaseController>();
    m_controller->setDelegate(this);
    m_controller->startup();
}

void StoreSession::close() {
    if (!m_controller)
        return;
    m_controller->shutdown();
    m_controller.reset();
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
    CommandOutput::message(QStringLiteral("merovan: ") + description);
}

void StoreSession::terminateApplication() {
    m_terminated = true;
    if (!m_resetting)
        QCoreApplication::quit();
}
