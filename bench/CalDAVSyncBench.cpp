// Syncing a calendar of 3,000 items on Radicale (started by the benchmark on
// 127.0.0.1 in a temporary folder, seeded with one PUT of the whole calendar
// onto the collection, which Radicale splits into one resource per UID),
// and vdirsyncer from Debian syncing the same calendar into a local folder.
// Radicale has listed the calendar once before (its caches are written).
// The items: a tenth weekly in Berlin's zone with one moved occurrence, a
// tenth all-day, a tenth floating, a tenth to-dos with a due time, the rest
// timed, half in Berlin's zone and half in UTC.
//
//   BM_CalDAVSync3k/0      our first sync of the account: every item pulled
//   BM_CalDAVSync3k/1      a sync with nothing changed
//   BM_CalDAVSync3k/2      a sync after one item changed on the server
//   BM_VdirsyncerSync3k/0  vdirsyncer's first sync (after its discovery)
//   BM_VdirsyncerSync3k/1  vdirsyncer's sync with nothing changed
//
// Counters: requests (HTTP requests of one of our syncs), items (pulled)
// and saveMs (the store's save after the cycle, as the running application
// does it; not in the time). Times are wall-clock times. Run them alone with
//   build/bench/merovan_bench --benchmark_filter='Sync3k'
#include <benchmark/benchmark.h>

#include <QDate>
#include <chrono>
#include <memory>
#include <stdexcept>

#include "BenchCalendarStore.h"
#include "caldav/CalDAVAccountCheck.h"
#include "caldav/support/CalendarClients.h"
#include "caldav/support/DAVServers.h"
#include "caldav/support/DiscoveryFixture.h"
#include "tasks/CredentialStore.h"
#include "tasks/MemoryCredentialStore.h"
#include "tasks/SyncState.h"
#include "tasks/TaskManager.h"

