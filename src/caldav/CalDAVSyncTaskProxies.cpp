// The delegation steps of CalDAVSyncTask, after the account's own homes are
// listed: the principals that made the account their proxy (read or write)
// are read into "proxies" of the sync data, one user dictionary each
// ("principal-URL", "displayname", home set, address set, "read-only"),
// and the homes of each are listed into its "collections". Their calendars
// are then made and updated locally with the account's own, each with the
// principal URL of its owner as proxy ID on its remote object. A server
// that answers the expand-property report gives the lot at once; otherwise
// the proxy groups the account is a member of name the owners, whose
// properties are asked for one by one.
#include <QUrl>

#include "caldav/CalDAVClient.h"
#include "caldav/CalDAVServiceInfo.h"
#include "caldav/CalDAVSyncTask.h"
#include "caldav/PropertyKey.h"
#include "caldav/WebDAVResults.h"
#include "model/ModelObject.h"
#include "model/foundation/Log.h"

using namespace CalDAVServiceInfo;

namespace {

QString proxyHomeSetKey() {
    return CalDAVClient::caldavKey("calendar-home-set");
}

QString proxyAddressSetKey() {
    return CalDAVClient::caldavKey("calendar-user-address-set");
}

// What is read of each proxy's principal.
QStringList proxyPrincipalProperties() {
    return {QStringLiteral("displayname"), QStringLiteral("principal-URL"), proxyHomeSetKey(),
            proxyAddressSetKey()};
}

// An element DAV:property of an expand-property report naming `key`, with
// the properties to expand it to.
QVariantMap expandedPropertyDict(const QString &key, const QVariantList &expansion = {}) {
    const PropertyKey::Parts parts = PropertyKey::getNamespace(key);
    QVariantMap dict{{QStringLiteral("property"), QStringLiteral("property")},
                     {QStringLiteral("name"), parts.localName}};
    if (parts.ns != QLatin1String(PropertyKey::kDAVNamespace))
        dict.insert(QStringLiteral("namespace"), parts.ns);
    if (!expansion.isEmpty())
        dict.insert(QStringLiteral("sub properties"), expansion);
    return dict;
}

// The user dictionary of a proxy from the properties found of its principal.
QVariantMap proxyUserDict(const QString &principal, const QVariantMap &found, bool readOnly) {
    return {{QStringLiteral("principal-URL"), principal},
            {QStringLiteral("displayname"),
             found.value(QStringLiteral("displayname")).toString().trimmed()},
            {proxyHomeSetKey(), found.value(proxyHomeSetKey()).toStringList()},
            {proxyAddressSetKey(), found.value(proxyAddressSetKey()).toStringList()},
            {QStringLiteral("read-only"), readOnly}};
}

// Adds a proxy to the list, once: a principal in both the write and the
// read group is a write proxy.
void addProxyUserDict(QVariantList &proxies, const QVariantMap &proxy) {
    const QString principal = proxy.value(QStringLiteral("principal-URL")).toString();
    for (QVariant &entry : proxies) {
        QVariantMap known = entry.toMap();
        if (known.value(QStringLiteral("principal-URL")).toString() != principal)
            continue;
        if (!proxy.value(QStringLiteral("read-only")).toBool()) {
            known.insert(QStringLiteral("read-only"), false);
            entry = known;
        }
        return;
    }
    proxies.append(proxy);
}

}  // namespace

QVariantMap CalDAVSyncTask::previousProxyUserDict(const QString &proxyID) const {
    for (const QVariant &entry : m_syncData.value(QStringLiteral("proxies")).toList())
        if (entry.toMap().value(QStringLiteral("principal-URL")).toString() == proxyID)
            return entry.toMap();
    return {};
}

void CalDAVSyncTask::fetchProxies() {
    m_proxies.clear();
    m_groupInfoToFetch.clear();
    if (!m_syncData.value(QStringLiteral("dav"))
             .toString()
             .split(QLatin1Char(','))
             .contains(QLatin1String("calendar-proxy"))) {
        processSharedCalendars();
        return;
    }
    const bool expandProperty = m_syncData.value(QStringLiteral("supported-report-set"))
                                    .toStringList()
                                    .contains(QStringLiteral("expand-property"));
    if (!expandProperty || isGoogleCalDAV(remoteService())) {
        processGroupMembershipAsProxies();
        return;
    }
    QVariantList expansion;
    for (const QString &key : proxyPrincipalProperties())
        expansion.append(expandedPropertyDict(key));
    logInfo("CalDAVSyncTask (%@): fetchProxies", logIdentity());
    awaitAnswer([this] { fetchProxiesResponse(); });
    caldav().report(QStringLiteral("expand-property"), serviceURLFromPath(principalPath()), 0,
                    {expandedPropertyDict(
                         CalDAVClient::calendarServerKey("calendar-proxy-write-for"), expansion),
                     expandedPropertyDict(
                         CalDAVClient::calendarServerKey("calendar-proxy-read-for"), expansion)},
                    std::nullopt, QString());
}

