#include "time/recurrence/ZoneOffsets.h"

#include <QHash>
#include <algorithm>
#include <memory>
#include <mutex>
#include <vector>

namespace {

constexpr qint64 kFirstYear = 1900;
constexpr qint64 kLastYear = 2200;

// The offset in force from `utc` (seconds since 1970) on.
struct Period {
    qint64 utc;
    int offset;
};

struct Table {
    bool usable = false;
    qint64 from = 0;  // seconds since 1970, local, of the covered span
    qint64 to = 0;
    int initialOffset = 0;        // before the first transition
    std::vector<Period> periods;  // ascending
};

QDateTime utcYearStart(qint64 year) {
    return QDateTime(QDate(int(year), 1, 1), QTime(0, 0), QTimeZone::utc());
}

int offsetAt(const QTimeZone &zone, qint64 utc) {
    return zone.offsetFromUtc(QDateTime::fromSecsSinceEpoch(utc, QTimeZone::utc()));
}

void probeTransitions(const QTimeZone &zone, Table &table, qint64 until) {
    constexpr qint64 kStep = 15 * 86400;
    qint64 at = table.periods.empty() ? utcYearStart(kFirstYear).toSecsSinceEpoch()
                                      : table.periods.back().utc;
    int offset = offsetAt(zone, at);
    while (at < until) {
        const qint64 next = at + kStep;
        const int nextOffset = offsetAt(zone, next);
        if (nextOffset != offset) {
            qint64 low = at;     // offset in force
            qint64 high = next;  // nextOffset in force
            while (high - low > 1) {
                const qint64 middle = low + (high - low) / 2;
                (offsetAt(zone, middle) == offset ? low : high) = middle;
            }
            table.periods.push_back({high, nextOffset});
            offset = nextOffset;
        }
        at = next;
    }
}

std::shared_ptr<const Table> buildTable(const QTimeZone &zone) {
    auto table = std::make_shared<Table>();
    if (!zone.isValid())
        return table;
    const QDateTime from = utcYearStart(kFirstYear);
    const QDateTime to = utcYearStart(kLastYear);
    table->initialOffset = zone.offsetFromUtc(from);
    if (zone.hasTransitions()) {
        for (const QTimeZone::OffsetData &transition : zone.transitions(from, to))
            table->periods.push_back(
                {transition.atUtc.toSecsSinceEpoch(), transition.offsetFromUtc});
    }
    // The platform may list transitions only up to some year (2037) while
    // the zone goes on changing by its rule: the later changes are found by
    // probing its offsets every fortnight and halving down to the second.
    const int lastOffset =
        table->periods.empty() ? table->initialOffset : table->periods.back().offset;
    const QDateTime winter = utcYearStart(kLastYear - 1);
    if (zone.offsetFromUtc(winter) != lastOffset ||
        zone.offsetFromUtc(winter.addMonths(6)) != lastOffset)
        probeTransitions(zone, *table, to.toSecsSinceEpoch());
    // A margin of a day keeps clear of the span's ends.
    table->from = from.toSecsSinceEpoch() + 86400;
    table->to = to.toSecsSinceEpoch() - 86400;
    table->usable = true;
    return table;
}

std::shared_ptr<const Table> tableFor(const QTimeZone &zone) {
    static std::mutex lock;
    static QHash<QByteArray, std::shared_ptr<const Table>> tables;
    const QByteArray id = zone.id();
    std::lock_guard<std::mutex> guard(lock);
    std::shared_ptr<const Table> &table = tables[id];
    if (!table)
        table = buildTable(zone);
    return table;
}

}  // namespace

namespace ZoneOffsets {

Date instantOf(const WallClock &clock, const QTimeZone &zone) {
    const std::shared_ptr<const Table> table = tableFor(zone);
    const double localSeconds = clock.localSeconds();
    if (!table->usable || localSeconds < double(table->from) || localSeconds >= double(table->to))
        return clock.instantIn(zone);
    const std::vector<Period> &periods = table->periods;
    // The last period that has begun on its own local clock.
    const auto later = std::upper_bound(periods.begin(), periods.end(), localSeconds,
                                        [](double local, const Period &period) {
                                            return local < double(period.utc + period.offset);
                                        });
    const std::ptrdiff_t index = (later - periods.begin()) - 1;
    const int previousOffset =
        index <= 0 ? table->initialOffset : periods[std::size_t(index) - 1].offset;
    int offset = index < 0 ? table->initialOffset : periods[std::size_t(index)].offset;
    // Still before the change on the previous offset's clock: a reading the
    // clocks repeat, take the earlier instant.
    if (index >= 0 && localSeconds < double(periods[std::size_t(index)].utc + previousOffset))
        offset = previousOffset;
    return Date::fromSecondsSince1970(localSeconds - offset);
}

}  // namespace ZoneOffsets
