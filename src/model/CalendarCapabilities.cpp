#include "model/CalendarCapabilities.h"

#include "model/CalDAVEngine.h"
#include "model/CalendarAccess.h"
#include "model/CommonDataMO.h"
#include "model/ExchangeEngine.h"
#include "model/ItemCodes.h"
#include "model/ItemReminders.h"
#include "model/RemoteServiceQueries.h"
#include "model/ServiceEngines.h"
#include "model/ServiceKind.h"
#include "model/SyncHooks.h"
#include "model/SyncableObjectMO.h"
#include "model/util/TextCompare.h"

namespace {

bool syncingWithOwner(const CommonDataMO *calendar) {
    const SyncableObjectMO *info = calendar ? calendar->objectInfo() : nullptr;
    return info && info->syncInProgressWithOwner();
}

qint64 sortKey(const CommonDataMO *calendar, const QString &title) {
    const qint64 order = calendar->integerValueForKey(QStringLiteral("localSortOrder"));
    return order != 0 || title.isEmpty() ? order : qint64(title.at(0).unicode());
}

QString groupUID(const CommonDataMO *calendar) {
    const ManagedObject *group = calendar->objectForKey(QStringLiteral("parentGroup"));
    return group ? group->valueForKey(QStringLiteral("uid")).toString() : QString();
}

int titleScore(const QString &title, const QString &candidate) {
    if (title == candidate)
        return 100;
    if (title.startsWith(candidate) || candidate.startsWith(title))
        return 90;
    const qsizetype distance = fuzzyCompare(title, candidate);
    return distance < 20 ? int(20 - distance) * 5 : 0;
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
    return eventType != ItemType::ToDo || !effectiveFilterToDos();
}

bool CalendarCapabilities::canHoldReminderType(qint64 reminderType) const {
    if (reminderType != ItemReminders::kLocationReminderType)
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

ModelObject *CalendarCapabilities::parentCalDAVService() const {
    return ServiceKind::is(m_owner, ServiceKind::kCalDAV) ? m_owner : nullptr;
}

ModelObject *CalendarCapabilities::parentExchangeService() const {
    return ServiceKind::is(m_owner, ServiceKind::kExchange) ? m_owner : nullptr;
}

bool CalendarCapabilities::canHoldAttachments() const {
    const ServiceEngines &engines = ServiceEngines::shared();
    if (parentCalDAVService()) {
        const CalDAVEngine *engine = engines.calDAVEngineFor(m_owner);
        return engine && engine->supportsAttachments(m_owner);
    }
    if (parentExchangeService()) {
        const ExchangeEngine *engine = engines.exchangeEngineFor(m_owner);
        return engine && engine->supportsAttachments(m_owner);
    }
    return true;
}

bool CalendarCapabilities::autoFetchAttachments() const {
    return m_calendar && canHoldAttachments() &&
           m_calendar->boolValueForKey(QStringLiteral("localFetchAttachments"));
}

void CalendarCapabilities::setFetchAttachments(CommonDataMO *calendar, bool fetch) {
    const QString key = QStringLiteral("localFetchAttachments");
    if (calendar->boolValueForKey(key) == fetch)
        return;
    calendar->setBoolValue(fetch, key);
    if (fetch && calendar->owningService())
        SyncHooks::shared().tickle(calendar->owningService());
}

CommonDataMO *CalendarCapabilities::relatedContainerThatCanHoldEventType(
    qint64 eventType, const QString &defaultContainerUID) const {
    if (!m_calendar || !(ServiceKind::is(m_owner, ServiceKind::kCalDAV) ||
                         ServiceKind::is(m_owner, ServiceKind::kExchange)))
        return nullptr;
    const std::optional<QString> title = m_calendar->effectiveTitle();
    if (!title)
        return nullptr;
    const qint64 key = sortKey(m_calendar, *title);
    const QString group = groupUID(m_calendar);
    CommonDataMO *best = nullptr;
    qint64 bestScore = 0;
    for (ManagedObject *container : RemoteServiceQueries::ownedContainersWithFilter(m_owner, 1)) {
        auto *candidate =
            ModelObject::as<CommonDataMO>(container->objectForKey(QStringLiteral("objectData")));
        const std::optional<QString> candidateTitle =
            candidate ? candidate->effectiveTitle() : std::nullopt;
        if (!candidateTitle || !CalendarCapabilities(candidate).canHoldEventType(eventType))
            continue;
        qint64 score = candidate->uid() == defaultContainerUID ? 20000 : 0;
        const int access = CalendarAccess::effectiveAccess(*candidate);
        score += access == 4 ? 10000 : access == 3 ? 1000 : 0;
        score += titleScore(*title, *candidateTitle);
        score += candidate->boolValueForKey(QStringLiteral("localHidden")) ? 0 : 10;
        score += groupUID(candidate) == group ? 20 : 0;
        const qint64 apart = qAbs(sortKey(candidate, *candidateTitle) - key);
        score += apart < 10 ? 10 - apart : 0;
        if (score > bestScore) {
            best = candidate;
            bestScore = score;
        }
    }
    return best;
}

void CalendarCapabilities::setOwningServiceDefaultsForNewEvent(CommonDataMO *item) {
    if (const ExchangeEngine *engine =
            ServiceEngines::shared().exchangeEngineFor(item->owningService()))
        engine->setDefaultsForNewEvent(item);
}
