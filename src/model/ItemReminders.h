#pragma once

#include <QList>
#include <optional>

#include "model/Reminder.h"
#include "model/foundation/Date.h"

class CommonDataMO;
class ExtraDataMO;

// An item's reminders and contact links as the user sees them, and the
// reminder settings of a calendar. Synced records ("Reminder",
// "ContactLink") are global, the ones kept on this machine
// ("LocalReminder", "LocalContactLink") local. Main thread only.
class ItemReminders {
public:
    static constexpr qint64 kLocationReminderType = Reminder::Location;

    explicit ItemReminders(const CommonDataMO *item) : m_item(item) {}

    QList<ExtraDataMO *> globalReminders() const;
    QList<ExtraDataMO *> localReminders() const;
    QList<ExtraDataMO *> globalContacts() const;
    QList<ExtraDataMO *> localContacts() const;

    // The earliest `absoluteTime` among the reminders (none when none has
    // one); `hasLocationReminder`, when given, tells whether any reminder is
    // a location reminder.
    std::optional<Date> reminderDateForUndatedEvent(bool *hasLocationReminder) const;
    // How far before (a negative offset, or 0) and after (0, or the largest
    // offset plus one second) `startDate` the item must be looked at for its
    // reminders to be seen. A reminder counts with its `relativeSeconds`, or,
    // when a start is given and its `absoluteTime` is still to come, with
    // that time less the start.
    void getReminderVisibilityForStartDate(std::optional<Date> startDate, double *beforeOffset,
                                           double *afterOffset) const;

    // Stores the calendar's `localFetchAttachments` (CalendarCapabilities::
    // setFetchAttachments), and `localFilterReminders`
    // and `localFilterToDos` when they change; returns the items whose display
    // changes with them: those with reminders when the reminder filter
    // changed, the to-dos when the to-do filter changed.
    static QList<CommonDataMO *> setFilterReminders(CommonDataMO *calendar, bool filterReminders,
                                                    bool fetchAttachments, bool filterToDos);

private:
    QList<ExtraDataMO *> ofEntity(const char *relationship, const char *entity) const;

    const CommonDataMO *m_item;
};
