#include <gtest/gtest.h>

#include "caldav/support/DAVNames.h"

#include "caldav/PropertyValueParser.h"
#include "caldav/WebDAVResults.h"
#include "support/TestSupport.h"

namespace {

QVariantMap resultsOf(int status, const QByteArray &body, const QString &method = "PROPFIND",
                      bool expectXML = false, const HttpHeaders &headers = {}) {
    const PropertyValueParser parser;
    WebDAVResponse response{status, QUrl(QStringLiteral("http://127.0.0.1/cal/")), headers};
    return WebDAVResults::calcResultsDict(response, method, expectXML, body, parser);
}

const QByteArray kMultistatus = R"(<?xml version="1.0" encoding="utf-8"?>
<D:multistatus xmlns:D="DAV:" xmlns:C="urn:ietf:params:xml:ns:caldav" xmlns:I="http://apple.com/ns/ical/">
  <D:response>
    <D:href>/cal/home/</D:href>
    <D:href>/cal/second-href/</D:href>
    <D:propstat>
      <D:prop>
        <D:resourcetype><D:collection/><C:calendar/></D:resourcetype>
        <D:displayname>Work</D:displayname>
        <I:calendar-color>#FF0000</I:calendar-color>
        <D:current-user-privilege-set>
          <D:privilege><D:read/></D:privilege><D:privilege><D:write/></D:privilege>
        </D:current-user-privilege-set>
        <D:supported-report-set>
          <D:supported-report><D:report><D:sync-collection/></D:report></D:supported-report>
          <D:supported-report><D:report><C:calendar-multiget/></D:report></D:supported-report>
          <D:supported-report><C:calendar-query/></D:supported-report>
        </D:supported-report-set>
        <D:group-membership><D:href>/p/a/</D:href><D:href>/p/b/</D:href></D:group-membership>
      </D:prop>
      <D:status>HTTP/1.1 200 OK</D:status>
    </D:propstat>
    <D:propstat>
      <D:prop><C:calendar-timezone/></D:prop>
      <D:status>HTTP/1.1 404 Not Found</D:status>
      <D:responsedescription>not here</D:responsedescription>
    </D:propstat>
  </D:response>
  <D:response>
    <D:href>/cal/home/gone.ics</D:href>
    <D:status>HTTP/1.1 404 Not Found</D:status>
  </D:response>
  <D:responsedescription>first</D:responsedescription>
  <D:responsedescription>second</D:responsedescription>
  <D:sync-token>http://example/ns/sync/7</D:sync-token>
</D:multistatus>)";

TEST(WebDAVResultsTest, ReadsAMultistatusResponseByResponse) {
    const QVariantMap results = resultsOf(207, kMultistatus);
    EXPECT_EQ(results.value("status").toInt(), 207);
    EXPECT_EQ(results.value("url").toString(), "http://127.0.0.1/cal/");
    EXPECT_EQ(results.value("responsedescription").toString(), "first");
    EXPECT_EQ(results.value("sync-token").toString(), "http://example/ns/sync/7");

    const QVariantList responses = results.value("multistatus").toList();
    ASSERT_EQ(responses.size(), 2);
    const QVariantMap home = responses[0].toMap();
    EXPECT_EQ(home.value("href").toString(), "/cal/home/");
    EXPECT_FALSE(home.contains("status"));
    const QVariantList propstats = home.value("propstat").toList();
    ASSERT_EQ(propstats.size(), 2);
    const QVariantMap found = propstats[0].toMap();
    EXPECT_EQ(found.value("property status").toInt(), 200);
    EXPECT_EQ(found.value("resourcetype").toStringList(),
              QStringList({"collection", kCalDAV + " calendar"}));
    EXPECT_EQ(found.value("displayname").toString(), "Work");
    EXPECT_EQ(found.value("http://apple.com/ns/ical/ calendar-color").toString(), "#FF0000");
    EXPECT_EQ(found.value("current-user-privilege-set").toStringList(),
              QStringList({"read", "write"}));
    EXPECT_EQ(found.value("supported-report-set").toStringList(),
              QStringList({"sync-collection", kCalDAV + " calendar-multiget",
                           kCalDAV + " calendar-query"}));
    EXPECT_EQ(found.value("group-membership").toStringList(), QStringList({"/p/a/", "/p/b/"}));
    const QVariantMap missing = propstats[1].toMap();
    EXPECT_EQ(missing.value("property status").toInt(), 404);
    EXPECT_EQ(missing.value("responsedescription").toString(), "not here");
    EXPECT_TRUE(missing.contains(kCalDAV + " calendar-timezone"));

    const QVariantMap gone = responses[1].toMap();
    EXPECT_EQ(gone.value("status").toInt(), 404);
    EXPECT_FALSE(gone.contains("propstat"));
}

