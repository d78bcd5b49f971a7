// The item steps of CalDAVSyncTask that send local changes, before the
// calendar list is read again: per synced calendar, the items changed here
// since the server last agreed to them, each sent in one request with the
// ETag it was last seen with (a PUT that only creates for a new item, a PUT
// or DELETE that only replaces what was seen for the others). An item the
// server changed meanwhile is not overwritten: the local version goes to the
// conflict bin under a new UID, and the server's version is downloaded,
// unless the edit was marked to give way (then it is only downloaded). An
// item the server refuses to store (a read-only calendar, a size limit) goes
// to the conflict bin with the server's reason, so that it is not offered
// again every cycle; the server's copy of a refused edit or deletion is
// downloaded again. An item moved here to another calendar of the account
// is moved on the server as well (MOVE, never over a resource already
// there), so that its resource keeps its uid and is neither lost nor
// doubled; a server that refuses the move gets the item in the new calendar
// as a new one and the deletion of the old resource instead.
#include <QDateTime>
#include <QSet>
#include <QUrl>
#include <algorithm>

#include "caldav/CalDAVClient.h"
#include "caldav/CalDAVRemoteObjects.h"
#include "caldav/CalDAVServiceInfo.h"
#include "caldav/CalDAVSyncTask.h"
#include "caldav/PropertyKey.h"
#include "ical/ICalWriteOptions.h"
#include "ical/ICalWriter.h"
#include "model/CalendarAccess.h"
#include "model/CalendarChanges.h"
#include "model/CommonDataMO.h"
#include "model/ConflictBin.h"
#include "model/ItemCodes.h"
#include "model/ModelObject.h"
#include "model/Queries.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Clock.h"
#include "model/foundation/Log.h"
#include "model/store/ManagedObjectContext.h"

namespace {

// "Content Too Large": the request's body is more than the server takes.
constexpr int kPayloadTooLargeStatus = 413;
constexpr int kPreconditionFailedStatus = 412;

// The main item a changed syncable object stands for: itself, or the
// original of a detached instance.
SyncableObjectMO *mainSyncableOf(SyncableObjectMO *syncable) {
    const CommonDataMO *data = syncable->objectData();
    if (data && data->entityName() == QLatin1String("DetachedEvent"))
        if (auto *original =
                ModelObject::as<CommonDataMO>(data->objectForKey(QStringLiteral("originalEvent"))))
            return original->objectInfo();
    return syncable;
}

// The syncable objects of an item and its detached instances.
QList<SyncableObjectMO *> syncablesOfItem(SyncableObjectMO *syncable) {
    QList<SyncableObjectMO *> syncables{syncable};
    const CommonDataMO *item = syncable->objectData();
    if (item && item->propertyNamed(QStringLiteral("detachedEvents")))
        for (ManagedObject *instance : item->objectsForKey(QStringLiteral("detachedEvents")))
            if (SyncableObjectMO *info = ModelObject::as<CommonDataMO>(instance)->objectInfo())
                syncables.append(info);
    return syncables;
}

// Deletes the tombstones of that UID in the calendar: the deletion is done.
void purgeTombstonesWithUID(const QString &uid, const SyncableObjectMO *calendar) {
    for (ManagedObject *object : Queries::syncableChildrenForUID(uid)) {
        auto *syncable = ModelObject::as<SyncableObjectMO>(object);
        if (syncable && syncable->isTombstone() && syncable->parentContainer() == calendar)
            syncable->managedObjectContext()->deleteObject(syncable);
    }
}

// The ETag header of an answer without the weak mark, or none.
std::optional<QString> pushedETagOf(const QVariantMap &results) {
    const QVariantMap headers = results.value(QStringLiteral("headers")).toMap();
    for (auto it = headers.cbegin(); it != headers.cend(); ++it) {
        if (it.key().compare(QLatin1String("ETag"), Qt::CaseInsensitive) != 0)
            continue;
        QString etag = it.value().toString().trimmed();
        if (etag.startsWith(QLatin1String("W/"), Qt::CaseInsensitive))
            etag = etag.mid(2);
        return etag.isEmpty() ? std::nullopt : std::optional<QString>(etag);
    }
    return std::nullopt;
}

// The status of a single-resource answer: a multi-status one (a refusal
// some servers wrap in 207) gives the highest of its responses.
int pushStatusOf(const QVariantMap &results) {
    int status = results.value(QStringLiteral("status")).toInt();
    if (status != 207)
        return status;
    int highest = 0;
    for (const QVariant &entry : results.value(QStringLiteral("multistatus")).toList())
        highest = std::max(highest, entry.toMap().value(QStringLiteral("status"), 200).toInt());
    return highest ? highest : 200;
}

// The ETag a PROPFIND of one resource found, or none.
std::optional<QString> listedETagOf(const QVariantMap &results) {
    for (const QVariant &response : results.value(QStringLiteral("multistatus")).toList())
        for (const QVariant &entry : response.toMap().value(QStringLiteral("propstat")).toList()) {
            const QVariantMap propstat = entry.toMap();
            if (propstat.value(QStringLiteral("property status"), 200).toInt() == 200 &&
                !propstat.value(QStringLiteral("getetag")).toString().isEmpty())
                return propstat.value(QStringLiteral("getetag")).toString();
        }
    return std::nullopt;
}

// The URL of a resource: the service's URL of its href without the slash
// that ends collection URLs.
QString resourceURLOf(QString url) {
    if (url.endsWith(QLatin1Char('/')))
        url.chop(1);
    return url;
}

// The href a new item of that uid takes in the calendar.
QString newItemHREF(const QString &calendarHREF, const QString &uid) {
    return calendarHREF + QString::fromLatin1(QUrl::toPercentEncoding(uid)) +
           QStringLiteral(".ics");
}

}  // namespace

