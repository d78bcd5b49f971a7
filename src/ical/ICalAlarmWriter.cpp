#include "ical/ICalAlarmWriter.h"

#include <libical/ical.h>

#include <algorithm>
#include <cmath>

#include "ical/ICalItemExtras.h"
#include "ical/ICalProperties.h"
#include "ical/ICalTextWriter.h"
#include "ical/ICalWriteOptions.h"
#include "model/ExtraDataMO.h"
#include "model/ModelObject.h"
#include "model/ReminderRecord.h"
#include "time/ICalTimeConversion.h"

namespace {

using namespace ICalWriteOptions;

// Types from here on are written only when asked for.
constexpr qint64 kFirstExtendedType = 5;

// The sentinel time read back as "no trigger time".
void writeDistantPastTrigger(ICalTextWriter &writer) {
    char *time = icaltime_as_ical_string_r(ICalTimeConversion::icaltimeDistantPast());
    writer.property("TRIGGER").valueType("DATE-TIME").raw(QByteArrayView(time));
    icalmemory_free_buffer(time);
}

void writeTrigger(ICalTextWriter &writer, const Reminder &reminder) {
    if (reminder.absoluteTime) {
        writer.property("TRIGGER").valueType("DATE-TIME").utcTime(*reminder.absoluteTime);
        return;
    }
    if (!std::isfinite(reminder.relativeSeconds)) {
        writeDistantPastTrigger(writer);
        return;
    }
    writer.property("TRIGGER").duration(int(std::lround(reminder.relativeSeconds)));
}

// The type written for the reminder under the options; -1 for none.
qint64 writtenType(const Reminder &reminder, quint32 options) {
    const qint64 type = reminder.reminderType == Reminder::Sound && (options & SoundAsDisplay)
                            ? qint64(Reminder::Display)
                            : reminder.reminderType;
    switch (type) {
        case Reminder::Display:
        case Reminder::Sound:
        case Reminder::Email:
        case Reminder::Procedure:
        case Reminder::Location:
            return type;
        default:
            return -1;
    }
}

void writeURIAttach(ICalTextWriter &writer, const QString &url) {
    if (!url.isEmpty())
        writer.libraryProperty(ICalProperties::newURIAttach(url));
}

// The action and its companions.
void writeAction(ICalTextWriter &writer, const Reminder &reminder, qint64 type) {
    const QString url = reminder.url.value_or(QString());
    switch (type) {
        case Reminder::Display:
            writer.property("ACTION").raw(QByteArrayView("DISPLAY"));
            writer.property("DESCRIPTION").raw(QByteArrayView());
            return;
        case Reminder::Sound:
            writer.property("ACTION").raw(QByteArrayView("AUDIO"));
            writeURIAttach(writer, url);
            return;
        case Reminder::Email:
            writer.property("ACTION").raw(QByteArrayView("EMAIL"));
            writer.property("SUMMARY").raw(QByteArrayView());
            writer.property("DESCRIPTION").raw(QByteArrayView());
            for (const QString &recipient : reminder.recipients)
                writer.property("ATTENDEE").raw(QStringLiteral("mailto:") + recipient);
            return;
        case Reminder::Procedure:
            writer.property("ACTION").raw(QByteArrayView("PROCEDURE"));
            writeURIAttach(writer, url);
            return;
        default:  // a location reminder
            writer.property("ACTION").raw(QByteArrayView("DISPLAY"));
            return;
    }
}

double sortKey(const ExtraDataMO *record) {
    if (const std::optional<Date> absolute =
            record->dateValueForKey(QStringLiteral("absoluteTime")))
        return absolute->secondsSinceReference();
    return record->doubleValueForKey(QStringLiteral("relativeSeconds"));
}

ICalItemExtras::Records remindersToWrite(const ICalItemExtras &extras, bool local) {
    ICalItemExtras::Records list = extras.globalReminders;
    if (local)
        list.append(extras.localReminders.constData(), extras.localReminders.size());
    if (list.size() < 2)
        return list;  // nothing to sort, and no buffer to sort it in
    std::stable_sort(list.begin(), list.end(), [](const ExtraDataMO *a, const ExtraDataMO *b) {
        return sortKey(a) < sortKey(b);
    });
    return list;
}

}  // namespace

namespace ICalAlarmWriter {

std::optional<Date> firstAbsoluteTrigger(const ICalItemExtras &extras) {
    if (extras.globalReminders.isEmpty())
        return std::nullopt;
    return extras.globalReminders.first()->dateValueForKey(QStringLiteral("absoluteTime"));
}

void writeAlarms(ICalTextWriter &writer, const ICalItemExtras &extras, quint32 options) {
    bool wroteAny = false;
    for (const ExtraDataMO *record : remindersToWrite(extras, options & LocalData)) {
        const Reminder reminder = ReminderRecord(*record).reminder();
        const bool extendedAllowed =
            (options & LocalData) ||
            (reminder.reminderType == Reminder::Location && (options & ProximityAlarms));
        if (reminder.reminderType >= kFirstExtendedType && !extendedAllowed)
            continue;
        const qint64 type = writtenType(reminder, options);
        if (type < 0)
            continue;
        writer.begin("VALARM");
        writer.property("UID").text(record->uid());
        if (const std::optional<Date> acknowledged =
                record->dateValueForKey(QStringLiteral("acknowledged")))
            writer.property("ACKNOWLEDGED").utcTime(*acknowledged);
        if (record->boolValueForKey(QStringLiteral("defaultAlarm")))
            writer.property("X-APPLE-DEFAULT-ALARM").raw(QByteArrayView("TRUE"));
        if (record->isLocalOnly())
            writer.property("X-TOLVERN-REMINDER-TYPE").raw(QByteArrayView("LOCAL"));
        writeTrigger(writer, reminder);
        writeAction(writer, reminder, type);
        ICalProperties::writeXProps(writer, reminder.xProps);
        writer.end("VALARM");
        wroteAny = true;
    }
    if (wroteAny || !(options & PlaceholderAlarm))
        return;
    writer.begin("VALARM");
    writer.property("UID").text(ModelObject::newUID());
    writeDistantPastTrigger(writer);
    writer.property("ACTION").raw(QByteArrayView("NONE"));
    writer.end("VALARM");
}

}  // namespace ICalAlarmWriter
