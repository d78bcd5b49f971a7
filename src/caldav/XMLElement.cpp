#include "caldav/XMLElement.h"

#include "caldav/PropertyKey.h"

namespace {

QString keyFor(QStringView namespaceUri, QStringView name) {
    const std::optional<QString> ns =
        namespaceUri.isEmpty() ? std::nullopt : std::optional<QString>(namespaceUri.toString());
    return PropertyKey::inNamespace(name.toString(), ns);
}

XMLElement readAtDepth(QXmlStreamReader &reader, int depth) {
    XMLElement element;
    element.key = XMLElement::keyOf(reader);
    for (const QXmlStreamAttribute &attribute : reader.attributes())
        element.attributes.insert(keyFor(attribute.namespaceUri(), attribute.name()),
                                  attribute.value().toString());
    if (depth > XMLElement::kMaximumDepth) {
        reader.raiseError(QStringLiteral("elements nested too deeply"));
        return element;
    }
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
            case QXmlStreamReader::StartElement:
                element.children.push_back(readAtDepth(reader, depth + 1));
                element.text += element.children.back().text;
                break;
            case QXmlStreamReader::Characters:
                element.text += reader.text();
                break;
            case QXmlStreamReader::EndElement:
                return element;
            default:
                break;
        }
    }
    return element;
}

}  // namespace

QString XMLElement::localName() const {
    return PropertyKey::getNamespace(key).localName;
}

const XMLElement *XMLElement::child(const QString &childKey) const {
    for (const XMLElement &candidate : children)
        if (candidate.key == childKey)
            return &candidate;
    return nullptr;
}

QList<const XMLElement *> XMLElement::childrenWithKey(const QString &childKey) const {
    QList<const XMLElement *> found;
    for (const XMLElement &candidate : children)
        if (candidate.key == childKey)
            found.append(&candidate);
    return found;
}

QStringList XMLElement::childKeys() const {
    QStringList keys;
    for (const XMLElement &candidate : children)
        keys.append(candidate.key);
    return keys;
}

XMLElement XMLElement::read(QXmlStreamReader &reader) {
    return readAtDepth(reader, 0);
}

std::optional<XMLElement> XMLElement::parseDocument(const QByteArray &data, QString &error) {
    QXmlStreamReader reader(data);
    std::optional<XMLElement> root;
    while (!reader.atEnd() && !reader.hasError()) {
        if (reader.readNext() == QXmlStreamReader::StartElement)
            root = read(reader);
    }
    if (reader.hasError() || !root) {
        error = reader.hasError() ? reader.errorString() : QStringLiteral("no root element");
        return std::nullopt;
    }
    return root;
}

QString XMLElement::keyOf(const QXmlStreamReader &reader) {
    return keyFor(reader.namespaceUri(), reader.name());
}
