#include "caldav/CalDAVSyncTask.h"

#include <QDateTime>
#include <QUrl>

#include "caldav/CalDAVCalendarGroups.h"
#include "caldav/CalDAVClient.h"
#include "caldav/CalDAVRemoteObjects.h"
#include "caldav/CalDAVServiceInfo.h"
#include "caldav/HTMLText.h"
#include "caldav/PropertyKey.h"
#include "caldav/WebDAVResponse.h"
#include "caldav/WebDAVResults.h"
#include "model/ModelObject.h"
#include "model/foundation/Clock.h"
#include "model/foundation/Log.h"
#include "model/util/TextEncoding.h"

using namespace CalDAVServiceInfo;

namespace {

constexpr int kMaximumRedirects = 10;
constexpr int kServiceUnavailableStatus = 503;
constexpr int kTooManyRequestsStatus = 429;

// How long a server that is busy ("Service Unavailable", "Too Many
// Requests") asks not to be tried again: its "Retry-After" in seconds, or
// until the date it names; none without one.
std::optional<double> retryAfterSecondsOf(const WebDAVResponse &response) {
    if (response.statusCode != kServiceUnavailableStatus &&
        response.statusCode != kTooManyRequestsStatus)
        return std::nullopt;
    const QString value = response.headerValue(QStringLiteral("Retry-After")).value_or(QString());
    bool isNumber = false;
    const double seconds = value.trimmed().toDouble(&isNumber);
    if (isNumber)
        return seconds;
    const QDateTime date = QDateTime::fromString(value.trimmed(), Qt::RFC2822Date);
    if (!date.isValid())
        return std::nullopt;
    return Date::fromDateTime(date).secondsSince(Clock::shared().now());
}
constexpr qsizetype kMaximumServerWords = 400;

QString principalKey() {
    return QStringLiteral("current-user-principal");
}

QString withTrailingSlash(const QString &path) {
    return path.endsWith(QLatin1Char('/')) ? path : path + QLatin1Char('/');
}

bool isAbsoluteURL(const QString &path) {
    return path.startsWith(QLatin1String("http"), Qt::CaseInsensitive);
}

// An empty text or list counts as absent.
bool isPresentValue(const QVariant &value) {
    if (!value.isValid())
        return false;
    if (value.typeId() == QMetaType::QString)
        return !value.toString().isEmpty();
    if (value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QStringList)
        return !value.toList().isEmpty();
    return true;
}

// The value of `key` in the first propstat that holds it, with the status of
// that propstat (the response's when the propstat has none).
std::pair<int, QVariant> propertyStatusAndValue(const QVariantMap &response, const QString &key) {
    for (const QVariant &entry : response.value(QStringLiteral("propstat")).toList()) {
        const QVariantMap propstat = entry.toMap();
        if (!propstat.contains(key))
            continue;
        const QVariant status = propstat.value(QStringLiteral("property status"));
        const QVariant value = propstat.value(key);
        return {
            status.isValid() ? status.toInt() : response.value(QStringLiteral("status")).toInt(),
            isPresentValue(value) ? value : QVariant()};
    }
    return {0, QVariant()};
}

QString headerOfResults(const QVariantMap &results, const QString &name) {
    const QVariantMap headers = results.value(QStringLiteral("headers")).toMap();
    for (auto it = headers.begin(); it != headers.end(); ++it)
        if (it.key().compare(name, Qt::CaseInsensitive) == 0)
            return it.value().toString();
    return QString();
}

// What an answer says in words: the text of its body (of an HTML page, its
// readable text), else its status.
QString wordsOfAnswer(const WebDAVClient &client) {
    const QString body =
        TextEncoding::utf8().decode(client.responseData()).value_or(QString()).trimmed();
    const QString type =
        client.response()
            ? client.response()->headerValue(QStringLiteral("Content-Type")).value_or(QString())
            : QString();
    QString words = type.contains(QLatin1String("html"), Qt::CaseInsensitive)
                        ? HTMLText::plainText(body).simplified()
                        : body.simplified();
    if (words.isEmpty() && client.response())
        words = QStringLiteral("HTTP status %1").arg(client.response()->statusCode);
    return words.left(kMaximumServerWords);
}

}  // namespace

void CalDAVSyncTask::registerKind() {
    RemoteServiceTask::registerKind(QLatin1String(kServiceName), [](ModelObject *service) {
        return std::make_unique<CalDAVSyncTask>(service);
    });
}

