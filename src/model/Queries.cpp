#include "model/Queries.h"

#include <QHash>
#include <QMutex>

#include "model/CalendarPublishing.h"
#include "model/CommonDataMO.h"
#include "model/DatabaseController.h"
#include "model/store/FetchExecution.h"
#include "model/store/ManagedObjectContext.h"

namespace {

ManagedObjectContext *g_context = nullptr;

struct Template {
    Template(QString entity, const char *predicate = nullptr, QStringList keys = {},
             QStringList prefetch = {}, bool faults = false)
        : entity(std::move(entity)),
          predicate(predicate),
          keys(std::move(keys)),
          prefetch(std::move(prefetch)),
          faults(faults) {}

    QString entity;
    const char *predicate;  // with %K for each key, in order
    QStringList keys;
    QStringList prefetch;
    bool faults;
};

// The fetch templates, built once on first use and kept for the process.
class QueryCache {
public:
    const FetchRequest &request(const QString &name, const Template &spec) {
        QMutexLocker lock(&m_mutex);
        auto it = m_requests.find(name);
        if (it == m_requests.end()) {
            FetchRequest request(spec.entity);
            if (spec.predicate) {
                QVariantList keys;
                for (const QString &key : spec.keys)
                    keys << key;
                request.setPredicate(Predicate::fromFormat(QLatin1String(spec.predicate), keys));
            }
            request.setRelationshipKeyPathsForPrefetching(spec.prefetch);
            request.setReturnsObjectsAsFaults(spec.faults);
            it = m_requests.insert(name, request);
        }
        return it.value();
    }

private:
    QMutex m_mutex;
    QHash<QString, FetchRequest> m_requests;
};

QueryCache &queryDict() {
    static QueryCache cache;
    return cache;
}

// Runs the named template with its variables filled in; a failed fetch gives
// no results (the store has logged why).
QList<ManagedObject *> run(const QString &name, const Template &spec,
                           const QVariantMap &variables = {}) {
    ManagedObjectContext *context = Queries::context();
    if (!context)
        return {};
    FetchRequest request = queryDict().request(name, spec);
    if (request.predicate() && !variables.isEmpty())
        request.setPredicate(request.predicate()->withSubstitutionVariables(variables));
    try {
        return context->executeFetchRequest(request);
    } catch (const StoreError &) {
        return {};
    }
}

QVariant object(ManagedObject *value) {
    return QVariant::fromValue(value);
}

struct CachedPublisher {
    ManagedObjectContext *context = nullptr;
    ManagedObject *object = nullptr;
};
CachedPublisher g_publisher;

}  // namespace

ManagedObjectContext *Queries::context() {
    if (g_context)
        return g_context;
    DatabaseController *controller = DatabaseController::sharedController();
    return controller ? controller->managedObjectContext() : nullptr;
}

void Queries::setContext(ManagedObjectContext *context) {
    g_context = context;
}

ManagedObject *Queries::bonjourPublisher() {
    ManagedObjectContext *current = context();
    if (g_publisher.context == current && g_publisher.object && !g_publisher.object->isDeleted())
        return g_publisher.object;
    const QList<ManagedObject *> found = allEntitiesOfType(QStringLiteral("BonjourPublisher"));
    g_publisher = {current, found.isEmpty() ? nullptr : found.first()};
    return g_publisher.object;
}

QList<ManagedObject *> Queries::allEntitiesOfType(const QString &entityName) {
    return run(entityName, {entityName});
}

QList<ManagedObject *> Queries::allContainers() {
    return allEntitiesOfType(QStringLiteral("CommonContainer"));
}

namespace {
template <typename Test>
QList<ManagedObject *> containersWhere(Test test) {
    QList<ManagedObject *> passing;
    for (ManagedObject *object : Queries::allContainers()) {
        if (const auto *calendar = ModelObject::as<CommonDataMO>(object);
            calendar && test(*calendar))
            passing.append(object);
    }
    return passing;
}
}  // namespace

QList<ManagedObject *> Queries::allContainersPublishableViaBonjour() {
    return containersWhere([](const CommonDataMO &calendar) {
        return CalendarPublishing::canBePublishedViaBonjour(calendar);
    });
}

QList<ManagedObject *> Queries::allContainersPublishableToService(ManagedObject *service) {
    const auto *target = ModelObject::as<ModelObject>(service);
    return containersWhere([target](const CommonDataMO &calendar) {
        return CalendarPublishing::canBePublishedToService(calendar, target);
    });
}

QList<ManagedObject *> Queries::allFileAttachments() {
    return run(QStringLiteral("allFileAttachments"),
               {QStringLiteral("FileAttachment"), nullptr, {}, {QStringLiteral("parentObject")}});
}

