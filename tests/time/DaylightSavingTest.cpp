#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "TimeTestSupport.h"
#include "model/foundation/WallClock.h"
#include "time/CalendarDates.h"
#include "time/GregorianCalendar.h"

namespace {

// The instant at which `zoneName` shows the wall-clock time.
Date wall(const char *zoneName, int year, int month, int day, int hour, int minute,
          int second = 0) {
    return WallClock{year, month, day, hour, minute, second}.instantIn(zone(zoneName));
}

WallClock reading(const char *zoneName, Date date) {
    return WallClock::of(date, zone(zoneName));
}

}  // namespace

TEST(DaylightSaving, TheSkippedHourMovesForwardByTheGap) {
    // Berlin, 31 March 2024: 02:00 CET becomes 03:00 CEST.
    EXPECT_EQ(wall("Europe/Berlin", 2024, 3, 31, 1, 59, 59), utc(2024, 3, 31, 0, 59, 59));
    EXPECT_EQ(wall("Europe/Berlin", 2024, 3, 31, 2, 30), utc(2024, 3, 31, 1, 30));
    EXPECT_EQ(wall("Europe/Berlin", 2024, 3, 31, 3, 0), utc(2024, 3, 31, 1, 0));
    EXPECT_EQ(reading("Europe/Berlin", wall("Europe/Berlin", 2024, 3, 31, 2, 30)),
              (WallClock{2024, 3, 31, 3, 30, 0}));
    // New York, 10 March 2024: 02:00 EST becomes 03:00 EDT.
    EXPECT_EQ(wall("America/New_York", 2024, 3, 10, 2, 30), utc(2024, 3, 10, 7, 30));
    EXPECT_EQ(wall("America/New_York", 2024, 3, 10, 3, 30), utc(2024, 3, 10, 7, 30));
    EXPECT_EQ(wall("America/New_York", 2024, 3, 10, 1, 30), utc(2024, 3, 10, 6, 30));
}

TEST(DaylightSaving, TheRepeatedHourGivesItsFirstOccurrence) {
    // Berlin, 27 October 2024: 03:00 CEST becomes 02:00 CET.
    EXPECT_EQ(wall("Europe/Berlin", 2024, 10, 27, 2, 30), utc(2024, 10, 27, 0, 30));
    EXPECT_EQ(reading("Europe/Berlin", utc(2024, 10, 27, 0, 30)), (WallClock{2024, 10, 27, 2, 30}));
    EXPECT_EQ(reading("Europe/Berlin", utc(2024, 10, 27, 1, 30)), (WallClock{2024, 10, 27, 2, 30}));
    EXPECT_EQ(wall("Europe/Berlin", 2024, 10, 27, 3, 0), utc(2024, 10, 27, 2, 0));
    // New York, 3 November 2024: 02:00 EDT becomes 01:00 EST.
    EXPECT_EQ(wall("America/New_York", 2024, 11, 3, 1, 30), utc(2024, 11, 3, 5, 30));
    EXPECT_EQ(reading("America/New_York", utc(2024, 11, 3, 6, 30)),
              (WallClock{2024, 11, 3, 1, 30}));
    EXPECT_EQ(wall("America/New_York", 2024, 11, 3, 2, 0), utc(2024, 11, 3, 7, 0));
}

TEST(DaylightSaving, LordHoweShiftsByHalfAnHour) {
    // 6 October 2024: 02:00 (+10:30) becomes 02:30 (+11:00).
    EXPECT_EQ(wall("Australia/Lord_Howe", 2024, 10, 6, 1, 59), utc(2024, 10, 5, 15, 29));
    EXPECT_EQ(wall("Australia/Lord_Howe", 2024, 10, 6, 2, 15), utc(2024, 10, 5, 15, 45));
    EXPECT_EQ(reading("Australia/Lord_Howe", utc(2024, 10, 5, 15, 45)),
              (WallClock{2024, 10, 6, 2, 45}));
    // 7 April 2024: 02:00 (+11:00) becomes 01:30 (+10:30); 01:45 happens twice.
    EXPECT_EQ(wall("Australia/Lord_Howe", 2024, 4, 7, 1, 45), utc(2024, 4, 6, 14, 45));
    EXPECT_EQ(reading("Australia/Lord_Howe", utc(2024, 4, 6, 15, 15)),
              (WallClock{2024, 4, 7, 1, 45}));
    EXPECT_EQ(offsetFromUtc(zone("Australia/Lord_Howe"), utc(2024, 7, 1)), 37800);
}

