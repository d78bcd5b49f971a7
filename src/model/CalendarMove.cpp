#include "model/CalendarMove.h"

#include "model/CommonDataMO.h"
#include "model/SyncableObjectMO.h"

SyncableObjectMO *CalendarMove::moveItemToCalendar(CommonDataMO *item, CommonDataMO *calendar) {
    CommonDataMO *old = item->parentContainerDirect();
    SyncableObjectMO *syncable = item->objectInfo();
    if (!old || old == calendar || !syncable ||
        !item->propertyNamed(QStringLiteral("detachedEvents")))
        return nullptr;
    SyncableObjectMO *tombstone = CommonDataMO::makeFakeDeletedObject(item->entityName(), old);
    tombstone->setValue(QStringLiteral("uid"), syncable->uid());
    for (ManagedObject *record : syncable->objectsForKey(QStringLiteral("syncsTo")))
        record->setObject(QStringLiteral("localObject"), tombstone);
    rehome(syncable, calendar);
    for (ManagedObject *object : item->objectsForKey(QStringLiteral("detachedEvents")))
        if (SyncableObjectMO *info = ModelObject::as<CommonDataMO>(object)->objectInfo())
            rehome(info, calendar);
    // Between two calendars of one account the move is the whole change (the
    // account moves the resource): an item the account had as it is here
    // stays so. Otherwise the new calendar's account sees a new item.
    const ModelObject *service = calendar->owningService();
    if (service && service == old->owningService() && !syncable->isLocallyModified())
        syncable->touchReceivedTime();
    else
        syncable->touchLastModTime();
    return tombstone;
}

void CalendarMove::rehome(SyncableObjectMO *syncable, CommonDataMO *container) {
    syncable->setObject(QStringLiteral("parentContainer"), container->objectInfo());
    if (CommonDataMO *data = syncable->objectData())
        data->setObject(QStringLiteral("parentContainerDirect"), container);
}
