// The object store at the size of years of data: 100,000 events, each with its
// syncable object, two attendees and one reminder, in one calendar, spread
// over ten years.
//
//   BM_StoreInsertAndSave       insert and save all of it through the store
//   BM_PlainSqliteInsert        the same rows through plain prepared statements
//   BM_StoreOpenAndFetchByUID   open the store and fetch one event by uid
//   BM_StoreFetchMonth          fetch the events of one month by day range
//   BM_StoreOpenFetchMonthRSS   peak memory of a fresh process that opens the
//                               store and fetches one month (counter "peakMB")
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include "model/Schema.h"
#include "model/foundation/Date.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"

namespace {

constexpr int kEvents = 100000;
constexpr int kDays = 3650;
constexpr int kMonthStart = 1825;  // a month in the middle of the ten years

QString uidFor(int i) {
    return QStringLiteral("EVENT-%1").arg(i, 8, 10, QLatin1Char('0'));
}

// Inserts the calendar and the events into `context`.
void populate(ManagedObjectContext &context) {
    ManagedObject *syncableCalendar = context.insertNewObject(QStringLiteral("SyncableCalendar"));
    ManagedObject *calendar = context.insertNewObject(QStringLiteral("Calendar"));
    syncableCalendar->setValue(QStringLiteral("uid"), QStringLiteral("CALENDAR"));
    syncableCalendar->setObject(QStringLiteral("objectData"), calendar);
    const EntityDescription *eventEntity = Schema::model().entity(QStringLiteral("Event"));
    for (int i = 0; i < kEvents; ++i) {
        ManagedObject *syncable = context.insertNewObject(QStringLiteral("SyncableEvent"));
        syncable->setValue(QStringLiteral("uid"), uidFor(i));
        syncable->setValue(QStringLiteral("lastModTime"), QVariant::fromValue(Date(8e8 + i)));
        syncable->setValue(QStringLiteral("localReceivedTime"), QVariant::fromValue(Date(8e8 + i)));
        syncable->setObject(QStringLiteral("parentContainer"), syncableCalendar);
        ManagedObject *event = context.insertNewObject(eventEntity);
        syncable->setObject(QStringLiteral("objectData"), event);
        event->setObject(QStringLiteral("parentContainerDirect"), calendar);
        const int day = (i * 7919) % kDays;
        event->setValue(QStringLiteral("eventType"), 0);
        event->setValue(QStringLiteral("startTimeAndZone"),
                        QStringLiteral("%1:Europe/Berlin").arg(day * 86400 + 36000));
        event->setValue(QStringLiteral("endTimeAndZone"),
                        QStringLiteral("%1:Europe/Berlin").arg(day * 86400 + 39600));
        event->setValue(QStringLiteral("localFirstDay"), day);
        event->setValue(QStringLiteral("localLastDay"), day);
        event->setValue(QStringLiteral("location"), QStringLiteral("Room %1").arg(i % 40));
        event->setValue(QStringLiteral("localSearchText"),
                        QStringLiteral("meeting %1 room %2").arg(i).arg(i % 40));
        for (int a = 0; a < 2; ++a) {
            ManagedObject *attendee = context.insertNewObject(QStringLiteral("Attendee"));
            attendee->setValue(QStringLiteral("uid"),
                               QStringLiteral("%1-A%2").arg(uidFor(i)).arg(a));
            attendee->setValue(QStringLiteral("email"),
                               QStringLiteral("person%1@example.com").arg((i + a) % 500));
            attendee->setValue(QStringLiteral("name"),
                               QStringLiteral("Person %1").arg((i + a) % 500));
            attendee->setValue(QStringLiteral("status"), 3);
            attendee->setObject(QStringLiteral("parentObject"), event);
        }
        ManagedObject *reminder = context.insertNewObject(QStringLiteral("Reminder"));
        reminder->setValue(QStringLiteral("uid"), QStringLiteral("%1-R").arg(uidFor(i)));
        reminder->setValue(QStringLiteral("reminderType"), 0);
        reminder->setValue(QStringLiteral("relativeSeconds"), -900.0);
        reminder->setObject(QStringLiteral("parentObject"), event);
    }
}

// A store of the stated size, made once per process.
const QString &sharedStorePath() {
    static QTemporaryDir dir;
    static const QString path = [] {
        const QString file = dir.filePath(QStringLiteral("Bench.bsql"));
        PersistentStore store(&Schema::model(), file);
        ManagedObjectContext context(&store);
        populate(context);
        context.save();
        return file;
    }();
    return path;
}

void BM_StoreInsertAndSave(benchmark::State &state) {
    for (auto _ : state) {
        state.PauseTiming();
        QTemporaryDir dir;
        state.ResumeTiming();
        PersistentStore store(&Schema::model(), dir.filePath(QStringLiteral("Bench.bsql")));
        ManagedObjectContext context(&store);
        populate(context);
        context.save();
    }
    state.counters["rows"] = kEvents * 5;
}
BENCHMARK(BM_StoreInsertAndSave)->Unit(benchmark::kMillisecond)->Iterations(3);

void exec(sqlite3 *db, const char *sql) {
    if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        throw std::runtime_error(sqlite3_errmsg(db));
}

// The floor: the same rows, with the indexes the store keeps on these tables
// (the range tree included), bound by hand.
void BM_PlainSqliteInsert(benchmark::State &state) {
    for (auto _ : state) {
        state.PauseTiming();
        QTemporaryDir dir;
        state.ResumeTiming();
        sqlite3 *db = nullptr;
        sqlite3_open(dir.filePath(QStringLiteral("plain.db")).toUtf8().constData(), &db);
        exec(
            db,
            "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;"
            "CREATE TABLE so (pk INTEGER PRIMARY KEY, ent INTEGER, uid TEXT, lastModTime REAL, "
            "localReceivedTime REAL, parentContainer INTEGER, objectData INTEGER, ownedBy INTEGER);"
            "CREATE INDEX so_uid ON so(uid); CREATE INDEX so_lrt ON so(localReceivedTime); CREATE "
            "INDEX so_pc ON so(parentContainer); CREATE INDEX so_od ON so(objectData); CREATE "
            "INDEX so_ob ON so(ownedBy); CREATE INDEX so_ent ON so(ent);"
            "CREATE TABLE cd (pk INTEGER PRIMARY KEY, ent INTEGER, objectInfo INTEGER, "
            "parentContainerDirect INTEGER, eventType INTEGER, startTimeAndZone TEXT, "
            "endTimeAndZone TEXT, localFirstDay INTEGER, localLastDay INTEGER, location TEXT, "
            "localSearchText TEXT, uid TEXT, originalEvent INTEGER, ownerID TEXT, "
            "parentGroup INTEGER);"
            "CREATE INDEX cd_oi ON cd(objectInfo); CREATE INDEX cd_pcd ON "
            "cd(parentContainerDirect); CREATE INDEX cd_lfd ON cd(localFirstDay); CREATE INDEX "
            "cd_lld ON cd(localLastDay); CREATE INDEX cd_uid ON cd(uid); CREATE INDEX cd_oe ON "
            "cd(originalEvent); CREATE INDEX cd_own ON cd(ownerID); CREATE INDEX cd_pg ON "
            "cd(parentGroup); CREATE INDEX cd_ent ON cd(ent);"
            "CREATE VIRTUAL TABLE cd_days USING rtree_i32(id, low, high);"
            "CREATE TABLE ed (pk INTEGER PRIMARY KEY, ent INTEGER, uid TEXT, parentObject INTEGER, "
            "email TEXT, name TEXT, status INTEGER, reminderType INTEGER, relativeSeconds REAL, "
            "meetingUID TEXT);"
            "CREATE INDEX ed_uid ON ed(uid); CREATE INDEX ed_po ON ed(parentObject); CREATE INDEX "
            "ed_mu ON ed(meetingUID); CREATE INDEX ed_ent ON ed(ent);"
            "BEGIN");
        sqlite3_stmt *so = nullptr, *cd = nullptr, *days = nullptr, *att = nullptr, *rem = nullptr;
        sqlite3_prepare_v2(db,
                           "INSERT INTO so (pk, ent, uid, lastModTime, localReceivedTime, "
                           "parentContainer, objectData) VALUES (?,?,?,?,?,?,?)",
                           -1, &so, nullptr);
        sqlite3_prepare_v2(db,
                           "INSERT INTO cd (pk, ent, objectInfo, parentContainerDirect, eventType, "
                           "startTimeAndZone, endTimeAndZone, localFirstDay, localLastDay, "
                           "location, localSearchText) VALUES (?,?,?,?,?,?,?,?,?,?,?)",
                           -1, &cd, nullptr);
        sqlite3_prepare_v2(db, "INSERT INTO cd_days VALUES (?,?,?)", -1, &days, nullptr);
        sqlite3_prepare_v2(db,
                           "INSERT INTO ed (pk, ent, uid, parentObject, email, name, status) "
                           "VALUES (?,?,?,?,?,?,?)",
                           -1, &att, nullptr);
        sqlite3_prepare_v2(db,
                           "INSERT INTO ed (pk, ent, uid, parentObject, reminderType, "
                           "relativeSeconds) VALUES (?,?,?,?,?,?)",
                           -1, &rem, nullptr);
        qint64 extraKey = 0;
        const auto text = [](sqlite3_stmt *s, int i, const QString &value) {
            const QByteArray bytes = value.toUtf8();
            sqlite3_bind_text(s, i, bytes.constData(), int(bytes.size()), SQLITE_TRANSIENT);
        };
        for (int i = 0; i < kEvents; ++i) {
            const int day = (i * 7919) % kDays;
            sqlite3_reset(so);
            sqlite3_bind_int64(so, 1, i + 2);
            sqlite3_bind_int(so, 2, 5);
            text(so, 3, uidFor(i));
            sqlite3_bind_double(so, 4, 8e8 + i);
            sqlite3_bind_double(so, 5, 8e8 + i);
            sqlite3_bind_int64(so, 6, 1);
            sqlite3_bind_int64(so, 7, i + 2);
            sqlite3_step(so);
            sqlite3_reset(cd);
            sqlite3_bind_int64(cd, 1, i + 2);
            sqlite3_bind_int(cd, 2, 9);
            sqlite3_bind_int64(cd, 3, i + 2);
            sqlite3_bind_int64(cd, 4, 1);
            sqlite3_bind_int(cd, 5, 0);
            text(cd, 6, QStringLiteral("%1:Europe/Berlin").arg(day * 86400 + 36000));
            text(cd, 7, QStringLiteral("%1:Europe/Berlin").arg(day * 86400 + 39600));
            sqlite3_bind_int(cd, 8, day);
            sqlite3_bind_int(cd, 9, day);
            text(cd, 10, QStringLiteral("Room %1").arg(i % 40));
            text(cd, 11, QStringLiteral("meeting %1 room %2").arg(i).arg(i % 40));
            sqlite3_step(cd);
            sqlite3_reset(days);
            sqlite3_bind_int64(days, 1, i + 2);
            sqlite3_bind_int(days, 2, day);
            sqlite3_bind_int(days, 3, day);
            sqlite3_step(days);
            for (int a = 0; a < 2; ++a) {
                sqlite3_reset(att);
                sqlite3_bind_int64(att, 1, ++extraKey);
                sqlite3_bind_int(att, 2, 12);
                text(att, 3, QStringLiteral("%1-A%2").arg(uidFor(i)).arg(a));
                sqlite3_bind_int64(att, 4, i + 2);
                text(att, 5, QStringLiteral("person%1@example.com").arg((i + a) % 500));
                text(att, 6, QStringLiteral("Person %1").arg((i + a) % 500));
                sqlite3_bind_int(att, 7, 3);
                sqlite3_step(att);
            }
            sqlite3_reset(rem);
            sqlite3_bind_int64(rem, 1, ++extraKey);
            sqlite3_bind_int(rem, 2, 15);
            text(rem, 3, QStringLiteral("%1-R").arg(uidFor(i)));
            sqlite3_bind_int64(rem, 4, i + 2);
            sqlite3_bind_int(rem, 5, 0);
            sqlite3_bind_double(rem, 6, -900.0);
            sqlite3_step(rem);
        }
        for (sqlite3_stmt *s : {so, cd, days, att, rem})
            sqlite3_finalize(s);
        exec(db, "COMMIT");
        sqlite3_close(db);
    }
    state.counters["rows"] = kEvents * 5;
}
BENCHMARK(BM_PlainSqliteInsert)->Unit(benchmark::kMillisecond)->Iterations(3);

ManagedObject *fetchEventByUID(ManagedObjectContext &context, const QString &uid) {
    FetchRequest request(QStringLiteral("SyncableEvent"));
    request.setPredicate(
        Predicate::fromFormat(QStringLiteral("%K == %@"), {QStringLiteral("uid"), uid}));
    request.setRelationshipKeyPathsForPrefetching({QStringLiteral("objectData")});
    const QList<ManagedObject *> found = context.executeFetchRequest(request);
    return found.isEmpty() ? nullptr : found.first()->objectForKey(QStringLiteral("objectData"));
}

void BM_StoreOpenAndFetchByUID(benchmark::State &state) {
    const QString &path = sharedStorePath();
    int i = 0;
    for (auto _ : state) {
        PersistentStore store(&Schema::model(), path);
        ManagedObjectContext context(&store);
        ManagedObject *event = fetchEventByUID(context, uidFor((i++ * 7) % kEvents));
        if (!event)
            state.SkipWithError("event not found");
        benchmark::DoNotOptimize(event->valueForKey(QStringLiteral("startTimeAndZone")));
        state.counters["objectsLoaded"] = double(context.registeredObjects().size());
    }
}
BENCHMARK(BM_StoreOpenAndFetchByUID)->Unit(benchmark::kMillisecond);

QList<ManagedObject *> fetchMonth(ManagedObjectContext &context, int firstDay) {
    FetchRequest request(QStringLiteral("Event"));
    request.setPredicate(Predicate::fromFormat(QStringLiteral("%K <= %d AND %K >= %d"),
                                               {QStringLiteral("localFirstDay"), firstDay + 30,
                                                QStringLiteral("localLastDay"), firstDay}));
    return context.executeFetchRequest(request);
}

void BM_StoreFetchMonth(benchmark::State &state) {
    PersistentStore store(&Schema::model(), sharedStorePath());
    for (auto _ : state) {
        ManagedObjectContext context(&store);
        const QList<ManagedObject *> events = fetchMonth(context, kMonthStart);
        state.counters["events"] = double(events.size());
    }
}
BENCHMARK(BM_StoreFetchMonth)->Unit(benchmark::kMillisecond);

// The high-water mark of this process's memory; unlike getrusage(), it
// starts anew at exec, so the parent's size does not count.
long peakResidentKilobytes() {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    }
    return -1;
}

void BM_StoreOpenFetchMonthRSS(benchmark::State &state) {
    const QString &path = sharedStorePath();
    for (auto _ : state) {
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("MEROVAN_BENCH_CHILD_STORE"), path);
        child.setProcessEnvironment(environment);
        child.start(QCoreApplication::applicationFilePath(), {});
        child.waitForFinished(120000);
        state.counters["peakMB"] = child.readAllStandardOutput().trimmed().toDouble() / 1024.0;
    }
}
BENCHMARK(BM_StoreOpenFetchMonthRSS)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace

// In the child of BM_StoreOpenFetchMonthRSS: open, fetch one month, print the
// peak resident size in kilobytes.
int storeBenchChild() {
    const QString path = qEnvironmentVariable("MEROVAN_BENCH_CHILD_STORE");
    if (path.isEmpty())
        return -1;
    PersistentStore store(&Schema::model(), path);
    ManagedObjectContext context(&store);
    const QList<ManagedObject *> events = fetchMonth(context, kMonthStart);
    for (ManagedObject *event : events)
        benchmark::DoNotOptimize(event->valueForKey(QStringLiteral("localSearchText")));
    std::printf("%ld\n", peakResidentKilobytes());
    return 0;
}
