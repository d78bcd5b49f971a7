#include <gtest/gtest.h>

#include "caldav/support/SyncTestSuite.h"

// What cycles send when nothing changed on either side, and after one
// change on the server: requests counted on real servers, for the task the
// running application keeps from one cycle to the next and for a new task
// of an account synced before (one "sync" command).
namespace {

// Requests a cycle adds to the listing of the calendar homes: a server
// that offers delegation (DAViCal) is asked for the account's proxies every
// time the calendars are listed.
template <typename Server>
constexpr int kProxyRequests = 0;
template <>
constexpr int kProxyRequests<DAViCalServer> = 1;

template <typename Server>
class CalDAVQuietSyncTest : public SyncTestSuite<Server> {};

using QuietSyncServers = ::testing::Types<RadicaleServer, XandikosServer, DAViCalServer>;
TYPED_TEST_SUITE(CalDAVQuietSyncTest, QuietSyncServers);

TYPED_TEST(CalDAVQuietSyncTest, AQuietCycleOnlyListsTheCalendars) {
    const QString url = this->makeServerCalendar("quiet", "Quiet");
    for (int i = 0; i < 3; ++i)
        this->put(url + QStringLiteral("quiet-%1.ics").arg(i),
                  vcalendar(vevent(QByteArray("quiet-") + QByteArray::number(i), "Quiet",
                                   "DTSTART:20261210T100000Z\r\nDTEND:20261210T110000Z\r\n")));
    CalDAVAccountCheck::CycleRunner runner(this->service());
    const CalDAVAccountCheck::Outcome first = runner.runCycle(60);
    ASSERT_EQ(first.state, SyncState::Idle);
    EXPECT_EQ(first.counts.pulled, 3);

    // The calendar homes are listed (and the proxies asked for), and
    // nothing else.
    for (int cycle = 0; cycle < 2; ++cycle) {
        const CalDAVAccountCheck::Outcome quiet = runner.runCycle(60);
        EXPECT_EQ(quiet.state, SyncState::Idle);
        EXPECT_EQ(quiet.counts.pulled, 0);
        EXPECT_EQ(quiet.counts.requests, 1 + kProxyRequests<TypeParam>);
    }

    // One change on the server: the listing, the calendar's changes and
    // the changed item.
    this->put(url + "quiet-1.ics",
              vcalendar(vevent("quiet-1", "Changed",
                               "DTSTART:20261210T100000Z\r\nDTEND:20261210T110000Z\r\n")));
    const CalDAVAccountCheck::Outcome changed = runner.runCycle(60);
    EXPECT_EQ(changed.counts.pulled, 1);
    EXPECT_EQ(changed.counts.requests, 3 + kProxyRequests<TypeParam>);
    EXPECT_EQ(this->item(this->calendarTitled("Quiet"), "quiet-1")->effectiveTitle(),
              QStringLiteral("Changed"));
}

TYPED_TEST(CalDAVQuietSyncTest, ANewTaskReadsThePrincipalOnceMore) {
    this->sync();
    // The principal and the homes; OPTIONS too where the principal's
    // answer has no DAV header (Xandikos). The searches the server offers
    // were asked for once.
    this->fixture.log.clear();
    const CalDAVAccountCheck::Outcome quiet = this->sync();
    EXPECT_FALSE(this->fixture.log.contains("fetchPrincipalSearch"));
    EXPECT_EQ(quiet.counts.pulled, 0);
    EXPECT_GE(quiet.counts.requests, 2 + kProxyRequests<TypeParam>);
    EXPECT_LE(quiet.counts.requests, 3 + kProxyRequests<TypeParam>);
}

}  // namespace
