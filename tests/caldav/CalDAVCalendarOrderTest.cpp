#include <gtest/gtest.h>

#include "caldav/CalDAVSyncTask.h"
#include "caldav/support/SyncTestSuite.h"

// Where calendars first found on the server go among the others: calendars
// of events the account may write first, then calendars of to-dos only, then
// read-only ones (a real Radicale calendar the account may only read); the
// order the user gives afterwards stays through later cycles, also when the
// server changes the calendar.
namespace {

class CalDAVCalendarOrderTest : public SyncTestSuite<RadicaleRestrictedServer> {
protected:
    void makeTasksCalendar(const QString &name, const QString &title) {
        const QByteArray body =
            "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
            "<C:mkcalendar xmlns:D=\"DAV:\" xmlns:C=\"urn:ietf:params:xml:ns:caldav\">"
            "<D:set><D:prop><D:displayname>" +
            title.toUtf8() +
            "</D:displayname><C:supported-calendar-component-set><C:comp name=\"VTODO\"/>"
            "</C:supported-calendar-component-set></D:prop></D:set></C:mkcalendar>";
        EXPECT_EQ(sendBlocking("MKCALENDAR", server->url("/test/" + name + "/"), user(), password(),
                               body),
                  201);
    }
    qint64 sortOrderOf(const QString &title) {
        CommonDataMO *calendar = calendarTitled(title);
        EXPECT_NE(calendar, nullptr) << title.toStdString();
        return calendar ? calendar->integerValueForKey("localSortOrder") : -1;
    }
};

TEST_F(CalDAVCalendarOrderTest, NewCalendarsAreOrderedByAccessAndKindAndTheUsersOrderStays) {
    const QString workURL = makeServerCalendar("work", "Work");
    makeTasksCalendar("chores", "Chores");
    sync();
    EXPECT_EQ(sortOrderOf("Work"), CalDAVSyncTask::kWritableSortOrder);
    EXPECT_EQ(sortOrderOf("Chores"),
              CalDAVSyncTask::kWritableSortOrder + CalDAVSyncTask::kTasksSortOffset);
    EXPECT_EQ(sortOrderOf("Shared"), CalDAVSyncTask::kReadOnlySortOrder);
    EXPECT_LT(sortOrderOf("Chores"), sortOrderOf("Shared"));

    // The user puts the read-only calendar first and the tasks before the
    // events; the server renames the event calendar meanwhile.
    calendarTitled("Shared")->setSortPositionFromHint(1);
    calendarTitled("Chores")->setSortPositionFromHint(2);
    calendarTitled("Work")->setSortPositionFromHint(3);
    rename(workURL, "Work renamed");
    sync();
    sync();
    EXPECT_EQ(sortOrderOf("Shared"), 1);
    EXPECT_EQ(sortOrderOf("Chores"), 2);
    EXPECT_EQ(sortOrderOf("Work renamed"), 3);
}

TEST(CalDAVCalendarOrder, SortOrderFromAccessPutsReadOnlyAndTasksOnlyCalendarsLast) {
    constexpr qint64 events = 1 << ItemType::Event, todos = 1 << ItemType::ToDo;
    const qint64 writable = CalDAVSyncTask::kWritableSortOrder;
    const qint64 readOnly = CalDAVSyncTask::kReadOnlySortOrder;
    const qint64 tasks = CalDAVSyncTask::kTasksSortOffset;
    EXPECT_EQ(CalDAVSyncTask::sortOrderFromAccess(4, 0), writable);
    EXPECT_EQ(CalDAVSyncTask::sortOrderFromAccess(4, events | todos), writable);
    EXPECT_EQ(CalDAVSyncTask::sortOrderFromAccess(4, todos), writable + tasks);
    EXPECT_EQ(CalDAVSyncTask::sortOrderFromAccess(2, events), readOnly);
    EXPECT_EQ(CalDAVSyncTask::sortOrderFromAccess(2, todos), readOnly + tasks);
    EXPECT_LT(writable + tasks, readOnly);
}

}  // namespace
