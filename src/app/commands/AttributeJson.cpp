#include "app/commands/AttributeJson.h"

#include <QJsonArray>
#include <QJsonValue>

#include "model/ModelObject.h"
#include "model/Schema.h"

namespace {

QJsonValue dateJson(const std::optional<Date> &date) {
    return date ? QJsonValue(date->description()) : QJsonValue();
}

QJsonValue valueJson(const ModelObject &object, const PropertyDescription &property) {
    const QString &key = property.name;
    switch (Schema::valueKind(property)) {
        case ValueKind::Boolean:
            return object.boolValueForKey(key);
        case ValueKind::Integer:
            return object.integerValueForKey(key);
        case ValueKind::Double:
        case ValueKind::Opacity:
            return object.doubleValueForKey(key);
        case ValueKind::Date:
            return dateJson(object.dateValueForKey(key));
        case ValueKind::String:
        case ValueKind::CalendarDate:
        case ValueKind::CalendarDateList:
            return object.valueForKey(key).toString();
        case ValueKind::Archived:
            return QJsonValue::fromVariant(object.unarchivedValueForKey(key));
        case ValueKind::StringTable:
            return QJsonObject::fromVariantMap(object.dictionaryValueForKey(key));
        case ValueKind::MaskedString:
            return object.unmaskedStringValueForKey(key).value_or(QString());
        case ValueKind::Color: {
            const std::optional<RGBColor> color = object.colorValueForKey(key);
            return color ? QJsonValue(hexStringFromColor(*color, false)) : QJsonValue();
        }
        case ValueKind::Font: {
            const std::optional<FontDescription> font = object.fontValueForKey(key);
            return font ? QJsonValue(QJsonObject::fromVariantMap(font->toPropertyList()))
                        : QJsonValue();
        }
        case ValueKind::RichText:
            return object.stringValueForKey(key).value_or(QString());
        case ValueKind::TagList:
            return QJsonArray::fromStringList(object.tagListValueForKey(key));
    }
    return QJsonValue();
}

}  // namespace

namespace AttributeJson {

QJsonObject attributesOf(const ModelObject &object) {
    QJsonObject attributes;
    for (const PropertyDescription *property : object.entity()->properties()) {
        if (property->isRelationship || property->isTransient ||
            !object.primitiveValue(property).isValid())
            continue;
        attributes.insert(property->name, valueJson(object, *property));
    }
    return attributes;
}

}  // namespace AttributeJson
