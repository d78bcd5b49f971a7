#include <gtest/gtest.h>

#include "TimeTestSupport.h"
#include "model/foundation/CalendarDate.h"
#include "support/TestSupport.h"
#include "time/CalendarDates.h"
#include "time/TimeZoneUtilities.h"

TEST(CalendarDateStoreForm, WritesWholeSecondsAndTheZoneName) {
    EXPECT_EQ(CalendarDate(Date(0), zone("Europe/Berlin")).archiveToString(),
              QStringLiteral("0:Europe/Berlin"));
    EXPECT_EQ(CalendarDate(Date(732283200.6), TimeZones::universal()).archiveToString(),
              QStringLiteral("732283201:Universal"));
    EXPECT_EQ(CalendarDate(Date(-3600.2), zone("America/New_York")).archiveToString(),
              QStringLiteral("-3600:America/New_York"));
    // Whole seconds of any size read as "%.0f" writes them.
    EXPECT_EQ(CalendarDate(Date(-86400), TimeZones::universal()).archiveToString(),
              QStringLiteral("-86400:Universal"));
    EXPECT_EQ(CalendarDate(Date(-0.0), TimeZones::universal()).archiveToString(),
              QStringLiteral("-0:Universal"));
    EXPECT_EQ(CalendarDate(Date(9007199254740993.0), TimeZones::universal()).archiveToString(),
              QStringLiteral("9007199254740992:Universal"));
    EXPECT_EQ(CalendarDate(Date(1e17), TimeZones::universal()).archiveToString(),
              QStringLiteral("100000000000000000:Universal"));
    // A zone kept under a name of its own, written as it reads.
    const std::optional<QTimeZone> kept = TimeZones::zoneNamed(QStringLiteral("Heure de Montréal"));
    ASSERT_TRUE(kept);
    EXPECT_EQ(CalendarDate(Date(120), *kept).archiveToString(),
              QStringLiteral("120:Heure de Montréal"));
    // A value without a zone is written with the system zone's name.
    ScopedSystemZone tokyo("Asia/Tokyo");
    EXPECT_EQ(CalendarDate(Date(60), QTimeZone()).archiveToString(),
              QStringLiteral("60:Asia/Tokyo"));
}

TEST(CalendarDateStoreForm, ReadsTheReferenceDateInTheNamedZone) {
    const std::optional<CalendarDate> paris = CalendarDate::unarchiveFromString(u"0:Europe/Paris");
    ASSERT_TRUE(paris);
    EXPECT_EQ(paris->date(), utc(2001, 1, 1));
    EXPECT_EQ(paris->timeZone().id(), QByteArray("Europe/Paris"));
    EXPECT_EQ(paris->hourOfDay(), 1);

    const std::optional<CalendarDate> universal = CalendarDate::unarchiveFromString(u"0:Universal");
    ASSERT_TRUE(universal);
    EXPECT_EQ(universal->date(), utc(2001, 1, 1, 0, 0, 0));
    EXPECT_EQ(universal->timeZone().id(), QByteArray("Universal"));
    EXPECT_TRUE(universal->isUniversal());
    EXPECT_EQ(universal->yearOfCommonEra(), 2001);
    EXPECT_EQ(universal->hourOfDay(), 0);
}

TEST(CalendarDateStoreForm, RoundTripsEveryKindOfTime) {
    const CalendarDate values[] = {
        CalendarDates::dateWithYear(2024, 3, 31, 2, 30, 0, false, zone("Europe/Berlin")),
        CalendarDates::dateWithYear(2024, 3, 10, 0, 0, 0, true, QTimeZone()),
        CalendarDates::dateWithYear(1999, 12, 31, 23, 59, 59, false, TimeZones::universal()),
        CalendarDates::dateWithYear(2011, 12, 31, 9, 0, 0, false, zone("Pacific/Apia")),
        CalendarDate(Date(-978307200), TimeZones::gmt()),
        CalendarDate(Date(4102444800.0), zone("Australia/Lord_Howe")),
    };
    for (const CalendarDate &value : values) {
        const std::optional<CalendarDate> read =
            CalendarDate::unarchiveFromString(value.archiveToString());
        ASSERT_TRUE(read) << value.archiveToString().toStdString();
        EXPECT_EQ(*read, value) << value.archiveToString().toStdString();
        EXPECT_EQ(read->archiveToString(), value.archiveToString());
    }
}

