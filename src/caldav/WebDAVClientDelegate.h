#pragma once

#include <QNetworkRequest>
#include <QString>
#include <QUrl>
#include <functional>
#include <memory>
#include <optional>

#include "caldav/WebDAVError.h"
#include "caldav/WebDAVResponse.h"

class OAuth2Authentication;
class WebDAVClient;

// The owner of a WebDAV client (a sync task, a dialog). Every callback comes
// on the main thread; each request ends in exactly one of
// webdavClientDidFinish() and webdavClientRequestDidFailWithError().
class WebDAVClientDelegate {
public:
    // Answers of webdavClientLoginPassword(); any other value means "no
    // credentials": the client goes on without them.
    enum CredentialsAnswer : int {
        CredentialsCancelled = 0,  // the user cancelled: the client records userAborted()
        CredentialsSupplied = 1,   // login and password were filled in
    };
    using OAuthHandler = std::function<void(std::shared_ptr<OAuth2Authentication> authentication,
                                            const std::optional<WebDAVError> &error)>;

    virtual ~WebDAVClientDelegate();

    // Credentials for `url`. `retries` counts the failed attempts of this
    // request so far (0 for credentials sent before any challenge).
    virtual int webdavClientLoginPassword(WebDAVClient &client, const QUrl &url, QString &login,
                                          QString &password, int retries) = 0;
    // Every request, as it is built: the owner adds the cookies it keeps (the
    // client handles none itself). Nothing by default.
    virtual void webdavClientAddCookiesToRequest(WebDAVClient &client, QNetworkRequest &request);
    // The header of every answer: the owner keeps the cookies it wants.
    // Nothing by default.
    virtual void webdavClientSaveCookiesFromResponse(WebDAVClient &client,
                                                     const WebDAVResponse &response);
    // Asked once, before the client's first request: the account's OAuth2
    // authorization (none for accounts with passwords) or an error. By
    // default accounts use passwords.
    virtual void webdavClientOAuthWithHandler(WebDAVClient &client, const OAuthHandler &handler);
    // The answer is complete, whatever its status.
    virtual void webdavClientDidFinish(WebDAVClient &client) = 0;
    // No answer: the request could not be made (no error then, e.g. the user
    // aborted) or the connection failed.
    virtual void webdavClientRequestDidFailWithError(WebDAVClient &client,
                                                     const QNetworkRequest &request,
                                                     const std::optional<WebDAVError> &error) = 0;
};
