#pragma once

#include <QString>
#include <QVariantMap>
#include <optional>

#include "model/Reminder.h"

class ExtraDataMO;

// A reminder record ("Reminder" or "LocalReminder") read as a value,
// compared with one and described, and the location settings of a location
// reminder (type 10) kept among its unknown iCalendar properties.
class ReminderRecord {
public:
    static constexpr char kProximity[] = "X-APPLE-PROXIMITY";
    static constexpr char kStructuredLocation[] = "X-APPLE-STRUCTURED-LOCATION";

    explicit ReminderRecord(const ExtraDataMO &record) : m_record(record) {}

    Reminder reminder() const;
    // The record fires as `other` does: same type, offset and absolute time
    // (to within half a second), and for a location reminder the same
    // location settings. With `testStrings` also the same title, note and
    // recipients (in any order, e-mail addresses case-insensitively) and,
    // for e-mail and procedure reminders, target; with `testSound` the same
    // sound for a sound reminder. A missing string equals an empty one.
    bool equalsReminder(const Reminder &other, bool testStrings, bool testSound) const;
    // One line for logs: type, trigger and target.
    QString stringRepresentationOfReminder() const;

    // The location settings in `xProps`, flat: "X-APPLE-PROXIMITY" → its
    // value, "X-APPLE-STRUCTURED-LOCATION" → its value (the location as a
    // URI) and that property's other parameters under their own names. None
    // unless "X-APPLE-PROXIMITY" is there.
    static std::optional<QVariantMap> proximityDictFromXProps(const QVariantMap &xProps);
    // The reverse: the two properties as `xProps` entries, the structured
    // location with "VALUE" = "URI" and every other key as a parameter.
    static QVariantMap xPropsFromProximityDict(const QVariantMap &dictionary);

private:
    const ExtraDataMO &m_record;
};
