#include "ical/ICalDates.h"

namespace ICalDates {

icaltimetype utcIcaltime(Date date) {
    return icaltime_from_timet_with_zone(time_t(date.secondsSince1970()), 0,
                                         icaltimezone_get_utc_timezone());
}

}  // namespace ICalDates
