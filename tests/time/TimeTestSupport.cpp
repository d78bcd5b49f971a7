#include "TimeTestSupport.h"

#include <gtest/gtest.h>

QTimeZone zone(const char *name) {
    QTimeZone result{QByteArray(name)};
    EXPECT_TRUE(result.isValid()) << "zone database (tzdata) lacks " << name;
    return result;
}

Date utc(int year, int month, int day, int hour, int minute, int second) {
    return Date::fromDateTime(
        QDateTime(QDate(year, month, day), QTime(hour, minute, second), Qt::UTC));
}

QDateTime readIn(Date date, const QTimeZone &zone) {
    return date.toDateTime().toTimeZone(zone);
}

ScopedSystemZone::ScopedSystemZone(const char *name) {
    TimeZones::setSystemZone(zone(name));
}

ScopedSystemZone::~ScopedSystemZone() {
    TimeZones::setSystemZone(std::nullopt);
}
