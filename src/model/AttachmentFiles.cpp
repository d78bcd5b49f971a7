#include "model/AttachmentFiles.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>

#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/GlobalAttachmentFetcher.h"
#include "model/SyncHooks.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Clock.h"
#include "model/foundation/Log.h"
#include "model/foundation/Paths.h"

namespace {

const QString kFileURL = QStringLiteral("fileURL");
const QString kFileName = QStringLiteral("fileName");
const QString kFileModTime = QStringLiteral("fileModTime");
const QString kLocalFileModTime = QStringLiteral("localFileModTime");
const QString kLocalFilePath = QStringLiteral("localFilePath");
// How often a file that is still to come is looked for, how long a
// temporary file must stay unchanged, and when waiting stops.
constexpr double kCheckInterval = 1;
constexpr double kSettleSeconds = 5;
constexpr double kGiveUpSeconds = 30;
constexpr int kGlobalFileNameLength = 100;

QString g_resourceFolder;

QString stringOf(const ExtraDataMO &record, const QString &key) {
    return record.valueForKey(key).toString();
}

Date fileDate(const QString &path) {
    return Date::fromDateTime(QFileInfo(path).lastModified());
}

bool isTemporaryFile(const QString &absolutePath) {
    const QString temp = QDir(QDir::tempPath()).canonicalPath() + QLatin1Char('/');
    const QString canonical = QFileInfo(QFileInfo(absolutePath).absolutePath()).canonicalFilePath();
    return (canonical + QLatin1Char('/')).startsWith(temp);
}

// Copies `source` to the record's path and notes it as saved, a change of
// the item.
bool copyIn(ExtraDataMO &record, const QString &source, QString *error) {
    const QString target = *AttachmentFiles::pathForAttachmentByExpandingResourceURLs(record);
    if (!AttachmentFiles::copyFile(source, target, error))
        return false;
    record.setDateValue(fileDate(source), kFileModTime);
    AttachmentFiles::noteAttachmentWasSavedToDiskAndTouchParentObject(record, true);
    return true;
}

// A web file whose copy is on disk takes the copy's date and is noted as
// saved, without a change of the item.
bool noteGlobalFileIfPresent(ExtraDataMO &record) {
    const QString copy = AttachmentFiles::pathForGlobalFileURL(stringOf(record, kFileURL));
    if (!QFileInfo::exists(copy))
        return false;
    record.setDateValue(fileDate(copy), kFileModTime);
    AttachmentFiles::noteAttachmentWasSavedToDiskAndTouchParentObject(record, false);
    return true;
}

}  // namespace

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
    return QDir(Paths::attachmentsFolder()).filePath(name.left(kGlobalFileNameLength));
}

std::optional<QString> AttachmentFiles::pathForAttachmentByExpandingResourceURLs(
    const ExtraDataMO &record) {
    const QString fileName = stringOf(record, kFileName);
    if (!fileName.isEmpty()) {
        const QFileInfo info(fileName);
        QString name = info.completeBaseName() + QLatin1Char('-') + record.uid();
        if (!info.suffix().isEmpty())
            name += QLatin1Char('.') + info.suffix();
        return QDir(Paths::attachmentsFolder()).filePath(name);
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
    if (!parent)
        return;
    if (SyncableObjectMO *info = parent->objectInfo(); touch && info)
        info->touchLastModTime();
    SyncHooks::shared().objectUpdated(parent);
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

QString AttachmentFiles::saveFileData(const QString &path, const QByteArray &data) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit())
        return file.errorString();
    return {};
}