TEST(WebDAVResultsTest, ReadsTheOlderSyncResponseFormOnlyWithoutResponses) {
    const QByteArray older = R"(<multistatus xmlns="DAV:">
      <sync-response><href>/c/1.ics</href><status>HTTP/1.1 201 Created</status></sync-response>
      <sync-response><href>/c/2.ics</href><status>HTTP/1.1 404 Not Found</status></sync-response>
      <sync-token>42</sync-token></multistatus>)";
    const QVariantList responses = resultsOf(207, older, "REPORT").value("multistatus").toList();
    ASSERT_EQ(responses.size(), 2);
    EXPECT_EQ(responses[0].toMap().value("status").toInt(), 201);
    EXPECT_EQ(responses[1].toMap().value("href").toString(), "/c/2.ics");

    const QByteArray mixed = R"(<multistatus xmlns="DAV:">
      <sync-response><href>/old</href></sync-response>
      <response><href>/new</href></response></multistatus>)";
    const QVariantList kept = resultsOf(207, mixed, "REPORT").value("multistatus").toList();
    ASSERT_EQ(kept.size(), 1);
    EXPECT_EQ(kept[0].toMap().value("href").toString(), "/new");
}

TEST(WebDAVResultsTest, BrokenBodiesAreLoggedAndLeaveTheirKeysOut) {
    LogCapture log;
    for (const QByteArray &body :
         {QByteArray("this is not XML"), QByteArray("<multistatus xmlns=\"DAV:\"><response>"),
          QByteArray(), QByteArray("<a/><b/>")}) {
        const QVariantMap results = resultsOf(207, body);
        EXPECT_FALSE(results.contains("multistatus")) << body.constData();
        EXPECT_FALSE(results.contains("sync-token"));
        EXPECT_EQ(results.value("status").toInt(), 207);
    }
    EXPECT_EQ(log.count("WebDAVClient: error processing multistatus"), 4);

    const QVariantMap report = resultsOf(200, "BEGIN:VCALENDAR", "REPORT");
    EXPECT_EQ(report.size(), 3);  // status, headers, url
    EXPECT_TRUE(log.contains("WebDAVClient: error processing report"));
}

TEST(WebDAVResultsTest, DeeplyNestedDocumentsAreRefusedNotRecursedInto) {
    QByteArray deep = "<multistatus xmlns=\"DAV:\"><response>";
    for (int i = 0; i < 100000; ++i)
        deep += "<x>";
    LogCapture log;
    EXPECT_FALSE(resultsOf(207, deep).contains("multistatus"));
    EXPECT_TRUE(log.contains("elements nested too deeply"));
}

TEST(WebDAVResultsTest, A200IsParsedOnlyForReportsOrWhenXMLIsExpected) {
    const QByteArray body =
        R"(<C:free-busy xmlns:C="urn:ietf:params:xml:ns:caldav">busy</C:free-busy>)";
    EXPECT_EQ(resultsOf(200, body, "REPORT").value(kCalDAV + " free-busy").toString(), "busy");
    EXPECT_EQ(resultsOf(200, body, "POST", true).value(kCalDAV + " free-busy").toString(), "busy");
    EXPECT_EQ(resultsOf(200, body, "GET").size(), 3);
    // Bodies of other statuses are never read.
    EXPECT_EQ(resultsOf(302, kMultistatus).size(), 3);
    EXPECT_EQ(resultsOf(500, kMultistatus).size(), 3);
}

TEST(WebDAVResultsTest, HeadersAreKeptAsTheyCame) {
    const QVariantMap results =
        resultsOf(204, {}, "PUT", false, {{"ETag", "\"abc\""}, {"DAV", "1, 2, calendar-access"}});
    const QVariantMap headers = results.value("headers").toMap();
    EXPECT_EQ(headers.value("ETag").toString(), "\"abc\"");
    EXPECT_EQ(headers.value("DAV").toString(), "1, 2, calendar-access");
}

