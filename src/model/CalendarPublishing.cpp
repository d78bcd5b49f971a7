#include "model/CalendarPublishing.h"

#include "model/CommonDataMO.h"
#include "model/SyncHooks.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Clock.h"
#include "model/foundation/Log.h"
#include "model/store/ManagedObjectContext.h"

namespace {

const QString kPublishedTo = QStringLiteral("publishedTo");

bool isBonjourPublisher(const ModelObject *service) {
    return service && service->entityName() == QLatin1String("BonjourPublisher");
}

ModelObject *bonjourPublisher(ManagedObjectContext *context) {
    const QList<ManagedObject *> found =
        context->executeFetchRequest(FetchRequest(QStringLiteral("BonjourPublisher")));
    return found.isEmpty() ? nullptr : ModelObject::as<ModelObject>(found.first());
}

void dropWithdrawals(ModelObject *publisher, const QString &uid) {
    for (ManagedObject *record :
         publisher->objectsForKey(QStringLiteral("unpublishedContainers"))) {
        if (record->valueForKey(QStringLiteral("uid")).toString() == uid)
            record->managedObjectContext()->deleteObject(record);
    }
}

void recordWithdrawal(SyncableObjectMO &syncable, ModelObject *publisher) {
    ManagedObject *record =
        syncable.managedObjectContext()->insertNewObject(QStringLiteral("UnpublishedContainer"));
    const Date now = Clock::shared().now();
    record->setValue(QStringLiteral("uid"), syncable.uid());
    record->setValue(QStringLiteral("containerEntityName"), syncable.entityName());
    record->setValue(QStringLiteral("lastModTime"), QVariant::fromValue(now));
    record->setObject(QStringLiteral("publisher"), publisher);
    SyncHooks::shared().tickleBonjourPublisher(publisher, now, true);
}

}  // namespace

bool CalendarPublishing::canBePublishedViaBonjour(const CommonDataMO &calendar) {
    return calendar.isContainer() && !calendar.isLAN();
}

bool CalendarPublishing::canBePublishedToService(const CommonDataMO &calendar,
                                                 const ModelObject *service) {
    return calendar.isContainer() && service && service != calendar.owningService();
}

bool CalendarPublishing::isPublishedToService(const CommonDataMO &calendar,
                                              const ModelObject *service) {
    const SyncableObjectMO *syncable = calendar.objectInfo();
    return syncable && syncable->objectsForKey(kPublishedTo).contains(service);
}

void CalendarPublishing::setIsPublishedViaBonjour(CommonDataMO &calendar, bool published) {
    SyncableObjectMO *syncable = calendar.objectInfo();
    ModelObject *publisher =
        syncable ? bonjourPublisher(syncable->managedObjectContext()) : nullptr;
    if (!publisher || (published && !canBePublishedViaBonjour(calendar)) ||
        isPublishedToService(calendar, publisher) == published)
        return;
    if (published) {
        dropWithdrawals(publisher, syncable->uid());
        syncable->addObject(kPublishedTo, publisher);
        syncable->touchReceivedTime();
    } else {
        syncable->removeObject(kPublishedTo, publisher);
        recordWithdrawal(*syncable, publisher);
    }
}

void CalendarPublishing::setIsPublished(CommonDataMO &calendar, bool published,
                                        ModelObject *service, bool justSubscribed) {
    if (isBonjourPublisher(service)) {
        setIsPublishedViaBonjour(calendar, published);
        return;
    }
    SyncableObjectMO *syncable = calendar.objectInfo();
    if (!syncable || !canBePublishedToService(calendar, service) ||
        isPublishedToService(calendar, service) == published)
        return;
    const bool subscribed = calendar.owningService() != nullptr;
    if (published && subscribed && !justSubscribed)
        return;
    if (published)
        syncable->addObject(kPublishedTo, service);
    else
        syncable->removeObject(kPublishedTo, service);
    if (SyncableObjectMO::isSyncInProgress() && SyncableObjectMO::syncingService() == service) {
        SyncHooks::shared().objectReceived(syncable);
    } else if (service->boolValueForKey(QStringLiteral("autoPublishChanges"))) {
        logInfo("autoPublishTo: %@", service->valueForKey(QStringLiteral("serviceName")));
        SyncHooks::shared().notePendingChanges(service);
    }
}

void CalendarPublishing::unpublishEverywhere(CommonDataMO &calendar) {
    SyncableObjectMO *syncable = calendar.objectInfo();
    if (!syncable)
        return;
    for (ManagedObject *service : syncable->objectsForKey(kPublishedTo))
        setIsPublished(calendar, false, ModelObject::as<ModelObject>(service), false);
}
