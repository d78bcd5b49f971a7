#include "time/recurrence/CompiledDays.h"
#include "time/recurrence/ItemRecurrence.h"
#include "time/recurrence/RecurrenceRecord.h"
#include "time/recurrence/RecurrenceStoreTest.h"

namespace {

constexpr double kDay = 86400;

class ItemRecurrenceTest : public RecurrenceStoreTest {
protected:
    qint64 firstDay(CommonDataMO *item) {
        return item->integerValueForKey(QStringLiteral("localFirstDay"));
    }
    qint64 lastDay(CommonDataMO *item) {
        return item->integerValueForKey(QStringLiteral("localLastDay"));
    }
    static qint64 dayOf(const CalendarDate &date) {
        return ItemRecurrence::dayOf(date.date().secondsSinceReference());
    }
};

// --- The record's fields and the matching of rules.

TEST_F(ItemRecurrenceTest, StoresTheRuleFieldByFieldAndReadsItBackAfterALaunch) {
    CommonDataMO *event = makeEvent(QStringLiteral("Standup"), 2026, 11, 2, 9);
    ExtraDataMO *record = addRule(event, QStringLiteral("FREQ=MONTHLY;COUNT=5;BYDAY=1MO,-1FR"));
    EXPECT_EQ(record->integerValueForKey(QStringLiteral("frequency")), 2);
    EXPECT_EQ(record->unarchivedValueForKey(QStringLiteral("byDayFreq")).toList().size(), 2);
    EXPECT_TRUE(record->valueForKey(QStringLiteral("byMonth")).isNull());  // empty: no value
    context().save();
    reopen();
    FetchRequest request(QStringLiteral("RecurrenceRule"));
    const QList<ManagedObject *> records = context().executeFetchRequest(request);
    ASSERT_EQ(records.size(), 1);
    const RecurrenceRule rule =
        RecurrenceRecord(ModelObject::as<ExtraDataMO>(records.first())).recurrenceRule();
    EXPECT_EQ(rule, *RecurrenceRule::fromICalendarText(
                        QStringLiteral("FREQ=MONTHLY;COUNT=5;BYDAY=1MO,-1FR")));
}

TEST_F(ItemRecurrenceTest, ComparesUntilByDayForAllDayItems) {
    CommonDataMO *event = makeEvent(QStringLiteral("Holiday"), CalendarDate::dateOnly(2026, 11, 2),
                                    CalendarDate::dateOnly(2026, 11, 3));
    event->setBoolValue(true, QStringLiteral("allDay"));
    RecurrenceRule rule;
    rule.until = utc(2026, 12, 24, 12);
    ItemRecurrence::attachRecurrence(rule, event, false, false);
    RecurrenceRule sameDay = rule;
    sameDay.until = utc(2026, 12, 24, 23, 30);
    RecurrenceRule nextDay = rule;
    nextDay.until = utc(2026, 12, 25, 1);
    EXPECT_TRUE(ItemRecurrence(event).hasMatchingRecurrenceRule(sameDay));
    EXPECT_FALSE(ItemRecurrence(event).hasMatchingRecurrenceRule(nextDay));
    event->setBoolValue(false, QStringLiteral("allDay"));
    EXPECT_FALSE(ItemRecurrence(event).hasMatchingRecurrenceRule(sameDay));
    EXPECT_TRUE(ItemRecurrence(event).hasMatchingRecurrenceRule(rule));
}

TEST_F(ItemRecurrenceTest, AttachFindsTheSameRecordExactlyRelaxedOrPartially) {
    // 2026-11-03 is a Tuesday.
    CommonDataMO *event = makeEvent(QStringLiteral("Review"), 2026, 11, 3, 9);
    ExtraDataMO *weekly = addRule(event, QStringLiteral("FREQ=WEEKLY"));
    ItemRecurrence(event).wasChangedBySettingAllExceptionDates({nyTime(2026, 11, 10, 9)});
    const auto attach = [&](const char *text, bool relaxed, bool partial) {
        return ItemRecurrence::attachRecurrence(
            *RecurrenceRule::fromICalendarText(QString::fromLatin1(text)), event, relaxed, partial);
    };
    EXPECT_EQ(attach("FREQ=WEEKLY", false, false), weekly);
    // The same occurrences written differently: only a relaxed match.
    ExtraDataMO *other = attach("FREQ=WEEKLY;BYDAY=TU;WKST=SU", false, false);
    EXPECT_NE(other, weekly);
    other->deleteExtra();
    EXPECT_EQ(attach("FREQ=WEEKLY;BYDAY=TU;WKST=SU", true, false), weekly);
    EXPECT_EQ(RecurrenceRecord(weekly).recurrenceRule().byDayDays, QList<int>{2});
    // Cut short: only a partial match, which keeps the exception dates.
    EXPECT_EQ(attach("FREQ=WEEKLY;BYDAY=TU;WKST=SU;COUNT=3", true, true), weekly);
    EXPECT_EQ(RecurrenceRecord(weekly).recurrenceRule().count, 3);
    EXPECT_EQ(ItemRecurrence(event).exceptionDates().size(), 1);
    // A different rule gets a record of its own, with the item's exceptions.
    ExtraDataMO *monthly = attach("FREQ=MONTHLY", true, true);
    EXPECT_NE(monthly, weekly);
    EXPECT_EQ(RecurrenceRecord(monthly).exceptionDates().size(), 1);
    EXPECT_EQ(ItemRecurrence(event).ruleRecords().size(), 2);
}

// --- Compiled days and the first and last day.

TEST_F(ItemRecurrenceTest, AnEndlessDailySeriesCompiles500OccurrencesAndShowsForever) {
    CommonDataMO *event = makeEvent(QStringLiteral("Daily"), 2026, 11, 2, 9);
    addRule(event, QStringLiteral("FREQ=DAILY"));
    EXPECT_FALSE(ItemRecurrence(event).compiledDays());
    EXPECT_EQ(lastDay(event), ItemRecurrence::kLastDayUncompiled);  // not compiled yet
    ItemRecurrence(event).calcCompiledDaysIfNecessary();
    const std::optional<std::vector<std::uint32_t>> offsets = ItemRecurrence(event).compiledDays();
    ASSERT_TRUE(offsets);
    ASSERT_EQ(offsets->size(), CompiledDays::kMaxOccurrences);
    EXPECT_EQ(offsets->front(), 0u);
    EXPECT_EQ(firstDay(event), dayOf(nyTime(2026, 11, 2, 9)));
    EXPECT_EQ(lastDay(event), ItemRecurrence::kLastDayOpen);
}

TEST_F(ItemRecurrenceTest, TheLastDayFollowsCountUntilAndTheEnd) {
    CommonDataMO *counted = makeEvent(QStringLiteral("Counted"), 2026, 11, 2, 23);
    counted->setCalendarDateValue(nyTime(2026, 11, 3, 1), QStringLiteral("endTimeAndZone"));
    addRule(counted, QStringLiteral("FREQ=WEEKLY;COUNT=3"));
    ItemRecurrence(counted).calcCompiledDays();
    // Ends 2026-11-17 01:00 New York, 06:00 UTC.
    EXPECT_EQ(lastDay(counted), dayOf(nyTime(2026, 11, 17, 1)));

    CommonDataMO *until = makeEvent(QStringLiteral("Until"), 2026, 11, 2, 9);
    addRule(until, QStringLiteral("FREQ=DAILY;UNTIL=20261210T140000Z"));
    // Not compiled: bounded by UNTIL plus the duration.
    EXPECT_EQ(lastDay(until), dayOf(CalendarDate(utc(2026, 12, 10, 15), QTimeZone::utc())));
    ItemRecurrence(until).calcCompiledDays();
    EXPECT_EQ(ItemRecurrence(until).compiledDays()->size(), 39u);  // Nov 2 … Dec 10
    EXPECT_EQ(lastDay(until), dayOf(nyTime(2026, 12, 10, 10)));

    // Changing the start flushes the days and moves the first day.
    until->setCalendarDateValue(nyTime(2026, 11, 5, 9), QStringLiteral("startTimeAndZone"));
    EXPECT_FALSE(ItemRecurrence(until).compiledDays());
    EXPECT_EQ(firstDay(until), dayOf(nyTime(2026, 11, 5, 9)));
}

TEST_F(ItemRecurrenceTest, RemindersWidenTheFirstDay) {
    CommonDataMO *event = makeEvent(QStringLiteral("Early"), 2026, 11, 2, 9);
    const qint64 before = firstDay(event);
    ExtraDataMO::makeExtra(QStringLiteral("Reminder"), event)
        ->setDoubleValue(-3 * kDay, QStringLiteral("relativeSeconds"));
    ItemRecurrence(event).calcFirstAndLastDay(false);
    EXPECT_EQ(firstDay(event), before - 3);
}

TEST_F(ItemRecurrenceTest, ASeriesThatYieldsNothingBecomesACancelledSingleOccurrence) {
    LogCapture log;
    CommonDataMO *event = makeEvent(QStringLiteral("Never"), 2026, 11, 2, 9);
    addRule(event, QStringLiteral("FREQ=DAILY;UNTIL=20261101T000000Z"));  // before the start
    ItemRecurrence(event).calcCompiledDaysIfNecessary();
    EXPECT_EQ(event->integerValueForKey(QStringLiteral("status")),
              ItemRecurrence::kCancelledStatus);
    EXPECT_FALSE(ItemRecurrence(event).isRecurring());
    EXPECT_TRUE(
        log.contains(QStringLiteral("Converting degenerate event \"Never\" (%1) to canceled "
                                    "single occurrence on 2026-11-02T14:00:00.000Z")
                         .arg(event->uid())));
    const QList<Date> starts = startsOf(event, utc(2026, 11, 1), utc(2026, 11, 9));
    EXPECT_EQ(starts, QList<Date>{nyTime(2026, 11, 2, 9).date()});

    // An impossible rule: February 30th.
    CommonDataMO *impossible = makeEvent(QStringLiteral("Impossible"), 2026, 11, 2, 9);
    addRule(impossible, QStringLiteral("FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=30"));
    EXPECT_TRUE(startsOf(impossible, utc(2026, 1, 1), utc(2030, 1, 1)).isEmpty());
    ItemRecurrence(impossible).calcCompiledDays();
    EXPECT_EQ(impossible->integerValueForKey(QStringLiteral("status")), 7);
}

// --- Occurrences.

TEST_F(ItemRecurrenceTest, KeepsTheWallClockTimeAcrossDaylightSavingChanges) {
    // New York leaves daylight saving time on 2026-11-01 and enters it on 2027-03-14.
    CommonDataMO *event = makeEvent(QStringLiteral("Weekly"), 2026, 10, 25, 9);
    addRule(event, QStringLiteral("FREQ=WEEKLY;COUNT=22"));
    const QList<Date> starts = startsOf(event, utc(2026, 10, 1), utc(2027, 6, 1));
    ASSERT_EQ(starts.size(), 22);
    EXPECT_EQ(starts[0], utc(2026, 10, 25, 13));
    EXPECT_EQ(starts[1], utc(2026, 11, 1, 14));
    EXPECT_EQ(starts[20], utc(2027, 3, 14, 13));
    for (const Date start : starts)
        EXPECT_EQ(readIn(start, newYork()).time().hour(), 9);
    ItemRecurrence(event).calcCompiledDays();
    EXPECT_EQ((*ItemRecurrence(event).compiledDays())[1], std::uint32_t(7 * kDay + 3600));

    // A daily 02:30 meets the hour the clocks skip: it happens at 03:30.
    CommonDataMO *early = makeEvent(QStringLiteral("Early"), 2027, 3, 13, 2, 30);
    addRule(early, QStringLiteral("FREQ=DAILY;COUNT=3"));
    EXPECT_EQ(
        startsOf(early, utc(2027, 3, 1), utc(2027, 4, 1)),
        (QList<Date>{utc(2027, 3, 13, 7, 30), utc(2027, 3, 14, 7, 30), utc(2027, 3, 15, 6, 30)}));
}

TEST_F(ItemRecurrenceTest, UntilCountsAsADateForAllDayItemsAndAsAnInstantOtherwise) {
    CommonDataMO *allDay = makeEvent(QStringLiteral("Days"), CalendarDate::dateOnly(2026, 11, 2),
                                     CalendarDate::dateOnly(2026, 11, 3));
    addRule(allDay, QStringLiteral("FREQ=DAILY;UNTIL=20261105"));
    const QList<Date> days = startsOf(allDay, utc(2026, 11, 1), utc(2026, 12, 1));
    EXPECT_EQ(days, (QList<Date>{utc(2026, 11, 2, 12), utc(2026, 11, 3, 12), utc(2026, 11, 4, 12),
                                 utc(2026, 11, 5, 12)}));

    // 09:00 New York is 14:00 UTC: an UNTIL of exactly that instant is the
    // last occurrence, a second earlier ends the day before.
    CommonDataMO *timed = makeEvent(QStringLiteral("Timed"), 2026, 11, 2, 9);
    ExtraDataMO *record = addRule(timed, QStringLiteral("FREQ=DAILY;UNTIL=20261104T140000Z"));
    EXPECT_EQ(startsOf(timed, utc(2026, 11, 1), utc(2026, 12, 1)).size(), 3);
    RecurrenceRule rule = RecurrenceRecord(record).recurrenceRule();
    rule.until = utc(2026, 11, 4, 13, 59, 59);
    ItemRecurrence::attachRecurrence(rule, timed, false, true);
    EXPECT_EQ(startsOf(timed, utc(2026, 11, 1), utc(2026, 12, 1)).size(), 2);
}

TEST_F(ItemRecurrenceTest, CountIncludesTheOccurrencesThatExceptionDatesRemove) {
    CommonDataMO *event = makeEvent(QStringLiteral("Five"), 2026, 11, 2, 9);
    addRule(event, QStringLiteral("FREQ=DAILY;COUNT=5"));
    ItemRecurrence(event).wasChangedBySettingAllExceptionDates(
        {nyTime(2026, 11, 3, 9), nyTime(2026, 11, 5, 9), nyTime(2026, 11, 3, 9)});
    EXPECT_EQ(ItemRecurrence(event).exceptionDates().size(), 2);  // distinct
    EXPECT_FALSE(ItemRecurrence(event).wasChangedBySettingAllExceptionDates(
        {nyTime(2026, 11, 5, 9), nyTime(2026, 11, 3, 9)}));
    EXPECT_EQ(startsOf(event, utc(2026, 11, 1), utc(2026, 12, 1)),
              (QList<Date>{nyTime(2026, 11, 2, 9).date(), nyTime(2026, 11, 4, 9).date(),
                           nyTime(2026, 11, 6, 9).date()}));
    ItemRecurrence(event).calcCompiledDays();
    EXPECT_EQ(ItemRecurrence(event).compiledDays()->size(), 3u);
    // An exception date flushes the compiled days.
    ItemRecurrence(event).addExceptionDate(nyTime(2026, 11, 6, 9));
    EXPECT_FALSE(ItemRecurrence(event).compiledDays());
    EXPECT_EQ(startsOf(event, utc(2026, 11, 1), utc(2026, 12, 1)).size(), 2);
}

TEST_F(ItemRecurrenceTest, ExtraDatesJoinTheSeries) {
    CommonDataMO *event = makeEvent(QStringLiteral("Extra"), 2026, 11, 2, 9);
    addRule(event, QStringLiteral("FREQ=WEEKLY;COUNT=2"));
    ItemRecurrence(event).wasChangedBySettingAllCustomDates(
        {nyTime(2026, 11, 4, 15), nyTime(2026, 11, 9, 9)});  // the second is already there
    EXPECT_EQ(startsOf(event, utc(2026, 11, 1), utc(2026, 12, 1)),
              (QList<Date>{nyTime(2026, 11, 2, 9).date(), nyTime(2026, 11, 4, 15).date(),
                           nyTime(2026, 11, 9, 9).date()}));
}

TEST_F(ItemRecurrenceTest, BySetPosNegativeMonthDaysAndWeekNumbersWithWeekStart) {
    CommonDataMO *lastWorkday = makeEvent(QStringLiteral("Payday"), 2026, 11, 30, 9);
    addRule(lastWorkday, QStringLiteral("FREQ=MONTHLY;COUNT=3;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-1"));
    EXPECT_EQ(startsOf(lastWorkday, utc(2026, 11, 1), utc(2027, 6, 1)),
              (QList<Date>{nyTime(2026, 11, 30, 9).date(), nyTime(2026, 12, 31, 9).date(),
                           nyTime(2027, 1, 29, 9).date()}));

    CommonDataMO *nextToLast = makeEvent(QStringLiteral("Rent"), 2026, 11, 29, 9);
    addRule(nextToLast, QStringLiteral("FREQ=MONTHLY;COUNT=4;BYMONTHDAY=-2"));
    EXPECT_EQ(startsOf(nextToLast, utc(2026, 11, 1), utc(2027, 6, 1)),
              (QList<Date>{nyTime(2026, 11, 29, 9).date(), nyTime(2026, 12, 30, 9).date(),
                           nyTime(2027, 1, 30, 9).date(), nyTime(2027, 2, 27, 9).date()}));

    // 2026-01-01 is a Thursday: with weeks from Monday, week 1 holds
    // Saturday January 3rd; with weeks from Sunday, week 1 begins on the 4th.
    // 2027 starts on a Friday: either way week 1 holds January 9th.
    CommonDataMO *monday = makeEvent(QStringLiteral("WKST=MO"), 2026, 1, 1, 9);
    addRule(monday, QStringLiteral("FREQ=YEARLY;COUNT=2;BYWEEKNO=1;BYDAY=SA;WKST=MO"));
    EXPECT_EQ(startsOf(monday, utc(2025, 12, 1), utc(2028, 1, 1)),
              (QList<Date>{nyTime(2026, 1, 3, 9).date(), nyTime(2027, 1, 9, 9).date()}));
    CommonDataMO *sunday = makeEvent(QStringLiteral("WKST=SU"), 2026, 1, 1, 9);
    addRule(sunday, QStringLiteral("FREQ=YEARLY;COUNT=2;BYWEEKNO=1;BYDAY=SA;WKST=SU"));
    EXPECT_EQ(startsOf(sunday, utc(2025, 12, 1), utc(2028, 1, 1)),
              (QList<Date>{nyTime(2026, 1, 10, 9).date(), nyTime(2027, 1, 9, 9).date()}));
}

// --- Detached instances.

TEST_F(ItemRecurrenceTest, ADetachedInstanceMovedToAnotherDayReplacesItsOccurrence) {
    CommonDataMO *event = makeEvent(QStringLiteral("Lunch"), 2026, 11, 2, 12);
    addRule(event, QStringLiteral("FREQ=DAILY;COUNT=5"));
    CommonDataMO *moved =
        detach(event, nyTime(2026, 11, 3, 12), nyTime(2026, 11, 10, 13), nyTime(2026, 11, 10, 14));
    const QList<Occurrence> week = expand(utc(2026, 11, 2), utc(2026, 11, 9));
    ASSERT_EQ(week.size(), 4);
    for (const Occurrence &occurrence : week) {
        EXPECT_EQ(occurrence.item, event);
        EXPECT_NE(occurrence.start.date(), nyTime(2026, 11, 3, 12).date());
    }
    const QList<Occurrence> later = expand(utc(2026, 11, 10), utc(2026, 11, 11));
    ASSERT_EQ(later.size(), 1);
    EXPECT_EQ(later[0].item, moved);
    EXPECT_TRUE(later[0].detached);
    EXPECT_EQ(later[0].recurrenceId->date(), nyTime(2026, 11, 3, 12).date());
    EXPECT_EQ(later[0].start.date(), nyTime(2026, 11, 10, 13).date());
    // Its own days; the original's are not widened by it.
    EXPECT_EQ(firstDay(moved), dayOf(nyTime(2026, 11, 10, 13)));
    ItemRecurrence(event).calcCompiledDays();
    EXPECT_EQ(lastDay(event), dayOf(nyTime(2026, 11, 6, 13)));
}

TEST_F(ItemRecurrenceTest, AnExceptionDateOnTheDayOfADetachedInstanceDeletesIt) {
    CommonDataMO *event = makeEvent(QStringLiteral("Lunch"), 2026, 11, 2, 12);
    addRule(event, QStringLiteral("FREQ=DAILY;COUNT=5"));
    CommonDataMO *kept =
        detach(event, nyTime(2026, 11, 3, 12), nyTime(2026, 11, 3, 13), nyTime(2026, 11, 3, 14));
    CommonDataMO *dropped =
        detach(event, nyTime(2026, 11, 4, 12), nyTime(2026, 11, 4, 15), nyTime(2026, 11, 4, 16));
    // The exception is the original's start; the instance was moved within its day.
    ItemRecurrence(event).addExceptionDate(nyTime(2026, 11, 4, 12));
    EXPECT_TRUE(dropped->isDeleted());
    EXPECT_FALSE(kept->isDeleted());
    EXPECT_EQ(ItemRecurrence(event).detachedInstances(), QList<CommonDataMO *>{kept});
    QList<CommonDataMO *> items;
    QList<Date> starts;
    for (const Occurrence &occurrence : expand(utc(2026, 11, 1), utc(2026, 11, 9))) {
        items.append(occurrence.item);
        starts.append(occurrence.start.date());
    }
    EXPECT_EQ(starts,
              (QList<Date>{nyTime(2026, 11, 2, 12).date(), nyTime(2026, 11, 3, 13).date(),
                           nyTime(2026, 11, 5, 12).date(), nyTime(2026, 11, 6, 12).date()}));
    EXPECT_EQ(items[1], kept);
}

}  // namespace

