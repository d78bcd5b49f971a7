#include "model/ItemDates.h"

#include <QDateTime>

#include "model/CommonDataMO.h"
#include "model/ItemCodes.h"
#include "model/foundation/WallClock.h"

namespace {

// Whole days, hours, minutes and seconds from `from` to `to` (not before it).
DateComponents forwardComponents(const QDateTime &from, const QDateTime &to) {
    qint64 days = from.date().daysTo(to.date());
    if (from.addDays(days) > to)
        --days;
    const qint64 seconds = from.addDays(days).secsTo(to);
    DateComponents components;
    components.day = int(days);
    components.hour = int(seconds / 3600);
    components.minute = int(seconds / 60 % 60);
    components.second = int(seconds % 60);
    return components;
}
}  // namespace

qint64 ItemDates::eventType() const {
    return m_item->integerValueForKey(QStringLiteral("eventType"));
}

std::optional<CalendarDate> ItemDates::dateForKey(const char *key) const {
    return m_item->calendarDateValueForKey(QString::fromLatin1(key));
}

bool ItemDates::isTask() const {
    return eventType() == ItemType::ToDo;
}

bool ItemDates::canHaveTime() const {
    return eventType() == ItemType::Event;
}

bool ItemDates::canBeUndated() const {
    const qint64 type = eventType();
    return type == ItemType::ToDo || type == ItemType::Journal;
}

bool ItemDates::canBlockTime() const {
    return canBlockTime(eventType(), dateForKey("startTimeAndZone").has_value());
}

bool ItemDates::canBlockTime(qint64 eventType, bool hasStart) {
    return eventType == ItemType::Event && hasStart;
}

bool ItemDates::hasTime() const {
    return canHaveTime() && startDate() && !m_item->boolValueForKey(QStringLiteral("allDay"));
}

bool ItemDates::isUndated() const {
    if (dateForKey("startTimeAndZone"))
        return false;
    return !isTask() || (!m_item->dateValueForKey(QStringLiteral("completionTime")) &&
                         !dateForKey("dueTimeAndZone"));
}

std::optional<CalendarDate> ItemDates::dateOrDue(const std::optional<CalendarDate> &date,
                                                 const std::optional<CalendarDate> &due) {
    return date ? date : due;
}

std::optional<CalendarDate> ItemDates::startDate() const {
    return dateOrDue(dateForKey("startTimeAndZone"), dateForKey("dueTimeAndZone"));
}

std::optional<CalendarDate> ItemDates::endDate() const {
    return dateOrDue(dateForKey("endTimeAndZone"), dateForKey("dueTimeAndZone"));
}

DateComponents ItemDates::durationComps() const {
    const std::optional<CalendarDate> start = startDate();
    const std::optional<CalendarDate> end = endDate();
    if (!start || !end)
        return {};
    const QTimeZone zone = start->effectiveZone();
    const QDateTime from = start->date().toDateTime().toTimeZone(zone);
    const QDateTime to = end->date().toDateTime().toTimeZone(zone);
    if (to >= from)
        return forwardComponents(from, to);
    DateComponents backwards = forwardComponents(to, from);
    for (std::optional<int> *part :
         {&backwards.day, &backwards.hour, &backwards.minute, &backwards.second})
        **part = -**part;
    return backwards;
}

bool ItemDates::effectiveFloating() const {
    return (m_item->boolValueForKey(QStringLiteral("floatingEvent")) ||
            m_item->boolValueForKey(QStringLiteral("allDay"))) &&
           !m_item->dateValueForKey(QStringLiteral("completionTime"));
}

std::optional<CalendarDate> ItemDates::visibilityDate(
    const std::optional<CalendarDate> &date) const {
    if (std::optional<Date> completed = m_item->dateValueForKey(QStringLiteral("completionTime")))
        return CalendarDate(*completed, QTimeZone());
    if (!date || !effectiveFloating())
        return date;
    const WallClock day = WallClock::of(date->date(), QTimeZone::utc());
    return CalendarDate::dateOnly(day.year, day.month, day.day);
}

std::optional<CalendarDate> ItemDates::visibilityStartDate() const {
    return visibilityDate(startDate());
}

std::optional<CalendarDate> ItemDates::visibilityEndDate() const {
    return visibilityDate(endDate());
}
