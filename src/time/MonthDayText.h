#pragma once

#include <QString>
#include <optional>

#include "model/foundation/Date.h"
#include "model/foundation/DateComponents.h"
#include "time/GregorianCalendar.h"

// Month and day (and year, if given) as the user types and reads them, in
// the calendar's locale.
namespace MonthDayText {

// Parses the text leniently in the calendar's locale (month names or
// numbers in the order of the locale's short date format, words that are
// neither ignored); the result holds year, month and day. Text without a
// year is parsed again with the year 1604 added (a leap year, so that 29
// February parses), "1604, text" when the locale writes the year first
// (its short format begins with "y", or, exclusively, its language is
// written right to left), else "text, 1604"; that result holds month and
// day only. None when neither parses to a real date.
std::optional<DateComponents> componentsFromString(const GregorianCalendar &calendar,
                                                   const QString &text);

// The text of the components' month and day (and year): in the locale's long
// (verbose) or short style, without the weekday; without a year, those
// formats with the year left out. The date built from the components (at
// midnight in the calendar's zone, in 1604 when they have no year) is handed
// back through `date` when it is not null.
QString stringFromComponents(const GregorianCalendar &calendar, const DateComponents &components,
                             bool verbose, Date *date);

}  // namespace MonthDayText
