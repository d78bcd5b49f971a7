#include "model/RemoteServiceQueries.h"

#include <algorithm>

#include "model/ModelObject.h"
#include "model/Queries.h"
#include "model/foundation/Log.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/ManagedObjectModel.h"
#include "model/store/PersistentStore.h"

namespace {

const QString kObjectDataKey = QStringLiteral("objectData");
const QString kUID = QStringLiteral("uid");
const QString kLastModTimeKey = QStringLiteral("lastModTime");
const QString kPublishedToKey = QStringLiteral("publishedTo");

// A service whose deletion was saved has no context, and nothing left.
QList<ManagedObject *> members(ManagedObject *service, const QString &key) {
    return service && service->managedObjectContext() ? service->objectsForKey(key)
                                                      : QList<ManagedObject *>();
}

QList<ManagedObject *> ownedContainers(ManagedObject *service) {
    return members(service, QStringLiteral("ownedContainers"));
}

// The service owning the container of an attachment's item, or nullptr.
ManagedObject *attachmentOwner(ManagedObject *attachment) {
    ManagedObject *step = attachment;
    for (const char *key : {"parentObject", "objectInfo", "parentContainer", "ownedBy"})
        step = step ? step->objectForKey(QLatin1String(key)) : nullptr;
    return step;
}

QList<ManagedObject *> publishedContainers(ManagedObject *service) {
    return members(service, QStringLiteral("publishedContainers"));
}

ManagedObject *containerWithUID(const QList<ManagedObject *> &containers, const QString &uid) {
    for (ManagedObject *container : containers) {
        if (container->valueForKey(kUID).toString() == uid)
            return container;
    }
    return nullptr;
}

bool passesFilter(ManagedObject *container, int filter) {
    auto *calendar = ModelObject::as<ModelObject>(container->objectForKey(kObjectDataKey));
    if (!calendar || filter < 0)
        return false;
    if (filter == 0)
        return true;
    if (calendar->integerValueForKey(QStringLiteral("localSubscription")) <= 0)
        return false;
    return filter != 2 || !calendar->boolValueForKey(QStringLiteral("localHidden"));
}

bool isAfter(ManagedObject *object, const QString &key, Date date) {
    const QVariant value = object->valueForKey(key);
    return value.isValid() && value.value<Date>() > date;
}

// The syncable object that stands for a withdrawn container, made in
// `scratch`; nullptr (logged) when the record names no concrete container
// entity.
ManagedObject *withdrawal(ManagedObject *record, ManagedObjectContext &scratch) {
    const QString entityName =
        record->valueForKey(QStringLiteral("containerEntityName")).toString();
    const EntityDescription *entity = scratch.store()->model()->entity(entityName);
    if (!entity || entity->isAbstract() || !entity->isKindOf(QStringLiteral("SyncableContainer"))) {
        logWarning("RemoteServiceQueries: withdrawn container %@ has no container entity %@",
                   record->valueForKey(kUID), entityName);
        return nullptr;
    }
    ManagedObject *container = scratch.insertNewObject(entity);
    container->setValue(kUID, record->valueForKey(kUID));
    container->setValue(kLastModTimeKey, record->valueForKey(kLastModTimeKey));
    return container;
}

}  // namespace

QList<ManagedObject *> RemoteServiceQueries::ownedContainersWithFilter(ManagedObject *service,
                                                                       int filter) {
    QList<ManagedObject *> passing = ownedContainers(service);
    passing.removeIf(
        [filter](ManagedObject *container) { return !passesFilter(container, filter); });
    return passing;
}

bool RemoteServiceQueries::ownedContainersMatchFilter(ManagedObject *service, int filter) {
    const QList<ManagedObject *> owned = ownedContainers(service);
    return std::any_of(owned.begin(), owned.end(), [filter](ManagedObject *container) {
        return passesFilter(container, filter);
    });
}

ManagedObject *RemoteServiceQueries::ownedContainerWithUID(ManagedObject *service,
                                                           const QString &uid) {
    return containerWithUID(ownedContainers(service), uid);
}

QSet<ManagedObject *> RemoteServiceQueries::ownedContainersPublishedToService(
    ManagedObject *service, ManagedObject *otherService) {
    QSet<ManagedObject *> published;
    for (ManagedObject *container : ownedContainers(service)) {
        if (otherService && container->objectsForKey(kPublishedToKey).contains(otherService))
            published.insert(container);
    }
    return published;
}

QSet<ManagedObject *> RemoteServiceQueries::containersOwnedByService(ManagedObject *service) {
    QSet<ManagedObject *> calendars;
    for (ManagedObject *container : ownedContainers(service)) {
        if (ManagedObject *calendar = container->objectForKey(kObjectDataKey))
            calendars.insert(calendar);
    }
    return calendars;
}

QSet<ManagedObject *> RemoteServiceQueries::ownedFileAttachments(ManagedObject *service) {
    QSet<ManagedObject *> attachments;
    if (!service)
        return attachments;
    for (ManagedObject *attachment : Queries::allFileAttachments()) {
        if (attachmentOwner(attachment) == service)
            attachments.insert(attachment);
    }
    return attachments;
}

QList<ManagedObject *> RemoteServiceQueries::ownedAttachmentsToSync(ManagedObject *service) {
    QList<ManagedObject *> attachments;
    if (!service)
        return attachments;
    for (const QString &entity : {QStringLiteral("Attachment"), QStringLiteral("FileAttachment")}) {
        for (ManagedObject *attachment : Queries::attachmentsMarkedForSync(entity))
            if (attachmentOwner(attachment) == service)
                attachments.append(attachment);
    }
    return attachments;
}

QSet<ManagedObject *> RemoteServiceQueries::servicesPublishedTo(ManagedObject *service) {
    QSet<ManagedObject *> services;
    for (ManagedObject *container : ownedContainers(service)) {
        for (ManagedObject *target : container->objectsForKey(kPublishedToKey))
            services.insert(target);
    }
    return services;
}

RemoteServiceQueries::PublicContainers RemoteServiceQueries::publicContainersReceivedSince(
    ManagedObject *service, std::optional<Date> date) {
    PublicContainers result;
    for (ManagedObject *container : publishedContainers(service)) {
        if (date ? isAfter(container, QStringLiteral("localReceivedTime"), *date)
                 : container->objectForKey(kObjectDataKey) != nullptr)
            result.containers.append(container);
    }
    if (!date)
        return result;
    for (ManagedObject *record : members(service, QStringLiteral("unpublishedContainers"))) {
        if (!isAfter(record, kLastModTimeKey, *date))
            continue;
        if (!result.withdrawals)
            result.withdrawals =
                std::make_shared<ManagedObjectContext>(service->managedObjectContext()->store());
        if (ManagedObject *container = withdrawal(record, *result.withdrawals))
            result.containers.append(container);
    }
    return result;
}

QList<ManagedObject *> RemoteServiceQueries::publicContainers(ManagedObject *service) {
    return publicContainersReceivedSince(service, std::nullopt).containers;
}

ManagedObject *RemoteServiceQueries::publicContainerWithUID(ManagedObject *service,
                                                            const QString &uid) {
    return containerWithUID(publishedContainers(service), uid);
}
