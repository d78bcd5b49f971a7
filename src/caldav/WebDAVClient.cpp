#include "caldav/WebDAVClient.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QNetworkReply>
#include <QRandomGenerator>
#include <QTimeZone>
#include <QtConcurrent>

#include "caldav/CertificateTrust.h"
#include "caldav/HTTPAuthentication.h"
#include "caldav/OAuth2Authentication.h"
#include "caldav/PropertyKey.h"
#include "caldav/TaskManagerConnection.h"
#include "caldav/WebDAVClientDelegate.h"
#include "caldav/WebDAVResults.h"
#include "caldav/XMLBodyWriter.h"
#include "model/foundation/Clock.h"
#include "model/foundation/Log.h"
#include "model/util/TextShaping.h"

namespace {

const char kICalendarTimestampFormat[] = "yyyyMMdd'T'HHmmss'Z'";

void setHeader(QNetworkRequest &request, const QString &name, const QString &value) {
    request.setRawHeader(name.toUtf8(), value.toUtf8());
}

QString defaultUserAgent() {
    const QString executable = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
    return format("%@-%@", executable.isEmpty() ? QCoreApplication::applicationName() : executable,
                  QCoreApplication::applicationVersion());
}

HttpRequestRecord recordOf(const QNetworkRequest &request, const QString &method,
                           const QByteArray &body) {
    HttpRequestRecord record{method, request.url(), {}, body};
    for (const QByteArray &name : request.rawHeaderList())
        record.headers.append(
            {QString::fromUtf8(name), QString::fromUtf8(request.rawHeader(name))});
    return record;
}

QString escapedURL(const QString &url) {
    return stringByAddingPercentEscapes(url);
}

}  // namespace

WebDAVClient::WebDAVClient(WebDAVClientDelegate *delegate) : m_delegate(delegate) {}

WebDAVClient::~WebDAVClient() {
    terminate();
}

double WebDAVClient::responseSeconds() const {
    if (!m_requestTime || !m_responseTime)
        return 0;
    return m_responseTime->secondsSince(*m_requestTime);
}

// --- The request skeleton and sending ---

QNetworkRequest WebDAVClient::requestForURL(const QString &url, const QString &method,
                                            const std::optional<QString> &etag) {
    m_userAborted = false;
    m_url = escapedURL(url);
    m_method = method.isEmpty() ? QStringLiteral("GET") : method;
    QNetworkRequest request{QUrl(m_url)};
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    // Challenges are answered here, per request: the network layer neither
    // keeps nor reuses credentials.
    request.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    request.setTransferTimeout(int(kTimeoutSeconds * 1000));
    setHeader(request, QStringLiteral("Cache-Control"), QStringLiteral("no-cache"));
    if (m_delegate)
        m_delegate->webdavClientAddCookiesToRequest(*this, request);
    setHeader(request, QStringLiteral("User-Agent"), m_userAgent.value_or(defaultUserAgent()));

    const bool ignore = etag == QLatin1String(kIgnoreETag);
    const bool hasETag = etag && !etag->isEmpty();
    if (hasETag && !ignore) {
        if (m_method == QLatin1String("GET"))
            setHeader(request, QStringLiteral("If-None-Match"), *etag);
        else if (m_method == QLatin1String("PUT") || m_method == QLatin1String("DELETE"))
            setHeader(request, QStringLiteral("If-Match"), *etag);
    } else if (!hasETag && m_method == QLatin1String("PUT")) {
        setHeader(request, QStringLiteral("If-None-Match"), QStringLiteral("*"));
    }
    return request;
}

void WebDAVClient::setXMLContentType(QNetworkRequest &request) {
    setHeader(request, QStringLiteral("Content-Type"), QStringLiteral("text/xml; charset=UTF-8"));
}

void WebDAVClient::sendRequest(const QNetworkRequest &request, const QByteArray &body) {
    m_request = request;
    m_requestBody = body;
    if (m_oAuthTested || !m_delegate) {
        continueSending();
        return;
    }
    const QPointer<WebDAVClient> self(this);
    m_delegate->webdavClientOAuthWithHandler(
        *this, [self](std::shared_ptr<OAuth2Authentication> authentication,
                      const std::optional<WebDAVError> &error) {
            if (!self)
                return;
            if (error) {
                self->failBeforeSending(error);
                return;
            }
            self->m_oAuth = std::move(authentication);
            self->m_oAuthTested = true;
            self->continueSending();
        });
}

