#include <gtest/gtest.h>

#include <QFile>

#include "caldav/CalDAVClient.h"
#include "caldav/WebDAVResults.h"
#include "caldav/XMLElement.h"
#include "caldav/support/DAVNames.h"
#include "support/TestSupport.h"

// The CalDAV and calendar-server properties as the CalDAV client reads them
// from a multi-status answer.
namespace {

const QString kCS = QStringLiteral("http://calendarserver.org/ns/");

// The results dictionary of a multi-status answer of the seed corpus, read
// by the CalDAV client.
QVariantMap resultsOfSeed(const char *name) {
    QFile file(sourcePath(QStringLiteral("fuzz/corpus/multistatus_fuzzer/") + QLatin1String(name)));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name;
    const CalDAVClient client;
    return WebDAVResults::calcResultsDict(WebDAVResponse{207, QUrl("http://127.0.0.1/"), {}},
                                          "PROPFIND", false, file.readAll(), client);
}

TEST(CalDAVPropertiesTest, ReadsHrefListsFirstHrefsComponentsAndChildKeys) {
    const QVariantMap results = resultsOfSeed("caldav-principal-and-calendars.xml");
    const QVariantList responses = results.value("multistatus").toList();
    ASSERT_EQ(responses.size(), 2);
    const QVariantMap principal = firstPropstatOf(results);
    EXPECT_EQ(principal.value(kCalDAV + " calendar-home-set").toStringList(),
              QStringList{"/caldav.php/test/"});
    EXPECT_EQ(principal.value(kCalDAV + " calendar-user-address-set").toStringList(),
              (QStringList{"mailto:test@example.com", "/caldav.php/test/"}));
    EXPECT_EQ(principal.value(kCalDAV + " schedule-inbox-URL").toString(), "/caldav.php/test/.in/");
    EXPECT_EQ(principal.value(kCalDAV + " schedule-outbox-URL").toString(),
              "/caldav.php/test/.out/");
    EXPECT_EQ(principal.value(kCS + " notification-URL").toString(), "/notifications/");

    const QVariantMap calendar = firstPropstatOf(results, 1);
    EXPECT_EQ(calendar.value(kCalDAV + " supported-calendar-component-set").toStringList(),
              (QStringList{"VEVENT", "VTODO"}));
    EXPECT_EQ(calendar.value(kCalDAV + " supported-calendar-component-sets").toList(),
              (QVariantList{QStringList{"VEVENT"}}));
    EXPECT_EQ(calendar.value(kCalDAV + " schedule-calendar-transp").toString(),
              kCalDAV + " opaque");
    EXPECT_EQ(calendar.value(kCS + " allowed-sharing-modes").toStringList(),
              (QStringList{kCS + " can-be-shared", kCS + " can-be-published"}));
    EXPECT_EQ(calendar.value(kCS + " changes").toStringList(), QStringList{"summary"});
    EXPECT_EQ(calendar.value(kCS + " access").toString(), kCS + " read-write");
    EXPECT_EQ(calendar.value("http://schemas.google.com/g/2005 error").toString(), "quota");
    // WebDAV's own properties are still read as before.
    EXPECT_EQ(calendar.value("resourcetype").toStringList(),
              (QStringList{"collection", kCalDAV + " calendar"}));
}

}  // namespace

