#pragma once

// INTERNAL to src/ical: an item's extra records by view, for the writers.

#include <QVarLengthArray>
#include <span>

class CommonDataMO;
class ExtraDataMO;

// The extra records of an item, sorted into its views (organizers,
// attendees, contact links, recurrence rules, attachments, reminders) in one
// pass over its `extras`, each view in the order its records were added, as
// CommonDataMO::extrasForRelationship gives it: writing an item asks for
// every view, and a pass per view read every record again. A view holds the
// few records of most items in place, without an allocation per item
// written. Main thread only.
struct ICalItemExtras {
    using Records = QVarLengthArray<ExtraDataMO *, 4>;
    // The records of a view, as the writers take them.
    using View = std::span<ExtraDataMO *const>;

    explicit ICalItemExtras(const CommonDataMO *item);

    Records organizers;
    Records attendees;
    Records contacts;
    Records recurrences;
    Records attachments;
    // Synced ("Reminder") and local ("LocalReminder") reminders, apart.
    Records globalReminders;
    Records localReminders;
};
