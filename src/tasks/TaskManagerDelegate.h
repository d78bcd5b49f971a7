#pragma once

#include <QSet>
#include <QString>
#include <QVariant>

class ManagedObject;
class UserError;

// What the task manager passes on to the application: the store's
// notifications (each between suspend() and resume(), so that no task runs
// while the application reacts) and the errors to present. Every operation
// has a default that does nothing.
class TaskManagerDelegate {
public:
    virtual ~TaskManagerDelegate();
    // The syncable objects received from services since the last task run.
    virtual void taskManagerSyncableObjectsChanged(const QSet<ManagedObject *> & /*objects*/) {}
    virtual void taskManagerSyncableObjectsUpdated(const QSet<ManagedObject *> & /*objects*/) {}
    virtual void taskManagerNotificationsChanged() {}
    virtual void taskManagerSubscribedContainersChanged() {}
    virtual void taskManagerConflictForObjects(const QSet<ManagedObject *> & /*objects*/,
                                               const QString & /*reason*/) {}
    virtual void taskManagerConflictContainerCreated(const QSet<ManagedObject *> & /*containers*/) {
    }
    virtual void taskManagerRemoteServiceWillBeAdded(ManagedObject * /*service*/) {}
    virtual void taskManagerRemoteServiceWillBeDeleted(ManagedObject * /*service*/) {}
    virtual void taskManagerChangesSentToRemoteService(ManagedObject * /*service*/) {}
    virtual void taskManagerInitialSyncCompletedToRemoteService(ManagedObject * /*service*/) {}
    // Shows the error; the answer is the recovery the user chose (none: no
    // choice was made).
    virtual QVariant taskManagerPresentError(const UserError & /*error*/) { return {}; }
};
