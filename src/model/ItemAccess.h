#pragma once

#include <QString>

class CommonDataMO;

// The access level (0–4) for one attribute of an item, for moving it to
// another calendar and for its reminders, refining the item's effective
// access (CalendarAccess). The caller passes the item's two base levels: its
// effective access and its access for deletion (with the flag that counts
// the item's own classification). Main thread only.
class ItemAccess {
public:
    ItemAccess(CommonDataMO *item, int effectiveAccess, int accessForDelete)
        : m_item(item), m_effectiveAccess(effectiveAccess), m_accessForDelete(accessForDelete) {}
    // The item's levels as CalendarAccess computes them (for deletion with
    // its classification counted).
    explicit ItemAccess(CommonDataMO *item);

    // "local…" keys: 3; "attendeeStatus" and "blocksTime": 2 on a cancelled
    // item, else the access for deletion; "container":
    // effectiveAccessForContainerChange(); "classification": the effective
    // access where the calendar can hold private events, else 2; any other
    // key: the effective access.
    int effectiveAccessForKey(const QString &key) const;
    // 3 for a meeting that came by mail, or one under CalDAV scheduling to
    // which the user is invited; otherwise the effective access.
    int effectiveAccessForContainerChange() const;
    // On a read-only (2) item an invited user (attendee status at least 1,
    // or a meeting that came by mail) who is not its organizer may still set
    // reminders: 3; otherwise the effective access.
    int effectiveAccessForReminders() const;

private:
    CommonDataMO *m_item;
    int m_effectiveAccess;
    int m_accessForDelete;
};