void CalDAVSyncTask::findChangedEvents() {
    const std::optional<Date> lastUpdate =
        remoteService()->dateValueForKey(QStringLiteral("lastUpdateTime"));
    logInfo("CalDAVSyncTask (%@): events received since %@", logIdentity(),
            lastUpdate ? lastUpdate->toDateTime().toString(Qt::ISODate) : QString());
    m_changedSyncableEvents.clear();
    for (ManagedObject *object :
         remoteService()->objectsForKey(QStringLiteral("ownedContainers"))) {
        auto *calendar = ModelObject::as<SyncableObjectMO>(object);
        const ModelObject *calendarRecord =
            calendar && !calendar->isTombstone()
                ? CalDAVRemoteObjects::recordOf(calendar, remoteService())
                : nullptr;
        if (!calendarRecord)
            continue;
        const QString href = calendarRecord->valueForKey(QStringLiteral("remoteID")).toString();
        QSet<SyncableObjectMO *> listed;
        qsizetype received = 0;
        for (SyncableObjectMO *changed :
             CalendarChanges::modifiedRemoteChildren(*calendar->objectData())) {
            SyncableObjectMO *main = mainSyncableOf(changed);
            if (main->isTombstone() && !CalDAVRemoteObjects::recordOf(main, remoteService())) {
                // Never on the server, or a deleted detached instance: the
                // item itself is sent when it still exists.
                CommonDataMO *item = calendar->objectData()->childWithUID(changed->uid());
                changed->managedObjectContext()->deleteObject(changed);
                if (!item)
                    continue;
                main = mainSyncableOf(item->objectInfo());
            }
            if (listed.contains(main))
                continue;
            listed.insert(main);
            m_changedSyncableEvents.append({main, href});
            ++received;
        }
        logInfo("CalDAVSyncTask (%@): events received = %ld", logIdentity(), long(received));
    }
    // Moves go first, so that the moved item is sent as an edit of the
    // resource in its new calendar rather than as a second copy.
    QList<ChangedEvent> moves;
    m_changedSyncableEvents.removeIf([&](const ChangedEvent &each) {
        const bool moved =
            each.syncable->isTombstone() && deletedSyncableEventWasMoved(each.syncable);
        if (moved)
            moves.append(each);
        return moved;
    });
    m_changedSyncableEvents.append(moves);
    setNextStep([this] { sendChangedEvent(); });
}

