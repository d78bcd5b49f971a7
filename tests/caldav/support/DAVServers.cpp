#include "caldav/support/DAVServers.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QRandomGenerator>
#include <QTimer>

#include "support/TestSupport.h"

namespace {

bool writeFile(const QString &path, const QByteArray &content) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(content) == content.size();
}

// Runs a set-up command to its end; empty when it exited with 0.
QString run(const QString &program, const QStringList &arguments, const QString &input = {},
            const QStringList &environment = {}) {
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const QString &entry : environment)
        env.insert(entry.section(QLatin1Char('='), 0, 0), entry.section(QLatin1Char('='), 1));
    process.setProcessEnvironment(env);
    process.setWorkingDirectory(QDir::tempPath());
    process.start(program, arguments);
    process.write(input.toUtf8());
    process.closeWriteChannel();
    const ProcessResult result = finishProcess(process, 120000);
    if (result.exitCode == 0)
        return {};
    return QStringLiteral("%1 %2 failed (%3):\n%4%5")
        .arg(program, arguments.join(QLatin1Char(' ')))
        .arg(result.exitCode)
        .arg(result.out, result.err);
}

QStringList asPostgres(const QStringList &command) {
    return QStringList{QStringLiteral("--reuid=postgres"), QStringLiteral("--regid=postgres"),
                       QStringLiteral("--init-groups"), QStringLiteral("--")} +
           command;
}

