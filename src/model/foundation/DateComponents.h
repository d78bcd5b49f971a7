#pragma once

#include <QString>
#include <QTimeZone>
#include <optional>

// The fields of a date on a calendar, each of them defined or not: the result
// of breaking a date into components, and the input of building a date or of
// calendar arithmetic (where the fields are amounts to add).
struct DateComponents {
    std::optional<int> era;
    std::optional<int> year;
    std::optional<int> month;
    std::optional<int> day;
    std::optional<int> hour;
    std::optional<int> minute;
    std::optional<int> second;
    std::optional<int> weekday;         // 1 = Sunday … 7 = Saturday
    std::optional<int> weekdayOrdinal;  // the n-th such weekday of the month
    std::optional<int> weekOfMonth;
    std::optional<int> weekOfYear;
    std::optional<int> yearForWeekOfYear;
    std::optional<QTimeZone> timeZone;

    // Debugging text: "%ld-" week of month, "%ld--" week of year, "%ld" month,
    // "/%ld" day, "/%ld" year, " %02ld" hour, ":%02ld" minute, ":%02ld"
    // second, each only when defined.
    QString description() const;

    bool operator==(const DateComponents &) const = default;
};
