#include "ical/ICalAttachmentWriter.h"

#include <libical/ical.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>
#include <cstdlib>
#include <cstring>

#include "ical/ICalProperties.h"
#include "ical/ICalTextWriter.h"
#include "ical/ICalWriteOptions.h"
#include "model/AttachmentFiles.h"
#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/foundation/Paths.h"

namespace {

constexpr qint64 kGraphicType = 2;

void freeBuffer(char *data, void *) {
    std::free(data);
}

// The file's bytes inline; nullptr when it cannot be read.
icalproperty *newInlineAttach(const QString &path, const QString &fileName) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return nullptr;
    const QByteArray base64 = file.readAll().toBase64();
    char *buffer = static_cast<char *>(std::malloc(std::size_t(base64.size()) + 1));
    std::memcpy(buffer, base64.constData(), std::size_t(base64.size()) + 1);
    icalattach *attach = icalattach_new_from_data(buffer, freeBuffer, nullptr);
    icalproperty *property = icalproperty_new_attach(attach);
    icalattach_unref(attach);
    icalproperty_add_parameter(property, icalparameter_new_encoding(ICAL_ENCODING_BASE64));
    icalproperty_add_parameter(property, icalparameter_new_value(ICAL_VALUE_BINARY));
    const QMimeType type = QMimeDatabase().mimeTypeForFile(fileName, QMimeDatabase::MatchExtension);
    if (!type.isDefault())
        icalproperty_add_parameter(property,
                                   icalparameter_new_fmttype(type.name().toUtf8().constData()));
    ICalProperties::addParameter(property, QStringLiteral("X-APPLE-FILENAME"), fileName);
    return property;
}

icalproperty *newManagedAttach(const QVariantMap &managed) {
    icalproperty *property =
        ICalProperties::newURIAttach(managed.value(QStringLiteral("url")).toString());
    for (const auto &[key, name] : {std::pair{"id", "MANAGED-ID"}, std::pair{"fmt", "FMTTYPE"},
                                    std::pair{"sz", "SIZE"}, std::pair{"fn", "FILENAME"}}) {
        const QString value = managed.value(QLatin1String(key)).toString();
        if (!value.isEmpty())
            ICalProperties::addParameter(property, QLatin1String(name), value);
    }
    return property;
}

bool inAttachmentsFolder(const QString &path) {
    return QFileInfo(path).absolutePath() == QDir(Paths::attachmentsFolder()).absolutePath();
}

void addGraphicPlacement(ICalTextWriter &writer, icalproperty *attach, const ExtraDataMO *record) {
    const QString opacity =
        QString::asprintf("%.2f", record->opacityValueForKey(QStringLiteral("opacity")));
    const QString rect = ICalProperties::textField(record, QStringLiteral("cellRelativeRect"));
    ICalProperties::addParameter(attach, QStringLiteral("X-TOLVERN-OPACITY"), opacity);
    if (!rect.isEmpty())
        ICalProperties::addParameter(attach, QStringLiteral("X-TOLVERN-RECT"), rect);
    ICalProperties::writeXProperty(writer, "X-TOLVERN-OPACITY", opacity, true);
    ICalProperties::writeXProperty(writer, "X-TOLVERN-RECT",
                                   QString(rect).replace(QLatin1Char(','), QLatin1Char('/')), true);
}

}  // namespace

namespace ICalAttachmentWriter {

void writeAttachments(ICalTextWriter &writer, const CommonDataMO *event,
                      ICalItemExtras::View attachments, quint32 options) {
    const bool graphic = event->integerValueForKey(QStringLiteral("eventType")) == kGraphicType;
    for (const ExtraDataMO *record : attachments) {
        const QString fileURL = ICalProperties::textField(record, QStringLiteral("fileURL"));
        const QVariantMap managed = record->dictionaryValueForKey(QStringLiteral("url"));
        const std::optional<QString> path =
            AttachmentFiles::pathForAttachmentByExpandingResourceURLs(*record);
        icalproperty *attach = nullptr;
        const bool managedHere = options & ICalWriteOptions::ManagedAttachments;
        if (managedHere && !managed.value(QStringLiteral("id")).toString().isEmpty())
            attach = newManagedAttach(managed);
        else if (managedHere && !AttachmentFiles::isGlobalFileURL(fileURL) &&
                 !ICalProperties::textField(record, QStringLiteral("fileName")).isEmpty())
            continue;  // sent on its own; the server then names it by its id
        else if (!AttachmentFiles::isGlobalFileURL(fileURL) && path && inAttachmentsFolder(*path) &&
                 QFileInfo::exists(*path))
            attach = newInlineAttach(*path, AttachmentFiles::attachmentFileName(*record));
        if (!attach && !fileURL.isEmpty())
            attach = ICalProperties::newURIAttach(fileURL);
        if (!attach)
            continue;
        if (graphic && record == event->graphicAttachment())
            addGraphicPlacement(writer, attach, record);
        // Attachments are few and of many forms: the library writes them.
        writer.libraryProperty(attach);
    }
}

}  // namespace ICalAttachmentWriter
