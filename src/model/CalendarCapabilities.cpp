#include "model/CalendarCapabilities.h"

#include "model/CalDAVEngine.h"
#include "model/CommonDataMO.h"
#include "model/ExchangeEngine.h"
#include "model/ServiceEngines.h"
#include "model/ServiceKind.h"
#include "model/SyncableObjectMO.h"

namespace {
constexpr qint64 kToDoType = 1;

bool syncingWithOwner(const CommonDataMO *calendar) {
    const SyncableObjectMO *info = calendar ? calendar->objectInfo() : nullptr;
    return info && info->syncInProgressWithOwner();
}

bool calendarFlag(const CommonDataMO *calendar, const char *key) {
    return calendar && !syncingWithOwner(calendar) &&
           calendar->boolValueForKey(QString::fromLatin1(key));
}
}  // namespace

CalendarCapabilities::CalendarCapabilities(const CommonDataMO *object)
    : m_object(object), m_calendar(object->parentContainer()), m_owner(object->owningService()) {}

bool CalendarCapabilities::isLocallyOwned() const {
    return !m_owner;
}

bool CalendarCapabilities::effectiveFilterReminders() const {
    return calendarFlag(m_calendar, "localFilterReminders");
}

bool CalendarCapabilities::effectiveFilterToDos() const {
    return calendarFlag(m_calendar, "localFilterToDos");
}

bool CalendarCapabilities::canHoldEventType(qint64 eventType) const {
    const qint64 supported =
        m_calendar ? m_calendar->integerValueForKey(QStringLiteral("supportedEventTypes")) : 0;
    if (supported != 0 &&
        (eventType < 0 || eventType > 62 || !(supported & (qint64(1) << eventType))))
        return false;
    return eventType != kToDoType || !effectiveFilterToDos();
}

bool CalendarCapabilities::canHoldReminderType(qint64 reminderType) const {
    if (reminderType != kLocationReminderType)
        return true;
    const CalDAVEngine *engine = ServiceEngines::shared().calDAVEngineFor(m_owner);
    const qint64 eventType =
        m_object->isChild() ? m_object->integerValueForKey(QStringLiteral("eventType")) : 0;
    return engine &&
           engine->supportsProximityAlarmsForEventType(int(eventType), m_calendar, m_owner);
}

bool CalendarCapabilities::canHoldMultipleReminders() const {
    return !ServiceKind::is(m_owner, ServiceKind::kExchange);
}

bool CalendarCapabilities::owningServiceIssuesEmailAlarms() const {
    const CalDAVEngine *engine = ServiceEngines::shared().calDAVEngineFor(m_owner);
    return engine && engine->serverIssuesEmailAlarms(m_owner);
}

bool CalendarCapabilities::canHoldMeetings() const {
    const CalDAVEngine *engine = ServiceEngines::shared().calDAVEngineFor(m_owner);
    return !engine || engine->supportsMeetingsOnCalendar(m_calendar, m_owner);
}

bool CalendarCapabilities::canHoldPrivateEvents() const {
    if (const CalDAVEngine *engine = ServiceEngines::shared().calDAVEngineFor(m_owner))
        return engine->supportsPrivateEventsOnCalendar(m_calendar, m_owner);
    return ServiceKind::is(m_owner, ServiceKind::kExchange);
}

void CalendarCapabilities::setOwningServiceDefaultsForNewEvent(CommonDataMO *item) {
    if (const ExchangeEngine *engine =
            ServiceEngines::shared().exchangeEngineFor(item->owningService()))
        engine->setDefaultsForNewEvent(item);
}