CalDAVSyncTask::CalDAVSyncTask(ModelObject *service) : RemoteServiceTask(service) {}

CalDAVSyncTask::~CalDAVSyncTask() = default;

void CalDAVSyncTask::terminate() {
    m_fileSave.waitForFinished();
    if (m_caldav)
        m_caldav->terminate();
    m_caldav.reset();
    RemoteServiceTask::terminate();
}

CalDAVClient &CalDAVSyncTask::caldav() {
    if (!m_caldav) {
        m_caldav = std::make_unique<CalDAVClient>(this);
        const QString url = remoteService()->valueForKey(QStringLiteral("url")).toString();
        if (!url.isEmpty())
            m_caldav->setAuthorizationDomain(WebDAVURL::domain(QUrl(url)));
    }
    return *m_caldav;
}

CalDAVRemoteObjects &CalDAVSyncTask::remoteObjects() {
    if (!m_remoteObjects)
        m_remoteObjects = std::make_unique<CalDAVRemoteObjects>(remoteService());
    return *m_remoteObjects;
}

void CalDAVSyncTask::cleanup() {
    m_fileSave.waitForFinished();
    if (m_caldav)
        m_caldav->cleanup();
    m_caldav.reset();
    m_nextBootstrapState = nullptr;
    m_collectionsToFetch.clear();
    m_collections.clear();
    m_collectionDictArray.clear();
    m_collectionProxyIndex = -1;
    m_collectionNextState = nullptr;
    m_proxies.clear();
    m_groupInfoToFetch.clear();
    m_remoteObjects.reset();
    m_orphansDropped = false;
    m_calendarGroups.reset();
    m_markedCalendars.clear();
    m_calendarsToFetch.clear();
    m_calendarsToRelist.clear();
    m_fetching = {};
    m_serverChanges.clear();
    m_eventsToFetch.clear();
    m_markedHREFs.clear();
    m_newSyncToken.reset();
    m_eventResponseDicts.clear();
    m_fetchedItems.reset();
    m_resultsInBackground = false;
    m_multigetAhead = false;
    m_changedSyncableEvents.clear();
    m_sending = {};
    m_brokenUpload = nullptr;
    m_changedCalendars.clear();
    m_sendingCalendar = {};
    m_filesToSync.clear();
    m_syncingFile = {};
}

QString CalDAVSyncTask::login() const {
    QString name =
        remoteService()->unmaskedStringValueForKey(QStringLiteral("login")).value_or(QString());
    if (m_stripDomainFromLogin)
        name = name.section(QLatin1Char('@'), 0, 0);
    return name;
}

QString CalDAVSyncTask::principalPath() const {
    return m_syncData.value(principalKey()).toString();
}

void CalDAVSyncTask::setPrincipalPath(const QString &path) {
    m_syncData.insert(principalKey(), path);
}

void CalDAVSyncTask::awaitAnswer(Step next) {
    setNextStep(std::move(next));
    block();
}

void CalDAVSyncTask::noteServerWords(const QString &words) {
    if (!words.isEmpty())
        m_serverWords = words;
}

void CalDAVSyncTask::noteWebPage(const QVariantMap &results) {
    const int status = results.value(QStringLiteral("status")).toInt();
    if (status == 401 || !headerOfResults(results, QStringLiteral("Content-Type"))
                              .contains(QLatin1String("html"), Qt::CaseInsensitive))
        return;
    const QString page = wordsOfAnswer(caldav());
    if (!page.isEmpty())
        noteServerWords(
            format("The server answered with a web page, not CalDAV (HTTP %d): %@", status, page));
}

// --- Client callbacks ------------------------------------------------------------------

int CalDAVSyncTask::webdavClientLoginPassword(WebDAVClient &client, const QUrl &url,
                                              QString &loginName, QString &password, int retries) {
    if (retries > 0) {
        // Nobody can be asked for another password: the one we have is refused.
        const QString words = wordsOfAnswer(client);
        logWarning("CalDAVSyncTask (%@): the server refused the login %@: %@", logIdentity(),
                   login(), words);
        noteServerWords(format("The server refused the login \"%@\": %@", login(), words));
        return CredentialsCancelled;
    }
    loginName = login();
    password = passwordForService(remoteService(), url).value_or(QString());
    if (loginName.isEmpty() && password.isEmpty())
        return -1;  // no credentials
    return CredentialsSupplied;
}

