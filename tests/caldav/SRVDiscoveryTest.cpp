#include <gtest/gtest.h>

#include <QEventLoop>
#include <QHostAddress>
#include <QMutex>
#include <QTimer>

#include "caldav/CalDAVClient.h"
#include "caldav/CalDAVClientDelegate.h"
#include "caldav/ResolvSRVResolver.h"
#include "caldav/support/DNSServer.h"

// Finding the CalDAV service of a domain through SRV records: the choice of
// record, the real resolver against a name server on 127.0.0.1, and the
// order in which the client asks.
namespace {

SRVRecord srv(const char *target, quint16 priority, quint16 weight) {
    return SRVRecord{QLatin1String(target), 8008, priority, weight};
}

TEST(SRVRecordChoice, LowestPriorityThenHighestWeightThenFirst) {
    EXPECT_FALSE(SRVResolver::bestRecord({}));
    EXPECT_EQ(SRVResolver::bestRecord({srv("a", 10, 0), srv("b", 5, 0)})->target, "b");
    EXPECT_EQ(SRVResolver::bestRecord({srv("a", 5, 10), srv("b", 5, 20), srv("c", 9, 99)})->target,
              "b");
    EXPECT_EQ(SRVResolver::bestRecord({srv("a", 5, 20), srv("b", 5, 20)})->target, "a");
}

// Answers from a table and notes every name asked, in order.
class TableResolver : public SRVResolver {
public:
    QList<SRVRecord> lookupSRV(const QString &name) const override {
        QMutexLocker locker(&mutex);
        asked.append(name);
        return records.value(name);
    }
    QHash<QString, QList<SRVRecord>> records;
    mutable QStringList asked;
    mutable QMutex mutex;
};

class DiscoveryProbe : public CalDAVClientDelegate {
public:
    int webdavClientLoginPassword(WebDAVClient &, const QUrl &, QString &, QString &,
                                  int) override {
        return -1;
    }
    void webdavClientDidFinish(WebDAVClient &) override {}
    void webdavClientRequestDidFailWithError(WebDAVClient &, const QNetworkRequest &,
                                             const std::optional<WebDAVError> &) override {}
    void caldavClientFoundService(CalDAVClient &, const QString &host, bool ssl,
                                  quint16 port) override {
        found = QStringLiteral("%1:%2 %3").arg(host).arg(port).arg(ssl ? "ssl" : "plain");
        m_loop.quit();
    }
    void caldavClientDidNotFindService(CalDAVClient &) override {
        found = QStringLiteral("none");
        m_loop.quit();
    }
    // Runs discovery for `domain` and returns "host:port ssl|plain" or "none".
    QString discover(const QString &domain) {
        found.clear();
        CalDAVClient client(this);
        client.serviceDiscoveryForDomain(domain);
        EXPECT_TRUE(client.serviceDiscoveryRunning());
        client.serviceDiscoveryForDomain(QStringLiteral("ignored.test"));  // one at a time
        QTimer::singleShot(20000, &m_loop, &QEventLoop::quit);
        m_loop.exec();
        EXPECT_FALSE(client.serviceDiscoveryRunning());
        return found;
    }
    QString found;

private:
    QEventLoop m_loop;
};

class ServiceDiscoveryOrder : public ::testing::Test {
protected:
    ServiceDiscoveryOrder() { CalDAVClient::setSharedResolvers(system, publicServer); }
    ~ServiceDiscoveryOrder() override { CalDAVClient::setSharedResolvers(nullptr, nullptr); }

    std::shared_ptr<TableResolver> system = std::make_shared<TableResolver>();
    std::shared_ptr<TableResolver> publicServer = std::make_shared<TableResolver>();
    DiscoveryProbe probe;
};

TEST_F(ServiceDiscoveryOrder, SecureRecordFirstThenPlainThenThePublicServerTwice) {
    system->records["_caldavs._tcp.a.test"] = {srv("secure.a.test", 1, 0)};
    system->records["_caldav._tcp.a.test"] = {srv("plain.a.test", 1, 0)};
    EXPECT_EQ(probe.discover("a.test"), "secure.a.test:8008 ssl");
    EXPECT_EQ(system->asked, QStringList{"_caldavs._tcp.a.test"});

    system->records.remove("_caldavs._tcp.a.test");
    EXPECT_EQ(probe.discover("a.test"), "plain.a.test:8008 plain");

    // Only the public server knows b.test: its first answer counts as SSL.
    system->asked.clear();
    publicServer->records["_caldav._tcp.b.test"] = {srv("public.b.test", 1, 0)};
    EXPECT_EQ(probe.discover("b.test"), "public.b.test:8008 ssl");
    EXPECT_EQ(system->asked, (QStringList{"_caldavs._tcp.b.test", "_caldav._tcp.b.test"}));
    EXPECT_EQ(publicServer->asked, QStringList{"_caldav._tcp.b.test"});

    publicServer->asked.clear();
    EXPECT_EQ(probe.discover("c.test"), "none");
    EXPECT_EQ(publicServer->asked, (QStringList{"_caldav._tcp.c.test", "_caldav._tcp.c.test"}));
}

TEST_F(ServiceDiscoveryOrder, AddressesAndHostsWithPortsAreNotLookedUp) {
    for (const char *domain : {"127.0.0.1", "::1", "host.test:8443", "host.test/path", ""})
        EXPECT_EQ(probe.discover(QLatin1String(domain)), "none") << domain;
    EXPECT_TRUE(system->asked.isEmpty()) << system->asked.join(' ').toStdString();
    EXPECT_TRUE(publicServer->asked.isEmpty());
}

TEST(ResolvSRVResolverTest, ReadsTheRecordsOfARealNameServer) {
    DNSServer dns;
    dns.addSRVRecord("_caldav._tcp.example.test", "far.example.test", 1111, 10, 50);
    dns.addSRVRecord("_caldav._tcp.example.test", "light.example.test", 2222, 5, 10);
    dns.addSRVRecord("_caldav._tcp.example.test", "heavy.example.test", 3333, 5, 20);
    const QString error = dns.start();
    ASSERT_TRUE(error.isEmpty()) << error.toStdString();

    const ResolvSRVResolver resolver(QHostAddress(QStringLiteral("127.0.0.1")), dns.port());
    const QList<SRVRecord> records = resolver.lookupSRV("_caldav._tcp.example.test");
    ASSERT_EQ(records.size(), 3);
    QStringList seen;
    for (const SRVRecord &record : records)
        seen.append(QStringLiteral("%1 %2 %3 %4")
                        .arg(record.target)
                        .arg(record.port)
                        .arg(record.priority)
                        .arg(record.weight));
    seen.sort();
    EXPECT_EQ(seen, (QStringList{"far.example.test 1111 10 50", "heavy.example.test 3333 5 20",
                                 "light.example.test 2222 5 10"}));
    EXPECT_EQ(SRVResolver::bestRecord(records)->target, "heavy.example.test");
    EXPECT_TRUE(resolver.lookupSRV("_caldavs._tcp.example.test").isEmpty());
    EXPECT_TRUE(resolver.lookupSRV("_caldav._tcp.unknown.test").isEmpty());
}

}  // namespace
