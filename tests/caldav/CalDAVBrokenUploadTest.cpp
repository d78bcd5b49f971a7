#include <gtest/gtest.h>

#include "caldav/support/SyncTestSuite.h"
#include "model/ConflictBin.h"

// A server that refuses a request larger than it takes by answering before
// it reads the body and closing the connection (Radicale's request limit):
// the client mostly sees the connection break, not the refusal. The item is
// sent once more; when the connection breaks again while the server answers
// other requests, the item is kept in the conflict bin as too large, and
// everything else syncs in the same cycle.

class RadicaleSizeLimitedServer : public RadicaleServer {
public:
    static constexpr int kMaxContentLength = 20000;

protected:
    QString serverLines() const override {
        return QStringLiteral("max_content_length = %1\n").arg(kMaxContentLength);
    }
};
template <>
struct SyncAccount<RadicaleSizeLimitedServer> : SyncAccount<RadicaleServer> {};

namespace {

class CalDAVBrokenUploadTest : public SyncTestSuite<RadicaleSizeLimitedServer> {};

TEST_F(CalDAVBrokenUploadTest, AnItemTheServerCutsOffGoesToTheConflictBinAndTheRestSyncs) {
    sync();
    CommonDataMO *calendar = localCalendarOf(server->calendarURL());
    ASSERT_NE(calendar, nullptr);
    // Far more than the limit, so that the server closes the connection
    // while the body is still on its way.
    CommonDataMO *large = makeLocalItem(calendar, "Too large");
    large->setStringValue(QString(8 * 1024 * 1024, 'x'), "content");
    const QString largeUID = large->uid();
    const QString smallUID = makeLocalItem(calendar, "Small")->uid();

    const CalDAVAccountCheck::Outcome refused = sync();
    EXPECT_EQ(refused.counts.pushed, 1);
    EXPECT_EQ(refused.counts.conflicts, 1);
    EXPECT_TRUE(fixture.log.contains("copyChildToConflictBinAndDeleteOriginal(" + largeUID +
                                     ") : Event too large"));
    EXPECT_EQ(item(calendar, largeUID), nullptr);
    CommonDataMO *bin = ConflictBin::conflictCalendar(calendar->managedObjectContext());
    ASSERT_NE(bin, nullptr);
    EXPECT_EQ(itemUIDs(bin).size(), 1);
    const QStringList onServer = serverResources(server->calendarURL());
    EXPECT_TRUE(onServer.contains(smallUID + ".ics"));
    EXPECT_FALSE(onServer.contains(largeUID + ".ics"));
    EXPECT_NE(item(calendar, smallUID), nullptr);

    // Not offered again.
    expectQuietCycle();
}

}  // namespace
