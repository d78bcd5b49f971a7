#include <gtest/gtest.h>

#include "ICalTestSupport.h"
#include "TimeTestSupport.h"
#include "support/TestSupport.h"
#include "time/CalendarDates.h"
#include "time/ICalTimeConversion.h"
#include "time/TimeZoneUtilities.h"
#include "time/VTimezoneGenerator.h"

using namespace ICalTimeConversion;

namespace {

icaltimetype libraryTime(int year, int month, int day, int hour, int minute, int second,
                         const icaltimezone *zone = nullptr, bool isDate = false) {
    icaltimetype time = icaltime_null_time();
    time.year = year;
    time.month = month;
    time.day = day;
    time.hour = hour;
    time.minute = minute;
    time.second = second;
    time.zone = zone;
    time.is_date = isDate ? 1 : 0;
    return time;
}

// A VTIMEZONE with one STANDARD and one DAYLIGHT part.
QByteArray vtimezone(const char *tzid, const char *standardOffset, const char *daylightOffset,
                     const char *standardRule, const char *daylightRule) {
    return QByteArray("BEGIN:VTIMEZONE\nTZID:") + tzid +
           "\nBEGIN:STANDARD\nDTSTART:16011104T020000\nRRULE:" + standardRule +
           "\nTZOFFSETFROM:" + daylightOffset + "\nTZOFFSETTO:" + standardOffset +
           "\nEND:STANDARD\nBEGIN:DAYLIGHT\nDTSTART:16010311T020000\nRRULE:" + daylightRule +
           "\nTZOFFSETFROM:" + standardOffset + "\nTZOFFSETTO:" + daylightOffset +
           "\nEND:DAYLIGHT\nEND:VTIMEZONE\n";
}

QByteArray fixedVTimezone(const char *tzid, const char *offset) {
    return QByteArray("BEGIN:VTIMEZONE\nTZID:") + tzid +
           "\nBEGIN:STANDARD\nDTSTART:16010101T000000\nTZOFFSETFROM:" + offset +
           "\nTZOFFSETTO:" + offset + "\nEND:STANDARD\nEND:VTIMEZONE\n";
}

QByteArray renamed(const QByteArray &vtimezoneText, const QByteArray &from, const QByteArray &to) {
    return QByteArray(vtimezoneText).replace("TZID:" + from, "TZID:" + to);
}

void expectSameOffsetsFor(const QTimeZone &actual, const QTimeZone &expected, int fromYear,
                          int toYear) {
    for (int year = fromYear; year <= toYear; ++year) {
        for (int month = 1; month <= 12; ++month) {
            const Date date = utc(year, month, 15);
            EXPECT_EQ(offsetFromUtc(actual, date), offsetFromUtc(expected, date))
                << actual.id().toStdString() << " vs " << expected.id().toStdString() << " "
                << date.description().toStdString();
        }
    }
}

}  // namespace

TEST(ICalTimeConversion, ReadsZonedFloatingAndDateOnlyTimes) {
    EXPECT_FALSE(dateWithIcaltime(icaltime_null_time()));

    const auto inUtc =
        dateWithIcaltime(libraryTime(2024, 7, 1, 8, 30, 0, icaltimezone_get_utc_timezone()));
    ASSERT_TRUE(inUtc);
    EXPECT_EQ(inUtc->date(), utc(2024, 7, 1, 8, 30));
    EXPECT_TRUE(inUtc->isUniversal());

    const auto floating = dateWithIcaltime(libraryTime(2024, 7, 1, 8, 30, 0));
    ASSERT_TRUE(floating);
    EXPECT_EQ(floating->timeZone().id(), QByteArray("Universal"));
    EXPECT_EQ(floating->date(), utc(2024, 7, 1, 8, 30));

    const auto berlin = dateWithIcaltime(
        libraryTime(2024, 7, 1, 8, 30, 0, builtinTimeZone(QStringLiteral("Europe/Berlin"))));
    ASSERT_TRUE(berlin);
    EXPECT_EQ(berlin->timeZone().id(), QByteArray("Europe/Berlin"));
    EXPECT_EQ(berlin->date(), utc(2024, 7, 1, 6, 30));

    const icaltimetype day = libraryTime(2024, 3, 10, 0, 0, 0, nullptr, true);
    EXPECT_EQ(dateWithIcaltime(day), CalendarDate::dateOnly(2024, 3, 10));
    const auto midnight = dateWithIcaltime(day, zone("America/New_York"));
    ASSERT_TRUE(midnight);
    EXPECT_EQ(midnight->date(), utc(2024, 3, 10, 5));
    EXPECT_EQ(midnight->timeZone(), zone("America/New_York"));
    const icaltimetype nine = libraryTime(2024, 3, 10, 9, 0, 0);
    EXPECT_EQ(dateWithIcaltime(nine, zone("America/New_York")), dateWithIcaltime(nine));
}

