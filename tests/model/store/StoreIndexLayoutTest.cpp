// The indexes of the calendar store: a store of the earlier layout is rebuilt
// to the current one when it opens, and the lookups the application makes
// are answered through an index rather than by reading whole tables.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <QTemporaryDir>

#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/Queries.h"
#include "model/Schema.h"
#include "model/SyncableObjectMO.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"

namespace {

constexpr int kLayoutEvents = 120;

QString layoutUID(int i) {
    return QStringLiteral("layout-%1").arg(i);
}

// A calendar of events, each with an attendee and an organizer, a reminder on
// every third, the first a repeating event with one detached occurrence.
void fillLayoutStore(PersistentStore &store) {
    ManagedObjectContext context(&store);
    Queries::setContext(&context);
    CommonDataMO *calendar = CommonDataMO::makeContainer(QStringLiteral("Calendar"), nullptr);
    calendar->objectInfo()->setValue(QStringLiteral("uid"), QStringLiteral("layout-calendar"));
    CommonDataMO *first = nullptr;
    for (int i = 0; i < kLayoutEvents; ++i) {
        CommonDataMO *event = CommonDataMO::makeObject(QStringLiteral("Event"), calendar);
        first = first ? first : event;
        event->objectInfo()->setValue(QStringLiteral("uid"), layoutUID(i));
        event->setIntegerValue(i, QStringLiteral("localFirstDay"));
        event->setIntegerValue(i + 1, QStringLiteral("localLastDay"));
        ExtraDataMO::attachAttendee(QStringLiteral("ann%1@example.com").arg(i), event)
            ->assignUIDIfNeeded();
        ExtraDataMO *organizer =
            ExtraDataMO::attachOrganizer(QStringLiteral("olga@example.com"), event);
        organizer->setValue(QStringLiteral("meetingUID"), layoutUID(i));
        organizer->assignUIDIfNeeded();
        if (i % 3 == 0)
            ExtraDataMO::makeExtra(QStringLiteral("Reminder"), event)->assignUIDIfNeeded();
    }
    CommonDataMO *detached = CommonDataMO::makeObject(QStringLiteral("DetachedEvent"), calendar);
    detached->setObject(QStringLiteral("originalEvent"), first);
    context.save();
    Queries::setContext(nullptr);
}

QMap<QString, QString> indexesOf(SqliteConnection &db) {
    QMap<QString, QString> indexes;
    SqliteStatement &query = db.statement(QStringLiteral(
        "SELECT name, sql FROM sqlite_master WHERE type = 'index' AND sql NOT NULL"));
    while (query.step())
        indexes.insert(query.columnText(0), query.columnText(1));
    query.reset();
    return indexes;
}

// The statements run on a connection and how many rows each read by walking
// a whole table.
class ScanRecorder {
public:
    explicit ScanRecorder(SqliteConnection &db) : m_db(db.handle()) {
        sqlite3_trace_v2(m_db, SQLITE_TRACE_PROFILE, &ScanRecorder::traced, this);
    }
    ~ScanRecorder() { sqlite3_trace_v2(m_db, 0, nullptr, nullptr); }
    ScanRecorder(const ScanRecorder &) = delete;
    ScanRecorder &operator=(const ScanRecorder &) = delete;

