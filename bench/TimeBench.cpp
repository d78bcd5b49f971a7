#include <benchmark/benchmark.h>

#include <QStringList>

#include "model/foundation/CalendarDate.h"
#include "model/foundation/TimeZones.h"

namespace {

constexpr int kDateCount = 1000000;

// 1,000,000 stored calendar dates, one a minute apart from 2024 on, in five
// zones (zoned, floating and all-day times alike).
const QStringList &storedDates() {
    static const QStringList dates = [] {
        const char *const zones[] = {"Europe/Berlin", "America/New_York", "Universal", "Asia/Tokyo",
                                     "Australia/Lord_Howe"};
        QStringList list;
        list.reserve(kDateCount);
        for (int i = 0; i < kDateCount; ++i) {
            list.append(QStringLiteral("%1:%2")
                            .arg(725846400 + qint64(i) * 60)
                            .arg(QLatin1String(zones[i % 5])));
        }
        return list;
    }();
    return dates;
}

// Store string -> calendar date -> store string, for every date.
void BM_CalendarDateStoreRoundTrip(benchmark::State &state) {
    const QStringList &dates = storedDates();
    for (auto _ : state) {
        qsizetype matching = 0;
        for (const QString &text : dates) {
            const std::optional<CalendarDate> date = CalendarDate::unarchiveFromString(text);
            matching += date && date->archiveToString().size() == text.size() ? 1 : 0;
        }
        if (matching != dates.size())
            state.SkipWithError("a stored date did not round-trip");
        benchmark::DoNotOptimize(matching);
    }
    state.SetItemsProcessed(state.iterations() * dates.size());
}
BENCHMARK(BM_CalendarDateStoreRoundTrip)->Unit(benchmark::kMillisecond);

// Wall-clock fields of 1,000,000 zoned dates.
void BM_CalendarDateWallClock(benchmark::State &state) {
    const CalendarDate start(Date(725846400),
                             *TimeZones::zoneNamed(QStringLiteral("Europe/Berlin")));
    for (auto _ : state) {
        qint64 hours = 0;
        for (int i = 0; i < kDateCount; ++i)
            hours += start.addingTimeInterval(i * 60.0).hourOfDay();
        benchmark::DoNotOptimize(hours);
    }
    state.SetItemsProcessed(state.iterations() * kDateCount);
}
BENCHMARK(BM_CalendarDateWallClock)->Unit(benchmark::kMillisecond);

}  // namespace
