#include <gtest/gtest.h>

#include <QFile>

#include "caldav/CalDAVServiceInfo.h"
#include "caldav/support/FileServer.h"
#include "caldav/support/SyncTestSuite.h"
#include "model/AttachmentFiles.h"
#include "model/ConflictBin.h"
#include "model/ExtraDataMO.h"
#include "support/TestSupport.h"
#include "time/recurrence/ItemRecurrence.h"

// Attachments of items pulled from real servers: inline data, and files at
// web addresses (served by a plain web server of the test, or by nobody)
// downloaded in the last steps of the cycle, once. Files attached here sent
// to the one server that manages attachments, which names them by an id.
namespace {

// An iCalendar content line folded at 75 octets.
QByteArray foldedLine(const QByteArray &line) {
    QByteArray folded;
    for (qsizetype at = 0; at < line.size(); at += at == 0 ? 75 : 74)
        folded +=
            (at == 0 ? QByteArray() : QByteArray(" ")) + line.mid(at, at == 0 ? 75 : 74) + "\r\n";
    return folded;
}

// Bytes no text conversion leaves alone: every byte value, line ends too.
QByteArray binaryBytes(int copies) {
    QByteArray bytes;
    for (int copy = 0; copy < copies; ++copy)
        for (int value = 0; value < 256; ++value)
            bytes.append(char(value ^ copy));
    return bytes + "\r\n\n\r";
}

QByteArray bytesOfFile(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QList<ExtraDataMO *> attachmentsOf(CommonDataMO *item) {
    return item ? item->extrasForRelationship("attachments") : QList<ExtraDataMO *>();
}

// The bytes of the attachment's file on disk (empty when it has none).
QByteArray bytesOfAttachment(ExtraDataMO *record) {
    const std::optional<QString> path =
        AttachmentFiles::pathForAttachmentByExpandingResourceURLs(*record);
    return path ? bytesOfFile(*path) : QByteArray();
}

template <typename Server>
class CalDAVAttachmentSyncTest : public SyncTestSuite<Server> {
protected:
    static void SetUpTestSuite() {
        SyncTestSuite<Server>::SetUpTestSuite();
        files = new FileServer;
        filesError = files->start();
    }
    static void TearDownTestSuite() {
        delete files;
        files = nullptr;
        SyncTestSuite<Server>::TearDownTestSuite();
    }
    void SetUp() override {
        SyncTestSuite<Server>::SetUp();
        ASSERT_TRUE(filesError.isEmpty()) << filesError.toStdString();
    }

    static inline FileServer *files = nullptr;
    static inline QString filesError;
    // The attachments folder of this test alone.
    TemporaryHome home;
};

using AttachmentServers = ::testing::Types<RadicaleServer, XandikosServer, DAViCalServer>;
TYPED_TEST_SUITE(CalDAVAttachmentSyncTest, AttachmentServers);

TYPED_TEST(CalDAVAttachmentSyncTest, InlineAndWebFilesArriveWithTheirBytesOnce) {
    const QString url = this->makeServerCalendar("files", "Files");
    const QString other = this->makeServerCalendar("unfetched", "Unfetched");
    this->sync();
    CommonDataMO *calendar = this->calendarTitled("Files");
    ASSERT_NE(calendar, nullptr);
    calendar->setBoolValue(true, "localFetchAttachments");

    const QByteArray inlineBytes = binaryBytes(3);
    const QByteArray webBytes = binaryBytes(2) + "%PDF-1.4 not really";
    ASSERT_TRUE(this->files->addFile("report.pdf", webBytes));
    const QString webURL = this->files->fileURL("report.pdf");
    const QString missingURL = this->files->fileURL("missing.bin");
    const QString deadURL =
        QStringLiteral("http://127.0.0.1:%1/gone.bin").arg(TestServer::freePort());
    const QByteArray dates = "DTSTART:20261201T100000Z\r\nDTEND:20261201T110000Z\r\n";
    this->put(url + "inline.ics",
              vcalendar(vevent("inline-1", "Inline", dates,
                               foldedLine("ATTACH;FMTTYPE=application/octet-stream;ENCODING=BASE64;"
                                          "VALUE=BINARY;X-APPLE-FILENAME=blob.bin:" +
                                          inlineBytes.toBase64()))));
    this->put(url + "web.ics",
              vcalendar(vevent("web-1", "Web", dates,
                               foldedLine("ATTACH;FMTTYPE=application/pdf:" + webURL.toUtf8()))));
    // Neither a missing file nor a server that is not there stops the cycle.
    this->put(url + "dead.ics", vcalendar(vevent("dead-1", "Dead", dates,
                                                 foldedLine("ATTACH:" + deadURL.toUtf8()) +
                                                     foldedLine("ATTACH:" + missingURL.toUtf8()))));
    // A calendar that does not fetch files by itself keeps the address only.
    this->put(other + "elsewhere.ics",
              vcalendar(vevent("elsewhere-1", "Elsewhere", dates,
                               foldedLine("ATTACH:" + webURL.toUtf8() + "?unfetched"))));

    const CalDAVAccountCheck::Outcome outcome = this->sync();
    EXPECT_EQ(outcome.counts.pulled, 4);
    EXPECT_EQ(outcome.counts.filesFetched, 1);

    const QList<ExtraDataMO *> inlined = attachmentsOf(this->item(calendar, "inline-1"));
    ASSERT_EQ(inlined.size(), 1);
    EXPECT_EQ(inlined.first()->valueForKey("fileName").toString(), QStringLiteral("blob.bin"));
    EXPECT_TRUE(bytesOfAttachment(inlined.first()) == inlineBytes);

    const QList<ExtraDataMO *> web = attachmentsOf(this->item(calendar, "web-1"));
    ASSERT_EQ(web.size(), 1);
    EXPECT_EQ(web.first()->valueForKey("fileURL").toString(), webURL);
    EXPECT_TRUE(bytesOfAttachment(web.first()) == webBytes);
    EXPECT_TRUE(AttachmentFiles::haveAttachmentOnDisk(*web.first()));
    EXPECT_FALSE(web.first()->boolValueForKey("needsToBeFetched"));
    EXPECT_TRUE(this->fixture.log.contains("): requesting file: " + webURL));

    const QList<ExtraDataMO *> dead = attachmentsOf(this->item(calendar, "dead-1"));
    ASSERT_EQ(dead.size(), 2);
    for (ExtraDataMO *record : dead) {
        EXPECT_TRUE(bytesOfAttachment(record).isEmpty());
        EXPECT_FALSE(record->boolValueForKey("needsToBeFetched"));
    }
    EXPECT_TRUE(this->fixture.log.contains("): error fetching file: " + missingURL +
                                           " (HTTP status 404); skipping"));
    EXPECT_TRUE(this->fixture.log.contains("): error fetching file: " + deadURL));

    CommonDataMO *unfetched = this->calendarTitled("Unfetched");
    ASSERT_NE(unfetched, nullptr);
    const QList<ExtraDataMO *> elsewhere = attachmentsOf(this->item(unfetched, "elsewhere-1"));
    ASSERT_EQ(elsewhere.size(), 1);
    EXPECT_TRUE(bytesOfAttachment(elsewhere.first()).isEmpty());
    EXPECT_FALSE(this->fixture.log.contains("requesting file: " + webURL + "?unfetched"));

    // Nothing is asked for again, sent back or pulled.
    const int requests = this->fixture.log.count("): requesting file: ");
    const CalDAVAccountCheck::Outcome quiet = this->sync();
    EXPECT_EQ(quiet.counts.pulled, 0);
    EXPECT_EQ(quiet.counts.pushed, 0);
    EXPECT_EQ(quiet.counts.filesFetched, 0);
    EXPECT_EQ(this->fixture.log.count("): requesting file: "), requests);
    EXPECT_TRUE(bytesOfAttachment(web.first()) == webBytes);

    // An item edited here keeps naming its web file by address, not by the
    // downloaded bytes.
    this->item(calendar, "web-1")->setStringValue("Web, edited", "title");
    EXPECT_EQ(this->sync().counts.pushed, 1);
    const QByteArray sent = this->serverText(url + "web.ics");
    EXPECT_TRUE(sent.contains("SUMMARY:Web\\, edited")) << sent.toStdString();
    EXPECT_FALSE(sent.contains("BINARY")) << sent.toStdString();
    EXPECT_EQ(sent.count("ATTACH"), 1) << sent.toStdString();

    // A changed item names a new file: that one comes, the old one goes.
    const QByteArray newBytes = binaryBytes(1);
    ASSERT_TRUE(this->files->addFile("new.bin", newBytes));
    this->put(url + "web.ics",
              vcalendar(vevent("web-1", "Web", dates,
                               foldedLine("ATTACH:" + this->files->fileURL("new.bin").toUtf8()))));
    const CalDAVAccountCheck::Outcome changed = this->sync();
    EXPECT_EQ(changed.counts.pulled, 1);
    EXPECT_EQ(changed.counts.filesFetched, 1);
    const QList<ExtraDataMO *> replaced = attachmentsOf(this->item(calendar, "web-1"));
    ASSERT_EQ(replaced.size(), 1);
    EXPECT_TRUE(bytesOfAttachment(replaced.first()) == newBytes);
    EXPECT_FALSE(QFile::exists(AttachmentFiles::pathForGlobalFileURL(webURL)));
}

TYPED_TEST(CalDAVAttachmentSyncTest, AConflictingEditKeepsItsFilesInTheConflictBin) {
    const QString url = this->makeServerCalendar("conflict", "Conflict");
    const QByteArray bytes = binaryBytes(2);
    const QByteArray attach = foldedLine(
        "ATTACH;ENCODING=BASE64;VALUE=BINARY;"
        "X-APPLE-FILENAME=kept.bin:" +
        bytes.toBase64());
    const QByteArray dates = "DTSTART:20261201T100000Z\r\nDTEND:20261201T110000Z\r\n";
    this->put(url + "both.ics", vcalendar(vevent("both-1", "Both", dates, attach)));
    this->sync();
    CommonDataMO *calendar = this->calendarTitled("Conflict");
    ASSERT_NE(calendar, nullptr);
    ASSERT_EQ(attachmentsOf(this->item(calendar, "both-1")).size(), 1);

    // Edited on both sides: the local version goes to the conflict bin with
    // its file, the server's comes with its own copy.
    this->put(url + "both.ics", vcalendar(vevent("both-1", "There", dates, attach)));
    this->item(calendar, "both-1")->setStringValue("Here", "title");
    const CalDAVAccountCheck::Outcome outcome = this->sync();
    EXPECT_EQ(outcome.counts.conflicts, 1);
    CommonDataMO *bin = ConflictBin::conflictCalendar(calendar->managedObjectContext());
    const QStringList kept = this->itemUIDs(bin);
    ASSERT_EQ(kept.size(), 1);
    const QList<ExtraDataMO *> binFiles = attachmentsOf(this->item(bin, kept.first()));
    ASSERT_EQ(binFiles.size(), 1);
    EXPECT_TRUE(bytesOfAttachment(binFiles.first()) == bytes);
    const QList<ExtraDataMO *> serverFiles = attachmentsOf(this->item(calendar, "both-1"));
    ASSERT_EQ(serverFiles.size(), 1);
    EXPECT_TRUE(bytesOfAttachment(serverFiles.first()) == bytes);
    EXPECT_NE(AttachmentFiles::pathForAttachmentByExpandingResourceURLs(*serverFiles.first()),
              AttachmentFiles::pathForAttachmentByExpandingResourceURLs(*binFiles.first()));
}

// The text of a resource with its folded lines joined again.
QByteArray unfolded(QByteArray text) {
    return text.replace("\r\n ", "").replace("\n ", "");
}

// The VEVENT blocks of a resource's text.
QList<QByteArray> eventBlocksOf(const QByteArray &text) {
    QList<QByteArray> blocks;
    for (qsizetype at = text.indexOf("BEGIN:VEVENT"); at >= 0;
         at = text.indexOf("BEGIN:VEVENT", at + 1))
        blocks.append(text.mid(at, text.indexOf("END:VEVENT", at) - at));
    return blocks;
}

class CalDAVManagedAttachmentTest : public SyncTestSuite<CyrusServer> {
protected:
    // A file of this machine attached to the item.
    ExtraDataMO *attachNewFile(CommonDataMO *item, const QString &name, const QByteArray &bytes) {
        QFile file(home.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        file.close();
        return AttachmentFiles::attachLocalFile(file.fileName(), item);
    }
    TemporaryHome home;
};

TEST_F(CalDAVManagedAttachmentTest, FilesAttachedHereAreSentOnTheirOwnAndNamedByTheServer) {
    const QString url = makeServerCalendar("managed", "Managed");
    put(url + "series.ics",
        vcalendar(
            vevent("series-1", "Weekly", "DTSTART:20261207T080000Z\r\nDTEND:20261207T083000Z\r\n",
                   "RRULE:FREQ=WEEKLY;COUNT=5\r\n") +
            vevent("series-1", "Moved", "DTSTART:20261215T090000Z\r\nDTEND:20261215T093000Z\r\n",
                   "RECURRENCE-ID:20261214T080000Z\r\n")));
    sync();
    ASSERT_TRUE(CalDAVServiceInfo::supportsManagedAttachments(service()));
    CommonDataMO *calendar = calendarTitled("Managed");
    ASSERT_NE(calendar, nullptr);

    CommonDataMO *made = makeLocalItem(calendar, "With a file");
    const QByteArray notes = binaryBytes(4);
    ExtraDataMO *record = attachNewFile(made, "notes.bin", notes);
    ASSERT_NE(record, nullptr);
    CommonDataMO *series = item(calendar, "series-1");
    ASSERT_NE(series, nullptr);
    ASSERT_EQ(ItemRecurrence(series).detachedInstances().size(), 1);
    const QByteArray picture = binaryBytes(2) + "instance";
    ExtraDataMO *instanceRecord =
        attachNewFile(ItemRecurrence(series).detachedInstances().first(), "picture.png", picture);
    ASSERT_NE(instanceRecord, nullptr);

    const CalDAVAccountCheck::Outcome sent = sync();
    EXPECT_EQ(sent.counts.pushed, 2);
    EXPECT_EQ(sent.counts.conflicts, 0);
    EXPECT_EQ(sent.counts.filesStored, 2);
    EXPECT_TRUE(fixture.log.contains("): sending attachment notes.bin to event With a file (" +
                                     made->uid() + ")"));

    // The server names each file; the copy here stays where it was.
    const QVariantMap managed = record->dictionaryValueForKey("url");
    const QString id = managed.value("id").toString();
    ASSERT_FALSE(id.isEmpty());
    EXPECT_TRUE(managed.value("url").toString().startsWith(server->url("/")));
    EXPECT_FALSE(record->boolValueForKey("needsToBeStored"));
    EXPECT_TRUE(bytesOfAttachment(record) == notes);
    const QByteArray madeText = unfolded(serverText(url + made->uid() + ".ics"));
    EXPECT_TRUE(madeText.contains("MANAGED-ID=" + id.toUtf8())) << madeText.toStdString();
    EXPECT_TRUE(madeText.contains("FILENAME=notes.bin")) << madeText.toStdString();
    EXPECT_EQ(madeText.count("ATTACH"), 1) << madeText.toStdString();
    EXPECT_FALSE(madeText.contains("VALUE=BINARY")) << madeText.toStdString();
    const BlockingAnswer stored =
        fetchBlocking("GET", managed.value("url").toString(), user(), password(), {});
    EXPECT_EQ(stored.status, 200);
    EXPECT_TRUE(stored.body == notes);

    // The instance's file went to the instance, not to the series.
    const QString instanceID = instanceRecord->dictionaryValueForKey("url").value("id").toString();
    ASSERT_FALSE(instanceID.isEmpty());
    const QList<QByteArray> blocks = eventBlocksOf(unfolded(serverText(url + "series.ics")));
    ASSERT_EQ(blocks.size(), 2);
    for (const QByteArray &block : blocks) {
        const bool instance = block.contains("RECURRENCE-ID");
        EXPECT_EQ(block.contains("MANAGED-ID=" + instanceID.toUtf8()), instance)
            << block.toStdString();
        EXPECT_EQ(block.contains("ATTACH"), instance) << block.toStdString();
    }

    // Nothing is sent, fetched or pulled again; the records stay.
    const CalDAVAccountCheck::Outcome quiet = sync();
    EXPECT_EQ(quiet.counts.pushed, 0);
    EXPECT_EQ(quiet.counts.pulled, 0);
    EXPECT_EQ(quiet.counts.filesStored, 0);
    EXPECT_EQ(quiet.counts.filesFetched, 0);
    ASSERT_EQ(attachmentsOf(made), QList<ExtraDataMO *>{record});
    EXPECT_EQ(record->dictionaryValueForKey("url").value("id").toString(), id);

    // A managed file lost here comes back from the server, with the
    // account's credentials.
    QFile::remove(*AttachmentFiles::pathForAttachmentByExpandingResourceURLs(*record));
    record->setBoolValue(true, "needsToBeFetched");
    const CalDAVAccountCheck::Outcome fetched = sync();
    EXPECT_EQ(fetched.counts.filesFetched, 1);
    EXPECT_TRUE(bytesOfAttachment(record) == notes);
}

}  // namespace
