#include "caldav/support/ClientProbe.h"

#include <QEventLoop>
#include <QTimer>

ClientProbe::ClientProbe() : client(this) {}

bool ClientProbe::wait(int timeoutMs) {
    if (!ended()) {
        QEventLoop loop;
        QTimer deadline;
        deadline.setSingleShot(true);
        QObject::connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
        deadline.start(timeoutMs);
        m_loop = &loop;
        loop.exec();
        m_loop = nullptr;
    }
    const bool done = ended();
    m_endsBefore = finished + failed;
    return done;
}

QVariantMap ClientProbe::results() {
    return client.resultsDict().value_or(QVariantMap());
}

int ClientProbe::webdavClientLoginPassword(WebDAVClient &, const QUrl &url, QString &loginOut,
                                           QString &passwordOut, int retries) {
    credentialsCalls.append({url, retries});
    if (credentialsCalls.size() > maximumAnswers)
        return -1;
    loginOut = login;
    passwordOut = password;
    return answer;
}

void ClientProbe::webdavClientSaveCookiesFromResponse(WebDAVClient &,
                                                      const WebDAVResponse &response) {
    if (const std::optional<QString> cookie = response.headerValue(QStringLiteral("Set-Cookie")))
        savedCookieHeaders.append(*cookie);
}

void ClientProbe::webdavClientDidFinish(WebDAVClient &) {
    ++finished;
    if (m_loop)
        m_loop->quit();
}

void ClientProbe::webdavClientRequestDidFailWithError(WebDAVClient &, const QNetworkRequest &,
                                                      const std::optional<WebDAVError> &failure) {
    ++failed;
    error = failure;
    if (m_loop)
        m_loop->quit();
}
