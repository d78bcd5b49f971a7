#pragma once

#include <QMetaType>
#include <QString>
#include <QVariant>
#include <optional>

// Text with formatting, as titles and notes are kept: the plain text and its
// attribute runs. A run is a property-list dictionary, normally with
// "location" and "length" (in UTF-16 units) and the attributes of that range;
// runs are kept exactly as given, so formatting that this program does not
// interpret survives a round trip through the store.
struct RichText {
    QString text;
    QVariantList runs;

    RichText() = default;
    explicit RichText(QString plain, QVariantList attributeRuns = {})
        : text(std::move(plain)), runs(std::move(attributeRuns)) {}

    bool isEmpty() const { return text.isEmpty(); }

    // {"string": text, "runs": [...]} (no "runs" when there are none).
    QVariantMap toPropertyList() const;
    // That dictionary as a binary property list, the archive the store
    // keeps. Throws PropertyList::Error for text a list cannot hold.
    QByteArray archive() const;
    // Reads that dictionary, or a plain string as text without runs; none for
    // anything else.
    static std::optional<RichText> fromPropertyList(const QVariant &list);

    bool operator==(const RichText &) const = default;
};

Q_DECLARE_METATYPE(RichText)
