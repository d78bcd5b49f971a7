#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "time/TimeTestSupport.h"
#include "time/recurrence/CompiledDays.h"
#include "time/recurrence/RecurrenceRule.h"

namespace {

RecurrenceRule read(const char *text) {
    const std::optional<RecurrenceRule> rule =
        RecurrenceRule::fromICalendarText(QString::fromLatin1(text));
    EXPECT_TRUE(rule) << text;
    return rule.value_or(RecurrenceRule());
}

TEST(RecurrenceRuleText, ReadsEveryFieldAndWritesTheSameRuleBack) {
    const RecurrenceRule rule = read(
        "FREQ=MONTHLY;INTERVAL=2;COUNT=10;WKST=SU;BYDAY=2MO,-1FR;"
        "BYMONTH=1,6;BYMONTHDAY=-3,15;BYSETPOS=-1");
    EXPECT_EQ(rule.frequency, RecurrenceRule::Monthly);
    EXPECT_EQ(rule.interval, 2);
    EXPECT_EQ(rule.count, 10);
    EXPECT_EQ(rule.weekStartDay, 0);
    EXPECT_EQ(rule.byDayDays, (QList<int>{1, 5}));
    EXPECT_EQ(rule.byDayFreq, (QList<int>{2, -1}));
    EXPECT_EQ(rule.byMonth, (QList<int>{1, 6}));
    EXPECT_EQ(rule.byMonthDay, (QList<int>{-3, 15}));
    EXPECT_EQ(rule.bySetPos, (QList<int>{-1}));
    EXPECT_EQ(read(rule.iCalendarText(false).toLatin1().constData()), rule);
    EXPECT_EQ(read("FREQ=WEEKLY;BYDAY=2MO,-1FR").iCalendarText(false),
              QStringLiteral("FREQ=WEEKLY;BYDAY=2MO,-1FR"));

    const RecurrenceRule yearly = read("RRULE:FREQ=YEARLY;BYWEEKNO=20,-1;BYYEARDAY=1,-366");
    EXPECT_EQ(yearly.frequency, RecurrenceRule::Yearly);
    EXPECT_EQ(yearly.byWeekNumber, (QList<int>{20, -1}));
    EXPECT_EQ(yearly.byYearDay, (QList<int>{1, -366}));
    EXPECT_EQ(yearly.weekStartDay, 1);  // Monday when not given
}

TEST(RecurrenceRuleText, WidensSubDailyRulesToDaily) {
    for (const char *text : {"FREQ=HOURLY;INTERVAL=3", "FREQ=MINUTELY;INTERVAL=3",
                             "FREQ=SECONDLY;INTERVAL=3", "FREQ=DAILY;INTERVAL=3;BYHOUR=9,10"}) {
        const RecurrenceRule rule = read(text);
        EXPECT_EQ(rule.frequency, RecurrenceRule::Daily) << text;
        EXPECT_EQ(rule.iCalendarText(false), QStringLiteral("FREQ=DAILY;INTERVAL=3")) << text;
    }
}

TEST(RecurrenceRuleText, WritesUntilAsADateForAllDayItemsAndAUtcTimeOtherwise) {
    const RecurrenceRule rule = read("FREQ=DAILY;UNTIL=20261224T153000Z");
    ASSERT_TRUE(rule.until);
    EXPECT_EQ(*rule.until, utc(2026, 12, 24, 15, 30));
    EXPECT_EQ(rule.iCalendarText(false), QStringLiteral("FREQ=DAILY;UNTIL=20261224T153000Z"));
    EXPECT_EQ(rule.iCalendarText(true), QStringLiteral("FREQ=DAILY;UNTIL=20261224"));
    // A DATE reads as that day.
    EXPECT_EQ(read("FREQ=DAILY;UNTIL=20261224").iCalendarText(true),
              QStringLiteral("FREQ=DAILY;UNTIL=20261224"));
}

TEST(RecurrenceRuleText, WritesOnlyAsManyWeekdaysAsBothListsHaveAndKeepsValuesInRange) {
    RecurrenceRule rule;
    rule.frequency = 1 + 4 * 3;  // taken modulo 4: weekly
    rule.weekStartDay = -1;      // modulo 7: Saturday
    rule.byDayDays = {1, 3, 5};
    rule.byDayFreq = {0, 0};
    rule.interval = 0;
    EXPECT_EQ(rule.iCalendarText(false), QStringLiteral("FREQ=WEEKLY;BYDAY=MO,WE;WKST=SA"));
}

TEST(RecurrenceRuleText, RefusesTextThatIsNoRuleWithAWarning) {
    LogCapture log;
    for (const char *text : {"", "BYDAY=MO", "FREQ=FORTNIGHTLY", "FREQ=DAILY;COUNT=x",
                             "FREQ=DAILY;BYMONTHDAY=40", "FREQ=DAILY;INTERVAL=0"}) {
        EXPECT_FALSE(RecurrenceRule::fromICalendarText(QString::fromLatin1(text))) << text;
    }
    EXPECT_EQ(log.count(QStringLiteral("RecurrenceRule: not a recurrence rule")), 6);
}

TEST(RecurrenceRuleText, DescribesEveryField) {
    RecurrenceRule rule = read("FREQ=WEEKLY;COUNT=4;BYDAY=TU,TH");
    EXPECT_EQ(rule.description(),
              QStringLiteral("count = 4, frequency = 1, interval = 1, weekStartDay = 1, "
                             "regenerate = 0, until = (null), byDayDays = (2, 4), "
                             "byDayFreq = (0, 0), byMonth = (), byMonthDay = (), bySetPos = (), "
                             "byWeekNumber = (), byYearDay = ()"));
}

TEST(CompiledOffsetIndex, FindsTheEntryOrANeighbour) {
    const std::uint32_t offsets[] = {0, 86400, 172800, 604800, 1209600};
    EXPECT_EQ(compiledOffsetIndex(offsets, 0, 5), 0u);
    EXPECT_EQ(compiledOffsetIndex(offsets, 1, 999999), 0u);
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_EQ(compiledOffsetIndex(offsets, 5, offsets[i]), i);
    for (const std::uint32_t target : {1u, 100000u, 500000u, 700000u, 2000000u}) {
        const std::size_t index = compiledOffsetIndex(offsets, 5, target);
        ASSERT_LT(index, 5u);
        // The target lies between the entries around the index.
        const bool below = index == 0 || offsets[index - 1] < target;
        const bool above = index + 1 == 5 || offsets[index + 1] > target;
        EXPECT_TRUE(below && above) << target << " -> " << index;
    }
}

TEST(CompiledDaysPacking, RoundTripsAndSaysWhenTheListWasCut) {
    const std::vector<std::uint32_t> offsets{0, 86400, 4000000000u};
    EXPECT_EQ(CompiledDays::unpack(CompiledDays::pack(offsets)), offsets);
    EXPECT_EQ(CompiledDays::pack(offsets).size(), 12);
    EXPECT_EQ(CompiledDays::unpack(CompiledDays::pack(offsets) + "xy"), offsets);
    EXPECT_TRUE(CompiledDays::isOpenEnded(offsets));  // the next step passes the limit
    EXPECT_FALSE(CompiledDays::isOpenEnded({0, 86400, 172800}));
    EXPECT_TRUE(CompiledDays::isOpenEnded(std::vector<std::uint32_t>(500, 0)));
}

}  // namespace
