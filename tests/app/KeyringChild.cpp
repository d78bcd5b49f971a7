#include "KeyringChild.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <cstdio>

ProcessResult runChildWithKeyring(const char *name, int serverPort) {
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("MEROVAN_TEST_CHILD", QString::fromLatin1(name));
    environment.insert("MEROVAN_TEST_CALDAV_SERVER",
                       QStringLiteral("127.0.0.1:%1").arg(serverPort));
    process.setProcessEnvironment(environment);
    process.start("sh", {MEROVAN_KEYRING_SCRIPT, QCoreApplication::applicationFilePath()});
    return finishProcess(process, 300000);
}

QString childCalDAVServer() {
    return QString::fromLocal8Bit(qgetenv("MEROVAN_TEST_CALDAV_SERVER"));
}

ProcessResult merovanWithInput(const QStringList &arguments, const QByteArray &input) {
    QProcess process;
    process.start(merovanExecutable(), arguments);
    process.write(input);
    process.closeWriteChannel();
    return finishProcess(process, 120000);
}

void ChildChecks::check(bool ok, const QString &what, const ProcessResult &result) {
    if (!ok)
        m_failures.append(QStringLiteral("%1 (exit %2, out: %3, err: %4)")
                              .arg(what)
                              .arg(result.exitCode)
                              .arg(result.out, result.err));
}

int ChildChecks::exitCode() const {
    for (const QString &failure : m_failures)
        std::fprintf(stderr, "%s\n", failure.toLocal8Bit().constData());
    return m_failures.isEmpty() ? 0 : 1;
}

QString addChildAccount(ChildChecks &checks) {
    const ProcessResult added =
        merovanWithInput({"account", "add", "caldav", "--server", childCalDAVServer(), "--login",
                          "test", "--password-stdin", "--json"},
                         "test\n");
    const QString uid =
        QJsonDocument::fromJson(added.out.toUtf8()).object().value("uid").toString();
    checks.check(added.exitCode == 0 && !uid.isEmpty(), "the account is added", added);
    return uid;
}

QByteArray childEventText(const QByteArray &uid, const QByteArray &summary) {
    return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Command test//EN\r\n"
           "BEGIN:VEVENT\r\nUID:" +
           uid + "\r\nDTSTAMP:20261101T000000Z\r\nSUMMARY:" + summary +
           "\r\nDTSTART:20261201T100000Z\r\nDTEND:20261201T110000Z\r\nEND:VEVENT\r\n"
           "END:VCALENDAR\r\n";
}