void WebDAVClient::continueSending() {
    if (!m_oAuth) {
        addAuthToRequest(m_request);
        sendAuthorizedRequest();
        return;
    }
    const QPointer<WebDAVClient> self(this);
    m_oAuth->authorizeRequest(m_request, [self](const std::optional<WebDAVError> &error) {
        if (!self)
            return;
        if (error)
            self->failBeforeSending(error);
        else
            self->sendAuthorizedRequest();
    });
}

void WebDAVClient::failBeforeSending(const std::optional<WebDAVError> &error) {
    if (error && (error->is(WebDAVError::kOAuth2Domain, WebDAVError::kOAuth2WindowClosed) ||
                  error->is(WebDAVError::kOAuth2Domain, WebDAVError::kOAuth2AuthorizationFailed)))
        m_userAborted = true;
    if (m_delegate)
        m_delegate->webdavClientRequestDidFailWithError(*this, m_request, error);
}

void WebDAVClient::addAuthToRequest(QNetworkRequest &request) {
    m_failedAttempts = 0;
    if (m_authorizationDomain &&
        WebDAVURL::domain(request.url()).compare(*m_authorizationDomain, Qt::CaseInsensitive) != 0)
        return;
    if (m_authorization) {
        setHeader(request, QStringLiteral("Authorization"), *m_authorization);
        return;
    }
    if (!m_delegate)
        return;
    QString login;
    QString password;
    const int answer =
        m_delegate->webdavClientLoginPassword(*this, request.url(), login, password, 0);
    if (answer == WebDAVClientDelegate::CredentialsSupplied && !login.isEmpty() &&
        !password.isEmpty()) {
        request.setRawHeader("Authorization",
                             HTTPAuthentication::basicAuthorization(login, password));
        // Should the server refuse them, the first challenge counts one failure.
        m_failedAttempts = 1;
    } else if (answer == WebDAVClientDelegate::CredentialsCancelled) {
        m_userAborted = true;
    }
}

void WebDAVClient::sendAuthorizedRequest() {
    dropConnection();
    m_fetchedData.clear();
    m_response.reset();
    m_resultsDict.reset();
    m_authenticationCancelled = false;
    m_refusedCertificate.reset();
    m_requestTime = Clock::shared().now();
    m_responseTime.reset();
    if (m_logging)
        HttpLog::logWithBodyAtLevel(recordOf(m_request, m_method, m_requestBody),
                                    m_detailedLogging ? LogFlagDebug : LogFlagVerbose);
    if (!m_userAborted)
        m_connection = TaskManagerConnection::connectionWithRequest(m_request, m_method.toUtf8(),
                                                                    m_requestBody);
    if (!m_connection) {
        failBeforeSending(std::nullopt);
        return;
    }
    ++m_requestsSent;
    connect(m_connection, &QNetworkReply::metaDataChanged, this,
            &WebDAVClient::connectionReceivedHeader);
    connect(m_connection, &QNetworkReply::readyRead, this, &WebDAVClient::connectionReceivedData);
    connect(m_connection, &QNetworkReply::sslErrors, this,
            &WebDAVClient::connectionHasCertificateErrors);
    connect(m_connection, &QNetworkReply::finished, this, &WebDAVClient::connectionFinished);
}

void WebDAVClient::dropConnection() {
    if (!m_connection)
        return;
    QNetworkReply *connection = m_connection;
    m_connection = nullptr;
    disconnect(connection, nullptr, this, nullptr);
    connection->abort();
    // Deleted once the current turn of the event loop is over.
    connection->deleteLater();
}

// --- Connection events ---

WebDAVResponse WebDAVClient::responseOfConnection() const {
    WebDAVResponse response;
    response.statusCode = m_connection->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    response.url = m_connection->url();
    for (const auto &[name, value] : m_connection->rawHeaderPairs())
        response.headers.append({QString::fromUtf8(name), QString::fromUtf8(value)});
    return response;
}

