#pragma once

#include <QDateTime>
#include <QMetaType>
#include <compare>

// An instant, as seconds since 2001-01-01 00:00:00 UTC in double precision.
// This is the one representation of absolute time throughout the program: the
// store, property lists and every "now" use it. A Date has no zone; zoned,
// floating and all-day times are built on top of it.
class Date {
public:
    // Seconds between 1970-01-01 and 2001-01-01 (UTC).
    static constexpr double kSecondsFrom1970 = 978307200.0;
    static constexpr double kSecondsPerDay = 86400.0;

    constexpr Date() = default;
    constexpr explicit Date(double secondsSinceReference) : m_seconds(secondsSinceReference) {}

    static constexpr Date fromSecondsSince1970(double seconds) {
        return Date(seconds - kSecondsFrom1970);
    }
    // An invalid QDateTime has no instant; callers get the reference date.
    static Date fromDateTime(const QDateTime &dateTime);
    // The current time of the process clock (see Clock).
    static Date now();

    constexpr double secondsSinceReference() const { return m_seconds; }
    constexpr double secondsSince1970() const { return m_seconds + kSecondsFrom1970; }
    // In UTC, rounded to the millisecond; invalid for an instant more than
    // about 292 million years away, or one that is not a number.
    QDateTime toDateTime() const;

    constexpr Date addingSeconds(double seconds) const { return Date(m_seconds + seconds); }
    constexpr double secondsSince(Date other) const { return m_seconds - other.m_seconds; }

    // "yyyy-MM-ddTHH:mm:ss.zzzZ", for logs and diagnostics; the number of
    // seconds when there is no such time.
    QString description() const;

    constexpr auto operator<=>(const Date &) const = default;

private:
    double m_seconds = 0.0;
};

Q_DECLARE_METATYPE(Date)
