#include <gtest/gtest.h>

#include "caldav/CalDAVServiceInfo.h"
#include "caldav/support/DiscoveryFixture.h"

// What the program concludes about a CalDAV account from its URL and from
// the DAV classes and addresses its server gave.
namespace {

using namespace CalDAVServiceInfo;

class CalDAVServiceInfoTest : public ::testing::Test {
protected:
    ModelObject *service(const QString &url, const QString &dav = QString(),
                         const QStringList &addresses = {}) {
        ModelObject *made = fixture.makeService(QString(), "someone", "secret");
        made->setValue("url", url);
        QVariantMap syncData;
        if (!dav.isEmpty())
            syncData.insert("dav", dav);
        syncData.insert("urn:ietf:params:xml:ns:caldav calendar-user-address-set", addresses);
        setArchivedSyncData(syncData, made);
        return made;
    }
    DiscoveryFixture fixture;
};

TEST_F(CalDAVServiceInfoTest, ProvidersFromTheURL) {
    using Type = CalDAVEngine::ServerType;
    EXPECT_EQ(serverType(service("https://p01-caldav.icloud.com")), Type::ICloud);
    EXPECT_EQ(serverType(service("https://apidata.googleusercontent.com")), Type::Google);
    EXPECT_EQ(serverType(service("https://caldav.calendar.yahoo.com")), Type::Yahoo);
    EXPECT_EQ(serverType(service("https://dav.fruux.com")), Type::Fruux);
    EXPECT_EQ(serverType(service("http://127.0.0.1:5232")), Type::Generic);
    // Before discovery, the address the user gave tells.
    ModelObject *undiscovered = fixture.makeService("someone@icloud.com", "someone", "secret");
    EXPECT_EQ(serverType(undiscovered), Type::ICloud);

    ModelObject *google = service("https://apidata.googleusercontent.com");
    EXPECT_TRUE(serverIssuesEmailAlarms(google));
    EXPECT_TRUE(oldOutboxBrokenForCancel(google));
    EXPECT_TRUE(attendeeMustMatchUser(google));
    EXPECT_FALSE(supportsAttachments(google));
    EXPECT_FALSE(supportsAttachments(service("https://oracle.example.com")));
    EXPECT_FALSE(supportsAttachments(nullptr));
    ModelObject *icloud = service("https://p01-caldav.icloud.com");
    EXPECT_FALSE(supportsFreeBusy(icloud));
    EXPECT_TRUE(supportsScheduleAgent(icloud));
    EXPECT_TRUE(supportsPublishing(icloud));
    EXPECT_EQ(serverDomainForCalDAVService(icloud), "p01-caldav.icloud.com");
}

TEST_F(CalDAVServiceInfoTest, CapabilitiesFromTheDAVClasses) {
    ModelObject *full = service("http://127.0.0.1:8008",
                                "1,2,access-control,calendar-access,calendar-auto-schedule,"
                                "calendar-proxy,calendarserver-sharing,calendarserver-subscribed,"
                                "calendar-availability,calendar-managed-attachments");
    EXPECT_TRUE(supportsAutoScheduling(full));
    EXPECT_FALSE(supportsOldScheduling(full));
    EXPECT_TRUE(supportsAnyScheduling(full));
    EXPECT_TRUE(supportsProxies(full));
    EXPECT_TRUE(supportsSharing(full));
    EXPECT_TRUE(supportsWebDAVSubscription(full));
    EXPECT_TRUE(supportsAvailability(full));
    EXPECT_TRUE(supportsManagedAttachments(full));
    EXPECT_FALSE(attendeeMustMatchUser(full));

    ModelObject *outbox = service("http://127.0.0.1:8008", "1,calendar-access,calendar-schedule");
    EXPECT_TRUE(supportsOldScheduling(outbox));
    EXPECT_TRUE(attendeeMustMatchUser(outbox));
    EXPECT_FALSE(supportsProxies(outbox));
    // A provider that hides its proxies announces them in vain.
    EXPECT_FALSE(supportsProxies(service("https://dav.fruux.com", "1,calendar-proxy")));
    EXPECT_FALSE(attendeeMustMatchUser(service("http://127.0.0.1:8008")));
}

TEST_F(CalDAVServiceInfoTest, BestUserAddressRules) {
    const QStringList all{"/principals/someone/", "mailto:other@example.com", "urn:uuid:1234",
                          "MAILTO:someone@example.com"};
    // A preference picks the "mailto:" with the login, else the first "mailto:".
    EXPECT_EQ(bestUserAddressFromSet(all, {}, QStringLiteral("someone")), "someone@example.com");
    EXPECT_EQ(bestUserAddressFromSet(all, {}, QStringLiteral("nobody")), "other@example.com");
    EXPECT_EQ(bestUserAddressFromSet(all, {}, QString()), "other@example.com");
    // Without one, a unique id comes first, then "mailto:", then a path.
    EXPECT_EQ(bestUserAddressFromSet(all, {}, std::nullopt), "urn:uuid:1234");
    EXPECT_EQ(bestUserAddressFromSet({"/p/", "mailto:a@b.test"}, {}, std::nullopt), "a@b.test");
    EXPECT_EQ(bestUserAddressFromSet({"/p/", "http://x/"}, {}, std::nullopt), "/p/");
    EXPECT_EQ(bestUserAddressFromSet({"http://x/"}, {}, std::nullopt), std::nullopt);
    // An omitted winner gives none; the later rules are not tried.
    EXPECT_EQ(bestUserAddressFromSet(all, {"URN:UUID:1234"}, std::nullopt), std::nullopt);

    ModelObject *icloud = service("https://p01-caldav.icloud.com", "1",
                                  {"urn:uuid:9", "mailto:x@example.com", "mailto:someone@me.com"});
    EXPECT_EQ(bestUserAddressForCalDAVService(icloud), "someone@me.com");
    ModelObject *generic =
        service("http://127.0.0.1:8008", "1", {"mailto:someone@example.com", "urn:uuid:9"});
    EXPECT_EQ(bestUserAddressForCalDAVService(generic), "urn:uuid:9");
}

TEST_F(CalDAVServiceInfoTest, URLsAddressesDAVClassesAndServerKinds) {
    EXPECT_EQ(urlForDomain("example.test", "/dav/", 443, true), "https://example.test/dav/");
    EXPECT_EQ(urlForDomain("example.test", "/dav/", 80, false), "http://example.test/dav/");
    EXPECT_EQ(urlForDomain("example.test", "", 8443, true), "https://example.test:8443");
    EXPECT_EQ(urlForDomain("example.test", "/", 443, false), "http://example.test:443/");
    EXPECT_EQ(urlForDomain("example.test", "HTTPS://other.test/p/", 80, false),
              "HTTPS://other.test/p/");

    EXPECT_EQ(serverAddress(fixture.makeService("", "a", "b")), std::nullopt);
    EXPECT_EQ(serverAddress(fixture.makeService("example.test:8443", "a", "b")),
              "example.test:8443");
    EXPECT_EQ(serverAddress(fixture.makeService("example.test/dav/", "a", "b")),
              "https://example.test/dav/");
    EXPECT_EQ(serverAddress(fixture.makeService("http://example.test/dav/", "a", "b")),
              "http://example.test/dav/");

    EXPECT_EQ(appendToDAVHeader("1,2", " 2, calendar-access ,calendar-schedule", false),
              "1,2,calendar-access,calendar-schedule");
    EXPECT_EQ(appendToDAVHeader("", "1, calendar-schedule", true), "1");

    const auto kind = [](std::initializer_list<std::pair<QString, QString>> headers) {
        WebDAVResponse response;
        for (const auto &header : headers)
            response.headers.append(header);
        return serverKindOfResponse(response).value_or("none");
    };
    EXPECT_EQ(kind({{"x-davical-version", "1.1.12"}, {"Server", "CalendarServer/3"}}), "DAViCal");
    EXPECT_EQ(kind({{"Server", "CalendarServer/3.2"}}), "LionServer");
    EXPECT_EQ(kind({{"Server", "CalendarServer/9"}}), "iCalServer");
    EXPECT_EQ(kind({{"Server", "Twisted/8.2"}}), "iCalServer");
    EXPECT_EQ(kind({{"Server", "WSGIServer/0.2"}}), "none");
}

}  // namespace
