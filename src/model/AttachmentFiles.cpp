#include "model/AttachmentFiles.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Clock.h"
#include "model/foundation/Log.h"
#include "model/foundation/Paths.h"

namespace {

const QString kFileURL = QStringLiteral("fileURL");
const QString kFileName = QStringLiteral("fileName");
const QString kFileModTime = QStringLiteral("fileModTime");
const QString kLocalFileModTime = QStringLiteral("localFileModTime");
constexpr int kGlobalFileNameLength = 100;

QString g_resourceFolder;

QString stringOf(const ExtraDataMO &record, const QString &key) {
    return record.valueForKey(key).toString();
}

Date fileDate(const QString &path) {
    return Date::fromDateTime(QFileInfo(path).lastModified());
}

}  // namespace

QString AttachmentFiles::attachmentsFolder() {
    return QDir(Paths::applicationSupportFolder()).filePath(QStringLiteral("Attachments"));
}

QString AttachmentFiles::resourceFolder() {
    if (!g_resourceFolder.isEmpty())
        return g_resourceFolder;
    return QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("Resources"));
}

void AttachmentFiles::setResourceFolder(const QString &folder) {
    g_resourceFolder = folder;
}

bool AttachmentFiles::isGlobalFileURL(const QString &url) {
    return url.startsWith(QLatin1String("http://"), Qt::CaseInsensitive) ||
           url.startsWith(QLatin1String("https://"), Qt::CaseInsensitive);
}

bool AttachmentFiles::isInternalURL(const QString &url) {
    return url.startsWith(QLatin1String(kInternalScheme));
}

QString AttachmentFiles::pathForGlobalFileURL(const QString &url) {
    QString name = url;
    name.remove(QRegularExpression(QStringLiteral("^https?://"),
                                   QRegularExpression::CaseInsensitiveOption));
    name.replace(QLatin1Char('/'), QLatin1Char('-')).replace(QLatin1Char(':'), QLatin1Char('-'));
    return QDir(attachmentsFolder()).filePath(name.left(kGlobalFileNameLength));
}

std::optional<QString> AttachmentFiles::pathForAttachmentByExpandingResourceURLs(
    const ExtraDataMO &record) {
    const QString fileName = stringOf(record, kFileName);
    if (!fileName.isEmpty()) {
        const QFileInfo info(fileName);
        QString name = info.completeBaseName() + QLatin1Char('-') + record.uid();
        if (!info.suffix().isEmpty())
            name += QLatin1Char('.') + info.suffix();
        return QDir(attachmentsFolder()).filePath(name);
    }
    const QString url = stringOf(record, kFileURL);
    if (isInternalURL(url))
        return QDir(resourceFolder()).filePath(url.mid(int(qstrlen(kInternalScheme))));
    if (isGlobalFileURL(url))
        return pathForGlobalFileURL(url);
    return std::nullopt;
}

QString AttachmentFiles::attachmentFileName(const ExtraDataMO &record) {
    const QString url = stringOf(record, kFileURL);
    const QString last = url.section(QLatin1Char('/'), -1);
    return last.isEmpty() ? stringOf(record, kFileName) : last;
}

bool AttachmentFiles::haveAttachmentOnDisk(ExtraDataMO &record) {
    const std::optional<QString> path = pathForAttachmentByExpandingResourceURLs(record);
    if (!path || !QFileInfo::exists(*path))
        return false;
    const std::optional<Date> remote = record.dateValueForKey(kFileModTime);
    const std::optional<Date> local = record.dateValueForKey(kLocalFileModTime);
    if (remote && remote == local)
        return true;
    if (!isGlobalFileURL(stringOf(record, kFileURL)))
        return false;
    record.setDateValue(fileDate(*path), kLocalFileModTime);
    return true;
}

void AttachmentFiles::deleteAttachmentOnDisk(const ExtraDataMO &record) {
    const bool global = isGlobalFileURL(stringOf(record, kFileURL));
    if (!global && !record.dateValueForKey(kLocalFileModTime))
        return;
    if (!global && isInternalURL(stringOf(record, kFileURL)))
        return;
    if (const std::optional<QString> path = pathForAttachmentByExpandingResourceURLs(record))
        QFile::remove(*path);
}

void AttachmentFiles::noteAttachmentWasSavedToDiskAndTouchParentObject(ExtraDataMO &record,
                                                                       bool touch) {
    record.setDateValue(record.dateValueForKey(kFileModTime), kLocalFileModTime);
    logInfo("attachmentWasSavedToDisk: %@ (%@)", attachmentFileName(record), record.uid());
    CommonDataMO *parent = record.parentObject();
    if (!touch || !parent)
        return;
    if (SyncableObjectMO *info = parent->objectInfo())
        info->touchLastModTime();
}

bool AttachmentFiles::copyFile(const QString &from, const QString &to, QString *error) {
    QDir().mkpath(QFileInfo(to).absolutePath());
    if (QFileInfo::exists(to) && !QFile::remove(to)) {
        *error = QStringLiteral("cannot replace %1").arg(to);
        return false;
    }
    QFile source(from);
    if (source.copy(to))
        return true;
    *error = source.errorString();
    return false;
}

ExtraDataMO *AttachmentFiles::attachLocalFile(const QString &path, CommonDataMO *object) {
    const QString resources = QDir(resourceFolder()).absolutePath() + QLatin1Char('/');
    const QString absolute = QFileInfo(path).absoluteFilePath();
    if (absolute.startsWith(resources))
        return attachGlobalFile(QLatin1String(kInternalScheme) + absolute.mid(resources.size()),
                                object);
    const QString fileName = QFileInfo(path).fileName();
    for (ExtraDataMO *existing : object->extrasForRelationship(QStringLiteral("attachments"))) {
        if (stringOf(*existing, kFileName) == fileName)
            return existing;
    }
    ExtraDataMO *record = ExtraDataMO::makeExtra(QStringLiteral("Attachment"), object);
    record->assignUIDIfNeeded();  // the file's name needs one, even during a sync
    record->setValue(kFileName, fileName);
    QString error;
    if (!copyFile(path, *pathForAttachmentByExpandingResourceURLs(*record), &error)) {
        logError("attachLocalFile: error attaching file %@ (%@)", path, error);
        record->deleteExtra();
        return nullptr;
    }
    record->setDateValue(fileDate(path), kFileModTime);
    noteAttachmentWasSavedToDiskAndTouchParentObject(*record, true);
    return record;
}

ExtraDataMO *AttachmentFiles::attachGlobalFile(const QString &url, CommonDataMO *object) {
    for (ExtraDataMO *existing : object->extrasForRelationship(QStringLiteral("attachments"))) {
        if (stringOf(*existing, kFileURL) == url)
            return existing;
    }
    ExtraDataMO *record = ExtraDataMO::makeExtra(QStringLiteral("Attachment"), object);
    record->setValue(kFileURL, url);
    if (isInternalURL(url)) {
        record->setDateValue(Clock::shared().now(), kFileModTime);
    } else if (const QString copy = pathForGlobalFileURL(url); QFileInfo::exists(copy)) {
        record->setDateValue(fileDate(copy), kFileModTime);
        noteAttachmentWasSavedToDiskAndTouchParentObject(*record, false);
    }
    return record;
}
