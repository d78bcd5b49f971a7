#include <gtest/gtest.h>

#include "ICalTestSupport.h"
#include "TimeTestSupport.h"
#include "model/foundation/WallClock.h"
#include "support/TestSupport.h"
#include "time/TransitionRule.h"
#include "time/VTimezoneGenerator.h"

namespace {

ICalComponent generate(const char *name, int firstYear, int lastYear, bool historical) {
    return ICalComponent(VTimezoneGenerator::newVTimezoneForRangeOfYears(zone(name), firstYear,
                                                                         lastYear, historical));
}

// The iCalendar library's own reading of a VTIMEZONE must agree with the
// platform's zone database at every sampled instant.
void expectLibraryAgrees(const char *name, icalcomponent *vtimezone, Date from, Date to) {
    const ICalZone library = zoneFromVTimezone(textOf(vtimezone));
    const QTimeZone platform = zone(name);
    int mismatches = 0;
    for (Date date = from; date < to && mismatches < 5; date = date.addingSeconds(6 * 3600)) {
        icaltimetype time = icaltime_from_timet_with_zone(time_t(date.secondsSince1970()), 0,
                                                          icaltimezone_get_utc_timezone());
        int isDaylight = 0;
        const int offset =
            icaltimezone_get_utc_offset_of_utc_time(library.get(), &time, &isDaylight);
        if (offset != offsetFromUtc(platform, date)) {
            ++mismatches;
            ADD_FAILURE() << name << " at " << date.description().toStdString() << ": " << offset
                          << " instead of " << offsetFromUtc(platform, date);
        }
    }
}

int countParts(icalcomponent *vtimezone, icalcomponent_kind kind) {
    return icalcomponent_count_components(vtimezone, kind);
}

}  // namespace

TEST(VTimezoneGenerator, HistoricalRulesFollowTheZoneDatabase) {
    // Rules that changed in the range: New York 2007, Lord Howe and Sydney
    // 2008, São Paulo gave up daylight time in 2019.
    for (const char *name :
         {"Europe/Berlin", "America/New_York", "Australia/Lord_Howe", "Australia/Sydney",
          "America/Sao_Paulo", "Asia/Tokyo", "Europe/London"}) {
        const ICalComponent vtimezone = generate(name, 2000, 2030, true);
        expectLibraryAgrees(name, vtimezone.get(), utc(2000, 7, 1), utc(2030, 12, 31));
    }
}

TEST(VTimezoneGenerator, ARuleChangeEndsTheOldRuleBeforeTheNewYear) {
    const ICalComponent vtimezone = generate("America/New_York", 2005, 2010, true);
    EXPECT_EQ(countParts(vtimezone.get(), ICAL_XDAYLIGHT_COMPONENT), 2);
    EXPECT_EQ(countParts(vtimezone.get(), ICAL_XSTANDARD_COMPONENT), 2);
    const QByteArray text = textOf(vtimezone.get());
    EXPECT_TRUE(text.contains("RRULE:FREQ=YEARLY;UNTIL=20070101T045959Z;BYDAY=1SU;BYMONTH=4\n"))
        << text.constData();
    EXPECT_TRUE(text.contains("RRULE:FREQ=YEARLY;UNTIL=20070101T045959Z;BYDAY=-1SU;BYMONTH=10\n"))
        << text.constData();
    EXPECT_TRUE(text.contains("DTSTART:20070311T020000\n"));
    EXPECT_TRUE(text.contains("RRULE:FREQ=YEARLY;BYDAY=1SU;BYMONTH=11\n"));
    expectLibraryAgrees("America/New_York", vtimezone.get(), utc(2005, 7, 1), utc(2010, 12, 31));
}

