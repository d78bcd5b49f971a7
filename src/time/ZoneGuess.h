#pragma once

#include <QString>
#include <QStringList>
#include <QTimeZone>
#include <optional>

// What a VTIMEZONE tells of its zone: the standard and daylight offsets and
// the yearly rules of the changes into them (recurrence texts in the order
// TransitionRule::toString writes them, without UNTIL or COUNT).
struct ObservedZoneRules {
    int standardOffset = 0;
    int daylightOffset = 0;
    std::optional<QString> standardRule;
    std::optional<QString> daylightRule;
};

// Finding the platform zone that behaves as a foreign zone description does.
namespace ZoneGuess {

// The zone names in the order they are tried: the system zone's, the
// "TopTimeZones" names, then every known zone sorted by region in the order
// "Europe", "America", "Australia", "Pacific", "Asia" (other names last),
// names of the same rank by name. Each name appears once.
QStringList candidateNames();

enum class RuleMatching { OffsetsAndRules, OffsetsOnly };

// The first candidate that matches on 21 December and 21 June (00:00 in the
// system zone) of the current year: of those two dates, the one on which the
// candidate is not in daylight time is its standard date and the other its
// daylight date; its offsets on them must be the standard and the daylight
// offsets, and with OffsetsAndRules the rules of its next transitions after
// them must be the daylight and the standard rules (each one that is given).
std::optional<QTimeZone> zoneMatching(const ObservedZoneRules &observed, RuleMatching matching);

}  // namespace ZoneGuess
