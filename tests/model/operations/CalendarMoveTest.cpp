#include <gtest/gtest.h>

#include "model/CalendarMove.h"
#include "model/Queries.h"
#include "model/objects/ModelFixture.h"

// An item moved to another calendar here keeps its uid and takes its
// detached instances along; the old calendar keeps a tombstone of the uid
// holding the item's remote records, so that its service sends the move
// (or a deletion) and the new calendar's service sees a new item.
namespace {

class CalendarMoveTest : public ModelTest {
protected:
    CalendarMoveTest() { Queries::setContext(&context()); }
    ~CalendarMoveTest() override { Queries::setContext(nullptr); }
};

TEST_F(CalendarMoveTest, TheItemKeepsItsUIDAndTheOldCalendarKeepsATombstoneWithItsRecords) {
    CommonDataMO *from = makeCalendar(QStringLiteral("FROM"));
    CommonDataMO *to = makeCalendar(QStringLiteral("TO"));
    CommonDataMO *item = makeItem(from, QStringLiteral("R"));
    CommonDataMO *instance = makeItem(from, QStringLiteral("R"), QStringLiteral("DetachedEvent"));
    instance->setObject(QStringLiteral("originalEvent"), item);
    ManagedObject *record = context().insertNewObject(QStringLiteral("RemoteObject"));
    record->setObject(QStringLiteral("localObject"), item->objectInfo());
    context().save();
    item->objectInfo()->setDateValue(*item->objectInfo()->dateValueForKey("lastModTime"),
                                     QStringLiteral("ownerLastModTime"));

    m_clock.advance(60);
    EXPECT_EQ(CalendarMove::moveItemToCalendar(instance, to), nullptr);
    EXPECT_EQ(CalendarMove::moveItemToCalendar(item, from), nullptr);
    SyncableObjectMO *tombstone = CalendarMove::moveItemToCalendar(item, to);
    ASSERT_NE(tombstone, nullptr);
    context().save();

    EXPECT_TRUE(tombstone->isTombstone());
    EXPECT_EQ(tombstone->uid(), QStringLiteral("R"));
    EXPECT_EQ(tombstone->parentContainer(), from->objectInfo());
    EXPECT_EQ(record->objectForKey(QStringLiteral("localObject")), tombstone);
    EXPECT_TRUE(item->objectInfo()->objectsForKey(QStringLiteral("syncsTo")).isEmpty());
    for (CommonDataMO *moved : {item, instance}) {
        EXPECT_EQ(moved->uid(), QStringLiteral("R"));
        EXPECT_EQ(moved->parentContainerDirect(), to);
        EXPECT_EQ(moved->objectInfo()->parentContainer(), to->objectInfo());
    }
    EXPECT_EQ(instance->objectForKey(QStringLiteral("originalEvent")), item);
    EXPECT_TRUE(item->objectInfo()->isLocallyModified());
    EXPECT_EQ(from->childWithUID(QStringLiteral("R")), nullptr);
    EXPECT_NE(to->childWithUID(QStringLiteral("R")), nullptr);
}

}  // namespace
