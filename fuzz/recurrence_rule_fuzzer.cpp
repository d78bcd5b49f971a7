// Recurrence rules from untrusted text (RRULE values of imported files and
// servers): any input must give a rule or none; a rule must write a value
// that reads back and then writes the same text again; and its series,
// from a fixed start, must expand without crashing or running away.
#include <cstdint>
#include <cstdlib>

#include "model/foundation/CalendarDate.h"
#include "model/foundation/Log.h"
#include "time/recurrence/RecurrenceRule.h"
#include "time/recurrence/RecurrenceSeries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool quiet = [] {
        Log::setMask(0);
        return true;
    }();
    (void)quiet;
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    const std::optional<RecurrenceRule> rule = RecurrenceRule::fromICalendarText(text);
    if (!rule)
        return 0;
    for (const bool allDay : {false, true}) {
        const QString written = rule->iCalendarText(allDay);
        const std::optional<RecurrenceRule> again = RecurrenceRule::fromICalendarText(written);
        if (!again || again->iCalendarText(allDay) != written)
            std::abort();
        RecurrenceSeries series;
        series.start = allDay ? CalendarDate::dateOnly(2026, 1, 31)
                              : CalendarDate(Date(786200400.0), QTimeZone("America/New_York"));
        series.allDay = allDay;
        series.rules = {*again};
        const std::vector<Date> starts = series.occurrences(
            series.start.date(), series.start.date().addingSeconds(20 * 366 * 86400.0), 50);
        for (std::size_t i = 1; i < starts.size(); ++i) {
            if (!(starts[i - 1] < starts[i]))
                std::abort();
        }
    }
    return 0;
}
