#pragma once

#include <optional>

#include "model/foundation/CalendarDate.h"

class CommonDataMO;

// One appearance of an item in time: a single item, an occurrence of a
// repeating one, or a detached instance standing for one.
struct Occurrence {
    // The item shown: the repeating item itself, or the detached instance.
    CommonDataMO *item = nullptr;
    // As the store keeps times: zoned, floating ("Universal" wall clock) or
    // all-day (12:00 "Universal"; the end is the day after the last day).
    CalendarDate start{Date(), QTimeZone()};
    // None for a to-do with neither end nor due time.
    std::optional<CalendarDate> end;
    // The original start of the occurrence of a repeating item (also for a
    // detached instance); none for an item that does not repeat.
    std::optional<CalendarDate> recurrenceId;
    bool detached = false;
    bool allDay = false;
    bool floating = false;
    // The occurrence's span as instants in the viewer's zone (floating and
    // all-day times read on the viewer's wall clock); the end equals the
    // start when there is no end.
    Date viewStart;
    Date viewEnd;
};