QString postgresBin() {
    const QStringList versions =
        QDir(QStringLiteral("/usr/lib/postgresql")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    return versions.isEmpty() ? QString()
                              : QStringLiteral("/usr/lib/postgresql/%1/bin").arg(versions.last());
}

QString davicalVersion() {
    QProcess query;
    query.start(QStringLiteral("dpkg-query"),
                {QStringLiteral("-W"), QStringLiteral("-f=${Version}"), QStringLiteral("davical")});
    return finishProcess(query, 10000).out.trimmed();
}

const char kPostgresOptions[] =
    "-c listen_addresses= -p 5432 -c fsync=off -c synchronous_commit=off -c full_page_writes=off";

// The users, their calendars and scheduling boxes, made through DAViCal's own views.
QString davicalUsersSQL() {
    QString sql;
    for (const QString &name : {QStringLiteral("test"), QStringLiteral("test2")}) {
        sql += QStringLiteral(
                   "INSERT INTO dav_principal (username, password, fullname, email, email_ok, "
                   "type_id, default_privileges) VALUES ('%1', '**%1', '%1 user', "
                   "'%1@example.com', current_date, 1, "
                   "privilege_to_bits(ARRAY['read-free-busy','schedule-deliver']));\n"
                   "INSERT INTO collection (user_no, parent_container, dav_name, dav_etag, "
                   "dav_displayname, is_calendar, is_addressbook, created, modified, "
                   "resourcetypes) SELECT user_no, '/%1/', '/%1/' || c.n || '/', '-1', c.n, true, "
                   "false, current_timestamp, current_timestamp, "
                   "'<DAV::collection/><urn:ietf:params:xml:ns:caldav:calendar/>' FROM usr, "
                   "(VALUES ('calendar'), ('.in'), ('.out')) AS c(n) WHERE username = '%1';\n")
                   .arg(name);
    }
    return sql;
}

// Builds the database template (a stopped cluster with DAViCal's schema and
// the users) in `folder`.
QString buildDAViCalTemplate(const QString &folder) {
    const QString bin = postgresBin();
    const QString data = folder + QStringLiteral("/pg");
    const QString socket = folder + QStringLiteral("/sock");
    QDir().mkpath(data);
    QDir().mkpath(socket);
    if (QString error = run(QStringLiteral("chown"),
                            {QStringLiteral("-R"), QStringLiteral("postgres:postgres"), folder});
        !error.isEmpty())
        return error;
    if (QString error = run(
            QStringLiteral("setpriv"),
            asPostgres({bin + QStringLiteral("/initdb"), QStringLiteral("-D"), data,
                        QStringLiteral("-A"), QStringLiteral("trust"), QStringLiteral("-U"),
                        QStringLiteral("postgres"), QStringLiteral("-E"), QStringLiteral("UTF8"),
                        QStringLiteral("--locale=C.UTF-8"), QStringLiteral("--no-sync")}));
        !error.isEmpty())
        return error;
    const QStringList pgEnvironment{QStringLiteral("PGHOST=") + socket,
                                    QStringLiteral("PGPORT=5432")};
    if (QString error = run(QStringLiteral("setpriv"),
                            asPostgres({bin + QStringLiteral("/pg_ctl"), QStringLiteral("-D"), data,
                                        QStringLiteral("-w"), QStringLiteral("-o"),
                                        QStringLiteral("-k %1 %2").arg(socket, kPostgresOptions),
                                        QStringLiteral("-l"), folder + QStringLiteral("/pg.log"),
                                        QStringLiteral("start")}));
        !error.isEmpty())
        return error;
    QString error = run(QStringLiteral("setpriv"),
                        asPostgres({QStringLiteral("/usr/share/davical/dba/create-database.sh"),
                                    QStringLiteral("davical"), QStringLiteral("admin-password")}),
                        {}, pgEnvironment);
    if (error.isEmpty())
        error = run(QStringLiteral("setpriv"),
                    asPostgres({bin + QStringLiteral("/psql"), QStringLiteral("-qXAt"),
                                QStringLiteral("-v"), QStringLiteral("ON_ERROR_STOP=1"),
                                QStringLiteral("davical")}),
                    davicalUsersSQL(), pgEnvironment);
    run(QStringLiteral("setpriv"),
        asPostgres({bin + QStringLiteral("/pg_ctl"), QStringLiteral("-D"), data,
                    QStringLiteral("-m"), QStringLiteral("fast"), QStringLiteral("-w"),
                    QStringLiteral("stop")}));
    QDir(socket).removeRecursively();
    return error;
}

// The template for this DAViCal and PostgreSQL, built on first use.
QString davicalTemplate(QString &error) {
    const QString cache = QStringLiteral("/var/cache/merovan-tests");
    const QString folder =
        QStringLiteral("%1/davical-%2-pg%3")
            .arg(cache, davicalVersion(), postgresBin().section(QLatin1Char('/'), -2, -2));
    QDir().mkpath(cache);
    QLockFile lock(cache + QStringLiteral("/davical.lock"));
    lock.setStaleLockTime(0);
    if (!lock.lock()) {
        error = QStringLiteral("cannot lock %1").arg(cache);
        return {};
    }
    if (QFileInfo::exists(folder))
        return folder;
    const QString building = folder + QStringLiteral(".build");
    QDir(building).removeRecursively();
    error = buildDAViCalTemplate(building);
    if (error.isEmpty() && !QDir().rename(building, folder))
        error = QStringLiteral("cannot move the template to %1").arg(folder);
    return error.isEmpty() ? folder : QString();
}

}  // namespace

namespace {

BlockingAnswer exchangeBlocking(const QString &method, const QString &url, const QString &user,
                                const QString &password, const QByteArray &depth,
                                const QByteArray &body, int timeoutMs,
                                const QByteArray &contentType) {
    QNetworkAccessManager manager;
    QNetworkRequest request{QUrl(url)};
    if (!user.isEmpty())
        request.setRawHeader("Authorization",
                             "Basic " + (user + QLatin1Char(':') + password).toUtf8().toBase64());
    if (!depth.isEmpty())
        request.setRawHeader("Depth", depth);
    if (!body.isEmpty())
        request.setRawHeader("Content-Type", contentType);
    QNetworkReply *reply = manager.sendCustomRequest(request, method.toUtf8(), body);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
    BlockingAnswer answer;
    answer.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reply->isFinished())
        answer.body = reply->readAll();
    reply->abort();
    reply->deleteLater();
    return answer;
}

}  // namespace

int sendBlocking(const QString &method, const QString &url, const QString &user,
                 const QString &password, const QByteArray &body, int timeoutMs,
                 const QByteArray &contentType) {
    // A collection is deleted whole: no depth.
    const QByteArray depth = method == QLatin1String("DELETE") ? QByteArray() : "0";
    return exchangeBlocking(method, url, user, password, depth, body, timeoutMs, contentType)
        .status;
}

