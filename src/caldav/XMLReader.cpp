#include "caldav/XMLReader.h"

#include <QXmlStreamReader>
#include <vector>

#include "caldav/XMLElement.h"

namespace {

const QString kText = QStringLiteral("text");

// Adds `child` under `name`, turning a present entry into a list.
void addChild(QVariantMap &parent, const QString &name, const QVariantMap &child) {
    const auto existing = parent.find(name);
    if (existing == parent.end()) {
        parent.insert(name, child);
    } else if (existing->typeId() == QMetaType::QVariantList) {
        QVariantList list = existing->toList();
        list.append(child);
        *existing = list;
    } else {
        *existing = QVariantList{*existing, child};
    }
}

}  // namespace

namespace XMLReader {

std::optional<QVariantMap> dictionaryForXMLData(const QByteArray &data, QString &error) {
    QXmlStreamReader reader(data);
    reader.setNamespaceProcessing(false);
    // The open elements, innermost last, with their text so far; the first
    // entry collects the root.
    struct Open {
        QString name;
        QVariantMap dictionary;
        QString text;
    };
    std::vector<Open> open(1);
    while (!reader.atEnd() && !reader.hasError()) {
        switch (reader.readNext()) {
            case QXmlStreamReader::StartElement: {
                if (open.size() > size_t(XMLElement::kMaximumDepth)) {
                    reader.raiseError(QStringLiteral("elements nested too deeply"));
                    break;
                }
                Open element{reader.qualifiedName().toString(), {}, {}};
                for (const QXmlStreamAttribute &attribute : reader.attributes())
                    element.dictionary.insert(attribute.qualifiedName().toString(),
                                              attribute.value().toString());
                open.push_back(std::move(element));
                break;
            }
            case QXmlStreamReader::Characters:
                open.back().text += reader.text();
                break;
            case QXmlStreamReader::EndElement: {
                Open element = std::move(open.back());
                open.pop_back();
                const QString text = element.text.trimmed();
                if (!text.isEmpty())
                    element.dictionary.insert(kText, text);
                addChild(open.back().dictionary, element.name, element.dictionary);
                break;
            }
            default:
                break;
        }
    }
    if (reader.hasError()) {
        error = reader.errorString();
        return std::nullopt;
    }
    return open.front().dictionary;
}

std::optional<QVariantMap> dictionaryForXMLString(const QString &string, QString &error) {
    return dictionaryForXMLData(string.toUtf8(), error);
}

std::optional<QString> stringValueForKey(const QString &key, const QVariantMap &dictionary) {
    const std::optional<QVariantList> entries = arrayValueForKey(key, dictionary);
    if (!entries)
        return std::nullopt;
    const QString text = entries->first().toMap().value(kText).toString();
    return text.isEmpty() ? std::nullopt : std::optional<QString>(text);
}

std::optional<QVariantList> arrayValueForKey(const QString &key, const QVariantMap &dictionary) {
    const QVariant entry = dictionary.value(key);
    if (entry.typeId() == QMetaType::QVariantList) {
        const QVariantList list = entry.toList();
        return list.isEmpty() ? std::nullopt : std::optional<QVariantList>(list);
    }
    if (entry.typeId() == QMetaType::QVariantMap)
        return QVariantList{entry};
    return std::nullopt;
}

}  // namespace XMLReader
