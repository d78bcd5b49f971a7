// The results dictionary of a large WebDAV answer: a 207 multi-status of
// 10,000 responses, each with an href, an ETag and the calendar data of a
// small event (about 4.9 MB), as a calendar-multiget or an initial sync with
// data returns it.
//
//   BM_MultistatusResults   calcResultsDict() of the whole answer; counters
//                           "responses", "MB" (body size) and "peakRSSMB"
//                           (the process's peak resident size afterwards)
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include "caldav/PropertyValueParser.h"
#include "caldav/WebDAVResults.h"

namespace {

constexpr int kResponses = 10000;

QByteArray multistatus() {
    QByteArray body =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<multistatus xmlns=\"DAV:\" xmlns:C=\"urn:ietf:params:xml:ns:caldav\">\n";
    for (int i = 0; i < kResponses; ++i) {
        const QByteArray uid = "event-" + QByteArray::number(i) + "@example.com";
        body += "<response><href>/calendars/user/home/" + uid +
                ".ics</href><propstat><prop><getetag>\"" + QByteArray::number(i * 7919) +
                "-1700000000\"</getetag><C:calendar-data>BEGIN:VCALENDAR\r\nVERSION:2.0\r\n"
                "PRODID:-//Example//Server//EN\r\nBEGIN:VEVENT\r\nUID:" +
                uid +
                "\r\nDTSTAMP:20300101T000000Z\r\nDTSTART:20300110T100000Z\r\n"
                "DTEND:20300110T110000Z\r\nSUMMARY:Meeting number " +
                QByteArray::number(i) +
                " &amp; notes\r\nLOCATION:Room 4\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n"
                "</C:calendar-data></prop><status>HTTP/1.1 200 OK</status></propstat>"
                "</response>\n";
    }
    return body + "<sync-token>http://example.com/sync/42</sync-token></multistatus>\n";
}

void BM_MultistatusResults(benchmark::State &state) {
    const QByteArray body = multistatus();
    const PropertyValueParser parser;
    const WebDAVResponse response{207, QUrl(QStringLiteral("http://127.0.0.1/")), {}};
    qsizetype responses = 0;
    for (auto _ : state) {
        const QVariantMap results =
            WebDAVResults::calcResultsDict(response, QStringLiteral("REPORT"), false, body, parser);
        responses = results.value(QStringLiteral("multistatus")).toList().size();
        benchmark::DoNotOptimize(results);
    }
    if (responses != kResponses)
        state.SkipWithError("wrong number of responses");
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    state.counters["responses"] = double(responses);
    state.counters["MB"] = double(body.size()) / 1e6;
    state.counters["peakRSSMB"] = double(usage.ru_maxrss) / 1024.0;
}
BENCHMARK(BM_MultistatusResults)->Unit(benchmark::kMillisecond);

}  // namespace
