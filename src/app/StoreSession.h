#pragma once

#include <QString>
#include <memory>

#include "app/InstanceHold.h"
#include "model/DatabaseControllerDelegate.h"

class DatabaseController;

// The store opened for the length of one command or one run of the
// application: the database controller started up (after a reset when the
// start mode asks for one) and shut down cleanly at the end. A command's
// session holds the running application, if one runs, from before the store
// opens until it has closed (see RunningInstance).
class StoreSession final : public DatabaseControllerDelegate {
public:
    StoreSession();
    ~StoreSession() override;
    StoreSession(const StoreSession &) = delete;
    StoreSession &operator=(const StoreSession &) = delete;

    // Starts the database controller. In the reset start mode the existing
    // store is reset first (its services withdrawn, its files deleted) and a
    // fresh one is created. Throws std::logic_error when the store cannot be
    // opened, std::runtime_error when the running application does not let
    // it go.
    void open();
    void close();
    // The task framework the controller drives (set before open()); none: no tasks.
    void setTaskControl(DatabaseTaskControl *control) { m_taskControl = control; }
    // The application's own session: it is the one that others hold.
    void setRunningApplication() { m_runningApplication = true; }
    DatabaseController &controller() { return *m_controller; }

    // DatabaseControllerDelegate
    void migratingDatabase(bool inProgress) override;
    void crashRecoveryDatabase(bool inProgress) override;
    void presentError(const QString &description) override;
    void terminateApplication() override;
    // Passed on to the task manager while it runs.
    void databaseControllerObjectReceived(ManagedObject *object) override;
    void databaseControllerRemoteServiceWillBeAdded(ManagedObject *service) override;
    void databaseControllerRemoteServiceWillBeDeleted(ManagedObject *service) override;

private:
    void resetExistingStore();

    std::unique_ptr<DatabaseController> m_controller;
    DatabaseTaskControl *m_taskControl = nullptr;
    bool m_opened = false;
    QString m_openError;  // presented while opening, reported with the failure
    bool m_resetting = false;
    bool m_terminated = false;
    bool m_runningApplication = false;
    InstanceHold m_hold;
};