TEST(ICalTimeConversion, WritesEachKindOfTime) {
    const CalendarDate zoned =
        CalendarDates::dateWithYear(2024, 10, 27, 2, 30, 0, false, zone("Europe/Berlin"));
    const icaltimetype zonedTime = icaltimeWithDateOnly(zoned, false, false);
    EXPECT_EQ(zonedTime.hour, 2);
    EXPECT_EQ(zonedTime.minute, 30);
    EXPECT_EQ(zonedTime.is_date, 0);
    EXPECT_EQ(zonedTime.is_daylight, 1);
    EXPECT_EQ(zonedTime.zone, builtinTimeZone(QStringLiteral("Europe/Berlin")));
    EXPECT_FALSE(icaltime_is_utc(zonedTime));
    EXPECT_EQ(dateWithIcaltime(zonedTime), zoned);

    const CalendarDate universal(utc(2024, 1, 2, 3, 4, 5), TimeZones::universal());
    const icaltimetype utcTime = icaltimeWithDateOnly(universal, false, false);
    EXPECT_TRUE(icaltime_is_utc(utcTime));
    EXPECT_EQ(utcTime.second, 5);

    const CalendarDate floating = CalendarDates::dateWithYear(2024, 7, 1, 9, 15, 0, false, {});
    const icaltimetype floatingTime = icaltimeWithDateOnly(floating, false, true);
    EXPECT_EQ(floatingTime.zone, nullptr);
    EXPECT_EQ(floatingTime.hour, 9);
    EXPECT_EQ(floatingTime.minute, 15);
    EXPECT_EQ(dateWithIcaltime(floatingTime), floating);

    const CalendarDate allDay = CalendarDate::dateOnly(2024, 2, 29);
    const icaltimetype dayTime = icaltimeWithDateOnly(allDay, true, false);
    EXPECT_EQ(dayTime.is_date, 1);
    EXPECT_EQ(dayTime.day, 29);
    EXPECT_EQ(dayTime.zone, icaltimezone_get_utc_timezone());
    EXPECT_EQ(dateWithIcaltime(dayTime), allDay);
}

TEST(ICalTimeConversion, LibraryZonesCarryOnlyTheirName) {
    icaltimezone *utcZone = icaltimezone_get_utc_timezone();
    EXPECT_EQ(builtinTimeZone(QStringLiteral("UTC")), utcZone);
    EXPECT_EQ(builtinTimeZone(QStringLiteral("GMT")), utcZone);
    EXPECT_EQ(builtinTimeZone(QString()), utcZone);
    icaltimezone *berlin = builtinTimeZone(QStringLiteral("Europe/Berlin"));
    EXPECT_EQ(builtinTimeZone(QStringLiteral("Europe/Berlin")), berlin);
    EXPECT_NE(builtinTimeZone(QStringLiteral("Europe/Paris")), berlin);
    EXPECT_STREQ(icaltimezone_get_tzid(berlin), "Europe/Berlin");
    icalcomponent *component = icaltimezone_get_component(berlin);
    ASSERT_NE(component, nullptr);
    EXPECT_EQ(icalcomponent_count_components(component, ICAL_ANY_COMPONENT), 0);
}

