#include <gtest/gtest.h>

#include <QHostAddress>

#include "caldav/CalDAVClient.h"
#include "caldav/CalDAVServiceInfo.h"
#include "caldav/ResolvSRVResolver.h"
#include "caldav/support/DAVNames.h"
#include "caldav/support/DAVServers.h"
#include "caldav/support/DNSServer.h"
#include "caldav/support/DiscoveryFixture.h"
#include "caldav/support/ServerTestSuite.h"
#include "tasks/RemoteServiceTask.h"
#include "tasks/SyncState.h"

// Finding CalDAV accounts on real servers: from a host and port (the
// well-known path), from a principal URL, and through SRV records of a
// made-up domain served by a real name server; and how it fails.
namespace {

// The account each server has, where discovery must find it.
template <typename Server>
struct Account;
template <>
struct Account<RadicaleServer> {
    static constexpr char login[] = "test", password[] = "test", principal[] = "/test/",
                          calendar[] = "/test/calendar/", serverKind[] = "",
                          bestAddress[] = "/test/";
};
template <>
struct Account<XandikosServer> {
    // No authentication: any login passes.
    static constexpr char login[] = "user", password[] = "anything", principal[] = "/user/",
                          calendar[] = "/user/calendars/calendar/", serverKind[] = "",
                          bestAddress[] = "";  // it gives no address
};
template <>
struct Account<DAViCalServer> {
    static constexpr char login[] = "test", password[] = "test", principal[] = "/caldav.php/test/",
                          calendar[] = "/caldav.php/test/calendar/", serverKind[] = "DAViCal",
                          bestAddress[] = "test@example.com";
};

template <typename Server>
class AccountDiscoveryTest : public ServerTestSuite<Server> {
protected:
    using Known = Account<Server>;

    ModelObject *makeService(const QString &address) {
        return fixture.makeService(address, QLatin1String(Known::login),
                                   QLatin1String(Known::password));
    }
    QString hostAndPort() const { return QStringLiteral("127.0.0.1:%1").arg(this->server->port()); }
    // Discovers the service and checks what it stored.
    void expectFound(ModelObject *service) {
        const CalDAVAccountCheck::Outcome outcome = fixture.discover(service);
        ASSERT_EQ(outcome.state, SyncState::Idle) << outcome.error.value_or("").toStdString();
        EXPECT_EQ(service->valueForKey("url").toString(), this->server->url(QString()));
        EXPECT_FALSE(service->boolValueForKey("useSSL"));
        const QVariantMap syncData = fixture.syncData(service);
        EXPECT_EQ(syncData.value("current-user-principal").toString(),
                  QLatin1String(Known::principal));
        EXPECT_FALSE(syncData.value(kCalDAV + " calendar-home-set").toStringList().isEmpty());
        EXPECT_FALSE(syncData.value("dav").toString().isEmpty());
        EXPECT_FALSE(syncData.value("dav").toString().contains(' '));
        EXPECT_TRUE(syncData.value("dav").toString().split(',').contains("calendar-access"));
        EXPECT_EQ(syncData.value("server").toString(), QLatin1String(Known::serverKind));
        EXPECT_EQ(CalDAVServiceInfo::bestUserAddressForCalDAVService(service).value_or(""),
                  QLatin1String(Known::bestAddress));
        EXPECT_TRUE(fixture.collectionHrefs(service).contains(QLatin1String(Known::calendar)))
            << fixture.collectionHrefs(service).join(' ').toStdString();
        // The password moved from the service into the credential store.
        EXPECT_FALSE(service->unmaskedStringValueForKey("transPassword"));
        EXPECT_EQ(RemoteServiceTask::passwordForService(service, QUrl()),
                  QLatin1String(Known::password));
    }

