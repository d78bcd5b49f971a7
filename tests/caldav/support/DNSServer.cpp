#include "caldav/support/DNSServer.h"

#include <unistd.h>
#include <QFileInfo>

void DNSServer::addSRVRecord(const QString &name, const QString &target, quint16 port,
                             quint16 priority, quint16 weight) {
    m_records.append(QStringLiteral("--srv-host=%1,%2,%3,%4,%5")
                         .arg(name, target)
                         .arg(port)
                         .arg(priority)
                         .arg(weight));
}

QString DNSServer::prepare(QString &program, QStringList &arguments) {
    program = QStringLiteral("/usr/sbin/dnsmasq");
    if (!QFileInfo::exists(program))
        return QStringLiteral(
            "dnsmasq is missing: install the Debian package dnsmasq "
            "(scripts/test-packages.txt lists it)");
    // As root dnsmasq would switch to an unprivileged user; it keeps the
    // one it runs as when told so.
    const QString user = QString::fromLocal8Bit(qgetenv("USER"));
    arguments = {QStringLiteral("--no-daemon"),
                 QStringLiteral("--conf-file=/dev/null"),
                 QStringLiteral("--pid-file="),
                 QStringLiteral("--port=%1").arg(m_port),
                 QStringLiteral("--listen-address=127.0.0.1"),
                 QStringLiteral("--bind-interfaces"),
                 QStringLiteral("--no-resolv"),
                 QStringLiteral("--no-hosts"),
                 QStringLiteral("--log-facility=-")};
    if (geteuid() == 0)
        arguments.append(QStringLiteral("--user=root"));
    else if (!user.isEmpty())
        arguments.append(QStringLiteral("--user=") + user);
    arguments += m_records;
    return {};
}