TEST(CalendarDateStoreForm, SplitsAtTheFirstColonOnly) {
    QString time = QStringLiteral("untouched");
    QString zoneName = QStringLiteral("untouched");
    EXPECT_TRUE(CalendarDate::getTimeString(time, zoneName, u"3600:UTC+01:00"));
    EXPECT_EQ(time, QStringLiteral("3600"));
    EXPECT_EQ(zoneName, QStringLiteral("UTC+01:00"));

    const std::optional<CalendarDate> offset = CalendarDate::unarchiveFromString(u"3600:UTC+01:00");
    ASSERT_TRUE(offset);
    EXPECT_EQ(offset->hourOfDay(), 2);
    EXPECT_EQ(offset->archiveToString(), QStringLiteral("3600:UTC+01:00"));

    EXPECT_FALSE(CalendarDate::getTimeString(time, zoneName, u"3600"));
    EXPECT_EQ(time, QStringLiteral("3600"));  // left alone
}

TEST(CalendarDateStoreForm, TextWithoutColonOrNumberGivesNoValue) {
    LogCapture log;
    EXPECT_FALSE(CalendarDate::unarchiveFromString(u"732283200"));
    EXPECT_FALSE(CalendarDate::unarchiveFromString(u""));
    EXPECT_FALSE(CalendarDate::unarchiveFromString(u"noon:Europe/Paris"));
    EXPECT_FALSE(CalendarDate::unarchiveFromString(u":Europe/Paris"));
    EXPECT_FALSE(CalendarDate::unarchiveFromString(u"inf:Europe/Paris"));
    EXPECT_EQ(log.count(QStringLiteral("CalendarDate: no time zone in stored date 732283200")), 1);
    EXPECT_EQ(log.count(QStringLiteral("CalendarDate: no time in stored date noon:Europe/Paris")),
              1);
}

TEST(CalendarDateStoreForm, ReadsEveryWrittenFormOfTheSeconds) {
    const std::pair<const char16_t *, double> read[] = {
        {u"-86400.5:UTC", -86400.5},
        {u" 90 :UTC", 90},
        {u"+60:UTC", 60},
        {u"1e3:UTC", 1000},
        {u"0.25:UTC", 0.25},
        {u"-0:UTC", 0},
        {u"792633600:UTC", 792633600},
    };
    for (const auto &[text, seconds] : read) {
        const std::optional<CalendarDate> value = CalendarDate::unarchiveFromString(text);
        ASSERT_TRUE(value) << QString::fromUtf16(text).toStdString();
        EXPECT_EQ(value->date().secondsSinceReference(), seconds)
            << QString::fromUtf16(text).toStdString();
    }
    LogCapture log;
    for (const char16_t *text : {u"1-2:UTC", u"1.2.3:UTC", u"-:UTC", u"nan:UTC", u"12abc:UTC"})
        EXPECT_FALSE(CalendarDate::unarchiveFromString(text))
            << QString::fromUtf16(text).toStdString();
    EXPECT_EQ(log.count(QStringLiteral("CalendarDate: no time in stored date 1-2:UTC")), 1);
}

TEST(CalendarDateStoreForm, AnEmptyZoneNameReadsInTheSystemZone) {
    ScopedSystemZone newYork("America/New_York");
    const std::optional<CalendarDate> value = CalendarDate::unarchiveFromString(u"0:");
    ASSERT_TRUE(value);
    EXPECT_FALSE(value->timeZone().isValid());
    EXPECT_EQ(value->hourOfDay(), 19);
    EXPECT_EQ(value->archiveToString(), QStringLiteral("0:America/New_York"));
}

