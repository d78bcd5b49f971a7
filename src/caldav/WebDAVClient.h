#pragma once

#include <QByteArray>
#include <QFuture>
#include <QNetworkRequest>
#include <QObject>
#include <QPointer>
#include <QSslError>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>
#include <functional>
#include <memory>
#include <optional>

#include "caldav/PropertyValueParser.h"
#include "caldav/WebDAVError.h"
#include "caldav/WebDAVResponse.h"
#include "model/foundation/Date.h"

class OAuth2Authentication;
class QNetworkReply;
class WebDAVClientDelegate;
class XMLBodyWriter;

// The HTTP layer of every server conversation: one request at a time for one
// owner (the delegate). The client builds the request (escaped URL, no
// caching, no automatic cookies, its User-Agent, the ETag condition),
// attaches credentials (an OAuth2 token, a ready "Authorization" value, or
// HTTP Basic from the owner before any challenge; Basic or Digest on a
// challenge), never follows a redirect (the 3xx answer is the answer), lets
// a server with an untrusted certificate through only when CertificateTrust
// says so, collects the answer and turns it into the results dictionary
// (WebDAVResults). Every HTTP status reaches the owner through
// webdavClientDidFinish(); a failed connection through
// webdavClientRequestDidFailWithError(). userAborted() tells that the user,
// not the server, stopped the request.
//
// Requests start and finish on the main thread. Once an answer is complete,
// calcResultsDict() may run on a worker thread (calcResultsDictInBackground());
// nothing else of the client is touched until it is done.
class WebDAVClient : public QObject, public PropertyValueParser {
    Q_OBJECT

public:
    // Pairs of (value, header name) of post().
    using HeadersAndKeys = QList<std::pair<QString, QString>>;
    static constexpr double kTimeoutSeconds = 60;
    // The ETag that asks for no condition at all.
    static constexpr char kIgnoreETag[] = "ignore";
    // The body buffer of an answer of unknown length starts with this size.
    static constexpr qsizetype kDefaultBufferSize = 4096;

    explicit WebDAVClient(WebDAVClientDelegate *delegate = nullptr);
    ~WebDAVClient() override;

    WebDAVClientDelegate *delegate() const { return m_delegate; }
    void setDelegate(WebDAVClientDelegate *delegate) { m_delegate = delegate; }
    // Replaces the "User-Agent" value ("<executable>-<version>" by default).
    const std::optional<QString> &userAgent() const { return m_userAgent; }
    void setUserAgent(const std::optional<QString> &agent) { m_userAgent = agent; }
    // A ready "Authorization" value (owners that hold a token).
    const std::optional<QString> &authorization() const { return m_authorization; }
    void setAuthorization(const std::optional<QString> &value) { m_authorization = value; }
    // When set, credentials go only to URLs whose domain (WebDAVURL::domain())
    // equals it in any letter case.
    const std::optional<QString> &authorizationDomain() const { return m_authorizationDomain; }
    void setAuthorizationDomain(const std::optional<QString> &domain) {
        m_authorizationDomain = domain;
    }
    // The user refused a certificate or cancelled a password or sign-in
    // prompt during this request.
    bool userAborted() const { return m_userAborted; }
    // Log requests and responses (bodies at verbose level, or at debug level
    // for the request with detailedLogging()).
    bool logging() const { return m_logging; }
    void setLogging(bool logging) { m_logging = logging; }
    // Log this request's bodies at debug level; the body-carrying requests
    // set it, the end of each request clears it.
    bool detailedLogging() const { return m_detailedLogging; }
    void setDetailedLogging(bool detailed) { m_detailedLogging = detailed; }
    // Parse a 200 answer as XML even when the method is not REPORT.
    bool expectXMLResponse() const { return m_expectXMLResponse; }
    void setExpectXMLResponse(bool expect) { m_expectXMLResponse = expect; }

    // The answer of the last request: status, headers and URL; none before
    // one arrived.
    const std::optional<WebDAVResponse> &response() const { return m_response; }
    const QByteArray &responseData() const { return m_fetchedData; }
    // The properties asked for by the last PROPFIND or sync report.
    const QStringList &foundProperties() const { return m_properties; }
    // Seconds between sending the request and the end of its answer.
    double responseSeconds() const;
    std::shared_ptr<OAuth2Authentication> oAuth() const { return m_oAuth; }
    const QString &method() const { return m_method; }
    const QString &url() const { return m_url; }
    // The request in flight or last sent, and its body.
    const QNetworkRequest &request() const { return m_request; }
    const QByteArray &requestBody() const { return m_requestBody; }
    bool isRunning() const { return m_connection != nullptr; }
    // HTTP requests sent since the client was made (a request sent again
    // with credentials counts twice).
    int requestsSent() const { return m_requestsSent; }

