#include "caldav/XMLBodyWriter.h"

#include <QVariantMap>

#include "caldav/PropertyKey.h"

namespace {

const QString kDAV = QLatin1String(PropertyKey::kDAVNamespace);

QString prefixAt(qsizetype index) {
    // "d" is DAV's alone; the others get "a", "b", "c", then "e" onwards, then
    // numbered ones past "z".
    static const QString letters = QStringLiteral("abcefghijklmnopqrstuvwxyz");
    if (index < letters.size())
        return letters.at(index);
    return QStringLiteral("n%1").arg(index);
}

}  // namespace

QList<std::pair<QString, QString>> XMLBodyWriter::namespacesForProperties(const QStringList &keys) {
    QList<std::pair<QString, QString>> prefixes{{kDAV, QStringLiteral("d")}};
    QStringList others;
    for (const QString &key : keys) {
        const QString ns = PropertyKey::getNamespace(key).ns;
        if (ns != kDAV && !others.contains(ns))
            others.append(ns);
    }
    for (qsizetype i = 0; i < others.size(); ++i)
        prefixes.append({others[i], prefixAt(i)});
    return prefixes;
}

QStringList XMLBodyWriter::keysOfPropertyDicts(const QVariantList &propertyDicts) {
    QStringList keys;
    for (const QVariant &entry : propertyDicts) {
        const QVariantMap dict = entry.toMap();
        keys.append(dict.value(QStringLiteral("property")).toString());
        keys += keysOfPropertyDicts(dict.value(QStringLiteral("sub properties")).toList());
    }
    return keys;
}

XMLBodyWriter::XMLBodyWriter(const QString &rootKey, QStringList keys) : m_writer(&m_data) {
    keys.prepend(rootKey);
    const QList<std::pair<QString, QString>> namespaces = namespacesForProperties(keys);
    for (const auto &[ns, prefix] : namespaces)
        m_prefixes.insert(ns, prefix);
    startElement(rootKey);
    for (const auto &[ns, prefix] : namespaces)
        m_writer.writeAttribute(QStringLiteral("xmlns:") + prefix, ns);
}

QString XMLBodyWriter::qualifiedName(const QString &key) const {
    const PropertyKey::Parts parts = PropertyKey::getNamespace(key);
    return PropertyKey::withPrefix(parts.localName, m_prefixes.value(parts.ns));
}

void XMLBodyWriter::startElement(const QString &key) {
    m_writer.writeStartElement(qualifiedName(key));
}

void XMLBodyWriter::endElement() {
    m_writer.writeEndElement();
}

void XMLBodyWriter::emptyElement(const QString &key) {
    m_writer.writeEmptyElement(qualifiedName(key));
}

void XMLBodyWriter::textElement(const QString &key, const QString &text) {
    m_writer.writeTextElement(qualifiedName(key), text);
}

void XMLBodyWriter::attribute(const QString &name, const QString &value) {
    m_writer.writeAttribute(name, value);
}

void XMLBodyWriter::text(const QString &text) {
    m_writer.writeCharacters(text);
}

void XMLBodyWriter::writePropertyDicts(const QVariantList &propertyDicts) {
    for (const QVariant &entry : propertyDicts) {
        const QVariantMap dict = entry.toMap();
        startElement(dict.value(QStringLiteral("property")).toString());
        for (const QString &name : {QStringLiteral("name"), QStringLiteral("namespace")})
            if (dict.contains(name))
                attribute(name, dict.value(name).toString());
        const QVariantMap attributes = dict.value(QStringLiteral("attributes")).toMap();
        for (auto it = attributes.cbegin(); it != attributes.cend(); ++it)
            attribute(it.key(), it.value().toString());
        if (dict.contains(QStringLiteral("value")))
            text(dict.value(QStringLiteral("value")).toString());
        writePropertyDicts(dict.value(QStringLiteral("sub properties")).toList());
        endElement();
    }
}

QByteArray XMLBodyWriter::finish() {
    m_writer.writeEndDocument();
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n" + m_data;
}