void CalDAVSyncTask::webdavClientDidFinish(WebDAVClient &client) {
    if (const std::optional<WebDAVResponse> &response = client.response())
        if (const std::optional<double> delay = retryAfterSecondsOf(*response)) {
            logInfo("CalDAVSyncTask (%@): the server asks to be tried again in %.0f seconds",
                    logIdentity(), *delay);
            noteServerRetryDelay(*delay);
        }
    if (!m_resultsInBackground) {
        answerReached();
        return;
    }
    m_resultsInBackground = false;
    client.calcResultsDictInBackground([this] { answerReached(); });
}

void CalDAVSyncTask::answerReached() {
    m_multigetAhead = false;
    unblock();
}

void CalDAVSyncTask::webdavClientRequestDidFailWithError(WebDAVClient &client,
                                                         const QNetworkRequest & /*request*/,
                                                         const std::optional<WebDAVError> &error) {
    logWarning("CalDAVSyncTask (%@): didFailWithError %@", logIdentity(),
               error ? error->text() : QStringLiteral("(none)"));
    if (error && error->isUserCancelledAuthentication() && !client.userAborted() &&
        isICloudCalDAV(remoteService()))
        setPassword(std::nullopt, remoteService(), QUrl());
    if (error && !error->isUserCancelledAuthentication())
        m_connectionError = error->description;
    answerReached();
}

void CalDAVSyncTask::caldavClientFoundService(CalDAVClient & /*client*/, const QString &host,
                                              bool ssl, quint16 port) {
    logInfo("CalDAVSyncTask (%@): found service %@ (%d) %@", logIdentity(), host, int(port),
            ssl ? QStringLiteral("SSL") : QString());
    m_serviceDomain = host;
    m_serviceSSL = ssl || port == 443 || port == 8443;
    m_servicePort = port;
    unblock();
}

void CalDAVSyncTask::caldavClientDidNotFindService(CalDAVClient & /*client*/) {
    logInfo("CalDAVSyncTask (%@): service not found", logIdentity());
    unblock();
}

// --- Start of a cycle and discovery ----------------------------------------------------

void CalDAVSyncTask::startOfSync() {
    m_syncData = syncDataForService(remoteService());
    m_counts = {};
    m_serverWords.reset();
    m_connectionError.reset();
    if (remoteService()->valueForKey(QStringLiteral("url")).toString().isEmpty()) {
        m_serviceDomain.clear();
        m_servicePort = 0;
        m_serviceSSL = false;
        m_serverRoot.clear();
        m_portScan = 0;
        m_triedServerRoot = false;
        m_skipWellKnownURL = false;
        m_stripDomainFromLogin = false;
        lookupService();
        return;
    }
    // Local item changes go first, unless no calendar was ever listed or
    // calendars changed here are to be sent: the items of a new calendar
    // follow it.
    m_calendarListRefreshed = false;
    m_syncCalendarsFirst =
        !m_syncData.contains(QStringLiteral("collections")) || !changedCalendars().isEmpty();
    if (m_syncCalendarsFirst)
        fetchUserInfo();
    else
        findChangedEvents();
}

QString CalDAVSyncTask::serverDomain() const {
    const QString alternate =
        remoteService()->valueForKey(QStringLiteral("urlAlternate")).toString();
    if (!alternate.isEmpty())
        return alternate;
    const QString fullLogin =
        remoteService()->unmaskedStringValueForKey(QStringLiteral("login")).value_or(QString());
    const QString domain = fullLogin.section(QLatin1Char('@'), 1);
    if (domain.isEmpty() ||
        domain.compare(QLatin1String(kLegacyAppleMailDomain), Qt::CaseInsensitive) == 0)
        return QLatin1String(kICloudDomain);
    return domain;
}