void CalDAVSyncTask::sendChangedEvent() {
    if (m_changedSyncableEvents.isEmpty()) {
        if (m_calendarListRefreshed)
            setNextStep([this] { fetchChangesFromServer(); });
        else
            setNextStep([this] { fetchUserInfo(); });
        return;
    }
    m_sending = m_changedSyncableEvents.takeLast();
    SyncableObjectMO *syncable = m_sending.syncable;
    if (syncable->isDeleted()) {
        setNextStep([this] { sendChangedEvent(); });
        return;
    }
    ModelObject *record = CalDAVRemoteObjects::recordOf(syncable, remoteService());
    if (isReadOnlyProxyCalendar(remoteObjects().forHREF(m_sending.calendarHREF))) {
        ignoreChangeInReadOnlyProxyCalendar(record);
        return;
    }
    if (!syncable->isTombstone()) {
        sendEventChange(syncable, record);
        return;
    }
    if (!record) {
        // Made and deleted here since the list was made: nothing to send.
        syncable->managedObjectContext()->deleteObject(syncable);
        setNextStep([this] { sendChangedEvent(); });
        return;
    }
    if (!m_sending.plainDelete)
        if (const std::optional<ChangedEvent> target = deletedSyncableEventWasMoved(syncable)) {
            sendEventMove(record, *target);
            return;
        }
    m_changeOp = ChangeOp::Delete;
    m_sendingHREF = record->valueForKey(QStringLiteral("remoteID")).toString();
    logInfo("CalDAV: push delete event (%@) to calendar %@", syncable->uid(),
            m_sending.calendarHREF);
    awaitAnswer([this] { sendEventResponse(); });
    caldav().deleteResource(resourceURLOf(serviceURLFromPath(m_sendingHREF)),
                            CalDAVRemoteObjects::etagOf(record));
}

bool CalDAVSyncTask::isReadOnlyProxyCalendar(const ModelObject *calendarRecord) {
    return calendarRecord &&
           !CalDAVRemoteObjects::proxyIDForRemoteObject(calendarRecord).isEmpty() &&
           calendarRecord->integerValueForKey(QStringLiteral("remoteAccess")) ==
               CalendarAccess::kReadOnly;
}

void CalDAVSyncTask::ignoreChangeInReadOnlyProxyCalendar(ModelObject *record) {
    SyncableObjectMO *syncable = m_sending.syncable;
    logInfo("CalDAVSyncTask (%@): ignoring change to event (%@) in read-only proxy calendar %@",
            logIdentity(), syncable->uid(), m_sending.calendarHREF);
    const QString reason = QStringLiteral("Calendar is read-only");
    if (!syncable->isTombstone())
        ++m_counts.conflicts;
    if (record) {
        keepConflictingVersion(syncable, record->valueForKey(QStringLiteral("remoteID")).toString(),
                               reason);
        fetchNeededForCalendar(m_sending.calendarHREF);
    } else if (syncable->isTombstone()) {
        syncable->managedObjectContext()->deleteObject(syncable);
    } else {
        ConflictBin::copyChildToConflictBinAndDeleteOriginal(syncable, reason);
    }
    setNextStep([this] { sendChangedEvent(); });
}

