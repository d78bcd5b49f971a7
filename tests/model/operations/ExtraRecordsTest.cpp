#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "model/AttachmentFiles.h"
#include "model/Queries.h"
#include "model/foundation/Paths.h"
#include "model/objects/ModelFixture.h"

namespace {

class ExtraRecordsTest : public ModelTest {
protected:
    ExtraRecordsTest() {
        Queries::setContext(&context());
        QDir().mkpath(Paths::attachmentsFolder());
    }
    ~ExtraRecordsTest() override { Queries::setContext(nullptr); }

    QString writeFile(const QString &name, const QByteArray &bytes) {
        const QString path = m_files.filePath(name);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return path;
    }
    QString pathOf(const ExtraDataMO *record) {
        return AttachmentFiles::pathForAttachmentByExpandingResourceURLs(*record).value_or(
            QString());
    }
    double lastModTime(const CommonDataMO *item) {
        return item->objectInfo()
            ->dateValueForKey(QStringLiteral("lastModTime"))
            ->secondsSinceReference();
    }

    QTemporaryDir m_files;
};

TEST_F(ExtraRecordsTest, LocalOnlyExtrasLeaveTheStampsAlone) {
    CommonDataMO *item = makeItem(makeCalendar(QStringLiteral("CAL")), QStringLiteral("E"));
    item->objectInfo()->setDateValue(Date(1), QStringLiteral("lastModTime"));
    context().save();

    m_clock.advance(30);
    ExtraDataMO *local = ExtraDataMO::makeExtra(QStringLiteral("LocalReminder"), item);
    local->setDoubleValue(-600, QStringLiteral("relativeSeconds"));
    EXPECT_EQ(local->uid().size(), 36);
    local->deleteExtra();
    ExtraDataMO::makeExtra(QStringLiteral("LocalContactLink"), item);
    EXPECT_EQ(lastModTime(item), 1);

    ExtraDataMO *synced = ExtraDataMO::makeExtra(QStringLiteral("Reminder"), item);
    EXPECT_EQ(lastModTime(item), kStart + 30);
    m_clock.advance(30);
    synced->deleteExtra();
    EXPECT_EQ(lastModTime(item), kStart + 60);
    EXPECT_EQ(item->extrasForRelationship(QStringLiteral("reminders")).size(), 0);
}

TEST_F(ExtraRecordsTest, AttachmentFilesComeAndGoWithTheirRecords) {
    CommonDataMO *item = makeItem(makeCalendar(QStringLiteral("CAL")), QStringLiteral("E"));
    const QString source = writeFile(QStringLiteral("plan.v2.pdf"), "%PDF plan");
    ExtraDataMO *record = AttachmentFiles::attachLocalFile(source, item);
    ASSERT_TRUE(record);
    const QString path = pathOf(record);
    EXPECT_EQ(QFileInfo(path).fileName(), QStringLiteral("plan.v2-%1.pdf").arg(record->uid()));
    EXPECT_TRUE(AttachmentFiles::haveAttachmentOnDisk(*record));
    // The same file again is the same record.
    EXPECT_EQ(AttachmentFiles::attachLocalFile(source, item), record);
    EXPECT_EQ(item->extrasForRelationship(QStringLiteral("attachments")).size(), 1);

    // A copy to another item gets its own file.
    CommonDataMO *other = makeItem(item->parentContainer(), QStringLiteral("F"));
    ExtraDataMO *copy = ExtraDataMO::makeExtraWithExtra(record, other);
    ASSERT_TRUE(copy);
    EXPECT_NE(copy->uid(), record->uid());
    QFile copied(pathOf(copy));
    ASSERT_TRUE(copied.open(QIODevice::ReadOnly));
    EXPECT_EQ(copied.readAll(), QByteArray("%PDF plan"));

    record->deleteExtra();
    EXPECT_FALSE(QFileInfo::exists(path));
    EXPECT_TRUE(QFileInfo::exists(pathOf(copy)));

    // Deleting the item takes the copy's file too.
    const QString copyPath = pathOf(copy);
    CommonDataMO::deleteObject(other);
    EXPECT_FALSE(QFileInfo::exists(copyPath));
    context().save();
}

TEST_F(ExtraRecordsTest, AFailedCopyIsLoggedAndLosesOnlyTheNewRecord) {
    LogCapture log;
    CommonDataMO *item = makeItem(makeCalendar(QStringLiteral("CAL")), QStringLiteral("E"));
    makeExtra(QStringLiteral("Reminder"), item);
    EXPECT_EQ(
        AttachmentFiles::attachLocalFile(m_files.filePath(QStringLiteral("missing.txt")), item),
        nullptr);
    EXPECT_TRUE(log.contains(QStringLiteral("attachLocalFile: error attaching file")));
    EXPECT_TRUE(item->extrasForRelationship(QStringLiteral("attachments")).isEmpty());
    EXPECT_EQ(item->extrasForRelationship(QStringLiteral("reminders")).size(), 1);

    // The stored file of a record vanished: its copy cannot be made and goes.
    ExtraDataMO *record =
        AttachmentFiles::attachLocalFile(writeFile(QStringLiteral("a.txt"), "a"), item);
    ASSERT_TRUE(record);
    ASSERT_TRUE(QFile::remove(pathOf(record)));
    CommonDataMO *other = makeItem(item->parentContainer(), QStringLiteral("F"));
    makeExtra(QStringLiteral("Attendee"), other);
    EXPECT_EQ(ExtraDataMO::makeExtraWithExtra(record, other), nullptr);
    EXPECT_TRUE(log.contains(QStringLiteral("makeExtraWithExtra: error copying file")));
    EXPECT_TRUE(other->extrasForRelationship(QStringLiteral("attachments")).isEmpty());
    EXPECT_EQ(other->extrasForRelationship(QStringLiteral("attendees")).size(), 1);
    context().save();
}

TEST_F(ExtraRecordsTest, WebFilesMapToOneHundredCharacterNames) {
    const QString base = QStringLiteral("https://example.com/") + QString(90, QLatin1Char('x'));
    const QString first = AttachmentFiles::pathForGlobalFileURL(base + QStringLiteral("/one.png"));
    const QString second = AttachmentFiles::pathForGlobalFileURL(base + QStringLiteral("/two.png"));
    EXPECT_EQ(QFileInfo(first).fileName().size(), 100);
    EXPECT_TRUE(QFileInfo(first).fileName().startsWith(QStringLiteral("example.com-xxx")));
    EXPECT_EQ(first, second);
    EXPECT_EQ(
        QFileInfo(AttachmentFiles::pathForGlobalFileURL(QStringLiteral("http://host:8080/a/b.ics")))
            .fileName(),
        QStringLiteral("host-8080-a-b.ics"));

    CommonDataMO *item = makeItem(makeCalendar(QStringLiteral("CAL")), QStringLiteral("E"));
    const QString url = QStringLiteral("http://host/pic.png");
    ExtraDataMO *record = AttachmentFiles::attachGlobalFile(url, item);
    EXPECT_EQ(AttachmentFiles::attachGlobalFile(url, item), record);
    EXPECT_FALSE(AttachmentFiles::haveAttachmentOnDisk(*record));
    QFile download(AttachmentFiles::pathForGlobalFileURL(url));
    ASSERT_TRUE(download.open(QIODevice::WriteOnly));
    download.close();
    EXPECT_TRUE(AttachmentFiles::haveAttachmentOnDisk(*record));
    record->deleteExtra();
    EXPECT_FALSE(QFileInfo::exists(AttachmentFiles::pathForGlobalFileURL(url)));
}

TEST_F(ExtraRecordsTest, AReimportedRecordTakesBackItsIdentity) {
    CommonDataMO *item = makeItem(makeCalendar(QStringLiteral("CAL")), QStringLiteral("E"));
    ExtraDataMO *alarm = ExtraDataMO::makeExtra(QStringLiteral("Reminder"), item);
    alarm->setIntegerValue(1, QStringLiteral("reminderType"));
    alarm->setDoubleValue(-900, QStringLiteral("relativeSeconds"));
    alarm->setDateValue(Date(5), QStringLiteral("localOwnerModTime"));
    ExtraDataMO *guest = ExtraDataMO::makeExtra(QStringLiteral("Attendee"), item);
    guest->setValue(QStringLiteral("email"), QStringLiteral("ann@example.com"));
    EXPECT_EQ(alarm->similarityHash(), QStringLiteral("Reminder.1.0.0.-900.0"));
    EXPECT_EQ(guest->similarityHash(), QStringLiteral("Attendee.ann@example.com"));

    QHash<QString, QVariantMap> preserved;
    for (ExtraDataMO *record : item->allExtrasForRelationships(
             {QStringLiteral("reminders"), QStringLiteral("attendees")}))
        preserved.insert(record->similarityHash(), record->preservedAttributes());
    const QString alarmUID = alarm->uid();
    alarm->deleteExtra();

    ModelObject *service =
        makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("S"));
    whileSyncing(service, [&] {
        ExtraDataMO *again = ExtraDataMO::makeExtra(QStringLiteral("Reminder"), item);
        again->setIntegerValue(1, QStringLiteral("reminderType"));
        again->setDoubleValue(-900, QStringLiteral("relativeSeconds"));
        EXPECT_TRUE(again->uid().isEmpty());
        again->assignUIDIfNeeded(preserved);
        EXPECT_EQ(again->uid(), alarmUID);
        EXPECT_EQ(again->dateValueForKey(QStringLiteral("localOwnerModTime")), Date(5));

        ExtraDataMO *changed = ExtraDataMO::makeExtra(QStringLiteral("Reminder"), item);
        changed->setDoubleValue(-60, QStringLiteral("relativeSeconds"));
        changed->assignUIDIfNeeded(preserved);
        EXPECT_NE(changed->uid(), alarmUID);
        EXPECT_EQ(changed->uid().size(), 36);
    });
    EXPECT_EQ(preserved.size(), 1);  // the attendee's entry is still there
    EXPECT_EQ(item->extraDataOfType(QStringLiteral("Reminder"), alarmUID)->uid(), alarmUID);
    EXPECT_EQ(item->extraDataOfType(QStringLiteral("Attendee"), alarmUID), nullptr);
}