    // --- Requests; each ends in one callback of the delegate. ---
    void head(const QString &url);
    // "If-None-Match" with `etag` when given.
    void get(const QString &url, const std::optional<QString> &etag);
    // "If-Match" with `etag`; without one (or an empty one) "If-None-Match: *"
    // (create only); kIgnoreETag sends no condition.
    void put(const QString &url, const std::optional<QString> &etag, const QString &type,
             const QByteArray &data);
    void post(const QString &url, const QString &type, const QByteArray &data,
              const HeadersAndKeys &headersAndKeys);
    // "If-Match" with `etag` when given.
    void deleteResource(const QString &url, const std::optional<QString> &etag);
    void options(const QString &url);
    void mkcol(const QString &url);
    // "Overwrite: F" when `overwrite` is false.
    void move(const QString &url, const QString &destination, bool overwrite);
    void copy(const QString &url, const QString &destination, bool overwrite);
    // Depth -1 sends no "Depth"; a positive timeout replaces kTimeoutSeconds.
    // No properties asks for their names (DAV:propname).
    void propfind(const QString &url, double timeout, int depth, const QStringList &properties);
    // Sets every property whose value is given and removes those whose value
    // is null (an invalid QVariant).
    void proppatch(const QString &url, const QVariantMap &propertyValues);
    // Extended MKCOL: a collection of the given resource types with properties.
    void mkcol(const QString &url, const QStringList &resourceTypes,
               const QVariantMap &propertyValues);
    // The report `reportKey` holding the property dictionaries (see
    // XMLBodyWriter::writePropertyDicts()), with one root attribute when given.
    void report(const QString &reportKey, const QString &url, int depth,
                const QVariantList &propertyDicts, const std::optional<QString> &paramName,
                const QString &paramValue);
    // An empty token asks for everything. `useFinalSpec`: depth 0 and
    // DAV:sync-level "1"; otherwise depth 1.
    void syncCollectionReport(const QString &url, const QString &token,
                              const QStringList &properties, bool useFinalSpec);
    void principalPropertySearchReport(const QString &url, const QString &substring,
                                       const QStringList &propertiesToSearch,
                                       const QStringList &propertiesToReport);
    // A POST of the XML document `rootKey` holding the property dictionaries.
    void post(const QString &rootKey, const QString &url, const QVariantList &propertyDicts);

    // --- Results ---
    // The results dictionary of the answer (computed now unless
    // calcResultsDict() did it); the client forgets it, so the next call
    // computes it again. None without an answer.
    std::optional<QVariantMap> resultsDict();
    // Computes the results dictionary and keeps it. Safe on a worker thread.
    void calcResultsDict();
    // calcResultsDict() on the thread pool; `done` runs on the main thread
    // afterwards, unless the client is gone by then.
    void calcResultsDictInBackground(std::function<void()> done);

    // Forgets the request, its answer, its results and the delegate.
    void cleanup();
    // Cancels the request in flight (no callback follows), then cleanup().
    void terminate();

    // UTC timestamps as "yyyyMMdd'T'HHmmss'Z'"; none in, none out.
    static std::optional<QString> iCalendarStringFromDate(const std::optional<Date> &date);
    static std::optional<Date> dateFromiCalendarString(const std::optional<QString> &text);

protected:
    // The skeleton every request starts from: escaped URL, no caching or
    // automatic cookies, "Cache-Control: no-cache", the owner's cookies, the
    // User-Agent, the method ("GET" when empty) and the ETag condition.
    QNetworkRequest requestForURL(const QString &url, const QString &method,
                                  const std::optional<QString> &etag);
    // Asks about OAuth2 once, adds credentials and starts the connection.
    void sendRequest(const QNetworkRequest &request, const QByteArray &body = {});
    // Writes `key` with `value` inside a DAV:prop of a PROPPATCH or MKCOL:
    // "group-member-set" gets a DAV:href per string, "resourcetype" an empty
    // child per key, a string becomes the text, any other value leaves the
    // element empty. Clients of richer protocols write their own keys and
    // fall back to this.
    virtual void writeElementForProperty(XMLBodyWriter &writer, const QString &key,
                                         const QVariant &value) const;
    // The element keys a body of these property values names, so that their
    // namespaces are declared: the properties and the resource types.
    // Clients that write more elements add theirs.
    virtual QStringList keysOfPropertyValues(const QVariantMap &propertyValues) const;
    // Writes each property value with writeElementForProperty().
    void writePropertyValues(XMLBodyWriter &writer, const QVariantMap &propertyValues) const;
    // The XML content type of the request bodies.
    static void setXMLContentType(QNetworkRequest &request);

private:
    void addAuthToRequest(QNetworkRequest &request);
    void continueSending();
    void sendAuthorizedRequest();
    void failBeforeSending(const std::optional<WebDAVError> &error);
    void connectionReceivedHeader();
    void connectionReceivedData();
    void connectionHasCertificateErrors(const QList<QSslError> &errors);
    void connectionFinished();
    bool answerChallenge();
    std::optional<WebDAVError> connectionError(bool answered) const;
    void dropConnection();
    // MOVE or COPY.
    void transfer(const QString &method, const QString &url, const QString &destination,
                  bool overwrite);
    void logChallenge() const;
    WebDAVResponse responseOfConnection() const;

    QNetworkReply *m_connection = nullptr;
    QString m_method;
    QString m_url;
    QStringList m_properties;
    QNetworkRequest m_request;
    QByteArray m_requestBody;
    std::optional<WebDAVResponse> m_response;
    QByteArray m_fetchedData;
    std::optional<QString> m_userAgent;
    std::optional<QString> m_authorization;
    std::optional<QString> m_authorizationDomain;
    bool m_userAborted = false;
    bool m_logging = true;
    bool m_detailedLogging = false;
    bool m_oAuthTested = false;
    bool m_expectXMLResponse = false;
    std::shared_ptr<OAuth2Authentication> m_oAuth;
    std::optional<QVariantMap> m_resultsDict;
    std::optional<Date> m_requestTime;
    std::optional<Date> m_responseTime;
    WebDAVClientDelegate *m_delegate = nullptr;

    // The challenges of the current request: the failed attempts so far, and
    // why the connection was stopped.
    int m_failedAttempts = 0;
    int m_requestsSent = 0;
    bool m_authenticationCancelled = false;
    std::optional<QString> m_refusedCertificate;
    QFuture<void> m_parsing;
};
