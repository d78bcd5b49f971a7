#include <gtest/gtest.h>

#include <functional>

#include "ical/ICalImportFixture.h"
#include "ical/ICalReadOptions.h"
#include "ical/ICalWriter.h"
#include "ical/ItemComparison.h"
#include "model/Queries.h"
#include "model/Reminder.h"
#include "model/Schema.h"
#include "model/SyncableObjectMO.h"

namespace {

// Import a file, export the calendar, import the export into a new store:
// both stores hold the same items.
class RoundTripTest : public ICalImportTest {
protected:
    // A second store beside the fixture's, the queries pointed at it while
    // it reads.
    struct OtherStore {
        explicit OtherStore(const QString &path) : store(&Schema::model(), path), context(&store) {}
        PersistentStore store;
        ManagedObjectContext context;
    };

    CommonDataMO *importIntoNewStore(const QByteArray &exported) {
        m_other = std::make_unique<OtherStore>(m_home.filePath(QStringLiteral("Other.bsql")));
        Queries::setContext(&m_other->context);
        ICalImporter importer(exported);
        CommonDataMO *calendar = CommonDataMO::makeContainer(QStringLiteral("Calendar"), nullptr);
        importer.describeCalendar(calendar);
        const ICalImporter::Result result = importer.importInto(calendar);
        EXPECT_TRUE(result.skipped.isEmpty());
        m_other->context.save();
        Queries::setContext(&context());
        return calendar;
    }

    // An edit that leaves the item's stamps as they were.
    static void keepingStamps(CommonDataMO *item, const std::function<void()> &edit) {
        SyncableObjectMO *info = item->objectInfo();
        const QVariant modified = info->valueForKey(QStringLiteral("lastModTime"));
        const QVariant modifier = info->valueForKey(QStringLiteral("lastModBy"));
        edit();
        info->setValue(QStringLiteral("lastModTime"), modified);
        info->setValue(QStringLiteral("lastModBy"), modifier);
    }

    // What the first import holds that export leaves out by design:
    // location alarms stay on this machine, the non-participant role and
    // the unknown user type are read but not written, and a snooze alarm
    // does not say which alarm it snoozes. The items keep their stamps.
    void dropWhatExportLeavesOut() {
        for (ManagedObject *object : m_calendar->objectsForKey(QStringLiteral("childrenDirect"))) {
            auto *item = ModelObject::as<CommonDataMO>(object);
            keepingStamps(item, [item] {
                for (ExtraDataMO *reminder :
                     item->extrasForRelationship(QStringLiteral("reminders"))) {
                    if (reminder->integerValueForKey(QStringLiteral("reminderType")) ==
                        Reminder::Location)
                        reminder->deleteExtra();
                    else
                        reminder->setBoolValue(false, QStringLiteral("snooze"));
                }
                for (ExtraDataMO *attendee :
                     item->extrasForRelationship(QStringLiteral("attendees"))) {
                    if (attendee->integerValueForKey(QStringLiteral("role")) == 2)
                        attendee->setIntegerValue(0, QStringLiteral("role"));
                    if (attendee->integerValueForKey(QStringLiteral("attendeeType")) == 4)
                        attendee->setIntegerValue(0, QStringLiteral("attendeeType"));
                }
            });
        }
    }

    // The first difference after the round trip of the file.
    QString roundTrip(const QString &file) {
        const ICalImporter::Result first = importText(dataFile(file));
        EXPECT_TRUE(first.skipped.isEmpty());
        context().save();
        const QByteArray exported = ICalWriter::calendarExport(m_calendar);
        m_copy = importIntoNewStore(exported);
        dropWhatExportLeavesOut();
        return ItemComparison::firstDifferenceOfCalendars(*m_calendar, *m_copy);
    }

    std::unique_ptr<OtherStore> m_other;
    CommonDataMO *m_copy = nullptr;  // the calendar in the other store
};

TEST_F(RoundTripTest, EveryTestFileComesBackTheSame) {
    for (const char *file :
         {"service-allday-floating.ics", "client-windows-zones.ics", "meeting-people.ics",
          "alarms.ics", "folded-multibyte.ics", "todos-journals.ics"}) {
        SCOPED_TRACE(file);
        EXPECT_EQ(roundTrip(QLatin1String(file)).toStdString(), "");
        for (ManagedObject *object : m_calendar->objectsForKey(QStringLiteral("childrenDirect")))
            CommonDataMO::deleteObject(ModelObject::as<CommonDataMO>(object));
        context().save();
        m_other.reset();
        QFile::remove(m_home.filePath(QStringLiteral("Other.bsql")));
    }
}

TEST_F(RoundTripTest, TheComparisonNamesTheFirstDifference) {
    ASSERT_EQ(roundTrip(QStringLiteral("meeting-people.ics")).toStdString(), "");
    CommonDataMO *meeting = item(QStringLiteral("planning@example.org"));
    ExtraDataMO *ann = record(QStringLiteral("planning@example.org"), "attendees", "email",
                              QStringLiteral("ann@example.org"));
    keepingStamps(meeting, [ann] { ann->setIntegerValue(3, QStringLiteral("status")); });
    const QString difference = ItemComparison::firstDifferenceOfCalendars(*m_calendar, *m_copy);
    EXPECT_TRUE(difference.contains(QLatin1String("planning@example.org records")))
        << difference.toStdString();
    EXPECT_TRUE(difference.contains(QLatin1String("status=1"))) << difference.toStdString();
    keepingStamps(meeting, [ann] { ann->setIntegerValue(1, QStringLiteral("status")); });
    EXPECT_EQ(ItemComparison::firstDifferenceOfCalendars(*m_calendar, *m_copy), QString());

    keepingStamps(meeting, [meeting] {
        meeting->setValue(QStringLiteral("location"), QStringLiteral("Elsewhere"));
    });
    EXPECT_TRUE(ItemComparison::firstDifferenceOfCalendars(*m_calendar, *m_copy)
                    .contains(QLatin1String("location=Elsewhere")));
}

// A context that has read nothing of the store yet, which reads the items'
// rows and records in batches, writes the same text as the one that filled it.
TEST_F(RoundTripTest, AContextThatReadNothingYetWritesTheSameText) {
    for (const char *file :
         {"service-allday-floating.ics", "client-windows-zones.ics", "meeting-people.ics",
          "alarms.ics", "folded-multibyte.ics", "todos-journals.ics"}) {
        SCOPED_TRACE(file);
        EXPECT_TRUE(importText(dataFile(QLatin1String(file))).skipped.isEmpty());
    }
    context().save();
    const QByteArray written = ICalWriter::calendarExport(m_calendar);
    ASSERT_GT(written.count("BEGIN:VEVENT"), 10);

    ManagedObjectContext fresh(m_store.get());
    Queries::setContext(&fresh);
    auto *calendar = ModelObject::as<CommonDataMO>(fresh.objectWithID(m_calendar->objectID()));
    const QByteArray again = ICalWriter::calendarExport(calendar);
    Queries::setContext(&context());
    EXPECT_EQ(again.toStdString(), written.toStdString());
}

}  // namespace
