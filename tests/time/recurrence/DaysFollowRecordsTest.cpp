#include <gtest/gtest.h>

#include "time/recurrence/ItemRecurrence.h"
#include "time/recurrence/RecurrenceStoreTest.h"

namespace {

// The days an item shows on follow its reminder and rule records, not only
// its own dates.
class DaysFollowRecordsTest : public RecurrenceStoreTest {
protected:
    static qint64 day(const CommonDataMO *item, const char *key) {
        return item->integerValueForKey(QLatin1String(key));
    }
};

TEST_F(DaysFollowRecordsTest, RemindersAndRulesMoveTheFirstAndLastDay) {
    CommonDataMO *event = makeEvent(QStringLiteral("Launch"), 2024, 6, 10, 9);
    const qint64 firstDay = day(event, "localFirstDay");
    const qint64 lastDay = day(event, "localLastDay");

    // A reminder two days ahead shows the item from then on; moving or
    // deleting it moves the day back.
    ExtraDataMO *reminder = ExtraDataMO::makeExtra(QStringLiteral("Reminder"), event);
    reminder->setDoubleValue(-2 * 86400.0, QStringLiteral("relativeSeconds"));
    EXPECT_EQ(day(event, "localFirstDay"), firstDay - 2);
    reminder->setDoubleValue(-3600.0, QStringLiteral("relativeSeconds"));
    EXPECT_EQ(day(event, "localFirstDay"), firstDay);
    reminder->setDoubleValue(-2 * 86400.0, QStringLiteral("relativeSeconds"));
    reminder->deleteExtra();
    EXPECT_EQ(day(event, "localFirstDay"), firstDay);

    // A deleted rule no longer stretches the item over its series.
    ExtraDataMO *rule = addRule(event, QStringLiteral("FREQ=WEEKLY;COUNT=10"));
    ItemRecurrence(event).calcCompiledDaysIfNecessary();
    EXPECT_EQ(day(event, "localLastDay"), lastDay + 63);
    rule->deleteExtra();
    EXPECT_EQ(day(event, "localLastDay"), lastDay);
}

}  // namespace
