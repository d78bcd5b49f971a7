#include "time/ICalTimeConversion.h"

#include <libical/ical.h>
#include <QHash>
#include <QStringDecoder>
#include <mutex>
#include <vector>

#include "model/foundation/TimeZones.h"
#include "model/foundation/WallClock.h"
#include "time/CalendarDates.h"
#include "time/TimeZoneUtilities.h"
#include "time/ZoneGuess.h"

namespace {

QString decodedTzid(const char *tzid) {
    const QByteArray bytes(tzid);
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(bytes);
    return utf8.hasError() ? QString::fromLatin1(bytes) : text;
}

// Zone handles by name and the answers of timeZoneFromICalTimeZone by TZID:
// both live as long as the process (the handles are referenced by parsed
// iCalendar data, so they are never freed).
struct ZoneTables {
    std::mutex lock;
    QHash<QString, icaltimezone *> handles;
    QHash<QString, QTimeZone> answers;
};

ZoneTables &zoneTables() {
    static auto *tables = new ZoneTables;
    return *tables;
}

icaltimezone *newNameOnlyZone(const QString &name) {
    icaltimezone *zone = icaltimezone_new();
    icalcomponent *component = icalcomponent_new(ICAL_VTIMEZONE_COMPONENT);
    icalcomponent_add_property(component, icalproperty_new_tzid(name.toUtf8().constData()));
    icaltimezone_set_component(zone, component);
    return zone;
}

// The part of a VTIMEZONE of one kind with the latest start: the rules in
// force now.
icalcomponent *latestPart(icalcomponent *vtimezone, icalcomponent_kind kind) {
    icalcomponent *latest = nullptr;
    icaltimetype latestStart = icaltime_null_time();
    for (icalcomponent *part = icalcomponent_get_first_component(vtimezone, kind); part;
         part = icalcomponent_get_next_component(vtimezone, kind)) {
        const icaltimetype start = icalcomponent_get_dtstart(part);
        if (!latest || icaltime_compare(start, latestStart) >= 0) {
            latest = part;
            latestStart = start;
        }
    }
    return latest;
}

std::optional<int> offsetProperty(icalcomponent *part, icalproperty_kind kind) {
    icalproperty *property = part ? icalcomponent_get_first_property(part, kind) : nullptr;
    if (!property)
        return std::nullopt;
    return kind == ICAL_TZOFFSETTO_PROPERTY ? icalproperty_get_tzoffsetto(property)
                                            : icalproperty_get_tzoffsetfrom(property);
}

// The part's RRULE as TransitionRule writes rules: only the frequency, the
// interval and the BY lists count.
std::optional<QString> ruleText(icalcomponent *part) {
    icalproperty *property =
        part ? icalcomponent_get_first_property(part, ICAL_RRULE_PROPERTY) : nullptr;
    if (!property)
        return std::nullopt;
    icalrecurrencetype rule = icalproperty_get_rrule(property);
    rule.until = icaltime_null_time();
    rule.count = 0;
    rule.week_start = ICAL_MONDAY_WEEKDAY;
    char *text = icalrecurrencetype_as_string_r(&rule);
    QString result = QString::fromUtf8(text);
    icalmemory_free_buffer(text);
    return result;
}

std::optional<QString> xProperty(icalcomponent *component, const char *name) {
    for (icalproperty *property = icalcomponent_get_first_property(component, ICAL_X_PROPERTY);
         property; property = icalcomponent_get_next_property(component, ICAL_X_PROPERTY)) {
        if (qstricmp(icalproperty_get_x_name(property), name) == 0)
            return QString::fromUtf8(icalproperty_get_x(property));
    }
    return std::nullopt;
}

// Steps that need the VTIMEZONE itself, for a TZID no name lookup knows.
QTimeZone zoneFromDescription(const QString &tzid, icalcomponent *vtimezone) {
    if (vtimezone) {
        if (const auto named = xProperty(vtimezone, "X-ENTOURAGE-CFTIMEZONE"))
            if (const auto zone = TimeZones::knownZoneNamed(*named))
                return *zone;
    }
    icalcomponent *standard = vtimezone ? latestPart(vtimezone, ICAL_XSTANDARD_COMPONENT) : nullptr;
    icalcomponent *daylight = vtimezone ? latestPart(vtimezone, ICAL_XDAYLIGHT_COMPONENT) : nullptr;
    std::optional<int> standardOffset = offsetProperty(standard, ICAL_TZOFFSETTO_PROPERTY);
    if (!standardOffset)
        standardOffset = offsetProperty(daylight, ICAL_TZOFFSETFROM_PROPERTY);
    std::optional<int> daylightOffset = offsetProperty(daylight, ICAL_TZOFFSETTO_PROPERTY);
    if (!daylightOffset)
        daylightOffset = offsetProperty(standard, ICAL_TZOFFSETFROM_PROPERTY);

    const bool hasDaylight = standardOffset && daylightOffset && *standardOffset != *daylightOffset;
    const ObservedZoneRules observed{standardOffset.value_or(0), daylightOffset.value_or(0),
                                     ruleText(standard), ruleText(daylight)};
    if (hasDaylight) {
        if (auto zone = ZoneGuess::zoneMatching(observed, ZoneGuess::RuleMatching::OffsetsAndRules))
            return *zone;
    }
    if (tzid.contains(QLatin1String("israel"), Qt::CaseInsensitive))
        return QTimeZone(QByteArrayLiteral("Asia/Jerusalem"));
    if (hasDaylight) {
        if (auto zone = ZoneGuess::zoneMatching(observed, ZoneGuess::RuleMatching::OffsetsOnly))
            return *zone;
    }
    if (standardOffset) {
        const QTimeZone fixed(*standardOffset);
        if (fixed.isValid())
            return fixed;
    }
    return TimeZones::zoneNamed(tzid).value_or(TimeZones::universal());
}

// The answers of timeZoneFromICalTimeZone() met last on this thread, by the
// TZID's bytes: a file names a few zones for many dates, and looking a name
// up again (decoding it, hashing it, taking the lock) cost more than the
// rest of reading a date. Dropped when another name translation is
// installed, which changes what names mean.
struct RecentZoneAnswer {
    QByteArray tzid;
    QTimeZone zone;
};
constexpr std::size_t kRecentZoneAnswersKept = 16;
thread_local std::vector<RecentZoneAnswer> t_recentZoneAnswers;
thread_local std::size_t t_nextZoneAnswerToReplace = 0;
thread_local quint64 t_recentZoneAnswersGeneration = 0;

const QTimeZone *recentZoneAnswer(const char *tzid) {
    const quint64 generation = TimeZones::nameTranslatorGeneration();
    if (generation != t_recentZoneAnswersGeneration) {
        t_recentZoneAnswers.clear();
        t_recentZoneAnswersGeneration = generation;
    }
    for (const RecentZoneAnswer &answer : t_recentZoneAnswers) {
        if (qstrcmp(answer.tzid.constData(), tzid) == 0)
            return &answer.zone;
    }
    return nullptr;
}

void rememberZoneAnswer(const char *tzid, const QTimeZone &zone) {
    if (t_recentZoneAnswers.size() < kRecentZoneAnswersKept) {
        t_recentZoneAnswers.push_back({QByteArray(tzid), zone});
        return;
    }
    t_recentZoneAnswers[t_nextZoneAnswerToReplace] = {QByteArray(tzid), zone};
    t_nextZoneAnswerToReplace = (t_nextZoneAnswerToReplace + 1) % kRecentZoneAnswersKept;
}

// builtinTimeZone() of a zone's id, remembered per thread: every zoned date
// written asks for it.
icaltimezone *builtinZoneOfId(const QByteArray &id) {
    thread_local QHash<QByteArray, icaltimezone *> handles;
    icaltimezone *&handle = handles[id];
    if (!handle)
        handle = ICalTimeConversion::builtinTimeZone(QString::fromUtf8(id));
    return handle;
}

// timeZoneFromICalTimeZone() without the answers remembered per thread.
QTimeZone timeZoneOfTzid(const char *rawTzid, icaltimezone *zone) {
    const QString tzid = decodedTzid(rawTzid);
    if (auto known = TimeZones::knownZoneNamed(tzid))
        return *known;
    if (const auto platformName = TimeZoneUtilities::platformNameForForeignName(tzid))
        if (auto known = TimeZones::knownZoneNamed(*platformName))
            return *known;
    ZoneTables &tables = zoneTables();
    {
        std::lock_guard guard(tables.lock);
        const auto cached = tables.answers.constFind(tzid);
        if (cached != tables.answers.constEnd())
            return *cached;
    }
    const QTimeZone answer = zoneFromDescription(tzid, icaltimezone_get_component(zone));
    std::lock_guard guard(tables.lock);
    tables.answers.insert(tzid, answer);
    return answer;
}

}  // namespace