void WebDAVClient::connectionReceivedHeader() {
    if (!m_connection->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid())
        return;
    m_response = responseOfConnection();
    const qint64 length = m_response->expectedContentLength().value_or(0);
    m_fetchedData.clear();
    m_fetchedData.reserve(length < 1 ? kDefaultBufferSize : qsizetype(length));
    if (m_delegate)
        m_delegate->webdavClientSaveCookiesFromResponse(*this, *m_response);
}

void WebDAVClient::connectionReceivedData() {
    m_fetchedData += m_connection->readAll();
}

void WebDAVClient::logChallenge() const {
    logVerbose("WebDAVClient: authentication challenge for %@ [%@]", m_url, m_method);
}

void WebDAVClient::connectionHasCertificateErrors(const QList<QSslError> &errors) {
    logChallenge();
    const QString host = m_connection->url().host();
    if (CertificateTrust::shared().isTrustedHost(host, errors, true)) {
        m_connection->ignoreSslErrors(errors);
        return;
    }
    QStringList reasons;
    for (const QSslError &error : errors)
        reasons.append(error.errorString());
    m_refusedCertificate = format("The certificate of the server \"%@\" is not trusted: %@", host,
                                  reasons.join(QStringLiteral("; ")));
    m_userAborted = true;
    logInfo("WebDAVClient: cancelling authentication");
}

// A 401 with a challenge: the owner supplies credentials for this request
// (told how many attempts failed so far) and the request goes again with
// them; any other answer cancels the request.
bool WebDAVClient::answerChallenge() {
    if (!m_response || m_response->statusCode != 401 || m_oAuth)
        return false;
    QStringList values;
    for (const auto &[name, value] : m_response->headers)
        if (name.compare(QLatin1String("WWW-Authenticate"), Qt::CaseInsensitive) == 0)
            values.append(value);
    const QStringList challenges = HTTPAuthentication::challengesOf(values);
    if (!HTTPAuthentication::canAnswer(challenges))
        return false;
    logChallenge();
    QString login;
    QString password;
    const int answer = m_delegate
                           ? m_delegate->webdavClientLoginPassword(
                                 *this, m_connection->url(), login, password, m_failedAttempts)
                           : -1;
    if (answer != WebDAVClientDelegate::CredentialsSupplied) {
        if (answer == WebDAVClientDelegate::CredentialsCancelled)
            m_userAborted = true;
        logInfo("WebDAVClient: cancelling authentication");
        m_authenticationCancelled = true;
        return false;
    }
    const QUrl url = m_request.url();
    const QByteArray uri =
        url.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::RemoveFragment);
    const QByteArray clientNonce = QByteArray::number(QRandomGenerator::global()->generate64(), 16);
    m_request.setRawHeader(
        "Authorization",
        HTTPAuthentication::authorization(challenges, m_method.toUtf8(), uri.isEmpty() ? "/" : uri,
                                          login, password, clientNonce)
            .value_or(QByteArray()));
    ++m_failedAttempts;
    sendAuthorizedRequest();
    return true;
}

std::optional<WebDAVError> WebDAVClient::connectionError(bool answered) const {
    if (m_authenticationCancelled)
        return WebDAVError{WebDAVError::kURLDomain, WebDAVError::kUserCancelledAuthentication,
                           QStringLiteral("The authentication was cancelled.")};
    if (m_refusedCertificate)
        return WebDAVError{WebDAVError::kURLDomain, WebDAVError::kServerCertificateUntrusted,
                           *m_refusedCertificate};
    if (!answered)
        return WebDAVError{WebDAVError::kNetworkDomain, int(m_connection->error()),
                           m_connection->errorString()};
    return std::nullopt;
}

void WebDAVClient::connectionFinished() {
    QNetworkReply *connection = m_connection;
    const bool answered = connection->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
    if (answered) {
        m_response = responseOfConnection();
        m_fetchedData += connection->readAll();
        if (answerChallenge())
            return;
    }
    const std::optional<WebDAVError> error = connectionError(answered);
    m_connection = nullptr;
    disconnect(connection, nullptr, this, nullptr);
    connection->deleteLater();
    m_responseTime = Clock::shared().now();
    const int bodyLevel = m_detailedLogging ? LogFlagDebug : LogFlagVerbose;
    m_detailedLogging = false;
    if (error) {
        m_fetchedData.clear();
        m_response.reset();
        const QNetworkRequest request = m_request;
        m_request = QNetworkRequest();
        if (m_delegate)
            m_delegate->webdavClientRequestDidFailWithError(*this, request, error);
        return;
    }
    if (m_logging) {
        HttpLog::log({m_response->statusCode, m_response->url, m_response->headers}, m_fetchedData,
                     bodyLevel);
        HttpLog::logBodyIfNotAlreadyLoggedAtLevel(recordOf(m_request, m_method, m_requestBody),
                                                  bodyLevel);
    }
    if (m_delegate)
        m_delegate->webdavClientDidFinish(*this);
}