BlockingAnswer fetchBlocking(const QString &method, const QString &url, const QString &user,
                             const QString &password, const QByteArray &depth,
                             const QByteArray &body) {
    return exchangeBlocking(method, url, user, password, depth, body, 20000,
                            "text/xml; charset=utf-8");
}

// --- Radicale ---

QString RadicaleServer::prepare(QString &program, QStringList &arguments) {
    if (QString missing = requireProgram(QStringLiteral("radicale"), QStringLiteral("radicale"));
        !missing.isEmpty())
        return missing;
    if (QString missing = requireProgram(QStringLiteral("eatmydata"), QStringLiteral("eatmydata"));
        !missing.isEmpty())
        return missing;
    const QString config = QStringLiteral(
                               "[server]\nhosts = 127.0.0.1:%1\n%4"
                               "[auth]\ntype = htpasswd\nhtpasswd_filename = %2/users\n"
                               "htpasswd_encryption = plain\ndelay = 0\n"
                               "%3"
                               "[storage]\nfilesystem_folder = %2/collections\n"
                               "[web]\ntype = none\n[logging]\nlevel = warning\n")
                               .arg(m_port)
                               .arg(m_dir.path(), rightsConfig(), serverLines());
    if (!writeFile(m_dir.filePath(QStringLiteral("config")), config.toUtf8()) ||
        !writeFile(m_dir.filePath(QStringLiteral("users")), "test:test\ntest2:test2\n"))
        return QStringLiteral("cannot write Radicale's configuration");
    program = QStringLiteral("eatmydata");
    arguments = {QStringLiteral("radicale"), QStringLiteral("-C"),
                 m_dir.filePath(QStringLiteral("config"))};
    return {};
}

QString RadicaleServer::setUp() {
    // A principal's collection exists after its first authenticated request.
    for (const QString &user : {QStringLiteral("test"), QStringLiteral("test2")}) {
        const QString home = url(QStringLiteral("/%1/").arg(user));
        const int found = sendBlocking(QStringLiteral("PROPFIND"), home, user, user);
        const int made = sendBlocking(QStringLiteral("MKCALENDAR"),
                                      home + QStringLiteral("calendar/"), user, user);
        if (found != 207 || made != 201)
            return QStringLiteral("Radicale set-up failed: PROPFIND %1, MKCALENDAR %2\n%3")
                .arg(found)
                .arg(made)
                .arg(logText());
    }
    return {};
}

QString RadicaleServer::rightsConfig() {
    return QStringLiteral("[rights]\ntype = owner_only\n");
}

QString RadicaleRestrictedServer::rightsConfig() {
    // The first section that matches decides; "r"/"w" are calendars, "R"/"W"
    // other collections.
    const QByteArray rules =
        "[shared-owner]\nuser: test2\ncollection: test/shared\n"
        "permissions: RrWw\n"
        "[shared-reader]\nuser: test\ncollection: test/shared\n"
        "permissions: Rr\n"
        "[root]\nuser: .+\ncollection:\npermissions: R\n"
        "[owner]\nuser: .+\ncollection: {user}(/.*)?\npermissions: RrWw\n";
    const QString file = m_dir.filePath(QStringLiteral("rights"));
    if (!writeFile(file, rules))
        return QStringLiteral("[rights]\ntype = unwritable\n");  // Radicale will not start
    return QStringLiteral("[rights]\ntype = from_file\nfile = %1\n").arg(file);
}

QString RadicaleRestrictedServer::setUp() {
    if (QString error = RadicaleServer::setUp(); !error.isEmpty())
        return error;
    const int made = sendBlocking(
        QStringLiteral("MKCALENDAR"), sharedURL(), QStringLiteral("test2"), QStringLiteral("test2"),
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<C:mkcalendar xmlns:D=\"DAV:\" xmlns:C=\"urn:ietf:params:xml:ns:caldav\">"
        "<D:set><D:prop><D:displayname>Shared</D:displayname></D:prop></D:set></C:mkcalendar>");
    return made == 201 ? QString()
                       : QStringLiteral("Radicale made no shared calendar: MKCALENDAR %1\n%2")
                             .arg(made)
                             .arg(logText());
}