namespace {

constexpr int kSyncedItems = 3000;

constexpr char kBerlinZone[] =
    "BEGIN:VTIMEZONE\r\nTZID:Europe/Berlin\r\n"
    "BEGIN:DAYLIGHT\r\nTZOFFSETFROM:+0100\r\nTZOFFSETTO:+0200\r\nTZNAME:CEST\r\n"
    "DTSTART:19700329T020000\r\nRRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU\r\nEND:DAYLIGHT\r\n"
    "BEGIN:STANDARD\r\nTZOFFSETFROM:+0200\r\nTZOFFSETTO:+0100\r\nTZNAME:CET\r\n"
    "DTSTART:19701025T030000\r\nRRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU\r\nEND:STANDARD\r\n"
    "END:VTIMEZONE\r\n";

QByteArray dayOfItem(int index, int addDays = 0) {
    return QDate(2026, 1, 1)
        .addDays(index % 365 + addDays)
        .toString(QStringLiteral("yyyyMMdd"))
        .toLatin1();
}

// The components of item `index`; `summary` names its version.
QByteArray syncedItemText(int index, const QByteArray &summary) {
    const QByteArray uid = "synced-" + QByteArray::number(index) + "@example.com";
    const QByteArray day = dayOfItem(index);
    const QByteArray head = "UID:" + uid + "\r\nDTSTAMP:20260101T000000Z\r\nSUMMARY:" + summary +
                            " " + QByteArray::number(index) + "\r\n";
    switch (index % 10) {
        case 0: {
            const QByteArray moved = dayOfItem(index, 7);
            return "BEGIN:VEVENT\r\n" + head + "DTSTART;TZID=Europe/Berlin:" + day +
                   "T090000\r\nDTEND;TZID=Europe/Berlin:" + day +
                   "T100000\r\nRRULE:FREQ=WEEKLY;COUNT=10\r\nEND:VEVENT\r\n"
                   "BEGIN:VEVENT\r\n" +
                   head + "RECURRENCE-ID;TZID=Europe/Berlin:" + moved +
                   "T090000\r\nDTSTART;TZID=Europe/Berlin:" + moved +
                   "T113000\r\nDTEND;TZID=Europe/Berlin:" + moved + "T123000\r\nEND:VEVENT\r\n";
        }
        case 1:
            return "BEGIN:VEVENT\r\n" + head + "DTSTART;VALUE=DATE:" + day +
                   "\r\nDTEND;VALUE=DATE:" + dayOfItem(index, 1) + "\r\nEND:VEVENT\r\n";
        case 2:
            return "BEGIN:VEVENT\r\n" + head + "DTSTART:" + day + "T080000\r\nDTEND:" + day +
                   "T083000\r\nEND:VEVENT\r\n";
        case 3:
            return "BEGIN:VTODO\r\n" + head + "DUE;TZID=Europe/Berlin:" + day +
                   "T170000\r\nEND:VTODO\r\n";
        default:
            if (index % 2 == 0)
                return "BEGIN:VEVENT\r\n" + head + "DTSTART;TZID=Europe/Berlin:" + day +
                       "T140000\r\nDTEND;TZID=Europe/Berlin:" + day +
                       "T150000\r\nLOCATION:Room 4\r\nEND:VEVENT\r\n";
            return "BEGIN:VEVENT\r\n" + head + "DTSTART:" + day + "T130000Z\r\nDTEND:" + day +
                   "T134500Z\r\nDESCRIPTION:Agenda\\nand notes\r\nEND:VEVENT\r\n";
    }
}

QByteArray syncBenchCalendar(const QByteArray &components) {
    return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Merovan//Sync bench//EN\r\n" +
           QByteArray(kBerlinZone) + components + "END:VCALENDAR\r\n";
}

// Radicale with the seeded calendar, started once for every benchmark.
class SeededRadicale {
public:
    static SeededRadicale &shared() {
        static SeededRadicale seeded;
        return seeded;
    }
    QString principalURL() const { return m_radicale.url(QStringLiteral("/test/")); }
    // Replaces item 1 on the server by a new version.
    void changeOneItem() {
        ++m_changes;
        const QByteArray text =
            syncBenchCalendar(syncedItemText(1, "Changed " + QByteArray::number(m_changes)));
        const int status =
            sendBlocking(QStringLiteral("PUT"),
                         m_radicale.calendarURL() + QStringLiteral("synced-1@example.com.ics"),
                         QLatin1String(RadicaleServer::kUser),
                         QLatin1String(RadicaleServer::kPassword), text, 20000, "text/calendar");
        if (status != 201 && status != 204)
            throw std::runtime_error("Radicale refused the changed item");
    }

private:
    SeededRadicale() {
        const QString error = m_radicale.start();
        if (!error.isEmpty())
            throw std::runtime_error(error.toStdString());
        QByteArray components;
        for (int i = 0; i < kSyncedItems; ++i)
            components += syncedItemText(i, "Item");
        const int status = sendBlocking(QStringLiteral("PUT"), m_radicale.calendarURL(),
                                        QLatin1String(RadicaleServer::kUser),
                                        QLatin1String(RadicaleServer::kPassword),
                                        syncBenchCalendar(components), 600000, "text/calendar");
        if (status != 201 && status != 204)
            throw std::runtime_error("Radicale refused the whole calendar: HTTP " +
                                     std::to_string(status));
        // The first listing of a calendar writes Radicale's caches of every
        // item (their history for sync tokens among them); one listing here
        // does it, so that no benchmark pays for it for the others.
        const int listed = sendBlocking(
            QStringLiteral("REPORT"), m_radicale.calendarURL(),
            QLatin1String(RadicaleServer::kUser), QLatin1String(RadicaleServer::kPassword),
            "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
            "<sync-collection xmlns=\"DAV:\"><sync-token/><sync-level>1</sync-level>"
            "<prop><getetag/></prop></sync-collection>",
            600000);
        if (listed != 207)
            throw std::runtime_error("Radicale did not list the calendar: HTTP " +
                                     std::to_string(listed));
    }