// --- Requests ---

void WebDAVClient::head(const QString &url) {
    sendRequest(requestForURL(url, QStringLiteral("HEAD"), std::nullopt));
}

void WebDAVClient::get(const QString &url, const std::optional<QString> &etag) {
    sendRequest(requestForURL(url, QStringLiteral("GET"), etag));
}

void WebDAVClient::put(const QString &url, const std::optional<QString> &etag, const QString &type,
                       const QByteArray &data) {
    QNetworkRequest request = requestForURL(url, QStringLiteral("PUT"), etag);
    setHeader(request, QStringLiteral("Content-Type"), type);
    m_detailedLogging = true;
    sendRequest(request, data);
}

void WebDAVClient::post(const QString &url, const QString &type, const QByteArray &data,
                        const HeadersAndKeys &headersAndKeys) {
    QNetworkRequest request = requestForURL(url, QStringLiteral("POST"), std::nullopt);
    setHeader(request, QStringLiteral("Content-Type"), type);
    for (const auto &[value, name] : headersAndKeys)
        setHeader(request, name, value);
    sendRequest(request, data);
}

void WebDAVClient::deleteResource(const QString &url, const std::optional<QString> &etag) {
    sendRequest(requestForURL(url, QStringLiteral("DELETE"), etag));
}

void WebDAVClient::options(const QString &url) {
    sendRequest(requestForURL(url, QStringLiteral("OPTIONS"), std::nullopt));
}

void WebDAVClient::mkcol(const QString &url) {
    sendRequest(requestForURL(url, QStringLiteral("MKCOL"), std::nullopt));
}

void WebDAVClient::move(const QString &url, const QString &destination, bool overwrite) {
    transfer(QStringLiteral("MOVE"), url, destination, overwrite);
}

void WebDAVClient::copy(const QString &url, const QString &destination, bool overwrite) {
    transfer(QStringLiteral("COPY"), url, destination, overwrite);
}

void WebDAVClient::transfer(const QString &method, const QString &url, const QString &destination,
                            bool overwrite) {
    QNetworkRequest request = requestForURL(url, method, std::nullopt);
    setHeader(request, QStringLiteral("Destination"), escapedURL(destination));
    if (!overwrite)
        setHeader(request, QStringLiteral("Overwrite"), QStringLiteral("F"));
    sendRequest(request);
}

void WebDAVClient::propfind(const QString &url, double timeout, int depth,
                            const QStringList &properties) {
    QNetworkRequest request = requestForURL(url, QStringLiteral("PROPFIND"), std::nullopt);
    if (depth >= 0)
        setHeader(request, QStringLiteral("Depth"), WebDAVURL::stringFromDepth(depth));
    setHeader(request, QStringLiteral("Brief"), QStringLiteral("t"));
    setHeader(request, QStringLiteral("Prefer"), QStringLiteral("return=minimal"));
    setXMLContentType(request);
    if (timeout > 0)
        request.setTransferTimeout(int(timeout * 1000));
    m_properties = properties;
    XMLBodyWriter writer(QStringLiteral("propfind"), properties);
    if (properties.isEmpty()) {
        writer.emptyElement(QStringLiteral("propname"));
    } else {
        writer.startElement(QStringLiteral("prop"));
        for (const QString &property : properties)
            writer.emptyElement(property);
    }
    sendRequest(request, writer.finish());
}

void WebDAVClient::writePropertyValues(XMLBodyWriter &writer,
                                       const QVariantMap &propertyValues) const {
    for (auto it = propertyValues.cbegin(); it != propertyValues.cend(); ++it)
        if (!it.value().isNull())
            writeElementForProperty(writer, it.key(), it.value());
}

