#pragma once

#include <QList>
#include <QSet>
#include <QString>
#include <memory>
#include <optional>

#include "model/foundation/Date.h"

class ManagedObject;
class ManagedObjectContext;

// Questions about one service (a RemoteService or the BonjourPublisher),
// answered by walking its relationships in memory rather than fetching. A
// null service has nothing. Main thread only. The service's sync options are
// read and written through ModelObject (syncOptionsDict() and the rest).
class RemoteServiceQueries {
public:
    // The calendars a subscriber should receive: published containers, then,
    // for withdrawn ones, stand-alone syncable objects that no context the
    // caller knows of holds (never saved). `withdrawals` owns those, so they
    // live as long as the result does; it is null when there are none.
    struct PublicContainers {
        QList<ManagedObject *> containers;
        std::shared_ptr<ManagedObjectContext> withdrawals;
    };

    // The owned containers that have a data object and pass `filter`, in
    // relationship order. 0 passes every one; any positive filter requires
    // the calendar's `localSubscription` > 0, and 2 also requires
    // `localHidden` false; a negative filter passes none.
    static QList<ManagedObject *> ownedContainersWithFilter(ManagedObject *service, int filter);
    // At least one owned container passes `filter` (as above).
    static bool ownedContainersMatchFilter(ManagedObject *service, int filter);
    // The owned container with that uid, or nullptr.
    static ManagedObject *ownedContainerWithUID(ManagedObject *service, const QString &uid);
    // The owned containers published to `otherService`.
    static QSet<ManagedObject *> ownedContainersPublishedToService(ManagedObject *service,
                                                                   ManagedObject *otherService);
    // The data objects (calendars) of the owned containers.
    static QSet<ManagedObject *> containersOwnedByService(ManagedObject *service);
    // Every FileAttachment whose item lies in a container the service owns
    // (`parentObject.objectInfo.parentContainer.ownedBy`).
    static QSet<ManagedObject *> ownedFileAttachments(ManagedObject *service);
    // The attachment records (Attachment and FileAttachment) of the items in
    // the service's containers whose file waits to be downloaded
    // (`needsToBeFetched`) or uploaded (`needsToBeStored`), in fetch order.
    static QList<ManagedObject *> ownedAttachmentsToSync(ManagedObject *service);
    // The services any owned container is published to.
    static QSet<ManagedObject *> servicesPublishedTo(ManagedObject *service);

    // Without a date: the published containers that have a data object.
    // With one: the published containers received after it (tombstones
    // included), followed by one stand-alone syncable object per withdrawn
    // container (`unpublishedContainers`) withdrawn after it, of the
    // record's `containerEntityName`, with its `uid` and `lastModTime` and no
    // data object, so that a subscriber sees the withdrawal as a deletion. A
    // record whose entity name is not that of a concrete syncable container
    // is logged and skipped.
    static PublicContainers publicContainersReceivedSince(ManagedObject *service,
                                                          std::optional<Date> date);
    // publicContainersReceivedSince() without a date.
    static QList<ManagedObject *> publicContainers(ManagedObject *service);
    // The published container with that uid, or nullptr.
    static ManagedObject *publicContainerWithUID(ManagedObject *service, const QString &uid);
};
