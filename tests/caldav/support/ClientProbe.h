#pragma once

#include <QEventLoop>
#include <QList>
#include <QString>
#include <QUrl>
#include <optional>

#include "caldav/WebDAVClient.h"
#include "caldav/WebDAVClientDelegate.h"

// The owner of a client under test: answers credential requests as told and
// records every callback. wait() runs the event loop until the request ended
// (a bounded wait: a hung request fails the test, it does not hang it).
class ClientProbe : public WebDAVClientDelegate {
public:
    ClientProbe();

    // What webdavClientLoginPassword() answers (for every call up to
    // `maximumAnswers`, then "no credentials").
    QString login;
    QString password;
    int answer = CredentialsSupplied;
    int maximumAnswers = 100;

    struct CredentialsCall {
        QUrl url;
        int retries;
    };
    QList<CredentialsCall> credentialsCalls;
    int finished = 0;
    int failed = 0;
    std::optional<WebDAVError> error;
    QStringList savedCookieHeaders;

    WebDAVClient client;

    // True when the request ended within `timeoutMs`.
    bool wait(int timeoutMs = 30000);
    // The results dictionary of the answer (empty without one).
    QVariantMap results();

    int webdavClientLoginPassword(WebDAVClient &client, const QUrl &url, QString &login,
                                  QString &password, int retries) override;
    void webdavClientSaveCookiesFromResponse(WebDAVClient &client,
                                             const WebDAVResponse &response) override;
    void webdavClientDidFinish(WebDAVClient &client) override;
    void webdavClientRequestDidFailWithError(WebDAVClient &client, const QNetworkRequest &request,
                                             const std::optional<WebDAVError> &error) override;

private:
    bool ended() const { return finished + failed > m_endsBefore; }
    int m_endsBefore = 0;
    QEventLoop *m_loop = nullptr;
};
