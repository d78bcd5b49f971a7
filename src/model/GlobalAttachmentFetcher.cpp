#include "model/GlobalAttachmentFetcher.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QtConcurrent/QtConcurrentRun>

#include "model/AttachmentFiles.h"
#include "model/ExtraDataMO.h"
#include "model/foundation/Log.h"

namespace {

QString fileURLOf(const ExtraDataMO &record) {
    return record.valueForKey(QStringLiteral("fileURL")).toString();
}

}  // namespace

GlobalAttachmentFetcher &GlobalAttachmentFetcher::fetcher() {
    static QPointer<GlobalAttachmentFetcher> instance;
    if (!instance)
        instance = new GlobalAttachmentFetcher(QCoreApplication::instance());
    return *instance;
}

GlobalAttachmentFetcher::GlobalAttachmentFetcher(QObject *parent)
    : QObject(parent), m_network(new QNetworkAccessManager(this)) {}

void GlobalAttachmentFetcher::fetchGlobalAttachment(ExtraDataMO *record) {
    m_attachmentsToFetch.append(ObjectRef<ExtraDataMO>(record));
    if (m_attachmentsToFetch.size() == 1)
        fetchNextAttachment();
}

void GlobalAttachmentFetcher::fetchNextAttachment() {
    while (!m_attachmentsToFetch.isEmpty()) {
        ExtraDataMO *record = m_attachmentsToFetch.first().get();
        const QString url = record ? fileURLOf(*record) : QString();
        if (record && AttachmentFiles::isGlobalFileURL(url) &&
            !QFileInfo::exists(AttachmentFiles::pathForGlobalFileURL(url))) {
            m_path = AttachmentFiles::pathForGlobalFileURL(url);
            m_data.clear();
            m_connection = m_network->get(QNetworkRequest(QUrl(url)));
            connect(m_connection, &QNetworkReply::readyRead, this, [this] {
                m_data += m_connection->readAll();
                if (m_data.size() > kMaxFileBytes)
                    m_connection->abort();
            });
            connect(m_connection, &QNetworkReply::finished, this,
                    &GlobalAttachmentFetcher::downloadFinished);
            return;
        }
        m_attachmentsToFetch.removeFirst();
    }
    emit idle();
}

void GlobalAttachmentFetcher::downloadFinished() {
    QNetworkReply *reply = m_connection;
    reply->deleteLater();
    const QString url = reply->url().toString();
    if (reply->error() != QNetworkReply::NoError || m_data.size() > kMaxFileBytes) {
        const QString reason = m_data.size() > kMaxFileBytes
                                   ? QStringLiteral("larger than %1 bytes").arg(kMaxFileBytes)
                                   : reply->errorString();
        logError("GlobalAttachmentFetcher: error fetching file: %@; (%@)", url, reason);
        doneWithFetch();
        return;
    }
    m_data += reply->readAll();
    auto *watcher = new QFutureWatcher<QString>(this);
    connect(watcher, &QFutureWatcher<QString>::finished, this, [this, watcher] {
        watcher->deleteLater();
        fileWritten(watcher->result());
    });
    watcher->setFuture(
        QtConcurrent::run(AttachmentFiles::saveFileData, m_path, std::exchange(m_data, {})));
}

void GlobalAttachmentFetcher::fileWritten(const QString &error) {
    if (!error.isEmpty()) {
        logError("GlobalAttachmentFetcher: error saving file: %@; (%@)", m_path, error);
    } else {
        logInfo("GlobalAttachmentFetcher: file saved: %@", m_path);
        if (ExtraDataMO *record = m_attachmentsToFetch.first().get())
            AttachmentFiles::noteAttachmentWasSavedToDiskAndTouchParentObject(*record, false);
    }
    doneWithFetch();
}

void GlobalAttachmentFetcher::doneWithFetch() {
    m_attachmentsToFetch.removeFirst();
    fetchNextAttachment();
}