TEST(WebDAVResultsTest, ClientErrorsListTheElementsOfTheErrorBody) {
    const QByteArray precondition = R"(<?xml version="1.0"?>
      <D:error xmlns:D="DAV:" xmlns:C="urn:ietf:params:xml:ns:caldav">
        <C:no-uid-conflict><D:href>/c/other.ics</D:href></C:no-uid-conflict>
        <D:need-privileges>
          <D:resource><D:href>/c/</D:href><D:privilege><D:write/><D:bind/></D:privilege></D:resource>
        </D:need-privileges>
      </D:error>)";
    const QVariantList errors = resultsOf(403, precondition, "PUT").value("error").toList();
    ASSERT_EQ(errors.size(), 2);
    EXPECT_EQ(errors[0].toMap().value(kCalDAV + " no-uid-conflict").toString(), "/c/other.ics");
    const QVariantList needed = errors[1].toMap().value("need-privileges").toList();
    ASSERT_EQ(needed.size(), 2);
    EXPECT_EQ(needed[0].toMap(), (QVariantMap{{"href", "/c/"}, {"privilege", "write"}}));
    EXPECT_EQ(needed[1].toMap(), (QVariantMap{{"href", "/c/"}, {"privilege", "bind"}}));

    // A multi-status error body: the children of its first child count.
    const QByteArray wrapped = R"(<multistatus xmlns="DAV:"><response><href>/c/x.ics</href>
      <status>HTTP/1.1 409 Conflict</status></response></multistatus>)";
    const QVariantList fromWrapped = resultsOf(409, wrapped).value("error").toList();
    ASSERT_EQ(fromWrapped.size(), 2);
    EXPECT_EQ(fromWrapped[0].toMap().value("href").toString(), "/c/x.ics");

    EXPECT_FALSE(resultsOf(412, "Precondition Failed").contains("error"));
    EXPECT_FALSE(resultsOf(404, {}).contains("error"));
    EXPECT_EQ(resultsOf(400, "<error xmlns=\"DAV:\"/>").value("error").toList().size(), 0);
}

TEST(WebDAVResultsTest, AnHTMLErrorPageTravelsAsTheKeyOfTheError) {
    const QByteArray page =
        "<HTML><head><title>Forbidden</title><style>p{}</style></head><body><h1>Forbidden</h1>"
        "<p>No access to &quot;/cal/&quot; &amp; more&#33;</p><script>x()</script></body></HTML>";
    const QVariantList errors = resultsOf(403, page).value("error").toList();
    ASSERT_EQ(errors.size(), 1);
    const QVariantMap error = errors[0].toMap();
    ASSERT_EQ(error.size(), 1);
    EXPECT_EQ(error.firstKey(), "Forbidden\nNo access to \"/cal/\" & more!");
    EXPECT_EQ(error.first().toString(), "");

    // A page with no text leaves no error; only "<html>" at the very start
    // makes a page, anything else is read as XML.
    EXPECT_FALSE(resultsOf(403, "<html><body> </body></html>").contains("error"));
    EXPECT_EQ(resultsOf(403, " <html><body>x</body></html>").value("error").toList(),
              QVariantList({QVariantMap{{"body", "x"}}}));
}

TEST(WebDAVResultsTest, GroupMemberSetHoldsResponseDictionaries) {
    const QByteArray body = R"(<multistatus xmlns="DAV:"><response><href>/g/</href><propstat><prop>
      <group-member-set><response><href>/p/a/</href><status>HTTP/1.1 200 OK</status></response>
      </group-member-set></prop></propstat></response></multistatus>)";
    const QVariantMap propstat = resultsOf(207, body)
                                     .value("multistatus")
                                     .toList()[0]
                                     .toMap()
                                     .value("propstat")
                                     .toList()[0]
                                     .toMap();
    EXPECT_FALSE(propstat.contains("property status"));
    const QVariantList members = propstat.value("group-member-set").toList();
    ASSERT_EQ(members.size(), 1);
    EXPECT_EQ(members[0].toMap(), (QVariantMap{{"href", "/p/a/"}, {"status", 200}}));
}

}  // namespace