QList<ManagedObject *> Queries::remoteServices() {
    return run(QStringLiteral("remoteServices"),
               {QStringLiteral("RemoteService"), nullptr, {}, {QStringLiteral("ownedContainers")}});
}

ManagedObject *Queries::remoteServiceForUID(const QString &uid) {
    if (uid.isEmpty())
        return nullptr;
    const QList<ManagedObject *> found = run(QStringLiteral("remoteServiceForUID"),
                                             {QStringLiteral("RemoteService"),
                                              "%K == $UID",
                                              {QStringLiteral("uid")},
                                              {QStringLiteral("ownedContainers")}},
                                             {{QStringLiteral("UID"), uid}});
    return found.isEmpty() ? nullptr : found.first();
}

QList<ManagedObject *> Queries::remoteServicesForName(const QString &serviceName) {
    if (serviceName.isEmpty())
        return {};
    return run(QStringLiteral("remoteServicesForName"),
               {QStringLiteral("RemoteService"),
                "%K == $NAME",
                {QStringLiteral("serviceName")},
                {QStringLiteral("ownedContainers")}},
               {{QStringLiteral("NAME"), serviceName}});
}

QList<ManagedObject *> Queries::extraDataWithUID(const QString &uid) {
    if (uid.isEmpty())
        return {};
    return run(QStringLiteral("extraDataWithUID"),
               {QStringLiteral("ExtraData"), "%K == $UID", {QStringLiteral("uid")}},
               {{QStringLiteral("UID"), uid}});
}

QList<ManagedObject *> Queries::attachmentsMarkedForSync(const QString &entityName) {
    return run(entityName + QStringLiteral("MarkedForSync"),
               {entityName,
                "%K == YES OR %K == YES",
                {QStringLiteral("needsToBeFetched"), QStringLiteral("needsToBeStored")}});
}

QList<ManagedObject *> Queries::organizersWithMeetingUID(const QString &meetingUID) {
    if (meetingUID.isEmpty())
        return {};
    return run(QStringLiteral("organizersWithMeetingUID"),
               {QStringLiteral("Organizer"), "%K == $MEETINGUID", {QStringLiteral("meetingUID")}},
               {{QStringLiteral("MEETINGUID"), meetingUID}});
}

QList<ManagedObject *> Queries::allSyncableContainersOwnedByUs() {
    return run(QStringLiteral("allSyncableContainersOwnedByUs"),
               {QStringLiteral("SyncableContainer"),
                "%K == nil",
                {QStringLiteral("ownedBy")},
                {QStringLiteral("objectData")}});
}

QList<ManagedObject *> Queries::syncableContainersForUID(const QString &uid) {
    if (uid.isEmpty())
        return {};
    return run(QStringLiteral("syncableContainersForUID"),
               {QStringLiteral("SyncableContainer"), "%K == $UID", {QStringLiteral("uid")}},
               {{QStringLiteral("UID"), uid}});
}

QList<ManagedObject *> Queries::syncableContainersForUID(const QString &uid,
                                                         ManagedObject *notOwnedByService) {
    QList<ManagedObject *> containers = syncableContainersForUID(uid);
    const QList<ManagedObject *> owned =
        notOwnedByService ? notOwnedByService->objectsForKey(QStringLiteral("ownedContainers"))
                          : QList<ManagedObject *>();
    const QList<ManagedObject *> ours = allSyncableContainersOwnedByUs();
    containers.removeIf([&](ManagedObject *container) {
        return owned.contains(container) || ours.contains(container);
    });
    return containers;
}

QList<ManagedObject *> Queries::remoteObjectsFromService(ManagedObject *service) {
    ManagedObjectContext *current = context();
    if (!service || !current)
        return {};
    // Not cached: a new fetch each time.
    FetchRequest request(QStringLiteral("RemoteObject"));
    request.setPredicate(Predicate::fromFormat(
        QStringLiteral("%K == %@"), {QStringLiteral("theRemoteService"), object(service)}));
    try {
        return current->executeFetchRequest(request);
    } catch (const StoreError &) {
        return {};
    }
}

