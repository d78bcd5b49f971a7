#include "caldav/CalDAVRemoteObjects.h"

#include "model/CommonDataMO.h"
#include "model/ModelObject.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/CalendarDate.h"
#include "model/store/ManagedObjectContext.h"

CalDAVRemoteObjects::CalDAVRemoteObjects(ModelObject *service) : m_service(service) {
    for (ManagedObject *object : service->objectsForKey(QStringLiteral("remoteObjects"))) {
        auto *record = ModelObject::as<ModelObject>(object);
        const QString href = record->valueForKey(QStringLiteral("remoteID")).toString();
        if (!href.isEmpty() && !record->isDeleted())
            m_byHREF.insert(href, record);
    }
}

ModelObject *CalDAVRemoteObjects::forHREF(const QString &href) const {
    return m_byHREF.value(href);
}

SyncableObjectMO *CalDAVRemoteObjects::localObjectForHREF(const QString &href) const {
    const ModelObject *record = forHREF(href);
    return record ? ModelObject::as<SyncableObjectMO>(
                        record->objectForKey(QStringLiteral("localObject")))
                  : nullptr;
}

ModelObject *CalDAVRemoteObjects::link(const QString &href, SyncableObjectMO *local) {
    ModelObject *record = forHREF(href);
    if (!record) {
        record = ModelObject::as<ModelObject>(
            m_service->managedObjectContext()->insertNewObject(QStringLiteral("RemoteObject")));
        record->setValue(QStringLiteral("remoteID"), href);
        record->setObject(QStringLiteral("theRemoteService"), m_service);
        m_byHREF.insert(href, record);
    }
    if (record->objectForKey(QStringLiteral("localObject")) != local)
        record->setObject(QStringLiteral("localObject"), local);
    return record;
}

void CalDAVRemoteObjects::drop(const QString &href) {
    if (ModelObject *record = m_byHREF.take(href))
        m_service->managedObjectContext()->deleteObject(record);
}

void CalDAVRemoteObjects::dropOrphans() {
    for (auto it = m_byHREF.begin(); it != m_byHREF.end();) {
        if (it.value()->objectForKey(QStringLiteral("localObject"))) {
            ++it;
            continue;
        }
        m_service->managedObjectContext()->deleteObject(it.value());
        it = m_byHREF.erase(it);
    }
}

std::optional<QString> CalDAVRemoteObjects::etagOf(const ModelObject *record) {
    const QString etag =
        record ? record->valueForKey(QStringLiteral("remoteETag")).toString() : QString();
    return etag.isEmpty() ? std::nullopt : std::optional<QString>(etag);
}

QString CalDAVRemoteObjects::proxyIDForRemoteObject(const ModelObject *record) {
    return record ? record->valueForKey(QStringLiteral("originalEventRemoteID")).toString()
                  : QString();
}

void CalDAVRemoteObjects::setProxyID(ModelObject *record, const QString &proxyID) {
    if (proxyIDForRemoteObject(record) != proxyID)
        record->setValue(QStringLiteral("originalEventRemoteID"),
                         proxyID.isEmpty() ? QVariant() : QVariant(proxyID));
}

ModelObject *CalDAVRemoteObjects::recordOf(const SyncableObjectMO *local,
                                           const ModelObject *service) {
    for (ManagedObject *record : local->objectsForKey(QStringLiteral("syncsTo")))
        if (record->objectForKey(QStringLiteral("theRemoteService")) == service &&
            !record->isDeleted())
            return ModelObject::as<ModelObject>(record);
    return nullptr;
}

QString CalDAVRemoteObjects::detachedRemoteID(const QString &href, const CommonDataMO &detached) {
    const QString rid = recurrenceIDText(detached);
    return rid.isEmpty() ? QString() : href + QStringLiteral("?rid=") + rid;
}

QString CalDAVRemoteObjects::recurrenceIDText(const CommonDataMO &detached) {
    const std::optional<CalendarDate> original =
        detached.calendarDateValueForKey(QStringLiteral("originalTimeAndZone"));
    if (!original)
        return {};
    const bool floating = detached.boolValueForKey(QStringLiteral("floatingEvent"));
    const WallClock clock = floating || original->isDateOnly()
                                ? original->wallClock()
                                : WallClock::of(original->date(), QTimeZone::utc());
    QString text = QString::asprintf("%04d%02d%02d", clock.year, clock.month, clock.day);
    if (original->isDateOnly() || detached.boolValueForKey(QStringLiteral("allDay")))
        return text;
    text += QString::asprintf("T%02d%02d%02d", clock.hour, clock.minute, clock.second);
    return floating ? text : text + QLatin1Char('Z');
}
