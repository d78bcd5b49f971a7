#pragma once

#include <QDateTime>
#include <QTimeZone>
#include <optional>

#include "model/foundation/Date.h"
#include "model/foundation/TimeZones.h"

// A platform zone by name; fails the test when the zone database lacks it
// (tzdata is a required package of the tests).
QTimeZone zone(const char *name);

// The instant of a UTC wall-clock time, computed by Qt (not by our own
// calendar code, which the tests check against it).
Date utc(int year, int month, int day, int hour = 0, int minute = 0, int second = 0);
// The instant of a wall-clock time in a zone, as Qt computes it.
QDateTime readIn(Date date, const QTimeZone &zone);

// Makes `name` the system zone for the lifetime of the object.
class ScopedSystemZone {
public:
    explicit ScopedSystemZone(const char *name);
    ~ScopedSystemZone();
    ScopedSystemZone(const ScopedSystemZone &) = delete;
    ScopedSystemZone &operator=(const ScopedSystemZone &) = delete;
};
