#include "ical/ICalProperties.h"

#include <libical/ical.h>

#include "ical/ICalTextWriter.h"
#include "model/ModelObject.h"
#include "model/foundation/PropertyList.h"

namespace {

const QString kPropValue = QStringLiteral("prop-value");

// Attribute keys that say where a run is, not how it looks.
bool isRangeKey(const QString &key) {
    return key == QLatin1String("location") || key == QLatin1String("length");
}

bool isPlainNumberOrColour(const QString &key, const QVariant &value) {
    if (key.contains(QLatin1String("color"), Qt::CaseInsensitive))
        return true;
    switch (value.typeId()) {
        case QMetaType::Int:
        case QMetaType::LongLong:
        case QMetaType::UInt:
        case QMetaType::ULongLong:
        case QMetaType::Double:
        case QMetaType::Bool:
            return true;
        default:
            return false;
    }
}

}  // namespace

namespace ICalProperties {

void addParameter(icalproperty *property, const QString &name, const QString &value) {
    const QByteArray nameText = name.toUtf8();
    const QByteArray valueText = value.toUtf8();
    const icalparameter_kind kind = icalparameter_string_to_kind(nameText.constData());
    icalparameter *parameter = nullptr;
    if (kind != ICAL_NO_PARAMETER && kind != ICAL_X_PARAMETER && kind != ICAL_IANA_PARAMETER)
        parameter = icalparameter_new_from_value_string(kind, valueText.constData());
    if (!parameter) {
        parameter = icalparameter_new_x(valueText.constData());
        icalparameter_set_xname(parameter, nameText.constData());
    }
    icalproperty_add_parameter(property, parameter);
}

void addXProperty(icalcomponent *component, const char *name, const QString &value) {
    if (value.isEmpty())
        return;
    icalproperty *property = icalproperty_new_x(value.toUtf8().constData());
    icalproperty_set_x_name(property, name);
    icalcomponent_add_property(component, property);
}

bool hasFormatting(const RichText &text) {
    if (text.runs.isEmpty())
        return false;
    const QVariantMap first = text.runs.first().toMap();
    for (auto it = first.begin(); it != first.end(); ++it) {
        if (!isRangeKey(it.key()) && !isPlainNumberOrColour(it.key(), it.value()))
            return true;
    }
    return false;
}

bool writeXProperty(ICalTextWriter &writer, const char *name, const QString &value,
                    bool globalScope) {
    if (value.isEmpty())
        return false;
    writer.property(name);
    if (globalScope)
        writer.parameter("SHARE-SCOPE", QLatin1String("GLOBAL"));
    writer.plainText(value);
    return true;
}

void writeRichText(ICalTextWriter &writer, const char *name, const std::optional<RichText> &text) {
    if (!text || text->isEmpty() || !hasFormatting(*text))
        return;
    QByteArray archive;
    try {
        archive = PropertyList::toData(text->toPropertyList()).toBase64();
    } catch (const PropertyList::Error &) {
        return;  // formatting a list cannot hold: the plain text still goes
    }
    if (archive.isEmpty())
        return;
    writer.property(name)
        .valueType("BINARY")
        .parameter("ENCODING", QLatin1String("BASE64"))
        .parameter("FMTTYPE", QLatin1String("application/x-nsarchive"))
        .raw(archive);
}

icalproperty *newURIAttach(const QString &url) {
    icalattach *attach = icalattach_new_from_url(url.toUtf8().constData());
    icalproperty *property = icalproperty_new_attach(attach);
    icalattach_unref(attach);
    return property;
}

void writeXProps(ICalTextWriter &writer, const QVariantMap &xProps) {
    // Kept as they came, with any parameter and value type: the library
    // writes them, these being few.
    for (auto it = xProps.begin(); it != xProps.end(); ++it) {
        const QVariantMap parameters = it.value().toMap();
        const QString value = parameters.value(kPropValue).toString();
        icalproperty *property = icalproperty_new_x(value.toUtf8().constData());
        icalproperty_set_x_name(property, it.key().toUtf8().constData());
        for (auto parameter = parameters.begin(); parameter != parameters.end(); ++parameter) {
            if (parameter.key() != kPropValue)
                addParameter(property, parameter.key(), parameter.value().toString());
        }
        writer.libraryProperty(property);
    }
}

QString calendarAddress(const QString &address) {
    return address.contains(QLatin1Char('@')) ? QStringLiteral("mailto:") + address : address;
}

const QString &textField(const ModelObject *record, const QString &key) {
    return record->stringAttributeForKey(key);
}

}  // namespace ICalProperties
