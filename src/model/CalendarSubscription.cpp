#include "model/CalendarSubscription.h"

#include <QTimer>

#include "model/CalendarPublishing.h"
#include "model/CommonDataMO.h"
#include "model/ExchangeEngine.h"
#include "model/Queries.h"
#include "model/ServiceEngines.h"
#include "model/ServiceKind.h"
#include "model/SyncHooks.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Log.h"
#include "model/foundation/Preferences.h"
#include "model/store/ManagedObjectContext.h"

namespace {

const QString kLocalSubscription = QStringLiteral("localSubscription");

// Another service holds a copy of the calendar (same uid) that the user
// subscribes to already.
bool subscribedFromAnotherService(const CommonDataMO &calendar, ModelObject *owner) {
    for (ManagedObject *copy : Queries::syncableContainersForUID(calendar.uid(), owner)) {
        const CommonDataMO *data = ModelObject::as<SyncableObjectMO>(copy)->objectData();
        if (data && data != &calendar && CalendarSubscription::subscribedTo(*data))
            return true;
    }
    return false;
}

void subscribe(CommonDataMO &calendar, ModelObject *owner) {
    calendar.setIntegerValue(1, kLocalSubscription);
    logInfo("Subscribe to %@", calendar.effectiveTitle());
    CalendarSubscription::autoRepublishJustSubscribed(calendar, true);
    if (!Preferences::shared().boolForKey(QStringLiteral("offline")))
        SyncHooks::shared().tickle(owner);
}

void unsubscribe(CommonDataMO &calendar, ModelObject *owner) {
    calendar.setIntegerValue(0, kLocalSubscription);
    logInfo("Unsubscribe from %@", calendar.effectiveTitle());
    CalendarPublishing::unpublishEverywhere(calendar);
    calendar.purgeChildren(true, true);
    calendar.setValue(QStringLiteral("localSubscribePassword"), QVariant());
    calendar.setBoolValue(false, QStringLiteral("localHidden"));
    calendar.setValue(QStringLiteral("localTitle"), QVariant());
    if (SyncableObjectMO *syncable = calendar.objectInfo())
        syncable->touchReceivedTime();
    if (calendar.isLAN())
        SyncHooks::shared().refreshServerListIfNeeded(owner);
}

}  // namespace

bool CalendarSubscription::subscribedTo(const CommonDataMO &calendar) {
    return !calendar.owningService() || calendar.integerValueForKey(kLocalSubscription) != 0;
}

void CalendarSubscription::setSubscribedTo(CommonDataMO &calendar, bool subscribed) {
    ModelObject *owner = calendar.owningService();
    if (!owner || subscribedTo(calendar) == subscribed)
        return;
    if (subscribed) {
        if (!subscribedFromAnotherService(calendar, owner))
            subscribe(calendar, owner);
    } else if (serviceSupportsUnsubscribing(owner, calendar)) {
        unsubscribe(calendar, owner);
    }
}

void CalendarSubscription::autoSubscribe(CommonDataMO &calendar) {
    if (!calendar.retainedObjectHasBeenDeleted())
        setSubscribedTo(calendar, true);
}

void CalendarSubscription::scheduleAutoSubscribe(CommonDataMO *calendar) {
    ManagedObjectContext *context = calendar->managedObjectContext();
    QTimer::singleShot(0, context, [context, id = calendar->objectID()] {
        if (auto *registered = ModelObject::as<CommonDataMO>(context->registeredObject(id)))
            autoSubscribe(*registered);
    });
}

void CalendarSubscription::autoRepublishJustSubscribed(CommonDataMO &calendar,
                                                       bool justSubscribed) {
    const QList<ManagedObject *> services = calendar.managedObjectContext()->executeFetchRequest(
        FetchRequest(QStringLiteral("RemoteService")));
    for (ManagedObject *service : services) {
        auto *target = ModelObject::as<ModelObject>(service);
        if (target->boolValueForKey(QStringLiteral("autoPublishContainers")))
            CalendarPublishing::setIsPublished(calendar, true, target, justSubscribed);
    }
}

bool CalendarSubscription::serviceSupportsUnsubscribing(const ModelObject *service,
                                                        const CommonDataMO &container) {
    if (!service || ServiceKind::is(service, ServiceKind::kWebDAVSubscribe) ||
        ServiceKind::is(service, ServiceKind::kBirthdays))
        return false;
    const ExchangeEngine *exchange = ServiceEngines::shared().exchangeEngineFor(service);
    return !exchange || exchange->typeOfContainer(&container, service) !=
                            ExchangeEngine::kAlwaysSubscribedContainerType;
}
