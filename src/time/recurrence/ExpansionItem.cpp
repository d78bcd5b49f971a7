#include "time/recurrence/ExpansionItem.h"

#include "model/CommonDataMO.h"
#include "model/ItemDates.h"

namespace {

const QString kDetachedEvent = QStringLiteral("DetachedEvent");

enum StoredKey { StartKey, EndKey, DueKey, OriginalKey, AllDayKey, FloatingKey, CalendarKey };

}  // namespace

const QStringList &ExpansionItem::storedKeys() {
    static const QStringList keys = {QStringLiteral("startTimeAndZone"),
                                     QStringLiteral("endTimeAndZone"),
                                     QStringLiteral("dueTimeAndZone"),
                                     QStringLiteral("originalTimeAndZone"),
                                     QStringLiteral("allDay"),
                                     QStringLiteral("floatingEvent"),
                                     QStringLiteral("parentContainerDirect")};
    return keys;
}

ExpansionItem ExpansionItem::of(const CommonDataMO *item) {
    const ItemDates dates(item);
    ExpansionItem times;
    times.id = item->objectID();
    times.start = dates.startDate();
    times.end = dates.endDate();
    times.allDay = item->boolValueForKey(QStringLiteral("allDay"));
    times.floating = item->boolValueForKey(QStringLiteral("floatingEvent"));
    times.detached = item->entityName() == kDetachedEvent;
    if (times.detached)
        times.originalStart = item->calendarDateValueForKey(QStringLiteral("originalTimeAndZone"));
    if (const ModelObject *calendar = item->parentContainerDirect())
        times.calendar = calendar->objectID();
    return times;
}

ExpansionItem ExpansionItem::fromStored(const ObjectID &id, const QVariantList &values) {
    ExpansionItem times;
    times.id = id;
    const std::optional<CalendarDate> due = ModelObject::calendarDateValue(values[DueKey]);
    times.start = ItemDates::dateOrDue(ModelObject::calendarDateValue(values[StartKey]), due);
    times.end = ItemDates::dateOrDue(ModelObject::calendarDateValue(values[EndKey]), due);
    times.allDay = values[AllDayKey].toBool();
    times.floating = values[FloatingKey].toBool();
    times.detached = id.entity->name() == kDetachedEvent;
    if (times.detached)
        times.originalStart = ModelObject::calendarDateValue(values[OriginalKey]);
    times.calendar = values[CalendarKey].value<ObjectID>();
    return times;
}
