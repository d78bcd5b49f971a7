#include "model/RichText.h"

#include "model/foundation/PropertyList.h"

namespace {
const QString kString = QStringLiteral("string");
const QString kRuns = QStringLiteral("runs");
}  // namespace

QVariantMap RichText::toPropertyList() const {
    QVariantMap map{{kString, text}};
    if (!runs.isEmpty())
        map.insert(kRuns, runs);
    return map;
}

QByteArray RichText::archive() const {
    // Most text has no formatting: its dictionary is written straight.
    if (runs.isEmpty())
        return PropertyList::binaryDataOfStringEntry(kString, text);
    return PropertyList::toData(toPropertyList());
}

std::optional<RichText> RichText::fromPropertyList(const QVariant &list) {
    if (list.typeId() == QMetaType::QString)
        return RichText(list.toString());
    if (list.typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    const QVariantMap map = list.toMap();
    const QVariant text = map.value(kString);
    if (text.typeId() != QMetaType::QString)
        return std::nullopt;
    return RichText(text.toString(), map.value(kRuns).toList());
}