std::optional<QList<ManagedObject *>> Queries::syncableObjectsInContainer(
    ManagedObject *container, std::optional<Date> receivedSince) {
    if (!container)
        return std::nullopt;
    if (receivedSince)
        return run(QStringLiteral("syncableObjectsInContainer"),
                   {QStringLiteral("SyncableChild"),
                    "(%K > $DATE) AND (%K == $CONTAINER)",
                    {QStringLiteral("localReceivedTime"), QStringLiteral("parentContainer")},
                    {QStringLiteral("objectData")}},
                   {{QStringLiteral("DATE"), QVariant::fromValue(*receivedSince)},
                    {QStringLiteral("CONTAINER"), object(container)}});
    return run(QStringLiteral("syncableObjectsInContainer-nil"),
               {QStringLiteral("SyncableChild"),
                "(%K == $CONTAINER) AND (%K != nil)",
                {QStringLiteral("parentContainer"), QStringLiteral("objectData")},
                {QStringLiteral("objectData")}},
               {{QStringLiteral("CONTAINER"), object(container)}});
}

QList<ManagedObject *> Queries::faultedSyncableObjectsInContainer(ManagedObject *container) {
    if (!container)
        return {};
    return run(QStringLiteral("faultedSyncableObjectsInContainer"),
               {QStringLiteral("SyncableChild"),
                "(%K == $CONTAINER) AND (%K != nil)",
                {QStringLiteral("parentContainer"), QStringLiteral("objectData")},
                {},
                true},
               {{QStringLiteral("CONTAINER"), object(container)}});
}

QList<ManagedObject *> Queries::modifiedSyncableObjectsInContainer(ManagedObject *container) {
    if (!container)
        return {};
    return run(QStringLiteral("modifiedSyncableObjectsInContainer"),
               {QStringLiteral("SyncableChild"),
                "(%K == $CONTAINER) AND ((%K == nil) OR (%K != %K))",
                {QStringLiteral("parentContainer"), QStringLiteral("ownerLastModTime"),
                 QStringLiteral("lastModTime"), QStringLiteral("ownerLastModTime")},
                {QStringLiteral("objectData")}},
               {{QStringLiteral("CONTAINER"), object(container)}});
}

QList<ManagedObject *> Queries::allSyncableObjectsInContainer(ManagedObject *container) {
    if (!container)
        return {};
    return run(
        QStringLiteral("allSyncableObjectsInContainer"),
        {QStringLiteral("SyncableChild"), "%K == $CONTAINER", {QStringLiteral("parentContainer")}},
        {{QStringLiteral("CONTAINER"), object(container)}});
}

QList<ManagedObject *> Queries::syncableChildrenForUID(const QString &uid) {
    if (uid.isEmpty())
        return {};
    const QList<ManagedObject *> found =
        run(QStringLiteral("syncableChildrenForUID"),
            {QStringLiteral("SyncableChild"), "%K == $UID", {QStringLiteral("uid")}},
            {{QStringLiteral("UID"), uid}});
    if (found.size() < 2)
        return found;
    QList<ManagedObject *> ordered;
    for (ManagedObject *child : found) {
        if (child->objectForKey(QStringLiteral("objectData")))
            ordered.prepend(child);
    }
    for (ManagedObject *child : found) {
        if (!child->objectForKey(QStringLiteral("objectData")))
            ordered.append(child);
    }
    return ordered;
}

QList<ManagedObject *> Queries::remoteObjectsForRemoteID(const QString &remoteID) {
    if (remoteID.isEmpty())
        return {};
    return run(QStringLiteral("remoteObjectsForRemoteID"),
               {QStringLiteral("RemoteObject"), "%K == $ID", {QStringLiteral("remoteID")}},
               {{QStringLiteral("ID"), remoteID}});
}

QList<ManagedObject *> Queries::objectsInContainer(ManagedObject *calendar,
                                                   const QStringList &prefetching) {
    if (!calendar)
        return {};
    // Only the ids are read first, so that rows already in memory are not
    // read again.
    QList<ManagedObject *> items = run(QStringLiteral("objectsInContainer"),
                                       {QStringLiteral("CommonChild"),
                                        "%K == $CONTAINER",
                                        {QStringLiteral("parentContainerDirect")},
                                        {},
                                        true},
                                       {{QStringLiteral("CONTAINER"), object(calendar)}});
    try {
        FetchExecution::loadWithPrefetching(context(), items, prefetching);
    } catch (const StoreError &) {
        return {};
    }
    return items;
}

QList<ManagedObject *> Queries::groupsFromService(ManagedObject *service) {
    // A service without a uid owns no group (rather than every group
    // without an owner).
    const QString uid =
        service ? service->valueForKey(QStringLiteral("uid")).toString() : QString();
    if (uid.isEmpty())
        return {};
    return run(QStringLiteral("groupsFromService"),
               {QStringLiteral("CommonGroup"), "%K == $SERVICE", {QStringLiteral("ownerID")}},
               {{QStringLiteral("SERVICE"), uid}});
}
