#include "ical/ICalProperties.h"

#include <libical/ical.h>

#include "model/ModelObject.h"
#include "model/foundation/PropertyList.h"

namespace {

const QString kPropValue = QStringLiteral("prop-value");
const QString kValue = QStringLiteral("VALUE");

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

icalproperty *addXProperty(icalcomponent *component, const char *name, const QString &value,
                           bool globalScope) {
    if (value.isEmpty())
        return nullptr;
    icalproperty *property = icalproperty_new_x(value.toUtf8().constData());
    icalproperty_set_x_name(property, name);
    if (globalScope)
        addParameter(property, QStringLiteral("SHARE-SCOPE"), QStringLiteral("GLOBAL"));
    icalcomponent_add_property(component, property);
    return property;
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

void addRichText(icalcomponent *component, const char *name, const std::optional<RichText> &text) {
    if (!text || text->isEmpty() || !hasFormatting(*text))
        return;
    QByteArray archive;
    try {
        archive = PropertyList::toData(text->toPropertyList()).toBase64();
    } catch (const PropertyList::Error &) {
        return;  // formatting a list cannot hold: the plain text still goes
    }
    icalproperty *property = addXProperty(component, name, QString::fromLatin1(archive));
    addParameter(property, QStringLiteral("ENCODING"), QStringLiteral("BASE64"));
    addParameter(property, QStringLiteral("FMTTYPE"), QStringLiteral("application/x-nsarchive"));
    addParameter(property, kValue, QStringLiteral("BINARY"));
}

icalproperty *newURIAttach(const QString &url) {
    icalattach *attach = icalattach_new_from_url(url.toUtf8().constData());
    icalproperty *property = icalproperty_new_attach(attach);
    icalattach_unref(attach);
    return property;
}

void addXProps(icalcomponent *component, const QVariantMap &xProps) {
    for (auto it = xProps.begin(); it != xProps.end(); ++it) {
        const QVariantMap parameters = it.value().toMap();
        const QString value = parameters.value(kPropValue).toString();
        icalproperty *property = icalproperty_new_x(value.toUtf8().constData());
        icalproperty_set_x_name(property, it.key().toUtf8().constData());
        for (auto parameter = parameters.begin(); parameter != parameters.end(); ++parameter) {
            if (parameter.key() != kPropValue)
                addParameter(property, parameter.key(), parameter.value().toString());
        }
        icalcomponent_add_property(component, property);
    }
}

QString calendarAddress(const QString &address) {
    return address.contains(QLatin1Char('@')) ? QStringLiteral("mailto:") + address : address;
}

QString textField(const ModelObject *record, const char *key) {
    return record->valueForKey(QLatin1String(key)).toString();
}

}  // namespace ICalProperties
