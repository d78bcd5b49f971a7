#include "ical/ICalDateReader.h"

#include <libical/ical.h>
#include <algorithm>

#include "time/ICalTimeConversion.h"

namespace ICalDateReader {

std::optional<CalendarDate> dateOfTime(icaltimetype time, icalproperty *property,
                                       icalcomponent *vcalendar) {
    if (icaltime_is_null_time(time) || !icaltime_is_valid_time(time))
        return std::nullopt;
    icalparameter *tzid = time.is_date || icaltime_is_utc(time)
                              ? nullptr
                              : icalproperty_get_first_parameter(property, ICAL_TZID_PARAMETER);
    if (tzid && icalparameter_get_tzid(tzid)) {
        const char *name = icalparameter_get_tzid(tzid);
        icaltimezone *zone = vcalendar ? icalcomponent_get_timezone(vcalendar, name) : nullptr;
        time.zone = zone ? zone : ICalTimeConversion::builtinTimeZone(QString::fromUtf8(name));
    }
    return ICalTimeConversion::dateWithIcaltime(time);
}

std::optional<CalendarDate> dateOfProperty(icalproperty *property, icalcomponent *vcalendar) {
    icalvalue *value = icalproperty_get_value(property);
    if (!value)
        return std::nullopt;
    switch (icalvalue_isa(value)) {
        case ICAL_DATE_VALUE:
        case ICAL_DATETIME_VALUE:
            return dateOfTime(icalvalue_get_datetime(value), property, vcalendar);
        case ICAL_DATETIMEPERIOD_VALUE: {
            const icaldatetimeperiodtype period = icalvalue_get_datetimeperiod(value);
            return dateOfTime(
                icaltime_is_null_time(period.time) ? period.period.start : period.time, property,
                vcalendar);
        }
        case ICAL_PERIOD_VALUE:
            return dateOfTime(icalvalue_get_period(value).start, property, vcalendar);
        default:
            return std::nullopt;
    }
}

QList<CalendarDate> datesOfProperties(icalcomponent *component, int kind,
                                      icalcomponent *vcalendar) {
    QList<CalendarDate> dates;
    const auto propertyKind = icalproperty_kind(kind);
    for (icalproperty *property = icalcomponent_get_first_property(component, propertyKind);
         property; property = icalcomponent_get_next_property(component, propertyKind)) {
        if (const std::optional<CalendarDate> date = dateOfProperty(property, vcalendar))
            dates << *date;
    }
    std::stable_sort(dates.begin(), dates.end(), [](const CalendarDate &a, const CalendarDate &b) {
        return a.date() < b.date();
    });
    return dates;
}

}  // namespace ICalDateReader
