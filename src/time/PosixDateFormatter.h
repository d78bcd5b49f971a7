#pragma once

#include <QString>
#include <QTimeZone>
#include <optional>

#include "model/foundation/Date.h"

// Dates written and read in a fixed format with the "en_US_POSIX" locale:
// English month and day names, Western digits, no locale preferences. The
// format is that of QDateTime ("yyyy-MM-dd'T'HH:mm:ss.zzz", literal text in
// single quotes); seconds are cut to milliseconds.
class PosixDateFormatter {
public:
    // The shared formatter (thread-safe: it holds no state).
    static const PosixDateFormatter &posixDateFormatter();

    QString stringFromDate(Date date, const QString &format, const QTimeZone &zone) const;
    // None when the text does not match the format exactly.
    std::optional<Date> dateFromString(const QString &text, const QString &format,
                                       const QTimeZone &zone) const;
};
