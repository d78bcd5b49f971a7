// The item steps of CalDAVSyncTask that pull the server's changes: per
// calendar, the listing of its resources (sync-collection from the last
// token, else every ETag), the download of the changed ones and their
// merging into the store, and the deletion of what the server dropped.
#include <QUrl>

#include "caldav/CalDAVClient.h"
#include "caldav/CalDAVRemoteObjects.h"
#include "caldav/CalDAVServiceInfo.h"
#include "caldav/CalDAVSyncTask.h"
#include "caldav/PropertyKey.h"
#include "ical/ICalImporter.h"
#include "ical/ICalReadOptions.h"
#include "model/AttachmentFiles.h"
#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/ModelObject.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Clock.h"
#include "model/foundation/Log.h"
#include "model/store/ManagedObjectContext.h"
#include "time/recurrence/ItemRecurrence.h"
#include "time/recurrence/RecurrenceRule.h"

namespace {

constexpr int kMoreChangesStatus = 507;

// The path of an href as the server spelled it; absolute URLs (some servers
// percent-encode them whole) become their path.
QString pathOfListedHREF(const QString &href) {
    QString text = href.trimmed();
    if (text.startsWith(QLatin1String("http%3A"), Qt::CaseInsensitive) ||
        text.startsWith(QLatin1String("https%3A"), Qt::CaseInsensitive))
        text = QUrl::fromPercentEncoding(text.toUtf8());
    if (text.startsWith(QLatin1String("http"), Qt::CaseInsensitive))
        text = QUrl(text).path(QUrl::FullyEncoded);
    return text;
}

// The value of a property that came back with status 200.
QVariant foundValueOf(const QVariantMap &response, const QString &key) {
    const int responseStatus = response.value(QStringLiteral("status"), 200).toInt();
    for (const QVariant &entry : response.value(QStringLiteral("propstat")).toList()) {
        const QVariantMap propstat = entry.toMap();
        const QVariant status = propstat.value(QStringLiteral("property status"));
        if (propstat.contains(key) && (status.isValid() ? status.toInt() : responseStatus) == 200)
            return propstat.value(key);
    }
    return QVariant();
}

// The item of a resource: the repeating item when the UID leads to one of
// its detached instances; from the calendar's items by UID when known.
CommonDataMO *mainItemWithUID(const CommonDataMO &calendar, const QString &uid,
                              const ICalImporter::ItemsByUID *items) {
    if (items)
        return items->items.value(uid);
    CommonDataMO *item = calendar.childWithUID(uid);
    if (item && item->entityName() == QLatin1String("DetachedEvent"))
        if (auto *original =
                ModelObject::as<CommonDataMO>(item->objectForKey(QStringLiteral("originalEvent"))))
            return original;
    return item;
}

// Deletes the item's detached instances that the resource no longer holds,
// so that the series' occurrences they replaced come back, with their
// remote objects.
void dropDetachedInstancesNotIn(CommonDataMO *item, const QList<CommonDataMO *> &pulled,
                                const CommonDataMO &calendar, CalDAVRemoteObjects &records,
                                const QString &href) {
    ItemRecurrence recurrence(item);
    const QList<CommonDataMO *> local = recurrence.detachedInstances();
    bool dropped = false;
    for (CommonDataMO *detached : local) {
        if (pulled.contains(detached))
            continue;
        logInfo("CalDAV: garbage collecting %@ event %@ (%@) from calendar %@",
                QStringLiteral("detached"), detached->effectiveTitle().value_or(QString()),
                detached->uid(), calendar.effectiveTitle().value_or(QString()));
        SyncableObjectMO *tombstone = detached->objectInfo();
        records.drop(CalDAVRemoteObjects::detachedRemoteID(href, *detached));
        ManagedObjectContext *context = tombstone->managedObjectContext();
        CommonDataMO::deleteObject(detached, false);
        context->deleteObject(tombstone);
        dropped = true;
    }
    if (dropped)
        recurrence.detachedInstancesChanged();
}

// The files a server manages for the item and its detached instances that
// are not on disk wait for the file step, as web files do, when the calendar
// fetches its files: another client's attachment reaches this machine.
void markManagedFilesForDownload(CommonDataMO *item, const CommonDataMO &calendar) {
    if (!calendar.boolValueForKey(QStringLiteral("localFetchAttachments")))
        return;
    QList<CommonDataMO *> items = ItemRecurrence(item).detachedInstances();
    items.prepend(item);
    for (CommonDataMO *each : std::as_const(items))
        for (ExtraDataMO *record : each->extrasForRelationship(QStringLiteral("attachments"))) {
            const QVariantMap managed = record->dictionaryValueForKey(QStringLiteral("url"));
            if (managed.value(QStringLiteral("id")).toString().isEmpty() ||
                record->boolValueForKey(QStringLiteral("needsToBeFetched")) ||
                record->boolValueForKey(QStringLiteral("needsToBeStored")) ||
                AttachmentFiles::haveAttachmentOnDisk(*record))
                continue;
            record->setBoolValue(true, QStringLiteral("needsToBeFetched"));
        }
}

}  // namespace

