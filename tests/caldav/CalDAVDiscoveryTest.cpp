#include <gtest/gtest.h>

#include <QHostAddress>
#include <algorithm>

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
// made-up domain served by a real name server; and how it fails. Then the
// CalDAV requests of the client against the same servers.
namespace {

// The account each server has, where discovery must find it.
template <typename Server>
struct Account;
template <>
struct Account<RadicaleServer> {
    static constexpr char login[] = "test", password[] = "test", principal[] = "/test/",
                          calendar[] = "/test/calendar/", serverKind[] = "",
                          bestAddress[] = "/test/", home[] = "/test/";
    static constexpr bool freeBusy = false;  // answers with a 207 instead
    static constexpr bool keepsCalendarProperties = true;
};
template <>
struct Account<XandikosServer> {
    // No authentication: any login passes.
    static constexpr char login[] = "user", password[] = "anything", principal[] = "/user/",
                          calendar[] = "/user/calendars/calendar/", serverKind[] = "",
                          bestAddress[] = "",  // it gives no address
        home[] = "/user/calendars/";
    static constexpr bool freeBusy = true;
    // MKCALENDAR keeps the name but drops the description and components.
    static constexpr bool keepsCalendarProperties = false;
};
template <>
struct Account<DAViCalServer> {
    static constexpr char login[] = "test", password[] = "test", principal[] = "/caldav.php/test/",
                          calendar[] = "/caldav.php/test/calendar/", serverKind[] = "DAViCal",
                          bestAddress[] = "test@example.com", home[] = "/caldav.php/test/";
    static constexpr bool freeBusy = true;
    static constexpr bool keepsCalendarProperties = true;
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
    // Every server sends the well-known path on to where it answers.
    EXPECT_TRUE(this->fixture.log.contains(
        QStringLiteral("CalDAVSyncTask (%1): redirection to: ").arg(service->uid())));
    EXPECT_TRUE(this->fixture.log.contains(
        QStringLiteral("CalDAVSyncTask (%1): bootstrap 1.5").arg(service->uid())));
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

QByteArray calendarObject(const char *component, const QString &uid, const char *summary) {
    return QStringLiteral(
               "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Merovan//Tests//EN\r\n"
               "BEGIN:%1\r\nUID:%2\r\nDTSTAMP:20300101T000000Z\r\n"
               "DTSTART:20300110T100000Z\r\n%3SUMMARY:%4\r\nEND:%1\r\nEND:VCALENDAR\r\n")
        .arg(QLatin1String(component), uid,
             QLatin1String(component) == QLatin1String("VEVENT")
                 ? QStringLiteral("DTEND:20300110T110000Z\r\n")
                 : QString(),
             QLatin1String(summary))
        .toUtf8();
}

QVariantMap componentFilter(const char *name, const QVariantList &children = {}) {
    return {{"property", kCalDAV + " comp-filter"},
            {"name", QLatin1String(name)},
            {"sub properties", children}};
}

TYPED_TEST(AccountDiscoveryTest, MakesACalendarPutsQueriesAndFetchesItsObjects) {
    using Known = Account<TypeParam>;
    ClientProbe &probe = this->probe;
    probe.login = QLatin1String(Known::login);
    probe.password = QLatin1String(Known::password);
    CalDAVClient client;
    client.setDelegate(&probe);
    const auto expectStatus = [&](std::initializer_list<int> statuses) {
        ASSERT_TRUE(probe.wait()) << "no answer in time";
        ASSERT_EQ(probe.failed, 0) << (probe.error ? probe.error->text().toStdString() : "");
        EXPECT_TRUE(std::find(statuses.begin(), statuses.end(), client.response()->statusCode) !=
                    statuses.end())
            << client.response()->statusCode << " " << client.responseData().toStdString();
    };
    const QString calendar = this->server->url(QLatin1String(Known::home)) +
                             QStringLiteral("chores-%1/").arg(ModelObject::newUID());

    client.mkcalendar(calendar, {{"displayname", "Chores"},
                                 {kCalDAV + " calendar-description", "Things to do"},
                                 {kCalDAV + " supported-calendar-component-set",
                                  QStringList{"vevent", "vtodo"}}});
    expectStatus({201});
    client.propfind(calendar, 0, 0,
                    {"displayname", kCalDAV + " supported-calendar-component-set",
                     kCalDAV + " calendar-description"});
    expectStatus({207});
    QVariantMap found;
    for (const QVariant &propstat : client.resultsDict()
                                        ->value("multistatus")
                                        .toList()
                                        .value(0)
                                        .toMap()
                                        .value("propstat")
                                        .toList())
        if (propstat.toMap().value("property status").toInt() == 200)
            found.insert(propstat.toMap());
    EXPECT_EQ(found.value("displayname").toString(), "Chores");
    if (Known::keepsCalendarProperties) {
        EXPECT_EQ(found.value(kCalDAV + " calendar-description").toString(), "Things to do");
        QStringList components =
            found.value(kCalDAV + " supported-calendar-component-set").toStringList();
        components.sort();
        EXPECT_EQ(components, (QStringList{"VEVENT", "VTODO"}));
    }

    client.put(calendar + "meeting.ics", std::nullopt, std::nullopt,
               calendarObject("VEVENT", "meeting", "Meet the plumber"));
    expectStatus({201, 204});
    client.put(calendar + "chore.ics", std::nullopt, std::nullopt,
               calendarObject("VTODO", "chore", "Fix the tap"));
    expectStatus({201, 204});

    // Only the to-do passes a VTODO filter.
    client.calendarQueryReport(calendar, 1, {QVariantMap{{"property", "getetag"}}},
                               {componentFilter("VCALENDAR", {componentFilter("VTODO")})});
    expectStatus({207});
    QStringList hrefs;
    for (const QVariant &response : client.resultsDict()->value("multistatus").toList())
        hrefs.append(response.toMap().value("href").toString());
    ASSERT_EQ(hrefs.size(), 1) << hrefs.join(' ').toStdString();
    EXPECT_TRUE(hrefs[0].endsWith("/chore.ics")) << hrefs[0].toStdString();

    client.calendarMultigetReport(calendar, {"getetag", kCalDAV + " calendar-data"},
                                  {QUrl(calendar).path() + "meeting.ics"});
    expectStatus({207});
    const QVariantMap fetched = firstPropstatOf(*client.resultsDict());
    EXPECT_TRUE(fetched.value(kCalDAV + " calendar-data")
                    .toMap()
                    .value("ics")
                    .toString()
                    .contains("SUMMARY:Meet the plumber"));

    if (Known::freeBusy) {
        // January 2030, which holds the meeting of 10:00 to 11:00 UTC on the 10th.
        const Date january2030(915148800.0);
        client.freeBusyQueryReport(calendar, 1, january2030, january2030.addingSeconds(86400 * 31));
        expectStatus({200});
        EXPECT_TRUE(client.responseData().contains("VFREEBUSY"))
            << client.responseData().toStdString();
        EXPECT_TRUE(client.responseData().contains("20300110T100000Z"))
            << client.responseData().toStdString();
    }
}

TEST(CalDAVRequestHeaders, AScheduleTagReplacesTheETagCondition) {
    CalDAVClient client;
    client.put("http://127.0.0.1:1/cal/a.ics", QStringLiteral("\"e1\""),
               std::optional<QString>("\"s1\""), "BEGIN:VCALENDAR\r\nEND:VCALENDAR\r\n");
    EXPECT_FALSE(client.request().hasRawHeader("If-Match"));
    EXPECT_EQ(client.request().rawHeader("If-Schedule-Tag-Match"), "\"s1\"");
    EXPECT_EQ(client.request().rawHeader("Content-Type"), "text/calendar");
    client.put("http://127.0.0.1:1/cal/a.ics", QStringLiteral("\"e1\""), std::nullopt,
               QByteArray("x"));
    EXPECT_EQ(client.request().rawHeader("If-Match"), "\"e1\"");
    EXPECT_FALSE(client.request().hasRawHeader("If-Schedule-Tag-Match"));
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

    // A principal URL on the site fails when its properties are read.
    ModelObject *principal = fixture.makeService(site.url("/principals/test/"), "test", "test");
    const CalDAVAccountCheck::Outcome atPrincipal = fixture.discover(principal);
    EXPECT_EQ(atPrincipal.state, SyncState::UnableToConnect);
    EXPECT_TRUE(atPrincipal.error.value_or("").contains("web page, not CalDAV (HTTP 200)"))
        << atPrincipal.error.value_or("").toStdString();
    EXPECT_TRUE(fixture.log.contains(
        QStringLiteral("CalDAVSyncTask (%1): empty 200 response when 207 expected")
            .arg(principal->uid())));
}

}  // namespace
