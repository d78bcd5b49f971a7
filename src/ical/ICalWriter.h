#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>
#include <QTimeZone>
#include <optional>

#include "ical/ICalMethod.h"
#include "model/foundation/CalendarDate.h"

class CommonDataMO;

// Items of the store as iCalendar text (RFC 5545), for files, uploads and
// messages. Every writer takes what the item holds and leaves out what is
// empty; none fails on missing data. The text uses CRLF line ends and folds
// long lines. Main thread only (it reads the store).
class ICalWriter {
public:
    // The item with its detached instances and the zones they use, for the
    // method and options (ICalWriteOptions). `sequences` (uid → SEQUENCE)
    // overrides the stored sequence; `callerAddress` stands for the
    // organizer under CallerIsOrganizer; `occurrence` writes one occurrence
    // of a repeating item; `comment` goes into a reply.
    struct Request {
        ICalMethod method = ICalMethod::None;
        quint32 options = 0;
        QHash<QString, qint64> sequences;
        QString callerAddress;
        std::optional<CalendarDate> occurrence;
        QString comment;
    };
    static QByteArray wholeObject(CommonDataMO *event, const Request &request);
    static QByteArray wholeObject(CommonDataMO *event) { return wholeObject(event, Request()); }

    // The calendar: its name, colour and the other calendar properties, the
    // zones, and every item, each followed by its detached instances.
    static QByteArray calendarExport(CommonDataMO *calendar);
    // One VTIMEZONE of the zone, for this year.
    static QByteArray zoneExport(const QTimeZone &zone);
    // A VFREEBUSY request for the attendees over [start, end), masking the
    // meeting `maskUID` that is being moved.
    static QByteArray freeBusyRequest(const QStringList &attendees, Date start, Date end,
                                      const std::optional<QString> &maskUID,
                                      const QString &organizer);
};