namespace ICalTimeConversion {

icaltimetype floatingIcaltime(const WallClock &clock) {
    icaltimetype time = icaltime_null_time();
    time.year = clock.year;
    time.month = clock.month;
    time.day = clock.day;
    time.hour = clock.hour;
    time.minute = clock.minute;
    time.second = clock.second;
    return time;
}

std::optional<CalendarDate> dateWithIcaltime(const icaltimetype &time) {
    if (icaltime_is_null_time(time))
        return std::nullopt;
    const std::optional<QTimeZone> zone =
        time.zone ? timeZoneFromICalTimeZone(const_cast<icaltimezone *>(time.zone)) : std::nullopt;
    return CalendarDates::dateWithYear(time.year, time.month, time.day, time.hour, time.minute,
                                       time.second, time.is_date != 0,
                                       zone.value_or(TimeZones::universal()));
}

std::optional<CalendarDate> dateWithIcaltime(const icaltimetype &time,
                                             const QTimeZone &dateOnlyAtMidnightInTimezone) {
    if (!time.is_date || icaltime_is_null_time(time))
        return dateWithIcaltime(time);
    return CalendarDate::fromWallClock(WallClock{time.year, time.month, time.day},
                                       dateOnlyAtMidnightInTimezone);
}

icaltimetype icaltimeWithDateOnly(const CalendarDate &date, bool dateOnly, bool floating) {
    if (floating)
        return floatingIcaltime(date.wallClock());
    if (dateOnly) {
        icaltimetype time = floatingIcaltime(WallClock::of(date.date(), QTimeZone::utc()));
        time.hour = time.minute = time.second = 0;
        time.is_date = 1;
        time.zone = icaltimezone_get_utc_timezone();
        return time;
    }
    icaltimetype time = floatingIcaltime(date.wallClock());
    const QTimeZone zone = date.effectiveZone();
    time.zone = date.isUniversal() ? icaltimezone_get_utc_timezone() : builtinZoneOfId(zone.id());
    time.is_daylight = isDaylightTime(zone, date.date()) ? 1 : 0;
    return time;
}

icaltimetype icaltimeDistantPast() {
    icaltimetype time = floatingIcaltime(WallClock{1976, 4, 1, 0, 55, 45});
    time.zone = icaltimezone_get_utc_timezone();
    return time;
}

bool isIcaltimeDistantPast(const icaltimetype &time) {
    return time.year == 1976;
}

icaltimezone *builtinTimeZone(const QString &name) {
    if (name.isEmpty() || name == QLatin1String("UTC") || name == QLatin1String("GMT"))
        return icaltimezone_get_utc_timezone();
    ZoneTables &tables = zoneTables();
    std::lock_guard guard(tables.lock);
    icaltimezone *&handle = tables.handles[name];
    if (!handle)
        handle = newNameOnlyZone(name);
    return handle;
}

std::optional<QTimeZone> timeZoneFromICalTimeZone(icaltimezone *zone) {
    const char *rawTzid = zone ? icaltimezone_get_tzid(zone) : nullptr;
    if (!rawTzid)
        return std::nullopt;
    if (const QTimeZone *recent = recentZoneAnswer(rawTzid))
        return *recent;
    const QTimeZone answer = timeZoneOfTzid(rawTzid, zone);
    rememberZoneAnswer(rawTzid, answer);
    return answer;
}

}  // namespace ICalTimeConversion
