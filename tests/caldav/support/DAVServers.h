#pragma once

#include <QByteArray>
#include <QString>

#include "caldav/support/TestServer.h"

// One HTTP exchange for setting a server up, outside the client under test:
// the status code, or 0 when no answer came within `timeoutMs`. A body is
// sent as `contentType`.
int sendBlocking(const QString &method, const QString &url, const QString &user,
                 const QString &password, const QByteArray &body = {}, int timeoutMs = 20000,
                 const QByteArray &contentType = "text/xml; charset=utf-8");

// The same, with the body of the answer (empty when none came) and the
// given "Depth" (none when empty); for reading what a server holds.
struct BlockingAnswer {
    int status = 0;
    QByteArray body;
};
BlockingAnswer fetchBlocking(const QString &method, const QString &url, const QString &user,
                             const QString &password, const QByteArray &depth,
                             const QByteArray &body = {});

// Radicale with HTTP Basic users "test"/"test" and "test2"/"test2" (a user
// sees only their own collections); each has the calendar "/USER/calendar/".
class RadicaleServer : public TestServer {
public:
    static constexpr char kUser[] = "test";
    static constexpr char kPassword[] = "test";
    QString calendarURL() const { return url(QStringLiteral("/test/calendar/")); }

protected:
    QString prepare(QString &program, QStringList &arguments) override;
    QString setUp() override;
    // The [rights] section of the configuration: each user owns their own
    // collections only.
    virtual QString rightsConfig();
    // Lines added to the [server] section.
    virtual QString serverLines() const { return {}; }
};

// Radicale as above with a calendar "/test/shared/" (titled "Shared") that
// "test2" writes and "test" may only read (listed in test's home, but every
// item test stores, changes or deletes there is refused with 403).
class RadicaleRestrictedServer : public RadicaleServer {
public:
    QString sharedURL() const { return url(QStringLiteral("/test/shared/")); }

protected:
    QString setUp() override;
    QString rightsConfig() override;
};

// Xandikos without authentication; one principal "/user/" with the calendar
// "/user/calendars/calendar/".
class XandikosServer : public TestServer {
public:
    QString calendarURL() const { return url(QStringLiteral("/user/calendars/calendar/")); }

protected:
    QString prepare(QString &program, QStringList &arguments) override;
    QString setUp() override;
};

// DAViCal on its own PostgreSQL cluster (Unix socket in the server's folder)
// behind PHP's built-in web server. Users "test" and "test2" (password =
// name) with "/caldav.php/USER/calendar/". The database comes from a
// template built once per machine in the cache folder.
class DAViCalServer : public TestServer {
public:
    QString calendarURL() const { return url(QStringLiteral("/caldav.php/test/calendar/")); }

protected:
    QString prepare(QString &program, QStringList &arguments) override;
    QString setUp() override;
};

// Cyrus IMAP's CalDAV module (the server that manages attachments) in its
// own folder: HTTP on the test's port, IMAP on another loopback port only to
// make the users' mailboxes. Users "test" and "test2" (password = name) whose
// calendars ("/dav/calendars/user/USER/Default/") are made on their first
// login; the master process runs as the user cyrus.
class CyrusServer : public TestServer {
public:
    QString calendarURL() const { return url(QStringLiteral("/dav/calendars/user/test/Default/")); }

protected:
    QString prepare(QString &program, QStringList &arguments) override;
    QString setUp() override;

private:
    quint16 m_imapPort = 0;
    QString m_adminPassword;
};

// canned_server.py: redirects, HTML error pages, broken bodies, Digest
// authentication and TLS on demand.
class CannedServer : public TestServer {
public:
    struct Options {
        bool digest = false;  // user "digest", password "secret"
        bool tls = false;     // a self-signed certificate made for this run
        bool html = false;    // every request gets a 200 web page
    };
    CannedServer() = default;
    explicit CannedServer(Options options) : m_options(options) {}
    static constexpr char kDigestUser[] = "digest";
    static constexpr char kDigestPassword[] = "secret";

protected:
    QString prepare(QString &program, QStringList &arguments) override;
    bool usesTLS() const override { return m_options.tls; }

private:
    Options m_options;
};
