// The file steps of CalDAVSyncTask, last in a cycle: the attachment files of
// the account's items that wait to be downloaded are fetched one at a time
// and written to their place in the attachments folder; on a server that
// manages attachments, files attached here are sent to the items' resources
// one at a time, and the server's answer (the item naming the file by the
// id the server gave it) is stored.
#include <QFile>
#include <QMimeDatabase>
#include <QUrl>
#include <QtConcurrent/QtConcurrentRun>

#include "caldav/CalDAVClient.h"
#include "caldav/CalDAVRemoteObjects.h"
#include "caldav/CalDAVServiceInfo.h"
#include "caldav/CalDAVSyncTask.h"
#include "caldav/WebDAVResponse.h"
#include "model/AttachmentFiles.h"
#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/RemoteServiceQueries.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Log.h"

namespace {

const QString kNeedsToBeFetched = QStringLiteral("needsToBeFetched");
const QString kNeedsToBeStored = QStringLiteral("needsToBeStored");

// The item an attachment belongs to, as the server keeps it: a detached
// instance lives in the resource of its repeating item.
CommonDataMO *resourceItemOfAttachment(const ExtraDataMO &record) {
    auto *item = ModelObject::as<CommonDataMO>(record.objectForKey(QStringLiteral("parentObject")));
    if (item && item->entityName() == QLatin1String("DetachedEvent"))
        if (auto *original =
                ModelObject::as<CommonDataMO>(item->objectForKey(QStringLiteral("originalEvent"))))
            return original;
    return item;
}

// Where a file is downloaded from: the address a server gave for its copy
// (the "url" of a managed attachment), else the attachment's own address.
QString downloadAddressOf(const ExtraDataMO &record) {
    const QString managed =
        record.dictionaryValueForKey(QStringLiteral("url")).value(QStringLiteral("url")).toString();
    return managed.isEmpty() ? record.valueForKey(QStringLiteral("fileURL")).toString() : managed;
}

}  // namespace

bool CalDAVSyncTask::haveFilesToSync() {
    m_filesToSync.clear();
    for (ManagedObject *record : RemoteServiceQueries::ownedAttachmentsToSync(remoteService()))
        m_filesToSync.append(ObjectRef<ExtraDataMO>(record));
    return !m_filesToSync.isEmpty();
}

void CalDAVSyncTask::fileSync() {
    setNextStep([this] { findFileToSync(); });
}

void CalDAVSyncTask::findFileToSync() {
    while (!m_filesToSync.isEmpty()) {
        if (timeToYield())
            return;
        m_syncingFile = m_filesToSync.takeFirst();
        ExtraDataMO *record = m_syncingFile.get();
        if (!record)
            continue;
        if (record->boolValueForKey(kNeedsToBeFetched) ? requestFileDownload(*record)
                                                       : createAttachmentRequest(*record))
            return;
    }
    m_syncingFile = {};
    finishWithState(SyncState::Idle);
}

QString CalDAVSyncTask::hrefOfAttachmentItem(const ExtraDataMO &record) const {
    const CommonDataMO *item = resourceItemOfAttachment(record);
    const ModelObject *remote =
        item ? CalDAVRemoteObjects::recordOf(item->objectInfo(), remoteService()) : nullptr;
    return remote ? remote->valueForKey(QStringLiteral("remoteID")).toString() : QString();
}

bool CalDAVSyncTask::fileIsReady(const ExtraDataMO &record) {
    if (record.valueForKey(QStringLiteral("localFilePath")).toString().isEmpty() &&
        !hrefOfAttachmentItem(record).isEmpty())
        return true;
    logInfo("CalDAVSyncTask (%@): file is not ready: %@; skipping", logIdentity(),
            AttachmentFiles::pathForAttachmentByExpandingResourceURLs(record).value_or(QString()));
    return false;
}

