// The calendar steps of CalDAVSyncTask: the local calendars made, updated
// and deleted to match the collections listed in the calendar homes.
#include <QUrl>

#include "caldav/CalDAVClient.h"
#include "caldav/CalDAVRemoteObjects.h"
#include "caldav/CalDAVSyncTask.h"
#include "caldav/PropertyKey.h"
#include "model/CalendarAccess.h"
#include "model/CommonDataMO.h"
#include "model/ItemCodes.h"
#include "model/ModelObject.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Log.h"
#include "model/store/ManagedObjectContext.h"
#include "model/util/Colors.h"

namespace {

QString calendarColorKey() {
    return PropertyKey::inNamespace(QStringLiteral("calendar-color"),
                                    QLatin1String(CalDAVClient::kICalNamespace));
}

bool isCalendarCollection(const QVariantMap &collection) {
    return collection.value(QStringLiteral("resourcetype"))
        .toStringList()
        .contains(CalDAVClient::caldavKey("calendar"));
}

// The bits (1 << item type) of the components a calendar takes; 0 (any)
// when the server does not say.
qint64 eventTypeMaskForComponents(const QStringList &components) {
    qint64 mask = 0;
    for (const QString &component : components) {
        if (component.compare(QLatin1String("VEVENT"), Qt::CaseInsensitive) == 0)
            mask |= qint64(1) << ItemType::Event;
        else if (component.compare(QLatin1String("VTODO"), Qt::CaseInsensitive) == 0)
            mask |= qint64(1) << ItemType::ToDo;
        else if (component.compare(QLatin1String("VJOURNAL"), Qt::CaseInsensitive) == 0)
            mask |= qint64(1) << ItemType::Journal;
    }
    return mask;
}

bool grantsWriting(const QVariantMap &collection) {
    const QStringList privileges =
        collection.value(QStringLiteral("current-user-privilege-set")).toStringList();
    if (privileges.isEmpty())
        return true;  // the server does not say: assume the owner's own calendar
    return privileges.contains(QStringLiteral("write")) ||
           privileges.contains(QStringLiteral("write-content")) ||
           privileges.contains(QStringLiteral("all"));
}

// What tells that a calendar's contents changed since the previous listing.
QString contentsStampOf(const QVariantMap &collection) {
    return collection.value(QStringLiteral("sync-token")).toString() + QLatin1Char('|') +
           collection.value(CalDAVClient::calendarServerKey("getctag")).toString();
}

// "work" of "/user/work/": the name of a calendar without a title.
QString lastSegmentOfHREF(const QString &href) {
    return QUrl::fromPercentEncoding(href.section(QLatin1Char('/'), -2, -2).toUtf8());
}

}  // namespace

void CalDAVSyncTask::processCalendarList() {
    logInfo("CalDAVSyncTask (%@): processCalendarList", logIdentity());
    m_remoteObjects = std::make_unique<CalDAVRemoteObjects>(remoteService());
    m_markedCalendars.clear();
    for (ManagedObject *object :
         remoteService()->objectsForKey(QStringLiteral("ownedContainers"))) {
        auto *calendar = ModelObject::as<SyncableObjectMO>(object);
        if (calendar && !calendar->isDeleted() && !calendar->isTombstone())
            m_markedCalendars.insert(calendar);
    }
    setNextStep([this] { processCalendars(); });
}

