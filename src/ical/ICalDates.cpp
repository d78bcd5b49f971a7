#include "ical/ICalDates.h"

#include "time/ICalTimeConversion.h"

namespace ICalDates {

icalproperty *newDateProperty(icalproperty_kind kind, const CalendarDate &date, bool allDay,
                              bool floating) {
    const icaltimetype time = ICalTimeConversion::icaltimeWithDateOnly(date, allDay, floating);
    icalproperty *property = icalproperty_new(kind);
    if (kind == ICAL_RDATE_PROPERTY) {
        icaldatetimeperiodtype value{};
        value.time = time;
        value.period = icalperiodtype_null_period();
        icalproperty_set_value(property, icalvalue_new_datetimeperiod(value));
    } else {
        icalproperty_set_value(property,
                               allDay ? icalvalue_new_date(time) : icalvalue_new_datetime(time));
    }
    if (allDay)
        icalproperty_add_parameter(property, icalparameter_new_value(ICAL_VALUE_DATE));
    if (!allDay && !floating && !date.isUniversal())
        icalproperty_add_parameter(property,
                                   icalparameter_new_tzid(date.timeZone().id().constData()));
    return property;
}

icaltimetype utcIcaltime(Date date) {
    return icaltime_from_timet_with_zone(time_t(date.secondsSince1970()), 0,
                                         icaltimezone_get_utc_timezone());
}

}  // namespace ICalDates
