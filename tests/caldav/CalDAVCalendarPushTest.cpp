#include <gtest/gtest.h>

#include "caldav/CalDAVRemoteObjects.h"
#include "caldav/support/SyncTestSuite.h"
#include "model/util/Colors.h"

// Calendars made, renamed, recoloured and deleted here reach real servers,
// read back by the test with its own requests; the cycles after each are
// quiet, and no calendar comes back twice or after its deletion.
namespace {

template <typename Server>
struct CalendarFeatures;
template <>
struct CalendarFeatures<RadicaleServer> {
    static constexpr bool colorOnCreation = true;
    static constexpr bool keepsDescription = true;
    static constexpr bool keepsCreationDetails = true;  // components, zone
};
// Xandikos drops every property of MKCALENDAR but the name (it answers 404
// for them and keeps nothing: every calendar takes every component), takes a
// colour only through PROPPATCH, and refuses descriptions (409).
template <>
struct CalendarFeatures<XandikosServer> {
    static constexpr bool colorOnCreation = false;
    static constexpr bool keepsDescription = false;
    static constexpr bool keepsCreationDetails = false;
};
template <>
struct CalendarFeatures<DAViCalServer> {
    static constexpr bool colorOnCreation = true;
    static constexpr bool keepsDescription = true;
    static constexpr bool keepsCreationDetails = true;
};

template <typename Server>
class CalDAVCalendarPushTest : public SyncTestSuite<Server> {
protected:
    // The calendar's properties on the server, as the text of its answer;
    // empty when the server has no such calendar.
    QString serverProperties(const QString &url) {
        const BlockingAnswer answer = fetchBlocking(
            "PROPFIND", url, this->user(), this->password(), "0",
            "<?xml version=\"1.0\"?><D:propfind xmlns:D=\"DAV:\" "
            "xmlns:C=\"urn:ietf:params:xml:ns:caldav\" xmlns:A=\"http://apple.com/ns/ical/\">"
            "<D:prop><D:displayname/><A:calendar-color/><C:calendar-description/>"
            "<C:supported-calendar-component-set/><C:timezone/></D:prop></D:propfind>");
        // Xandikos answers 207 with a response of status 404 for none.
        return answer.status == 207 && answer.body.contains("propstat")
                   ? QString::fromUtf8(answer.body)
                   : QString();
    }
    // The URL of the calendar's collection on the server; empty when none
    // is recorded.
    QString serverURLOf(CommonDataMO *calendar) {
        const ModelObject *record =
            CalDAVRemoteObjects::recordOf(calendar->objectInfo(), this->service());
        return record ? this->server->url(record->valueForKey("remoteID").toString()) : QString();
    }
};

TYPED_TEST_SUITE(CalDAVCalendarPushTest, SyncServers);

TYPED_TEST(CalDAVCalendarPushTest, ACalendarMadeChangedAndDeletedHereFollowsOnTheServer) {
    using Features = CalendarFeatures<TypeParam>;
    this->sync();
    const int listedBefore = this->fixture.collectionHrefs(this->service()).size();

    // Made here with an item: both are on the server after one cycle.
    CommonDataMO *calendar = CommonDataMO::makeContainer("Calendar", this->service());
    calendar->setStringValue("Made here", "title");
    calendar->setStringValue("About the calendar", "content");
    calendar->setColorValue(colorFromColorValue(0x3366CC), "localColor");
    calendar->setIntegerValue((1 << ItemType::Event) | (1 << ItemType::ToDo),
                              "supportedEventTypes");
    const QString uid = this->makeLocalItem(calendar, "In the new calendar")->uid();
    const CalDAVAccountCheck::Outcome made = this->sync();
    EXPECT_EQ(made.counts.calendarsPushed, 1);
    EXPECT_EQ(made.counts.pushed, 1);
    const QString url = this->serverURLOf(calendar);
    ASSERT_FALSE(url.isEmpty());
    const QString properties = this->serverProperties(url);
    EXPECT_TRUE(properties.contains(">Made here<")) << properties.toStdString();
    EXPECT_EQ(properties.contains("#3366CC", Qt::CaseInsensitive), Features::colorOnCreation)
        << properties.toStdString();
    EXPECT_EQ(properties.contains(">About the calendar<"), Features::keepsDescription)
        << properties.toStdString();
    EXPECT_EQ(properties.contains("\"VTODO\"") && !properties.contains("\"VJOURNAL\""),
              Features::keepsCreationDetails)
        << properties.toStdString();
    EXPECT_EQ(properties.contains("BEGIN:VTIMEZONE"), Features::keepsCreationDetails)
        << properties.toStdString();
    EXPECT_EQ(this->serverResources(url), QStringList{uid + ".ics"});
    EXPECT_TRUE(this->serverText(url + uid + ".ics").contains("UID:" + uid.toUtf8()));

    // Listed like any other calendar from then on: no second local copy,
    // and what the server did not keep stays as it is here.
    this->expectQuietCycle();
    EXPECT_EQ(this->fixture.collectionHrefs(this->service()).size(), listedBefore + 1);
    EXPECT_EQ(this->calendarsTitled("Made here"), 1);
    EXPECT_EQ(this->calendarTitled("Made here"), calendar);
    EXPECT_EQ(this->itemUIDs(calendar), QStringList{uid});
    EXPECT_EQ(calendar->stringValueForKey("content"), QStringLiteral("About the calendar"));
    EXPECT_EQ(colorValueFromHexString(hexStringFromColor(
                  calendar->colorValueForKey("localColor").value_or(RGBColor{}), false)),
              0x3366CC);

    // Renamed and recoloured here.
    calendar->setStringValue("Renamed here", "title");
    calendar->setColorValue(colorFromColorValue(0xCC3300), "localColor");
    const CalDAVAccountCheck::Outcome changed = this->sync();
    EXPECT_EQ(changed.counts.calendarsPushed, 1);
    const QString renamed = this->serverProperties(url);
    EXPECT_TRUE(renamed.contains(">Renamed here<")) << renamed.toStdString();
    EXPECT_TRUE(renamed.contains("#CC3300", Qt::CaseInsensitive)) << renamed.toStdString();
    this->expectQuietCycle();
    EXPECT_EQ(this->calendarsTitled("Renamed here"), 1);
    EXPECT_EQ(this->calendarsTitled("Made here"), 0);

    // Deleted here: gone from the server, and not brought back by the
    // listing that comes before the deletion is sent.
    CommonDataMO::deleteObject(calendar);
    const CalDAVAccountCheck::Outcome deleted = this->sync();
    EXPECT_EQ(deleted.counts.calendarsPushed, 1);
    EXPECT_TRUE(this->fixture.log.contains("scheduled for deletion; skipping"));
    EXPECT_EQ(this->serverProperties(url), QString());
    EXPECT_EQ(this->calendarsTitled("Renamed here"), 0);
    this->expectQuietCycle();
    EXPECT_EQ(this->calendarsTitled("Renamed here"), 0);
    EXPECT_EQ(this->fixture.collectionHrefs(this->service()).size(), listedBefore);
}

}  // namespace
