#include <gtest/gtest.h>

#include <QRandomGenerator>

#include "time/TimeTestSupport.h"
#include "time/recurrence/ZoneOffsets.h"

namespace {

WallClock reading(int year, int month, int day, int hour, int minute) {
    return WallClock{year, month, day, hour, minute};
}

// Zones with daylight saving time of an hour and of half an hour, one that
// skipped a whole day, one that gave up daylight saving time, one without
// changes, and the universal zone.
const char *const kZones[] = {
    "America/New_York", "Australia/Lord_Howe", "Pacific/Apia", "Asia/Kolkata",
    "Europe/Berlin",    "America/Sao_Paulo",   "UTC"};

TEST(ZoneOffsets, AnswersAsTheWallClockDoesAroundEveryChange) {
    for (const char *name : kZones) {
        const QTimeZone tz = zone(name);
        const QDateTime from(QDate(2005, 1, 1), QTime(0, 0), QTimeZone::utc());
        const QDateTime to(QDate(2030, 1, 1), QTime(0, 0), QTimeZone::utc());
        for (const QTimeZone::OffsetData &change : tz.transitions(from, to)) {
            const QDateTime local = change.atUtc.toTimeZone(tz);
            // Every quarter of an hour from a day before to a day after.
            const QDateTime first = local.addDays(-1);
            for (int quarter = 0; quarter < 8 * 24; ++quarter) {
                const QDateTime at = first.addSecs(quarter * 900);
                const WallClock clock =
                    reading(at.date().year(), at.date().month(), at.date().day(), at.time().hour(),
                            at.time().minute());
                ASSERT_EQ(ZoneOffsets::instantOf(clock, tz), clock.instantIn(tz))
                    << name << " " << at.toString(Qt::ISODate).toStdString();
            }
        }
    }
}

TEST(ZoneOffsets, AnswersAsTheWallClockDoesOverCenturies) {
    QRandomGenerator random(5);
    for (const char *name : kZones) {
        const QTimeZone tz = zone(name);
        for (int i = 0; i < 3000; ++i) {
            const WallClock clock = reading(
                1850 + int(random.bounded(400)), 1 + int(random.bounded(12)),
                1 + int(random.bounded(28)), int(random.bounded(24)), int(random.bounded(60)));
            ASSERT_EQ(ZoneOffsets::instantOf(clock, tz), clock.instantIn(tz))
                << name << " " << clock.year << "-" << clock.month << "-" << clock.day << " "
                << clock.hour << ":" << clock.minute;
        }
    }
}

}  // namespace
