#include "time/recurrence/ICalRecurrence.h"

#include <libical/ical.h>
#include <algorithm>
#include <climits>

#include "model/foundation/TimeZones.h"
#include "time/DateUtilities.h"
#include "time/ICalTimeConversion.h"

namespace {

constexpr icalrecurrencetype_frequency kFrequencies[] = {
    ICAL_DAILY_RECURRENCE, ICAL_WEEKLY_RECURRENCE, ICAL_MONTHLY_RECURRENCE, ICAL_YEARLY_RECURRENCE};

int positiveModulo(qint64 value, int modulus) {
    return int(((value % modulus) + modulus) % modulus);
}

// Writes the list and its end marker, cut so that the marker still fits.
template <std::size_t N>
void writeList(short (&target)[N], const QList<int> &values) {
    std::size_t i = 0;
    for (; i < N - 1 && i < std::size_t(values.size()); ++i)
        target[i] = short(values[qsizetype(i)]);
    target[i] = ICAL_RECURRENCE_ARRAY_MAX;
}

template <std::size_t N>
QList<int> readList(const short (&source)[N]) {
    QList<int> values;
    for (std::size_t i = 0; i < N && source[i] != ICAL_RECURRENCE_ARRAY_MAX; ++i)
        values.append(source[i]);
    return values;
}

}  // namespace

namespace ICalRecurrence {

icalrecurrencetype icalRecurrence(const RecurrenceRule &rule, bool allDay) {
    icalrecurrencetype recurrence;
    icalrecurrencetype_clear(&recurrence);
    recurrence.freq = kFrequencies[positiveModulo(rule.frequency, 4)];
    recurrence.count = int(std::clamp<qint64>(rule.count, 0, INT_MAX));
    recurrence.interval = short(std::clamp<qint64>(rule.interval, 1, SHRT_MAX));
    if (rule.until) {
        const CalendarDate until = allDay
                                       ? DateUtilities::normalizedDateWithAllDay(*rule.until, true)
                                       : CalendarDate(*rule.until, TimeZones::universal());
        recurrence.until = ICalTimeConversion::icaltimeWithDateOnly(until, allDay, false);
    }
    recurrence.week_start =
        icalrecurrencetype_weekday(positiveModulo(rule.weekStartDay, 7) + ICAL_SUNDAY_WEEKDAY);

    QList<int> byDay;
    for (qsizetype i = 0; i < qMin(rule.byDayDays.size(), rule.byDayFreq.size()); ++i) {
        const int weekday = positiveModulo(rule.byDayDays[i], 7) + ICAL_SUNDAY_WEEKDAY;
        const int position = rule.byDayFreq[i];
        const int encoded = (position < 0 ? -position : position) * 8 + weekday;
        byDay.append(position < 0 ? -encoded : encoded);
    }
    writeList(recurrence.by_day, byDay);
    writeList(recurrence.by_month, rule.byMonth);
    writeList(recurrence.by_month_day, rule.byMonthDay);
    writeList(recurrence.by_set_pos, rule.bySetPos);
    writeList(recurrence.by_week_no, rule.byWeekNumber);
    writeList(recurrence.by_year_day, rule.byYearDay);
    return recurrence;
}

RecurrenceRule ruleWithICalRecurrence(const icalrecurrencetype &recurrence) {
    RecurrenceRule rule;
    switch (recurrence.freq) {
        case ICAL_WEEKLY_RECURRENCE:
            rule.frequency = RecurrenceRule::Weekly;
            break;
        case ICAL_MONTHLY_RECURRENCE:
            rule.frequency = RecurrenceRule::Monthly;
            break;
        case ICAL_YEARLY_RECURRENCE:
            rule.frequency = RecurrenceRule::Yearly;
            break;
        default:  // sub-daily rules are widened: items repeat at most once a day
            rule.frequency = RecurrenceRule::Daily;
            break;
    }
    rule.count = recurrence.count;
    rule.interval = recurrence.interval;
    if (std::optional<CalendarDate> until = ICalTimeConversion::dateWithIcaltime(recurrence.until))
        rule.until = until->date();
    rule.weekStartDay = recurrence.week_start == ICAL_NO_WEEKDAY
                            ? 1
                            : int(recurrence.week_start) - ICAL_SUNDAY_WEEKDAY;
    for (int encoded : readList(recurrence.by_day)) {
        rule.byDayDays.append(int(icalrecurrencetype_day_day_of_week(short(encoded))) -
                              ICAL_SUNDAY_WEEKDAY);
        rule.byDayFreq.append(icalrecurrencetype_day_position(short(encoded)));
    }
    rule.byMonth = readList(recurrence.by_month);
    rule.byMonthDay = readList(recurrence.by_month_day);
    rule.bySetPos = readList(recurrence.by_set_pos);
    rule.byWeekNumber = readList(recurrence.by_week_no);
    rule.byYearDay = readList(recurrence.by_year_day);
    return rule;
}

}  // namespace ICalRecurrence
