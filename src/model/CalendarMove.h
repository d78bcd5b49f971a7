#pragma once

class CommonDataMO;
class SyncableObjectMO;

// Moving an item from one calendar to another here. The item keeps its uid
// and its detached instances follow it. The old calendar keeps a tombstone
// of that uid which takes over the item's remote-object records: the service
// of the old calendar then sees a deletion, which it sends as a move when the
// item went to another of its own calendars, and the service of the new
// calendar sees a new item. Moved between two calendars of one service, an
// item that service had as it is here is not marked as changed: the move is
// all there is to send.
class CalendarMove {
public:
    // Moves the item (not a detached instance) into `calendar` and stamps
    // it (as received only, when the move is all that changed for a service
    // that keeps both calendars); returns the tombstone left in the old calendar, or nullptr when
    // nothing moved (the same calendar, or a detached instance).
    static SyncableObjectMO *moveItemToCalendar(CommonDataMO *item, CommonDataMO *calendar);
    // Puts the syncable object and its data object in `container`; nothing
    // else changes.
    static void rehome(SyncableObjectMO *syncable, CommonDataMO *container);
};
