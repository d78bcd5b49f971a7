#include <gtest/gtest.h>

#include "TimeTestSupport.h"
#include "model/foundation/WallClock.h"
#include "support/TestSupport.h"
#include "time/CalendarDates.h"
#include "time/GregorianCalendar.h"
#include "time/MonthDayText.h"

namespace {

GregorianCalendar calendarOf(QLocale::Language language, QLocale::Territory territory,
                             const char *zoneName = "Etc/UTC") {
    return GregorianCalendar(zone(zoneName), QLocale(language, territory));
}

Date noonUtc(int year, int month, int day) {
    return utc(year, month, day, 12);
}

// What componentsFromString makes of the text, as "month/day[/year]".
QString parsed(const GregorianCalendar &calendar, const char *text) {
    const std::optional<DateComponents> components =
        MonthDayText::componentsFromString(calendar, QString::fromUtf8(text));
    return components ? components->description() : QStringLiteral("none");
}

}  // namespace

TEST(GregorianCalendar, IsoWeeksMatchQtThroughThreeDecades) {
    GregorianCalendar german = calendarOf(QLocale::German, QLocale::Germany);
    EXPECT_EQ(german.firstWeekday(), 2);
    EXPECT_EQ(german.minimumDaysInFirstWeek(), 4);
    const GregorianCalendar::Units units = GregorianCalendar::weekNumberUnit();
    for (QDate day(2000, 1, 1); day < QDate(2031, 1, 1); day = day.addDays(1)) {
        const Date date = noonUtc(day.year(), day.month(), day.day());
        int weekYear = 0;
        const int expected = day.weekNumber(&weekYear);
        const DateComponents components = german.componentsIncludingWeek(units, date);
        ASSERT_EQ(GregorianCalendar::weekNumber(components), expected)
            << day.toString().toStdString();
        ASSERT_EQ(components.yearForWeekOfYear, weekYear) << day.toString().toStdString();
        ASSERT_EQ(german.isoWeekNumberForDate(date, false), expected)
            << day.toString().toStdString();
        ASSERT_FALSE(components.month);
    }
}

TEST(GregorianCalendar, UnitedStatesWeeksStartOnSundayWithTheFirstOfJanuary) {
    const GregorianCalendar american = calendarOf(QLocale::English, QLocale::UnitedStates);
    EXPECT_EQ(american.firstWeekday(), 1);
    EXPECT_EQ(american.minimumDaysInFirstWeek(), 1);
    const auto week = [&american](int year, int month, int day) {
        return american.componentsIncludingWeek(GregorianCalendar::weekNumberUnit(),
                                                noonUtc(year, month, day));
    };
    EXPECT_EQ(week(2022, 1, 1).weekOfYear, 1);  // a Saturday
    EXPECT_EQ(week(2022, 1, 2).weekOfYear, 2);
    EXPECT_EQ(week(2021, 12, 26).weekOfYear, 1);
    EXPECT_EQ(week(2021, 12, 26).yearForWeekOfYear, 2022);
    EXPECT_EQ(week(2024, 12, 31).weekOfYear, 1);

    const DateComponents all = american.componentsIncludingWeek(
        GregorianCalendar::Units(GregorianCalendar::Era) | GregorianCalendar::Weekday |
            GregorianCalendar::WeekdayOrdinal | GregorianCalendar::WeekOfMonth |
            GregorianCalendar::Day,
        noonUtc(2024, 3, 31));
    EXPECT_EQ(all.era, 1);
    EXPECT_EQ(all.weekday, 1);
    EXPECT_EQ(all.weekdayOrdinal, 5);
    EXPECT_EQ(all.weekOfMonth, 6);
    EXPECT_EQ(all.day, 31);
    EXPECT_FALSE(all.year);
}