void WebDAVClient::writeElementForProperty(XMLBodyWriter &writer, const QString &key,
                                           const QVariant &value) const {
    writer.startElement(key);
    if (key == QLatin1String("group-member-set")) {
        for (const QString &href : value.toStringList())
            writer.textElement(QStringLiteral("href"), href);
    } else if (key == QLatin1String("resourcetype")) {
        for (const QString &type : value.toStringList())
            writer.emptyElement(type);
    } else if (value.typeId() == QMetaType::QString) {
        writer.text(value.toString());
    }
    writer.endElement();
}

QStringList WebDAVClient::keysOfPropertyValues(const QVariantMap &propertyValues) const {
    QStringList keys = propertyValues.keys();
    keys += propertyValues.value(QStringLiteral("resourcetype")).toStringList();
    return keys;
}

void WebDAVClient::proppatch(const QString &url, const QVariantMap &propertyValues) {
    QNetworkRequest request = requestForURL(url, QStringLiteral("PROPPATCH"), std::nullopt);
    setXMLContentType(request);
    m_detailedLogging = true;
    XMLBodyWriter writer(QStringLiteral("propertyupdate"), keysOfPropertyValues(propertyValues));
    QStringList removed;
    for (auto it = propertyValues.cbegin(); it != propertyValues.cend(); ++it)
        if (it.value().isNull())
            removed.append(it.key());
    if (removed.size() < propertyValues.size()) {
        writer.startElement(QStringLiteral("set"));
        writer.startElement(QStringLiteral("prop"));
        writePropertyValues(writer, propertyValues);
        writer.endElement();
        writer.endElement();
    }
    if (!removed.isEmpty()) {
        writer.startElement(QStringLiteral("remove"));
        writer.startElement(QStringLiteral("prop"));
        for (const QString &key : removed)
            writer.emptyElement(key);
        writer.endElement();
        writer.endElement();
    }
    sendRequest(request, writer.finish());
}

void WebDAVClient::mkcol(const QString &url, const QStringList &resourceTypes,
                         const QVariantMap &propertyValues) {
    QNetworkRequest request = requestForURL(url, QStringLiteral("MKCOL"), std::nullopt);
    setXMLContentType(request);
    m_detailedLogging = true;
    QStringList keys = keysOfPropertyValues(propertyValues) + resourceTypes;
    keys.append(QStringLiteral("collection"));
    XMLBodyWriter writer(QStringLiteral("mkcol"), keys);
    writer.startElement(QStringLiteral("set"));
    writer.startElement(QStringLiteral("prop"));
    writer.startElement(QStringLiteral("resourcetype"));
    writer.emptyElement(QStringLiteral("collection"));
    for (const QString &type : resourceTypes)
        writer.emptyElement(type);
    writer.endElement();
    writePropertyValues(writer, propertyValues);
    sendRequest(request, writer.finish());
}

void WebDAVClient::report(const QString &reportKey, const QString &url, int depth,
                          const QVariantList &propertyDicts,
                          const std::optional<QString> &paramName, const QString &paramValue) {
    QNetworkRequest request = requestForURL(url, QStringLiteral("REPORT"), std::nullopt);
    if (depth >= 0)
        setHeader(request, QStringLiteral("Depth"), WebDAVURL::stringFromDepth(depth));
    setXMLContentType(request);
    if (reportKey == QLatin1String("sync-collection")) {
        setHeader(request, QStringLiteral("Brief"), QStringLiteral("t"));
        setHeader(request, QStringLiteral("Prefer"), QStringLiteral("return=minimal"));
    }
    XMLBodyWriter writer(reportKey, XMLBodyWriter::keysOfPropertyDicts(propertyDicts));
    if (paramName)
        writer.attribute(*paramName, paramValue);
    writer.writePropertyDicts(propertyDicts);
    sendRequest(request, writer.finish());
}

namespace {

QVariantMap propertyDict(const QString &key) {
    return {{QStringLiteral("property"), key}};
}

QVariantMap propDict(const QStringList &properties) {
    QVariantList children;
    for (const QString &property : properties)
        children.append(propertyDict(property));
    return {{QStringLiteral("property"), QStringLiteral("prop")},
            {QStringLiteral("sub properties"), children}};
}

}  // namespace

