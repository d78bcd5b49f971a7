#pragma once

#include <QString>

#include "model/ModelObject.h"
#include "model/foundation/Date.h"

class CommonDataMO;

// The syncable side of a calendar or item (entity family SyncableObject):
// identity (`uid`), the modification stamps, the owning service, the
// container and the remote-object records. Without a data object
// (`objectData`) it is a tombstone: a deletion still to be propagated.
//
// Local changes and sync. A process-wide state says whether a sync task is
// storing server data, and for which service (syncInProgress()). While none
// is, changes are the user's: a new syncable object gets a uid and is
// stamped (touchLastModTime()), and a change of its data object or of a
// synced extra record stamps it again and postpones the owner's sync. While a
// sync is in progress, ids and stamps come from the server and are left alone.
// All of this runs on the main thread.
class SyncableObjectMO : public ModelObject {
public:
    SyncableObjectMO(const EntityDescription *entity, ManagedObjectContext *context);

    // --- Relationships.
    CommonDataMO *objectData() const;
    SyncableObjectMO *parentContainer() const;  // children: the container's syncable object
    ModelObject *ownedBy() const;               // containers: the owning service, or nullptr
    // The container: the object itself for a container, else its parentContainer.
    SyncableObjectMO *parentSyncableContainer() const;
    // The owner of the container.
    ModelObject *owningService() const override;
    bool isTombstone() const { return !objectData(); }

    // --- Stamps. touchLastModTime: `lastModTime` and `localReceivedTime` now,
    // `lastModBy` the current user, then pushChangeToPublishers(); during a
    // sync the received object is reported (SyncHooks::objectReceived).
    // touchReceivedTime: the same with `localReceivedTime` only.
    // touchLocalChange: only the report, during a sync.
    void touchLastModTime();
    void touchReceivedTime();
    void touchLocalChange();
    // Locally modified: `ownerLastModTime` is empty or differs from `lastModTime`.
    bool isLocallyModified() const;

    // --- Propagation. Tells every service the container is published to,
    // and its owner, that it changed: the Bonjour publisher is tickled with
    // `changeTime`; any other service that publishes changes at once (other
    // than the one syncing now) logs "pushChangeTo: %@" and notes pending
    // changes.
    void pushChangeToPublishers(Date changeTime);
    // Postpone the owner's next automatic sync while the user edits.
    void delaySyncWithOwner();
    void greatlyDelaySyncWithOwner(bool delay);
    // A local change of the object or its content: stamps it and postpones
    // the owner's sync, unless a sync is in progress. While a
    // LocalChangeBatch is open the object is only noted, and stamped once
    // when the batch closes.
    void noteLocalChange();

    // Local changes made while one is open (main thread; batches nest) stamp
    // each object once, when the outermost batch closes, instead of at every
    // change: for readers that set the many values of an item in a row. An
    // object deleted in the meantime is not stamped. Nothing may reset the
    // objects' context while a batch is open.
    class LocalChangeBatch {
    public:
        LocalChangeBatch();
        ~LocalChangeBatch();
        LocalChangeBatch(const LocalChangeBatch &) = delete;
        LocalChangeBatch &operator=(const LocalChangeBatch &) = delete;
    };

    // Store the next change without conflict handling (objects owned by a
    // CalDAV or Exchange service only).
    void ignoreConflictWhenStored();

    // --- Sync in progress (process-wide, main thread).
    // Throws std::invalid_argument "syncInProgress YES with %@: already
    // synching with %@" / "syncInProgress NO with %@: not synching".
    static void syncInProgress(bool inProgress, ModelObject *service);
    static bool isSyncInProgress();
    static ModelObject *syncingService();
    // Whether the service syncing now owns this object's container.
    bool syncInProgressWithOwner() const;
    // Save and clear the state (for a modal edit during a sync), and restore
    // it; nested calls restore in reverse order. Off the main thread they
    // throw std::logic_error "suspendSyncInProgress: not in main run loop" /
    // "resumeSyncInProgress: not in main run loop".
    static void suspendSyncInProgress();
    static void resumeSyncInProgress();
    static void setEditInProgress(bool editing);
    static bool editInProgress();

protected:
    void awakeFromInsert() override;

private:
    void stamp(bool modification);
};