TEST_F(ItemRecurrenceTest, ABatchWorksOutTheDaysOnceWhenItEnds) {
    CommonDataMO *batched = makeEvent(QStringLiteral("Batched"), 2026, 11, 2, 9);
    ItemRecurrence(batched).calcCompiledDays();
    const qint64 lastDayBefore = lastDay(batched);
    {
        ItemRecurrence::DaysBatch days;
        {
            ItemRecurrence::DaysBatch inner;
            addRule(batched, QStringLiteral("FREQ=DAILY;UNTIL=20261210T140000Z"));
        }
        ItemRecurrence(batched).wasChangedBySettingAllExceptionDates({nyTime(2026, 11, 3, 9)});
        // Nothing is worked out while the outermost batch lives.
        EXPECT_EQ(lastDay(batched), lastDayBefore);
    }
    EXPECT_EQ(lastDay(batched), dayOf(CalendarDate(utc(2026, 12, 10, 15), QTimeZone::utc())));

    // The same changes without a batch give the same days.
    CommonDataMO *single = makeEvent(QStringLiteral("Single"), 2026, 11, 2, 9);
    addRule(single, QStringLiteral("FREQ=DAILY;UNTIL=20261210T140000Z"));
    ItemRecurrence(single).wasChangedBySettingAllExceptionDates({nyTime(2026, 11, 3, 9)});
    EXPECT_EQ(firstDay(single), firstDay(batched));
    EXPECT_EQ(lastDay(single), lastDay(batched));
}

