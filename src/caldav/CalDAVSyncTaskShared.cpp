// The steps of CalDAVSyncTask for calendars other principals share with the
// account: their owners are read once and kept in the sync data ("owners").
#include "caldav/CalDAVClient.h"
#include "caldav/CalDAVSyncTask.h"
#include "caldav/PropertyKey.h"
#include "caldav/WebDAVResults.h"
#include "model/foundation/Log.h"

namespace {

QString principalURLKey() {
    return QStringLiteral("principal-URL");
}

// The properties kept of an owner besides its principal URL.
QStringList ownerProperties() {
    return {QStringLiteral("displayname"), CalDAVClient::caldavKey("calendar-user-address-set")};
}

}  // namespace

bool CalDAVSyncTask::isSharedCollection(const QVariantMap &collection) {
    return collection.value(QStringLiteral("sharing")).toString() ==
           CalDAVClient::calendarServerKey("shared");
}

QString CalDAVSyncTask::ownerOfCollection(const QVariantMap &collection) {
    return WebDAVURL::principalPath(collection.value(QStringLiteral("owner")).toString());
}

void CalDAVSyncTask::getSharedOwnersInUserDict(const QVariantMap &userDict,
                                               QStringList &sharedOwners) {
    for (const QVariant &entry : userDict.value(QStringLiteral("collections")).toList()) {
        const QVariantMap collection = entry.toMap();
        const QString owner = ownerOfCollection(collection);
        if (isSharedCollection(collection) && !owner.isEmpty() && !sharedOwners.contains(owner))
            sharedOwners.append(owner);
    }
}

void CalDAVSyncTask::processSharedCalendars() {
    logInfo("CalDAVSyncTask (%@): processSharedCalendars", logIdentity());
    QStringList owners;
    getSharedOwnersInUserDict({{QStringLiteral("collections"), m_collections}}, owners);
    for (const QVariant &proxy : std::as_const(m_proxies))
        getSharedOwnersInUserDict(proxy.toMap(), owners);
    // Owners known from before are not asked again; owners that share
    // nothing any more are forgotten.
    m_owners.clear();
    for (const QVariant &entry : m_syncData.value(QStringLiteral("owners")).toList()) {
        const QString known = entry.toMap().value(principalURLKey()).toString();
        if (owners.removeAll(known) > 0)
            m_owners.append(entry);
    }
    m_ownersToFetch = owners;
    fetchSharedOwnerInfo();
}

void CalDAVSyncTask::fetchSharedOwnerInfo() {
    if (m_ownersToFetch.isEmpty()) {
        m_syncData.insert(QStringLiteral("owners"), m_owners);
        setNextStep([this] { processCalendarList(); });
        return;
    }
    const QString url = serviceURLFromPath(m_ownersToFetch.first());
    logInfo("CalDAV: connecting to %@", url);
    awaitAnswer([this] { fetchSharedOwnerInfoResponse(); });
    caldav().propfind(url, 0, 0, ownerProperties());
}

void CalDAVSyncTask::fetchSharedOwnerInfoResponse() {
    const std::optional<QVariantMap> results = multiStatusResultsDict();
    if (!results)
        return;
    const QString owner = m_ownersToFetch.takeFirst();
    const QVariantMap found =
        WebDAVResults::foundProperties(WebDAVResults::firstResponse(*results));
    // An owner the server does not describe to the account (Cyrus refuses
    // it with 403) is kept all the same, so as not to be asked every cycle:
    // its calendars go by the last segment of its path.
    if (found.isEmpty())
        logWarning("CalDAVSyncTask (%@): no information on the owner %@ (%ld)", logIdentity(),
                   owner, long(results->value(QStringLiteral("status")).toInt()));
    QVariantMap ownerDict{{principalURLKey(), owner}};
    for (const QString &key : ownerProperties())
        if (found.contains(key))
            ownerDict.insert(key, found.value(key));
    m_owners.append(ownerDict);
    setNextStep([this] { fetchSharedOwnerInfo(); });
}

QVariantMap CalDAVSyncTask::sharedOwnerDict(const QString &owner) const {
    for (const QVariant &entry : m_owners) {
        QVariantMap ownerDict = entry.toMap();
        if (ownerDict.value(principalURLKey()).toString() != owner)
            continue;
        if (ownerDict.value(QStringLiteral("displayname")).toString().trimmed().isEmpty())
            ownerDict.insert(QStringLiteral("displayname"),
                             owner.section(QLatin1Char('/'), -2, -2));
        return ownerDict;
    }
    return {};
}
