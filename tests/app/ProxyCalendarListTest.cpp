#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include "KeyringChild.h"
#include "caldav/support/DAVServers.h"
#include "support/TestSupport.h"

// "calendars" of the real program for an account on a real DAViCal whose
// user "test" is a read proxy of "test2": the owner's calendars are listed
// in the owner's group and read-only, the account's own as before, and
// "sync --json" reports the cycle as for any account.
namespace {

// The listed calendar with that title in that group (null for none); an
// empty object when there is none.
QJsonObject listedCalendar(const QJsonArray &calendars, const QString &title,
                           const QJsonValue &group) {
    for (const QJsonValue &value : calendars)
        if (value["title"].toString() == title && value["group"] == group)
            return value.toObject();
    return {};
}

MEROVAN_CHILD_ROUTINE(proxyCalendarList) {
    QTemporaryDir home;
    qputenv("MEROVAN_HOME", home.path().toUtf8());
    ChildChecks checks;
    addChildAccount(checks);

    const ProcessResult synced = runMerovan({"sync", "--json"});
    const QJsonArray cycles = QJsonDocument::fromJson(synced.out.toUtf8()).array();
    checks.check(synced.exitCode == 0 && cycles.size() == 1 &&
                     cycles[0]["state"].toString() == "idle" && cycles[0]["pulled"].toInt() == 0,
                 "the account syncs, idle, with nothing new", synced);

    const ProcessResult listed = runMerovan({"calendars", "--json"});
    const QJsonArray calendars = QJsonDocument::fromJson(listed.out.toUtf8()).array();
    const QJsonObject own = listedCalendar(calendars, "calendar", QJsonValue());
    checks.check(!own.isEmpty() && !own["readOnly"].toBool(),
                 "the account's own calendar has no group and is writable", listed);
    const QJsonObject owners = listedCalendar(calendars, "Boss", "test2 user");
    checks.check(!owners.isEmpty() && owners["readOnly"].toBool() && owners["count"].toInt() == 1,
                 "the owner's calendar is in the owner's group, read-only, with its item", listed);
    const ProcessResult text = runMerovan({"calendars"});
    checks.check(text.out.contains(owners["uid"].toString() + "  " + owners["color"].toString() +
                                   "  1 items  Boss  [test2 user]  (read-only)\n"),
                 "the text line names the group and the access", text);
    return checks.exitCode();
}

TEST(ProxyCalendarListTest, TheCalendarsOfAnOwnerAreListedInTheirGroup) {
    DAViCalServer davical;
    const QString error = davical.start();
    ASSERT_TRUE(error.isEmpty()) << error.toStdString();
    const QString boss = davical.url("/caldav.php/test2/boss/");
    ASSERT_EQ(sendBlocking("MKCALENDAR", boss, "test2", "test2",
                           "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<C:mkcalendar "
                           "xmlns:D=\"DAV:\" xmlns:C=\"urn:ietf:params:xml:ns:caldav\"><D:set>"
                           "<D:prop><D:displayname>Boss</D:displayname></D:prop></D:set>"
                           "</C:mkcalendar>"),
              201);
    ASSERT_EQ(sendBlocking("PUT", boss + "meeting.ics", "test2", "test2",
                           childEventText("meeting", "Meeting"), 20000, "text/calendar"),
              201);
    ASSERT_EQ(sendBlocking("PROPPATCH", davical.url("/caldav.php/test2/calendar-proxy-read/"),
                           "test2", "test2",
                           "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<D:propertyupdate "
                           "xmlns:D=\"DAV:\"><D:set><D:prop><D:group-member-set><D:href>"
                           "/caldav.php/test/</D:href></D:group-member-set></D:prop></D:set>"
                           "</D:propertyupdate>"),
              207);
    const ProcessResult result = runChildWithKeyring("proxyCalendarList", davical.port());
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
}

}  // namespace
