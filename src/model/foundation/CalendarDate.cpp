#include "model/foundation/CalendarDate.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <utility>

#include "model/foundation/Log.h"
#include "model/foundation/TimeZones.h"

namespace {

constexpr double kNoon = 43200.0;
// Whole seconds below this are exact in a double and fit a 64-bit integer.
constexpr double kLargestWholeSeconds = 9007199254740992.0;

CalendarDate addExactly(const CalendarDate &date, double seconds) {
    return CalendarDate(date.date().addingSeconds(seconds), date.timeZone());
}

std::atomic<CalendarDate::IntervalAdder> intervalAdder{&addExactly};

// The time and zone halves of the store form, split at the first colon.
std::optional<std::pair<QStringView, QStringView>> splitArchive(QStringView archiveString) {
    const qsizetype colon = archiveString.indexOf(QLatin1Char(':'));
    if (colon < 0)
        return std::nullopt;
    return std::pair(archiveString.left(colon), archiveString.mid(colon + 1));
}

}  // namespace

CalendarDate CalendarDate::fromWallClock(const WallClock &clock, const QTimeZone &zone) {
    return CalendarDate(clock.instantIn(zone), zone);
}

CalendarDate CalendarDate::dateOnly(int year, int month, int day) {
    const WallClock noon{year, month, day, 12, 0, 0, 0.0};
    return CalendarDate(Date::fromSecondsSince1970(noon.localSeconds()), TimeZones::universal());
}

QTimeZone CalendarDate::effectiveZone() const {
    return m_zone.isValid() ? m_zone : TimeZones::systemZone();
}

WallClock CalendarDate::wallClock() const {
    return WallClock::of(m_date, effectiveZone());
}

bool CalendarDate::isUniversal() const {
    return TimeZones::isUniversal(m_zone);
}

bool CalendarDate::isDateOnly() const {
    if (!isUniversal())
        return false;
    // A universal zone has offset zero, and the reference date is a midnight.
    const double secondOfDay = std::fmod(m_date.secondsSinceReference(), Date::kSecondsPerDay);
    return secondOfDay == kNoon || secondOfDay == kNoon - Date::kSecondsPerDay;
}

DateComponents CalendarDate::components() const {
    const WallClock clock = wallClock();
    DateComponents components;
    components.year = clock.year;
    components.month = clock.month;
    components.day = clock.day;
    if (!isDateOnly()) {
        components.hour = clock.hour;
        components.minute = clock.minute;
        components.second = clock.second;
    }
    return components;
}

CalendarDate CalendarDate::addingTimeInterval(double seconds) const {
    return intervalAdder.load()(*this, seconds);
}

void CalendarDate::setIntervalAdder(IntervalAdder adder) {
    intervalAdder.store(adder ? adder : &addExactly);
}

QString CalendarDate::archiveToString() const {
    // Written for every stored date: whole seconds (nearly all of them) are
    // printed as an integer, which reads the same as "%.0f" and costs a tenth
    // of formatting the double.
    const double secondsSinceReference = m_date.secondsSinceReference();
    char seconds[64];
    char *end = nullptr;
    if (std::trunc(secondsSinceReference) == secondsSinceReference &&
        std::fabs(secondsSinceReference) < kLargestWholeSeconds &&
        !(secondsSinceReference == 0 && std::signbit(secondsSinceReference))) {
        end =
            std::to_chars(seconds, seconds + sizeof seconds - 1, qint64(secondsSinceReference)).ptr;
    } else {
        const int length =
            std::snprintf(seconds, sizeof seconds - 1, "%.0f", secondsSinceReference);
        end = seconds + std::clamp(length, 0, int(sizeof seconds) - 2);
    }
    *end++ = ':';
    const QByteArray zoneName = effectiveZone().id();
    QString text;
    text.reserve(qsizetype(end - seconds) + zoneName.size());
    text.append(QLatin1String(seconds, end));
    const bool ascii =
        std::all_of(zoneName.begin(), zoneName.end(), [](char c) { return uchar(c) < 0x80; });
    return ascii ? text.append(QLatin1String(zoneName)) : text.append(QString::fromUtf8(zoneName));
}

bool CalendarDate::getTimeString(QString &timeString, QString &timeZoneString,
                                 QStringView archiveString) {
    const auto halves = splitArchive(archiveString);
    if (!halves)
        return false;
    timeString = halves->first.toString();
    timeZoneString = halves->second.toString();
    return true;
}

namespace {

// The seconds half of a stored date. Plain decimals (what the store writes)
// are read directly; anything else goes through Qt's number parser, which is
// several times slower.
double archivedSeconds(QStringView text, bool *isNumber) {
    constexpr qsizetype kLongest = 64;
    char digits[kLongest];
    const bool plain = text.size() < kLongest && std::all_of(text.begin(), text.end(), [](QChar c) {
                           return (c >= u'0' && c <= u'9') || c == u'-' || c == u'.';
                       });
    if (plain) {
        for (qsizetype i = 0; i < text.size(); ++i)
            digits[i] = char(text[i].unicode());
        double value = 0;
        const auto [end, error] = std::from_chars(digits, digits + text.size(), value);
        if (error == std::errc() && end == digits + text.size()) {
            *isNumber = true;
            return value;
        }
    }
    return text.toDouble(isNumber);
}

}  // namespace

std::optional<CalendarDate> CalendarDate::unarchiveFromString(QStringView archiveString) {
    const auto halves = splitArchive(archiveString);
    if (!halves) {
        logWarning("CalendarDate: no time zone in stored date %@", archiveString.toString());
        return std::nullopt;
    }
    bool isNumber = false;
    const double seconds = archivedSeconds(halves->first.trimmed(), &isNumber);
    if (!isNumber || !std::isfinite(seconds)) {
        logWarning("CalendarDate: no time in stored date %@", archiveString.toString());
        return std::nullopt;
    }
    return CalendarDate(Date(seconds),
                        TimeZones::zoneNamed(halves->second.toString()).value_or(QTimeZone()));
}
