#pragma once

#include <QJsonObject>

class ModelObject;

// Every stored attribute of an object that has a value, as JSON, decoded by
// its encoding: numbers and booleans as they are, dates as ISO 8601 UTC
// text, calendar dates in their stored form ("seconds:zone"), colours as
// "#RRGGBB", rich text as its plain text, tag lists and archived values as
// JSON arrays and objects, masked strings unmasked. Transient attributes
// and relationships are left out.
namespace AttributeJson {
QJsonObject attributesOf(const ModelObject &object);
}
