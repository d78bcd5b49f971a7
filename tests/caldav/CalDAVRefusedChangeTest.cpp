#include <gtest/gtest.h>

#include "caldav/CalDAVRemoteObjects.h"
#include "caldav/CalDAVSyncTask.h"
#include "caldav/support/ProxiedSyncTestSuite.h"
#include "model/CalendarAccess.h"
#include "model/ConflictBin.h"

// Changes a server refuses: on a calendar the account may only read (real
// Radicale with a rights file), items made, edited or deleted here are
// refused with 403, and an item larger than the server takes with 413; what
// was made or edited here is kept in the conflict bin and the server's copies come back, once,
// without a retry every cycle. An edit marked to give way to the server's version is not a
// conflict.
namespace {

QStringList itemTitles(CommonDataMO *calendar) {
    QStringList titles;
    for (ManagedObject *child : calendar->objectsForKey("childrenDirect"))
        titles.append(ModelObject::as<CommonDataMO>(child)->effectiveTitle().value_or(QString()));
    titles.sort();
    return titles;
}

class CalDAVRefusedChangeTest : public SyncTestSuite<RadicaleRestrictedServer> {
protected:
    void putShared(const QString &name, const QByteArray &text) {
        const int status = sendBlocking("PUT", server->sharedURL() + name, "test2", "test2", text,
                                        20000, "text/calendar; charset=utf-8");
        EXPECT_EQ(status, 201) << name.toStdString();
    }
};

TEST_F(CalDAVRefusedChangeTest, ItemsRefusedOnAReadOnlyCalendarAreKeptInTheConflictBin) {
    const QString url = server->sharedURL();
    putShared("edited.ics",
              vcalendar(vevent("edited-1", "Edited", "DTSTART:20261201T100000Z\r\n")));
    putShared("doomed.ics",
              vcalendar(vevent("doomed-1", "Doomed", "DTSTART:20261201T100000Z\r\n")));
    sync();
    CommonDataMO *shared = calendarTitled("Shared");
    ASSERT_NE(shared, nullptr);
    EXPECT_EQ(itemUIDs(shared), sortedNames({"doomed-1", "edited-1"}));
    const ModelObject *record = CalDAVRemoteObjects::recordOf(shared->objectInfo(), service());
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->integerValueForKey("remoteAccess"), CalendarAccess::kReadOnly);

    const QString madeUID = makeLocalItem(shared, "Made here")->uid();
    item(shared, "edited-1")->setStringValue("Edited here", "title");
    CommonDataMO::deleteObject(item(shared, "doomed-1"));
    const CalDAVAccountCheck::Outcome refused = sync();
    EXPECT_EQ(refused.counts.pushed, 0);
    EXPECT_EQ(refused.counts.conflicts, 2);
    EXPECT_TRUE(fixture.log.contains("CalDAV: event add/delete/change error 403"));
    EXPECT_TRUE(fixture.log.contains("copyChildToConflictBinAndDeleteOriginal(" + madeUID +
                                     ") : Refused by the server (HTTP 403)"));
    EXPECT_TRUE(fixture.log.contains(
        "copyChildToConflictBinAndDeleteOriginal(edited-1) : Refused by the server (HTTP 403)"));
    // The server's copies, unchanged, are back in the calendar; the
    // versions made here are in the conflict bin under new UIDs.
    EXPECT_EQ(itemUIDs(shared), sortedNames({"doomed-1", "edited-1"}));
    EXPECT_EQ(itemTitles(shared), sortedNames({"Doomed", "Edited"}));
    CommonDataMO *bin = ConflictBin::conflictCalendar(shared->managedObjectContext());
    EXPECT_EQ(itemTitles(bin), sortedNames({"Edited here", "Made here"}));
    EXPECT_FALSE(itemUIDs(bin).contains("edited-1"));
    EXPECT_FALSE(itemUIDs(bin).contains(madeUID));
    EXPECT_EQ(serverResources(url), sortedNames({"doomed.ics", "edited.ics"}));
    EXPECT_TRUE(serverText(url + "edited.ics").contains("SUMMARY:Edited\r\n"));

    // Nothing is offered again.
    expectQuietCycle();
    EXPECT_EQ(itemTitles(shared), sortedNames({"Doomed", "Edited"}));
    EXPECT_EQ(itemTitles(bin), sortedNames({"Edited here", "Made here"}));
}