namespace {

// The body of the client's last request, read back by the XML reader.
XMLElement requestBodyOf(const CalDAVClient &client) {
    QString error;
    const std::optional<XMLElement> root = XMLElement::parseDocument(client.requestBody(), error);
    EXPECT_TRUE(root) << error.toStdString() << "\n" << client.requestBody().toStdString();
    return root.value_or(XMLElement());
}

const XMLElement *propOfSet(const XMLElement &root) {
    const XMLElement *set = root.child("set");
    return set ? set->child("prop") : nullptr;
}

TEST(CalDAVPropertiesTest, WritesCalDAVPropertiesInRequestBodies) {
    CalDAVClient client;
    client.mkcalendar("http://127.0.0.1:1/cal/",
                      {{"displayname", "Work"},
                       {kCalDAV + " calendar-description", "Meetings"},
                       {kCalDAV + " supported-calendar-component-set", QStringList{"vevent"}},
                       {kCalDAV + " schedule-calendar-transp", kCalDAV + " transparent"},
                       {kCS + " source", "webcal://example.test/feed.ics"}});
    EXPECT_EQ(client.method(), "MKCALENDAR");
    const XMLElement root = requestBodyOf(client);
    EXPECT_EQ(root.key, kCalDAV + " mkcalendar");
    const XMLElement *prop = propOfSet(root);
    ASSERT_TRUE(prop);
    EXPECT_EQ(prop->child("displayname")->text, "Work");
    const XMLElement *description = prop->child(kCalDAV + " calendar-description");
    ASSERT_TRUE(description);
    EXPECT_EQ(description->text, "Meetings");
    EXPECT_FALSE(
        description->attributes.value("http://www.w3.org/XML/1998/namespace lang").isEmpty())
        << description->attributes.keys().join(' ').toStdString();
    const XMLElement *components = prop->child(kCalDAV + " supported-calendar-component-set");
    ASSERT_TRUE(components);
    ASSERT_EQ(components->children.size(), 1u);
    EXPECT_EQ(components->children[0].key, kCalDAV + " comp");
    EXPECT_EQ(components->children[0].attributes.value("name"), "VEVENT");
    EXPECT_EQ(prop->child(kCalDAV + " schedule-calendar-transp")->childKeys(),
              QStringList{kCalDAV + " transparent"});
    EXPECT_EQ(prop->child(kCS + " source")->child("href")->text, "webcal://example.test/feed.ics");

    client.setDefaultSchedulingCalendar("http://127.0.0.1:1/inbox/", "/cal/");
    EXPECT_EQ(client.method(), "PROPPATCH");
    const XMLElement inboxBody = requestBodyOf(client);
    const XMLElement *inbox = propOfSet(inboxBody);
    ASSERT_TRUE(inbox);
    EXPECT_EQ(inbox->child(kCalDAV + " schedule-default-calendar-URL")->child("href")->text,
              "/cal/");

    client.stopSharingCalendar("http://127.0.0.1:1/cal/");
    const XMLElement typesBody = requestBodyOf(client);
    const XMLElement *types = propOfSet(typesBody);
    ASSERT_TRUE(types);
    EXPECT_EQ(types->child("resourcetype")->childKeys(),
              (QStringList{"collection", kCalDAV + " calendar"}));

    client.publishCalendar("http://127.0.0.1:1/cal/");
    EXPECT_EQ(client.method(), "POST");
    EXPECT_EQ(requestBodyOf(client).key, kCS + " publish-calendar");

    client.freeBusyQueryReport("http://127.0.0.1:1/cal/", 1, Date(915148800.0), Date(915152400.0));
    const XMLElement query = requestBodyOf(client);
    EXPECT_EQ(query.key, kCalDAV + " free-busy-query");
    ASSERT_TRUE(query.child(kCalDAV + " time-range"));
    EXPECT_EQ(query.child(kCalDAV + " time-range")->attributes.value("start"), "20300101T000000Z");
    EXPECT_EQ(query.child(kCalDAV + " time-range")->attributes.value("end"), "20300101T010000Z");
}

}  // namespace

