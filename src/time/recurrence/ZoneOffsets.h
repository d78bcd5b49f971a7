#pragma once

#include <QTimeZone>

#include "model/foundation/Date.h"
#include "model/foundation/WallClock.h"

// Fast wall clock -> instant for series of occurrences: the zone's offsets
// and transitions from 1900 to 2200 are read once per zone and kept for the
// life of the process (any thread). The answers are those of
// WallClock::instantIn: a reading the clocks skip moves forward by the gap,
// one they repeat gives the earlier instant. Outside those years, or for a
// zone that cannot list its transitions, instantIn itself answers.
namespace ZoneOffsets {

Date instantOf(const WallClock &clock, const QTimeZone &zone);

}  // namespace ZoneOffsets
