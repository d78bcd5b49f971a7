#include "model/ItemIcon.h"

#include <QDir>

#include "model/AttachmentFiles.h"
#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/foundation/Paths.h"

std::optional<QString> ItemIcon::iconPath(const CommonDataMO *item) {
    if (const ExtraDataMO *graphic = item->graphicAttachment())
        return AttachmentFiles::pathForAttachmentByExpandingResourceURLs(*graphic);
    const CommonDataMO *calendar = item->parentContainer();
    const QString name =
        calendar ? calendar->valueForKey(QStringLiteral("defaultIconName")).toString() : QString();
    if (name.isEmpty())
        return std::nullopt;
    const QLatin1String scheme(AttachmentFiles::kInternalScheme);
    if (name.startsWith(scheme))
        return QDir(AttachmentFiles::resourceFolder()).filePath(name.mid(scheme.size()));
    return QDir(QDir(Paths::applicationSupportFolder()).filePath(QStringLiteral("Graphics")))
        .filePath(name);
}