// --- Xandikos ---

QString XandikosServer::prepare(QString &program, QStringList &arguments) {
    if (QString missing = requireProgram(QStringLiteral("xandikos"), QStringLiteral("xandikos"));
        !missing.isEmpty())
        return missing;
    program = QStringLiteral("eatmydata");
    arguments = {QStringLiteral("xandikos"),
                 QStringLiteral("-d"),
                 m_dir.filePath(QStringLiteral("data")),
                 QStringLiteral("--defaults"),
                 QStringLiteral("-l"),
                 QStringLiteral("127.0.0.1"),
                 QStringLiteral("-p"),
                 QString::number(m_port),
                 QStringLiteral("--current-user-principal"),
                 QStringLiteral("/user/")};
    return {};
}

QString XandikosServer::setUp() {
    const int status = sendBlocking(QStringLiteral("PROPFIND"), calendarURL(), {}, {});
    return status == 207 ? QString()
                         : QStringLiteral("Xandikos answered %1 for its calendar\n%2")
                               .arg(status)
                               .arg(logText());
}

// --- DAViCal ---

QString DAViCalServer::prepare(QString &program, QStringList &arguments) {
    if (!QFileInfo::exists(QStringLiteral("/usr/share/davical/htdocs/caldav.php")))
        return QStringLiteral(
            "DAViCal is missing: install the Debian packages davical "
            "php8.2-cgi php-cli php-pgsql (scripts/test-packages.txt)");
    if (postgresBin().isEmpty())
        return QStringLiteral("PostgreSQL is missing: install the Debian package postgresql");
    if (QString missing = requireProgram(QStringLiteral("php"), QStringLiteral("php-cli"));
        !missing.isEmpty())
        return missing;
    QString error;
    const QString templateFolder = davicalTemplate(error);
    if (templateFolder.isEmpty())
        return error;
    QDir().mkpath(m_dir.filePath(QStringLiteral("sock")));
    if (QString copyError =
            run(QStringLiteral("cp"), {QStringLiteral("-a"), templateFolder + QStringLiteral("/pg"),
                                       m_dir.filePath(QStringLiteral("pg"))});
        !copyError.isEmpty())
        return copyError;
    run(QStringLiteral("chmod"), {QStringLiteral("755"), m_dir.path()});
    run(QStringLiteral("chown"),
        {QStringLiteral("postgres:postgres"), m_dir.filePath(QStringLiteral("sock"))});
    // The usual rewrite rule: /.well-known/ goes to caldav.php.
    const QByteArray router = R"(<?php
$path = parse_url($_SERVER['REQUEST_URI'], PHP_URL_PATH);
if (preg_match('{^/\.well-known/}', $path)) {
  $_SERVER['SCRIPT_NAME'] = '/caldav.php';
  $_SERVER['SCRIPT_FILENAME'] = $_SERVER['DOCUMENT_ROOT'] . '/caldav.php';
  $_SERVER['PHP_SELF'] = '/caldav.php' . $path;
  $_SERVER['PATH_INFO'] = $path;
  chdir($_SERVER['DOCUMENT_ROOT']);
  require 'caldav.php';
  return true;
}
return false;
)";
    if (!writeFile(m_dir.filePath(QStringLiteral("router.php")), router))
        return QStringLiteral("cannot write the router");
    // One process group: the shell, PostgreSQL and the PHP workers.
    const QString script =
        QStringLiteral(
            "setpriv --reuid=postgres --regid=postgres --init-groups -- %1/postgres -D %2/pg "
            "-k %2/sock %3 > %2/postgres.log 2>&1 &\n"
            "PGHOST=%2/sock PGPORT=5432 PHP_CLI_SERVER_WORKERS=4 php -d display_errors=0 "
            "-S 127.0.0.1:%4 -t /usr/share/davical/htdocs %2/router.php &\nwait\n")
            .arg(postgresBin(), m_dir.path(), QLatin1String(kPostgresOptions))
            .arg(m_port);
    program = QStringLiteral("/bin/bash");
    arguments = {QStringLiteral("-c"), script};
    return {};
}

