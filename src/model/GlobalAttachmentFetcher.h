#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

#include "model/store/ObjectRef.h"

class ExtraDataMO;
class QNetworkAccessManager;
class QNetworkReply;

// Downloads the web files of attachment records (`fileURL` http or https)
// into the attachments folder, one at a time in the order asked.
//
// A record is skipped when it was deleted meanwhile, has an internal address
// or its file is already there. The bytes are written atomically on a worker
// thread; back on the main thread the record, if still there, is noted as
// saved. A failed download or write is logged and the next file fetched;
// nothing else changes. Main thread only.
class GlobalAttachmentFetcher : public QObject {
    Q_OBJECT
public:
    // Larger downloads are abandoned as failed.
    static constexpr qint64 kMaxFileBytes = qint64(256) << 20;

    // The process-wide fetcher, made on first use and deleted with the
    // application object.
    static GlobalAttachmentFetcher &fetcher();

    void fetchGlobalAttachment(ExtraDataMO *record);
    // Nothing queued and nothing being fetched or written.
    bool isIdle() const { return m_attachmentsToFetch.isEmpty(); }

signals:
    // The queue ran empty.
    void idle();

private:
    explicit GlobalAttachmentFetcher(QObject *parent);
    void fetchNextAttachment();
    void downloadFinished();
    void fileWritten(const QString &error);
    void doneWithFetch();

    QList<ObjectRef<ExtraDataMO>> m_attachmentsToFetch;
    QNetworkAccessManager *m_network;
    QPointer<QNetworkReply> m_connection;
    QByteArray m_data;
    QString m_path;
};
