#include "ical/ICalAlarmWriter.h"

#include <QList>
#include <algorithm>
#include <cmath>

#include "ical/ICalDates.h"
#include "ical/ICalProperties.h"
#include "ical/ICalWriteOptions.h"
#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/ItemReminders.h"
#include "model/ModelObject.h"
#include "model/ReminderRecord.h"
#include "time/ICalTimeConversion.h"

namespace {

using namespace ICalWriteOptions;

// Types from here on are written only when asked for.
constexpr qint64 kFirstExtendedType = 5;

icalproperty *absoluteTrigger(const icaltimetype &time) {
    icaltriggertype trigger{};
    trigger.time = time;
    trigger.duration = icaldurationtype_null_duration();
    icalproperty *property = icalproperty_new_trigger(trigger);
    icalproperty_add_parameter(property, icalparameter_new_value(ICAL_VALUE_DATETIME));
    return property;
}

icalproperty *newTrigger(const Reminder &reminder) {
    if (reminder.absoluteTime)
        return absoluteTrigger(ICalDates::utcIcaltime(*reminder.absoluteTime));
    if (!std::isfinite(reminder.relativeSeconds))
        return absoluteTrigger(ICalTimeConversion::icaltimeDistantPast());
    icaltriggertype trigger{};
    trigger.time = icaltime_null_time();
    trigger.duration = icaldurationtype_from_int(int(std::lround(reminder.relativeSeconds)));
    return icalproperty_new_trigger(trigger);
}

// The action and its companions; false for a reminder that is not written.
bool addAction(icalcomponent *alarm, const Reminder &reminder, quint32 options) {
    qint64 type = reminder.reminderType;
    if (type == Reminder::Sound && (options & SoundAsDisplay))
        type = Reminder::Display;
    const QString url = reminder.url.value_or(QString());
    switch (type) {
        case Reminder::Display:
            icalcomponent_add_property(alarm, icalproperty_new_action(ICAL_ACTION_DISPLAY));
            icalcomponent_add_property(alarm, icalproperty_new_description(""));
            return true;
        case Reminder::Sound:
            icalcomponent_add_property(alarm, icalproperty_new_action(ICAL_ACTION_AUDIO));
            if (!url.isEmpty())
                icalcomponent_add_property(alarm, ICalProperties::newURIAttach(url));
            return true;
        case Reminder::Email:
            icalcomponent_add_property(alarm, icalproperty_new_action(ICAL_ACTION_EMAIL));
            icalcomponent_add_property(alarm, icalproperty_new_summary(""));
            icalcomponent_add_property(alarm, icalproperty_new_description(""));
            for (const QString &recipient : reminder.recipients)
                icalcomponent_add_property(
                    alarm, icalproperty_new_attendee(
                               (QStringLiteral("mailto:") + recipient).toUtf8().constData()));
            return true;
        case Reminder::Procedure:
            icalcomponent_add_property(alarm, icalproperty_new_action(ICAL_ACTION_PROCEDURE));
            if (!url.isEmpty())
                icalcomponent_add_property(alarm, ICalProperties::newURIAttach(url));
            return true;
        case Reminder::Location:
            icalcomponent_add_property(alarm, icalproperty_new_action(ICAL_ACTION_DISPLAY));
            return true;
        default:
            return false;
    }
}

double sortKey(const ExtraDataMO *record) {
    if (const std::optional<Date> absolute =
            record->dateValueForKey(QStringLiteral("absoluteTime")))
        return absolute->secondsSinceReference();
    return record->doubleValueForKey(QStringLiteral("relativeSeconds"));
}

QList<ExtraDataMO *> remindersToWrite(const CommonDataMO *event, bool local) {
    const ItemReminders reminders(event);
    QList<ExtraDataMO *> list = reminders.globalReminders();
    if (local)
        list += reminders.localReminders();
    std::stable_sort(list.begin(), list.end(), [](const ExtraDataMO *a, const ExtraDataMO *b) {
        return sortKey(a) < sortKey(b);
    });
    return list;
}

}  // namespace

namespace ICalAlarmWriter {

std::optional<Date> firstAbsoluteTrigger(const CommonDataMO *event) {
    const QList<ExtraDataMO *> reminders = ItemReminders(event).globalReminders();
    if (reminders.isEmpty())
        return std::nullopt;
    return reminders.first()->dateValueForKey(QStringLiteral("absoluteTime"));
}

void addAlarms(icalcomponent *component, const CommonDataMO *event, quint32 options) {
    bool wroteAny = false;
    for (const ExtraDataMO *record : remindersToWrite(event, options & LocalData)) {
        const Reminder reminder = ReminderRecord(*record).reminder();
        const bool extendedAllowed =
            (options & LocalData) ||
            (reminder.reminderType == Reminder::Location && (options & ProximityAlarms));
        if (reminder.reminderType >= kFirstExtendedType && !extendedAllowed)
            continue;
        icalcomponent *alarm = icalcomponent_new_valarm();
        icalcomponent_add_property(alarm, icalproperty_new_uid(record->uid().toUtf8().constData()));
        if (const std::optional<Date> acknowledged =
                record->dateValueForKey(QStringLiteral("acknowledged")))
            icalcomponent_add_property(
                alarm, icalproperty_new_acknowledged(ICalDates::utcIcaltime(*acknowledged)));
        if (record->boolValueForKey(QStringLiteral("defaultAlarm")))
            ICalProperties::addXProperty(alarm, "X-APPLE-DEFAULT-ALARM", QStringLiteral("TRUE"));
        if (record->isLocalOnly())
            ICalProperties::addXProperty(alarm, "X-TOLVERN-REMINDER-TYPE", QStringLiteral("LOCAL"));
        icalcomponent_add_property(alarm, newTrigger(reminder));
        if (!addAction(alarm, reminder, options)) {
            icalcomponent_free(alarm);
            continue;
        }
        ICalProperties::addXProps(alarm, reminder.xProps);
        icalcomponent_add_component(component, alarm);
        wroteAny = true;
    }
    if (wroteAny || !(options & PlaceholderAlarm))
        return;
    icalcomponent *placeholder = icalcomponent_new_valarm();
    icalcomponent_add_property(placeholder,
                               icalproperty_new_uid(ModelObject::newUID().toUtf8().constData()));
    icalcomponent_add_property(placeholder,
                               absoluteTrigger(ICalTimeConversion::icaltimeDistantPast()));
    icalcomponent_add_property(placeholder, icalproperty_new_from_string("ACTION:NONE"));
    icalcomponent_add_component(component, placeholder);
}

}  // namespace ICalAlarmWriter
