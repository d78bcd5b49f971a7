#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>

#include "model/AttachmentFiles.h"
#include "model/GlobalAttachmentFetcher.h"
#include "model/Queries.h"
#include "model/foundation/Paths.h"
#include "model/objects/ModelFixture.h"

namespace {

constexpr int kNetworkTimeoutMs = 20000;

// A real HTTP server (Python's) on 127.0.0.1 serving a temporary folder.
class FileServer {
public:
    FileServer() {
        m_process.setWorkingDirectory(m_root.path());
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.start(
            QStringLiteral("python3"),
            {QStringLiteral("-u"), QStringLiteral("-m"), QStringLiteral("http.server"),
             QStringLiteral("--bind"), QStringLiteral("127.0.0.1"), QStringLiteral("0")});
        if (!m_process.waitForStarted(kNetworkTimeoutMs))
            throw std::runtime_error(
                "python3 is needed for the HTTP tests (Debian package python3)");
        const QRegularExpression port(QStringLiteral("port (\\d+)"));
        QByteArray output;
        while (!port.match(QString::fromUtf8(output)).hasMatch()) {
            if (!m_process.waitForReadyRead(kNetworkTimeoutMs))
                throw std::runtime_error("the HTTP server did not start: " + output.toStdString());
            output += m_process.readAll();
        }
        m_base = QStringLiteral("http://127.0.0.1:%1/")
                     .arg(port.match(QString::fromUtf8(output)).captured(1));
    }
    ~FileServer() {
        m_process.kill();
        m_process.waitForFinished();
    }
    QString put(const QString &name, const QByteArray &bytes) {
        QFile file(QDir(m_root.path()).filePath(name));
        file.open(QIODevice::WriteOnly);
        file.write(bytes);
        return m_base + name;
    }
    QString url(const QString &name) const { return m_base + name; }

private:
    QTemporaryDir m_root;
    QProcess m_process;
    QString m_base;
};

class GlobalAttachmentFetcherTest : public ModelTest {
protected:
    TemporaryHome m_home;

    GlobalAttachmentFetcherTest() {
        Queries::setContext(&context());
        QDir().mkpath(Paths::attachmentsFolder());
        m_item = makeItem(makeCalendar(QStringLiteral("CAL")), QStringLiteral("E"));
    }
    ~GlobalAttachmentFetcherTest() override { Queries::setContext(nullptr); }

    // Queues the records and waits (bounded) until the fetcher is done.
    void fetchAll(const QList<ExtraDataMO *> &records) {
        GlobalAttachmentFetcher &fetcher = GlobalAttachmentFetcher::fetcher();
        QSignalSpy idle(&fetcher, &GlobalAttachmentFetcher::idle);
        for (ExtraDataMO *record : records)
            AttachmentFiles::downloadGlobalFileIfNeeded(record);
        if (!fetcher.isIdle()) {
            ASSERT_TRUE(idle.wait(kNetworkTimeoutMs));
        }
        EXPECT_TRUE(fetcher.isIdle());
    }
    static QByteArray contents(const QString &path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    FileServer m_server;
    CommonDataMO *m_item = nullptr;
    LogCapture m_log;
};

TEST_F(GlobalAttachmentFetcherTest, FetchesEachWebFileInTurnAndSkipsWhatItNeedNot) {
    const QByteArray image(70000, 'x');
    const QString good = m_server.put(QStringLiteral("photo.jpg"), image);
    const QString missing = m_server.url(QStringLiteral("gone.jpg"));
    const QString dropped = m_server.put(QStringLiteral("dropped.jpg"), "dropped");
    const QString second = m_server.put(QStringLiteral("second.txt"), "second");

    ExtraDataMO *a = AttachmentFiles::attachGlobalFile(good, m_item);
    ExtraDataMO *b = AttachmentFiles::attachGlobalFile(missing, m_item);
    ExtraDataMO *c = AttachmentFiles::attachGlobalFile(dropped, m_item);
    ExtraDataMO *d = AttachmentFiles::attachGlobalFile(second, m_item);
    ExtraDataMO *internal =
        AttachmentFiles::attachGlobalFile(QStringLiteral("merovan://Sounds/bell.aiff"), m_item);
    c->deleteExtra();
    fetchAll({a, b, c, d, internal});

    EXPECT_EQ(contents(AttachmentFiles::pathForGlobalFileURL(good)), image);
    EXPECT_TRUE(AttachmentFiles::haveAttachmentOnDisk(*a));
    EXPECT_TRUE(m_log.contains(QStringLiteral("GlobalAttachmentFetcher: file saved: %1")
                                   .arg(AttachmentFiles::pathForGlobalFileURL(good))));
    // A failed download is logged and leaves nothing behind; the next goes on.
    EXPECT_TRUE(m_log.contains(
        QStringLiteral("GlobalAttachmentFetcher: error fetching file: %1").arg(missing)));
    EXPECT_FALSE(QFileInfo::exists(AttachmentFiles::pathForGlobalFileURL(missing)));
    EXPECT_FALSE(b->isDeleted());
    EXPECT_FALSE(QFileInfo::exists(AttachmentFiles::pathForGlobalFileURL(dropped)));
    EXPECT_EQ(contents(AttachmentFiles::pathForGlobalFileURL(second)), QByteArray("second"));

    // A file already there is not fetched again.
    m_log.clear();
    fetchAll({a});
    EXPECT_FALSE(m_log.contains(QStringLiteral("GlobalAttachmentFetcher: file saved")));
}

TEST_F(GlobalAttachmentFetcherTest, AFileThatCannotBeWrittenIsLoggedAndTheRecordKept) {
    const QString url = m_server.put(QStringLiteral("report.pdf"), "%PDF");
    ExtraDataMO *record = AttachmentFiles::attachGlobalFile(url, m_item);
    // A plain file where the attachments folder should be: nothing can be
    // written below it.
    const QString folder = Paths::attachmentsFolder();
    ASSERT_TRUE(QDir(folder).removeRecursively());
    QFile blocker(folder);
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    fetchAll({record});
    blocker.remove();
    EXPECT_TRUE(m_log.contains(QStringLiteral("GlobalAttachmentFetcher: error saving file: %1")
                                   .arg(AttachmentFiles::pathForGlobalFileURL(url))));
    EXPECT_FALSE(record->isDeleted());
    EXPECT_FALSE(AttachmentFiles::haveAttachmentOnDisk(*record));
}

}  // namespace
