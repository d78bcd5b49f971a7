// A first pull of a CalDAV calendar: 3,000 resources, each its own
// iCalendar text of one event (every tenth repeating weekly with one
// detached instance), merged one by one into one calendar as the sync does,
// then the same 3,000 merged again as updates. Each resource must cost about
// the same however many items the calendar already holds.
//
//   BM_ResourceImport3k/0  3,000 new resources into an empty calendar
//   BM_ResourceImport3k/1  the same 3,000 again, each updating its item
#include <benchmark/benchmark.h>

#include "BenchCalendarStore.h"
#include "ical/ICalImporter.h"

namespace {

constexpr int kPulledResources = 3000;

QByteArray pulledResourceText(int index) {
    const QByteArray uid = "pulled-" + QByteArray::number(index) + "@example.com";
    const QByteArray day =
        QDate(2025, 1, 1).addDays(index % 365).toString(QStringLiteral("yyyyMMdd")).toLatin1();
    QByteArray text =
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Example Corp.//Server 1.0//EN\r\n"
        "BEGIN:VEVENT\r\nUID:" +
        uid + "\r\nDTSTAMP:20250101T000000Z\r\nDTSTART:" + day + "T090000Z\r\nDTEND:" + day +
        "T100000Z\r\nSUMMARY:Pulled event " + QByteArray::number(index) + "\r\n";
    const bool repeating = index % 10 == 0;
    if (repeating)
        text += "RRULE:FREQ=WEEKLY;COUNT=10\r\n";
    text += "END:VEVENT\r\n";
    if (repeating) {
        const QByteArray moved =
            QDate::fromString(QString::fromLatin1(day), QStringLiteral("yyyyMMdd"))
                .addDays(7)
                .toString(QStringLiteral("yyyyMMdd"))
                .toLatin1();
        text += "BEGIN:VEVENT\r\nUID:" + uid +
                "\r\nDTSTAMP:20250101T000000Z\r\nRECURRENCE-ID:" + moved +
                "T090000Z\r\nDTSTART:" + moved + "T110000Z\r\nDTEND:" + moved +
                "T120000Z\r\nSUMMARY:Moved\r\nEND:VEVENT\r\n";
    }
    return text + "END:VCALENDAR\r\n";
}

struct PulledCalendarStore : BenchCalendarStore {
    // Each resource must make its items, or (`again`) update them all.
    void pull(const QList<QByteArray> &resources, bool again) {
        for (const QByteArray &text : resources) {
            const ICalImporter::Result result = ICalImporter(text).importInto(calendar);
            if (result.uids.size() != 1 || !result.skipped.isEmpty() ||
                (again ? result.stored : result.updated) != 0)
                throw std::runtime_error("a pulled resource did not merge as expected");
        }
        context.save();
    }
};

void BM_ResourceImport3k(benchmark::State &state) {
    QList<QByteArray> resources;
    for (int i = 0; i < kPulledResources; ++i)
        resources << pulledResourceText(i);
    const bool again = state.range(0) == 1;
    for (auto _ : state) {
        state.PauseTiming();
        auto store = std::make_unique<PulledCalendarStore>();
        if (again)
            store->pull(resources, false);
        state.ResumeTiming();
        store->pull(resources, again);
        state.PauseTiming();
        store.reset();
        state.ResumeTiming();
    }
    state.counters["resources"] = kPulledResources;
}
BENCHMARK(BM_ResourceImport3k)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace
