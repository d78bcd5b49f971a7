#pragma once

#include <QString>

class ManagedObject;
class StoreError;

// What the database controller tells the application: the shell shows
// progress while the store migrates or recovers, presents errors and quits
// the application when a reset has finished. Every operation has a default
// that does nothing, so a delegate implements only what it shows.
class DatabaseControllerDelegate {
public:
    virtual ~DatabaseControllerDelegate();
    virtual void migratingDatabase(bool /*inProgress*/) {}
    virtual void crashRecoveryDatabase(bool /*inProgress*/) {}
    // A sync task stored an object received from its service.
    virtual void databaseControllerObjectReceived(ManagedObject * /*object*/) {}
    // A service record was just made, and one is about to be deleted (its
    // calendars and attachment files are already gone).
    virtual void databaseControllerRemoteServiceWillBeAdded(ManagedObject * /*service*/) {}
    virtual void databaseControllerRemoteServiceWillBeDeleted(ManagedObject * /*service*/) {}
    // An item was put into the conflict bin, and the bin's calendar was just
    // made (ConflictBin).
    virtual void databaseControllerConflictForObject(ManagedObject * /*object*/,
                                                     const QString & /*reason*/) {}
    virtual void databaseControllerConflictContainerCreated(ManagedObject * /*container*/) {}
    virtual void presentError(const QString & /*description*/) {}
    // The database was reset: the application should quit now.
    virtual void terminateApplication() {}
};

// The background tasks that work on the store, seen from the database
// controller. The task framework installs the real implementation; until then
// (and in tools that run no tasks) nothing runs.
class DatabaseTaskControl {
public:
    virtual ~DatabaseTaskControl();
    virtual void startAllTasks() {}
    virtual void stopAllTasks() {}
    virtual void startNetworkTasks() {}
    virtual void stopNetworkTasks() {}
    virtual void startRemoteServices() {}
    virtual void stopAutoSaveTask() {}
    virtual void wakeAutoSaveTask() {}
    virtual void wakeWeatherTask() {}
    virtual void syncNow() {}
    // Asks each task to clean up before the application terminates.
    virtual void cleanUpTasksForTermination() {}
    // Whether the service has a running task, and asks that task to run a
    // reset sync; the task reports back through resetSyncHasFinished().
    virtual bool forceResetSync(ManagedObject * /*service*/) { return false; }
};
