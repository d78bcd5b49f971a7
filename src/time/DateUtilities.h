#pragma once

#include <QString>
#include <QStringView>
#include <optional>

#include "model/foundation/CalendarDate.h"
#include "model/foundation/Date.h"

// Helpers on plain dates (instants without a zone).
namespace DateUtilities {

// Network form "%f": seconds since 2001-01-01 00:00:00 UTC, six decimals.
QString networkString(Date date);
// Reads the network form (a decimal number, surrounding spaces allowed);
// none, with a warning, for text that is not one.
std::optional<Date> dateWithNetworkString(QStringView text);

// Strictly later than `other`.
bool isNewerThan(Date date, Date other);
// Not earlier than `other`.
bool isNewerOrEqualTo(Date date, Date other);

// The same instant as a calendar date in "Universal"; with `allDay`, that
// day's date-only value (12:00:00 "Universal").
CalendarDate normalizedDateWithAllDay(Date date, bool allDay);
// Seconds since 2001 truncated toward zero.
Date truncatedDate(Date date);

// Seconds since 1970-01-01 UTC / 86400 + 2440587.5, and back.
double julianDate(Date date);
Date dateFromJulianDate(double julianDate);

// "yyyy-MM-dd'T'HH:mm:ss.SSS'Z'", always in UTC, with the "en_US_POSIX"
// locale; reading wants exactly that form.
QString rfc3339String(Date date);
std::optional<Date> dateFromRFC3339String(const QString &text);

}  // namespace DateUtilities
