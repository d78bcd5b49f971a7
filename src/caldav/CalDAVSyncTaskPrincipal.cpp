// The steps of CalDAVSyncTask after discovery: the principal's properties,
// the server's DAV classes and the collections of the calendar homes.
#include <QUrl>
#include <utility>

#include "caldav/CalDAVClient.h"
#include "caldav/CalDAVServiceInfo.h"
#include "caldav/CalDAVSyncTask.h"
#include "caldav/PropertyKey.h"
#include "caldav/WebDAVResults.h"
#include "model/ModelObject.h"
#include "model/foundation/Log.h"

using namespace CalDAVServiceInfo;

namespace {

QStringList principalProperties() {
    return {CalDAVClient::calendarServerKey("notification-URL"),
            CalDAVClient::caldavKey("schedule-outbox-URL"),
            CalDAVClient::caldavKey("schedule-inbox-URL"),
            CalDAVClient::caldavKey("calendar-user-address-set"),
            CalDAVClient::caldavKey("calendar-home-set"),
            QStringLiteral("principal-collection-set"),
            QStringLiteral("displayname"),
            QStringLiteral("supported-report-set"),
            QStringLiteral("group-membership")};
}

// The ctag tells when a calendar's contents changed; its sync token is not
// asked for here, since a server may have to compute it over every item
// (Radicale builds its whole sync state for it).
QStringList collectionProperties() {
    return {QStringLiteral("resourcetype"),
            QStringLiteral("displayname"),
            CalDAVClient::caldavKey("supported-calendar-component-set"),
            CalDAVClient::caldavKey("calendar-description"),
            CalDAVClient::caldavKey("schedule-calendar-transp"),
            PropertyKey::inNamespace(QStringLiteral("calendar-color"),
                                     QLatin1String(CalDAVClient::kICalNamespace)),
            CalDAVClient::calendarServerKey("getctag"),
            QStringLiteral("supported-report-set"),
            QStringLiteral("owner"),
            QStringLiteral("current-user-privilege-set")};
}

// The answer a sync-collection report gives the home itself when more
// changes wait.
constexpr int kHomeMoreChangesStatus = 507;

// The account's own homes are listed through sync-collection when the
// server syncs them ("calendarserver-home-sync" among its DAV classes).
bool announcesHomeSync(const QVariantMap &syncData) {
    return syncData.value(QStringLiteral("dav"))
        .toString()
        .split(QLatin1Char(','))
        .contains(QLatin1String("calendarserver-home-sync"));
}

// The path of an href of a home listing (an absolute URL gives its path).
QString pathOfHomeListedHREF(const QString &href) {
    return href.startsWith(QLatin1String("http"), Qt::CaseInsensitive) ? QUrl(href).path() : href;
}

// The collection dictionary of a listed member of a home (its href ending
// in "/", its sharing kind); empty when it is not a collection.
QVariantMap collectionDictFromResponseDict(const QVariantMap &response, const QString &href) {
    QVariantMap collection = WebDAVResults::foundProperties(response);
    const QStringList types = collection.value(QStringLiteral("resourcetype")).toStringList();
    if (!types.contains(QStringLiteral("collection")))
        return {};
    collection.insert(QStringLiteral("href"),
                      href.endsWith(QLatin1Char('/')) ? href : href + QLatin1Char('/'));
    for (const char *sharing : {"shared", "shared-owner"})
        if (types.contains(CalDAVClient::calendarServerKey(sharing)))
            collection.insert(QStringLiteral("sharing"), CalDAVClient::calendarServerKey(sharing));
    return collection;
}

QString davHeaderOf(const WebDAVClient &client) {
    return client.response()
               ? client.response()->headerValue(QStringLiteral("DAV")).value_or(QString())
               : QString();
}

}  // namespace

void CalDAVSyncTask::fetchUserInfo() {
    // After a complete cycle of this task, the principal is taken as read.
    if (m_fastCalendarSyncOK && !isGoogleCalDAV(remoteService())) {
        fetchUserHomeSet();
        return;
    }
    const QString url = serviceURLFromPath(principalPath());
    logInfo("CalDAVSyncTask (%@): fetchUserInfo", logIdentity());
    logInfo("CalDAV: connecting to %@", url);
    awaitAnswer([this] { fetchUserInfoResponse(); });
    caldav().propfind(url, 0, 0, principalProperties());
}

