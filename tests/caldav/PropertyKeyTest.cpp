#include <gtest/gtest.h>

#include "caldav/support/DAVNames.h"

#include "caldav/PropertyKey.h"
#include "caldav/WebDAVClient.h"

namespace {

TEST(PropertyKeyTest, NamesDAVPropertiesBareAndOthersWithTheirNamespace) {
    EXPECT_EQ(PropertyKey::inNamespace(QStringLiteral("getetag"), std::nullopt), "getetag");
    EXPECT_EQ(PropertyKey::inNamespace(QStringLiteral("getetag"), QStringLiteral("DAV:")),
              "getetag");
    EXPECT_EQ(PropertyKey::inNamespace(QStringLiteral("calendar-data"), kCalDAV),
              "urn:ietf:params:xml:ns:caldav calendar-data");

    const PropertyKey::Parts caldav =
        PropertyKey::getNamespace(QStringLiteral("urn:ietf:params:xml:ns:caldav calendar-data"));
    EXPECT_EQ(caldav.ns, kCalDAV);
    EXPECT_EQ(caldav.localName, "calendar-data");
    // The last space splits: a namespace may hold spaces of its own.
    const PropertyKey::Parts spaced = PropertyKey::getNamespace(QStringLiteral("a b c"));
    EXPECT_EQ(spaced.ns, "a b");
    EXPECT_EQ(spaced.localName, "c");
    const PropertyKey::Parts bare = PropertyKey::getNamespace(QStringLiteral("displayname"));
    EXPECT_EQ(bare.ns, "DAV:");
    EXPECT_EQ(bare.localName, "displayname");

    EXPECT_EQ(PropertyKey::withPrefix(QStringLiteral("prop"), QStringLiteral("d")), "d:prop");
}

TEST(PropertyKeyTest, ComparesHrefsWithOrWithoutTheirTrailingSlash) {
    EXPECT_TRUE(
        PropertyKey::isEqualToHREF(QStringLiteral("/cal/home"), QStringLiteral("/cal/home/")));
    EXPECT_TRUE(
        PropertyKey::isEqualToHREF(QStringLiteral("/cal/home/"), QStringLiteral("/cal/home/")));
    EXPECT_FALSE(
        PropertyKey::isEqualToHREF(QStringLiteral("/cal/home"), QStringLiteral("/cal/homes")));
    EXPECT_FALSE(
        PropertyKey::isEqualToHREF(QStringLiteral("/cal/Home"), QStringLiteral("/cal/home")));
}

TEST(PropertyKeyTest, DomainDropsTheFirstLabelOfLongHostsOnly) {
    EXPECT_EQ(WebDAVURL::domain(QUrl(QStringLiteral("https://a.b.example/x"))), "b.example");
    EXPECT_EQ(WebDAVURL::domain(QUrl(QStringLiteral("https://p01-caldav.b.example.com/"))),
              "b.example.com");
    EXPECT_EQ(WebDAVURL::domain(QUrl(QStringLiteral("https://example.com/"))), "example.com");
    EXPECT_EQ(WebDAVURL::domain(QUrl(QStringLiteral("http://localhost:8080/"))), "localhost");
}

TEST(PropertyKeyTest, ParentCollectionDepthAndStatusLines) {
    EXPECT_EQ(WebDAVURL::parentCollectionURL(QStringLiteral("http://h/cal/home/event.ics")),
              "http://h/cal/home/");
    EXPECT_EQ(WebDAVURL::parentCollectionURL(QStringLiteral("http://h/cal/home/")),
              "http://h/cal/");
    EXPECT_EQ(WebDAVURL::parentCollectionURL(QStringLiteral("http://h/a%20b/c")),
              "http://h/a%20b/");
    EXPECT_EQ(WebDAVURL::parentCollectionURL(QStringLiteral("http://h/")), "http://h/");

    EXPECT_EQ(WebDAVURL::stringFromDepth(0), "0");
    EXPECT_EQ(WebDAVURL::stringFromDepth(1), "1");
    EXPECT_EQ(WebDAVURL::stringFromDepth(2), "infinity");
    EXPECT_EQ(WebDAVURL::stringFromDepth(-1), "infinity");

    EXPECT_EQ(WebDAVURL::statusFromStatusLine(QStringLiteral("HTTP/1.1 404 Not Found")), 404);
    EXPECT_EQ(WebDAVURL::statusFromStatusLine(QStringLiteral("  HTTP/1.1\t200 OK ")), 200);
    EXPECT_EQ(WebDAVURL::statusFromStatusLine(QStringLiteral("HTTP/1.1")), 0);
    EXPECT_EQ(WebDAVURL::statusFromStatusLine(QString()), 0);
    EXPECT_EQ(WebDAVURL::statusFromStatusLine(QStringLiteral("HTTP/1.1 OK")), 0);
}

TEST(PropertyKeyTest, ICalendarTimestampsAreUTC) {
    const Date date = Date::fromSecondsSince1970(1700000000);  // 2023-11-14 22:13:20 UTC
    EXPECT_EQ(WebDAVClient::iCalendarStringFromDate(date), "20231114T221320Z");
    EXPECT_EQ(WebDAVClient::dateFromiCalendarString(QStringLiteral("20231114T221320Z")), date);
    EXPECT_EQ(WebDAVClient::iCalendarStringFromDate(std::nullopt), std::nullopt);
    EXPECT_EQ(WebDAVClient::dateFromiCalendarString(std::nullopt), std::nullopt);
    EXPECT_EQ(WebDAVClient::dateFromiCalendarString(QStringLiteral("2023-11-14")), std::nullopt);
    EXPECT_EQ(WebDAVClient::dateFromiCalendarString(QStringLiteral("20231314T221320Z")),
              std::nullopt);
}

}  // namespace
