#pragma once

#include "model/foundation/Date.h"

class ModelObject;

// How the object model tells the rest of the program about local changes and
// received objects: the task framework installs an implementation that
// tickles the publishing and sync tasks and informs the database
// controller's delegate. The default does nothing, so the model runs on its
// own (tools, tests).
//
// Every call comes from the main thread, while an object is being changed.
class SyncHooks {
public:
    virtual ~SyncHooks();

    // A container published over the local network, or one of its items,
    // changed at `updateTime` (`containerChanged`: the container itself).
    virtual void tickleBonjourPublisher(ModelObject * /*publisher*/, Date /*updateTime*/,
                                        bool /*containerChanged*/) {}
    // A service that publishes changes at once has local changes to send.
    virtual void notePendingChanges(ModelObject * /*service*/) {}
    // The user is editing an object of the service: postpone an imminent
    // sync a little, or (greatly) much longer / at once when `delay` is false.
    virtual void delaySyncIfNeeded(ModelObject * /*service*/) {}
    virtual void greatlyDelaySyncIfNeeded(ModelObject * /*service*/, bool /*delay*/) {}
    // A sync stored an object received from its service
    // (`databaseControllerObjectReceived` of the database controller's delegate).
    virtual void objectReceived(ModelObject * /*syncableObject*/) {}

    // Ask the service's task to sync now (`tickle`).
    virtual void tickle(ModelObject * /*service*/) {}
    // The service is about to be deleted: its task is told
    // (`serviceWillBeDeleted`) and stopped.
    virtual void serviceWillBeDeleted(ModelObject * /*service*/) {}
    // The calendars offered by the peer of a subscription to another copy on
    // the local network changed: refresh the list of what it offers.
    virtual void refreshServerListIfNeeded(ModelObject * /*service*/) {}
    // What the user sees of an item changed without a change of its content,
    // e.g. an attachment's file arrived (`databaseControllerObjectUpdated`).
    virtual void objectUpdated(ModelObject * /*dataObject*/) {}

    // The process-wide instance; the caller keeps ownership of what it sets,
    // nullptr restores the default.
    static SyncHooks &shared();
    static void setShared(SyncHooks *hooks);
};
