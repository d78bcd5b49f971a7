#pragma once

// INTERNAL to src/ical: an item's extra records by view, for the writers.

#include <QList>

class CommonDataMO;
class ExtraDataMO;

// The extra records of an item, sorted into its views (organizers,
// attendees, contact links, recurrence rules, attachments, reminders) in one
// pass over its `extras`, each view in the order its records were added, as
// CommonDataMO::extrasForRelationship gives it: writing an item asks for
// every view, and a pass per view read every record again. Main thread only.
struct ICalItemExtras {
    explicit ICalItemExtras(const CommonDataMO *item);

    QList<ExtraDataMO *> organizers;
    QList<ExtraDataMO *> attendees;
    QList<ExtraDataMO *> contacts;
    QList<ExtraDataMO *> recurrences;
    QList<ExtraDataMO *> attachments;
    // Synced ("Reminder") and local ("LocalReminder") reminders, apart.
    QList<ExtraDataMO *> globalReminders;
    QList<ExtraDataMO *> localReminders;
};
