#pragma once

#include <QList>
#include <QString>
#include <optional>

#include "model/foundation/Date.h"

class ManagedObject;
class ManagedObjectContext;

// The common fetches on the main context, each built once as a template
// (entity, predicate with $VARIABLES, prefetched relationships) and kept in a
// process-wide cache under its name; every call fills the variables into a
// copy of the template's predicate. An empty argument gives the empty result
// at once. Main thread only.
class Queries {
public:
    // The context the queries run on: the database controller's main context
    // unless a test sets another (nullptr restores it).
    static ManagedObjectContext *context();
    static void setContext(ManagedObjectContext *context);

    static ManagedObject *bonjourPublisher();
    static QList<ManagedObject *> allEntitiesOfType(const QString &entityName);
    static QList<ManagedObject *> allContainers();
    // The calendars this machine may offer on the local network (not those
    // it subscribes to from another copy there), and those it may publish to
    // `service` (any but the service's own).
    static QList<ManagedObject *> allContainersPublishableViaBonjour();
    static QList<ManagedObject *> allContainersPublishableToService(ManagedObject *service);
    static QList<ManagedObject *> allFileAttachments();
    // The records of that attachment entity whose file waits to be
    // downloaded (`needsToBeFetched`) or uploaded (`needsToBeStored`).
    static QList<ManagedObject *> attachmentsMarkedForSync(const QString &entityName);
    static QList<ManagedObject *> remoteServices();
    static ManagedObject *remoteServiceForUID(const QString &uid);
    static QList<ManagedObject *> remoteServicesForName(const QString &serviceName);
    static QList<ManagedObject *> extraDataWithUID(const QString &uid);
    static QList<ManagedObject *> organizersWithMeetingUID(const QString &meetingUID);
    static QList<ManagedObject *> allSyncableContainersOwnedByUs();
    static QList<ManagedObject *> syncableContainersForUID(const QString &uid);
    // Copies of the container held by services other than `service` (and not
    // by this machine).
    static QList<ManagedObject *> syncableContainersForUID(const QString &uid,
                                                           ManagedObject *notOwnedByService);
    static QList<ManagedObject *> remoteObjectsFromService(ManagedObject *service);
    // With a date: children changed or deleted after it, tombstones included;
    // without: all live children. Nothing without a container.
    static std::optional<QList<ManagedObject *>> syncableObjectsInContainer(
        ManagedObject *container, std::optional<Date> receivedSince);
    static QList<ManagedObject *> faultedSyncableObjectsInContainer(ManagedObject *container);
    static QList<ManagedObject *> modifiedSyncableObjectsInContainer(ManagedObject *container);
    static QList<ManagedObject *> allSyncableObjectsInContainer(ManagedObject *container);
    // Live matches first (each put at the front, so in reverse fetch order),
    // then tombstones in fetch order.
    static QList<ManagedObject *> syncableChildrenForUID(const QString &uid);
    static QList<ManagedObject *> remoteObjectsForRemoteID(const QString &remoteID);
    // The items of the calendar, each with its row loaded; the rows of the
    // relationships `prefetching` names (key paths) are loaded with them, in
    // a few queries for all the items rather than one per item. Rows read
    // earlier are not read again.
    static QList<ManagedObject *> objectsInContainer(ManagedObject *calendar,
                                                     const QStringList &prefetching = {});
    // The calendar groups whose `ownerID` is the service's uid; none for a
    // service without one.
    static QList<ManagedObject *> groupsFromService(ManagedObject *service);
};