bool CalDAVSyncTask::requestFileDownload(ExtraDataMO &record) {
    if (!fileIsReady(record))
        return false;
    const QString path =
        AttachmentFiles::pathForAttachmentByExpandingResourceURLs(record).value_or(QString());
    if (AttachmentFiles::haveAttachmentOnDisk(record)) {
        logInfo("CalDAVSyncTask (%@): already have file: %@; skipping", logIdentity(), path);
        fileSyncComplete();
        return false;
    }
    const QString address = downloadAddressOf(record).trimmed();
    QUrl url(address, QUrl::StrictMode);
    if (url.isRelative() && url.isValid() && !address.isEmpty()) {
        // Relative to where the server keeps its attachments (else to the
        // account's own address).
        QString base =
            m_syncData.value(CalDAVClient::caldavKey("managed-attachments-server-URL")).toString();
        if (base.isEmpty())
            base = remoteService()->valueForKey(QStringLiteral("url")).toString();
        url = QUrl(base).resolved(url);
    }
    if (address.isEmpty() || !url.isValid() || url.host().isEmpty()) {
        logWarning("CalDAVSyncTask (%@): skipping invalid attachment URL: %@", logIdentity(),
                   address);
        fileSyncComplete();
        return false;
    }
    const QString scheme = url.scheme().toLower();
    if ((scheme != QLatin1String("http") && scheme != QLatin1String("https")) ||
        !CalDAVServiceInfo::supportsAttachments(remoteService())) {
        logWarning("CalDAVSyncTask (%@): skipping unsupported attachment URL: %@", logIdentity(),
                   address);
        fileSyncComplete();
        return false;
    }
    m_syncingFileURL = url.toString();
    logInfo("CalDAVSyncTask (%@): requesting file: %@", logIdentity(), m_syncingFileURL);
    awaitAnswer([this] { getFileResponse(); });
    caldav().get(m_syncingFileURL, std::nullopt);
    return true;
}

ExtraDataMO *CalDAVSyncTask::fileOfSuccessfulAnswer(const char *failure) {
    const std::optional<WebDAVResponse> &response = caldav().response();
    ExtraDataMO *record = m_syncingFile.get();
    const int status = response ? response->statusCode : 0;
    if (record && status >= 200 && status <= 299)
        return record;
    const QString reason = !record  ? QStringLiteral("the attachment was deleted")
                           : status ? QStringLiteral("HTTP status %1").arg(status)
                                    : m_connectionError.value_or(QStringLiteral("no answer"));
    logWarning(failure, logIdentity(),
               m_syncingFileURL + QStringLiteral(" (") + reason + QLatin1Char(')'));
    m_connectionError.reset();
    fileSyncComplete();
    return nullptr;
}

void CalDAVSyncTask::getFileResponse() {
    if (ExtraDataMO *record =
            fileOfSuccessfulAnswer("CalDAVSyncTask (%@): error fetching file: %@; skipping"))
        saveFileDataAndBlock(*AttachmentFiles::pathForAttachmentByExpandingResourceURLs(*record),
                             caldav().responseData());
}

void CalDAVSyncTask::saveFileDataAndBlock(const QString &path, const QByteArray &data) {
    awaitAnswer([this] { fileSaved(); });
    m_fileSaveError.clear();
    m_fileSave = QtConcurrent::run(AttachmentFiles::saveFileData, path, data);
    // Runs on the main thread, unless the client (and the cycle) is gone.
    m_fileSave.then(&caldav(), [this](const QString &error) {
        m_fileSaveError = error;
        unblock();
    });
}

void CalDAVSyncTask::fileSaved() {
    ExtraDataMO *record = m_syncingFile.get();
    if (!m_fileSaveError.isEmpty() || !record) {
        logWarning("CalDAVSyncTask (%@): error fetching file: %@; skipping", logIdentity(),
                   m_syncingFileURL + QStringLiteral(" (") +
                       (record ? m_fileSaveError : QStringLiteral("the attachment was deleted")) +
                       QLatin1Char(')'));
    } else {
        AttachmentFiles::noteAttachmentWasSavedToDiskAndTouchParentObject(*record, false);
        ++m_counts.filesFetched;
    }
    fileSyncComplete();
}

void CalDAVSyncTask::fileSyncComplete() {
    if (ExtraDataMO *record = m_syncingFile.get()) {
        if (record->boolValueForKey(kNeedsToBeFetched))
            record->setBoolValue(false, kNeedsToBeFetched);
        if (record->boolValueForKey(kNeedsToBeStored))
            record->setBoolValue(false, kNeedsToBeStored);
    }
    setNextStep([this] { findFileToSync(); });
}

void CalDAVSyncTask::synthesizeAttachmentAddsForEvent(SyncableObjectMO *syncable) {
    CommonDataMO *item = syncable->objectData();
    if (!item || !CalDAVServiceInfo::supportsManagedAttachments(remoteService()))
        return;
    QList<CommonDataMO *> items{item};
    if (item->propertyNamed(QStringLiteral("detachedEvents")))
        for (ManagedObject *instance : item->objectsForKey(QStringLiteral("detachedEvents")))
            items.append(ModelObject::as<CommonDataMO>(instance));
    for (CommonDataMO *each : std::as_const(items))
        for (ExtraDataMO *record : each->extrasForRelationship(QStringLiteral("attachments")))
            if (isAttachmentToUpload(*record) && !record->boolValueForKey(kNeedsToBeStored))
                record->setBoolValue(true, kNeedsToBeStored);
}

