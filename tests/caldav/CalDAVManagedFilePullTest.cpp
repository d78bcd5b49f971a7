#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>

#include "caldav/CalDAVServiceInfo.h"
#include "caldav/support/SyncTestSuite.h"
#include "model/AttachmentFiles.h"
#include "model/ExtraDataMO.h"
#include "support/TestSupport.h"

// Files another client attaches to an item on a server that manages
// attachments reach this machine in the file step of the next cycle, when
// the calendar fetches its files, as files at web addresses do.
namespace {

class CalDAVManagedFilePullTest : public SyncTestSuite<CyrusServer> {
protected:
    // Another client adds a file to the item's resource the way such servers
    // take it (a POST naming the file); empty when the server took it.
    QString attachOnServer(const QString &itemURL, const QString &name, const QByteArray &bytes) {
        const QString script = QStringLiteral(
            "import base64, sys, urllib.request\n"
            "request = urllib.request.Request(sys.argv[1] + '?action=attachment-add', "
            "data=sys.stdin.buffer.read(), method='POST')\n"
            "request.add_header('Authorization', 'Basic ' + "
            "base64.b64encode(sys.argv[2].encode()).decode())\n"
            "request.add_header('Content-Type', 'application/octet-stream')\n"
            "request.add_header('Content-Disposition', 'attachment; filename=\"%s\"' % "
            "sys.argv[3])\n"
            "print(urllib.request.urlopen(request, timeout=20).status)\n");
        QProcess process;
        process.start(QStringLiteral("/usr/bin/python3"),
                      {QStringLiteral("-c"), script, itemURL, user() + ':' + password(), name});
        process.write(bytes);
        process.closeWriteChannel();
        const ProcessResult result = finishProcess(process, 30000);
        return result.exitCode == 0 && result.out.trimmed().startsWith('2')
                   ? QString()
                   : result.out + result.err;
    }
    TemporaryHome home;
};

QByteArray bytesOnDisk(ExtraDataMO &record) {
    const std::optional<QString> path =
        AttachmentFiles::pathForAttachmentByExpandingResourceURLs(record);
    QFile file(path.value_or(QString()));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

TEST_F(CalDAVManagedFilePullTest, AFileAttachedByAnotherClientIsDownloadedOnce) {
    const QString url = makeServerCalendar("pulled-files", "Pulled files");
    put(url + "meeting.ics",
        vcalendar(vevent("meeting-1", "Meeting",
                         "DTSTART:20261207T080000Z\r\nDTEND:20261207T083000Z\r\n")));
    sync();
    ASSERT_TRUE(CalDAVServiceInfo::supportsManagedAttachments(service()));
    CommonDataMO *calendar = calendarTitled("Pulled files");
    ASSERT_NE(calendar, nullptr);
    calendar->setBoolValue(true, "localFetchAttachments");

    QByteArray agenda("Agenda\r\n");
    for (int value = 0; value < 256; ++value)
        agenda.append(char(value));
    const QString error = attachOnServer(url + "meeting.ics", "agenda.bin", agenda);
    ASSERT_TRUE(error.isEmpty()) << error.toStdString();

    const CalDAVAccountCheck::Outcome pulled = sync();
    EXPECT_EQ(pulled.counts.pulled, 1);
    EXPECT_EQ(pulled.counts.filesFetched, 1);
    CommonDataMO *meeting = item(calendar, "meeting-1");
    ASSERT_NE(meeting, nullptr);
    const QList<ExtraDataMO *> records = meeting->extrasForRelationship("attachments");
    ASSERT_EQ(records.size(), 1);
    ExtraDataMO *record = records.first();
    EXPECT_EQ(record->valueForKey("fileName").toString(), "agenda.bin");
    EXPECT_FALSE(record->dictionaryValueForKey("url").value("id").toString().isEmpty());
    EXPECT_FALSE(record->boolValueForKey("needsToBeFetched"));
    EXPECT_TRUE(bytesOnDisk(*record) == agenda);

    // Once here, the file is neither fetched nor sent again.
    const CalDAVAccountCheck::Outcome quiet = sync();
    EXPECT_EQ(quiet.counts.pulled, 0);
    EXPECT_EQ(quiet.counts.filesFetched, 0);
    EXPECT_EQ(quiet.counts.filesStored, 0);
    EXPECT_EQ(meeting->extrasForRelationship("attachments"), records);
}

}  // namespace
