#include <gtest/gtest.h>

#include <QFile>

#include "model/CommonDataMO.h"
#include "model/DatabaseController.h"
#include "model/SyncableObjectMO.h"
#include "model/store/FetchRequest.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"
#include "model/util/Colors.h"
#include "support/TestSupport.h"

// A store written before calendars had a transparency (a calendar "Work"
// coloured #3366CC holding the event "Meeting", made by the application's
// commands of that time) opens with every calendar blocking time, keeps
// what it held, and is not migrated again.
namespace {

class CalendarTransparencyMigrationTest : public ::testing::Test {
protected:
    CalendarTransparencyMigrationTest() {
        const QString store = m_home.filePath(QStringLiteral("Merovan.bsql"));
        EXPECT_TRUE(QFile::copy(
            sourcePath(QStringLiteral("tests/model/data/store-before-calendar-transparency.bsql")),
            store));
        QFile::setPermissions(store, QFile::ReadOwner | QFile::WriteOwner);
    }
    std::unique_ptr<DatabaseController> start() {
        auto controller = std::make_unique<DatabaseController>();
        controller->startup();
        return controller;
    }
    static QList<ModelObject *> objectsOf(DatabaseController &controller, const char *entity) {
        QList<ModelObject *> objects;
        for (ManagedObject *object : controller.managedObjectContext()->executeFetchRequest(
                 FetchRequest(QLatin1String(entity))))
            objects << ModelObject::as<ModelObject>(object);
        return objects;
    }

    TemporaryHome m_home;
    ScopedManualClock m_clock{Date(800000000)};
    LogCapture m_log;
};

}  // namespace

TEST_F(CalendarTransparencyMigrationTest, CalendarsOfAnOlderStoreBlockTimeAndKeepTheirItems) {
    auto controller = start();
    EXPECT_TRUE(controller->persistentStore()->wasMigrated());
    EXPECT_TRUE(m_log.contains(QStringLiteral("upgrade: 1 calendars block time")));
    const QList<ModelObject *> calendars = objectsOf(*controller, "Calendar");
    ASSERT_EQ(calendars.size(), 1);
    auto *work = ModelObject::as<CommonDataMO>(calendars.first());
    EXPECT_EQ(work->effectiveTitle(), QStringLiteral("Work"));
    EXPECT_EQ(work->colorValueForKey(QStringLiteral("localColor")), colorFromColorValue(0x3366CC));
    EXPECT_EQ(work->valueForKey(QStringLiteral("blocksTime")), QVariant(qint64(1)));
    const QList<ModelObject *> events = objectsOf(*controller, "Event");
    ASSERT_EQ(events.size(), 1);
    auto *meeting = ModelObject::as<CommonDataMO>(events.first());
    EXPECT_EQ(meeting->effectiveTitle(), QStringLiteral("Meeting"));
    EXPECT_EQ(meeting->parentContainerDirect(), work);
    // Items keep their own value: none, which reads as busy.
    EXPECT_FALSE(meeting->valueForKey(QStringLiteral("blocksTime")).isValid());
    EXPECT_FALSE(QFile::exists(
        PersistentStore::migrationBackupPath(m_home.filePath(QStringLiteral("Merovan.bsql")))));

    // The user makes it free time; a new calendar blocks time.
    work->setIntegerValue(0, QStringLiteral("blocksTime"));
    CommonDataMO *added = CommonDataMO::makeContainer(QStringLiteral("Calendar"), nullptr);
    added->setStringValue(QStringLiteral("Added"), QStringLiteral("title"));
    EXPECT_EQ(added->integerValueForKey(QStringLiteral("blocksTime")), 1);
    controller->managedObjectContext()->save();
    controller->shutdown();
    controller.reset();
    m_log.clear();

    // Opened again: nothing to migrate, and both values stay.
    controller = start();
    EXPECT_FALSE(controller->persistentStore()->wasMigrated());
    EXPECT_FALSE(m_log.contains(QStringLiteral("calendars block time")));
    QMap<QString, qint64> blocks;
    for (ModelObject *calendar : objectsOf(*controller, "Calendar"))
        blocks.insert(ModelObject::as<CommonDataMO>(calendar)->effectiveTitle().value_or(QString()),
                      calendar->integerValueForKey(QStringLiteral("blocksTime")));
    EXPECT_EQ(blocks,
              (QMap<QString, qint64>{{QStringLiteral("Work"), 0}, {QStringLiteral("Added"), 1}}));
    controller->shutdown();
}