TEST(CalendarDateStoreForm, UnknownZoneNamesAreKeptAndLoggedOnce) {
    LogCapture log;
    const std::optional<CalendarDate> mars =
        CalendarDate::unarchiveFromString(u"0:Mars/Olympus_Mons");
    ASSERT_TRUE(mars);
    EXPECT_EQ(mars->timeZone().id(), QByteArray("Mars/Olympus_Mons"));
    EXPECT_EQ(mars->hourOfDay(), 0);
    EXPECT_EQ(mars->archiveToString(), QStringLiteral("0:Mars/Olympus_Mons"));
    EXPECT_TRUE(CalendarDate::unarchiveFromString(u"86400:Mars/Olympus_Mons"));
    EXPECT_EQ(log.count(QStringLiteral("TimeZones: unknown time zone Mars/Olympus_Mons")), 1);

    // A display name nobody knows still gives its offset.
    const std::optional<CalendarDate> display =
        CalendarDate::unarchiveFromString(u"0:(UTC+05:30) Somewhere Unheard Of");
    ASSERT_TRUE(display);
    EXPECT_EQ(display->hourOfDay(), 5);
    EXPECT_EQ(display->minuteOfHour(), 30);
    EXPECT_EQ(display->archiveToString(), QStringLiteral("0:(UTC+05:30) Somewhere Unheard Of"));
}

TEST(CalendarDateStoreForm, WindowsAndDisplayNamesReadAsTheirZones) {
    TimeZoneUtilities::installNameTranslation();
    const auto berlin = CalendarDate::unarchiveFromString(u"0:W. Europe Standard Time");
    ASSERT_TRUE(berlin);
    EXPECT_EQ(berlin->timeZone().id(), QByteArray("Europe/Berlin"));
    const auto display = CalendarDate::unarchiveFromString(
        u"0:(UTC+01:00) Amsterdam, Berlin, Bern, Rome, Stockholm, Vienna");
    ASSERT_TRUE(display);
    EXPECT_EQ(display->timeZone().id(), QByteArray("Europe/Berlin"));
}

TEST(CalendarDateZones, UniversalAndGmtResolveWithTheirOwnNames) {
    for (const char *name : {"Universal", "GMT", "UTC"}) {
        const std::optional<QTimeZone> found = TimeZones::zoneNamed(QString::fromLatin1(name));
        ASSERT_TRUE(found) << name;
        EXPECT_EQ(found->id(), QByteArray(name));
        EXPECT_TRUE(TimeZones::isUniversal(*found)) << name;
        EXPECT_EQ(found->offsetFromUtc(utc(2024, 7, 1).toDateTime()), 0);
    }
    EXPECT_EQ(TimeZones::universal().id(), QByteArray("Universal"));
    EXPECT_EQ(TimeZones::gmt().id(), QByteArray("GMT"));
    EXPECT_TRUE(TimeZones::isUniversal(QTimeZone(QByteArrayLiteral("uTc"), 0, {}, {})));
    EXPECT_FALSE(TimeZones::isUniversal(QTimeZone(QByteArrayLiteral("gMt"), 0, {}, {})));
    EXPECT_FALSE(TimeZones::isUniversal(zone("Etc/UTC")));
    EXPECT_FALSE(TimeZones::isUniversal(zone("Europe/London")));
    EXPECT_FALSE(TimeZones::isUniversal(QTimeZone()));
    EXPECT_FALSE(TimeZones::zoneNamed(QString()));
}

TEST(CalendarDateZones, DisplayNameOffsetsAreReadFromTheirPrefix) {
    EXPECT_EQ(TimeZones::displayNameOffset(QStringLiteral("(UTC+01:00) Amsterdam")), 3600);
    EXPECT_EQ(TimeZones::displayNameOffset(QStringLiteral("(GMT-03.30) Newfoundland")), -12600);
    EXPECT_EQ(TimeZones::displayNameOffset(QStringLiteral("\"(GMT+5) Tashkent\"")), 18000);
    EXPECT_EQ(TimeZones::displayNameOffset(QStringLiteral("(UTC) Coordinated Universal Time")), 0);
    EXPECT_FALSE(TimeZones::displayNameOffset(QStringLiteral("Europe/Berlin")));
    EXPECT_FALSE(TimeZones::displayNameOffset(QStringLiteral("(UTC+25:00) Nowhere")));
}