TEST(GregorianCalendar, IsoWeekWithTheFollowingMonday) {
    // With weeks starting on Sunday, a Sunday belongs to the week of the
    // Monday after it.
    const GregorianCalendar american = calendarOf(QLocale::English, QLocale::UnitedStates);
    EXPECT_EQ(american.isoWeekNumberForDate(noonUtc(2024, 3, 10), false), 10);
    EXPECT_EQ(american.isoWeekNumberForDate(noonUtc(2024, 3, 10), true), 11);
    EXPECT_EQ(american.isoWeekNumberForDate(noonUtc(2024, 3, 11), true), 11);
    EXPECT_EQ(american.isoWeekNumberForDate(noonUtc(2024, 3, 16), true), 11);
    // With weeks starting on Monday only the two hours count.
    const GregorianCalendar german = calendarOf(QLocale::German, QLocale::Germany);
    EXPECT_EQ(german.isoWeekNumberForDate(utc(2024, 3, 10, 23), true), 11);
    EXPECT_EQ(german.isoWeekNumberForDate(utc(2024, 3, 10, 21), true), 10);
}

TEST(GregorianCalendar, WholeDaysAndMonthsBetweenDates) {
    const GregorianCalendar calendar = calendarOf(QLocale::English, QLocale::UnitedStates);
    EXPECT_EQ(calendar.daysFromDate(utc(2024, 3, 10, 10), utc(2024, 3, 12, 9)), 1);
    EXPECT_EQ(calendar.daysFromDate(utc(2024, 3, 10, 10), utc(2024, 3, 12, 10)), 2);
    EXPECT_EQ(calendar.daysFromDate(utc(2024, 3, 10, 10), utc(2024, 3, 10, 23)), 0);
    // The first date later than the second: one less.
    EXPECT_EQ(calendar.daysFromDate(utc(2024, 3, 12, 10), utc(2024, 3, 10, 10)), -3);
    EXPECT_EQ(calendar.daysFromDate(utc(2024, 3, 12, 9), utc(2024, 3, 10, 10)), -2);

    EXPECT_EQ(calendar.monthsFromDate(utc(2024, 1, 31), utc(2024, 2, 29)), 0);
    EXPECT_EQ(calendar.monthsFromDate(utc(2024, 1, 31), utc(2024, 3, 1)), 1);
    EXPECT_EQ(calendar.monthsFromDate(utc(2023, 11, 15), utc(2024, 2, 15)), 3);
    EXPECT_EQ(calendar.monthsFromDate(utc(2024, 3, 15), utc(2024, 1, 15)), -3);

    // Days count on the wall: the short day of spring is a whole day.
    const GregorianCalendar berlin = calendarOf(QLocale::German, QLocale::Germany, "Europe/Berlin");
    EXPECT_EQ(berlin.daysFromDate(utc(2024, 3, 30, 11), utc(2024, 3, 31, 10)), 1);
}

TEST(GregorianCalendar, AddingComponentsClampsToTheEndOfTheMonth) {
    const GregorianCalendar calendar = calendarOf(QLocale::English, QLocale::UnitedStates);
    DateComponents month;
    month.month = 1;
    EXPECT_EQ(calendar.dateByAddingComponents(month, utc(2024, 1, 31, 8)), utc(2024, 2, 29, 8));
    DateComponents year;
    year.year = 1;
    EXPECT_EQ(calendar.dateByAddingComponents(year, utc(2024, 2, 29)), utc(2025, 2, 28));
    DateComponents back;
    back.month = -13;
    back.day = -1;
    EXPECT_EQ(calendar.dateByAddingComponents(back, utc(2024, 3, 31)), utc(2023, 2, 27));
    DateComponents weeks;
    weeks.weekOfYear = 2;
    weeks.minute = 90;
    EXPECT_EQ(calendar.dateByAddingComponents(weeks, utc(2024, 12, 25)), utc(2025, 1, 8, 1, 30));
}