TEST(ICalTimeConversion, TheDistantPastIsAnyTimeIn1976) {
    const icaltimetype past = icaltimeDistantPast();
    EXPECT_EQ(icaltime_as_timet(past), time_t(utc(1976, 4, 1, 0, 55, 45).secondsSince1970()));
    EXPECT_TRUE(icaltime_is_utc(past));
    EXPECT_TRUE(isIcaltimeDistantPast(past));
    EXPECT_TRUE(isIcaltimeDistantPast(libraryTime(1976, 12, 31, 23, 0, 0)));
    EXPECT_TRUE(isIcaltimeDistantPast(libraryTime(1976, 1, 1, 0, 0, 0)));
    EXPECT_FALSE(isIcaltimeDistantPast(libraryTime(1977, 1, 1, 0, 0, 0)));
    EXPECT_FALSE(isIcaltimeDistantPast(libraryTime(1975, 12, 31, 23, 59, 59)));
}

TEST(ICalTimeConversion, ZonesResolveByPlatformAndWindowsNames) {
    EXPECT_FALSE(timeZoneFromICalTimeZone(nullptr));
    const ICalZone platform = zoneFromVTimezone(fixedVTimezone("Asia/Tokyo", "+0100"));
    EXPECT_EQ(timeZoneFromICalTimeZone(platform.get()), zone("Asia/Tokyo"));

    const ICalZone windows = zoneFromVTimezone(fixedVTimezone("Pacific Standard Time", "+0000"));
    EXPECT_EQ(timeZoneFromICalTimeZone(windows.get()), zone("America/Los_Angeles"));
    const ICalZone display = zoneFromVTimezone(
        fixedVTimezone("(UTC+01:00) Brussels, Copenhagen, Madrid, Paris", "+0100"));
    EXPECT_EQ(timeZoneFromICalTimeZone(display.get()), zone("Europe/Paris"));
    const ICalZone entourage = zoneFromVTimezone(
        "BEGIN:VTIMEZONE\nTZID:Entourage 42\nX-ENTOURAGE-CFTIMEZONE:Asia/Kolkata\n"
        "X-ENTOURAGE-TZID:42\nEND:VTIMEZONE\n");
    EXPECT_EQ(timeZoneFromICalTimeZone(entourage.get()), zone("Asia/Kolkata"));
}

TEST(ICalTimeConversion, UnknownZonesAreMatchedByOffsetsAndRules) {
    ScopedManualClock clock(utc(2024, 5, 1));
    ScopedSystemZone system("Etc/UTC");
    const ICalZone eastern = zoneFromVTimezone(vtimezone("Custom Eastern", "-0500", "-0400",
                                                         "FREQ=YEARLY;BYMONTH=11;BYDAY=1SU",
                                                         "FREQ=YEARLY;BYMONTH=3;BYDAY=2SU"));
    EXPECT_EQ(timeZoneFromICalTimeZone(eastern.get()), zone("America/New_York"));

    const ICalZone southern = zoneFromVTimezone(vtimezone("Custom Southern", "+1000", "+1100",
                                                          "FREQ=YEARLY;BYMONTH=4;BYDAY=1SU",
                                                          "FREQ=YEARLY;BYMONTH=10;BYDAY=1SU"));
    EXPECT_EQ(timeZoneFromICalTimeZone(southern.get()), zone("Australia/Sydney"));

    // Rules of 2006 match no zone today; the offsets still find one.
    const ICalZone oldEastern = zoneFromVTimezone(vtimezone("Eastern 2006", "-0500", "-0400",
                                                            "FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU",
                                                            "FREQ=YEARLY;BYMONTH=4;BYDAY=1SU"));
    EXPECT_EQ(timeZoneFromICalTimeZone(oldEastern.get()), zone("America/New_York"));
}

TEST(ICalTimeConversion, GeneratedDescriptionsLeadBackToAnEquivalentZone) {
    ScopedManualClock clock(utc(2024, 5, 1));
    ScopedSystemZone system("Asia/Tokyo");
    for (const char *name : {"Europe/Berlin", "America/Chicago", "Australia/Lord_Howe",
                             "Pacific/Auckland", "America/Santiago", "Asia/Kolkata"}) {
        const ICalComponent generated(
            VTimezoneGenerator::newVTimezoneForRangeOfYears(zone(name), 0, 0, false));
        const ICalZone foreign = zoneFromVTimezone(
            renamed(textOf(generated.get()), name, QByteArray("Renamed ") + name));
        const std::optional<QTimeZone> found = timeZoneFromICalTimeZone(foreign.get());
        ASSERT_TRUE(found) << name;
        expectSameOffsetsFor(*found, zone(name), 2023, 2025);
    }
}

