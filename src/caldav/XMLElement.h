#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QXmlStreamReader>
#include <optional>
#include <vector>

// One element of a WebDAV answer, read into memory on its own: the streaming
// parsers read the document element by element and build one of these only
// for the part they look at (one DAV:response, one property).
struct XMLElement {
    // Documents nested deeper than this are refused as malformed.
    static constexpr int kMaximumDepth = 256;

    QString key;                         // the property key of the element
    QHash<QString, QString> attributes;  // by property key of the attribute
    QString text;                        // the text of the element and all its descendants
    std::vector<XMLElement> children;

    QString localName() const;
    // The first child with the key, or nullptr.
    const XMLElement *child(const QString &childKey) const;
    QList<const XMLElement *> childrenWithKey(const QString &childKey) const;
    QStringList childKeys() const;

    // Reads the element the reader stands on (a start element) up to its end
    // element. On malformed input the reader holds the error and the result
    // is incomplete.
    static XMLElement read(QXmlStreamReader &reader);
    // The root element of a whole document; none when it does not parse
    // (`error` gets the parser's message).
    static std::optional<XMLElement> parseDocument(const QByteArray &data, QString &error);

    // The property key of the element the reader stands on.
    static QString keyOf(const QXmlStreamReader &reader);
};