TEST(CalendarDateComponents, AreReadInTheValuesOwnZone) {
    const CalendarDate value(utc(2024, 7, 14, 22, 5, 9), zone("Asia/Tokyo"));
    EXPECT_EQ(value.yearOfCommonEra(), 2024);
    EXPECT_EQ(value.monthOfYear(), 7);
    EXPECT_EQ(value.dayOfMonth(), 15);
    EXPECT_EQ(value.hourOfDay(), 7);
    EXPECT_EQ(value.minuteOfHour(), 5);
    EXPECT_EQ(value.secondOfMinute(), 9);
    const DateComponents components = value.components();
    EXPECT_EQ(components.year, 2024);
    EXPECT_EQ(components.day, 15);
    EXPECT_EQ(components.hour, 7);
    EXPECT_EQ(components.second, 9);
    EXPECT_FALSE(components.weekday);
}

TEST(CalendarDateComponents, DateOnlyValuesLeaveTheTimeUndefined) {
    const CalendarDate allDay = CalendarDate::dateOnly(2024, 3, 10);
    EXPECT_EQ(allDay.date(), utc(2024, 3, 10, 12));
    EXPECT_TRUE(allDay.isDateOnly());
    const DateComponents components = allDay.components();
    EXPECT_EQ(components.year, 2024);
    EXPECT_EQ(components.month, 3);
    EXPECT_EQ(components.day, 10);
    EXPECT_FALSE(components.hour);
    EXPECT_FALSE(components.minute);
    EXPECT_FALSE(components.second);

    // Noon in GMT counts; a second off noon, or noon in a zone that only
    // happens to be at offset zero, does not.
    EXPECT_TRUE(CalendarDate(utc(1990, 1, 1, 12), TimeZones::gmt()).isDateOnly());
    EXPECT_TRUE(CalendarDate(utc(1960, 6, 30, 12), TimeZones::universal()).isDateOnly());
    EXPECT_FALSE(CalendarDate(utc(2024, 3, 10, 12, 0, 1), TimeZones::universal()).isDateOnly());
    EXPECT_FALSE(CalendarDate(Date(utc(2024, 3, 10, 12).secondsSinceReference() + 0.25),
                              TimeZones::universal())
                     .isDateOnly());
    EXPECT_FALSE(CalendarDate(utc(2024, 1, 10, 12), zone("Europe/London")).isDateOnly());
    EXPECT_EQ(CalendarDate(utc(2024, 1, 10, 12), zone("Europe/London")).components().hour, 12);
}

TEST(CalendarDateArithmetic, AddingAnIntervalKeepsTheZone) {
    const CalendarDate start(utc(2024, 3, 31, 0, 30), zone("Europe/Berlin"));
    const CalendarDate later = start.addingTimeInterval(3600.75);
    EXPECT_EQ(later.timeZone(), start.timeZone());
    EXPECT_EQ(later.date(), start.date().addingSeconds(3600.75));
    EXPECT_EQ(later.hourOfDay(), 3);  // 01:30 CET and an hour is 03:30 CEST

    // The time library's arithmetic, once installed, drops the fraction.
    CalendarDates::fixDateByAddingTimeInterval();
    EXPECT_EQ(start.addingTimeInterval(3600.75).date(), start.date().addingSeconds(3600));
    EXPECT_EQ(start.addingTimeInterval(-0.5).date(), start.date());
    EXPECT_EQ(start.addingTimeInterval(-1.5).timeZone(), start.timeZone());
    CalendarDate::setIntervalAdder(nullptr);
    EXPECT_EQ(start.addingTimeInterval(0.5).date(), start.date().addingSeconds(0.5));
}