QString DAViCalServer::setUp() {
    // PHP listens before PostgreSQL takes connections: poll a real request.
    int status = 0;
    for (int attempt = 0; attempt < 100 && status != 207; ++attempt)
        status = sendBlocking(QStringLiteral("PROPFIND"), calendarURL(), QStringLiteral("test"),
                              QStringLiteral("test"));
    return status == 207 ? QString()
                         : QStringLiteral("DAViCal answered %1\n%2").arg(status).arg(logText());
}

// --- Cyrus ---

QString CyrusServer::prepare(QString &program, QStringList &arguments) {
    const QString master = QStringLiteral("/usr/lib/cyrus/bin/master");
    if (!QFileInfo::exists(master))
        return QStringLiteral(
            "Cyrus is missing: install the Debian packages cyrus-imapd cyrus-caldav sasl2-bin "
            "(scripts/test-packages.txt)");
    if (QString missing =
            requireProgram(QStringLiteral("saslpasswd2"), QStringLiteral("sasl2-bin"));
        !missing.isEmpty())
        return missing;
    const QString dir = m_dir.path();
    for (const char *sub : {"conf", "spool", "sieve", "run"})
        QDir().mkpath(m_dir.filePath(QLatin1String(sub)));
    m_imapPort = freePort();
    m_adminPassword = QStringLiteral("admin-%1").arg(QRandomGenerator::global()->generate());
    const QString imapd = QStringLiteral(
                              "configdirectory: %1/conf\n"
                              "defaultpartition: default\n"
                              "partition-default: %1/spool\n"
                              "sievedir: %1/sieve\n"
                              "lmtpsocket: %1/run/lmtp\n"
                              "idlesocket: %1/run/idle\n"
                              "notifysocket: %1/run/notify\n"
                              "servername: localhost\n"
                              "defaultdomain: example.com\n"
                              "admins: admin\n"
                              "sasl_pwcheck_method: auxprop\n"
                              "sasl_auxprop_plugin: sasldb\n"
                              "sasl_sasldb_path: %1/sasldb2\n"
                              "sasl_mech_list: PLAIN LOGIN\n"
                              "allowplaintext: yes\n"
                              "httpmodules: caldav carddav freebusy\n"
                              "httpallowcompress: no\n"
                              "caldav_allowscheduling: on\n"
                              "caldav_realm: Merovan-test\n")
                              .arg(dir);
    const QString services =
        QStringLiteral(
            "START {\n  recover cmd=\"ctl_cyrusdb -r -C %1/imapd.conf\"\n}\n"
            "SERVICES {\n"
            "  http cmd=\"httpd -C %1/imapd.conf\" listen=\"127.0.0.1:%2\" prefork=0\n"
            "  imap cmd=\"imapd -C %1/imapd.conf\" listen=\"127.0.0.1:%3\" prefork=0\n"
            "}\nEVENTS {\n}\nDAEMON {\n}\n")
            .arg(dir)
            .arg(m_port)
            .arg(m_imapPort);
    if (!writeFile(m_dir.filePath(QStringLiteral("imapd.conf")), imapd.toUtf8()) ||
        !writeFile(m_dir.filePath(QStringLiteral("cyrus.conf")), services.toUtf8()))
        return QStringLiteral("cannot write the Cyrus configuration");
    for (const QString &user :
         {QStringLiteral("admin"), QStringLiteral("test"), QStringLiteral("test2")}) {
        const QString password = user == QLatin1String("admin") ? m_adminPassword : user;
        if (QString error = run(QStringLiteral("saslpasswd2"),
                                {QStringLiteral("-p"), QStringLiteral("-c"), QStringLiteral("-f"),
                                 m_dir.filePath(QStringLiteral("sasldb2")), QStringLiteral("-u"),
                                 QStringLiteral("localhost"), user},
                                password);
            !error.isEmpty())
            return error;
    }
    run(QStringLiteral("chmod"), {QStringLiteral("755"), dir});
    if (QString error =
            run(QStringLiteral("chown"), {QStringLiteral("-R"), QStringLiteral("cyrus:mail"), dir});
        !error.isEmpty())
        return error;
    run(QStringLiteral("chmod"),
        {QStringLiteral("640"), m_dir.filePath(QStringLiteral("sasldb2"))});
    program = QStringLiteral("setpriv");
    arguments = {QStringLiteral("--reuid=cyrus"),
                 QStringLiteral("--regid=mail"),
                 QStringLiteral("--init-groups"),
                 QStringLiteral("--"),
                 master,
                 QStringLiteral("-C"),
                 m_dir.filePath(QStringLiteral("imapd.conf")),
                 QStringLiteral("-M"),
                 m_dir.filePath(QStringLiteral("cyrus.conf")),
                 QStringLiteral("-p"),
                 m_dir.filePath(QStringLiteral("run/master.pid")),
                 QStringLiteral("-L"),
                 m_dir.filePath(QStringLiteral("master.log"))};
    return {};
}

