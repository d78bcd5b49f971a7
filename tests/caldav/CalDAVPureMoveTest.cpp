#include <gtest/gtest.h>

#include "caldav/support/ProxiedSyncTestSuite.h"
#include "model/CalendarMove.h"

// An item moved here between two calendars of an account and not otherwise
// changed is one request to the server: the MOVE of its resource, made only
// if the resource is still as it was seen. An item edited as well is sent
// again after its move.
namespace {

class CalDAVPureMoveTest : public ProxiedSyncTestSuite<RadicaleServer> {
protected:
    // The methods of the requests that changed something on the server.
    QStringList writesSince(qsizetype first) const {
        QStringList methods;
        const QList<FaultProxy::Exchange> &exchanges = proxy->exchanges();
        for (qsizetype i = first; i < exchanges.size(); ++i)
            if (exchanges[i].method == "PUT" || exchanges[i].method == "MOVE" ||
                exchanges[i].method == "DELETE")
                methods.append(QString::fromLatin1(exchanges[i].method));
        return methods;
    }
};

TEST_F(CalDAVPureMoveTest, AMoveAloneIsOneRequestAndAnEditedMoveIsSentAgain) {
    const QString fromURL = makeServerCalendar("pure-from", "Pure from");
    const QString toURL = makeServerCalendar("pure-to", "Pure to");
    put(fromURL + "pure-1.ics",
        vcalendar(vevent("pure-1", "Moving", "DTSTART:20261201T100000Z\r\n")));
    put(fromURL + "pure-2.ics",
        vcalendar(vevent("pure-2", "Edited", "DTSTART:20261202T100000Z\r\n")));
    sync();
    CommonDataMO *from = calendarTitled("Pure from");
    CommonDataMO *to = calendarTitled("Pure to");
    ASSERT_NE(from, nullptr);
    ASSERT_NE(to, nullptr);
    ASSERT_EQ(itemUIDs(from), (QStringList{"pure-1", "pure-2"}));

    ASSERT_NE(CalendarMove::moveItemToCalendar(item(from, "pure-1"), to), nullptr);
    qsizetype first = proxy->exchanges().size();
    const CalDAVAccountCheck::Outcome moved = sync();
    EXPECT_EQ(moved.counts.pushed, 1);
    EXPECT_EQ(moved.counts.conflicts, 0);
    EXPECT_EQ(writesSince(first), QStringList{"MOVE"});
    EXPECT_EQ(serverResources(fromURL), QStringList{"pure-2.ics"});
    EXPECT_EQ(serverResources(toURL), QStringList{"pure-1.ics"});
    EXPECT_EQ(itemUIDs(to), QStringList{"pure-1"});
    expectQuietCycle();

    // Edited, then moved: the edit follows the move.
    item(from, "pure-2")->setStringValue("Edited here", "title");
    ASSERT_NE(CalendarMove::moveItemToCalendar(item(from, "pure-2"), to), nullptr);
    first = proxy->exchanges().size();
    const CalDAVAccountCheck::Outcome edited = sync();
    EXPECT_EQ(edited.counts.pushed, 2);
    EXPECT_EQ(writesSince(first), (QStringList{"MOVE", "PUT"}));
    EXPECT_EQ(serverResources(fromURL), QStringList{});
    EXPECT_EQ(serverResources(toURL), (QStringList{"pure-1.ics", "pure-2.ics"}));
    EXPECT_TRUE(serverText(toURL + "pure-2.ics").contains("SUMMARY:Edited here"));
    expectQuietCycle();
}

}  // namespace