void CalDAVSyncTask::lookupService() {
    const QString address = serverAddress(remoteService()).value_or(QString());
    if (address.startsWith(QLatin1String("http"), Qt::CaseInsensitive)) {
        m_serviceSSL = address.startsWith(QLatin1String("https"), Qt::CaseInsensitive);
        const QUrl url(address);
        const int port = url.port(-1);
        if (!url.host().isEmpty() && url.path().size() > 1) {
            logInfo("CalDAVSyncTask (%@): taking user-entered principal path: %@", logIdentity(),
                    url.path());
            m_serviceDomain = url.host();
            m_servicePort = port > 0 ? quint16(port) : (m_serviceSSL ? 443 : 80);
            setServiceURL(withTrailingSlash(url.path()));
            return;
        }
        if (!url.host().isEmpty()) {
            remoteService()->setValue(QStringLiteral("urlAlternate"), url.host());
            if (port > 0) {
                m_serviceSSL = m_serviceSSL || port == 443 || port == 8443;
                m_serviceDomain = url.host();
                m_servicePort = quint16(port);
                m_portScan = kUserPort;
            }
        } else {
            remoteService()->setValue(QStringLiteral("urlAlternate"), QVariant());
        }
    } else {
        const int colon = address.lastIndexOf(QLatin1Char(':'));
        bool numeric = false;
        const int port = colon > 0 ? address.mid(colon + 1).toInt(&numeric) : 0;
        if (colon > 0 && numeric && port > 0 && port < 65536) {
            m_serviceSSL = port == 443 || port == 8443;
            m_serviceDomain = address.left(colon);
            m_servicePort = quint16(port);
            m_portScan = kUserPort;
        }
    }
    logInfo("CalDAVSyncTask (%@): lookup", logIdentity());
    awaitAnswer([this] { lookupServiceResponse(); });
    caldav().serviceDiscoveryForDomain(serverDomain());
}

void CalDAVSyncTask::lookupServiceResponse() {
    if (m_serviceDomain.isEmpty()) {
        const QString domain = serverDomain();
        m_serviceSSL = true;
        m_servicePort = 443;
        if (domain.compare(QLatin1String(kICloudDomain), Qt::CaseInsensitive) == 0) {
            logInfo("CalDAVSyncTask (%@): using the iCloud CalDAV host %@", logIdentity(),
                    kICloudCalDAVHost);
            m_serviceDomain = QLatin1String(kICloudCalDAVHost);
            m_skipWellKnownURL = true;
        } else {
            m_serviceDomain = domain;
            m_portScan = 1;
        }
    }
    const QString domain = m_serviceDomain.toLower();
    if (domain == QLatin1String(kGoogleDomain) || domain == QLatin1String(kGoogleCalendarHost) ||
        domain == QLatin1String(kGoogleAPIHost)) {
        m_serviceDomain = QLatin1String(kGoogleCalDAVHost);
        m_serviceSSL = true;
        m_servicePort = 443;
        setServiceURL(QStringLiteral("/caldav/v2/%1/user")
                          .arg(QString::fromLatin1(QUrl::toPercentEncoding(login()))));
        return;
    }
    bootstrapFromWellKnownURL();
}

void CalDAVSyncTask::probe(const char *logText, const QString &path, Step next) {
    logInfo(logText, logIdentity());
    m_nextBootstrapState = std::move(next);
    const QString url = urlForDomain(m_serviceDomain, path, m_servicePort, m_serviceSSL);
    awaitAnswer([this] { bootstrapResponse(); });
    caldav().propfind(url, 0, 0, {principalKey()});
}

void CalDAVSyncTask::bootstrapFromWellKnownURL() {
    m_redirects = 0;
    if (m_skipWellKnownURL) {
        bootstrapFromServerRoot();
        return;
    }
    probe("CalDAVSyncTask (%@): bootstrap 1", QStringLiteral("/.well-known/caldav"),
          [this] { bootstrapFromServerRoot(); });
}

void CalDAVSyncTask::bootstrapFromRedirect() {
    probe("CalDAVSyncTask (%@): bootstrap 1.5", m_serverRoot,
          [this] { bootstrapFromServerRoot(); });
}

void CalDAVSyncTask::bootstrapFromServerRoot() {
    m_triedServerRoot = true;
    probe("CalDAVSyncTask (%@): bootstrap 2", QStringLiteral("/"),
          [this] { bootstrapFromCalendarDav(); });
}

void CalDAVSyncTask::bootstrapFromCalendarDav() {
    probe("CalDAVSyncTask (%@): bootstrap 3", QStringLiteral("/calendar/dav/%1/user/").arg(login()),
          [this] { bootstrapFromPrincipalsUsers(); });
}

void CalDAVSyncTask::bootstrapFromPrincipalsUsers() {
    probe("CalDAVSyncTask (%@): bootstrap 4", QStringLiteral("/principals/users/%1/").arg(login()),
          [this] { bootstrapFromCaldav(); });
}

