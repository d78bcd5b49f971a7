#include "time/ZoneGuess.h"

#include <QDateTime>
#include <QSet>
#include <algorithm>

#include "model/foundation/Clock.h"
#include "model/foundation/TimeZones.h"
#include "model/foundation/WallClock.h"
#include "time/TimeZoneUtilities.h"
#include "time/TransitionRule.h"

namespace {

int regionRank(const QString &name) {
    static const QStringList regions = {QStringLiteral("Europe"), QStringLiteral("America"),
                                        QStringLiteral("Australia"), QStringLiteral("Pacific"),
                                        QStringLiteral("Asia")};
    const QString region = name.section(QLatin1Char('/'), 0, 0);
    const qsizetype rank = name.contains(QLatin1Char('/')) ? regions.indexOf(region) : -1;
    return rank < 0 ? int(regions.size()) : int(rank);
}

const QStringList &sortedKnownNames() {
    static const QStringList names = [] {
        QStringList all;
        for (const QByteArray &id : QTimeZone::availableTimeZoneIds())
            all.append(QString::fromUtf8(id));
        std::stable_sort(all.begin(), all.end(), [](const QString &a, const QString &b) {
            const int rankA = regionRank(a);
            const int rankB = regionRank(b);
            return rankA != rankB ? rankA < rankB : a < b;
        });
        return all;
    }();
    return names;
}

bool ruleMatches(const std::optional<QString> &observed, const QTimeZone &zone, Date after) {
    if (!observed)
        return true;
    const QTimeZone::OffsetData next = zone.nextTransition(
        QDateTime::fromSecsSinceEpoch(qint64(after.secondsSince1970()), Qt::UTC));
    if (!next.atUtc.isValid())
        return false;
    return rruleForDate(zone, Date::fromDateTime(next.atUtc)).toString() == *observed;
}

}  // namespace

namespace ZoneGuess {

QStringList candidateNames() {
    QStringList names;
    QSet<QString> seen;
    const auto add = [&](const QString &name) {
        if (!name.isEmpty() && !seen.contains(name)) {
            seen.insert(name);
            names.append(name);
        }
    };
    add(QString::fromUtf8(TimeZones::systemZone().id()));
    for (const QString &name : TimeZoneUtilities::topTimeZones())
        add(name);
    for (const QString &name : sortedKnownNames())
        add(name);
    return names;
}

std::optional<QTimeZone> zoneMatching(const ObservedZoneRules &observed, RuleMatching matching) {
    const QTimeZone local = TimeZones::systemZone();
    const int year = WallClock::of(Clock::shared().now(), local).year;
    const Date december = WallClock{year, 12, 21}.instantIn(local);
    const Date june = WallClock{year, 6, 21}.instantIn(local);
    for (const QString &name : candidateNames()) {
        const QTimeZone zone(name.toUtf8());
        if (!zone.isValid())
            continue;
        const bool decemberIsDaylight = zone.isDaylightTime(december.toDateTime());
        const Date standardDate = decemberIsDaylight ? june : december;
        const Date daylightDate = decemberIsDaylight ? december : june;
        if (offsetFromUtc(zone, standardDate) != observed.standardOffset ||
            offsetFromUtc(zone, daylightDate) != observed.daylightOffset)
            continue;
        if (matching == RuleMatching::OffsetsOnly ||
            (ruleMatches(observed.daylightRule, zone, standardDate) &&
             ruleMatches(observed.standardRule, zone, daylightDate)))
            return zone;
    }
    return std::nullopt;
}

}  // namespace ZoneGuess
