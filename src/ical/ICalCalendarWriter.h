#pragma once

// INTERNAL to src/ical: VCALENDAR components for ICalWriter and the writers
// of later layers.

#include <libical/ical.h>
#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>

#include "ical/ICalEventWriter.h"

namespace ICalCalendarWriter {

// A new VCALENDAR: VERSION, PRODID, CALSCALE, METHOD (unless none) and, for
// a calendar, its name, description, uid, colour, holiday marker and icon.
icalcomponent *calendarHeader(const CommonDataMO *container, ICalMethod method);
// One VTIMEZONE per zone the items' zoned dates use (not UTC), from the
// earliest start's year (one earlier when that start comes before the
// year's first transition) to this year.
void addTimeZones(icalcomponent *calendar, const QList<CommonDataMO *> &events,
                  bool historicallyAccurate);
// The text of the VCALENDAR of an item with its detached instances and
// zones, SEQUENCE taken from `sequences` (uid → sequence) where it names the
// item. An item marked `localOrphaned` that has detached instances (a
// placeholder for a repeating item never received) is left out: only they
// are written.
QByteArray wholeObject(const ICalEventRequest &request, const QHash<QString, qint64> &sequences);
// The text of every item of the calendar, each followed by its detached
// instances, after the header and the zones.
QByteArray calendarExport(CommonDataMO *calendar);
// The text of a component, which is freed.
QByteArray takeText(icalcomponent *component);
// The text of a VCALENDAR, which is freed, without its END line: the items'
// text follows, then "END:VCALENDAR".
QByteArray takeOpenText(icalcomponent *calendar);

}  // namespace ICalCalendarWriter
