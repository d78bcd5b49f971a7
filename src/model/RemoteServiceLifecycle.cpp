#include "model/RemoteServiceLifecycle.h"

#include "model/CalendarPublishing.h"
#include "model/CommonDataMO.h"
#include "model/DatabaseController.h"
#include "model/DatabaseControllerDelegate.h"
#include "model/Queries.h"
#include "model/RemoteServiceQueries.h"
#include "model/ServiceEngines.h"
#include "model/SyncHooks.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Clock.h"
#include "model/foundation/Format.h"
#include "model/foundation/Log.h"
#include "model/store/ManagedObjectContext.h"

namespace {

QList<CommonDataMO *> calendarsOf(ModelObject *service) {
    QList<CommonDataMO *> calendars;
    for (ManagedObject *container : RemoteServiceQueries::ownedContainersWithFilter(service, 0))
        calendars.append(ModelObject::as<SyncableObjectMO>(container)->objectData());
    return calendars;
}

// Withdraws the service's calendars from the local network and asks the
// other services that hold copies of them, and the service's parent, to sync.
void tellPublicationTargets(ModelObject *service, const QList<CommonDataMO *> &calendars) {
    const QSet<ManagedObject *> targets = RemoteServiceQueries::servicesPublishedTo(service);
    for (CommonDataMO *calendar : calendars)
        CalendarPublishing::setIsPublishedViaBonjour(*calendar, false);
    SyncHooks &hooks = SyncHooks::shared();
    for (ManagedObject *target : targets) {
        if (target->entityName() != QLatin1String("BonjourPublisher"))
            hooks.tickle(ModelObject::as<ModelObject>(target));
    }
    if (const ServiceEngine *engine = ServiceEngines::shared().engineFor(service))
        if (ModelObject *parent = engine->parentService(service))
            hooks.tickle(parent);
}

}  // namespace

ModelObject *RemoteServiceLifecycle::makeRemoteService(ManagedObjectContext *context) {
    if (!context)
        context = Queries::context();
    auto *service =
        ModelObject::as<ModelObject>(context->insertNewObject(QStringLiteral("RemoteService")));
    if (DatabaseControllerDelegate *delegate = DatabaseController::sharedDelegate())
        delegate->databaseControllerRemoteServiceWillBeAdded(service);
    return service;
}

void RemoteServiceLifecycle::deleteRemoteService(ModelObject *service) {
    ManagedObjectContext *context = service->managedObjectContext();
    if (!context)
        return;
    logInfo("deleteRemoteService %@", urlSummary(service));
    const QList<CommonDataMO *> calendars = calendarsOf(service);
    tellPublicationTargets(service, calendars);
    SyncHooks::shared().serviceWillBeDeleted(service);
    for (CommonDataMO *calendar : calendars)
        calendar->purgeChildren(true, true);
    if (DatabaseControllerDelegate *delegate = DatabaseController::sharedDelegate())
        delegate->databaseControllerRemoteServiceWillBeDeleted(service);
    if (const ServiceEngine *engine = ServiceEngines::shared().engineFor(service))
        for (ModelObject *child : engine->childServices(service))
            deleteRemoteService(child);
    for (ManagedObject *container : service->objectsForKey(QStringLiteral("ownedContainers")))
        context->deleteObject(container);
    context->deleteObject(service);
    context->processPendingChanges();
}

ModelObject *RemoteServiceLifecycle::makeNotificationOfType(qint64 type, ModelObject *service) {
    auto *notification = ModelObject::as<ModelObject>(
        service->managedObjectContext()->insertNewObject(QStringLiteral("Notification")));
    notification->assignUID();
    notification->setDateValue(Clock::shared().now(), QStringLiteral("createTime"));
    notification->setObject(QStringLiteral("ownedBy"), service);
    notification->setIntegerValue(type, QStringLiteral("type"));
    notification->setBoolValue(true, QStringLiteral("transNew"));
    return notification;
}

QString RemoteServiceLifecycle::urlSummary(const ModelObject *service) {
    const QString url = service->valueForKey(QStringLiteral("url")).toString();
    const QString alternate = service->valueForKey(QStringLiteral("urlAlternate")).toString();
    const QString summary = url.isEmpty()         ? alternate
                            : alternate.isEmpty() ? url
                                                  : format("%@+%@", url, alternate);
    const QString title = service->valueForKey(QStringLiteral("title")).toString();
    return title.isEmpty() ? summary : format("(%@) %@", title, summary);
}