TEST(ICalTimeConversion, IsraelAndFixedOffsetsComeLast) {
    ScopedManualClock clock(utc(2024, 5, 1));
    const ICalZone israel = zoneFromVTimezone(fixedVTimezone("Israel Jerusalem Zone", "+0200"));
    EXPECT_EQ(timeZoneFromICalTimeZone(israel.get()), zone("Asia/Jerusalem"));

    const ICalZone fixed = zoneFromVTimezone(fixedVTimezone("Kathmandu-ish", "+0545"));
    const std::optional<QTimeZone> fixedZone = timeZoneFromICalTimeZone(fixed.get());
    ASSERT_TRUE(fixedZone);
    EXPECT_EQ(offsetFromUtc(*fixedZone, utc(2024, 1, 1)), 20700);
    EXPECT_EQ(offsetFromUtc(*fixedZone, utc(2024, 7, 1)), 20700);

    // Nothing to go by: the name is kept, as everywhere else.
    LogCapture log;
    const ICalZone bare = zoneFromVTimezone("BEGIN:VTIMEZONE\nTZID:Caf\xe9 Zone\nEND:VTIMEZONE\n");
    const std::optional<QTimeZone> kept = timeZoneFromICalTimeZone(bare.get());
    ASSERT_TRUE(kept);
    EXPECT_EQ(QString::fromUtf8(kept->id()), QStringLiteral("Caf\u00e9 Zone"));
    EXPECT_TRUE(log.contains(QStringLiteral("TimeZones: unknown time zone Caf\u00e9 Zone")));
}

TEST(ICalTimeConversion, OffsetsComeBeforeEveryLastResort) {
    ScopedManualClock clock(utc(2024, 5, 1));
    ScopedSystemZone system("Etc/UTC");
    // Names that look like something known but are not: the offsets and the
    // rules decide, not the word "Israel" nor the display name's own offset.
    for (const char *tzid : {"Israel-like Central European", "(UTC+01:00) Nowhere, Elsewhere"}) {
        const ICalZone central =
            zoneFromVTimezone(vtimezone(tzid, "+0100", "+0200", "FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU",
                                        "FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU"));
        const std::optional<QTimeZone> found = timeZoneFromICalTimeZone(central.get());
        ASSERT_TRUE(found) << tzid;
        expectSameOffsetsFor(*found, zone("Europe/Berlin"), 2023, 2025);
    }
}

TEST(ICalTimeConversion, AnswersAreCachedPerTzid) {
    const ICalZone first = zoneFromVTimezone(fixedVTimezone("Cached Zone", "+0300"));
    const ICalZone second = zoneFromVTimezone(fixedVTimezone("Cached Zone", "+0400"));
    const std::optional<QTimeZone> answer = timeZoneFromICalTimeZone(first.get());
    ASSERT_TRUE(answer);
    EXPECT_EQ(offsetFromUtc(*answer, utc(2024, 1, 1)), 10800);
    EXPECT_EQ(timeZoneFromICalTimeZone(second.get()), answer);
}

TEST(ICalTimeConversion, ANewNameTranslationChangesWhatATzidMeans) {
    const ICalZone office = zoneFromVTimezone(fixedVTimezone("Head Office Time", "+0000"));
    TimeZones::setNameTranslator([](const QString &name) -> std::optional<QString> {
        return name == QLatin1String("Head Office Time")
                   ? std::optional(QStringLiteral("Asia/Tokyo"))
                   : std::nullopt;
    });
    EXPECT_EQ(timeZoneFromICalTimeZone(office.get()), zone("Asia/Tokyo"));
    EXPECT_EQ(timeZoneFromICalTimeZone(office.get()), zone("Asia/Tokyo"));
    TimeZones::setNameTranslator([](const QString &name) -> std::optional<QString> {
        return name == QLatin1String("Head Office Time")
                   ? std::optional(QStringLiteral("Europe/Paris"))
                   : std::nullopt;
    });
    EXPECT_EQ(timeZoneFromICalTimeZone(office.get()), zone("Europe/Paris"));
    TimeZoneUtilities::installNameTranslation();
}
