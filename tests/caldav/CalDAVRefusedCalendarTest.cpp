#include <gtest/gtest.h>

#include "caldav/CalDAVRemoteObjects.h"
#include "caldav/support/ProxiedSyncTestSuite.h"

// A calendar made here that the server refuses to create (MKCALENDAR
// answered 403) stays here with its items, is offered again in later
// cycles, and reaches the server with them once the server takes it.
namespace {

class CalDAVRefusedCalendarTest : public ProxiedSyncTestSuite<RadicaleServer> {};

TEST_F(CalDAVRefusedCalendarTest, ARefusedCalendarStaysHereWithItsItemsAndIsSentLater) {
    sync();
    CommonDataMO *calendar = CommonDataMO::makeContainer("Calendar", service());
    calendar->setStringValue("Refused at first", "title");
    const QString uid = makeLocalItem(calendar, "In the refused calendar")->uid();
    FaultProxy::Rule refuse;
    refuse.method = "MKCALENDAR";
    refuse.times = 2;
    refuse.status = 403;
    proxy->addRule(refuse);

    for (int cycle = 1; cycle <= 2; ++cycle) {
        const CalDAVAccountCheck::Outcome refused = sync();
        EXPECT_EQ(proxy->faultsApplied("MKCALENDAR"), cycle);
        EXPECT_EQ(refused.counts.calendarsPushed, 0);
        EXPECT_EQ(refused.counts.pushed, 0);
        EXPECT_EQ(refused.counts.deleted, 0);
        EXPECT_TRUE(fixture.log.contains("CalDAV: calendar add/delete/change error 403"));
        ASSERT_EQ(calendarsTitled("Refused at first"), 1);
        EXPECT_FALSE(calendar->isDeleted());
        EXPECT_EQ(CalDAVRemoteObjects::recordOf(calendar->objectInfo(), service()), nullptr);
        EXPECT_EQ(itemUIDs(calendar), QStringList{uid});
    }

    // Taken at last, with its item.
    const CalDAVAccountCheck::Outcome taken = sync();
    EXPECT_EQ(taken.counts.calendarsPushed, 1);
    EXPECT_EQ(taken.counts.pushed, 1);
    const ModelObject *record = CalDAVRemoteObjects::recordOf(calendar->objectInfo(), service());
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(serverResources(server->url(record->valueForKey("remoteID").toString())),
              QStringList{uid + ".ics"});
    EXPECT_EQ(calendarsTitled("Refused at first"), 1);
    EXPECT_EQ(itemUIDs(calendar), QStringList{uid});
    expectQuietCycle();
}

}  // namespace