TEST_F(ItemRecurrenceTest, ABatchWorksOutTheDaysOfAnItemWhoseDatesChangeOnceWhenItEnds) {
    CommonDataMO *moved = makeEvent(QStringLiteral("Moved"), 2026, 11, 2, 9);
    ASSERT_EQ(firstDay(moved), dayOf(nyTime(2026, 11, 2, 9)));
    {
        ItemRecurrence::DaysBatch days;
        moved->setCalendarDateValue(nyTime(2026, 11, 20, 9), QStringLiteral("startTimeAndZone"));
        moved->setCalendarDateValue(nyTime(2026, 11, 21, 10), QStringLiteral("endTimeAndZone"));
        EXPECT_EQ(firstDay(moved), dayOf(nyTime(2026, 11, 2, 9)));
    }
    EXPECT_EQ(firstDay(moved), dayOf(nyTime(2026, 11, 20, 9)));
    EXPECT_EQ(lastDay(moved), dayOf(nyTime(2026, 11, 21, 10)));

    // Moved again without a batch, its days follow at once.
    moved->setCalendarDateValue(nyTime(2026, 11, 25, 9), QStringLiteral("startTimeAndZone"));
    EXPECT_EQ(firstDay(moved), dayOf(nyTime(2026, 11, 25, 9)));
}