void CalDAVSyncTask::fetchUserInfoResponse() {
    const std::optional<QVariantMap> results = multiStatusResultsDict();
    if (!results)
        return;
    const QVariantMap found =
        WebDAVResults::foundProperties(WebDAVResults::firstResponse(*results));
    for (const QString &key : principalProperties()) {
        if (found.contains(key))
            m_syncData.insert(key, found.value(key));
        else
            m_syncData.remove(key);
    }
    m_syncData.insert(QStringLiteral("dav"), appendToDAVHeader(QString(), davHeaderOf(caldav()),
                                                               isYahooCalDAV(remoteService())));
    const std::optional<QString> kind =
        caldav().response() ? serverKindOfResponse(*caldav().response()) : std::nullopt;
    if (kind)
        m_syncData.insert(QStringLiteral("server"), *kind);
    else
        m_syncData.remove(QStringLiteral("server"));
    fetchPrincipalSearch();
}

void CalDAVSyncTask::fetchPrincipalSearch() {
    const QString collectionSet =
        m_syncData.value(QStringLiteral("principal-collection-set")).toString().trimmed();
    if (m_syncData.contains(QStringLiteral("principal-search-property-set")) ||
        collectionSet.isEmpty()) {
        fetchUserHomeSet();
        return;
    }
    logInfo("CalDAVSyncTask (%@): fetchPrincipalSearch", logIdentity());
    awaitAnswer([this] { fetchPrincipalSearchResponse(); });
    caldav().report(QStringLiteral("principal-search-property-set"),
                    serviceURLFromPath(collectionSet), 0, {}, std::nullopt, QString());
}

void CalDAVSyncTask::fetchPrincipalSearchResponse() {
    const std::optional<QVariantMap> results = caldav().resultsDict();
    if (!results) {
        endWithNoAnswer();
        return;
    }
    // A server that offers no searches is not asked again (unless it failed).
    const QString key = QStringLiteral("principal-search-property-set");
    if (results->contains(key) || results->value(QStringLiteral("status")).toInt() < 500) {
        QStringList searches = results->value(key).toStringList();
        searches.removeAll(CalDAVClient::caldavKey("calendar-user-address-set"));
        searches.removeAll(CalDAVClient::caldavKey("calendar-user-type"));
        m_syncData.insert(key, searches);
    }
    fetchUserHomeSet();
}

void CalDAVSyncTask::fetchUserHomeSet() {
    m_collectionsToFetch =
        m_syncData.value(CalDAVClient::caldavKey("calendar-home-set")).toStringList();
    m_collections.clear();
    m_collectionDictArray.clear();
    m_collectionProxyIndex = -1;
    m_collectionNextState = [this] {
        m_collections = m_collectionDictArray;
        fetchProxies();
    };
    checkDAVOptions();
}

void CalDAVSyncTask::checkDAVOptions() {
    if (!m_syncData.value(QStringLiteral("dav")).toString().isEmpty() ||
        m_collectionsToFetch.isEmpty()) {
        fetchCollections();
        return;
    }
    const QString home = serviceURLFromPath(m_collectionsToFetch.first());
    logInfo("CalDAVSyncTask (%@): options for home collection %@", logIdentity(), home);
    awaitAnswer([this] { checkDAVOptionsResponse(); });
    caldav().options(home);
}

void CalDAVSyncTask::checkDAVOptionsResponse() {
    m_syncData.insert(QStringLiteral("dav"),
                      appendToDAVHeader(m_syncData.value(QStringLiteral("dav")).toString(),
                                        davHeaderOf(caldav()), isYahooCalDAV(remoteService())));
    fetchCollections();
}

void CalDAVSyncTask::fetchCollections() {
    if (m_collectionsToFetch.isEmpty()) {
        std::exchange(m_collectionNextState, nullptr)();
        return;
    }
    const QString home = serviceURLFromPath(m_collectionsToFetch.first());
    // The home's token says what the stored listing is as of: only the
    // account's own single home has one.
    const bool homeSync =
        m_collectionProxyIndex < 0 && announcesHomeSync(m_syncData) &&
        m_syncData.value(CalDAVClient::caldavKey("calendar-home-set")).toStringList().size() == 1;
    const QString token = m_syncData.value(QStringLiteral("sync-token")).toString();
    if (homeSync && m_fastCalendarSyncOK && !token.isEmpty()) {
        logInfo("CalDAVSyncTask (%@): webdav sync for home collection %@", logIdentity(), home);
        m_collectionDictArray = m_syncData.value(QStringLiteral("collections")).toList();
        sendHomeSyncReport(token);
        prepareRemoteObjectsDuringListing();
        return;
    }
    logInfo("CalDAVSyncTask (%@): fetchCollections %@", logIdentity(), home);
    awaitAnswer([this] { fetchCollectionsResponse(); });
    QStringList properties = collectionProperties();
    if (homeSync) {
        // The listing brings the home's token, if it has one.
        m_syncData.remove(QStringLiteral("sync-token"));
        properties.append(QStringLiteral("sync-token"));
    }
    caldav().propfind(home, 0, 1, properties);
    prepareRemoteObjectsDuringListing();
}

