#include "model/FontDescription.h"

namespace {
const QString kFamily = QStringLiteral("family");
const QString kPointSize = QStringLiteral("pointSize");
const QString kWeight = QStringLiteral("weight");
const QString kItalic = QStringLiteral("italic");
}  // namespace

QVariantMap FontDescription::toPropertyList() const {
    return {
        {kFamily, family}, {kPointSize, pointSize}, {kWeight, qint64(weight)}, {kItalic, italic}};
}

std::optional<FontDescription> FontDescription::fromPropertyList(const QVariant &list) {
    const QVariantMap map = list.toMap();
    FontDescription font;
    font.family = map.value(kFamily).toString();
    font.pointSize = map.value(kPointSize).toDouble();
    font.weight = map.value(kWeight, kRegularWeight).toInt();
    font.italic = map.value(kItalic).toBool();
    if (font.family.isEmpty() || !(font.pointSize > 0))
        return std::nullopt;
    return font;
}
