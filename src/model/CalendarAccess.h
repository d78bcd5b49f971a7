#pragma once

#include <QString>

class CommonDataMO;

// What this machine may do with a calendar or item, as a level from 0 (no
// access) to 4 (full access), and the passwords that protect a calendar
// published on the local network.
//
// Effective access: 4 while the container's owner is syncing, and for a
// container owned by this machine. A container subscribed from another copy
// on the network has its `access`, or `localSubscribeAccess` when a
// subscribe password is stored, at most 2 for the calendar itself and at
// most 3 for its items. Any other owner grants the `remoteAccess` of the
// container's remote object for it (the calendar's `access` when there is
// none); a CalDAV calendar the engine classifies as the user's to manage
// (CalDAVEngine::kFullAccessCalendarType) has full access itself. An item's
// own stored `access` limits the result further.
class CalendarAccess {
public:
    static constexpr int kReadOnly = 2;
    static constexpr int kFullAccess = 4;

    static int effectiveAccess(const CommonDataMO &object);
    // The item's effective access for deleting it or changing the user's
    // part in it. With `countClassification`, a private item (`classification`
    // not 0) on a CalDAV or Exchange calendar that grants its items less than
    // full access (another person's calendar, shared or delegated) is at
    // most read-only: its owner alone decides about it.
    static int effectiveAccessForDelete(const CommonDataMO &object, bool countClassification);
    // What the container's items may do (the container's level as its items
    // see it).
    static int effectiveAccessForChildren(const CommonDataMO &calendar);

    // The calendar's `access` as subscribers get it: 3 without passwords, 2
    // with only a write password, 0 with a read password, never above the
    // cap (the owner's remote access; 2 for web subscriptions and birthday
    // calendars; 4 without owner). Written, and the calendar touched, only
    // when it changes.
    static void setDefaultSubscriberAccess(CommonDataMO &calendar);
    // Changes a password (`localReadPassword` or `localWritePassword`) and
    // recomputes the subscribers' access.
    static void setPassword(CommonDataMO &calendar, const QString &key, const QString &password);

    static bool passwordGrantsReadAccess(const CommonDataMO &calendar, const QString &password);
    static bool passwordGrantsWriteAccess(const CommonDataMO &calendar, const QString &password);
    static bool passwordWasNotNeeded(const CommonDataMO &calendar);
};
