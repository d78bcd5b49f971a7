#include "model/util/MachineDescription.h"

#include <ifaddrs.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/utsname.h>

#include <QFile>
#include <QHash>
#include <QStringList>
#include <memory>
#include <stdexcept>

#include "model/foundation/Format.h"

namespace {

constexpr char kOsReleasePath[] = "/etc/os-release";
constexpr char kProductNamePath[] = "/sys/devices/virtual/dmi/id/product_name";

// The KEY=value lines of an os-release file, quotes removed.
QHash<QString, QString> osRelease(const QString &path) {
    QFile file(path);
    QHash<QString, QString> values;
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return values;
    for (const QByteArray &line : file.readAll().split('\n')) {
        const qsizetype equals = line.indexOf('=');
        if (line.startsWith('#') || equals <= 0)
            continue;
        QString value = QString::fromUtf8(line.mid(equals + 1)).trimmed();
        if (value.size() >= 2 &&
            (value.front() == QLatin1Char('"') || value.front() == QLatin1Char('\'')) &&
            value.back() == value.front()) {
            value = value.mid(1, value.size() - 2);
            value.replace(QLatin1String("\\\""), QLatin1String("\""))
                .replace(QLatin1String("\\\\"), QLatin1String("\\"));
        }
        values.insert(QString::fromUtf8(line.left(equals)).trimmed(), value);
    }
    return values;
}

QString firstLine(const QString &path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return QString();
    return QString::fromUtf8(file.readLine()).trimmed();
}

QString valueOr(const QString &value, const QString &fallback) {
    return value.isEmpty() ? fallback : value;
}

struct InterfaceListDeleter {
    void operator()(ifaddrs *list) const { freeifaddrs(list); }
};
using InterfaceList = std::unique_ptr<ifaddrs, InterfaceListDeleter>;

InterfaceList interfaceList() {
    ifaddrs *list = nullptr;
    if (getifaddrs(&list) != 0)
        return nullptr;
    return InterfaceList(list);
}

}  // namespace

QString systemDescriptionString() {
    return systemDescriptionString(QString::fromLatin1(kOsReleasePath),
                                   QString::fromLatin1(kProductNamePath));
}

QString systemDescriptionString(const QString &osReleasePath, const QString &productNamePath) {
    utsname system{};
    uname(&system);
    const QHash<QString, QString> release = osRelease(osReleasePath);
    const QString unknown = QStringLiteral("Unknown");
    return format("%@ %@ (%@) %@ (%@)",
                  valueOr(release.value(QStringLiteral("NAME")), QString::fromUtf8(system.sysname)),
                  valueOr(release.value(QStringLiteral("VERSION_ID")), unknown), system.release,
                  processorDescription(QString::fromUtf8(system.machine)),
                  valueOr(firstLine(productNamePath), unknown));
}

QString processorDescription(const QString &machine) {
    if (machine == QLatin1String("x86_64"))
        return QStringLiteral("Intel 64-bit");
    if (machine.size() == 4 && machine.startsWith(QLatin1Char('i')) &&
        machine.endsWith(QLatin1String("86")))
        return QStringLiteral("Intel 32-bit");
    if (machine == QLatin1String("aarch64") || machine == QLatin1String("arm64"))
        return QStringLiteral("ARM 64-bit");
    if (machine.startsWith(QLatin1String("arm")))
        return QStringLiteral("ARM 32-bit");
    return machine;
}

QString interfaceAddressesString() {
    QStringList entries;
    const InterfaceList list = interfaceList();
    for (const ifaddrs *entry = list.get(); entry; entry = entry->ifa_next) {
        if (!entry->ifa_addr || !(entry->ifa_flags & IFF_UP) || (entry->ifa_flags & IFF_LOOPBACK))
            continue;
        const int family = entry->ifa_addr->sa_family;
        if (family == AF_INET || family == AF_INET6)
            entries << format("%s:%s", entry->ifa_name,
                              addressStringFromSocketAddress(entry->ifa_addr));
    }
    return entries.join(QStringLiteral(", "));
}

QString addressStringFromSocketAddress(const sockaddr *address) {
    const socklen_t length = !address                         ? 0
                             : address->sa_family == AF_INET  ? sizeof(sockaddr_in)
                             : address->sa_family == AF_INET6 ? sizeof(sockaddr_in6)
                                                              : 0;
    char text[NI_MAXHOST];
    if (length == 0 ||
        getnameinfo(address, length, text, sizeof text, nullptr, 0, NI_NUMERICHOST) != 0)
        throw std::invalid_argument("Cannot convert address to string.");
    return QString::fromLatin1(text);
}

std::optional<QString> primaryMACAddressString() {
    const InterfaceList list = interfaceList();
    for (const ifaddrs *entry = list.get(); entry; entry = entry->ifa_next) {
        if (!entry->ifa_addr || entry->ifa_addr->sa_family != AF_PACKET ||
            (entry->ifa_flags & IFF_LOOPBACK))
            continue;
        const auto *link = reinterpret_cast<const sockaddr_ll *>(entry->ifa_addr);
        const QByteArray hardware(reinterpret_cast<const char *>(link->sll_addr), link->sll_halen);
        if (!hardware.isEmpty() && hardware.count('\0') != hardware.size())
            return QString::fromLatin1(hardware.toHex(':'));
    }
    return std::nullopt;
}