void CalDAVSyncTask::fetchChangesFromServer() {
    logInfo("CalDAVSyncTask (%@): fetchChangesFromServer", logIdentity());
    resetStartOfSyncTimeIfNoPendingChanges();
    setNextStep([this] { fetchChangesFromCalendar(); });
}

void CalDAVSyncTask::fetchChangesFromCalendar() {
    if (m_calendarsToFetch.isEmpty()) {
        endOfSync();
        return;
    }
    m_fetching = m_calendarsToFetch.takeLast();
    const QString token =
        remoteObjects().forHREF(m_fetching.href)->valueForKey(QStringLiteral("editURL")).toString();
    m_fullSync = !m_fetching.webdavSync || token.isEmpty();
    m_takeAllContent = false;
    m_newSyncToken.reset();
    m_serverChanges.clear();
    m_eventsToFetch.clear();
    m_fetchChunkSize = m_downloadChunkSize;
    m_fetchedItems.reset();
    m_markedHREFs.clear();
    if (m_fullSync)
        markItemsOfCalendar();
    sendChangesRequest(m_fullSync ? QString() : token);
}

void CalDAVSyncTask::markItemsOfCalendar() {
    m_markedHREFs.clear();
    for (ManagedObject *child :
         m_fetching.calendar->objectsForKey(QStringLiteral("childrenDirect"))) {
        auto *item = ModelObject::as<CommonDataMO>(child);
        if (!item || item->entityName() != QLatin1String("Event") || !item->objectInfo())
            continue;
        for (ManagedObject *record : item->objectInfo()->objectsForKey(QStringLiteral("syncsTo")))
            if (record->objectForKey(QStringLiteral("theRemoteService")) == remoteService())
                m_markedHREFs.insert(record->valueForKey(QStringLiteral("remoteID")).toString());
    }
}

void CalDAVSyncTask::sendChangesRequest(const QString &token) {
    const QString url = serviceURLFromPath(m_fetching.href);
    m_resultsInBackground = true;
    awaitAnswer([this] { fetchChangesFromCalendarResponse(); });
    if (m_fetching.webdavSync) {
        logInfo("CalDAVSyncTask (%@): webdav sync for calendar %@", logIdentity(), url);
        caldav().syncCollectionReport(url, token, {QStringLiteral("getetag")}, true);
    } else {
        logInfo("CalDAVSyncTask (%@): fetch etags for calendar %@", logIdentity(), url);
        caldav().propfind(url, 0, 1, {QStringLiteral("getetag")});
    }
}

void CalDAVSyncTask::fetchChangesFromCalendarResponse() {
    const bool tokenSent = m_fetching.webdavSync && !m_fullSync;
    const std::optional<QVariantMap> results = multiStatusResultsDict(true, tokenSent);
    if (!results)
        return;
    const int status = results->value(QStringLiteral("status")).toInt();
    if (tokenSent && status != 207) {
        // The server no longer knows the token (or never did): list it all.
        logInfo("CalDAVSyncTask (%@): out of date error", logIdentity());
        m_fullSync = true;
        m_takeAllContent = status == 410;
        m_serverChanges.clear();
        markItemsOfCalendar();
        sendChangesRequest(QString());
        return;
    }
    if (status >= 400) {
        logWarning("CalDAVSyncTask (%@): webdav sync error", logIdentity());
        finishWithState(SyncState::UnableToConnect);
        return;
    }
    bool moreChanges = false;
    for (const QVariant &entry : results->value(QStringLiteral("multistatus")).toList()) {
        const QVariantMap response = entry.toMap();
        const QString href = pathOfListedHREF(response.value(QStringLiteral("href")).toString());
        const int responseStatus = response.value(QStringLiteral("status"), 200).toInt();
        if (href.isEmpty() || PropertyKey::isEqualToHREF(href, m_fetching.href)) {
            moreChanges = moreChanges || responseStatus == kMoreChangesStatus;
            continue;
        }
        if (responseStatus == 404) {
            m_serverChanges.append({href, std::nullopt});
            continue;
        }
        const QString etag = foundValueOf(response, QStringLiteral("getetag")).toString();
        if ((responseStatus == 200 || responseStatus == 201) && !etag.isEmpty())
            m_serverChanges.append({href, etag});
    }
    if (m_fetching.webdavSync) {
        const QString token = results->value(QStringLiteral("sync-token")).toString();
        if (!token.isEmpty())
            m_newSyncToken = token;
        if (moreChanges && m_newSyncToken) {
            logInfo("CalDAVSyncTask (%@): continue webdav sync...", logIdentity());
            sendChangesRequest(*m_newSyncToken);
            return;
        }
    }
    setNextStep([this] { processServerChanges(); });
}

void CalDAVSyncTask::processServerChanges() {
    while (!m_serverChanges.isEmpty()) {
        if (timeToYield())
            return;
        const auto [href, etag] = m_serverChanges.takeFirst();
        m_markedHREFs.remove(href);
        if (!etag) {
            deleteReceivedItem(href);
            continue;
        }
        const ModelObject *record = remoteObjects().forHREF(href);
        const bool known = record && remoteObjects().localObjectForHREF(href) &&
                           CalDAVRemoteObjects::etagOf(record) == etag;
        if (!known || m_takeAllContent)
            m_eventsToFetch.append(href);
    }
    if (m_eventsToFetch.size() > kItemsLookedUpOneByOne)
        m_fetchedItems.emplace();
    if (m_eventsToFetch.isEmpty())
        setNextStep([this] { doneWithChangesFromCalendar(); });
    else
        setNextStep([this] { fetchChangedEvents(); });
}

void CalDAVSyncTask::fetchChangedEvents() {
    awaitAnswer([this] { multigetResponse(); });
    sendMultiget();
}

void CalDAVSyncTask::sendMultiget() {
    m_requestedChunk = int(std::min<qsizetype>(m_fetchChunkSize, m_eventsToFetch.size()));
    logInfo("CalDAVSyncTask (%@): multiget events", logIdentity());
    m_resultsInBackground = true;
    caldav().calendarMultigetReport(
        serviceURLFromPath(m_fetching.href),
        {QStringLiteral("getetag"), CalDAVClient::caldavKey("calendar-data")},
        m_eventsToFetch.mid(0, m_requestedChunk));
}

void CalDAVSyncTask::multigetResponse() {
    const bool answered = caldav().response().has_value();
    const std::optional<QVariantMap> results = multiStatusResultsDict(true);
    if (!results) {
        if (!answered)
            m_downloadChunkSize = std::max(1, m_downloadChunkSize / 2);
        return;
    }
    if (results->value(QStringLiteral("status")).toInt() == 404) {
        logInfo("CalDAVSyncTask (%@): bogus response to multi-get; retrying", logIdentity());
        finishWithState(SyncState::UnableToConnect);
        return;
    }
    m_eventResponseDicts = results->value(QStringLiteral("multistatus")).toList();
    m_eventsToFetch.remove(0, m_requestedChunk);
    if (m_downloadChunkSize == kDownloadChunkSize &&
        caldav().responseSeconds() < kQuickBatchSeconds)
        m_fetchChunkSize = std::min(m_fetchChunkSize * 2, kMaxDownloadChunkSize);
    // The server prepares the next chunk while this one is merged.
    if (!m_eventsToFetch.isEmpty()) {
        m_multigetAhead = true;
        sendMultiget();
    }
    setNextStep([this] { processChangedEvents(); });
}

void CalDAVSyncTask::processChangedEvents() {
    while (!m_eventResponseDicts.isEmpty()) {
        if (timeToYield())
            return;
        processEventChange(m_eventResponseDicts.takeFirst().toMap());
    }
    if (m_eventsToFetch.isEmpty())
        setNextStep([this] { doneWithChangesFromCalendar(); });
    else if (m_multigetAhead)
        awaitAnswer([this] { multigetResponse(); });
    else
        setNextStep([this] { multigetResponse(); });
}

void CalDAVSyncTask::processEventChange(const QVariantMap &response) {
    const QString href = pathOfListedHREF(response.value(QStringLiteral("href")).toString());
    const QString etag = foundValueOf(response, QStringLiteral("getetag")).toString();
    const QString data = foundValueOf(response, CalDAVClient::caldavKey("calendar-data"))
                             .toMap()
                             .value(QStringLiteral("ics"))
                             .toString();
    CommonDataMO *item = storeResource(m_fetching.calendar, href, etag, data);
    if (!item)
        return;
    ++m_counts.pulled;
    logInfo("CalDAV: pull change event %@ (%@) from calendar %@",
            item->effectiveTitle().value_or(QString()), item->uid(),
            m_fetching.calendar->effectiveTitle().value_or(QString()));
}

CommonDataMO *CalDAVSyncTask::storeResource(CommonDataMO *calendar, const QString &href,
                                            const QString &etag, const QString &data) {
    if (data.trimmed().isEmpty()) {
        logWarning("CalDAV: no calendar data for %@", href);
        return nullptr;
    }
    ICalImporter::Result result;
    QList<CommonDataMO *> placeholders;
    ICalImporter::ItemsByUID *items =
        m_fetchedItems && calendar == m_fetching.calendar ? &*m_fetchedItems : nullptr;
    try {
        ICalImporter importer(data.toUtf8());
        importer.shareItemsByUID(items);
        importer.setMainEventMaker([&](const QString &uid, const CalendarDate &originalTime) {
            placeholders.append(
                createDummyMainEventForOrphanedDetachedEvents(calendar, uid, originalTime));
            return placeholders.last();
        });
        quint32 options = ICalReadOptions::Alarms | ICalReadOptions::Attachments;
        if (CalDAVServiceInfo::supportsManagedAttachments(remoteService()))
            options |= ICalReadOptions::ManagedAttachments;
        result = importer.importInto(calendar, options);
    } catch (const ICalImporter::NotICalendar &error) {
        logWarning("CalDAV: not a vcalendar (%s) for %@", error.what(), href);
        return nullptr;
    }
    for (const ICalImporter::Skipped &skipped : std::as_const(result.skipped))
        logWarning("CalDAV: invalid event in %@: %@ (%@)", href, skipped.component, skipped.reason);
    for (CommonDataMO *placeholder : std::as_const(placeholders))
        finishDummyMainEvent(placeholder);
    CommonDataMO *item =
        result.uids.isEmpty() ? nullptr : mainItemWithUID(*calendar, result.uids.first(), items);
    if (!item) {
        logWarning("CalDAV: no main event in %@", href);
        return nullptr;
    }
    dropDetachedInstancesNotIn(item, result.detached, *calendar, remoteObjects(), href);
    markManagedFilesForDownload(item, *calendar);
    ModelObject *record = remoteObjects().link(href, item->objectInfo());
    record->setValue(QStringLiteral("remoteETag"), etag);
    record->setDateValue(Clock::shared().now(), QStringLiteral("remoteLastUpdateTime"));
    makeRemoteObjectsForDetachedEventsInEvent(item, href, etag);
    noteAgreedWithServer(item->objectInfo(), std::nullopt);
    return item;
}

void CalDAVSyncTask::doneWithChangesFromCalendar() {
    if (m_fullSync) {
        for (const QString &href : std::as_const(m_markedHREFs))
            deleteReceivedItem(href);
        m_markedHREFs.clear();
    }
    m_fetchedItems.reset();
    if (m_newSyncToken)
        remoteObjects()
            .forHREF(m_fetching.href)
            ->setValue(QStringLiteral("editURL"), *m_newSyncToken);
    setNextStep([this] { fetchChangesFromCalendar(); });
}