    QStringList scans;  // "rows: SQL" of every statement that walked a table
    int statements = 0;

private:
    static int traced(unsigned, void *self, void *statement, void *) {
        auto *recorder = static_cast<ScanRecorder *>(self);
        auto *stmt = static_cast<sqlite3_stmt *>(statement);
        const QString sql = QString::fromUtf8(sqlite3_sql(stmt));
        // SQLite's own reads of its statistics (the range tree asks for
        // them) are not the application's lookups.
        if (sql.contains(QLatin1String("sqlite_stat")))
            return 0;
        ++recorder->statements;
        const int rows = sqlite3_stmt_status(stmt, SQLITE_STMTSTATUS_FULLSCAN_STEP, 1);
        if (rows > 0)
            recorder->scans << QStringLiteral("%1: %2").arg(rows).arg(sql);
        return 0;
    }
    sqlite3 *m_db;
};

class StoreIndexLayoutTest : public ::testing::Test {
protected:
    QString path() const { return m_dir.filePath(QStringLiteral("Layout.bsql")); }
    QTemporaryDir m_dir;
};

TEST_F(StoreIndexLayoutTest, AStoreOfTheEarlierLayoutHasItsIndexesRebuiltAndKeepsItsRows) {
    {
        PersistentStore store(&Schema::model(), path());
        fillLayoutStore(store);
    }
    {
        // The earlier layout: an index on every indexed attribute and every
        // to-one relationship over all rows, the two days of the range
        // included, under an earlier schema.
        SqliteConnection db(path());
        db.execute(QStringLiteral(
            "DROP INDEX \"CommonData_uid\"; DROP INDEX \"ExtraData_meetingUID\";"
            "DROP INDEX \"ExtraData_parentObject\";"
            "CREATE INDEX IF NOT EXISTS \"CommonData_uid\" ON \"CommonData\"(\"uid\");"
            "CREATE INDEX IF NOT EXISTS \"ExtraData_meetingUID\" ON \"ExtraData\"(\"meetingUID\");"
            "CREATE INDEX IF NOT EXISTS \"ExtraData_parentObject\" ON "
            "\"ExtraData\"(\"parentObject\");"
            "CREATE INDEX IF NOT EXISTS \"CommonData_objectInfo\" ON "
            "\"CommonData\"(\"objectInfo\");"
            "CREATE INDEX IF NOT EXISTS \"SyncableObject_objectData\" ON "
            "\"SyncableObject\"(\"objectData\");"
            "CREATE INDEX IF NOT EXISTS \"CommonData_localFirstDay\" ON "
            "\"CommonData\"(\"localFirstDay\");"
            "CREATE INDEX IF NOT EXISTS \"CommonData_localLastDay\" ON "
            "\"CommonData\"(\"localLastDay\");"
            "UPDATE Z_METADATA SET Z_VALUE = 'earlier' WHERE Z_KEY = 'SchemaHash'"));
    }
    PersistentStore store(&Schema::model(), path());
    EXPECT_TRUE(store.wasMigrated());
    const QMap<QString, QString> indexes = indexesOf(store.connection());
    for (const char *gone : {"CommonData_objectInfo", "SyncableObject_objectData",
                             "CommonData_localFirstDay", "CommonData_localLastDay"}) {
        EXPECT_FALSE(indexes.contains(QLatin1String(gone))) << gone;
    }
    // Only calendar groups have a uid among the data objects, only
    // organizers a meeting uid among the extra records.
    EXPECT_EQ(indexes.value(QStringLiteral("CommonData_uid")),
              QStringLiteral("CREATE INDEX \"CommonData_uid\" ON \"CommonData\"(\"uid\") WHERE "
                             "\"uid\" IS NOT NULL"));
    EXPECT_TRUE(indexes.value(QStringLiteral("ExtraData_meetingUID")).endsWith(" IS NOT NULL"));
    EXPECT_TRUE(indexes.value(QStringLiteral("ExtraData_parentObject")).endsWith(" IS NOT NULL"));
    EXPECT_EQ(indexes.value(QStringLiteral("SyncableObject_uid")),
              QStringLiteral("CREATE INDEX \"SyncableObject_uid\" ON \"SyncableObject\"(\"uid\")"));
    EXPECT_TRUE(indexes.contains(QStringLiteral("ExtraData_Z_ENT")));
    EXPECT_EQ(store.connection().queryValue(QStringLiteral("PRAGMA integrity_check")).toString(),
              QStringLiteral("ok"));

    // Opening again changes nothing.
    PersistentStore again(&Schema::model(), path());
    EXPECT_FALSE(again.wasMigrated());
    EXPECT_EQ(indexesOf(again.connection()), indexes);
    ManagedObjectContext context(&again);
    Queries::setContext(&context);
    const QList<ManagedObject *> found = Queries::syncableChildrenForUID(layoutUID(7));
    ASSERT_EQ(found.size(), 1);
    CommonDataMO *event = ModelObject::as<SyncableObjectMO>(found.first())->objectData();
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(event->extrasForRelationship(QStringLiteral("attendees")).size(), 1);
    EXPECT_EQ(Queries::organizersWithMeetingUID(layoutUID(7)).size(), 1);
    Queries::setContext(nullptr);
}

TEST_F(StoreIndexLayoutTest, TheLookupsOfTheApplicationReadNoWholeTable) {
    {
        PersistentStore store(&Schema::model(), path());
        fillLayoutStore(store);
    }
    PersistentStore store(&Schema::model(), path());
    ManagedObjectContext context(&store);
    Queries::setContext(&context);
    ScanRecorder recorder(store.connection());

    const QList<ManagedObject *> found = Queries::syncableChildrenForUID(layoutUID(0));
    ASSERT_EQ(found.size(), 1);
    CommonDataMO *event = ModelObject::as<SyncableObjectMO>(found.first())->objectData();
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(event->extrasForRelationship(QStringLiteral("organizers")).size(), 1);
    EXPECT_EQ(event->objectsForKey(QStringLiteral("detachedEvents")).size(), 1);
    EXPECT_EQ(Queries::organizersWithMeetingUID(layoutUID(3)).size(), 1);
    const QString reminderUID =
        event->extrasForRelationship(QStringLiteral("reminders")).first()->uid();
    EXPECT_EQ(Queries::extraDataWithUID(reminderUID).size(), 1);
    FetchRequest days(QStringLiteral("Event"));
    days.setPredicate(Predicate::fromFormat(
        QStringLiteral("localFirstDay <= %@ AND localLastDay >= %@"), {50, 49}));
    EXPECT_EQ(context.executeFetchRequest(days).size(), 3);

    EXPECT_GE(recorder.statements, 6);
    EXPECT_TRUE(recorder.scans.isEmpty()) << recorder.scans.join(QLatin1Char('\n')).toStdString();
    Queries::setContext(nullptr);
}

}  // namespace
