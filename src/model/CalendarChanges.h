#pragma once

#include <QList>
#include <optional>

#include "model/foundation/Date.h"

class CommonDataMO;
class SyncableObjectMO;

// Which items of a calendar a sync or a subscriber must hear of, as syncable
// objects (tombstones included where deletions count). Main thread only;
// the fetches run on the queries' context.
class CalendarChanges {
public:
    // The calendar's items received after `date` (tombstones included); all
    // live items without a date. Logged "childrenReceivedSince = %@" (the
    // date) and "childrenReceivedSince = %ld objects". With
    // `sortDependentFirst`, detached instances whose original is in the list
    // come after everything else, so that a receiver makes originals first;
    // the order is kept within both parts.
    static QList<SyncableObjectMO *> childrenReceivedSince(const CommonDataMO &calendar,
                                                           std::optional<Date> date,
                                                           bool sortDependentFirst);

    // The calendar's items (tombstones included) changed here since the
    // owner last agreed to them, followed by the live detached instances of
    // modified originals that are not in the list yet, each logged
    // "modifiedRemoteChildren: adding = %@ (%@)" (its uid and its
    // original's).
    static QList<SyncableObjectMO *> modifiedRemoteChildren(const CommonDataMO &calendar);
};
