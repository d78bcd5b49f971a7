#include "model/ItemDates.h"

#include "model/objects/ModelFixture.h"

namespace {

class ItemDatesTest : public ModelTest {
protected:
    CommonDataMO *item(qint64 type) {
        CommonDataMO *made = makeItem(m_calendar, QStringLiteral("I%1").arg(++m_count));
        made->setIntegerValue(type, QStringLiteral("eventType"));
        return made;
    }
    static void setDate(CommonDataMO *item, const char *key, const CalendarDate &date) {
        item->setCalendarDateValue(date, QString::fromLatin1(key));
    }
    static CalendarDate berlin(int day, int hour, int minute = 0) {
        return CalendarDate::fromWallClock({2024, 3, day, hour, minute, 0},
                                           QTimeZone(QByteArrayLiteral("Europe/Berlin")));
    }

    CommonDataMO *m_calendar = makeCalendar(QStringLiteral("C"));
    int m_count = 0;
};

TEST_F(ItemDatesTest, KindsDecideWhatAnItemMayCarry) {
    const char *const expected[] = {"time undated=0 block", "task undated=1", "undated=0",
                                    "undated=0", "undated=1"};
    for (qint64 type = 0; type <= 4; ++type) {
        CommonDataMO *made = item(type);
        const ItemDates dates(made);
        QStringList answer;
        if (dates.canHaveTime())
            answer << QStringLiteral("time");
        if (dates.isTask())
            answer << QStringLiteral("task");
        answer << QStringLiteral("undated=%1").arg(dates.canBeUndated());
        setDate(made, "startTimeAndZone", berlin(1, 9));
        if (dates.canBlockTime())
            answer << QStringLiteral("block");
        EXPECT_EQ(answer.join(QLatin1Char(' ')), QLatin1String(expected[type])) << type;
    }
}

TEST_F(ItemDatesTest, UndatedToDosHaveNoDateAtAll) {
    CommonDataMO *todo = item(1);
    EXPECT_TRUE(ItemDates(todo).isUndated());
    todo->setDateValue(Date(kStart), QStringLiteral("completionTime"));
    EXPECT_FALSE(ItemDates(todo).isUndated());
    CommonDataMO *due = item(1);
    setDate(due, "dueTimeAndZone", berlin(2, 17));
    EXPECT_FALSE(ItemDates(due).isUndated());
    // Other items only look at the start.
    CommonDataMO *journal = item(4);
    setDate(journal, "dueTimeAndZone", berlin(2, 17));
    EXPECT_TRUE(ItemDates(journal).isUndated());
    setDate(journal, "startTimeAndZone", berlin(2, 17));
    EXPECT_FALSE(ItemDates(journal).isUndated());
}

TEST_F(ItemDatesTest, DueDatesStandInForMissingStartsAndEnds) {
    CommonDataMO *todo = item(1);
    EXPECT_FALSE(ItemDates(todo).startDate());
    EXPECT_EQ(ItemDates(todo).durationComps(), DateComponents());
    setDate(todo, "dueTimeAndZone", berlin(5, 12));
    EXPECT_EQ(ItemDates(todo).startDate(), berlin(5, 12));
    EXPECT_EQ(ItemDates(todo).endDate(), berlin(5, 12));
    setDate(todo, "startTimeAndZone", berlin(4, 8));
    EXPECT_EQ(ItemDates(todo).startDate(), berlin(4, 8));
    EXPECT_EQ(ItemDates(todo).endDate(), berlin(5, 12));
}

TEST_F(ItemDatesTest, DurationCountsCalendarDaysInTheStartsZone) {
    CommonDataMO *event = item(0);
    // Across the change to summer time on 31 March: 1 day, 1 hour and 30
    // minutes of calendar time, although only 24.5 hours pass.
    setDate(event, "startTimeAndZone", berlin(30, 22));
    setDate(event, "endTimeAndZone", berlin(31, 23, 30));
    DateComponents expected;
    expected.day = 1;
    expected.hour = 1;
    expected.minute = 30;
    expected.second = 0;
    EXPECT_EQ(ItemDates(event).durationComps(), expected);
    EXPECT_TRUE(ItemDates(event).hasTime());
    event->setBoolValue(true, QStringLiteral("allDay"));
    EXPECT_FALSE(ItemDates(event).hasTime());

    // An end before the start gives negative components.
    setDate(event, "endTimeAndZone", berlin(29, 21));
    expected.day = -1;
    expected.hour = -1;
    expected.minute = 0;
    EXPECT_EQ(ItemDates(event).durationComps(), expected);
}

TEST_F(ItemDatesTest, VisibilityDatesOfFloatingAndCompletedItems) {
    CommonDataMO *event = item(0);
    EXPECT_FALSE(ItemDates(event).visibilityStartDate());
    setDate(event, "startTimeAndZone", berlin(5, 23, 30));
    EXPECT_EQ(ItemDates(event).visibilityStartDate(), berlin(5, 23, 30));

    // A floating time is held in "Universal": its day there.
    CommonDataMO *floating = item(0);
    floating->setBoolValue(true, QStringLiteral("floatingEvent"));
    setDate(floating, "startTimeAndZone",
            CalendarDate::fromWallClock({2024, 3, 5, 23, 30, 0}, QTimeZone::utc()));
    EXPECT_TRUE(ItemDates(floating).effectiveFloating());
    EXPECT_EQ(ItemDates(floating).visibilityStartDate(), CalendarDate::dateOnly(2024, 3, 5));
    EXPECT_EQ(ItemDates(floating).visibilityEndDate(), std::nullopt);

    // Completed: the completion time, in no zone, for both ends.
    floating->setDateValue(Date(kStart), QStringLiteral("completionTime"));
    EXPECT_FALSE(ItemDates(floating).effectiveFloating());
    EXPECT_EQ(ItemDates(floating).visibilityStartDate(), CalendarDate(Date(kStart), QTimeZone()));
    EXPECT_EQ(ItemDates(floating).visibilityEndDate(), CalendarDate(Date(kStart), QTimeZone()));
}

}  // namespace
