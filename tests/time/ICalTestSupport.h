#pragma once

#include <libical/ical.h>
#include <QByteArray>
#include <memory>

// A library zone made from VTIMEZONE text, freed with its component.
struct ICalZoneDeleter {
    void operator()(icaltimezone *zone) const { icaltimezone_free(zone, 1); }
};
using ICalZone = std::unique_ptr<icaltimezone, ICalZoneDeleter>;
ICalZone zoneFromVTimezone(const QByteArray &text);

// A component freed when it goes.
struct ICalComponentDeleter {
    void operator()(icalcomponent *component) const { icalcomponent_free(component); }
};
using ICalComponent = std::unique_ptr<icalcomponent, ICalComponentDeleter>;
// The text of a component (for assertions).
QByteArray textOf(icalcomponent *component);