TEST(VTimezoneGenerator, TheCurrentFormStartsIn1970) {
    ScopedManualClock clock(utc(2024, 5, 1));
    const ICalComponent vtimezone = generate("Europe/Berlin", 1900, 2100, false);
    const QByteArray text = textOf(vtimezone.get());
    EXPECT_EQ(text,
              "BEGIN:VTIMEZONE\n"
              "TZID:Europe/Berlin\n"
              "BEGIN:DAYLIGHT\n"
              "DTSTART:19700329T020000\n"
              "TZOFFSETTO:+0200\n"
              "TZOFFSETFROM:+0100\n"
              "RRULE:FREQ=YEARLY;BYDAY=-1SU;BYMONTH=3\n"
              "TZNAME:CEST\n"
              "END:DAYLIGHT\n"
              "BEGIN:STANDARD\n"
              "DTSTART:19701025T030000\n"
              "TZOFFSETTO:+0100\n"
              "TZOFFSETFROM:+0200\n"
              "RRULE:FREQ=YEARLY;BYDAY=-1SU;BYMONTH=10\n"
              "TZNAME:CET\n"
              "END:STANDARD\n"
              "END:VTIMEZONE\n");
    expectLibraryAgrees("Europe/Berlin", vtimezone.get(), utc(2020, 1, 1), utc(2030, 1, 1));
}

TEST(VTimezoneGenerator, SouthernAndHalfHourZones) {
    ScopedManualClock clock(utc(2024, 5, 1));
    const ICalComponent lordHowe = generate("Australia/Lord_Howe", 0, 0, false);
    const QByteArray text = textOf(lordHowe.get());
    // January is in daylight time: the first change of the year is to standard.
    EXPECT_LT(text.indexOf("BEGIN:STANDARD"), text.indexOf("BEGIN:DAYLIGHT"));
    EXPECT_TRUE(text.contains("DTSTART:19700405T020000\nTZOFFSETTO:+1030\nTZOFFSETFROM:+1100\n"))
        << text.constData();
    EXPECT_TRUE(text.contains("DTSTART:19701004T020000\nTZOFFSETTO:+1100\nTZOFFSETFROM:+1030\n"))
        << text.constData();
    expectLibraryAgrees("Australia/Lord_Howe", lordHowe.get(), utc(2020, 1, 1), utc(2030, 1, 1));
}

TEST(VTimezoneGenerator, AZoneWithoutDaylightTimeHasOneStandardPart) {
    ScopedManualClock clock(utc(2024, 5, 1));
    const ICalComponent tokyo = generate("Asia/Tokyo", 0, 0, false);
    EXPECT_EQ(textOf(tokyo.get()),
              "BEGIN:VTIMEZONE\n"
              "TZID:Asia/Tokyo\n"
              "BEGIN:STANDARD\n"
              "DTSTART:19700101T000000\n"
              "TZOFFSETTO:+0900\n"
              "TZOFFSETFROM:+0900\n"
              "TZNAME:JST\n"
              "END:STANDARD\n"
              "END:VTIMEZONE\n");
    const ICalComponent historical = generate("Asia/Tokyo", 1990, 2030, true);
    EXPECT_EQ(countParts(historical.get(), ICAL_XSTANDARD_COMPONENT), 1);
}

TEST(VTimezoneGenerator, TransitionRulesReadTheWeekdayOrdinal) {
    const QTimeZone berlin = zone("Europe/Berlin");
    EXPECT_EQ(rruleForDate(berlin, utc(2024, 3, 31, 1)).toString(),
              QStringLiteral("FREQ=YEARLY;BYDAY=-1SU;BYMONTH=3"));
    // The second Sunday of March in New York; 4th and 5th count as last.
    EXPECT_EQ(rruleForDate(zone("America/New_York"), utc(2024, 3, 10, 7)),
              (TransitionRule{3, 1, 2}));
    EXPECT_EQ(rruleForDate(berlin, utc(2024, 3, 24, 12)), (TransitionRule{3, 1, -1}));
    EXPECT_EQ(rruleForDate(berlin, utc(2024, 3, 22, 12)), (TransitionRule{3, 6, -1}));
    EXPECT_EQ((TransitionRule{3, 1, -1}).dayInYear(1970), 29);
    EXPECT_EQ((TransitionRule{11, 1, 1}).dayInYear(2024), 3);
    EXPECT_EQ((TransitionRule{2, 5, -1}).dayInYear(2024), 29);
    // The text is the library's own canonical form of the rule.
    icalrecurrencetype rule = icalrecurrencetype_from_string("FREQ=YEARLY;BYMONTH=3;BYDAY=2SU");
    char *text = icalrecurrencetype_as_string_r(&rule);
    EXPECT_EQ(QString::fromLatin1(text), (TransitionRule{3, 1, 2}).toString());
    icalmemory_free_buffer(text);
}
