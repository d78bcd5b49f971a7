#pragma once

#include <QMetaType>
#include <QString>
#include <QVariant>
#include <optional>

// A font as the program keeps it: family, size in points, weight (100 thin to
// 900 black, 400 regular) and slant. It is archived as a property-list
// dictionary so that stored fonts do not depend on a UI toolkit.
struct FontDescription {
    static constexpr int kRegularWeight = 400;

    QString family;
    double pointSize = 0;
    int weight = kRegularWeight;
    bool italic = false;

    // {"family", "pointSize", "weight", "italic"}.
    QVariantMap toPropertyList() const;
    // None when the dictionary has no family name or no positive size.
    static std::optional<FontDescription> fromPropertyList(const QVariant &list);

    bool operator==(const FontDescription &) const = default;
};

Q_DECLARE_METATYPE(FontDescription)
