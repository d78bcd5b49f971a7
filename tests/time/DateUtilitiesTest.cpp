#include <gtest/gtest.h>

#include "TimeTestSupport.h"
#include "support/TestSupport.h"
#include "time/DateUtilities.h"
#include "time/PosixDateFormatter.h"

using namespace DateUtilities;

TEST(DateUtilities, NetworkFormHasSixDecimals) {
    EXPECT_EQ(networkString(Date(0)), QStringLiteral("0.000000"));
    EXPECT_EQ(networkString(Date(732283200.25)), QStringLiteral("732283200.250000"));
    EXPECT_EQ(networkString(Date(-1.5)), QStringLiteral("-1.500000"));
    for (const double seconds : {0.0, 732283200.125, -978307200.5, 12.000001})
        EXPECT_EQ(dateWithNetworkString(networkString(Date(seconds))), Date(seconds));
    EXPECT_EQ(dateWithNetworkString(u" 42.5 "), Date(42.5));
    EXPECT_EQ(dateWithNetworkString(u"1e3"), Date(1000));

    LogCapture log;
    EXPECT_FALSE(dateWithNetworkString(u""));
    EXPECT_FALSE(dateWithNetworkString(u"yesterday"));
    EXPECT_FALSE(dateWithNetworkString(u"12.5.2024"));
    EXPECT_TRUE(log.contains(QStringLiteral("DateUtilities: not a network date: yesterday")));
}

TEST(DateUtilities, NewerMeansStrictlyLater) {
    EXPECT_TRUE(isNewerThan(Date(2), Date(1)));
    EXPECT_FALSE(isNewerThan(Date(1), Date(1)));
    EXPECT_FALSE(isNewerThan(Date(0), Date(1)));
    EXPECT_TRUE(isNewerOrEqualTo(Date(1), Date(1)));
    EXPECT_TRUE(isNewerOrEqualTo(Date(1.5), Date(1)));
    EXPECT_FALSE(isNewerOrEqualTo(Date(0.5), Date(1)));
}

TEST(DateUtilities, NormalizedDatesAreUniversal) {
    const Date lateEvening = utc(2024, 3, 10, 23, 30);
    const CalendarDate instant = normalizedDateWithAllDay(lateEvening, false);
    EXPECT_EQ(instant.date(), lateEvening);
    EXPECT_EQ(instant.timeZone().id(), QByteArray("Universal"));
    const CalendarDate day = normalizedDateWithAllDay(lateEvening, true);
    EXPECT_EQ(day, CalendarDate::dateOnly(2024, 3, 10));
    EXPECT_TRUE(day.isDateOnly());
    EXPECT_EQ(normalizedDateWithAllDay(utc(1999, 12, 31, 0, 0, 1), true),
              CalendarDate::dateOnly(1999, 12, 31));
}

TEST(DateUtilities, TruncationGoesTowardZero) {
    EXPECT_EQ(truncatedDate(Date(12.9)), Date(12));
    EXPECT_EQ(truncatedDate(Date(-12.9)), Date(-12));
    EXPECT_EQ(truncatedDate(Date(7)), Date(7));
}

TEST(DateUtilities, JulianDatesCountDaysFromNoonOf4713BC) {
    EXPECT_DOUBLE_EQ(julianDate(utc(1970, 1, 1)), 2440587.5);
    EXPECT_DOUBLE_EQ(julianDate(utc(2000, 1, 1, 12)), 2451545.0);
    EXPECT_DOUBLE_EQ(julianDate(Date(0)), 2451910.5);
    EXPECT_EQ(dateFromJulianDate(2451545.0), utc(2000, 1, 1, 12));
    const Date sample(732283200.5);
    EXPECT_NEAR(dateFromJulianDate(julianDate(sample)).secondsSinceReference(),
                sample.secondsSinceReference(), 1e-3);
}

TEST(DateUtilities, Rfc3339IsAlwaysUtcWithMilliseconds) {
    ScopedSystemZone tokyo("Asia/Tokyo");
    EXPECT_EQ(rfc3339String(Date(0)), QStringLiteral("2001-01-01T00:00:00.000Z"));
    EXPECT_EQ(rfc3339String(utc(2024, 2, 29, 23, 59, 58).addingSeconds(0.1239)),
              QStringLiteral("2024-02-29T23:59:58.123Z"));
    EXPECT_EQ(rfc3339String(utc(1969, 7, 20, 20, 17, 40)),
              QStringLiteral("1969-07-20T20:17:40.000Z"));
    EXPECT_NEAR(dateFromRFC3339String(QStringLiteral("2024-02-29T23:59:58.123Z"))
                    ->secondsSince(utc(2024, 2, 29, 23, 59, 58)),
                0.123, 1e-6);
    EXPECT_EQ(dateFromRFC3339String(QStringLiteral("2024-03-31T02:30:00.000Z")),
              utc(2024, 3, 31, 2, 30));
    EXPECT_FALSE(dateFromRFC3339String(QStringLiteral("2024-02-29T23:59:58Z")));
    EXPECT_FALSE(dateFromRFC3339String(QStringLiteral("2024-02-30T00:00:00.000Z")));
    EXPECT_FALSE(dateFromRFC3339String(QStringLiteral("garbage")));
}

TEST(DateUtilities, ThePosixFormatterIgnoresTheUsersLocale) {
    const PosixDateFormatter &formatter = PosixDateFormatter::posixDateFormatter();
    EXPECT_EQ(&formatter, &PosixDateFormatter::posixDateFormatter());
    const QLocale previous;
    QLocale::setDefault(QLocale(QLocale::Arabic, QLocale::Egypt));
    EXPECT_EQ(
        formatter.stringFromDate(utc(2024, 3, 5, 14), QStringLiteral("ddd, dd MMM yyyy HH:mm"),
                                 zone("Europe/Berlin")),
        QStringLiteral("Tue, 05 Mar 2024 15:00"));
    EXPECT_EQ(
        formatter.dateFromString(QStringLiteral("Tue, 05 Mar 2024 15:00"),
                                 QStringLiteral("ddd, dd MMM yyyy HH:mm"), zone("Europe/Berlin")),
        utc(2024, 3, 5, 14));
    QLocale::setDefault(previous);
}
