// The calendar steps of CalDAVSyncTask: the local calendars made, updated
// and deleted to match the collections listed in the calendar homes.
#include <QUrl>
#include <QUuid>
#include <algorithm>

#include "caldav/CalDAVCalendarGroups.h"
#include "caldav/CalDAVClient.h"
#include "caldav/CalDAVRemoteObjects.h"
#include "caldav/CalDAVSyncTask.h"
#include "caldav/PropertyKey.h"
#include "ical/ICalWriter.h"
#include "model/CalendarAccess.h"
#include "model/CommonDataMO.h"
#include "model/ItemCodes.h"
#include "model/ModelObject.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Log.h"
#include "model/foundation/TimeZones.h"
#include "model/store/ManagedObjectContext.h"
#include "model/util/Colors.h"

namespace {

QString calendarColorKey() {
    return PropertyKey::inNamespace(QStringLiteral("calendar-color"),
                                    QLatin1String(CalDAVClient::kICalNamespace));
}

QString transparencyKey() {
    return CalDAVClient::caldavKey("schedule-calendar-transp");
}

// Whether a calendar's events count as busy time for its server: unless it
// says transparent (opaque when it does not say).
bool isOpaqueTransparency(const QVariant &value) {
    return value.toString() != CalDAVClient::caldavKey("transparent");
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

// A calendar that takes to-dos only (by its item type mask, 0 for any).
bool takesToDosOnly(qint64 supportedEventTypes) {
    return supportedEventTypes != 0 && !(supportedEventTypes & (qint64(1) << ItemType::Event));
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

// A value the server holds: not absent, not an empty text or list.
bool isListedValue(const QVariant &value) {
    if (value.typeId() == QMetaType::QStringList || value.typeId() == QMetaType::QVariantList)
        return !value.toList().isEmpty();
    return !value.toString().isEmpty();
}

// The components of an item type mask ("VEVENT", ...); empty for 0 (any).
QStringList componentsForEventTypeMask(qint64 mask) {
    QStringList components;
    if (mask & (qint64(1) << ItemType::Event))
        components.append(QStringLiteral("VEVENT"));
    if (mask & (qint64(1) << ItemType::ToDo))
        components.append(QStringLiteral("VTODO"));
    if (mask & (qint64(1) << ItemType::Journal))
        components.append(QStringLiteral("VJOURNAL"));
    return components;
}

// The hexadecimal colour sent for a calendar colour (black when none).
QString colorStringFromColor(const std::optional<RGBColor> &color) {
    return hexStringFromColor(color.value_or(RGBColor{}), false);
}

// The property values of a calendar as the server would hold them: its
// title, description and colour, and its transparency for a server that
// schedules (one that does not would not take it into account).
QVariantMap calendarPropertyValues(const CommonDataMO &calendar, bool withTransparency) {
    QVariantMap values{
        {QStringLiteral("displayname"), calendar.effectiveTitle().value_or(QString())},
        {CalDAVClient::caldavKey("calendar-description"),
         calendar.stringValueForKey(QStringLiteral("content")).value_or(QString())},
        {calendarColorKey(),
         colorStringFromColor(calendar.colorValueForKey(QStringLiteral("localColor")))}};
    if (withTransparency)
        values.insert(
            transparencyKey(),
            CalDAVClient::caldavKey(calendar.integerValueForKey(QStringLiteral("blocksTime")) != 0
                                        ? "opaque"
                                        : "transparent"));
    return values;
}

// Whether the server's value of a calendar property differs from the one
// held here (colours compared as colours; a title the server lacks counts
// as the name of its href).
bool differsFromListed(const QString &key, const QVariant &local, const QVariantMap &listed) {
    const QString server = listed.value(key).toString().trimmed();
    if (key == calendarColorKey())
        return colorValueFromHexString(server) != colorValueFromHexString(local.toString());
    if (key == transparencyKey())
        return isOpaqueTransparency(server) != isOpaqueTransparency(local);
    if (key == QLatin1String("displayname") && server.isEmpty())
        return local.toString() !=
               lastSegmentOfHREF(listed.value(QStringLiteral("href")).toString());
    return server != local.toString();
}

// The properties a multi-status answer refused (a status of 300 or more,
// other than 424, which only says that another property failed), with the
// worst status among them, and whether some failed only because of them.
struct RefusedProperties {
    QStringList keys;
    int status = 0;
    bool othersFailed = false;
};
RefusedProperties refusedPropertiesOf(const QVariantMap &results) {
    RefusedProperties refused;
    for (const QVariant &response : results.value(QStringLiteral("multistatus")).toList()) {
        for (const QVariant &entry : response.toMap().value(QStringLiteral("propstat")).toList()) {
            QVariantMap propstat = entry.toMap();
            const int status = propstat.take(QStringLiteral("property status")).toInt();
            propstat.remove(QStringLiteral("responsedescription"));
            if (status == 424) {
                refused.othersFailed = true;
            } else if (status >= 300) {
                refused.keys.append(propstat.keys());
                refused.status = std::max(refused.status, status);
            }
        }
    }
    return refused;
}

}  // namespace

void CalDAVSyncTask::processCalendarList() {
    logInfo("CalDAVSyncTask (%@): processCalendarList", logIdentity());
    m_markedCalendars.clear();
    for (ManagedObject *object :
         remoteService()->objectsForKey(QStringLiteral("ownedContainers"))) {
        // A calendar made here and not sent yet is not on the server.
        auto *calendar = ModelObject::as<SyncableObjectMO>(object);
        if (calendar && !calendar->isDeleted() && !calendar->isTombstone() &&
            CalDAVRemoteObjects::recordOf(calendar, remoteService()))
            m_markedCalendars.insert(calendar);
    }
    setNextStep([this] { processCalendars(); });
}

void CalDAVSyncTask::processCalendars() {
    logInfo("CalDAVSyncTask (%@): processCalendars", logIdentity());
    m_calendarsToFetch.clear();
    m_calendarGroups = std::make_unique<CalDAVCalendarGroups>(remoteService());
    processCalendarsInUserDict(
        m_collections, m_syncData.value(QStringLiteral("collections")).toList(), QString(), {});
    m_syncData.insert(QStringLiteral("collections"), m_collections);
    for (const QVariant &entry : std::as_const(m_proxies)) {
        const QVariantMap proxy = entry.toMap();
        const QString proxyID = proxy.value(QStringLiteral("principal-URL")).toString();
        m_calendarGroups->renameGroupForProxyID(
            proxyID, proxy.value(QStringLiteral("displayname")).toString());
        processCalendarsInUserDict(
            proxy.value(QStringLiteral("collections")).toList(),
            previousProxyUserDict(proxyID).value(QStringLiteral("collections")).toList(), proxyID,
            proxy);
    }
    if (m_proxies.isEmpty())
        m_syncData.remove(QStringLiteral("proxies"));
    else
        m_syncData.insert(QStringLiteral("proxies"), m_proxies);
    garbageCollectCalendars();
    m_calendarGroups->dropEmptyGroups();
    setNextStep([this] { sendChangedCalendars(); });
}

void CalDAVSyncTask::processCalendarsInUserDict(const QVariantList &collections,
                                                const QVariantList &oldCollections,
                                                const QString &proxyID,
                                                const QVariantMap &proxyDict) {
    QHash<QString, QVariantMap> oldCollectionsByHREF;
    for (const QVariant &entry : oldCollections)
        oldCollectionsByHREF.insert(entry.toMap().value(QStringLiteral("href")).toString(),
                                    entry.toMap());
    const bool readOnlyProxy = proxyDict.value(QStringLiteral("read-only")).toBool();
    for (const QVariant &entry : collections) {
        const QVariantMap collection = entry.toMap();
        if (!isCalendarCollection(collection))
            continue;
        const QString href = collection.value(QStringLiteral("href")).toString();
        SyncableObjectMO *syncable = remoteObjects().localObjectForHREF(href);
        if (syncable && syncable->isTombstone()) {
            // Deleted here: the deletion is sent next.
            logInfo("CalDAVSyncTask (%@): calendar %@ scheduled for deletion; skipping",
                    logIdentity(), href);
            continue;
        }
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
        ModelObject *record = remoteObjects().link(href, calendar->objectInfo());
        CalDAVRemoteObjects::setProxyID(record, proxyID);
        record->setIntegerValue(!readOnlyProxy && grantsWriting(collection)
                                    ? CalendarAccess::kFullAccess
                                    : CalendarAccess::kReadOnly,
                                QStringLiteral("remoteAccess"));
        const QVariantMap oldCollection = oldCollectionsByHREF.value(href);
        updateCalendar(calendar, collection, oldCollection, created);
        if (created) {
            // Set once: the user's reordering is kept afterwards.
            calendar->setSortPositionFromHint(sortOrderFromAccess(
                int(record->integerValueForKey(QStringLiteral("remoteAccess"))),
                calendar->integerValueForKey(QStringLiteral("supportedEventTypes"))));
            if (!proxyID.isEmpty()) {
                placeProxyCalendarInGroup(calendar, proxyID, proxyDict);
            } else if (isSharedCollection(collection)) {
                // Shown with the other calendars its owner shares, under the
                // owner's name.
                const QString owner = ownerOfCollection(collection);
                placeProxyCalendarInGroup(calendar, owner, sharedOwnerDict(owner));
            }
            noteAgreedWithServer(calendar->objectInfo(), std::nullopt);
        }
        const bool webdavSync = collection.value(QStringLiteral("supported-report-set"))
                                    .toStringList()
                                    .contains(QStringLiteral("sync-collection"));
        // Without a token kept, a calendar that can sync by token has never
        // been listed in full.
        const bool neverListed =
            webdavSync && record->valueForKey(QStringLiteral("editURL")).toString().isEmpty();
        if (created || neverListed || oldCollection.isEmpty() ||
            m_calendarsToRelist.contains(href) ||
            contentsStampOf(collection) != contentsStampOf(oldCollection)) {
            logInfo("CalDAV: updating calendar %@ (%@)",
                    calendar->effectiveTitle().value_or(QString()), href);
            m_calendarsToFetch.append({calendar, href, webdavSync});
        }
    }
}

void CalDAVSyncTask::placeProxyCalendarInGroup(CommonDataMO *calendar, const QString &proxyID,
                                               const QVariantMap &proxyDict) {
    calendar->setObject(
        QStringLiteral("parentGroup"),
        takesToDosOnly(calendar->integerValueForKey(QStringLiteral("supportedEventTypes")))
            ? m_calendarGroups->calendarGroupForTasks()
            : m_calendarGroups->calendarGroupForProxyID(
                  proxyID, proxyDict.value(QStringLiteral("displayname")).toString()));
}

qint64 CalDAVSyncTask::sortOrderFromAccess(int access, qint64 supportedEventTypes) {
    return (access >= CalendarAccess::kFullAccess ? kWritableSortOrder : kReadOnlySortOrder) +
           (takesToDosOnly(supportedEventTypes) ? kTasksSortOffset : 0);
}

void CalDAVSyncTask::updateCalendar(CommonDataMO *calendar, const QVariantMap &collection,
                                    const QVariantMap &oldCollection, bool created) {
    // The first listing of a calendar made here: what the server did not
    // keep stays as it is here.
    const bool firstListing = !created && oldCollection.isEmpty();
    const auto changed = [&](const QString &key) {
        if (firstListing && key == transparencyKey() && !serverSchedules())
            return false;  // not sent: what the server says is not the choice made here
        if (firstListing)
            return isListedValue(collection.value(key));
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
    if (changed(transparencyKey())) {
        logInfo("CalDAVSyncTask (%@): transparency changed", logIdentity());
        calendar->setIntegerValue(isOpaqueTransparency(collection.value(transparencyKey())) ? 1 : 0,
                                  QStringLiteral("blocksTime"));
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
    // Records whose object was gone before were dropped during the listing;
    // the items of a calendar deleted now leave theirs.
    const bool deletedCalendars = !m_markedCalendars.isEmpty();
    for (SyncableObjectMO *syncable : std::as_const(m_markedCalendars)) {
        CommonDataMO *calendar = syncable->objectData();
        logInfo("CalDAV: garbage collecting calendar %@ (%@)",
                calendar->effectiveTitle().value_or(QString()), syncable->uid());
        ManagedObjectContext *context = syncable->managedObjectContext();
        CommonDataMO::deleteObject(calendar, false);
        context->deleteObject(syncable);
    }
    m_markedCalendars.clear();
    if (deletedCalendars || !m_orphansDropped)
        remoteObjects().dropOrphans();
}

QList<SyncableObjectMO *> CalDAVSyncTask::changedCalendars() {
    QList<SyncableObjectMO *> changed;
    for (ManagedObject *object :
         remoteService()->objectsForKey(QStringLiteral("ownedContainers"))) {
        auto *calendar = ModelObject::as<SyncableObjectMO>(object);
        if (!calendar || calendar->isDeleted())
            continue;
        const bool onServer = CalDAVRemoteObjects::recordOf(calendar, remoteService());
        if (calendar->isTombstone() && !onServer) {
            calendar->managedObjectContext()->deleteObject(calendar);
            continue;
        }
        if (calendar->isTombstone() || !onServer || calendar->isLocallyModified())
            changed.append(calendar);
    }
    std::stable_sort(changed.begin(), changed.end(), [](const auto *a, const auto *b) {
        return a->dateValueForKey(QStringLiteral("lastModTime")).value_or(Date()) <
               b->dateValueForKey(QStringLiteral("lastModTime")).value_or(Date());
    });
    return changed;
}

bool CalDAVSyncTask::serverSchedules() const {
    return m_syncData.value(QStringLiteral("dav"))
        .toString()
        .split(QLatin1Char(','))
        .contains(QLatin1String("calendar-auto-schedule"));
}

QVariantMap CalDAVSyncTask::listedCollection(const QString &href) const {
    QVariantList listed = m_collections;
    for (const QVariant &proxy : m_proxies)
        listed += proxy.toMap().value(QStringLiteral("collections")).toList();
    for (const QVariant &entry : std::as_const(listed))
        if (PropertyKey::isEqualToHREF(entry.toMap().value(QStringLiteral("href")).toString(),
                                       href))
            return entry.toMap();
    return {};
}

void CalDAVSyncTask::sendChangedCalendars() {
    m_calendarListRefreshed = true;
    m_changedCalendars = changedCalendars();
    sendChangedCalendar();
}

void CalDAVSyncTask::sendChangedCalendar() {
    if (m_changedCalendars.isEmpty()) {
        setNextStep([this] { doneWithCalendars(); });
        return;
    }
    SyncableObjectMO *calendar = m_changedCalendars.takeLast();
    if (calendar->isDeleted()) {
        setNextStep([this] { sendChangedCalendar(); });
        return;
    }
    m_sendingCalendar = {calendar,
                         ChangeOp::Change,
                         QString(),
                         {},
                         calendar->dateValueForKey(QStringLiteral("lastModTime"))};
    ModelObject *record = CalDAVRemoteObjects::recordOf(calendar, remoteService());
    if (calendar->isTombstone())
        sendCalendarDelete(calendar, record);
    else if (!record)
        sendCalendarAdd(calendar);
    else
        sendCalendarChange(calendar, record);
}

void CalDAVSyncTask::sendCalendarAdd(SyncableObjectMO *calendar) {
    const QStringList homes =
        m_syncData.value(CalDAVClient::caldavKey("calendar-home-set")).toStringList();
    if (homes.isEmpty()) {
        setNextStep([this] { sendChangedCalendar(); });
        return;
    }
    const CommonDataMO &data = *calendar->objectData();
    QVariantMap values = calendarPropertyValues(data, serverSchedules());
    const QString componentsKey = CalDAVClient::caldavKey("supported-calendar-component-set");
    const QStringList components =
        componentsForEventTypeMask(data.integerValueForKey(QStringLiteral("supportedEventTypes")));
    const bool serverListsComponents =
        std::any_of(m_collections.cbegin(), m_collections.cend(),
                    [&](const QVariant &entry) { return entry.toMap().contains(componentsKey); });
    if (serverListsComponents && !components.isEmpty())
        values.insert(componentsKey, components);
    values.insert(CalDAVClient::caldavKey("timezone"),
                  QString::fromUtf8(ICalWriter::zoneExport(TimeZones::systemZone())));
    m_sendingCalendar.op = ChangeOp::Add;
    m_sendingCalendar.href = QUrl(serviceURLFromPath(homes.first())).path(QUrl::FullyEncoded) +
                             QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() +
                             QLatin1Char('/');
    m_sendingCalendar.values = values;
    logInfo("CalDAV: push add calendar %@ (%@)", data.effectiveTitle().value_or(QString()),
            calendar->uid());
    awaitAnswer([this] { sendCalendarResponse(); });
    caldav().mkcalendar(serviceURLFromPath(m_sendingCalendar.href), values);
}

void CalDAVSyncTask::sendCalendarChange(SyncableObjectMO *calendar, ModelObject *record) {
    const CommonDataMO &data = *calendar->objectData();
    const QString href = record->valueForKey(QStringLiteral("remoteID")).toString();
    if (record->integerValueForKey(QStringLiteral("remoteAccess")) == CalendarAccess::kReadOnly) {
        logInfo("CalDAVSyncTask (%@): ignoring changes to proxy calendar %@", logIdentity(), href);
        noteAgreedWithServer(calendar, m_sendingCalendar.modTime);
        setNextStep([this] { sendChangedCalendar(); });
        return;
    }
    const QVariantMap listed = listedCollection(href);
    QVariantMap values = calendarPropertyValues(data, serverSchedules());
    for (auto it = values.begin(); it != values.end();)
        it = differsFromListed(it.key(), it.value(), listed) ? std::next(it) : values.erase(it);
    if (values.isEmpty()) {
        // Nothing the server does not hold already.
        noteAgreedWithServer(calendar, m_sendingCalendar.modTime);
        setNextStep([this] { sendChangedCalendar(); });
        return;
    }
    m_sendingCalendar.href = href;
    m_sendingCalendar.values = values;
    logInfo("CalDAV: push change calendar %@ (%@)", data.effectiveTitle().value_or(QString()),
            calendar->uid());
    awaitAnswer([this] { sendCalendarResponse(); });
    caldav().proppatch(serviceURLFromPath(href), values);
}

void CalDAVSyncTask::sendCalendarDelete(SyncableObjectMO *calendar, ModelObject *record) {
    const QString href = record->valueForKey(QStringLiteral("remoteID")).toString();
    m_sendingCalendar.op = ChangeOp::Delete;
    m_sendingCalendar.href = href;
    if (record->integerValueForKey(QStringLiteral("remoteAccess")) == CalendarAccess::kReadOnly ||
        !CalDAVRemoteObjects::proxyIDForRemoteObject(record).isEmpty()) {
        // The server keeps it (a proxy does not delete its owner's
        // calendars): it comes back with the next listing.
        logInfo("CalDAVSyncTask (%@): ignoring delete to proxy calendar %@", logIdentity(), href);
        processCalendarResponse(404);
        noteSyncNeeded();
        setNextStep([this] { sendChangedCalendar(); });
        return;
    }
    logInfo("CalDAV: push delete calendar %@ (%@)", href, calendar->uid());
    awaitAnswer([this] { sendCalendarResponse(); });
    caldav().deleteResource(serviceURLFromPath(href), std::nullopt);
}

void CalDAVSyncTask::sendCalendarResponse() {
    const std::optional<ResultStatus> result = resultStatusWithETag();
    if (!result)
        return;
    int status = result->status;
    if (m_sendingCalendar.op == ChangeOp::Change &&
        result->results.value(QStringLiteral("status")).toInt() == 207) {
        // Properties the server refuses stay as they are here; the others
        // are sent again when the refusal made them fail too.
        const RefusedProperties refused = refusedPropertiesOf(result->results);
        for (const QString &key : refused.keys)
            m_sendingCalendar.values.remove(key);
        if (!refused.keys.isEmpty() && refused.othersFailed &&
            !m_sendingCalendar.values.isEmpty()) {
            logInfo("CalDAVSyncTask (%@): calendar %@ refused %@", logIdentity(),
                    m_sendingCalendar.href, refused.keys.join(QStringLiteral(", ")));
            awaitAnswer([this] { sendCalendarResponse(); });
            caldav().proppatch(serviceURLFromPath(m_sendingCalendar.href),
                               m_sendingCalendar.values);
            return;
        }
        if (!refused.keys.isEmpty())
            logWarning("CalDAV: calendar add/delete/change error %ld", long(refused.status));
        status = refused.othersFailed ? 424 : 200;
    }
    processCalendarResponse(status);
    setNextStep([this] { sendChangedCalendar(); });
}

void CalDAVSyncTask::processCalendarResponse(int status) {
    SyncableObjectMO *calendar = m_sendingCalendar.calendar;
    const bool success = status >= 200 && status <= 299;
    if (!success && !(m_sendingCalendar.op == ChangeOp::Delete && status == 404)) {
        logWarning("CalDAV: calendar add/delete/change error %ld", long(status));
        noteSyncNeeded();
        return;
    }
    if (success)
        ++m_counts.calendarsPushed;
    if (calendar->isDeleted())
        return;
    switch (m_sendingCalendar.op) {
        case ChangeOp::Delete:
            remoteObjects().drop(m_sendingCalendar.href);
            if (calendar->isTombstone())
                calendar->managedObjectContext()->deleteObject(calendar);
            break;
        case ChangeOp::Add:
            remoteObjects()
                .link(m_sendingCalendar.href, calendar)
                ->setIntegerValue(CalendarAccess::kFullAccess, QStringLiteral("remoteAccess"));
            noteAgreedWithServer(calendar, m_sendingCalendar.modTime);
            break;
        case ChangeOp::Change:
        case ChangeOp::Move:  // never sent for a calendar
            noteAgreedWithServer(calendar, m_sendingCalendar.modTime);
            break;
    }
}

void CalDAVSyncTask::doneWithCalendars() {
    if (terminateSyncIfPendingChanges()) {
        logInfo(
            "CalDAVSyncTask (%@): doneWithCalendars: terminating sync because of pending "
            "changes",
            logIdentity());
        return;
    }
    if (m_syncCalendarsFirst)
        setNextStep([this] { findChangedEvents(); });
    else
        setNextStep([this] { fetchChangesFromServer(); });
}
