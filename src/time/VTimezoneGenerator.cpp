#include "time/VTimezoneGenerator.h"

#include <libical/ical.h>
#include <QDateTime>
#include <optional>
#include <tuple>
#include <vector>

#include "model/foundation/Clock.h"
#include "model/foundation/WallClock.h"
#include "time/ICalTimeConversion.h"
#include "time/TransitionRule.h"

namespace {

// One change of offset, as it goes into a STANDARD or DAYLIGHT part.
struct Transition {
    bool standard = true;
    double startSeconds = 0;  // local wall time of the change, seconds since 1970
    int toOffset = 0;
    int fromOffset = 0;
    std::optional<TransitionRule> rule;
    std::optional<double> untilSeconds;  // UTC, seconds since 1970
    QString abbreviation;
};

struct Reading {
    Date date;
    int offset;
    bool daylight;
    QString abbreviation;
};

Reading readingAt(const QTimeZone &zone, const WallClock &clock) {
    const Date date = clock.instantIn(zone);
    const QDateTime dateTime = date.toDateTime();
    return Reading{date, offsetFromUtc(zone, date), zone.isDaylightTime(dateTime),
                   zone.abbreviation(dateTime)};
}

std::optional<Date> nextTransitionAfter(const QTimeZone &zone, Date date) {
    const QTimeZone::OffsetData next = zone.nextTransition(date.toDateTime());
    if (!next.atUtc.isValid())
        return std::nullopt;
    return Date::fromDateTime(next.atUtc);
}

class TransitionList {
public:
    // Adds the transition unless it only repeats the last one of its kind. A
    // new rule ends the rule of its kind it replaces, a change without a rule
    // ends every rule; they end just before `yearStart`, so that they do not
    // fire again in the year the change begins.
    void add(Transition transition, Date yearStart) {
        Transition *previous = lastOfKind(transition.standard);
        if (previous) {
            if (previous->toOffset == transition.toOffset && previous->rule == transition.rule)
                return;
            if (transition.rule) {
                end(*previous, yearStart);
            } else {
                for (Transition &earlier : m_transitions)
                    end(earlier, yearStart);
            }
        }
        m_transitions.push_back(std::move(transition));
    }
    // A year in which no change of a kind comes ends that kind's rule.
    void endRule(bool standard, Date yearStart) {
        if (Transition *previous = lastOfKind(standard))
            end(*previous, yearStart);
    }
    const std::vector<Transition> &transitions() const { return m_transitions; }

private:
    Transition *lastOfKind(bool standard) {
        Transition *last = nullptr;
        for (Transition &earlier : m_transitions) {
            if (earlier.standard == standard)
                last = &earlier;
        }
        return last;
    }
    static void end(Transition &transition, Date yearStart) {
        if (transition.rule && !transition.untilSeconds)
            transition.untilSeconds = yearStart.secondsSince1970() - 1;
    }

    std::vector<Transition> m_transitions;
};

void addYear(TransitionList &list, const QTimeZone &zone, int year) {
    const Reading january = readingAt(zone, WallClock{year, 1, 1});
    const Reading june = readingAt(zone, WallClock{year, 6, 1});
    if (!january.daylight && !june.daylight) {
        list.add(Transition{true, january.date.secondsSince1970() + january.offset, january.offset,
                            january.offset, std::nullopt, std::nullopt, january.abbreviation},
                 january.date);
        return;
    }
    // The change after 1 January comes before June, the change after June
    // before the next year; a year without one ends the rule of its kind.
    const Date nextJanuary = WallClock{year + 1, 1, 1}.instantIn(zone);
    for (const auto &[from, to, before] :
         {std::tuple(january, june, june.date), std::tuple(june, january, nextJanuary)}) {
        const std::optional<Date> change = nextTransitionAfter(zone, from.date);
        if (!change || *change >= before) {
            list.endRule(from.daylight, january.date);
            continue;
        }
        list.add(
            Transition{from.daylight, change->secondsSince1970() + from.offset, to.offset,
                       from.offset, rruleForDate(zone, *change), std::nullopt, to.abbreviation},
            january.date);
    }
}

// The start moved to 1970 at the same local time of day; a recurring one to
// its rule's first occurrence in 1970.
double startIn1970(const Transition &transition) {
    WallClock clock = WallClock::fromLocalSeconds(transition.startSeconds);
    clock.year = 1970;
    clock.month = 1;
    clock.day = 1;
    if (transition.rule) {
        clock.month = transition.rule->month;
        clock.day = transition.rule->dayInYear(1970);
    }
    return clock.localSeconds();
}

icalcomponent *newPart(const Transition &transition, bool historicallyAccurate) {
    icalcomponent *part = icalcomponent_new(transition.standard ? ICAL_XSTANDARD_COMPONENT
                                                                : ICAL_XDAYLIGHT_COMPONENT);
    const double start = historicallyAccurate ? transition.startSeconds : startIn1970(transition);
    icalcomponent_add_property(part, icalproperty_new_dtstart(ICalTimeConversion::floatingIcaltime(
                                         WallClock::fromLocalSeconds(start))));
    icalcomponent_add_property(part, icalproperty_new_tzoffsetto(transition.toOffset));
    icalcomponent_add_property(part, icalproperty_new_tzoffsetfrom(transition.fromOffset));
    if (transition.rule) {
        icalrecurrencetype rule =
            icalrecurrencetype_from_string(transition.rule->toString().toLatin1().constData());
        if (transition.untilSeconds) {
            rule.until = icaltime_from_timet_with_zone(time_t(*transition.untilSeconds), 0,
                                                       icaltimezone_get_utc_timezone());
        }
        icalcomponent_add_property(part, icalproperty_new_rrule(rule));
    }
    if (!transition.abbreviation.isEmpty()) {
        icalcomponent_add_property(
            part, icalproperty_new_tzname(transition.abbreviation.toUtf8().constData()));
    }
    return part;
}

}  // namespace

namespace VTimezoneGenerator {

icalcomponent *newVTimezoneForRangeOfYears(const QTimeZone &zone, int firstYear, int lastYear,
                                           bool historicallyAccurate) {
    if (!historicallyAccurate)
        firstYear = lastYear = WallClock::of(Clock::shared().now(), zone).year;
    TransitionList list;
    for (int year = firstYear; year <= lastYear; ++year)
        addYear(list, zone, year);

    icalcomponent *vtimezone = icalcomponent_new(ICAL_VTIMEZONE_COMPONENT);
    icalcomponent_add_property(vtimezone, icalproperty_new_tzid(zone.id().constData()));
    for (const Transition &transition : list.transitions())
        icalcomponent_add_component(vtimezone, newPart(transition, historicallyAccurate));
    return vtimezone;
}

}  // namespace VTimezoneGenerator
