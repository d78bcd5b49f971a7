#pragma once

#include <QString>

class CommonDataMO;

// The alerts that tell the user an operation on a calendar was refused. A
// batch operation that fails on many items of one calendar shows a single
// alert: each calendar (by uid) is reported at most once per turn of the
// event loop. Reports never raise. Main thread only; the alert goes to
// ErrorPresenter::shared() as a UserError of code kCode.
class ContainerErrors {
public:
    static constexpr qint64 kCode = 1;

    // Shows `message` and logs "reportContainerError: (%@) %@" unless the
    // calendar `uid` was reported in this turn of the event loop.
    static void reportContainerError(const QString &uid, const QString &message);
    // Whether any calendar was reported in this turn.
    static bool readOnlyErrorReported();

    // No calendar chosen (reported for the uid "nil").
    static void reportNilCalendarError();
    // `object` is a calendar (no permission to add), or an item: when its
    // calendar grants its items access 3 or more the item itself is
    // read-only, otherwise the whole calendar is.
    static void reportReadOnlyError(const CommonDataMO *object);
    // The meeting `item` cannot be moved to `destination`: under server
    // scheduling not to another server, under client scheduling not to
    // another calendar. Reported for the destination.
    static void reportAutoMeetingError(const CommonDataMO *item, const CommonDataMO *destination);
    static void reportOldMeetingError(const CommonDataMO *item, const CommonDataMO *destination);
    // The calendar refuses items of the type (or filters out to-dos).
    static void reportEventTypeError(const CommonDataMO *calendar, qint64 eventType);
    static void reportAttachmentError(const CommonDataMO *calendar);
    static void reportMeetingError(const CommonDataMO *calendar);

private:
    static void reportForCalendar(const CommonDataMO *calendar, const QString &message);
};
