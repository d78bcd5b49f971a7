#pragma once

#include <QtGlobal>

// What a reader of iCalendar takes from a component besides the item's own
// properties, as bits that callers combine (sync tasks, file import,
// invitations, restore).
namespace ICalReadOptions {

enum : quint32 {
    // VALARM components become reminders.
    Alarms = 0x1,
    // Reminders too, and e-mail alarms leave the user's own addresses out of
    // their recipients.
    AlarmsWithoutOwnAddresses = 0x2,
    // ATTACH properties become attachments.
    Attachments = 0x4,
    // Attachments a server manages (MANAGED-ID) too.
    ManagedAttachments = 0x8,
    // The ORGANIZER even when the component names no attendee.
    OrganizerAlways = 0x10,
};

}  // namespace ICalReadOptions