ExtraDataMO *AttachmentFiles::attachLocalFile(const QString &path, CommonDataMO *object,
                                              bool checkOnTempFiles) {
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
    if (checkOnTempFiles && isTemporaryFile(absolute)) {
        record->setValue(kLocalFilePath, absolute);
        if (!QFileInfo::exists(absolute))
            logWarning("attachLocalFile: error attaching temporary file %@ (%@)... will try later",
                       absolute, QStringLiteral("no such file"));
        const Date now = Clock::shared().now();
        Clock::shared().schedule(now.addingSeconds(kCheckInterval),
                                 [ref = ObjectRef<ExtraDataMO>(record), now] {
                                     checkAttachedTempFile(ref, now, std::nullopt);
                                 });
        return record;
    }
    QString error;
    if (!copyIn(*record, path, &error)) {
        logError("attachLocalFile: error attaching file %@ (%@)", path, error);
        record->deleteExtra();
        return nullptr;
    }
    return record;
}

void AttachmentFiles::checkAttachedTempFile(const ObjectRef<ExtraDataMO> &ref, Date firstCheck,
                                            std::optional<Date> modTime) {
    ExtraDataMO *record = ref.get();
    if (!record)
        return;
    const QString path = stringOf(*record, kLocalFilePath);
    const Date now = Clock::shared().now();
    const double waited = now.secondsSince(firstCheck);
    std::optional<Date> seen;
    if (QFileInfo::exists(path)) {
        seen = fileDate(path);
        if (seen == modTime && waited > kSettleSeconds) {
            logInfo("checkAttachedTempFile: attaching temporary file %@", path);
            QString error;
            if (!copyIn(*record, path, &error)) {
                logError("checkAttachedTempFile: error attaching file %@ (%@)", path, error);
                record->deleteExtra();
                return;
            }
            record->setValue(kLocalFilePath, QVariant());
            return;
        }
    } else if (waited > kGiveUpSeconds) {
        logError("checkAttachedTempFile: file never appeared %@... deleting", path);
        record->deleteExtra();
        return;
    }
    Clock::shared().schedule(now.addingSeconds(kCheckInterval), [ref, firstCheck, seen] {
        checkAttachedTempFile(ref, firstCheck, seen);
    });
}

ExtraDataMO *AttachmentFiles::attachGlobalFile(const QString &url, CommonDataMO *object,
                                               bool checkOnFile) {
    for (ExtraDataMO *existing : object->extrasForRelationship(QStringLiteral("attachments"))) {
        if (stringOf(*existing, kFileURL) == url)
            return existing;
    }
    ExtraDataMO *record = ExtraDataMO::makeExtra(QStringLiteral("Attachment"), object);
    record->setValue(kFileURL, url);
    if (isInternalURL(url)) {
        record->setDateValue(Clock::shared().now(), kFileModTime);
    } else if (!noteGlobalFileIfPresent(*record) && checkOnFile) {
        const Date now = Clock::shared().now();
        Clock::shared().schedule(
            now.addingSeconds(kCheckInterval),
            [ref = ObjectRef<ExtraDataMO>(record), now] { checkAttachedGlobalFile(ref, now); });
    }
    return record;
}

void AttachmentFiles::checkAttachedGlobalFile(const ObjectRef<ExtraDataMO> &ref, Date firstCheck) {
    ExtraDataMO *record = ref.get();
    if (!record)
        return;
    const QString url = stringOf(*record, kFileURL);
    if (QFileInfo::exists(pathForGlobalFileURL(url))) {
        logInfo("checkAttachedGlobalFile: file appeared %@", url);
        noteAttachmentWasSavedToDiskAndTouchParentObject(*record, false);
        return;
    }
    const Date now = Clock::shared().now();
    if (now.secondsSince(firstCheck) > kGiveUpSeconds) {
        logError("checkAttachedGlobalFile: file never appeared %@...", url);
        return;
    }
    Clock::shared().schedule(now.addingSeconds(kCheckInterval),
                             [ref, firstCheck] { checkAttachedGlobalFile(ref, firstCheck); });
}

void AttachmentFiles::downloadGlobalFileIfNeeded(ExtraDataMO *record) {
    GlobalAttachmentFetcher::fetcher().fetchGlobalAttachment(record);
}
