// iCalendar import and export at the size of a large calendar file: 20,000
// events over two years in four zones, 15% of them repeating (weekly, ten
// times, one exception), a quarter with an organizer and three attendees, a
// third with an alarm. Beside our own reading and writing, the same text
// through the iCalendar library alone, as the yardstick: our import should
// take at most three times the library's parse, our export at most twice
// its serialisation. The CPU column counts every thread of the process (the
// import parses on a worker while it stores); the Time column is wall time.
//
//   BM_ICalImport20k        parse and store every event (one save)
//   BM_LibraryParse20k      the library's parse of the same text
//   BM_ICalExport20k        the stored calendar written as text
//   BM_LibrarySerialize20k  the library's serialisation of the parsed text
#include <benchmark/benchmark.h>
#include <libical/ical.h>

#include <QTimeZone>

#include "BenchCalendarStore.h"
#include "ical/ICalImporter.h"
#include "ical/ICalWriter.h"

namespace {

constexpr int kBenchEvents = 20000;
const char *const kBenchZones[] = {"Europe/Berlin", "America/New_York", "Asia/Tokyo",
                                   "Australia/Sydney"};

// The VTIMEZONE of a zone, as our own zone export writes it.
QByteArray vtimezone(const char *zone) {
    const QByteArray calendar = ICalWriter::zoneExport(QTimeZone(zone));
    const qsizetype begin = calendar.indexOf("BEGIN:VTIMEZONE");
    const QByteArray end = "END:VTIMEZONE\r\n";
    return calendar.mid(begin, calendar.indexOf(end) + end.size() - begin);
}

QByteArray makeCalendarText() {
    QByteArray text =
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Example Corp.//Planner 2.1//EN\r\n"
        "X-WR-CALNAME:Bench\r\n";
    for (const char *zone : kBenchZones)
        text += vtimezone(zone);
    for (int i = 0; i < kBenchEvents; ++i) {
        const int day = (i * 7919) % 730;
        const QDate date = QDate(2024, 1, 1).addDays(day);
        const QByteArray when = date.toString(QStringLiteral("yyyyMMdd")).toLatin1();
        const QByteArray zone = kBenchZones[i % 4];
        const QByteArray hour = QByteArray::number(8 + i % 10).rightJustified(2, '0');
        text += "BEGIN:VEVENT\r\nUID:bench-" + QByteArray::number(i) +
                "@example.com\r\nDTSTAMP:20240101T000000Z\r\n"
                "DTSTART;TZID=" +
                zone + ":" + when + "T" + hour +
                "0000\r\n"
                "DTEND;TZID=" +
                zone + ":" + when + "T" + hour +
                "3000\r\n"
                "SUMMARY:Event number " +
                QByteArray::number(i) +
                " of the bench\r\n"
                "DESCRIPTION:Notes for the event\\, with a comma and a long enough text to be "
                "folded once by the writer\r\nLOCATION:Room " +
                QByteArray::number(i % 40) + "\r\n";
        if (i % 20 < 3)
            text += "RRULE:FREQ=WEEKLY;COUNT=10\r\nEXDATE;TZID=" + zone + ":" +
                    date.addDays(14).toString(QStringLiteral("yyyyMMdd")).toLatin1() + "T" + hour +
                    "0000\r\n";
        if (i % 4 == 0) {
            text += "ORGANIZER;CN=Olga:mailto:olga@example.com\r\n";
            for (const char *who : {"ann", "ben", "cat"})
                text += QByteArray("ATTENDEE;CN=") + who +
                        ";PARTSTAT=ACCEPTED;ROLE=REQ-PARTICIPANT:mailto:" + who +
                        "@example.com\r\n";
        }
        if (i % 3 == 0)
            text +=
                "BEGIN:VALARM\r\nUID:alarm-" + QByteArray::number(i) +
                "\r\nACTION:DISPLAY\r\nDESCRIPTION:Reminder\r\nTRIGGER:-PT15M\r\nEND:VALARM\r\n";
        text += "END:VEVENT\r\n";
    }
    return text + "END:VCALENDAR\r\n";
}

const QByteArray &calendarText() {
    static const QByteArray text = makeCalendarText();
    return text;
}

// The bench calendar read into a fresh store.
struct BenchStore : BenchCalendarStore {
    void import() {
        const ICalImporter::Result result = ICalImporter(calendarText()).importInto(calendar);
        context.save();
        if (result.stored != kBenchEvents)
            throw std::runtime_error("the bench file did not import whole");
    }
};

void BM_ICalImport20k(benchmark::State &state) {
    calendarText();
    for (auto _ : state) {
        state.PauseTiming();
        auto store = std::make_unique<BenchStore>();
        state.ResumeTiming();
        store->import();
        state.PauseTiming();
        store.reset();
        state.ResumeTiming();
    }
    state.counters["events"] = kBenchEvents;
}
BENCHMARK(BM_ICalImport20k)->Unit(benchmark::kMillisecond)->Iterations(2)->MeasureProcessCPUTime();

void BM_LibraryParse20k(benchmark::State &state) {
    const QByteArray &text = calendarText();
    for (auto _ : state) {
        icalcomponent *parsed = icalparser_parse_string(text.constData());
        benchmark::DoNotOptimize(parsed);
        icalcomponent_free(parsed);
    }
}
BENCHMARK(BM_LibraryParse20k)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3)
    ->MeasureProcessCPUTime();

void BM_ICalExport20k(benchmark::State &state) {
    BenchStore store;
    store.import();
    for (auto _ : state) {
        const QByteArray written = ICalWriter::calendarExport(store.calendar);
        benchmark::DoNotOptimize(written.size());
    }
}
BENCHMARK(BM_ICalExport20k)->Unit(benchmark::kMillisecond)->Iterations(3)->MeasureProcessCPUTime();

void BM_LibrarySerialize20k(benchmark::State &state) {
    icalcomponent *parsed = icalparser_parse_string(calendarText().constData());
    for (auto _ : state) {
        char *text = icalcomponent_as_ical_string_r(parsed);
        benchmark::DoNotOptimize(text);
        icalmemory_free_buffer(text);
    }
    icalcomponent_free(parsed);
}
BENCHMARK(BM_LibrarySerialize20k)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3)
    ->MeasureProcessCPUTime();

}  // namespace