void CalDAVSyncTask::sendEventChange(SyncableObjectMO *syncable, ModelObject *record) {
    CommonDataMO *item = syncable->objectData();
    ICalWriter::Request request;
    if (CalDAVServiceInfo::supportsManagedAttachments(remoteService()))
        request.options |= ICalWriteOptions::ManagedAttachments;
    const QByteArray data = ICalWriter::wholeObject(item, request);
    std::optional<QString> etag;
    if (record) {
        m_changeOp = ChangeOp::Change;
        m_sendingHREF = record->valueForKey(QStringLiteral("remoteID")).toString();
        etag = CalDAVRemoteObjects::etagOf(record);
    } else {
        m_changeOp = ChangeOp::Add;
        m_sendingHREF = newItemHREF(m_sending.calendarHREF, syncable->uid());
    }
    m_sentModTime = syncable->dateValueForKey(QStringLiteral("lastModTime"));
    const SyncableObjectMO *calendar = syncable->parentContainer();
    logInfo("CalDAV: push %@ event %@ (%@) to calendar %@",
            record ? QStringLiteral("change") : QStringLiteral("add"),
            item->effectiveTitle().value_or(QString()), syncable->uid(),
            calendar && calendar->objectData()
                ? calendar->objectData()->effectiveTitle().value_or(QString())
                : QString());
    awaitAnswer([this] { sendEventResponse(); });
    caldav().put(resourceURLOf(serviceURLFromPath(m_sendingHREF)), etag, std::nullopt, data);
}

std::optional<CalDAVSyncTask::ChangedEvent> CalDAVSyncTask::deletedSyncableEventWasMoved(
    SyncableObjectMO *syncable) {
    for (ManagedObject *object : Queries::syncableChildrenForUID(syncable->uid())) {
        auto *moved = ModelObject::as<SyncableObjectMO>(object);
        if (!moved || moved == syncable || moved->isTombstone() || moved->isDeleted() ||
            moved->parentContainer() == syncable->parentContainer() ||
            mainSyncableOf(moved) != moved)
            continue;
        const SyncableObjectMO *calendar = moved->parentContainer();
        const ModelObject *calendarRecord =
            calendar && calendar->ownedBy() == remoteService()
                ? CalDAVRemoteObjects::recordOf(calendar, remoteService())
                : nullptr;
        if (calendarRecord)
            return ChangedEvent{moved,
                                calendarRecord->valueForKey(QStringLiteral("remoteID")).toString()};
    }
    return std::nullopt;
}

void CalDAVSyncTask::sendEventMove(ModelObject *record, const ChangedEvent &target) {
    m_changeOp = ChangeOp::Move;
    m_sendingHREF = record->valueForKey(QStringLiteral("remoteID")).toString();
    m_moveTarget = target;
    m_moveHREF = newItemHREF(target.calendarHREF, target.syncable->uid());
    logInfo("CalDAV: push move event (%@) from calendar %@ to calendar %@",
            m_sending.syncable->uid(), m_sending.calendarHREF, target.calendarHREF);
    awaitAnswer([this] { sendEventResponse(); });
    // No If-Match: the server's copy moves as it is, even when another
    // client changed it meanwhile. Its new ETag then differs from the one
    // kept, so the next pull downloads it, and an edit made here along with
    // the move meets the usual conflict handling. Refusing such a move would
    // leave only the add-and-delete fallback, whose delete the server would
    // refuse too, leaving the item in both calendars.
    caldav().move(resourceURLOf(serviceURLFromPath(m_sendingHREF)),
                  resourceURLOf(serviceURLFromPath(m_moveHREF)), false);
}

void CalDAVSyncTask::resendRefusedMove(int status) {
    SyncableObjectMO *moved = m_moveTarget.syncable;
    if (status != 404)
        logInfo(
            "CalDAVSyncTask (%@): move of event (%@) refused; sending it as an add and a "
            "delete",
            logIdentity(), moved->uid());
    m_changedSyncableEvents.removeIf(
        [&](const ChangedEvent &each) { return each.syncable == moved; });
    if (status != 404)
        m_changedSyncableEvents.append({m_sending.syncable, m_sending.calendarHREF, true});
    m_changedSyncableEvents.append({moved, m_moveTarget.calendarHREF});
}