TEST_F(ExtraRecordsTest, PeopleAndContactsAreAttachedOnce) {
    CommonDataMO *item = makeItem(makeCalendar(QStringLiteral("CAL")), QStringLiteral("E"));
    ExtraDataMO *ann = ExtraDataMO::attachAttendee(QStringLiteral("ann@example.com"), item);
    EXPECT_EQ(ExtraDataMO::attachAttendee(QStringLiteral("ANN@example.com"), item), ann);
    EXPECT_NE(ExtraDataMO::attachAttendee(QStringLiteral("bob@example.com"), item), ann);
    // The organizer with the same address is a record of its own.
    ExtraDataMO *chair = ExtraDataMO::attachOrganizer(QStringLiteral("ann@example.com"), item);
    EXPECT_EQ(chair->entityName(), QStringLiteral("Organizer"));
    EXPECT_EQ(ExtraDataMO::attachOrganizer(QStringLiteral("ann@example.com"), item), chair);
    EXPECT_EQ(item->extrasForRelationship(QStringLiteral("attendees")).size(), 2);

    ExtraDataMO *synced = ExtraDataMO::attachContact(QStringLiteral("C1"), item, false);
    ExtraDataMO *local = ExtraDataMO::attachContact(QStringLiteral("C1"), item, true);
    EXPECT_NE(synced, local);
    EXPECT_EQ(local->entityName(), QStringLiteral("LocalContactLink"));
    EXPECT_EQ(ExtraDataMO::attachContact(QStringLiteral("C1"), item, true), local);
    EXPECT_EQ(item->extrasForRelationship(QStringLiteral("contacts")).size(), 2);
}

}  // namespace
