#include <gtest/gtest.h>

#include "caldav/CalDAVSyncTask.h"
#include "caldav/support/SyncTestSuite.h"
#include "model/CalendarMove.h"

// Items moved here from one calendar of an account to another: the server
// ends with the resource only in the new calendar, under the same UID and
// once, whether it moves the resource itself or refuses to (Xandikos has no
// MOVE; a resource already at the destination makes the others refuse);
// moved to a calendar of no account, the item is deleted on the server and
// kept here. The cycle after each is quiet.
namespace {

template <typename Server>
class CalDAVItemMoveTest : public SyncTestSuite<Server> {
protected:
    // Two calendars of the test's own (the server serves the whole suite),
    // the first with an item of that uid, read in; the local calendars.
    std::pair<CommonDataMO *, CommonDataMO *> seed(const QString &uid, const QByteArray &summary) {
        m_fromURL = this->makeServerCalendar(uid + "-from", uid + " from");
        m_toURL = this->makeServerCalendar(uid + "-to", uid + " to");
        this->put(m_fromURL + uid + ".ics",
                  vcalendar(vevent(uid.toUtf8(), summary, "DTSTART:20261201T100000Z\r\n")));
        this->sync();
        return {this->calendarTitled(uid + " from"), this->calendarTitled(uid + " to")};
    }

    QString m_fromURL, m_toURL;
};

TYPED_TEST_SUITE(CalDAVItemMoveTest, SyncServers);

TYPED_TEST(CalDAVItemMoveTest, AnItemMovedToAnotherCalendarOfTheAccountMovesOnTheServer) {
    auto [from, to] = this->seed("moving-1", "Moving");
    ASSERT_NE(from, nullptr);
    ASSERT_NE(to, nullptr);
    ASSERT_EQ(this->itemUIDs(from), QStringList{"moving-1"});
    this->item(from, "moving-1")->setStringValue("Moved and edited", "title");
    ASSERT_NE(CalendarMove::moveItemToCalendar(this->item(from, "moving-1"), to), nullptr);

    const CalDAVAccountCheck::Outcome moved = this->sync();
    EXPECT_EQ(moved.counts.conflicts, 0);
    EXPECT_TRUE(this->fixture.log.contains("CalDAV: push move event (moving-1) from calendar /"));
    EXPECT_EQ(this->serverResources(this->m_fromURL), QStringList{});
    EXPECT_EQ(this->serverResources(this->m_toURL), QStringList{"moving-1.ics"});
    const QByteArray text = this->serverText(this->m_toURL + "moving-1.ics");
    EXPECT_TRUE(text.contains("UID:moving-1\r\n")) << text.toStdString();
    EXPECT_TRUE(text.contains("SUMMARY:Moved and edited\r\n")) << text.toStdString();
    EXPECT_EQ(this->itemUIDs(from), QStringList{});
    EXPECT_EQ(this->itemUIDs(to), QStringList{"moving-1"});

    this->expectQuietCycle();
    EXPECT_EQ(this->itemUIDs(from), QStringList{});
    EXPECT_EQ(this->itemUIDs(to), QStringList{"moving-1"});
    EXPECT_EQ(this->item(to, "moving-1")->effectiveTitle(), QStringLiteral("Moved and edited"));
}

TYPED_TEST(CalDAVItemMoveTest, AMoveOntoAResourceAlreadyThereLosesNothingAndDoublesNothing) {
    auto [from, to] = this->seed("clash-1", "Before");
    ASSERT_NE(from, nullptr);
    ASSERT_NE(to, nullptr);
    ASSERT_NE(CalendarMove::moveItemToCalendar(this->item(from, "clash-1"), to), nullptr);
    // Another client put the same item in the destination meanwhile.
    this->put(this->m_toURL + "clash-1.ics",
              vcalendar(vevent("clash-1", "Already there", "DTSTART:20261201T100000Z\r\n")));

    const CalDAVAccountCheck::Outcome moved = this->sync();
    EXPECT_EQ(moved.counts.conflicts, 0);
    EXPECT_TRUE(this->fixture.log.contains("move of event (clash-1) refused"));
    // The copy in the destination is the server's; the old one is gone.
    EXPECT_EQ(this->serverResources(this->m_fromURL), QStringList{});
    EXPECT_EQ(this->serverResources(this->m_toURL), QStringList{"clash-1.ics"});
    EXPECT_TRUE(this->serverText(this->m_toURL + "clash-1.ics").contains("UID:clash-1\r\n"));
    EXPECT_EQ(this->itemUIDs(from), QStringList{});
    ASSERT_EQ(this->itemUIDs(to), QStringList{"clash-1"});
    EXPECT_EQ(this->item(to, "clash-1")->effectiveTitle(), QStringLiteral("Already there"));

    this->expectQuietCycle();
    EXPECT_EQ(this->itemUIDs(to), QStringList{"clash-1"});
    EXPECT_EQ(this->serverResources(this->m_toURL), QStringList{"clash-1.ics"});
}

TYPED_TEST(CalDAVItemMoveTest, AnItemMovedToACalendarOfNoAccountIsDeletedOnTheServer) {
    auto [from, to] = this->seed("leaving-1", "Leaving");
    ASSERT_NE(from, nullptr);
    CommonDataMO *local = CommonDataMO::makeContainer("Calendar", nullptr);
    local->setStringValue("On this computer", "title");
    ASSERT_NE(CalendarMove::moveItemToCalendar(this->item(from, "leaving-1"), local), nullptr);

    const CalDAVAccountCheck::Outcome moved = this->sync();
    EXPECT_EQ(moved.counts.pushed, 1);
    EXPECT_TRUE(this->fixture.log.contains("CalDAV: push delete event (leaving-1) to calendar /"));
    EXPECT_FALSE(this->fixture.log.contains("CalDAV: push move event"));
    EXPECT_EQ(this->serverResources(this->m_fromURL), QStringList{});
    EXPECT_EQ(this->serverResources(this->m_toURL), QStringList{});
    EXPECT_EQ(this->itemUIDs(from), QStringList{});
    EXPECT_EQ(this->itemUIDs(local), QStringList{"leaving-1"});
    EXPECT_EQ(this->item(local, "leaving-1")->effectiveTitle(), QStringLiteral("Leaving"));
    this->expectQuietCycle();
    EXPECT_EQ(this->itemUIDs(local), QStringList{"leaving-1"});
}

}  // namespace
