#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "model/AttachmentFiles.h"
#include "model/Queries.h"
#include "model/foundation/Paths.h"
#include "model/objects/ModelFixture.h"

namespace {

// Attachments whose files are still to come: temporary files being written
// and web files being downloaded by someone else. The clock is manual, so
// every look at the file happens when the test moves time.
class AttachmentWaitsTest : public ModelTest {
protected:
    TemporaryHome m_home;

    AttachmentWaitsTest() : m_previousTemp(qgetenv("TMPDIR")) {
        Queries::setContext(&context());
        QDir().mkpath(Paths::attachmentsFolder());
        qputenv("TMPDIR", m_temp.path().toLocal8Bit());
        m_item = makeItem(makeCalendar(QStringLiteral("CAL")), QStringLiteral("E"));
        m_item->objectInfo()->setDateValue(Date(1), QStringLiteral("lastModTime"));
    }
    ~AttachmentWaitsTest() override {
        qputenv("TMPDIR", m_previousTemp);
        Queries::setContext(nullptr);
    }

    static void write(const QString &path, const QByteArray &bytes, double mtime) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
        file.flush();
        ASSERT_TRUE(file.setFileTime(Date(mtime).toDateTime(), QFileDevice::FileModificationTime));
    }
    static QByteArray contents(const QString &path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    double lastModTime() const {
        return m_item->objectInfo()
            ->dateValueForKey(QStringLiteral("lastModTime"))
            ->secondsSinceReference();
    }
    QList<ExtraDataMO *> attachments() const {
        return m_item->extrasForRelationship(QStringLiteral("attachments"));
    }

    QByteArray m_previousTemp;
    QTemporaryDir m_temp;
    QTemporaryDir m_elsewhere{QDir::currentPath() + QStringLiteral("/attachments-XXXXXX")};
    CommonDataMO *m_item = nullptr;
    LogCapture m_log;
};

TEST_F(AttachmentWaitsTest, ATemporaryFileIsCopiedOnlyOnceItHasSettled) {
    const QString source = QDir(m_temp.path()).filePath(QStringLiteral("scan.pdf"));
    write(source, "%PDF page 1", 1000);
    ExtraDataMO *record = AttachmentFiles::attachLocalFile(source, m_item, true);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->valueForKey(QStringLiteral("localFilePath")).toString(), source);
    const QString copy = *AttachmentFiles::pathForAttachmentByExpandingResourceURLs(*record);
    EXPECT_FALSE(QFileInfo::exists(copy));

    // The writer is still at it: each change starts the comparison again.
    m_clock.advance(1);
    write(source, "%PDF page 1 page 2", 1010);
    m_clock.advance(1);
    write(source, "%PDF page 1 page 2 page 3", 1020);
    m_clock.advance(3);
    EXPECT_FALSE(QFileInfo::exists(copy));
    const double stampBefore = lastModTime();

    // Unchanged since the last look, and the first look is over 5 s old.
    m_clock.advance(1);
    EXPECT_EQ(contents(copy), QByteArray("%PDF page 1 page 2 page 3"));
    EXPECT_TRUE(m_log.contains(QStringLiteral("checkAttachedTempFile: attaching temporary file")));
    EXPECT_FALSE(record->valueForKey(QStringLiteral("localFilePath")).isValid());
    EXPECT_TRUE(AttachmentFiles::haveAttachmentOnDisk(*record));
    EXPECT_GT(lastModTime(), stampBefore);
    EXPECT_EQ(m_clock.pendingCount(), 0u);
}

TEST_F(AttachmentWaitsTest, ATemporaryFileThatNeverAppearsLosesItsRecord) {
    const QString source = QDir(m_temp.path()).filePath(QStringLiteral("pending.txt"));
    ASSERT_TRUE(AttachmentFiles::attachLocalFile(source, m_item, true));
    EXPECT_TRUE(m_log.contains(QStringLiteral("will try later")));
    m_clock.advance(30);
    EXPECT_EQ(attachments().size(), 1);
    m_clock.advance(1);
    EXPECT_TRUE(attachments().isEmpty());
    EXPECT_TRUE(m_log.contains(QStringLiteral("checkAttachedTempFile: file never appeared")));
    EXPECT_EQ(m_clock.pendingCount(), 0u);
}

TEST_F(AttachmentWaitsTest, WaitsEndQuietlyWhenTheRecordGoes) {
    const QString source = QDir(m_temp.path()).filePath(QStringLiteral("draft.txt"));
    write(source, "draft", 1000);
    AttachmentFiles::attachLocalFile(source, m_item, true)->deleteExtra();
    AttachmentFiles::attachGlobalFile(QStringLiteral("https://example.org/a.png"), m_item, true)
        ->deleteExtra();
    context().save();
    m_clock.advance(2);
    EXPECT_EQ(m_clock.pendingCount(), 0u);
    EXPECT_TRUE(attachments().isEmpty());
}

TEST_F(AttachmentWaitsTest, AFileOutsideTheTemporaryFolderIsCopiedAtOnce) {
    const QString source = QDir(m_elsewhere.path()).filePath(QStringLiteral("notes.txt"));
    write(source, "notes", 1000);
    ExtraDataMO *record = AttachmentFiles::attachLocalFile(source, m_item, true);
    ASSERT_TRUE(record);
    EXPECT_TRUE(AttachmentFiles::haveAttachmentOnDisk(*record));
    EXPECT_EQ(m_clock.pendingCount(), 0u);
}

TEST_F(AttachmentWaitsTest, AWebFileIsNotedWhenItAppearsAndGivenUpAfterThirtySeconds) {
    const QString url = QStringLiteral("https://files.example.org/plan.png");
    ExtraDataMO *record = AttachmentFiles::attachGlobalFile(url, m_item, true);
    const double stamp = lastModTime();
    m_clock.advance(2);
    EXPECT_FALSE(AttachmentFiles::haveAttachmentOnDisk(*record));
    write(AttachmentFiles::pathForGlobalFileURL(url), "png", 1000);
    m_clock.advance(1);
    EXPECT_TRUE(
        m_log.contains(QStringLiteral("checkAttachedGlobalFile: file appeared %1").arg(url)));
    EXPECT_TRUE(AttachmentFiles::haveAttachmentOnDisk(*record));
    EXPECT_EQ(record->dateValueForKey(QStringLiteral("localFileModTime")), Date(1000));
    EXPECT_EQ(lastModTime(), stamp);  // someone else's download is no change of the item

    ExtraDataMO *missing = AttachmentFiles::attachGlobalFile(
        QStringLiteral("https://files.example.org/missing.png"), m_item, true);
    m_clock.advance(31);
    EXPECT_TRUE(m_log.contains(QStringLiteral("checkAttachedGlobalFile: file never appeared")));
    EXPECT_EQ(m_clock.pendingCount(), 0u);
    EXPECT_FALSE(missing->isDeleted());
}

}  // namespace
