#include <gtest/gtest.h>

#include <QProcessEnvironment>
#include <cstdio>

#include "TimeTestSupport.h"
#include "support/TestSupport.h"
#include "time/CalendarDates.h"

namespace {

// 09:00 on 15 July 2024, floating: held as 09:00 "Universal".
CalendarDate floatingNine() {
    return CalendarDates::dateWithYear(2024, 7, 15, 9, 0, 0, false, QTimeZone());
}

}  // namespace

// Prints the instant at which the system zone sees the floating 09:00.
MEROVAN_CHILD_ROUTINE(printFloatingNineInSystemZone) {
    const CalendarDate local = CalendarDates::localTimeFromFloatingTime(floatingNine());
    std::printf("%s %.0f\n", local.timeZone().id().constData(), local.date().secondsSince1970());
    return 0;
}

TEST(FloatingTime, IsHeldInUniversalAndShownAtTheSameWallTimeEverywhere) {
    const CalendarDate floating = floatingNine();
    EXPECT_EQ(floating.timeZone().id(), QByteArray("Universal"));
    EXPECT_EQ(floating.date(), utc(2024, 7, 15, 9));
    for (const char *name : {"Asia/Tokyo", "America/New_York", "Pacific/Kiritimati",
                             "Pacific/Pago_Pago", "Australia/Lord_Howe", "Asia/Kathmandu"}) {
        const QTimeZone viewer = zone(name);
        const CalendarDate shown = CalendarDates::localTimeFromFloatingTime(floating, viewer);
        EXPECT_EQ(shown.timeZone(), viewer);
        const QDateTime onTheWall = readIn(shown.date(), viewer);
        EXPECT_EQ(onTheWall.date(), QDate(2024, 7, 15)) << name;
        EXPECT_EQ(onTheWall.time(), QTime(9, 0)) << name;
        EXPECT_EQ(CalendarDates::floatingTimeFromLocalTime(shown), floating) << name;
    }
}

TEST(FloatingTime, FollowsTheInjectedViewerZone) {
    {
        ScopedSystemZone tokyo("Asia/Tokyo");
        EXPECT_EQ(CalendarDates::localTimeFromFloatingTime(floatingNine()).date(),
                  utc(2024, 7, 15, 0));
    }
    ScopedSystemZone newYork("America/New_York");
    EXPECT_EQ(CalendarDates::localTimeFromFloatingTime(floatingNine()).date(),
              utc(2024, 7, 15, 13));
}

TEST(FloatingTime, FollowsTheProcessZoneFromTheEnvironment) {
    const struct {
        const char *tz;
        Date expected;
    } cases[] = {{"Pacific/Kiritimati", utc(2024, 7, 14, 19)},
                 {"America/New_York", utc(2024, 7, 15, 13)},
                 {"Etc/GMT+12", utc(2024, 7, 15, 21)}};
    for (const auto &testCase : cases) {
        QProcessEnvironment environment;
        environment.insert(QStringLiteral("TZ"), QString::fromLatin1(testCase.tz));
        const ProcessResult result = runChildRoutine("printFloatingNineInSystemZone", environment);
        ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
        EXPECT_EQ(result.out.trimmed(), QStringLiteral("%1 %2")
                                            .arg(QLatin1String(testCase.tz))
                                            .arg(qint64(testCase.expected.secondsSince1970())));
    }
}

TEST(FloatingTime, AllDayDatesKeepTheirDayNearTheDateLine) {
    const CalendarDate allDay =
        CalendarDates::dateWithYear(2024, 3, 10, 18, 45, 0, true, zone("Pacific/Kiritimati"));
    EXPECT_EQ(allDay.date(), utc(2024, 3, 10, 12));
    EXPECT_TRUE(allDay.isDateOnly());
    // Read as an instant, noon UTC is still 10 March from UTC-11 to UTC+11.
    for (const char *name : {"Pacific/Pago_Pago", "Etc/GMT+11", "America/Los_Angeles",
                             "Europe/Berlin", "Asia/Tokyo", "Etc/GMT-11"})
        EXPECT_EQ(readIn(allDay.date(), zone(name)).date(), QDate(2024, 3, 10)) << name;
    // Beyond that the instant falls on another day, so an all-day date is
    // shown through its wall-clock fields, which hold everywhere.
    EXPECT_EQ(readIn(allDay.date(), zone("Pacific/Kiritimati")).date(), QDate(2024, 3, 11));
    for (const char *name : {"Pacific/Kiritimati", "Pacific/Pago_Pago", "Etc/GMT+12", "Etc/GMT-12",
                             "Pacific/Tongatapu"}) {
        const QTimeZone viewer = zone(name);
        const CalendarDate shown = CalendarDates::localTimeFromFloatingTime(allDay, viewer);
        EXPECT_EQ(readIn(shown.date(), viewer).date(), QDate(2024, 3, 10)) << name;
        ScopedSystemZone system(name);
        EXPECT_EQ(allDay.components().day, 10) << name;
        EXPECT_EQ(CalendarDate::unarchiveFromString(allDay.archiveToString())->dayOfMonth(), 10);
    }
}

TEST(FloatingTime, AnInstantBecomesTheAllDayDateOfItsDayInTheGivenZone) {
    const double instant = utc(2024, 3, 10, 11).secondsSince1970();
    // 01:00 on 11 March in Kiritimati, 00:00 on 10 March in Pago Pago.
    EXPECT_EQ(
        CalendarDates::dateWithTimeIntervalSince1970(instant, true, zone("Pacific/Kiritimati")),
        CalendarDate::dateOnly(2024, 3, 11));
    EXPECT_EQ(
        CalendarDates::dateWithTimeIntervalSince1970(instant, true, zone("Pacific/Pago_Pago")),
        CalendarDate::dateOnly(2024, 3, 10));
    EXPECT_EQ(CalendarDates::dateWithTimeIntervalSince1970(instant, true, zone("Etc/GMT+12")),
              CalendarDate::dateOnly(2024, 3, 9));
    const CalendarDate zoned =
        CalendarDates::dateWithTimeIntervalSince1970(instant, false, zone("Pacific/Kiritimati"));
    EXPECT_EQ(zoned.date(), utc(2024, 3, 10, 11));
    EXPECT_EQ(zoned.timeZone(), zone("Pacific/Kiritimati"));
    EXPECT_EQ(CalendarDates::dateWithTimeIntervalSince1970(instant, false, QTimeZone()).timeZone(),
              TimeZones::universal());
}