TEST_F(CalDAVRefusedChangeTest, AReadOnlyCalendarIsNeitherChangedNorDeletedOnTheServer) {
    putShared("kept.ics", vcalendar(vevent("kept-1", "Kept", "DTSTART:20261201T100000Z\r\n")));
    sync();
    CommonDataMO *shared = calendarTitled("Shared");
    ASSERT_NE(shared, nullptr);

    // Renamed, and an item deleted, here: the calendar list comes first in
    // that cycle, and the refused deletion still brings the server's copy
    // back in it.
    shared->setStringValue("Renamed here", "title");
    CommonDataMO::deleteObject(item(shared, "kept-1"));
    const CalDAVAccountCheck::Outcome renamed = sync();
    EXPECT_EQ(renamed.counts.calendarsPushed, 0);
    EXPECT_EQ(renamed.counts.pushed, 0);
    EXPECT_TRUE(fixture.log.contains("ignoring changes to proxy calendar /test/shared/"));
    ASSERT_NE(item(shared, "kept-1"), nullptr);
    EXPECT_EQ(item(shared, "kept-1")->effectiveTitle(), QStringLiteral("Kept"));
    expectQuietCycle();
    EXPECT_EQ(calendarsTitled("Renamed here"), 1);

    // Deleted here: the server keeps it, so it comes back with its items.
    CommonDataMO::deleteObject(shared);
    const CalDAVAccountCheck::Outcome deleted = sync();
    EXPECT_EQ(deleted.counts.calendarsPushed, 0);
    EXPECT_TRUE(fixture.log.contains("ignoring delete to proxy calendar /test/shared/"));
    sync();
    ASSERT_EQ(calendarsTitled("Shared"), 1);
    // (The suite's other tests may have left items there too.)
    const QStringList back = itemUIDs(calendarTitled("Shared"));
    EXPECT_TRUE(back.contains("kept-1"));
    EXPECT_EQ(back.size(), serverResources(server->sharedURL()).size());
    expectQuietCycle();
    EXPECT_EQ(calendarsTitled("Shared"), 1);
}

// An item larger than the server takes is refused with 413. Radicale's own
// limit answers before reading the body and resets the connection, so that
// whether the answer arrives depends on timing; the proxy in front of it
// refuses the item after reading it, as servers that read first do.
class CalDAVOversizedItemTest : public ProxiedSyncTestSuite<RadicaleServer> {};

TEST_F(CalDAVOversizedItemTest, AnItemLargerThanTheServerTakesIsKeptInTheConflictBin) {
    sync();
    CommonDataMO *calendar = localCalendarOf(server->calendarURL());
    ASSERT_NE(calendar, nullptr);
    CommonDataMO *large = makeLocalItem(calendar, "Too large");
    large->setStringValue(QString(16384, 'x'), "content");
    const QString uid = large->uid();
    FaultProxy::Rule tooLarge;
    tooLarge.method = "PUT";
    tooLarge.bodyContains = "SUMMARY:Too large";
    tooLarge.times = -1;
    tooLarge.status = 413;
    proxy->addRule(tooLarge);

    const CalDAVAccountCheck::Outcome refused = sync();
    EXPECT_EQ(proxy->faultsApplied("PUT"), 1);
    EXPECT_EQ(refused.counts.pushed, 0);
    EXPECT_EQ(refused.counts.conflicts, 1);
    EXPECT_TRUE(fixture.log.contains("copyChildToConflictBinAndDeleteOriginal(" + uid +
                                     ") : Event too large"));
    EXPECT_EQ(item(calendar, uid), nullptr);
    EXPECT_FALSE(serverResources(server->calendarURL()).contains(uid + ".ics"));
    CommonDataMO *bin = ConflictBin::conflictCalendar(calendar->managedObjectContext());
    EXPECT_TRUE(itemTitles(bin).contains("Too large"));

    // Not offered again.
    expectQuietCycle();
    EXPECT_EQ(proxy->faultsApplied("PUT"), 1);
}

template <typename Server>
class CalDAVIgnoredConflictTest : public SyncTestSuite<Server> {};
TYPED_TEST_SUITE(CalDAVIgnoredConflictTest, SyncServers);

TYPED_TEST(CalDAVIgnoredConflictTest, AnEditMarkedToGiveWayYieldsToTheServersVersion) {
    const QString url = this->makeServerCalendar("yielding", "Yielding");
    this->put(url + "both.ics",
              vcalendar(vevent("both-1", "First", "DTSTART:20261201T100000Z\r\n")));
    this->sync();
    CommonDataMO *calendar = this->calendarTitled("Yielding");
    ASSERT_NE(calendar, nullptr);

    this->put(url + "both.ics",
              vcalendar(vevent("both-1", "Edited there", "DTSTART:20261201T100000Z\r\n")));
    CommonDataMO *both = this->item(calendar, "both-1");
    ASSERT_NE(both, nullptr);
    both->setStringValue("Edited here", "title");
    both->objectInfo()->ignoreConflictWhenStored();
    const CalDAVAccountCheck::Outcome outcome = this->sync();
    EXPECT_EQ(outcome.counts.conflicts, 0);
    EXPECT_EQ(outcome.counts.pushed, 0);
    EXPECT_EQ(outcome.counts.pulled, 1);
    EXPECT_FALSE(this->fixture.log.contains("copyChildToConflictBinAndDeleteOriginal"));
    ASSERT_NE(this->item(calendar, "both-1"), nullptr);
    EXPECT_EQ(this->item(calendar, "both-1")->effectiveTitle(), QStringLiteral("Edited there"));
    EXPECT_EQ(this->serverResources(url), QStringList{"both.ics"});
    EXPECT_TRUE(this->serverText(url + "both.ics").contains("SUMMARY:Edited there"));

    const CalDAVAccountCheck::Outcome quiet = this->sync();
    EXPECT_EQ(quiet.counts.pushed, 0);
    EXPECT_EQ(quiet.counts.pulled, 0);
}