std::optional<CalDAVSyncTask::ResultStatus> CalDAVSyncTask::resultStatusWithETag() {
    const std::optional<QVariantMap> results = caldav().resultsDict();
    if (!results) {
        endWithNoAnswer();
        return std::nullopt;
    }
    noteWebPage(*results);
    const int status = pushStatusOf(*results);
    if (status == 423 || status == 429 || status >= 500) {
        logWarning("CalDAV: error %ld", long(status));
        finishWithState(SyncState::UnableToConnect);
        return std::nullopt;
    }
    if (status >= 307 && status <= 399) {
        finishWithState(SyncState::LoginFailed);
        return std::nullopt;
    }
    // A refusal wrapped in a 207 names its failed conditions in its response.
    QVariantList errors = results->value(QStringLiteral("error")).toList();
    for (const QVariant &entry : results->value(QStringLiteral("multistatus")).toList())
        errors += entry.toMap().value(QStringLiteral("error")).toList();
    return ResultStatus{status, pushedETagOf(*results), errors, *results};
}

void CalDAVSyncTask::sendEventResponse() {
    const bool upload = m_changeOp == ChangeOp::Add || m_changeOp == ChangeOp::Change;
    if (upload && !caldav().response() && !caldav().userAborted()) {
        resendAfterBrokenConnection();
        return;
    }
    const std::optional<ResultStatus> result = resultStatusWithETag();
    if (!result)
        return;
    if (result->status < 200 || result->status > 299)
        logWarning("CalDAV: event add/delete/change error %ld", long(result->status));
    processEventResponse(*result);
    setNextStep([this] { sendChangedEvent(); });
}

void CalDAVSyncTask::resendAfterBrokenConnection() {
    SyncableObjectMO *syncable = m_sending.syncable;
    if (syncable->isDeleted()) {
        setNextStep([this] { sendChangedEvent(); });
        return;
    }
    if (m_brokenUpload != syncable) {
        logInfo(
            "CalDAVSyncTask (%@): the connection broke while sending event (%@); sending it "
            "again",
            logIdentity(), syncable->uid());
        m_brokenUpload = syncable;
        sendEventChange(syncable, CalDAVRemoteObjects::recordOf(syncable, remoteService()));
        return;
    }
    awaitAnswer([this] { brokenConnectionProbeResponse(); });
    caldav().propfind(resourceURLOf(serviceURLFromPath(m_sendingHREF)), 0, 0,
                      {QStringLiteral("getetag")});
}

void CalDAVSyncTask::brokenConnectionProbeResponse() {
    const std::optional<QVariantMap> results = caldav().resultsDict();
    const int status = results ? results->value(QStringLiteral("status")).toInt() : 0;
    if (status != 207 && status != 404) {
        endWithNoAnswer();
        return;
    }
    m_brokenUpload = nullptr;
    // What the server holds at the item's place now: as it was seen here,
    // the upload did not arrive, and the server refuses the item; anything
    // else, it arrived though the answer did not, or another client changed
    // the resource (the 412 of a condition that failed).
    const std::optional<QString> held =
        status == 207 ? listedETagOf(*results) : std::optional<QString>();
    const ModelObject *record = remoteObjects().forHREF(m_sendingHREF);
    const std::optional<QString> seen =
        record ? CalDAVRemoteObjects::etagOf(record) : std::optional<QString>();
    if (held == seen) {
        logWarning(
            "CalDAVSyncTask (%@): event (%@) refused as too large: sending it broke the "
            "connection twice while other requests were answered",
            logIdentity(), m_sending.syncable->uid());
        processEventResponse(ResultStatus{kPayloadTooLargeStatus, std::nullopt, {}, {}});
    } else {
        processEventResponse(ResultStatus{kPreconditionFailedStatus, std::nullopt, {}, {}});
    }
    setNextStep([this] { sendChangedEvent(); });
}