namespace {

TEST(CalDAVPropertiesTest, ReadsCalendarServerRecords) {
    const QVariantMap found = firstPropstatOf(resultsOfSeed("calendarserver-records.xml"));
    const QVariantList proxies = found.value(kCS + " calendar-proxy-write-for").toList();
    ASSERT_EQ(proxies.size(), 1);
    EXPECT_EQ(proxies[0].toMap().value("href").toString(), "/principals/boss/");

    const QVariantMap push = found.value(kCS + " push-transports").toMap();
    EXPECT_EQ(push.value("APSD").toMap().value(kCS + " apsbundleid").toString(), "com.example");

    const QVariantList invite = found.value(kCS + " invite").toList();
    ASSERT_EQ(invite.size(), 1);
    const QVariantMap user = invite[0].toMap();
    EXPECT_EQ(user.value("href").toString(), "mailto:friend@example.com");
    EXPECT_EQ(user.value(kCS + " common-name").toString(), "Friend");
    // An empty child is present with an empty value.
    EXPECT_TRUE(user.contains(kCS + " invite-accepted"));
    EXPECT_EQ(user.value(kCS + " invite-accepted").toString(), "");
    EXPECT_EQ(user.value(kCS + " access").toString(), kCS + " read");

    const QVariantMap type = found.value(kCS + " notificationtype").toMap();
    EXPECT_EQ(type.value(kCS + " uid").toString(), "abc");
    EXPECT_TRUE(type.contains(kCS + " invite-notification"));

    const QVariantList scheduled = found.value(kCalDAV + " schedule-response").toList();
    ASSERT_EQ(scheduled.size(), 1);
    EXPECT_EQ(scheduled[0].toMap().value(kCalDAV + " recipient").toString(),
              "mailto:friend@example.com");
    EXPECT_EQ(scheduled[0].toMap().value(kCalDAV + " request-status").toString(), "2.0;Success");
}

TEST(CalDAVPropertiesTest, ReadsNotificationsAndNamesWhoChangedThings) {
    const CalDAVClient client;
    const std::optional<QVariantMap> notification = client.notificationDictFromXMLData(
        "<?xml version=\"1.0\"?><CS:notification xmlns:CS=\"http://calendarserver.org/ns/\">"
        "<CS:dtstamp>20300101T000000Z</CS:dtstamp><CS:invite-notification><CS:uid>n1</CS:uid>"
        "</CS:invite-notification></CS:notification>");
    ASSERT_TRUE(notification);
    EXPECT_EQ(notification->value(kCS + " dtstamp").toString(), "20300101T000000Z");
    EXPECT_EQ(notification->value(kCS + " invite-notification").toMap().value(kCS + " uid"), "n1");
    LogCapture log;
    EXPECT_FALSE(client.notificationDictFromXMLData("<CS:notification"));
    EXPECT_TRUE(log.contains("CalDAVClient: error processing notification"));

    const auto name = [](QVariantMap record) {
        return CalDAVClient::userNameFromChangedByDict(record);
    };
    EXPECT_EQ(name({{kCS + " common-name", "Ann Lee"}, {kCS + " first-name", "A"}}), "Ann Lee");
    EXPECT_EQ(name({{kCS + " first-name", "Ann"}, {kCS + " last-name", "Lee"}}), "Ann Lee");
    EXPECT_EQ(name({{kCS + " email-address", "ann@example.com"}, {"href", "/p/ann/"}}),
              "ann@example.com");
    EXPECT_EQ(name({{"href", "mailto:ann@example.com"}}), "ann@example.com");
    EXPECT_EQ(name({{"href", "/principals/users/ann/"}}), "ann");
}

}  // namespace

namespace {

TEST(CalDAVPropertiesTest, WritesSharingAndInvitationReplies) {
    CalDAVClient client;
    client.shareCalendar("http://127.0.0.1:1/cal/",
                         {QVariantMap{{"href", "mailto:ann@example.com"},
                                      {kCS + " common-name", "Ann"},
                                      {kCS + " access", kCS + " read-write"}}},
                         {QVariantMap{{"href", "mailto:bob@example.com"}}});
    const XMLElement share = requestBodyOf(client);
    EXPECT_EQ(share.key, kCS + " share");
    ASSERT_EQ(share.children.size(), 2u);
    const XMLElement &set = share.children[0];
    EXPECT_EQ(set.key, kCS + " set");
    EXPECT_EQ(set.childKeys(), (QStringList{"href", kCS + " common-name", kCS + " read-write"}));
    EXPECT_EQ(set.child("href")->text, "mailto:ann@example.com");
    EXPECT_EQ(share.children[1].key, kCS + " remove");
    EXPECT_EQ(share.children[1].child("href")->text, "mailto:bob@example.com");

    client.replyToInvitation("http://127.0.0.1:1/home/",
                             {{kCS + " uid", "inv-1"},
                              {"href", "mailto:me@example.com"},
                              {kCS + " hosturl", QVariantMap{{"href", "/shared/cal/"}}},
                              {kCS + " summary", "Team"}},
                             false);
    const XMLElement reply = requestBodyOf(client);
    EXPECT_EQ(reply.key, kCS + " invite-reply");
    EXPECT_EQ(reply.childKeys(),
              (QStringList{kCS + " in-reply-to", "href", kCS + " invite-declined", kCS + " hosturl",
                           kCS + " summary"}));
    EXPECT_EQ(reply.child(kCS + " in-reply-to")->text, "inv-1");
    EXPECT_EQ(reply.child(kCS + " hosturl")->child("href")->text, "/shared/cal/");
}

}  // namespace