TEST(DaylightSaving, ApiaSkippedTheLastFridayOf2011) {
    const Date lastSecond = wall("Pacific/Apia", 2011, 12, 29, 23, 59, 59);
    EXPECT_EQ(reading("Pacific/Apia", lastSecond.addingSeconds(1)),
              (WallClock{2011, 12, 31, 0, 0, 0}));
    EXPECT_EQ(offsetFromUtc(zone("Pacific/Apia"), lastSecond) + 24 * 3600,
              offsetFromUtc(zone("Pacific/Apia"), lastSecond.addingSeconds(1)));
    // Any time on the missing day lands a whole day later.
    EXPECT_EQ(wall("Pacific/Apia", 2011, 12, 30, 12, 0), wall("Pacific/Apia", 2011, 12, 31, 12, 0));
    EXPECT_EQ(reading("Pacific/Apia", wall("Pacific/Apia", 2011, 12, 30, 12, 0)),
              (WallClock{2011, 12, 31, 12, 0, 0}));
    // Calendar arithmetic counts the days on the wall: Thursday to Saturday
    // is two days, though only 24 hours pass.
    const GregorianCalendar apia(zone("Pacific/Apia"), QLocale(QLocale::English));
    const Date thursday = wall("Pacific/Apia", 2011, 12, 29, 12, 0);
    const Date saturday = wall("Pacific/Apia", 2011, 12, 31, 12, 0);
    EXPECT_EQ(saturday.secondsSince(thursday), 86400.0);
    EXPECT_EQ(apia.daysFromDate(thursday, saturday), 2);
    DateComponents oneDay;
    oneDay.day = 1;
    EXPECT_EQ(apia.dateByAddingComponents(oneDay, thursday), saturday);
}

TEST(DaylightSaving, CalendarDaysKeepTheTimeOfDayAcrossTheChange) {
    const CalendarDate before =
        CalendarDates::dateWithYear(2024, 3, 30, 10, 0, 0, false, zone("Europe/Berlin"));
    DateComponents day;
    day.day = 1;
    const CalendarDate nextDay = CalendarDates::dateByAddingComponents(before, day);
    EXPECT_EQ(nextDay.hourOfDay(), 10);
    EXPECT_EQ(nextDay.date().secondsSince(before.date()), 23 * 3600.0);
    DateComponents hours;
    hours.hour = 24;
    EXPECT_EQ(CalendarDates::dateByAddingComponents(before, hours).hourOfDay(), 11);
    EXPECT_EQ(CalendarDates::calendar(before).daysFromDate(before.date(), nextDay.date()), 1);
}

TEST(DaylightSaving, WallClockAgreesWithQtAcrossTheYear) {
    // Every hour of 2024 in four zones, read back and rebuilt.
    for (const char *name :
         {"Europe/Berlin", "America/New_York", "Australia/Lord_Howe", "Pacific/Chatham"}) {
        const QTimeZone tz = zone(name);
        for (Date date = utc(2024, 1, 1); date < utc(2025, 1, 1); date = date.addingSeconds(3600)) {
            const WallClock clock = WallClock::of(date, tz);
            const QDateTime expected = readIn(date, tz);
            ASSERT_EQ(clock.hour, expected.time().hour())
                << name << " " << date.description().toStdString();
            ASSERT_EQ(clock.day, expected.date().day()) << name;
            // Rebuilding gives the instant back, or the first of two
            // instants that show the same time.
            const Date rebuilt = clock.instantIn(tz);
            ASSERT_TRUE(rebuilt == date || (rebuilt < date && WallClock::of(rebuilt, tz) == clock))
                << name << " " << date.description().toStdString();
        }
    }
}

TEST(DaylightSaving, OffsetsAgreeWithTheZoneInAnyOrderOfAsking) {
    // Offsets are remembered by the stretch between two changes: every
    // instant from an hour before to an hour after each change, over
    // 1950–2100, in several zones asked in turn and in a shuffled order,
    // against what the zone itself says.
    std::vector<std::pair<QTimeZone, qint64>> asked;
    for (const char *name : {"Europe/Berlin", "America/New_York", "Australia/Lord_Howe",
                             "Pacific/Apia", "America/Sao_Paulo", "Asia/Kolkata", "UTC"}) {
        const QTimeZone tz = zone(name);
        const QDateTime from(QDate(1950, 1, 1), QTime(0, 0), QTimeZone::utc());
        const QDateTime to(QDate(2100, 1, 1), QTime(0, 0), QTimeZone::utc());
        for (const QTimeZone::OffsetData &change : tz.transitions(from, to)) {
            for (qint64 step = -4; step <= 4; ++step)
                asked.emplace_back(tz, change.atUtc.toSecsSinceEpoch() + step * 900 - (step < 0));
        }
        for (qint64 year = 1950; year < 2100; year += 7)
            asked.emplace_back(tz, QDateTime(QDate(int(year), 7, 1), QTime(0, 0), QTimeZone::utc())
                                       .toSecsSinceEpoch());
    }
    ASSERT_GT(asked.size(), 4000u);
    std::mt19937 shuffle(7);
    std::shuffle(asked.begin(), asked.end(), shuffle);
    for (const auto &[tz, seconds] : asked) {
        ASSERT_EQ(offsetFromUtc(tz, Date::fromSecondsSince1970(double(seconds))),
                  tz.offsetFromUtc(QDateTime::fromSecsSinceEpoch(seconds, QTimeZone::utc())))
            << tz.id().constData() << " " << seconds;
    }
}
