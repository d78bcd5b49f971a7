#include "model/ConflictBin.h"

#include "model/CalendarMove.h"
#include "model/CommonDataMO.h"
#include "model/DatabaseController.h"
#include "model/DatabaseControllerDelegate.h"
#include "model/Queries.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Log.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"

namespace {

// The live local calendar with that uid, or nullptr.
CommonDataMO *liveConflictCalendar(const QString &uid) {
    if (uid.isEmpty())
        return nullptr;
    for (ManagedObject *object : Queries::syncableContainersForUID(uid)) {
        auto *syncable = ModelObject::as<SyncableObjectMO>(object);
        if (syncable && !syncable->isDeleted() && syncable->objectData() && !syncable->ownedBy())
            return syncable->objectData();
    }
    return nullptr;
}

}  // namespace

CommonDataMO *ConflictBin::conflictCalendar(ManagedObjectContext *context) {
    PersistentStore *store = context->store();
    const QString key = QLatin1String(kConflictCalendarUIDKey);
    if (CommonDataMO *calendar = liveConflictCalendar(store->metadata().value(key).toString()))
        return calendar;
    CommonDataMO *calendar = CommonDataMO::makeContainer(QStringLiteral("Calendar"), nullptr);
    SyncableObjectMO *syncable = calendar->objectInfo();
    // Made while a service syncs, the calendar is still ours: its uid and
    // stamps are given here.
    if (syncable->uid().isEmpty()) {
        syncable->setValue(QStringLiteral("uid"), ModelObject::newUID());
        syncable->touchLastModTime();
    }
    calendar->setEffectiveTitle(QLatin1String(kConflictCalendarTitle));
    store->setMetadataValue(key, syncable->uid());
    if (DatabaseControllerDelegate *delegate = DatabaseController::sharedDelegate())
        delegate->databaseControllerConflictContainerCreated(syncable);
    return calendar;
}

void ConflictBin::moveChildToContainer(SyncableObjectMO *item, CommonDataMO *container,
                                       QHash<QString, QString> *extraUIDMap,
                                       bool moveDetachedEventsToo) {
    const QString newUID = ModelObject::newUID();
    if (extraUIDMap)
        extraUIDMap->insert(item->uid(), newUID);
    const auto rehome = [&](SyncableObjectMO *syncable) {
        syncable->setValue(QStringLiteral("uid"), newUID);
        CalendarMove::rehome(syncable, container);
    };
    rehome(item);
    CommonDataMO *data = item->objectData();
    if (!data || !data->propertyNamed(QStringLiteral("detachedEvents")))
        return;
    for (ManagedObject *object : data->objectsForKey(QStringLiteral("detachedEvents"))) {
        auto *instance = ModelObject::as<CommonDataMO>(object);
        if (moveDetachedEventsToo) {
            if (SyncableObjectMO *info = instance->objectInfo())
                rehome(info);
        } else {
            instance->setObject(QStringLiteral("originalEvent"), nullptr);
            instance->setBoolValue(true, QStringLiteral("localOrphaned"));
        }
    }
}

QString ConflictBin::copyChildToConflictBinAndDeleteOriginal(SyncableObjectMO *item,
                                                             const QString &reason) {
    logInfo("copyChildToConflictBinAndDeleteOriginal(%@) : %@", item->uid(), reason);
    QHash<QString, QString> uids;
    moveChildToContainer(item, conflictCalendar(item->managedObjectContext()), &uids, true);
    if (DatabaseControllerDelegate *delegate = DatabaseController::sharedDelegate())
        delegate->databaseControllerConflictForObject(item, reason);
    return uids.begin().value();
}