void CalDAVSyncTask::prepareRemoteObjectsDuringListing() {
    if (m_orphansDropped)
        return;
    remoteObjects().dropOrphans();
    m_orphansDropped = true;
}

void CalDAVSyncTask::fetchCollectionsResponse() {
    const std::optional<QVariantMap> results = multiStatusResultsDict();
    if (!results)
        return;
    const int status = results->value(QStringLiteral("status")).toInt();
    if (status == 403 || status == 404) {
        if (continueAfterRefusedHome(status))
            setNextStep([this] { fetchProxyUserHomeCollection(); });
        return;
    }
    const QString home = m_collectionsToFetch.takeFirst();
    const QString homePath = QUrl(serviceURLFromPath(home)).path();
    for (const QVariant &entry : results->value(QStringLiteral("multistatus")).toList()) {
        const QVariantMap response = entry.toMap();
        const QString href =
            pathOfHomeListedHREF(response.value(QStringLiteral("href")).toString());
        if (href.isEmpty())
            continue;
        if (PropertyKey::isEqualToHREF(href, homePath)) {
            const QString token = WebDAVResults::foundProperties(response)
                                      .value(QStringLiteral("sync-token"))
                                      .toString();
            if (m_collectionProxyIndex < 0 && !token.isEmpty())
                m_syncData.insert(QStringLiteral("sync-token"), token);
            continue;
        }
        const QVariantMap collection = collectionDictFromResponseDict(response, href);
        if (!collection.isEmpty())
            m_collectionDictArray.append(collection);
    }
    fetchCollections();
}

void CalDAVSyncTask::sendHomeSyncReport(const QString &token) {
    awaitAnswer([this] { fetchUserHomeCollectionSyncResponse(); });
    caldav().syncCollectionReport(serviceURLFromPath(m_collectionsToFetch.first()), token,
                                  collectionProperties(), !isICloudCalDAV(remoteService()));
}

void CalDAVSyncTask::fetchUserHomeCollectionSyncResponse() {
    const std::optional<QVariantMap> results = multiStatusResultsDict(true, true);
    if (!results)
        return;
    const int status = results->value(QStringLiteral("status")).toInt();
    if (status != 207) {
        // The token is refused or the report unknown: the home is listed.
        logInfo("CalDAVSyncTask (%@): home sync refused (%ld); listing the home", logIdentity(),
                long(status));
        m_syncData.remove(QStringLiteral("sync-token"));
        m_collectionDictArray.clear();
        fetchCollections();
        return;
    }
    const QString homePath = QUrl(serviceURLFromPath(m_collectionsToFetch.first())).path();
    bool moreChanges = false;
    for (const QVariant &entry : results->value(QStringLiteral("multistatus")).toList()) {
        const QVariantMap response = entry.toMap();
        const QString href =
            pathOfHomeListedHREF(response.value(QStringLiteral("href")).toString());
        const int responseStatus = response.value(QStringLiteral("status"), 200).toInt();
        if (href.isEmpty() || PropertyKey::isEqualToHREF(href, homePath)) {
            moreChanges = moreChanges || responseStatus == kHomeMoreChangesStatus;
            continue;
        }
        // A changed collection replaces what was kept of it; a 404 removes it.
        m_collectionDictArray.removeIf([&href](const QVariant &kept) {
            return PropertyKey::isEqualToHREF(kept.toMap().value(QStringLiteral("href")).toString(),
                                              href);
        });
        if (responseStatus == 404)
            continue;
        const QVariantMap collection = collectionDictFromResponseDict(response, href);
        if (!collection.isEmpty())
            m_collectionDictArray.append(collection);
    }
    const QString token = results->value(QStringLiteral("sync-token")).toString();
    if (!token.isEmpty())
        m_syncData.insert(QStringLiteral("sync-token"), token);
    if (moreChanges && !token.isEmpty()) {
        logInfo("CalDAVSyncTask (%@): continue webdav sync...", logIdentity());
        sendHomeSyncReport(token);
        return;
    }
    m_collectionsToFetch.removeFirst();
    fetchCollections();
}

