#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QNetworkReply>

#include "caldav/XMLBodyWriter.h"
#include "caldav/support/ClientProbe.h"
#include "caldav/support/TestServer.h"
#include "support/TestSupport.h"

// What the client puts into its requests. The requests go to a port nothing
// listens on: each ends in a refused connection, reported as a failure.
namespace {

class WebDAVRequestTest : public ::testing::Test {
protected:
    void SetUp() override {
        probe.login = QStringLiteral("user");
        probe.password = QStringLiteral("pass");
    }
    // Waits for the refused connection.
    void finish() {
        ASSERT_TRUE(probe.wait());
        EXPECT_EQ(probe.finished, 0);
        ASSERT_TRUE(probe.error.has_value());
        EXPECT_EQ(probe.error->code, int(QNetworkReply::ConnectionRefusedError));
    }
    QString header(const char *name) const {
        return QString::fromUtf8(probe.client.request().rawHeader(name));
    }
    bool hasHeader(const char *name) const { return probe.client.request().hasRawHeader(name); }
    std::string body() const { return probe.client.requestBody().trimmed().toStdString(); }

    QString base = QStringLiteral("http://127.0.0.1:%1").arg(TestServer::freePort());
    ClientProbe probe;
};

TEST_F(WebDAVRequestTest, ETagConditionsFollowTheMethod) {
    probe.client.put(base + "/c/new.ics", std::nullopt, "text/calendar", "BEGIN:VCALENDAR");
    EXPECT_EQ(header("If-None-Match"), "*");
    EXPECT_FALSE(hasHeader("If-Match"));
    EXPECT_EQ(header("Content-Type"), "text/calendar");
    finish();

    probe.client.put(base + "/c/new.ics", QString(), "text/calendar", "x");
    EXPECT_EQ(header("If-None-Match"), "*");
    finish();

    probe.client.put(base + "/c/old.ics", QStringLiteral("\"e1\""), "text/calendar", "x");
    EXPECT_EQ(header("If-Match"), "\"e1\"");
    EXPECT_FALSE(hasHeader("If-None-Match"));
    finish();

    probe.client.put(base + "/c/any.ics", QStringLiteral("ignore"), "text/calendar", "x");
    EXPECT_FALSE(hasHeader("If-Match"));
    EXPECT_FALSE(hasHeader("If-None-Match"));
    finish();

    probe.client.get(base + "/c/old.ics", QStringLiteral("\"e1\""));
    EXPECT_EQ(header("If-None-Match"), "\"e1\"");
    finish();

    probe.client.deleteResource(base + "/c/old.ics", QStringLiteral("\"e1\""));
    EXPECT_EQ(header("If-Match"), "\"e1\"");
    EXPECT_EQ(probe.client.method(), "DELETE");
    finish();

    probe.client.deleteResource(base + "/c/old.ics", std::nullopt);
    EXPECT_FALSE(hasHeader("If-Match"));
    EXPECT_FALSE(hasHeader("If-None-Match"));
    finish();
}

TEST_F(WebDAVRequestTest, EveryRequestCarriesTheSkeleton) {
    probe.client.head(base + "/a b/é+x@y~$,#frag");
    EXPECT_EQ(probe.client.url(), base + "/a%20b/%C3%A9%2Bx%40y%7E%24%2C#frag");
    EXPECT_EQ(header("Cache-Control"), "no-cache");
    EXPECT_EQ(header("User-Agent"), "caldav_tests-" + QCoreApplication::applicationVersion());
    EXPECT_EQ(header("Authorization"), "Basic " + QByteArray("user:pass").toBase64());
    const QNetworkRequest &request = probe.client.request();
    EXPECT_EQ(request.attribute(QNetworkRequest::RedirectPolicyAttribute).toInt(),
              int(QNetworkRequest::ManualRedirectPolicy));
    EXPECT_EQ(request.attribute(QNetworkRequest::CookieLoadControlAttribute).toInt(),
              int(QNetworkRequest::Manual));
    EXPECT_EQ(request.transferTimeout(), 60000);
    finish();
    ASSERT_EQ(probe.credentialsCalls.size(), 1);
    EXPECT_EQ(probe.credentialsCalls[0].retries, 0);

    // Escaping twice changes nothing.
    probe.client.setUserAgent(QStringLiteral("Agent/1"));
    probe.client.options(base + "/a%20b/");
    EXPECT_EQ(probe.client.url(), base + "/a%20b/");
    EXPECT_EQ(header("User-Agent"), "Agent/1");
    finish();
}

TEST_F(WebDAVRequestTest, CredentialsGoOnlyWhereTheyBelong) {
    probe.client.setAuthorizationDomain(QStringLiteral("example.com"));
    probe.client.head(base + "/");
    EXPECT_FALSE(hasHeader("Authorization"));
    EXPECT_TRUE(probe.credentialsCalls.isEmpty());
    finish();

    probe.client.setAuthorizationDomain(std::nullopt);
    probe.client.setAuthorization(QStringLiteral("Bearer token"));
    probe.client.head(base + "/");
    EXPECT_EQ(header("Authorization"), "Bearer token");
    EXPECT_TRUE(probe.credentialsCalls.isEmpty());
    finish();

    // Cancelling the prompt before the request means no connection at all.
    probe.client.setAuthorization(std::nullopt);
    probe.answer = WebDAVClientDelegate::CredentialsCancelled;
    probe.client.head(base + "/");
    ASSERT_TRUE(probe.wait());
    EXPECT_TRUE(probe.client.userAborted());
    EXPECT_EQ(probe.failed, 3);
    EXPECT_FALSE(probe.error.has_value());

    // Any other answer: no credentials, the request goes out.
    probe.answer = -1;
    probe.client.head(base + "/");
    EXPECT_FALSE(hasHeader("Authorization"));
    EXPECT_FALSE(probe.client.userAborted());
    finish();
    EXPECT_TRUE(probe.error.has_value());
}

TEST_F(WebDAVRequestTest, MoveAndCopyNameTheirDestination) {
    probe.client.move(base + "/a.ics", base + "/b c.ics", false);
    EXPECT_EQ(header("Destination"), base + "/b%20c.ics");
    EXPECT_EQ(header("Overwrite"), "F");
    EXPECT_FALSE(hasHeader("If-Match"));
    finish();
    probe.client.copy(base + "/a.ics", base + "/d.ics", true);
    EXPECT_EQ(probe.client.method(), "COPY");
    EXPECT_FALSE(hasHeader("Overwrite"));
    finish();
    probe.client.post(
        base + "/outbox/", "text/calendar", "BEGIN:VCALENDAR",
        {{"mailto:a@example.com", "Originator"}, {"mailto:b@example.com", "Recipient"}});
    EXPECT_EQ(header("Originator"), "mailto:a@example.com");
    EXPECT_EQ(header("Recipient"), "mailto:b@example.com");
    EXPECT_EQ(probe.client.requestBody(), "BEGIN:VCALENDAR");
    finish();
}

TEST_F(WebDAVRequestTest, PropfindNamesPropertiesWithDeclaredPrefixes) {
    probe.client.propfind(base + "/c/", 15, 1,
                          {"getetag", "urn:ietf:params:xml:ns:caldav calendar-data",
                           "http://calendarserver.org/ns/ getctag"});
    EXPECT_EQ(header("Depth"), "1");
    EXPECT_EQ(header("Brief"), "t");
    EXPECT_EQ(header("Prefer"), "return=minimal");
    EXPECT_EQ(header("Content-Type"), "text/xml; charset=UTF-8");
    EXPECT_EQ(probe.client.request().transferTimeout(), 15000);
    EXPECT_EQ(body(),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<d:propfind xmlns:d=\"DAV:\" xmlns:a=\"urn:ietf:params:xml:ns:caldav\" "
              "xmlns:b=\"http://calendarserver.org/ns/\"><d:prop><d:getetag/><a:calendar-data/>"
              "<b:getctag/></d:prop></d:propfind>");
    EXPECT_EQ(probe.client.foundProperties().size(), 3);
    finish();

    probe.client.propfind(base + "/c/", 0, -1, {});
    EXPECT_FALSE(hasHeader("Depth"));
    EXPECT_EQ(body(),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<d:propfind xmlns:d=\"DAV:\"><d:propname/></d:propfind>");
    finish();
}

TEST_F(WebDAVRequestTest, ProppatchSetsAndRemovesAndMkcolDeclaresItsTypes) {
    probe.client.proppatch(
        base + "/c/",
        {{"displayname", "Home"},
         {"http://apple.com/ns/ical/ calendar-order", QVariant()},
         {"resourcetype", QStringList{"collection", "urn:ietf:params:xml:ns:caldav calendar"}}});
    EXPECT_EQ(body(),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<d:propertyupdate xmlns:d=\"DAV:\" xmlns:a=\"http://apple.com/ns/ical/\" "
              "xmlns:b=\"urn:ietf:params:xml:ns:caldav\"><d:set><d:prop>"
              "<d:displayname>Home</d:displayname><d:resourcetype><d:collection/><b:calendar/>"
              "</d:resourcetype></d:prop></d:set><d:remove><d:prop><a:calendar-order/></d:prop>"
              "</d:remove></d:propertyupdate>");
    EXPECT_TRUE(probe.client.detailedLogging());
    finish();
    EXPECT_FALSE(probe.client.detailedLogging());

    probe.client.mkcol(
        base + "/c/new/", {"urn:ietf:params:xml:ns:caldav calendar"},
        {{"displayname", "New & <improved>"}, {"group-member-set", QStringList{"/p/a/"}}});
    EXPECT_EQ(body(),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<d:mkcol xmlns:d=\"DAV:\" xmlns:a=\"urn:ietf:params:xml:ns:caldav\"><d:set><d:prop>"
              "<d:resourcetype><d:collection/><a:calendar/></d:resourcetype>"
              "<d:displayname>New &amp; &lt;improved&gt;</d:displayname>"
              "<d:group-member-set><d:href>/p/a/</d:href></d:group-member-set>"
              "</d:prop></d:set></d:mkcol>");
    finish();
}

TEST_F(WebDAVRequestTest, ReportsWriteTheirPropertyDictionaries) {
    probe.client.syncCollectionReport(base + "/c/", "", {"getetag"}, true);
    EXPECT_EQ(header("Depth"), "0");
    EXPECT_EQ(header("Brief"), "t");
    EXPECT_EQ(body(),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<d:sync-collection xmlns:d=\"DAV:\"><d:sync-token></d:sync-token>"
              "<d:sync-level>1</d:sync-level><d:prop><d:getetag/></d:prop>"
              "</d:sync-collection>");
    finish();

    probe.client.syncCollectionReport(base + "/c/", "tok", {"getetag"}, false);
    EXPECT_EQ(header("Depth"), "1");
    EXPECT_EQ(body().find("sync-level"), std::string::npos);
    EXPECT_NE(body().find("<d:sync-token>tok</d:sync-token>"), std::string::npos);
    finish();

    probe.client.principalPropertySearchReport(base + "/p/", "Jo", {"displayname"},
                                               {"displayname",
                                                "urn:ietf:params:xml:ns:caldav "
                                                "calendar-user-address-set"});
    EXPECT_EQ(header("Depth"), "0");
    EXPECT_FALSE(hasHeader("Brief"));
    EXPECT_EQ(body(),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<d:principal-property-search xmlns:d=\"DAV:\" "
              "xmlns:a=\"urn:ietf:params:xml:ns:caldav\" test=\"anyof\"><d:property-search>"
              "<d:prop><d:displayname/></d:prop><d:match match-type=\"starts-with\">Jo</d:match>"
              "</d:property-search><d:prop><d:displayname/><a:calendar-user-address-set/></d:prop>"
              "</d:principal-property-search>");
    finish();

    probe.client.post(
        "http://calendarserver.org/ns/ share", base + "/c/",
        {QVariantMap{{"property", "http://calendarserver.org/ns/ set"},
                     {"sub properties",
                      QVariantList{QVariantMap{{"property", "href"}, {"value", "mailto:a@b"}}}}}});
    EXPECT_EQ(body(),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<a:share xmlns:d=\"DAV:\" xmlns:a=\"http://calendarserver.org/ns/\">"
              "<a:set><d:href>mailto:a@b</d:href></a:set></a:share>");
    finish();
}

TEST(XMLBodyWriterTest, PrefixesSkipTheLetterOfDAV) {
    QStringList keys;
    for (int i = 0; i < 6; ++i)
        keys.append(QStringLiteral("urn:x:%1 p").arg(i));
    keys.append(QStringLiteral("getetag"));
    const auto namespaces = XMLBodyWriter::namespacesForProperties(keys);
    QStringList prefixes;
    for (const auto &[ns, prefix] : namespaces)
        prefixes.append(prefix);
    EXPECT_EQ(prefixes, QStringList({"d", "a", "b", "c", "e", "f", "g"}));
    EXPECT_EQ(namespaces.first().first, "DAV:");
    EXPECT_EQ(namespaces[4].first, "urn:x:3");
}

TEST_F(WebDAVRequestTest, ADeadPortIsAFailureWithTheConnectionError) {
    probe.client.options(base + "/");
    ASSERT_TRUE(probe.wait());
    EXPECT_EQ(probe.finished, 0);
    ASSERT_EQ(probe.failed, 1);
    ASSERT_TRUE(probe.error.has_value());
    EXPECT_EQ(probe.error->domain, WebDAVError::kNetworkDomain);
    EXPECT_EQ(probe.error->code, int(QNetworkReply::ConnectionRefusedError));
    EXPECT_FALSE(probe.client.userAborted());
    EXPECT_FALSE(probe.client.response().has_value());
    EXPECT_FALSE(probe.client.resultsDict().has_value());
}

}  // namespace
