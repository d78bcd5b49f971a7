#include "model/ItemReminders.h"

#include "model/CalendarCapabilities.h"
#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/ItemDates.h"
#include "model/Queries.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Clock.h"

namespace {
// Writes the flag when it differs; whether it did.
bool changeFlag(CommonDataMO *calendar, const QString &key, bool value) {
    if (calendar->boolValueForKey(key) == value)
        return false;
    calendar->setBoolValue(value, key);
    return true;
}
}  // namespace

QList<ExtraDataMO *> ItemReminders::ofEntity(const char *relationship, const char *entity) const {
    QList<ExtraDataMO *> found;
    for (ExtraDataMO *extra : m_item->extrasForRelationship(QString::fromLatin1(relationship))) {
        if (extra->entityName() == QLatin1String(entity))
            found.append(extra);
    }
    return found;
}

QList<ExtraDataMO *> ItemReminders::globalReminders() const {
    return ofEntity("reminders", "Reminder");
}

QList<ExtraDataMO *> ItemReminders::localReminders() const {
    return ofEntity("reminders", "LocalReminder");
}

QList<ExtraDataMO *> ItemReminders::globalContacts() const {
    return ofEntity("contacts", "ContactLink");
}

QList<ExtraDataMO *> ItemReminders::localContacts() const {
    return ofEntity("contacts", "LocalContactLink");
}

std::optional<Date> ItemReminders::reminderDateForUndatedEvent(bool *hasLocationReminder) const {
    std::optional<Date> earliest;
    bool location = false;
    for (const ExtraDataMO *reminder : m_item->extrasForRelationship(QStringLiteral("reminders"))) {
        location = location || reminder->integerValueForKey(QStringLiteral("reminderType")) ==
                                   kLocationReminderType;
        const std::optional<Date> time = reminder->dateValueForKey(QStringLiteral("absoluteTime"));
        if (time && (!earliest || *time < *earliest))
            earliest = time;
    }
    if (hasLocationReminder)
        *hasLocationReminder = location;
    return earliest;
}

void ItemReminders::getReminderVisibilityForStartDate(std::optional<Date> startDate,
                                                      double *beforeOffset,
                                                      double *afterOffset) const {
    double before = 0;
    double after = 0;
    const Date now = Clock::shared().now();
    for (const ExtraDataMO *reminder : m_item->extrasForRelationship(QStringLiteral("reminders"))) {
        double offset = reminder->doubleValueForKey(QStringLiteral("relativeSeconds"));
        const std::optional<Date> time = reminder->dateValueForKey(QStringLiteral("absoluteTime"));
        if (startDate && time && *time > now)
            offset = time->secondsSince(*startDate);
        if (offset < before)
            before = offset;
        if (offset > after)
            after = offset + 1;
    }
    *beforeOffset = before;
    *afterOffset = after;
}

QList<CommonDataMO *> ItemReminders::setFilterReminders(CommonDataMO *calendar,
                                                        bool filterReminders, bool fetchAttachments,
                                                        bool filterToDos) {
    CalendarCapabilities::setFetchAttachments(calendar, fetchAttachments);
    const bool remindersChanged =
        changeFlag(calendar, QStringLiteral("localFilterReminders"), filterReminders);
    const bool toDosChanged = changeFlag(calendar, QStringLiteral("localFilterToDos"), filterToDos);
    QList<CommonDataMO *> changed;
    if (!remindersChanged && !toDosChanged)
        return changed;
    const std::optional<QList<ManagedObject *>> children =
        Queries::syncableObjectsInContainer(calendar->objectInfo(), std::nullopt);
    for (ManagedObject *child : children.value_or(QList<ManagedObject *>())) {
        CommonDataMO *item =
            ModelObject::as<CommonDataMO>(child->objectForKey(QStringLiteral("objectData")));
        if (!item)
            continue;
        if ((remindersChanged &&
             !item->extrasForRelationship(QStringLiteral("reminders")).isEmpty()) ||
            (toDosChanged && ItemDates(item).isTask()))
            changed.append(item);
    }
    return changed;
}