    RadicaleServer m_radicale;
    int m_changes = 0;
};

// A new store with our account of the seeded server.
struct BenchCalDAVAccount : BenchCalendarStore {
    BenchCalDAVAccount() {
        CalDAVSyncTask::registerKind();
        CredentialStore::setShared(&credentials);
        service = DiscoveryFixture::makeService(&context, SeededRadicale::shared().principalURL(),
                                                QLatin1String(RadicaleServer::kUser),
                                                QLatin1String(RadicaleServer::kPassword));
        runner = std::make_unique<CalDAVAccountCheck::CycleRunner>(service);
    }
    ~BenchCalDAVAccount() {
        runner.reset();
        TaskManager::stopSharedManager();
        CredentialStore::setShared(nullptr);
    }
    BenchCalDAVAccount(const BenchCalDAVAccount &) = delete;
    BenchCalDAVAccount &operator=(const BenchCalDAVAccount &) = delete;

    // One cycle, which must end idle having pulled `pulled` items.
    CalDAVSyncTask::Counts sync(int pulled) {
        const CalDAVAccountCheck::Outcome outcome = runner->runCycle(600);
        if (outcome.state != SyncState::Idle || outcome.counts.pulled != pulled)
            throw std::runtime_error("the sync did not pull what it should: " +
                                     outcome.error.value_or(QString()).toStdString());
        return outcome.counts;
    }

    MemoryCredentialStore credentials;
    ModelObject *service = nullptr;
    // The account's task, kept from one cycle to the next.
    std::unique_ptr<CalDAVAccountCheck::CycleRunner> runner;
};

void reportSync(benchmark::State &state, const CalDAVSyncTask::Counts &counts) {
    state.counters["requests"] = counts.requests;
    state.counters["items"] = counts.pulled;
}

void BM_CalDAVSync3k(benchmark::State &state) {
    SeededRadicale &server = SeededRadicale::shared();
    const int phase = int(state.range(0));
    std::unique_ptr<BenchCalDAVAccount> account;
    if (phase != 0) {
        account = std::make_unique<BenchCalDAVAccount>();
        account->sync(kSyncedItems);
        account->context.save();
    }
    double saveSeconds = 0;
    for (auto _ : state) {
        state.PauseTiming();
        if (phase == 0)
            account = std::make_unique<BenchCalDAVAccount>();
        else if (phase == 2)
            server.changeOneItem();
        state.ResumeTiming();
        reportSync(state, account->sync(phase == 0 ? kSyncedItems : phase == 2 ? 1 : 0));
        state.PauseTiming();
        const auto saveStart = std::chrono::steady_clock::now();
        account->context.save();
        saveSeconds +=
            std::chrono::duration<double>(std::chrono::steady_clock::now() - saveStart).count();
        if (phase == 0)
            account.reset();
        state.ResumeTiming();
    }
    state.counters["saveMs"] = 1000 * saveSeconds / double(state.iterations());
}
BENCHMARK(BM_CalDAVSync3k)
    ->Arg(0)
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);

void BM_VdirsyncerSync3k(benchmark::State &state) {
    SeededRadicale &server = SeededRadicale::shared();
    const bool quiet = state.range(0) == 1;
    std::unique_ptr<CalendarClients> clients;
    const auto fresh = [&] {
        clients = std::make_unique<CalendarClients>(server.principalURL(),
                                                    QLatin1String(RadicaleServer::kUser),
                                                    QLatin1String(RadicaleServer::kPassword));
        const QString error = clients->discover();
        if (!error.isEmpty())
            throw std::runtime_error(error.toStdString());
    };
    const auto sync = [&] {
        const QString error = clients->syncOnly();
        if (!error.isEmpty())
            throw std::runtime_error(error.toStdString());
    };
    if (quiet) {
        fresh();
        sync();
    }
    for (auto _ : state) {
        if (!quiet) {
            state.PauseTiming();
            fresh();
            state.ResumeTiming();
        }
        sync();
    }
}
BENCHMARK(BM_VdirsyncerSync3k)
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);

}  // namespace
