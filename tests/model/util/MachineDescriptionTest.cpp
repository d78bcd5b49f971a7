#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <QDir>
#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QSet>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QUuid>
#include <stdexcept>

#include "QtPrinters.h"
#include "model/util/Identifiers.h"
#include "model/util/MachineDescription.h"

namespace {

void writeFile(const QString &path, const QByteArray &content) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(content);
}

TEST(Identifiers, UniqueIDsAreCanonicalUpperCaseUUIDs) {
    static const QRegularExpression form(
        QStringLiteral("^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$"));
    QSet<QString> seen;
    for (int i = 0; i < 100; ++i) {
        const QString uid = uniqueIDString();
        EXPECT_TRUE(form.match(uid).hasMatch()) << uid.toStdString();
        seen.insert(uid);
    }
    EXPECT_EQ(seen.size(), 100);
}

TEST(Identifiers, RectString) {
    EXPECT_EQ(rectString(QRectF(10, -2.5, 300.12346, 0)), "{{10.0000,-2.5000},{300.1235,0.0000}}");
}

TEST(MachineDescription, DescribesSystemKernelProcessorAndModel) {
    QTemporaryDir dir;
    const QString osRelease = dir.filePath("os-release");
    const QString product = dir.filePath("product_name");
    writeFile(
        osRelease,
        "# comment\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nNAME=\"Debian GNU/Linux\"\n"
        "VERSION_ID='12'\nID=debian\n");
    writeFile(product, "ThinkPad X1 Carbon Gen 9\n");
    const QString description = systemDescriptionString(osRelease, product);
    const QString kernel = QSysInfo::kernelVersion();
    EXPECT_TRUE(description.startsWith("Debian GNU/Linux 12 (" + kernel + ") "))
        << description.toStdString();
    EXPECT_TRUE(description.endsWith(" (ThinkPad X1 Carbon Gen 9)")) << description.toStdString();
#if defined(__x86_64__)
    EXPECT_EQ(description,
              "Debian GNU/Linux 12 (" + kernel + ") Intel 64-bit (ThinkPad X1 Carbon Gen 9)");
#endif
}

TEST(MachineDescription, MissingFilesGiveKernelNameAndUnknown) {
    QTemporaryDir dir;
    const QString description =
        systemDescriptionString(dir.filePath("no-os-release"), dir.filePath("no-product"));
    EXPECT_TRUE(description.startsWith(QSysInfo::kernelType(), Qt::CaseInsensitive))
        << description.toStdString();
    EXPECT_TRUE(description.contains(" Unknown (")) << description.toStdString();
    EXPECT_TRUE(description.endsWith(" (Unknown)")) << description.toStdString();
    // The real files of this machine give some description too.
    EXPECT_FALSE(systemDescriptionString().isEmpty());
}

TEST(MachineDescription, ProcessorFamilies) {
    EXPECT_EQ(processorDescription("x86_64"), "Intel 64-bit");
    EXPECT_EQ(processorDescription("i686"), "Intel 32-bit");
    EXPECT_EQ(processorDescription("i386"), "Intel 32-bit");
    EXPECT_EQ(processorDescription("aarch64"), "ARM 64-bit");
    EXPECT_EQ(processorDescription("armv7l"), "ARM 32-bit");
    EXPECT_EQ(processorDescription("riscv64"), "riscv64");
}

TEST(MachineDescription, SocketAddressesAsNumericText) {
    sockaddr_in v4{};
    v4.sin_family = AF_INET;
    v4.sin_port = htons(8443);
    inet_pton(AF_INET, "192.0.2.17", &v4.sin_addr);
    EXPECT_EQ(addressStringFromSocketAddress(reinterpret_cast<const sockaddr *>(&v4)),
              "192.0.2.17");

    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    inet_pton(AF_INET6, "2001:db8::1:0:0:1", &v6.sin6_addr);
    EXPECT_EQ(addressStringFromSocketAddress(reinterpret_cast<const sockaddr *>(&v6)),
              "2001:db8::1:0:0:1");

    sockaddr_un local{};
    local.sun_family = AF_UNIX;
    for (const sockaddr *bad :
         {static_cast<const sockaddr *>(nullptr), reinterpret_cast<const sockaddr *>(&local)}) {
        try {
            addressStringFromSocketAddress(bad);
            ADD_FAILURE() << "no exception";
        } catch (const std::invalid_argument &error) {
            EXPECT_STREQ(error.what(), "Cannot convert address to string.");
        }
    }
}

// The interfaces as the kernel lists them in /sys, with their hardware
// addresses, loopback left out.
QHash<QString, QString> sysInterfaces() {
    QHash<QString, QString> interfaces;
    for (const QString &name :
         QDir("/sys/class/net").entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile type("/sys/class/net/" + name + "/type");
        QFile address("/sys/class/net/" + name + "/address");
        if (type.open(QIODevice::ReadOnly) && type.readAll().trimmed() == "772")  // ARPHRD_LOOPBACK
            continue;
        interfaces.insert(name, address.open(QIODevice::ReadOnly)
                                    ? QString(address.readAll().trimmed())
                                    : QString());
    }
    return interfaces;
}

TEST(MachineDescription, InterfaceAddressesNameUpInterfacesOtherThanLoopback) {
    const QHash<QString, QString> interfaces = sysInterfaces();
    const QString addresses = interfaceAddressesString();
    for (const QString &part : addresses.split(", ", Qt::SkipEmptyParts)) {
        const QString name = part.section(':', 0, 0);
        const QString address = part.section(':', 1);
        EXPECT_TRUE(interfaces.contains(name)) << part.toStdString();
        EXPECT_FALSE(address.isEmpty()) << part.toStdString();
        EXPECT_TRUE(address.contains('.') || address.contains(':')) << part.toStdString();
    }
    EXPECT_FALSE(addresses.contains("127.0.0.1"));
}

TEST(MachineDescription, PrimaryHardwareAddressIsThatOfARealInterface) {
    QSet<QString> hardware;
    for (const QString &address : sysInterfaces()) {
        if (!QString(address).remove(':').remove('0').isEmpty())
            hardware.insert(address);
    }
    const std::optional<QString> mac = primaryMACAddressString();
    ASSERT_EQ(mac.has_value(), !hardware.isEmpty());
    if (mac) {
        static const QRegularExpression form(QStringLiteral("^[0-9a-f]{2}(:[0-9a-f]{2})+$"));
        EXPECT_TRUE(form.match(*mac).hasMatch()) << mac->toStdString();
        EXPECT_TRUE(hardware.contains(*mac)) << mac->toStdString();
    }
}

}  // namespace
