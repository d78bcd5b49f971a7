#pragma once

// INTERNAL to src/ical: date and time properties as the writers put them.

#include <libical/ical.h>

#include "model/foundation/CalendarDate.h"

namespace ICalDates {

// The instant as a UTC time.
icaltimetype utcIcaltime(Date date);

}  // namespace ICalDates