bool CalDAVSyncTask::isAttachmentToUpload(const ExtraDataMO &record) {
    return !record.valueForKey(QStringLiteral("fileName")).toString().isEmpty() &&
           !AttachmentFiles::isGlobalFileURL(
               record.valueForKey(QStringLiteral("fileURL")).toString()) &&
           record.dictionaryValueForKey(QStringLiteral("url"))
               .value(QStringLiteral("id"))
               .toString()
               .isEmpty();
}

bool CalDAVSyncTask::createAttachmentRequest(ExtraDataMO &record) {
    if (!CalDAVServiceInfo::supportsManagedAttachments(remoteService()) ||
        !isAttachmentToUpload(record)) {
        // Nothing to send on its own: the file travels inline with its item.
        fileSyncComplete();
        return false;
    }
    if (!fileIsReady(record))
        return false;
    const QString fileName = AttachmentFiles::attachmentFileName(record);
    QFile file(
        AttachmentFiles::pathForAttachmentByExpandingResourceURLs(record).value_or(QString()));
    if (!file.open(QIODevice::ReadOnly)) {
        logWarning("CalDAVSyncTask (%@): error storing attachment: %@; skipping", logIdentity(),
                   fileName + QStringLiteral(" (") + file.errorString() + QLatin1Char(')'));
        fileSyncComplete();
        return false;
    }
    auto *item = ModelObject::as<CommonDataMO>(record.objectForKey(QStringLiteral("parentObject")));
    QString url =
        resourceURLOfHREF(hrefOfAttachmentItem(record)) + QStringLiteral("?action=attachment-add");
    if (item->entityName() == QLatin1String("DetachedEvent"))
        url += QStringLiteral("&rid=") + CalDAVRemoteObjects::recurrenceIDText(*item);
    const QMimeType type = QMimeDatabase().mimeTypeForFile(fileName, QMimeDatabase::MatchExtension);
    QString quotedName = fileName;
    quotedName.replace(QLatin1Char('"'), QLatin1Char('_'));
    logInfo("CalDAVSyncTask (%@): sending attachment %@ to event %@ (%@)", logIdentity(), fileName,
            item->effectiveTitle().value_or(QString()), item->uid());
    m_syncingFileURL = url;
    awaitAnswer([this] { createAttachmentResponse(); });
    caldav().post(url, type.name(), file.readAll(),
                  {{QStringLiteral("attachment; filename=\"%1\"").arg(quotedName),
                    QStringLiteral("Content-Disposition")},
                   {QStringLiteral("return=representation"), QStringLiteral("Prefer")}});
    return true;
}

void CalDAVSyncTask::createAttachmentResponse() {
    ExtraDataMO *record =
        fileOfSuccessfulAnswer("CalDAVSyncTask (%@): error storing attachment: %@; skipping");
    if (!record)
        return;
    processAttachmentResponse(*record, *caldav().response());
    fileSyncComplete();
}

void CalDAVSyncTask::processAttachmentResponse(ExtraDataMO &record,
                                               const WebDAVResponse &response) {
    const QString managedID =
        response.headerValue(QStringLiteral("Cal-Managed-ID")).value_or(QString()).trimmed();
    if (!managedID.isEmpty()) {
        // The item the server sends back names the file by this id.
        QVariantMap managed = record.dictionaryValueForKey(QStringLiteral("url"));
        managed.insert(QStringLiteral("id"), managedID);
        record.setDictionaryValue(managed, QStringLiteral("url"));
    }
    ++m_counts.filesStored;
    const QString href = hrefOfAttachmentItem(record);
    CommonDataMO *calendar = resourceItemOfAttachment(record)->parentContainer();
    QString etag = response.headerValue(QStringLiteral("ETag")).value_or(QString()).trimmed();
    if (etag.startsWith(QLatin1String("W/"), Qt::CaseInsensitive))
        etag = etag.mid(2);
    const QByteArray data = caldav().responseData();
    if (etag.isEmpty() || !data.contains("BEGIN:VCALENDAR") ||
        !storeResource(calendar, href, etag, QString::fromUtf8(data))) {
        // Without the server's version here, the next cycle downloads it.
        logInfo("CalDAVSyncTask (%@): the server's copy of %@ comes with the next sync",
                logIdentity(), href);
        noteSyncNeeded();
    }
}

QString CalDAVSyncTask::resourceURLOfHREF(const QString &href) const {
    QString url = serviceURLFromPath(href);
    if (url.endsWith(QLatin1Char('/')))
        url.chop(1);
    return url;
}
