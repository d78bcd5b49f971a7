#include "app/commands/ItemLookup.h"

#include "app/Command.h"
#include "model/CommonDataMO.h"
#include "model/Queries.h"
#include "model/SyncableObjectMO.h"

namespace {

CommonDataMO *liveData(const QList<ManagedObject *> &syncables) {
    for (ManagedObject *object : syncables) {
        if (CommonDataMO *data = ModelObject::as<SyncableObjectMO>(object)->objectData())
            return data;
    }
    return nullptr;
}

}  // namespace

namespace ItemLookup {

CommonDataMO *calendarWithUID(const QString &uid) {
    if (CommonDataMO *calendar = liveData(Queries::syncableContainersForUID(uid)))
        return calendar;
    throw CommandError(QStringLiteral("no calendar with uid %1").arg(uid));
}

CommonDataMO *itemWithUID(const QString &uid) {
    if (CommonDataMO *item = liveData(Queries::syncableChildrenForUID(uid)))
        return item;
    throw CommandError(QStringLiteral("no item with uid %1").arg(uid));
}

}  // namespace ItemLookup