TEST(GregorianCalendar, ApplyingComponentsReplacesTheGivenFields) {
    const CalendarDate berlin =
        CalendarDates::dateWithYear(2024, 7, 1, 9, 30, 0, false, zone("Europe/Berlin"));
    DateComponents noon;
    noon.hour = 12;
    noon.minute = 0;
    const CalendarDate inBerlin = CalendarDates::calendarDateByApplyingComps(
        berlin, noon, CalendarDates::calendar(berlin), false);
    EXPECT_EQ(inBerlin.date(), utc(2024, 7, 1, 10));
    EXPECT_EQ(inBerlin.timeZone(), berlin.timeZone());
    const CalendarDate inTokyo = CalendarDates::calendarDateByApplyingComps(
        berlin, noon, GregorianCalendar(zone("Asia/Tokyo")), false);
    EXPECT_EQ(inTokyo.date(), utc(2024, 7, 1, 3));
    EXPECT_EQ(inTokyo.timeZone(), berlin.timeZone());
    // Floating values are read and rebuilt in their own calendar.
    const CalendarDate floating = CalendarDates::dateWithYear(2024, 7, 1, 9, 30, 0, false, {});
    EXPECT_EQ(CalendarDates::calendarDateByApplyingComps(
                  floating, noon, GregorianCalendar(zone("Asia/Tokyo")), true),
              CalendarDates::dateWithYear(2024, 7, 1, 12, 0, 0, false, {}));

    DateComponents day;
    day.day = 2;
    const CalendarDate moved =
        CalendarDates::calendarDateByApplyingComps(floating, day, zone("America/New_York"));
    EXPECT_EQ(moved.timeZone(), zone("America/New_York"));
    EXPECT_EQ(moved.date(), utc(2024, 7, 2, 13, 30));

    DateComponents components = floating.components();
    CalendarDates::adjustComponentsForTimeZone(components, zone("Asia/Tokyo"), false, true);
    EXPECT_FALSE(components.timeZone);
    CalendarDates::adjustComponentsForTimeZone(components, zone("Asia/Tokyo"), true, false);
    EXPECT_FALSE(components.timeZone);
    CalendarDates::adjustComponentsForTimeZone(components, zone("Asia/Tokyo"), false, false);
    EXPECT_EQ(components.timeZone, zone("Asia/Tokyo"));
    EXPECT_EQ(CalendarDates::dateWithComponents(components, false, {}).date(),
              utc(2024, 7, 1, 0, 30));
    EXPECT_EQ(CalendarDates::dateWithComponents(components, true, {}),
              CalendarDate::dateOnly(2024, 7, 1));
}

TEST(GregorianCalendar, CalendarDatesFromNothingAreNothing) {
    EXPECT_FALSE(CalendarDates::calendarDateWithDate(std::nullopt, zone("Europe/Berlin")));
    EXPECT_EQ(CalendarDates::calendarDateWithDate(Date(5), QTimeZone())->timeZone(),
              TimeZones::universal());
    EXPECT_EQ(CalendarDates::calendarDateWithDate(Date(5), zone("Europe/Berlin"))->timeZone(),
              zone("Europe/Berlin"));
}

TEST(GregorianCalendar, ComponentsDescribeThemselves) {
    DateComponents components;
    components.weekOfYear = 3;
    components.month = 2;
    components.day = 9;
    components.year = 2024;
    components.hour = 7;
    components.minute = 5;
    components.second = 0;
    EXPECT_EQ(components.description(), QStringLiteral("3--2/9/2024 07:05:00"));
    DateComponents weekOfMonth;
    weekOfMonth.weekOfMonth = 2;
    weekOfMonth.day = 14;
    EXPECT_EQ(weekOfMonth.description(), QStringLiteral("2-/14"));
    EXPECT_EQ(DateComponents().description(), QString());
}

TEST(GregorianCalendar, LocaleDirectionAndNumbers) {
    EXPECT_FALSE(calendarOf(QLocale::English, QLocale::UnitedStates).isRightToLeft());
    EXPECT_TRUE(calendarOf(QLocale::Hebrew, QLocale::Israel).isRightToLeft());
    EXPECT_TRUE(calendarOf(QLocale::Arabic, QLocale::SaudiArabia).isRightToLeft());
    EXPECT_EQ(calendarOf(QLocale::English, QLocale::UnitedStates).stringFromInteger(1234567),
              QStringLiteral("1234567"));
    EXPECT_EQ(calendarOf(QLocale::German, QLocale::Germany).stringFromInteger(-42),
              QStringLiteral("-42"));
}

TEST(MonthDayText, ParsesMonthAndDayWithoutAYear) {
    const GregorianCalendar american = calendarOf(QLocale::English, QLocale::UnitedStates);
    EXPECT_EQ(parsed(american, "Feb 29"), QStringLiteral("2/29"));
    EXPECT_EQ(parsed(american, "12/25"), QStringLiteral("12/25"));
    EXPECT_EQ(parsed(american, "Feb 30"), QStringLiteral("none"));
    EXPECT_EQ(parsed(american, "13/1"), QStringLiteral("none"));
    EXPECT_EQ(parsed(american, "tomorrow"), QStringLiteral("none"));
    EXPECT_EQ(parsed(american, ""), QStringLiteral("none"));
}

