// Repeating items: compiling their days, and the agenda of a range.
//
//   BM_CompileDays10000      the compiled days of 10,000 repeating events
//                            (what the background precompiler computes):
//                            daily, weekly, monthly and yearly rules, half of
//                            them endless (capped at 500 occurrences)
//   BM_AgendaWeek/_Year      the occurrences of one week / one year of 2026
//                            in a saved store of 100,000 one-hour events
//                            starting between 2020 and 2030, of which 15%
//                            repeat: 2% of those without end (weekly,
//                            fortnightly, monthly, yearly), the others for 20
//                            days to two years; their days compiled. The
//                            timed part is the expansion on a fresh context
//                            of the saved store. The same for a store of
//                            1,000 items made alike.
#include <benchmark/benchmark.h>

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <map>
#include <memory>

#include "model/CommonDataMO.h"
#include "model/Queries.h"
#include "model/Schema.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/WallClock.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"
#include "time/recurrence/CompiledDays.h"
#include "time/recurrence/ItemRecurrence.h"
#include "time/recurrence/OccurrenceExpansion.h"

namespace {

constexpr int kCompiledSeries = 10000;
constexpr int kAgendaItems = 100000;
constexpr int kRepeatingPercent = 15;

const QTimeZone &newYork() {
    static const QTimeZone zone("America/New_York");
    return zone;
}

const char *const kEndlessRules[] = {"FREQ=WEEKLY;INTERVAL=2", "FREQ=WEEKLY;BYDAY=MO,WE",
                                     "FREQ=MONTHLY;BYDAY=-1FR", "FREQ=YEARLY"};
const char *const kBoundedRules[] = {"FREQ=DAILY;COUNT=20", "FREQ=WEEKLY;COUNT=52",
                                     "FREQ=MONTHLY;BYMONTHDAY=15;COUNT=24",
                                     "FREQ=WEEKLY;INTERVAL=2;BYDAY=TU,TH;COUNT=12"};

RecurrenceRule ruleNumber(int i, bool endless) {
    return *RecurrenceRule::fromICalendarText(
        QString::fromLatin1(endless ? kEndlessRules[i % 4] : kBoundedRules[i % 4]));
}

CalendarDate startNumber(QRandomGenerator &random, int firstYear, int years) {
    WallClock clock;
    clock.year = firstYear + int(random.bounded(years));
    clock.month = 1 + int(random.bounded(12));
    clock.day = 1 + int(random.bounded(28));
    clock.hour = 7 + int(random.bounded(12));
    return CalendarDate::fromWallClock(clock, newYork());
}

void BM_CompileDays10000(benchmark::State &state) {
    QRandomGenerator random(7);
    std::vector<RecurrenceSeries> series(kCompiledSeries);
    for (int i = 0; i < kCompiledSeries; ++i) {
        series[std::size_t(i)].start = startNumber(random, 2020, 6);
        series[std::size_t(i)].rules = {ruleNumber(i / 4, i % 2 == 0)};
    }
    std::size_t offsets = 0;
    for (auto _ : state) {
        offsets = 0;
        for (const RecurrenceSeries &one : series)
            offsets += CompiledDays::compile(one).size();
        benchmark::DoNotOptimize(offsets);
    }
    state.counters["series"] = kCompiledSeries;
    state.counters["offsets"] = double(offsets);
}
BENCHMARK(BM_CompileDays10000)->Unit(benchmark::kMillisecond);

// The store, made once per run of the benchmarks.
class AgendaStore {
public:
    static AgendaStore &ofSize(int items) {
        static std::map<int, std::unique_ptr<AgendaStore>> stores;
        std::unique_ptr<AgendaStore> &store = stores[items];
        if (!store)
            store.reset(new AgendaStore(items));
        return *store;
    }
    QString path() const { return m_dir.filePath(QStringLiteral("Agenda.bsql")); }

private:
    explicit AgendaStore(int items) {
        ItemRecurrence::installDaysMaintenance();
        PersistentStore store(&Schema::model(), path());
        ManagedObjectContext context(&store);
        Queries::setContext(&context);
        CommonDataMO *calendar = CommonDataMO::makeContainer(QStringLiteral("Calendar"), nullptr);
        QRandomGenerator random(11);
        for (int i = 0; i < items; ++i) {
            CommonDataMO *item =
                CommonDataMO::makeObject(QStringLiteral("Event"), calendar, nullptr);
            item->setStringValue(QStringLiteral("Item %1").arg(i), QStringLiteral("title"));
            const CalendarDate start = startNumber(random, 2020, 10);
            item->setCalendarDateValue(start, QStringLiteral("startTimeAndZone"));
            item->setCalendarDateValue(start.addingTimeInterval(3600),
                                       QStringLiteral("endTimeAndZone"));
            if (i % 100 < kRepeatingPercent) {
                const bool endless = i % 100 == 0;  // 2% of the repeating ones
                ItemRecurrence::attachRecurrence(ruleNumber(i / 5, endless), item, false, false);
                ItemRecurrence(item).calcCompiledDays();
            }
        }
        context.save();
        Queries::setContext(nullptr);
        CommonDataMO::setDatesObserver(nullptr);
    }
    QTemporaryDir m_dir;
};

void agenda(benchmark::State &state, int days) {
    const int items = int(state.range(0));
    PersistentStore store(&Schema::model(), AgendaStore::ofSize(items).path());
    const Date start = WallClock{2026, 3, 2}.instantIn(newYork());
    qsizetype found = 0;
    for (auto _ : state) {
        // A fresh context each time: nothing is cached; dropping it is not timed.
        auto context = std::make_unique<ManagedObjectContext>(&store);
        const OccurrenceExpansion expansion(context.get(), newYork());
        found = expansion.occurrences(start, start.addingSeconds(days * 86400.0)).size();
        benchmark::DoNotOptimize(found);
        state.PauseTiming();
        context.reset();
        state.ResumeTiming();
    }
    state.counters["items"] = items;
    state.counters["occurrences"] = double(found);
}

void BM_AgendaWeek(benchmark::State &state) {
    agenda(state, 7);
}
BENCHMARK(BM_AgendaWeek)->Arg(1000)->Arg(kAgendaItems)->Unit(benchmark::kMillisecond);

void BM_AgendaYear(benchmark::State &state) {
    agenda(state, 365);
}
BENCHMARK(BM_AgendaYear)->Arg(1000)->Arg(kAgendaItems)->Unit(benchmark::kMillisecond);

}  // namespace