    DiscoveryFixture fixture;
};

using DiscoveryServers = ::testing::Types<RadicaleServer, XandikosServer, DAViCalServer>;
TYPED_TEST_SUITE(AccountDiscoveryTest, DiscoveryServers);

TYPED_TEST(AccountDiscoveryTest, FromHostAndPortThroughTheWellKnownPath) {
    ModelObject *service = this->makeService(this->hostAndPort());
    this->expectFound(service);
    EXPECT_TRUE(this->fixture.log.contains(
        QStringLiteral("CalDAVSyncTask (%1): bootstrap 1").arg(service->uid())));
    EXPECT_TRUE(this->fixture.log.contains(
        QStringLiteral("CalDAVSyncTask (%1): setServiceURL = ").arg(service->uid())));
}

TYPED_TEST(AccountDiscoveryTest, FromAPrincipalURLWithoutProbing) {
    using Known = Account<TypeParam>;
    ModelObject *service = this->makeService(this->server->url(QLatin1String(Known::principal)));
    this->expectFound(service);
    EXPECT_TRUE(this->fixture.log.contains(
        QStringLiteral("CalDAVSyncTask (%1): taking user-entered principal path: %2")
            .arg(service->uid(), QLatin1String(Known::principal))));
    EXPECT_FALSE(this->fixture.log.contains(QStringLiteral("bootstrap 1")));
}

TYPED_TEST(AccountDiscoveryTest, ThroughSRVRecordsOfAMadeUpDomain) {
    DNSServer dns;
    dns.addSRVRecord("_caldav._tcp.example.test", "127.0.0.1", this->server->port());
    const QString error = dns.start();
    ASSERT_TRUE(error.isEmpty()) << error.toStdString();
    const auto resolver =
        std::make_shared<ResolvSRVResolver>(QHostAddress("127.0.0.1"), dns.port());
    CalDAVClient::setSharedResolvers(resolver, resolver);
    ModelObject *service = this->makeService("example.test");
    this->expectFound(service);
    CalDAVClient::setSharedResolvers(nullptr, nullptr);
    EXPECT_TRUE(this->fixture.log.contains(
        QStringLiteral("CalDAVSyncTask (%1): found service 127.0.0.1 (%2) ")
            .arg(service->uid())
            .arg(this->server->port())));
}

class RadicaleDiscoveryFailureTest : public ServerTestSuite<RadicaleServer> {
protected:
    DiscoveryFixture fixture;
};

TEST_F(RadicaleDiscoveryFailureTest, AWrongPasswordEndsInLoginFailedWithTheServersWords) {
    ModelObject *service = fixture.makeService(QStringLiteral("127.0.0.1:%1").arg(server->port()),
                                               "test", "not-the-password");
    const CalDAVAccountCheck::Outcome outcome = fixture.discover(service);
    EXPECT_EQ(outcome.state, SyncState::LoginFailed);
    ASSERT_TRUE(outcome.error);
    // Radicale's own words come with the refusal.
    EXPECT_TRUE(outcome.error->contains(
        "refused the login \"test\": Access to the requested resource forbidden."))
        << outcome.error->toStdString();
    EXPECT_TRUE(fixture.log.contains(
        "the server refused the login test: Access to the requested resource forbidden."));
    EXPECT_TRUE(service->valueForKey("url").toString().isEmpty());
}

TEST(CalDAVDiscoveryFailure, ADeadPortEndsInUnableToConnect) {
    DiscoveryFixture fixture;
    ModelObject *service = fixture.makeService(
        QStringLiteral("127.0.0.1:%1").arg(TestServer::freePort()), "test", "test");
    const CalDAVAccountCheck::Outcome outcome = fixture.discover(service);
    EXPECT_EQ(outcome.state, SyncState::UnableToConnect);
    EXPECT_EQ(SyncState::name(outcome.state), "unable to connect");
    ASSERT_TRUE(outcome.error);
    EXPECT_TRUE(outcome.error->contains("refused", Qt::CaseInsensitive))
        << outcome.error->toStdString();
    // Plain HTTP on the typed port first, then HTTPS on it; no other port.
    EXPECT_EQ(fixture.log.count("bootstrap 1"), 2);
    EXPECT_EQ(fixture.log.count("continue"), 0);
}

TEST(CalDAVDiscoveryFailure, AWebSiteInsteadOfAServerIsNamedInTheError) {
    CannedServer site(CannedServer::Options{.html = true});
    const QString error = site.start();
    ASSERT_TRUE(error.isEmpty()) << error.toStdString();
    DiscoveryFixture fixture;
    ModelObject *service =
        fixture.makeService(QStringLiteral("127.0.0.1:%1").arg(site.port()), "test", "test");
    const CalDAVAccountCheck::Outcome outcome = fixture.discover(service);
    EXPECT_EQ(outcome.state, SyncState::UnableToConnect);
    ASSERT_TRUE(outcome.error);
    EXPECT_TRUE(outcome.error->contains("web page, not CalDAV (HTTP 200)"))
        << outcome.error->toStdString();
    EXPECT_TRUE(outcome.error->contains("This site is parked.")) << outcome.error->toStdString();
}

}  // namespace