TEST(MonthDayText, KeepsAYearWhenOneIsGiven) {
    ScopedManualClock clock(utc(2024, 5, 1));
    const GregorianCalendar american = calendarOf(QLocale::English, QLocale::UnitedStates);
    EXPECT_EQ(parsed(american, "February 29, 2024"), QStringLiteral("2/29/2024"));
    EXPECT_EQ(parsed(american, "7/4/76"), QStringLiteral("7/4/1976"));
    EXPECT_EQ(parsed(american, "1/2/44"), QStringLiteral("1/2/2044"));
    EXPECT_EQ(parsed(american, "February 29, 2023"), QStringLiteral("none"));
}

TEST(MonthDayText, FollowsTheLocalesOrderOfFields) {
    const GregorianCalendar german = calendarOf(QLocale::German, QLocale::Germany);
    EXPECT_EQ(parsed(german, "29.2."), QStringLiteral("2/29"));
    EXPECT_EQ(parsed(german, "3. März"), QStringLiteral("3/3"));
    EXPECT_EQ(parsed(german, "1.12.2024"), QStringLiteral("12/1/2024"));
    const GregorianCalendar japanese = calendarOf(QLocale::Japanese, QLocale::Japan);
    EXPECT_EQ(parsed(japanese, "2月29日"), QStringLiteral("2/29"));
    EXPECT_EQ(parsed(japanese, "2024/12/01"), QStringLiteral("12/1/2024"));
}

TEST(MonthDayText, WritesMonthAndDayInTheLocalesStyle) {
    const GregorianCalendar american = calendarOf(QLocale::English, QLocale::UnitedStates);
    DateComponents leapDay;
    leapDay.month = 2;
    leapDay.day = 29;
    Date built;
    EXPECT_EQ(MonthDayText::stringFromComponents(american, leapDay, true, &built),
              QStringLiteral("February 29"));
    EXPECT_EQ(built, utc(1604, 2, 29));
    EXPECT_EQ(MonthDayText::stringFromComponents(american, leapDay, false, nullptr),
              QStringLiteral("2/29"));
    leapDay.year = 2024;
    EXPECT_EQ(MonthDayText::stringFromComponents(american, leapDay, true, &built),
              QStringLiteral("February 29, 2024"));
    EXPECT_EQ(built, utc(2024, 2, 29));
    EXPECT_EQ(MonthDayText::stringFromComponents(american, leapDay, false, nullptr),
              QStringLiteral("2/29/24"));

    DateComponents may;
    may.month = 5;
    may.day = 3;
    EXPECT_EQ(MonthDayText::stringFromComponents(calendarOf(QLocale::German, QLocale::Germany), may,
                                                 true, nullptr),
              QStringLiteral("3. Mai"));
    EXPECT_EQ(MonthDayText::stringFromComponents(calendarOf(QLocale::French, QLocale::France), may,
                                                 true, nullptr),
              QStringLiteral("3 mai"));
    EXPECT_EQ(MonthDayText::stringFromComponents(calendarOf(QLocale::Japanese, QLocale::Japan), may,
                                                 false, nullptr),
              QStringLiteral("05/03"));
    // What is written reads back.
    for (const auto &[language, territory] :
         {std::pair(QLocale::English, QLocale::UnitedStates),
          std::pair(QLocale::German, QLocale::Germany), std::pair(QLocale::French, QLocale::France),
          std::pair(QLocale::Japanese, QLocale::Japan)}) {
        const GregorianCalendar calendar = calendarOf(language, territory);
        for (const bool verbose : {true, false}) {
            const QString text =
                MonthDayText::stringFromComponents(calendar, leapDay, verbose, nullptr);
            const auto read = MonthDayText::componentsFromString(calendar, text);
            ASSERT_TRUE(read) << text.toStdString();
            EXPECT_EQ(read->month, 2) << text.toStdString();
            EXPECT_EQ(read->day, 29) << text.toStdString();
        }
    }
}