// The reasons kept with refused items, from the error elements of answers.
TEST(CalDAVConflictReasonTest, NamesTheSizeLimitTheFirstErrorOrTheStatus) {
    DiscoveryFixture fixture;
    CommonDataMO *calendar = CommonDataMO::makeContainer("Calendar", nullptr);
    CommonDataMO *event = CommonDataMO::makeObject("Event", calendar, nullptr);
    event->setIntegerValue(ItemType::Event, "eventType");
    CommonDataMO *graphic = CommonDataMO::makeObject("Event", calendar, nullptr);
    graphic->setIntegerValue(ItemType::Graphic, "eventType");
    const QString sizeLimit = "urn:ietf:params:xml:ns:caldav max-resource-size";
    const QVariantList tooLarge{QVariantMap{{"DAV: other", QString()}},
                                QVariantMap{{sizeLimit, QString()}}};
    EXPECT_EQ(CalDAVSyncTask::reasonForConflict(tooLarge, *event, 403), "Event too large");
    EXPECT_EQ(CalDAVSyncTask::reasonForConflict(tooLarge, *graphic, 403), "Graphic too large");
    const QVariantList google{QVariantMap{{"http://schemas.google.com/g/2005 error", "invalid"}}};
    EXPECT_EQ(CalDAVSyncTask::reasonForConflict(google, *event, 400), "Event too large");
    const QVariantList other{
        QVariantMap{{"urn:ietf:params:xml:ns:caldav valid-calendar-data", QString()}},
        QVariantMap{{"need-privileges", QString()}}};
    EXPECT_EQ(CalDAVSyncTask::reasonForConflict(other, *event, 403),
              "urn:ietf:params:xml:ns:caldav valid-calendar-data");
    EXPECT_EQ(CalDAVSyncTask::reasonForConflict({}, *event, 413), "Event too large");
    EXPECT_EQ(CalDAVSyncTask::reasonForConflict({}, *graphic, 413), "Graphic too large");
    EXPECT_EQ(CalDAVSyncTask::reasonForConflict({}, *event, 415),
              "Refused by the server (HTTP 415)");
}

// A server that holds the UID of a new item under another name already
// refuses it: Radicale with 409, Xandikos with a 207 that wraps the refusal.
// The version made here goes to the conflict bin, the server's item comes in
// its place, and the server keeps one resource of that UID. (DAViCal takes a
// second resource of the same UID.)
template <typename Server>
class CalDAVDuplicateUIDTest : public SyncTestSuite<Server> {};
using DuplicateRefusingServers = ::testing::Types<RadicaleServer, XandikosServer>;
TYPED_TEST_SUITE(CalDAVDuplicateUIDTest, DuplicateRefusingServers);

TYPED_TEST(CalDAVDuplicateUIDTest, AnItemWhoseUIDTheServerHoldsElsewhereIsKeptInTheConflictBin) {
    const QString url = this->makeServerCalendar("duplicate", "Duplicate");
    this->sync();
    CommonDataMO *calendar = this->calendarTitled("Duplicate");
    ASSERT_NE(calendar, nullptr);
    this->put(url + "elsewhere.ics",
              vcalendar(vevent("twice-1", "There", "DTSTART:20261201T100000Z\r\n")));
    this->makeLocalItem(calendar, "Here")->objectInfo()->setValue(QStringLiteral("uid"), "twice-1");

    const CalDAVAccountCheck::Outcome refused = this->sync();
    EXPECT_EQ(refused.counts.pushed, 0);
    EXPECT_EQ(refused.counts.conflicts, 1);
    EXPECT_EQ(this->serverResources(url), QStringList{"elsewhere.ics"});
    EXPECT_EQ(this->itemUIDs(calendar), QStringList{"twice-1"});
    EXPECT_EQ(itemTitles(calendar), QStringList{"There"});
    CommonDataMO *bin = ConflictBin::conflictCalendar(calendar->managedObjectContext());
    EXPECT_TRUE(itemTitles(bin).contains("Here"));
    EXPECT_FALSE(this->itemUIDs(bin).contains("twice-1"));
    this->expectQuietCycle();
}

}  // namespace
