#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <optional>

#include "model/foundation/Date.h"

// An alarm as a plain value, as it is handed between the store, the
// interchange formats and the alarm engine. A reminder fires either at
// `relativeSeconds` from its item's start (negative: before) or at
// `absoluteTime`. `xProps` holds the unknown iCalendar properties of the alarm
// (name → parameters, the value under "prop-value").
struct Reminder {
    // The codes of `reminderType`.
    enum Type : qint64 {
        Display = 0,
        Sound = 1,        // `url` names the sound
        Email = 2,        // to `recipients`
        Placeholder = 3,  // kept, never written back
        Procedure = 4,    // opens or runs `url`
        Location = 10,    // a display alarm tied to a place
    };

    qint64 reminderType = Display;
    double relativeSeconds = 0;
    std::optional<Date> absoluteTime;
    std::optional<QString> title;
    std::optional<QString> note;
    std::optional<QString> url;
    QStringList recipients;
    QVariantMap xProps;

    // From the keys "reminderType", "relativeSeconds", "absoluteTime" (a
    // QDateTime, or seconds since 2001), "title", "note", "url",
    // "recipients" and "xProps"; missing or mistyped keys stay empty.
    static Reminder reminderFromDictionary(const QVariantMap &dictionary);

    bool operator==(const Reminder &) const = default;
};