void CalDAVSyncTask::processCalendars() {
    logInfo("CalDAVSyncTask (%@): processCalendars", logIdentity());
    QHash<QString, QVariantMap> oldCollections;
    for (const QVariant &entry : m_syncData.value(QStringLiteral("collections")).toList())
        oldCollections.insert(entry.toMap().value(QStringLiteral("href")).toString(),
                              entry.toMap());
    m_syncData.insert(QStringLiteral("collections"), m_collections);
    m_calendarsToFetch.clear();
    for (const QVariant &entry : std::as_const(m_collections)) {
        const QVariantMap collection = entry.toMap();
        if (!isCalendarCollection(collection))
            continue;
        const QString href = collection.value(QStringLiteral("href")).toString();
        SyncableObjectMO *syncable = m_remoteObjects->localObjectForHREF(href);
        CommonDataMO *calendar = syncable ? syncable->objectData() : nullptr;
        bool created = false;
        if (!calendar) {
            logInfo("CalDAV: creating calendar %@ (%@)",
                    collection.value(QStringLiteral("displayname")).toString(), href);
            calendar = CommonDataMO::makeContainer(QStringLiteral("Calendar"), remoteService());
            calendar->objectInfo()->setValue(QStringLiteral("uid"), ModelObject::newUID());
            created = true;
        }
        m_markedCalendars.remove(calendar->objectInfo());
        ModelObject *record = m_remoteObjects->link(href, calendar->objectInfo());
        record->setIntegerValue(
            grantsWriting(collection) ? CalendarAccess::kFullAccess : CalendarAccess::kReadOnly,
            QStringLiteral("remoteAccess"));
        const QVariantMap oldCollection = oldCollections.value(href);
        updateCalendar(calendar, collection, oldCollection, created);
        const bool webdavSync = collection.value(QStringLiteral("supported-report-set"))
                                    .toStringList()
                                    .contains(QStringLiteral("sync-collection"));
        // Without a token kept, a calendar that can sync by token has never
        // been listed in full.
        const bool neverListed =
            webdavSync && record->valueForKey(QStringLiteral("editURL")).toString().isEmpty();
        if (created || neverListed || oldCollection.isEmpty() ||
            contentsStampOf(collection) != contentsStampOf(oldCollection)) {
            logInfo("CalDAV: updating calendar %@ (%@)",
                    calendar->effectiveTitle().value_or(QString()), href);
            m_calendarsToFetch.append({calendar, href, webdavSync});
        }
    }
    garbageCollectCalendars();
    setNextStep([this] { fetchChangesFromServer(); });
}

void CalDAVSyncTask::updateCalendar(CommonDataMO *calendar, const QVariantMap &collection,
                                    const QVariantMap &oldCollection, bool created) {
    const auto changed = [&](const QString &key) {
        return created || collection.value(key) != oldCollection.value(key);
    };
    const QString title = collection.value(QStringLiteral("displayname")).toString();
    if (changed(QStringLiteral("displayname"))) {
        logInfo("CalDAVSyncTask (%@): title changed", logIdentity());
        calendar->setStringValue(
            title.isEmpty() ? lastSegmentOfHREF(collection.value(QStringLiteral("href")).toString())
                            : title,
            QStringLiteral("title"));
        calendar->setBoolValue(title.contains(QLatin1String("holiday"), Qt::CaseInsensitive),
                               QStringLiteral("holidayCalendar"));
    }
    const QString descriptionKey = CalDAVClient::caldavKey("calendar-description");
    if (changed(descriptionKey)) {
        logInfo("CalDAVSyncTask (%@): content changed", logIdentity());
        calendar->setStringValue(collection.value(descriptionKey).toString(),
                                 QStringLiteral("content"));
    }
    const QString color = collection.value(calendarColorKey()).toString().trimmed();
    if (changed(calendarColorKey()) && !color.isEmpty()) {
        logInfo("CalDAVSyncTask (%@): color changed", logIdentity());
        calendar->setColorValue(colorFromHexString(color), QStringLiteral("localColor"));
    }
    const QString componentsKey = CalDAVClient::caldavKey("supported-calendar-component-set");
    if (changed(componentsKey)) {
        logInfo("CalDAVSyncTask (%@): supported components changed", logIdentity());
        calendar->setIntegerValue(
            eventTypeMaskForComponents(collection.value(componentsKey).toStringList()),
            QStringLiteral("supportedEventTypes"));
    }
    if (created)
        calendar->objectInfo()->touchReceivedTime();
}

void CalDAVSyncTask::garbageCollectCalendars() {
    for (SyncableObjectMO *syncable : std::as_const(m_markedCalendars)) {
        CommonDataMO *calendar = syncable->objectData();
        logInfo("CalDAV: garbage collecting calendar %@ (%@)",
                calendar->effectiveTitle().value_or(QString()), syncable->uid());
        ManagedObjectContext *context = syncable->managedObjectContext();
        CommonDataMO::deleteObject(calendar, false);
        context->deleteObject(syncable);
    }
    m_markedCalendars.clear();
    m_remoteObjects->dropOrphans();
}