void CalDAVSyncTask::deleteReceivedItem(const QString &href) {
    SyncableObjectMO *syncable = remoteObjects().localObjectForHREF(href);
    remoteObjects().drop(href);
    CommonDataMO *item = syncable ? syncable->objectData() : nullptr;
    if (!item)
        return;
    logInfo("CalDAV: pull delete event %@ (%@) from calendar %@",
            item->effectiveTitle().value_or(QString()), item->uid(),
            m_fetching.calendar->effectiveTitle().value_or(QString()));
    if (m_fetchedItems)
        m_fetchedItems->items.remove(item->uid());
    QList<SyncableObjectMO *> syncables{syncable};
    if (item->propertyNamed(QStringLiteral("detachedEvents")))
        for (ManagedObject *instance : item->objectsForKey(QStringLiteral("detachedEvents")))
            if (SyncableObjectMO *info = ModelObject::as<CommonDataMO>(instance)->objectInfo()) {
                syncables.append(info);
                if (const ModelObject *record =
                        CalDAVRemoteObjects::recordOf(info, remoteService()))
                    remoteObjects().drop(
                        record->valueForKey(QStringLiteral("remoteID")).toString());
            }
    ManagedObjectContext *context = syncable->managedObjectContext();
    CommonDataMO::deleteObject(item, false);
    for (SyncableObjectMO *tombstone : std::as_const(syncables))
        context->deleteObject(tombstone);
    ++m_counts.deleted;
}

CommonDataMO *CalDAVSyncTask::createDummyMainEventForOrphanedDetachedEvents(
    CommonDataMO *calendar, const QString &uid, const CalendarDate &originalTime) {
    logInfo("CalDAV: creating dummy main event (%@) for orphaned detached events", uid);
    CommonDataMO *placeholder = CommonDataMO::makeObject(QStringLiteral("Event"), calendar);
    placeholder->objectInfo()->setValue(QStringLiteral("uid"), uid);
    placeholder->objectInfo()->touchLastModTime();
    placeholder->setBoolValue(true, QStringLiteral("localOrphaned"));
    placeholder->setBoolValue(originalTime.isDateOnly(), QStringLiteral("allDay"));
    placeholder->setBoolValue(originalTime.isUniversal() && !originalTime.isDateOnly(),
                              QStringLiteral("floatingEvent"));
    placeholder->setCalendarDateValue(originalTime, QStringLiteral("startTimeAndZone"));
    placeholder->setCalendarDateValue(originalTime, QStringLiteral("endTimeAndZone"));
    // One occurrence, which the first detached instance replaces.
    RecurrenceRule rule = RecurrenceRule::rule();
    rule.count = 1;
    rule.frequency = RecurrenceRule::Daily;
    rule.interval = 1;
    rule.weekStartDay = 1;
    ItemRecurrence::attachRecurrence(rule, placeholder, false, false);
    return placeholder;
}

void CalDAVSyncTask::finishDummyMainEvent(CommonDataMO *placeholder) {
    ItemRecurrence recurrence(placeholder);
    const QList<CommonDataMO *> detached = recurrence.detachedInstances();
    const QList<ExtraDataMO *> organizers =
        detached.isEmpty() ? QList<ExtraDataMO *>()
                           : detached.first()->extrasForRelationship(QStringLiteral("organizers"));
    ExtraDataMO *organizer = ExtraDataMO::makeExtra(QStringLiteral("Organizer"), placeholder);
    organizer->assignUIDIfNeeded();
    if (organizers.isEmpty()) {
        organizer->setValue(QStringLiteral("meetingUID"), placeholder->uid());
        organizer->setValue(QStringLiteral("email"), QLatin1String(kOrphanedOrganizerAddress));
    } else {
        for (const char *key : {"meetingUID", "name", "email"})
            organizer->setValue(QLatin1String(key),
                                organizers.first()->valueForKey(QLatin1String(key)));
    }
    recurrence.calcFirstAndLastDay(true);
    placeholder->calcSearchText();
}

void CalDAVSyncTask::makeRemoteObjectsForDetachedEventsInEvent(CommonDataMO *item,
                                                               const QString &href,
                                                               const QString &etag) {
    for (CommonDataMO *detached : ItemRecurrence(item).detachedInstances())
        makeRemoteObjectForDetachedEventWithOriginalID(detached, href, etag);
}

void CalDAVSyncTask::makeRemoteObjectForDetachedEventWithOriginalID(CommonDataMO *detached,
                                                                    const QString &href,
                                                                    const QString &etag) {
    const QString remoteID = CalDAVRemoteObjects::detachedRemoteID(href, *detached);
    if (remoteID.isEmpty() || !detached->objectInfo())
        return;
    ModelObject *record = remoteObjects().link(remoteID, detached->objectInfo());
    record->setValue(QStringLiteral("remoteETag"), etag);
    record->setDateValue(Clock::shared().now(), QStringLiteral("remoteLastUpdateTime"));
}
