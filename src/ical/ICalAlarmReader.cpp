#include "ical/ICalAlarmReader.h"

#include <libical/ical.h>
#include <QStringList>

#include "ical/ICalDateReader.h"
#include "ical/ICalEventReader.h"
#include "ical/ICalPropertyReader.h"
#include "ical/ICalReadOptions.h"
#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/Reminder.h"
#include "model/util/OwnAddresses.h"
#include "time/ICalTimeConversion.h"

namespace {

using ICalPropertyReader::isWord;
using ICalPropertyReader::parameterText;
using ICalPropertyReader::textOfProperty;

bool isKnownAlarmProperty(const QString &name) {
    return name.compare(QLatin1String("X-APPLE-DEFAULT-ALARM"), Qt::CaseInsensitive) == 0 ||
           name.compare(QLatin1String("X-TOLVERN-REMINDER-TYPE"), Qt::CaseInsensitive) == 0;
}

std::optional<QString> alarmXText(icalcomponent *alarm, const char *name) {
    for (icalproperty *property = icalcomponent_get_first_property(alarm, ICAL_X_PROPERTY);
         property; property = icalcomponent_get_next_property(alarm, ICAL_X_PROPERTY)) {
        if (ICalPropertyReader::propertyName(property).compare(QLatin1String(name),
                                                               Qt::CaseInsensitive) == 0)
            return textOfProperty(property).value_or(QString()).trimmed();
    }
    return std::nullopt;
}

std::optional<qint64> reminderTypeOf(icalcomponent *alarm) {
    icalproperty *action = icalcomponent_get_first_property(alarm, ICAL_ACTION_PROPERTY);
    if (!action)
        return std::nullopt;
    switch (icalproperty_get_action(action)) {
        case ICAL_ACTION_AUDIO:
            return Reminder::Sound;
        case ICAL_ACTION_DISPLAY:
            return alarmXText(alarm, "X-APPLE-PROXIMITY") ? Reminder::Location : Reminder::Display;
        case ICAL_ACTION_EMAIL:
            return Reminder::Email;
        case ICAL_ACTION_PROCEDURE:
            return Reminder::Procedure;
        case ICAL_ACTION_NONE:
            return Reminder::Placeholder;
        case ICAL_ACTION_X:
            // The library knows NONE only as an extension word.
            if (isWord(textOfProperty(action), "NONE"))
                return Reminder::Placeholder;
            return std::nullopt;
        default:
            return std::nullopt;
    }
}

// The sound or procedure an ATTACH names: its address, or its inline text.
std::optional<QString> attachTarget(icalcomponent *alarm) {
    icalproperty *property = icalcomponent_get_first_property(alarm, ICAL_ATTACH_PROPERTY);
    icalattach *attach = property ? icalproperty_get_attach(property) : nullptr;
    if (!attach)
        return std::nullopt;
    const char *text = icalattach_get_is_url(attach)
                           ? icalattach_get_url(attach)
                           : reinterpret_cast<const char *>(icalattach_get_data(attach));
    return text ? std::optional(QString::fromUtf8(text)) : std::nullopt;
}

QStringList recipientsOf(icalcomponent *alarm, bool withoutOwnAddresses) {
    QStringList recipients;
    for (icalproperty *property = icalcomponent_get_first_property(alarm, ICAL_ATTENDEE_PROPERTY);
         property; property = icalcomponent_get_next_property(alarm, ICAL_ATTENDEE_PROPERTY)) {
        QString address = textOfProperty(property).value_or(QString()).trimmed();
        if (address.startsWith(QLatin1String("mailto:"), Qt::CaseInsensitive))
            address = address.mid(7);
        if (!address.isEmpty() && !(withoutOwnAddresses && OwnAddresses::contains(address)))
            recipients << address;
    }
    return recipients;
}

bool isSnooze(icalcomponent *alarm) {
    for (icalproperty *property = icalcomponent_get_first_property(alarm, ICAL_RELATEDTO_PROPERTY);
         property; property = icalcomponent_get_next_property(alarm, ICAL_RELATEDTO_PROPERTY)) {
        if (isWord(parameterText(property, "RELTYPE"), "SNOOZE"))
            return true;
    }
    return false;
}

void readAlarm(CommonDataMO *event, icalcomponent *alarm, const ICalEventSource &source) {
    const std::optional<qint64> type = reminderTypeOf(alarm);
    icalproperty *triggerProperty = icalcomponent_get_first_property(alarm, ICAL_TRIGGER_PROPERTY);
    if (!type || !triggerProperty)
        return;
    const icaltriggertype trigger = icalproperty_get_trigger(triggerProperty);
    std::optional<Date> absolute;
    double relative = 0;
    if (!icaltime_is_null_time(trigger.time)) {
        if (ICalTimeConversion::isIcaltimeDistantPast(trigger.time)) {
            if (*type == Reminder::Placeholder)
                return;  // the writer's stand-in for "no alarm"
        } else if (const std::optional<CalendarDate> date = ICalDateReader::dateOfTime(
                       trigger.time, triggerProperty, source.vcalendar)) {
            absolute = date->date();
        }
    } else {
        relative = icaldurationtype_as_int(trigger.duration);
    }

    const bool local = isWord(alarmXText(alarm, "X-TOLVERN-REMINDER-TYPE"), "LOCAL");
    ExtraDataMO *record = ExtraDataMO::makeExtra(
        local ? QStringLiteral("LocalReminder") : QStringLiteral("Reminder"), event);
    if (const char *uid = icalcomponent_get_uid(alarm); uid && *uid)
        record->setValue(QStringLiteral("uid"), QString::fromUtf8(uid));
    record->assignUIDIfNeeded();
    record->setIntegerValue(*type, QStringLiteral("reminderType"));
    record->setDateValue(absolute, QStringLiteral("absoluteTime"));
    record->setDoubleValue(relative, QStringLiteral("relativeSeconds"));
    if (*type == Reminder::Sound || *type == Reminder::Procedure)
        if (const std::optional<QString> target = attachTarget(alarm))
            record->setValue(QStringLiteral("url"), *target);
    if (*type == Reminder::Email) {
        const QStringList recipients =
            recipientsOf(alarm, source.options & ICalReadOptions::AlarmsWithoutOwnAddresses);
        if (!recipients.isEmpty())
            record->setArchivedValue(recipients, QStringLiteral("recipients"));
    }
    record->setBoolValue(isSnooze(alarm), QStringLiteral("snooze"));
    record->setBoolValue(isWord(alarmXText(alarm, "X-APPLE-DEFAULT-ALARM"), "TRUE"),
                         QStringLiteral("defaultAlarm"));
    if (icalproperty *acknowledged =
            icalcomponent_get_first_property(alarm, ICAL_ACKNOWLEDGED_PROPERTY))
        if (const std::optional<CalendarDate> date =
                ICalDateReader::dateOfProperty(acknowledged, source.vcalendar))
            record->setDateValue(date->date(), QStringLiteral("acknowledged"));
    const QVariantMap unknown = ICalPropertyReader::unknownProperties(alarm, isKnownAlarmProperty);
    record->setArchivedValue(unknown.isEmpty() ? QVariant() : QVariant(unknown),
                             QStringLiteral("xProps"));
}

}  // namespace

namespace ICalAlarmReader {

void readAlarms(CommonDataMO *event, const ICalEventSource &source) {
    icalcomponent *component = source.component;
    for (icalcomponent *alarm = icalcomponent_get_first_component(component, ICAL_VALARM_COMPONENT);
         alarm; alarm = icalcomponent_get_next_component(component, ICAL_VALARM_COMPONENT))
        readAlarm(event, alarm, source);
}

}  // namespace ICalAlarmReader