QString CyrusServer::setUp() {
    // The users' mailboxes, made over IMAP as the administrator (the IMAP
    // service may come up a moment after the HTTP one: a bounded retry).
    const QString script = QStringLiteral(
        "import imaplib, sys, time\n"
        "deadline = time.time() + 20\n"
        "while True:\n"
        "    try:\n"
        "        m = imaplib.IMAP4('127.0.0.1', int(sys.argv[1]))\n"
        "        break\n"
        "    except OSError:\n"
        "        if time.time() > deadline:\n"
        "            raise\n"
        "        time.sleep(0.1)\n"
        "m.login('admin', sys.argv[2])\n"
        "for user in ('test', 'test2'):\n"
        "    typ, data = m.create('user/' + user)\n"
        "    assert typ == 'OK', data\n"
        "    m.setquota('user/' + user, '(STORAGE 102400)')\n"
        "m.logout()\n");
    if (QString error =
            run(QStringLiteral("/usr/bin/python3"),
                {QStringLiteral("-c"), script, QString::number(m_imapPort), m_adminPassword});
        !error.isEmpty())
        return error + logText();
    // Each user's calendars are made on the first login.
    for (const QString &user : {QStringLiteral("test"), QStringLiteral("test2")}) {
        const QString home = url(QStringLiteral("/dav/calendars/user/%1/Default/").arg(user));
        int status = 0;
        for (int attempt = 0; attempt < 100 && status != 207; ++attempt)
            status = sendBlocking(QStringLiteral("PROPFIND"), home, user, user);
        if (status != 207)
            return QStringLiteral("Cyrus answered %1 for %2\n%3").arg(status).arg(home, logText());
    }
    return {};
}

// --- The canned server ---

QString CannedServer::prepare(QString &program, QStringList &arguments) {
    program = QStringLiteral("/usr/bin/python3");
    if (!QFileInfo::exists(program))
        return QStringLiteral("python3 is missing: install the Debian package python3");
    arguments = {sourcePath(QStringLiteral("tests/caldav/support/canned_server.py")),
                 QString::number(m_port)};
    if (m_options.digest)
        arguments += {QStringLiteral("--digest"), QLatin1String(kDigestUser),
                      QLatin1String(kDigestPassword)};
    if (m_options.html)
        arguments.append(QStringLiteral("--html"));
    if (m_options.tls) {
        if (QString missing = requireProgram(QStringLiteral("openssl"), QStringLiteral("openssl"));
            !missing.isEmpty())
            return missing;
        const QString certificate = m_dir.filePath(QStringLiteral("cert.pem"));
        const QString key = m_dir.filePath(QStringLiteral("key.pem"));
        if (QString error =
                run(QStringLiteral("openssl"),
                    {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-nodes"),
                     QStringLiteral("-days"), QStringLiteral("2"), QStringLiteral("-subj"),
                     QStringLiteral("/CN=127.0.0.1"), QStringLiteral("-newkey"),
                     QStringLiteral("rsa:2048"), QStringLiteral("-keyout"), key,
                     QStringLiteral("-out"), certificate});
            !error.isEmpty())
            return error;
        arguments += {QStringLiteral("--tls"), certificate, key};
    }
    return {};
}