bool CalDAVSyncTask::continueAfterRefusedHome(int status) {
    if (m_collectionProxyIndex < 0) {
        logInfo("CalDAVSyncTask (%@): suspicious response; retrying", logIdentity());
        finishWithState(SyncState::UnableToConnect);
        return false;
    }
    const QString proxyID = m_proxies.value(m_collectionProxyIndex)
                                .toMap()
                                .value(QStringLiteral("principal-URL"))
                                .toString();
    if (status == 404 && isGoogleCalDAV(remoteService())) {
        // The owner is gone: so are the calendars reached through them.
        logInfo("CalDAVSyncTask (%@): google orphaned shared calendar... deleting", logIdentity());
        m_proxies.removeAt(m_collectionProxyIndex);
        return true;
    }
    if (previousProxyUserDict(proxyID).value(QStringLiteral("collections")).toList().isEmpty())
        logInfo("CalDAVSyncTask (%@): suspicious response; retrying", logIdentity());
    else
        logInfo("CalDAVSyncTask (%@): suspicious response for shared calendar; retrying",
                logIdentity());
    finishWithState(SyncState::UnableToConnect);
    return false;
}

void CalDAVSyncTask::endOfSync() {
    m_syncData.insert(QStringLiteral("collections"), m_collections);
    setArchivedSyncData(m_syncData, remoteService());
    m_fastCalendarSyncOK = true;
    if (haveFilesToSync())
        fileSync();
    else
        finishWithState(SyncState::Idle);
}

// --- Ending and checking answers ----------------------------------------------------------

void CalDAVSyncTask::finishWithState(qint64 state) {
    m_counts.requests = m_caldav ? m_caldav->requestsSent() : 0;
    if (state != SyncState::Idle) {
        m_fastCalendarSyncOK = false;
        setSyncErrorString(m_serverWords ? m_serverWords : m_connectionError);
    }
    syncCompletedWithState(state);
}

void CalDAVSyncTask::endWithNoAnswer() {
    finishWithState(caldav().userAborted() ? SyncState::LoginFailed : SyncState::UnableToConnect);
}

std::optional<QVariantMap> CalDAVSyncTask::multiStatusResultsDict(bool longResponseOK,
                                                                  bool internalServerErrorOK) {
    const std::optional<QVariantMap> results = caldav().resultsDict();
    if (!results) {
        endWithNoAnswer();
        return std::nullopt;
    }
    const int status = results->value(QStringLiteral("status")).toInt();
    noteWebPage(*results);
    if (status == 207) {
        if (!results->contains(QStringLiteral("multistatus"))) {
            // Cut off or garbled: what the server listed is not known, and
            // taking it as an empty list would skip changes for good.
            logWarning("CalDAVSyncTask (%@): unreadable multistatus; retrying", logIdentity());
            finishWithState(SyncState::UnableToConnect);
            return std::nullopt;
        }
        if (!longResponseOK && isGoogleCalDAV(remoteService()) &&
            caldav().responseSeconds() > kSuspiciousGoogleSeconds) {
            logInfo("CalDAVSyncTask (%@): suspicious google response; retrying", logIdentity());
            finishWithState(SyncState::UnableToConnect);
            return std::nullopt;
        }
        return results;
    }
    if (status == 400 || status == 404 || status == 405 || status == 410 || status == 412)
        return results;
    if (status == 403) {
        logInfo("CalDAVSyncTask (%@): errorDicts = %@", logIdentity(),
                results->value(QStringLiteral("error")));
        return results;
    }
    // Locked, busy, or failing: tried again later.
    if (status == 423 || status == 429 || status >= 500) {
        if (status >= 500 && internalServerErrorOK)
            return results;
        logWarning("CalDAV: error %ld", long(status));
        finishWithState(SyncState::UnableToConnect);
        return std::nullopt;
    }
    if (status >= 200 && status <= 299) {
        logInfo("CalDAVSyncTask (%@): empty %ld response when 207 expected", logIdentity(),
                long(status));
        if (m_syncData.value(QStringLiteral("server")).toString() == QLatin1String("DAViCal"))
            return results;
        finishWithState(SyncState::UnableToConnect);
        return std::nullopt;
    }
    finishWithState(SyncState::LoginFailed);
    return std::nullopt;
}