QString CalDAVSyncTask::reasonForConflict(const QVariantList &errorDicts, const CommonDataMO &event,
                                          int status) {
    const QString tooLarge =
        event.integerValueForKey(QStringLiteral("eventType")) == ItemType::Graphic
            ? QStringLiteral("Graphic too large")
            : QStringLiteral("Event too large");
    if (status == kPayloadTooLargeStatus)
        return tooLarge;
    const QString googleError = PropertyKey::inNamespace(
        QStringLiteral("error"), QLatin1String(CalDAVClient::kGoogleDataNamespace));
    for (const QVariant &entry : errorDicts) {
        const QVariantMap error = entry.toMap();
        if (error.contains(CalDAVClient::caldavKey("max-resource-size")))
            return tooLarge;
        if (error.value(googleError).toString() == QLatin1String("invalid"))
            return QStringLiteral("Event too large");
    }
    for (const QVariant &entry : errorDicts)
        if (!entry.toMap().isEmpty())
            return entry.toMap().firstKey();
    return QStringLiteral("Refused by the server (HTTP %1)").arg(status);
}

// The server refused an item because another of its resources holds the
// item's UID (Xandikos says so in a 412 wrapped in a 207).
static bool uidHeldByAnotherResource(const QVariantList &errorDicts) {
    for (const QVariant &entry : errorDicts)
        if (entry.toMap().contains(CalDAVClient::caldavKey("no-uid-conflict")))
            return true;
    return false;
}

void CalDAVSyncTask::processEventResponse(const ResultStatus &result) {
    SyncableObjectMO *syncable = m_sending.syncable;
    if (syncable->isDeleted())
        return;
    const int status = result.status;
    const bool success = status >= 200 && status <= 299;
    const SyncableObjectMO *calendar = syncable->parentContainer();
    switch (m_changeOp) {
        case ChangeOp::Delete:
            remoteObjects().drop(m_sendingHREF);
            purgeTombstonesWithUID(syncable->uid(), calendar);
            // Refused: the server's copy comes back.
            if (!success && status != 404)
                fetchNeededForCalendar(m_sending.calendarHREF);
            break;
        case ChangeOp::Move:
            if (success && !m_moveTarget.syncable->isDeleted()) {
                // The record follows the item; a move leaves the resource's
                // content, and so its ETag, as it was unless told otherwise.
                const std::optional<QString> etag =
                    result.etag
                        ? result.etag
                        : CalDAVRemoteObjects::etagOf(remoteObjects().forHREF(m_sendingHREF));
                remoteObjects().drop(m_sendingHREF);
                ModelObject *record = remoteObjects().link(m_moveHREF, m_moveTarget.syncable);
                record->setValue(QStringLiteral("remoteETag"), etag.value_or(QString()));
                record->setDateValue(Clock::shared().now(), QStringLiteral("remoteLastUpdateTime"));
                purgeTombstonesWithUID(syncable->uid(), calendar);
            } else if (success || status == 404) {
                // Nothing left to follow, or nothing left to move.
                remoteObjects().drop(m_sendingHREF);
                purgeTombstonesWithUID(syncable->uid(), calendar);
                if (!success)
                    resendRefusedMove(status);
            } else {
                resendRefusedMove(status);
            }
            break;
        case ChangeOp::Add:
        case ChangeOp::Change:
            // A 412 to a new item: an earlier upload of it arrived though
            // its answer did not, unless the UID is another resource's.
            if (success || (m_changeOp == ChangeOp::Add && status == 412 &&
                            !uidHeldByAnotherResource(result.errorDicts))) {
                // Without an ETag the stored resource is downloaded again.
                ModelObject *record = remoteObjects().link(m_sendingHREF, syncable);
                record->setValue(QStringLiteral("remoteETag"),
                                 success ? result.etag.value_or(QString()) : QString());
                record->setDateValue(Clock::shared().now(), QStringLiteral("remoteLastUpdateTime"));
                syncable->setValue(QStringLiteral("transIgnoreConflict"), QVariant());
                noteAgreedWithServer(syncable, m_sentModTime);
                if (success)
                    synthesizeAttachmentAddsForEvent(syncable);
            } else if (m_changeOp == ChangeOp::Add) {
                // Never on the server: kept in the conflict bin only, so that
                // it is not offered again every cycle.
                ConflictBin::copyChildToConflictBinAndDeleteOriginal(
                    syncable,
                    reasonForConflict(result.errorDicts, *syncable->objectData(), status));
                ++m_counts.conflicts;
            } else if (status == 412 &&
                       syncable->boolValueForKey(QStringLiteral("transIgnoreConflict"))) {
                // This edit gives way to the server's, which is downloaded.
                remoteObjects()
                    .link(m_sendingHREF, syncable)
                    ->setValue(QStringLiteral("remoteETag"), QString());
            } else {
                keepConflictingVersion(
                    syncable, m_sendingHREF,
                    status == 412 || syncable->isTombstone()
                        ? QStringLiteral("Event modified on server")
                        : reasonForConflict(result.errorDicts, *syncable->objectData(), status));
                // A refusal leaves the server's copy as it was: nothing
                // would list it as changed.
                if (status != 412)
                    fetchNeededForCalendar(m_sending.calendarHREF);
                ++m_counts.conflicts;
            }
            break;
    }
    if (success)
        ++m_counts.pushed;
}

