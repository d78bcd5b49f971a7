#include "model/CalendarChanges.h"

#include <QSet>

#include "model/CommonDataMO.h"
#include "model/Queries.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Log.h"

namespace {

QList<SyncableObjectMO *> syncableObjects(const QList<ManagedObject *> &objects) {
    QList<SyncableObjectMO *> result;
    result.reserve(objects.size());
    for (ManagedObject *object : objects)
        result.append(ModelObject::as<SyncableObjectMO>(object));
    return result;
}

// The syncable object of the original of a live detached instance.
SyncableObjectMO *originalOf(const SyncableObjectMO *object) {
    const CommonDataMO *data = object->objectData();
    if (!data || data->entityName() != QLatin1String("DetachedEvent"))
        return nullptr;
    const auto *original =
        ModelObject::as<CommonDataMO>(data->objectForKey(QStringLiteral("originalEvent")));
    return original ? original->objectInfo() : nullptr;
}

}  // namespace

QList<SyncableObjectMO *> CalendarChanges::childrenReceivedSince(const CommonDataMO &calendar,
                                                                 std::optional<Date> date,
                                                                 bool sortDependentFirst) {
    logDebug("childrenReceivedSince = %@", date);
    const QList<SyncableObjectMO *> children =
        syncableObjects(Queries::syncableObjectsInContainer(calendar.objectInfo(), date)
                            .value_or(QList<ManagedObject *>()));
    logDebug("childrenReceivedSince = %ld objects", children.size());
    if (!sortDependentFirst)
        return children;
    const QSet<SyncableObjectMO *> listed(children.cbegin(), children.cend());
    QList<SyncableObjectMO *> independent;
    QList<SyncableObjectMO *> dependent;
    for (SyncableObjectMO *child : children) {
        SyncableObjectMO *original = originalOf(child);
        (original && listed.contains(original) ? dependent : independent).append(child);
    }
    return independent + dependent;
}

QList<SyncableObjectMO *> CalendarChanges::modifiedRemoteChildren(const CommonDataMO &calendar) {
    QList<SyncableObjectMO *> modified =
        syncableObjects(Queries::modifiedSyncableObjectsInContainer(calendar.objectInfo()));
    QSet<SyncableObjectMO *> listed(modified.cbegin(), modified.cend());
    const qsizetype originals = modified.size();
    for (qsizetype i = 0; i < originals; ++i) {
        const CommonDataMO *data = modified[i]->objectData();
        if (!data || !data->propertyNamed(QStringLiteral("detachedEvents")))
            continue;
        for (ManagedObject *instance : data->objectsForKey(QStringLiteral("detachedEvents"))) {
            SyncableObjectMO *detached = ModelObject::as<CommonDataMO>(instance)->objectInfo();
            if (!detached || listed.contains(detached))
                continue;
            logDebug("modifiedRemoteChildren: adding = %@ (%@)", detached->uid(),
                     modified[i]->uid());
            listed.insert(detached);
            modified.append(detached);
        }
    }
    return modified;
}
