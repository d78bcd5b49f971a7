#include <gtest/gtest.h>

#include "caldav/CalDAVRemoteObjects.h"
#include "caldav/CalDAVServiceInfo.h"
#include "caldav/support/SyncTestSuite.h"

// Whether a calendar's events count as busy time travels as its schedule
// transparency: read from every server that keeps it, and sent (with a new
// calendar and as a change) only to a server that schedules by itself.
// Cyrus schedules and keeps what it is sent; Xandikos does not schedule (its
// DAV classes say "calendar-auto-scheduling").
namespace {

QByteArray transparencyUpdate(const char *value) {
    return QByteArray(
               "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
               "<D:propertyupdate xmlns:D=\"DAV:\" "
               "xmlns:C=\"urn:ietf:params:xml:ns:caldav\"><D:set><D:prop>"
               "<C:schedule-calendar-transp><C:") +
           value + "/></C:schedule-calendar-transp></D:prop></D:set></D:propertyupdate>";
}

template <typename Server>
class CalDAVCalendarTransparencyTest : public SyncTestSuite<Server> {
protected:
    // "opaque", "transparent", or empty when the server keeps none.
    QString serverTransparency(const QString &url) {
        const BlockingAnswer answer = fetchBlocking(
            "PROPFIND", url, this->user(), this->password(), "0",
            "<?xml version=\"1.0\"?><D:propfind xmlns:D=\"DAV:\" "
            "xmlns:C=\"urn:ietf:params:xml:ns:caldav\"><D:prop><C:schedule-calendar-transp/>"
            "</D:prop></D:propfind>");
        EXPECT_EQ(answer.status, 207);
        const QString body = QString::fromUtf8(answer.body);
        for (const char *value : {"opaque", "transparent"})
            if (body.contains(QRegularExpression(
                    QStringLiteral("<[A-Za-z0-9]+:%1 ?/>").arg(QLatin1String(value)))))
                return QLatin1String(value);
        return QString();
    }
    void setServerTransparency(const QString &url, const char *value) {
        EXPECT_EQ(sendBlocking("PROPPATCH", url, this->user(), this->password(),
                               transparencyUpdate(value)),
                  207);
        EXPECT_EQ(serverTransparency(url), QLatin1String(value));
    }
    QString serverURLOf(CommonDataMO *calendar) {
        const ModelObject *record =
            CalDAVRemoteObjects::recordOf(calendar->objectInfo(), this->service());
        return record ? this->server->url(record->valueForKey("remoteID").toString()) : QString();
    }
    qint64 blocksTime(CommonDataMO *calendar) { return calendar->integerValueForKey("blocksTime"); }
    int transparencyChanges() { return this->fixture.log.count("): transparency changed"); }
};

using CyrusTransparencyTest = CalDAVCalendarTransparencyTest<CyrusServer>;
using XandikosTransparencyTest = CalDAVCalendarTransparencyTest<XandikosServer>;

}  // namespace

// The server's calendar, made free time there, is free time here; made busy
// there again, busy here.
TEST_F(CyrusTransparencyTest, TheServersTransparencyIsRead) {
    const QString url = makeServerCalendar("transp-read", "Read");
    sync();
    CommonDataMO *calendar = calendarTitled("Read");
    ASSERT_NE(calendar, nullptr);
    EXPECT_EQ(blocksTime(calendar), 1);  // the server says nothing: opaque

    setServerTransparency(url, "transparent");
    int before = transparencyChanges();
    sync();
    EXPECT_EQ(blocksTime(calendar), 0);
    EXPECT_EQ(transparencyChanges(), before + 1);
    expectQuietCycle();
    EXPECT_EQ(blocksTime(calendar), 0);

    setServerTransparency(url, "opaque");
    before = transparencyChanges();
    sync();
    EXPECT_EQ(blocksTime(calendar), 1);
    EXPECT_EQ(transparencyChanges(), before + 1);
}

TEST_F(CyrusTransparencyTest, TransparencyChosenHereIsSentToAServerThatSchedules) {
    sync();
    ASSERT_TRUE(CalDAVServiceInfo::supportsAutoScheduling(service()));

    // Made here as free time: MKCALENDAR says so.
    CommonDataMO *free = CommonDataMO::makeContainer("Calendar", service());
    free->setStringValue("Free here", "title");
    EXPECT_EQ(blocksTime(free), 1);
    free->setIntegerValue(0, "blocksTime");
    CommonDataMO *busy = CommonDataMO::makeContainer("Calendar", service());
    busy->setStringValue("Busy here", "title");
    EXPECT_EQ(sync().counts.calendarsPushed, 2);
    const QString freeURL = serverURLOf(free);
    ASSERT_FALSE(freeURL.isEmpty());
    EXPECT_EQ(serverTransparency(freeURL), "transparent");
    EXPECT_EQ(serverTransparency(serverURLOf(busy)), "opaque");
    expectQuietCycle();
    EXPECT_EQ(blocksTime(free), 0);
    EXPECT_EQ(blocksTime(busy), 1);

    // Changed here: PROPPATCH of the transparency alone.
    free->setIntegerValue(1, "blocksTime");
    EXPECT_EQ(sync().counts.calendarsPushed, 1);
    EXPECT_EQ(serverTransparency(freeURL), "opaque");
    EXPECT_TRUE(fixture.log.contains("CalDAV: push change calendar Free here ("));
    expectQuietCycle();
    EXPECT_EQ(blocksTime(free), 1);
    EXPECT_EQ(calendarsTitled("Free here"), 1);
}

TEST_F(XandikosTransparencyTest, TransparencyIsNotSentToAServerThatDoesNotSchedule) {
    // Xandikos calls every calendar opaque and refuses to change that (409).
    sync();
    ASSERT_FALSE(CalDAVServiceInfo::supportsAutoScheduling(service()));
    const int changesBefore = transparencyChanges();
    CommonDataMO *calendar = CommonDataMO::makeContainer("Calendar", service());
    calendar->setStringValue("Kept here", "title");
    calendar->setIntegerValue(0, "blocksTime");
    EXPECT_EQ(sync().counts.calendarsPushed, 1);
    const QString url = serverURLOf(calendar);
    ASSERT_FALSE(url.isEmpty());
    EXPECT_EQ(serverTransparency(url), "opaque");
    // What the server says of a calendar it was not told about stays
    // unheard: the choice made here holds.
    sync();
    EXPECT_EQ(blocksTime(calendar), 0);
    EXPECT_FALSE(fixture.log.contains("transparent"));

    calendar->setIntegerValue(1, "blocksTime");
    sync();
    calendar->setIntegerValue(0, "blocksTime");
    sync();
    EXPECT_EQ(blocksTime(calendar), 0);
    EXPECT_FALSE(fixture.log.contains("transparent"));
    EXPECT_FALSE(fixture.log.contains("CalDAV: calendar add/delete/change error"));
    EXPECT_EQ(transparencyChanges(), changesBefore);
    expectQuietCycle();
}