void CalDAVSyncTask::keepConflictingVersion(SyncableObjectMO *syncable, const QString &href,
                                            const QString &reason) {
    // The server's version is fetched as an item of its own.
    remoteObjects().drop(href);
    if (syncable->isTombstone()) {
        // Deleted here while the edit was on its way: the server's copy
        // comes back.
        purgeTombstonesWithUID(syncable->uid(), syncable->parentContainer());
        return;
    }
    // The local version goes to the conflict bin, never to the server.
    ConflictBin::copyChildToConflictBinAndDeleteOriginal(syncable, reason);
}

void CalDAVSyncTask::fetchNeededForCalendar(const QString &calendarHREF) {
    ModelObject *record = remoteObjects().forHREF(calendarHREF);
    if (!record)
        return;
    record->setValue(QStringLiteral("editURL"), QVariant());
    m_calendarsToRelist.insert(calendarHREF);
    if (!m_calendarListRefreshed)
        return;  // the listing of calendars takes it
    const bool listed =
        std::any_of(m_calendarsToFetch.cbegin(), m_calendarsToFetch.cend(),
                    [&](const CalendarToFetch &each) { return each.href == calendarHREF; });
    auto *calendar =
        ModelObject::as<SyncableObjectMO>(record->objectForKey(QStringLiteral("localObject")));
    if (!listed && calendar && calendar->objectData())
        m_calendarsToFetch.append({calendar->objectData(), calendarHREF,
                                   listedCollection(calendarHREF)
                                       .value(QStringLiteral("supported-report-set"))
                                       .toStringList()
                                       .contains(QStringLiteral("sync-collection"))});
}

void CalDAVSyncTask::noteAgreedWithServer(SyncableObjectMO *syncable, std::optional<Date> modTime) {
    for (SyncableObjectMO *each : syncablesOfItem(syncable)) {
        std::optional<Date> stamp = each == syncable && modTime
                                        ? modTime
                                        : each->dateValueForKey(QStringLiteral("lastModTime"));
        if (!stamp) {
            stamp = Clock::shared().now();
            each->setDateValue(*stamp, QStringLiteral("lastModTime"));
        }
        each->setDateValue(*stamp, QStringLiteral("ownerLastModTime"));
    }
}