void CalDAVSyncTask::fetchProxiesResponse() {
    const std::optional<QVariantMap> results = multiStatusResultsDict();
    if (!results)
        return;
    if (results->value(QStringLiteral("status")).toInt() != 207) {
        // Not known this time: the proxies stay as they were.
        logInfo("CalDAVSyncTask (%@): proxies not readable (HTTP %ld); keeping the last ones",
                logIdentity(), long(results->value(QStringLiteral("status")).toInt()));
        for (const QVariant &entry : m_syncData.value(QStringLiteral("proxies")).toList()) {
            QVariantMap proxy = entry.toMap();
            proxy.remove(QStringLiteral("collections"));
            m_proxies.append(proxy);
        }
        fetchProxyUserHomeCollection();
        return;
    }
    const QVariantMap found =
        WebDAVResults::foundProperties(WebDAVResults::firstResponse(*results));
    const QString self = WebDAVURL::principalPath(principalPath());
    for (const bool readOnly : {false, true}) {
        const QString key = CalDAVClient::calendarServerKey(readOnly ? "calendar-proxy-read-for"
                                                                     : "calendar-proxy-write-for");
        for (const QVariant &entry : found.value(key).toList()) {
            const QVariantMap response = entry.toMap();
            const QVariantMap properties = WebDAVResults::foundProperties(response);
            QString principal = properties.value(QStringLiteral("principal-URL")).toString();
            if (principal.trimmed().isEmpty())
                principal = response.value(QStringLiteral("href")).toString();
            principal = WebDAVURL::principalPath(principal);
            if (principal == self) {
                logInfo("CalDAVSyncTask (%@): ignoring bogus proxy-to-self", logIdentity());
                continue;
            }
            addProxyUserDict(m_proxies, proxyUserDict(principal, properties, readOnly));
        }
    }
    fetchProxyUserHomeCollection();
}

void CalDAVSyncTask::processGroupMembershipAsProxies() {
    const QString self = WebDAVURL::principalPath(principalPath());
    for (const QString &group :
         m_syncData.value(QStringLiteral("group-membership")).toStringList()) {
        const QString path = WebDAVURL::principalPath(group);
        const QString name = path.section(QLatin1Char('/'), -2, -2);
        const bool readOnly = name == QLatin1String("calendar-proxy-read");
        if (!readOnly && name != QLatin1String("calendar-proxy-write"))
            continue;
        const QString principal = path.section(QLatin1Char('/'), 0, -3) + QLatin1Char('/');
        if (principal == self) {
            logInfo("CalDAVSyncTask (%@): ignoring bogus proxy-to-self", logIdentity());
            continue;
        }
        addProxyUserDict(m_proxies, proxyUserDict(principal, {}, readOnly));
    }
    for (qsizetype i = 0; i < m_proxies.size(); ++i)
        m_groupInfoToFetch.append(i);
    fetchGroupInfo();
}

void CalDAVSyncTask::fetchGroupInfo() {
    if (m_groupInfoToFetch.isEmpty()) {
        fetchProxyUserHomeCollection();
        return;
    }
    const QString url = serviceURLFromPath(m_proxies.value(m_groupInfoToFetch.first())
                                               .toMap()
                                               .value(QStringLiteral("principal-URL"))
                                               .toString());
    logInfo("CalDAV: connecting to %@", url);
    awaitAnswer([this] { fetchGroupInfoResponse(); });
    caldav().propfind(url, 0, 0,
                      {QStringLiteral("displayname"), proxyHomeSetKey(), proxyAddressSetKey()});
}

void CalDAVSyncTask::fetchGroupInfoResponse() {
    const std::optional<QVariantMap> results = multiStatusResultsDict();
    if (!results)
        return;
    const qsizetype index = m_groupInfoToFetch.takeFirst();
    const QVariantMap found =
        WebDAVResults::foundProperties(WebDAVResults::firstResponse(*results));
    QVariantMap proxy = m_proxies.value(index).toMap();
    proxy = proxyUserDict(proxy.value(QStringLiteral("principal-URL")).toString(), found,
                          proxy.value(QStringLiteral("read-only")).toBool());
    m_proxies[index] = proxy;
    fetchGroupInfo();
}

void CalDAVSyncTask::fetchProxyUserHomeCollection() {
    if (m_collectionProxyIndex < 0)
        m_collectionProxyIndex = 0;
    if (m_collectionProxyIndex >= m_proxies.size()) {
        m_collectionProxyIndex = -1;
        processSharedCalendars();
        return;
    }
    m_collectionsToFetch =
        m_proxies.value(m_collectionProxyIndex).toMap().value(proxyHomeSetKey()).toStringList();
    m_collectionDictArray.clear();
    m_collectionNextState = [this] {
        QVariantMap proxy = m_proxies.value(m_collectionProxyIndex).toMap();
        proxy.insert(QStringLiteral("collections"), m_collectionDictArray);
        m_proxies[m_collectionProxyIndex] = proxy;
        ++m_collectionProxyIndex;
        fetchProxyUserHomeCollection();
    };
    fetchCollections();
}
