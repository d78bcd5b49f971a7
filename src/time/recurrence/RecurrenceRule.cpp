#include "time/recurrence/RecurrenceRule.h"

#include <libical/ical.h>

#include "model/foundation/Format.h"
#include "model/foundation/Log.h"
#include "time/recurrence/ICalRecurrence.h"

namespace {

QVariant describedList(const QList<int> &values) {
    QVariantList list;
    for (int value : values)
        list.append(value);
    return list;
}

}  // namespace

QString RecurrenceRule::description() const {
    return format(
        "count = %ld, frequency = %ld, interval = %ld, weekStartDay = %ld, regenerate = %ld, "
        "until = %@, byDayDays = %@, byDayFreq = %@, byMonth = %@, byMonthDay = %@, "
        "bySetPos = %@, byWeekNumber = %@, byYearDay = %@",
        count, frequency, interval, weekStartDay, regenerate, until, describedList(byDayDays),
        describedList(byDayFreq), describedList(byMonth), describedList(byMonthDay),
        describedList(bySetPos), describedList(byWeekNumber), describedList(byYearDay));
}

QString RecurrenceRule::iCalendarText(bool allDay) const {
    icalrecurrencetype recurrence = ICalRecurrence::icalRecurrence(*this, allDay);
    char *text = icalrecurrencetype_as_string_r(&recurrence);
    const QString result = QString::fromUtf8(text);
    icalmemory_free_buffer(text);
    return result;
}

std::optional<RecurrenceRule> RecurrenceRule::fromICalendarText(const QString &text) {
    QString value = text.trimmed();
    if (value.startsWith(QLatin1String("RRULE:"), Qt::CaseInsensitive))
        value = value.mid(6);
    icalerror_clear_errno();
    const icalrecurrencetype recurrence =
        icalrecurrencetype_from_string(value.toUtf8().constData());
    const bool failed = icalerrno != ICAL_NO_ERROR || recurrence.freq == ICAL_NO_RECURRENCE;
    icalerror_clear_errno();
    if (failed) {
        logWarning("RecurrenceRule: not a recurrence rule: \"%@\"", text);
        return std::nullopt;
    }
    return ICalRecurrence::ruleWithICalRecurrence(recurrence);
}
