#include "ical/ICalAttachmentReader.h"

#include <libical/ical.h>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QSet>
#include <QTemporaryDir>

#include "ical/ICalEventReader.h"
#include "ical/ICalPropertyReader.h"
#include "ical/ICalReadOptions.h"
#include "model/AttachmentFiles.h"
#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Clock.h"
#include "model/foundation/Log.h"

namespace {

using ICalPropertyReader::parameterText;

// Whether the item's calendar fetches attachment files by itself.
bool calendarFetchesFiles(const CommonDataMO *event) {
    const CommonDataMO *calendar = event->parentContainer();
    return calendar && calendar->boolValueForKey(QStringLiteral("localFetchAttachments"));
}

// The same, now: not while a sync stores what a server sent.
bool fetchesAutomatically(const CommonDataMO *event) {
    return calendarFetchesFiles(event) && !SyncableObjectMO::isSyncInProgress();
}

ExtraDataMO *storedManagedAttachment(CommonDataMO *event, const QString &id) {
    for (ExtraDataMO *record : event->extrasForRelationship(QStringLiteral("attachments"))) {
        if (record->dictionaryValueForKey(QStringLiteral("url")).value(QStringLiteral("id")) == id)
            return record;
    }
    return nullptr;
}

ExtraDataMO *managedAttachment(CommonDataMO *event, icalproperty *property, icalattach *attach) {
    const QString id = parameterText(property, "MANAGED-ID").value_or(QString());
    QVariantMap managed{{QStringLiteral("id"), id}};
    if (icalattach_get_is_url(attach))
        managed.insert(QStringLiteral("url"), QString::fromUtf8(icalattach_get_url(attach)));
    for (const auto &[name, key] :
         {std::pair{"FMTTYPE", "fmt"}, std::pair{"SIZE", "sz"}, std::pair{"FILENAME", "fn"}}) {
        if (const std::optional<QString> value = parameterText(property, name))
            managed.insert(QLatin1String(key), *value);
    }
    if (ExtraDataMO *stored = storedManagedAttachment(event, id)) {
        // The server may have moved or described its copy anew; the file
        // here stays.
        QVariantMap known = stored->dictionaryValueForKey(QStringLiteral("url"));
        known.insert(managed);
        if (known != stored->dictionaryValueForKey(QStringLiteral("url")))
            stored->setDictionaryValue(known, QStringLiteral("url"));
        return stored;
    }
    ExtraDataMO *record = ExtraDataMO::makeExtra(QStringLiteral("Attachment"), event);
    record->assignUIDIfNeeded();
    record->setDictionaryValue(managed, QStringLiteral("url"));
    const QString fileName = managed.value(QStringLiteral("fn")).toString();
    record->setValue(QStringLiteral("fileName"),
                     fileName.isEmpty() ? QStringLiteral("Attachment.txt") : fileName);
    record->setDateValue(Clock::shared().now(), QStringLiteral("fileModTime"));
    record->setBoolValue(fetchesAutomatically(event), QStringLiteral("needsToBeFetched"));
    return record;
}

QString inlineFileName(icalproperty *property) {
    // Only the last component: a name never chooses the folder.
    const QString named =
        QFileInfo(parameterText(property, "X-APPLE-FILENAME").value_or(QString())).fileName();
    if (!named.isEmpty() && named != QLatin1String("..") && named != QLatin1String("."))
        return named;
    const QMimeType type = QMimeDatabase().mimeTypeForName(
        parameterText(property, "FMTTYPE").value_or(QStringLiteral("application/octet-stream")));
    const QString suffix = type.isValid() ? type.preferredSuffix() : QString();
    return suffix.isEmpty() ? QStringLiteral("Attachment.txt")
                            : QStringLiteral("Attachment.") + suffix;
}

ExtraDataMO *inlineAttachment(CommonDataMO *event, icalproperty *property, icalattach *attach) {
    const char *data = reinterpret_cast<const char *>(icalattach_get_data(attach));
    QTemporaryDir folder;
    if (!data || !folder.isValid())
        return nullptr;
    const QString path = folder.filePath(inlineFileName(property));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(QByteArray::fromBase64(data)) < 0) {
        logError("ICalAttachmentReader: cannot write %@ (%@)", path, file.errorString());
        return nullptr;
    }
    file.close();
    ExtraDataMO *record = AttachmentFiles::attachLocalFile(path, event);
    QFile::remove(path);
    return record;
}

ExtraDataMO *uriAttachment(CommonDataMO *event, icalattach *attach) {
    const QString url = QString::fromUtf8(icalattach_get_url(attach)).trimmed();
    if (url.isEmpty())
        return nullptr;
    ExtraDataMO *record = AttachmentFiles::attachGlobalFile(url, event);
    // A web file not on disk is marked for its calendar's next fetch of
    // files, also when a sync brought it.
    if (AttachmentFiles::isGlobalFileURL(url) && !AttachmentFiles::haveAttachmentOnDisk(*record))
        record->setBoolValue(calendarFetchesFiles(event), QStringLiteral("needsToBeFetched"));
    return record;
}

void readPlacement(ExtraDataMO *record, icalproperty *property) {
    if (const std::optional<QString> opacity = parameterText(property, "X-TOLVERN-OPACITY")) {
        bool ok = false;
        const double value = opacity->toDouble(&ok);
        if (ok)
            record->setOpacityValue(value, QStringLiteral("opacity"));
    }
    if (const std::optional<QString> rect = parameterText(property, "X-TOLVERN-RECT"))
        record->setValue(QStringLiteral("cellRelativeRect"), *rect);
}

}  // namespace

namespace ICalAttachmentReader {

void readAttachments(CommonDataMO *event, const ICalEventSource &source) {
    icalcomponent *component = source.component;
    QSet<ExtraDataMO *> named;
    for (icalproperty *property = icalcomponent_get_first_property(component, ICAL_ATTACH_PROPERTY);
         property; property = icalcomponent_get_next_property(component, ICAL_ATTACH_PROPERTY)) {
        icalattach *attach = icalproperty_get_attach(property);
        if (!attach)
            continue;
        ExtraDataMO *record = nullptr;
        if (const std::optional<QString> id = parameterText(property, "MANAGED-ID")) {
            if (!(source.options & ICalReadOptions::ManagedAttachments)) {
                // Not read, but not gone either.
                if (ExtraDataMO *stored = storedManagedAttachment(event, *id))
                    named.insert(stored);
                continue;
            }
            record = managedAttachment(event, property, attach);
        } else if (icalattach_get_is_url(attach)) {
            record = uriAttachment(event, attach);
        } else {
            record = inlineAttachment(event, property, attach);
        }
        if (!record)
            continue;
        readPlacement(record, property);
        named.insert(record);
    }
    for (ExtraDataMO *record : event->extrasForRelationship(QStringLiteral("attachments"))) {
        if (!named.contains(record))
            record->deleteExtra();
    }
}

}  // namespace ICalAttachmentReader