void CalDAVSyncTask::bootstrapFromCaldav() {
    m_lastProbe = true;
    probe("CalDAVSyncTask (%@): bootstrap 5", QStringLiteral("/caldav/"),
          [this] { bootstrapContinuePortScanOrFail(); });
}

void CalDAVSyncTask::bootstrapResponse() {
    const bool lastProbe = std::exchange(m_lastProbe, false);
    const Step next = m_nextBootstrapState;
    const std::optional<QVariantMap> results = caldav().resultsDict();
    if (!results) {
        next();
        return;
    }
    const int status = results->value(QStringLiteral("status")).toInt();
    noteWebPage(*results);
    if (status == 207) {
        const auto [propertyStatus, value] =
            propertyStatusAndValue(WebDAVResults::firstResponse(*results), principalKey());
        if (propertyStatus == 200 && value.isValid()) {
            setServiceURL(value.toString().trimmed());
            return;
        }
    }
    const QString location = headerOfResults(*results, QStringLiteral("Location"));
    if ((status == 301 || status == 302 || status == 303 || status == 307) && !location.isEmpty() &&
        m_redirects < kMaximumRedirects) {
        ++m_redirects;
        m_serverRoot = location;
        logInfo("CalDAVSyncTask (%@): redirection to: %@", logIdentity(), location);
        bootstrapFromRedirect();
        return;
    }
    if (status == 401 && !m_stripDomainFromLogin && lastProbe) {
        logInfo("CalDAVSyncTask (%@): retry", logIdentity());
        m_stripDomainFromLogin = true;
    }
    next();
}

void CalDAVSyncTask::bootstrapContinuePortScanOrFail() {
    if (caldav().userAborted()) {
        finishWithState(SyncState::LoginFailed);
        return;
    }
    if (!m_triedServerRoot) {
        m_skipWellKnownURL = true;
        bootstrapFromWellKnownURL();
        return;
    }
    if (m_portScan >= 1 && m_portScan <= 3) {
        static constexpr quint16 kPorts[] = {443, 8443, 8008, 80};
        logInfo("CalDAVSyncTask (%@): continue", logIdentity());
        m_stripDomainFromLogin = false;
        m_servicePort = kPorts[m_portScan++];
        m_serviceSSL = m_servicePort == 443 || m_servicePort == 8443;
        bootstrapFromWellKnownURL();
        return;
    }
    if (m_portScan == kUserPort && !m_serviceSSL) {
        m_serviceSSL = true;
        bootstrapFromWellKnownURL();
        return;
    }
    if (remoteService()->valueForKey(QStringLiteral("urlAlternate")).toString().isEmpty()) {
        logInfo("CalDAVSyncTask (%@): automatic bootstrap failed; trying icloud", logIdentity());
        m_serviceDomain.clear();
        remoteService()->setValue(QStringLiteral("urlAlternate"), QLatin1String(kICloudDomain));
        lookupServiceResponse();
        return;
    }
    finishWithState(caldav().userAborted() ? SyncState::LoginFailed : SyncState::UnableToConnect);
}

void CalDAVSyncTask::setServiceURL(const QString &path) {
    ModelObject *service = remoteService();
    const QString url = urlForDomain(m_serviceDomain, QString(), m_servicePort, m_serviceSSL);
    service->setValue(QStringLiteral("url"), url);
    service->setBoolValue(m_serviceSSL, QStringLiteral("useSSL"));
    setPrincipalPath(path);
    setArchivedSyncData(m_syncData, service);
    if (m_stripDomainFromLogin) {
        service->setMaskedStringValue(login(), QStringLiteral("login"));
        m_stripDomainFromLogin = false;
    }
    caldav().setAuthorizationDomain(WebDAVURL::domain(QUrl(url)));
    logInfo("CalDAVSyncTask (%@): setServiceURL = %@, principalPath = %@", logIdentity(), url,
            path);
    m_serviceDomain.clear();
    const std::optional<QString> transPassword =
        service->unmaskedStringValueForKey(QStringLiteral("transPassword"));
    if (transPassword && !transPassword->isEmpty())
        setPassword(transPassword, service, QUrl(url));
    setNextStep([this] { startOfSync(); });
}

QString CalDAVSyncTask::serviceURLFromPath(const QString &path) const {
    if (isAbsoluteURL(path))
        return withTrailingSlash(path);
    return withTrailingSlash(remoteService()->valueForKey(QStringLiteral("url")).toString() + path);
}
