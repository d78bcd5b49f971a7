#include <gtest/gtest.h>

#include "ical/ICalImportFixture.h"
#include "model/SyncableObjectMO.h"
#include "time/recurrence/ItemRecurrence.h"

// Texts of one item each imported one after the other into one calendar
// with the calendar's items by UID shared between them, as a sync merges
// the resources it downloads: what is stored must be what separate imports
// store, whether the item was in the calendar before, came in an earlier
// text, or was deleted meanwhile.
namespace {

class ICalSharedItemsTest : public ICalImportTest {
protected:
    ICalImporter::Result importShared(const QByteArray &text) {
        ICalImporter importer(text);
        importer.shareItemsByUID(&m_items);
        return importer.importInto(m_calendar);
    }
    // The calendar's items of that UID (detached instances apart).
    int itemsWithUID(const QString &uid) const {
        int count = 0;
        for (ManagedObject *object : m_calendar->objectsForKey(QStringLiteral("childrenDirect")))
            count += object->entityName() == QLatin1String("Event") &&
                     ModelObject::as<CommonDataMO>(object)->uid() == uid;
        return count;
    }
    static QByteArray series(const QString &summary) {
        return calendarText({"BEGIN:VEVENT", "UID:series-1", "DTSTAMP:20260101T000000Z",
                             "DTSTART:20260105T090000Z", "DTEND:20260105T100000Z",
                             "RRULE:FREQ=WEEKLY;COUNT=4", "SUMMARY:" + summary, "END:VEVENT"});
    }

    ICalImporter::ItemsByUID m_items;
};

TEST_F(ICalSharedItemsTest, ItemsAreFoundWhereverTheyCameFromAndNeverMadeTwice) {
    // An item stored before the first shared import.
    importText(eventText({"UID:before-1", "DTSTART:20260102T090000Z", "SUMMARY:Before"}));
    EXPECT_EQ(importShared(eventText({"UID:before-1", "DTSTART:20260102T090000Z",
                                      "SUMMARY:Before, changed"}))
                  .updated,
              1);
    EXPECT_TRUE(m_items.read);

    // A series, then its moved occurrence in a text of its own, then the
    // series again: one item with one detached instance.
    EXPECT_EQ(importShared(series("Weekly")).stored, 1);
    const ICalImporter::Result moved =
        importShared(calendarText({"BEGIN:VEVENT", "UID:series-1", "DTSTAMP:20260101T000000Z",
                                   "RECURRENCE-ID:20260112T090000Z", "DTSTART:20260112T110000Z",
                                   "DTEND:20260112T120000Z", "SUMMARY:Moved", "END:VEVENT"}));
    EXPECT_EQ(moved.stored, 1);
    ASSERT_EQ(moved.detached.size(), 1);
    EXPECT_EQ(importShared(series("Weekly, renamed")).updated, 1);

    EXPECT_EQ(itemsWithUID("before-1"), 1);
    EXPECT_EQ(item("before-1")->effectiveTitle(), QStringLiteral("Before, changed"));
    EXPECT_EQ(itemsWithUID("series-1"), 1);
    CommonDataMO *weekly = item("series-1");
    ASSERT_NE(weekly, nullptr);
    EXPECT_EQ(weekly->effectiveTitle(), QStringLiteral("Weekly, renamed"));
    EXPECT_EQ(ItemRecurrence(weekly).detachedInstances(), moved.detached);
    EXPECT_EQ(m_items.items.value("series-1"), weekly);
}

TEST_F(ICalSharedItemsTest, AnItemDeletedMeanwhileIsMadeAgain) {
    importShared(eventText({"UID:gone-1", "DTSTART:20260102T090000Z", "SUMMARY:First"}));
    CommonDataMO *first = item("gone-1");
    ASSERT_NE(first, nullptr);
    // Deleted here (by the user) while the shared items still name it.
    SyncableObjectMO *tombstone = first->objectInfo();
    CommonDataMO::deleteObject(first, false);
    context().deleteObject(tombstone);

    const ICalImporter::Result again =
        importShared(eventText({"UID:gone-1", "DTSTART:20260102T090000Z", "SUMMARY:Second"}));
    EXPECT_EQ(again.stored, 1);
    EXPECT_EQ(again.updated, 0);
    ASSERT_EQ(itemsWithUID("gone-1"), 1);
    EXPECT_EQ(item("gone-1")->effectiveTitle(), QStringLiteral("Second"));
}

}  // namespace