void WebDAVClient::syncCollectionReport(const QString &url, const QString &token,
                                        const QStringList &properties, bool useFinalSpec) {
    m_properties = properties;
    QVariantList dicts{QVariantMap{{QStringLiteral("property"), QStringLiteral("sync-token")},
                                   {QStringLiteral("value"), token}}};
    if (useFinalSpec)
        dicts.append(QVariantMap{{QStringLiteral("property"), QStringLiteral("sync-level")},
                                 {QStringLiteral("value"), QStringLiteral("1")}});
    dicts.append(propDict(properties));
    report(QStringLiteral("sync-collection"), url, useFinalSpec ? 0 : 1, dicts, std::nullopt,
           QString());
}

void WebDAVClient::principalPropertySearchReport(const QString &url, const QString &substring,
                                                 const QStringList &propertiesToSearch,
                                                 const QStringList &propertiesToReport) {
    QVariantList dicts;
    for (const QString &property : propertiesToSearch) {
        const QVariantMap match{
            {QStringLiteral("property"), QStringLiteral("match")},
            {QStringLiteral("attributes"),
             QVariantMap{{QStringLiteral("match-type"), QStringLiteral("starts-with")}}},
            {QStringLiteral("value"), substring}};
        dicts.append(QVariantMap{
            {QStringLiteral("property"), QStringLiteral("property-search")},
            {QStringLiteral("sub properties"), QVariantList{propDict({property}), match}}});
    }
    dicts.append(propDict(propertiesToReport));
    report(QStringLiteral("principal-property-search"), url, 0, dicts, QStringLiteral("test"),
           QStringLiteral("anyof"));
}

void WebDAVClient::post(const QString &rootKey, const QString &url,
                        const QVariantList &propertyDicts) {
    QNetworkRequest request = requestForURL(url, QStringLiteral("POST"), std::nullopt);
    setXMLContentType(request);
    m_detailedLogging = true;
    XMLBodyWriter writer(rootKey, XMLBodyWriter::keysOfPropertyDicts(propertyDicts));
    writer.writePropertyDicts(propertyDicts);
    sendRequest(request, writer.finish());
}

// --- Results ---

std::optional<QVariantMap> WebDAVClient::resultsDict() {
    calcResultsDict();
    std::optional<QVariantMap> results = std::move(m_resultsDict);
    m_resultsDict.reset();
    return results;
}

void WebDAVClient::calcResultsDict() {
    if (!m_response || m_resultsDict)
        return;
    m_resultsDict = WebDAVResults::calcResultsDict(*m_response, m_method, m_expectXMLResponse,
                                                   m_fetchedData, *this);
}

void WebDAVClient::calcResultsDictInBackground(std::function<void()> done) {
    // Queued even when the work is over at once: `done` never runs inside
    // this call. The client waits for the work in cleanup(), and a queued
    // call to a deleted client is dropped.
    m_parsing = QtConcurrent::run(QThreadPool::globalInstance(), [this] {
                    calcResultsDict();
                }).then([this, done = std::move(done)] {
        QMetaObject::invokeMethod(this, done, Qt::QueuedConnection);
    });
}

void WebDAVClient::cleanup() {
    m_parsing.waitForFinished();
    dropConnection();
    m_fetchedData.clear();
    m_method.clear();
    m_url.clear();
    m_properties.clear();
    m_response.reset();
    m_request = QNetworkRequest();
    m_requestBody.clear();
    m_resultsDict.reset();
    m_requestTime.reset();
    m_responseTime.reset();
    m_delegate = nullptr;
}

void WebDAVClient::terminate() {
    dropConnection();
    cleanup();
}

std::optional<QString> WebDAVClient::iCalendarStringFromDate(const std::optional<Date> &date) {
    if (!date)
        return std::nullopt;
    return date->toDateTime().toUTC().toString(QLatin1String(kICalendarTimestampFormat));
}

std::optional<Date> WebDAVClient::dateFromiCalendarString(const std::optional<QString> &text) {
    if (!text)
        return std::nullopt;
    QDateTime dateTime = QDateTime::fromString(*text, QLatin1String(kICalendarTimestampFormat));
    if (!dateTime.isValid())
        return std::nullopt;
    dateTime.setTimeZone(QTimeZone::utc());
    return Date::fromDateTime(dateTime);
}
