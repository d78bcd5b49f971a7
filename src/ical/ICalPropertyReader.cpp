#include "ical/ICalPropertyReader.h"

#include <libical/ical.h>

#include "model/foundation/Log.h"
#include "model/foundation/PropertyList.h"
#include "model/util/TextDecoding.h"
#include "model/util/TextEncoding.h"

namespace {

const QString kValueKey = QStringLiteral("prop-value");

const char *rawParameterName(icalparameter *parameter) {
    const icalparameter_kind kind = icalparameter_isa(parameter);
    const char *name = kind == ICAL_X_PARAMETER || kind == ICAL_IANA_PARAMETER
                           ? icalparameter_get_xname(parameter)
                           : icalparameter_kind_to_string(kind);
    return name ? name : "";
}

QString parameterName(icalparameter *parameter) {
    return QString::fromUtf8(rawParameterName(parameter));
}

// The parameter's value as written ("NAME=value", quotes removed).
QString parameterValue(icalparameter *parameter) {
    char *text = icalparameter_as_ical_string_r(parameter);
    if (!text)
        return {};
    QString value = QString::fromUtf8(text);
    icalmemory_free_buffer(text);
    value = value.mid(value.indexOf(QLatin1Char('=')) + 1);
    if (value.size() >= 2 && value.startsWith(QLatin1Char('"')) && value.endsWith(QLatin1Char('"')))
        value = value.mid(1, value.size() - 2);
    return value;
}

// The value's bytes as the parser left them: text unescaped.
std::optional<QByteArray> valueBytes(icalproperty *property) {
    icalvalue *value = icalproperty_get_value(property);
    if (!value)
        return std::nullopt;
    const char *text = nullptr;
    switch (icalvalue_isa(value)) {
        case ICAL_TEXT_VALUE:
            text = icalvalue_get_text(value);
            break;
        case ICAL_X_VALUE:
            text = icalvalue_get_x(value);
            break;
        default:
            text = icalproperty_get_value_as_string(property);
            break;
    }
    if (!text)
        return std::nullopt;
    return QByteArray(text);
}

TextEncoding encodingOfCharset(const std::optional<QString> &charset) {
    if (!charset)
        return TextEncoding::utf8();
    const QString name = charset->trimmed().toUpper();
    if (name == QLatin1String("ISO-8859-1"))
        return TextEncoding::isoLatin1();
    if (name == QLatin1String("SJIS") || name == QLatin1String("SHIFT_JIS"))
        return TextEncoding::shiftJIS();
    return TextEncoding::utf8();
}

}  // namespace

namespace ICalPropertyReader {

QString propertyName(icalproperty *property) {
    const char *name = icalproperty_get_property_name(property);
    return QString::fromUtf8(name ? name : "");
}

std::optional<QString> parameterText(icalproperty *property, const char *name) {
    // A parameter the library knows is found by its kind; others by name.
    const icalparameter_kind kind = icalparameter_string_to_kind(name);
    if (kind != ICAL_X_PARAMETER && kind != ICAL_IANA_PARAMETER && kind != ICAL_NO_PARAMETER) {
        icalparameter *parameter = icalproperty_get_first_parameter(property, kind);
        return parameter ? std::optional(parameterValue(parameter)) : std::nullopt;
    }
    for (icalparameter *parameter = icalproperty_get_first_parameter(property, ICAL_ANY_PARAMETER);
         parameter; parameter = icalproperty_get_next_parameter(property, ICAL_ANY_PARAMETER)) {
        if (qstricmp(rawParameterName(parameter), name) == 0)
            return parameterValue(parameter);
    }
    return std::nullopt;
}

std::optional<QString> textOfProperty(icalproperty *property) {
    std::optional<QByteArray> bytes = valueBytes(property);
    if (!bytes)
        return std::nullopt;
    const std::optional<QString> encoding = parameterText(property, "ENCODING");
    if (encoding && encoding->compare(QLatin1String("QUOTED-PRINTABLE"), Qt::CaseInsensitive) == 0)
        bytes = bytesFromQuotedPrintable(*bytes);
    for (const TextEncoding &each : {encodingOfCharset(parameterText(property, "CHARSET")),
                                     TextEncoding::isoLatin1(), TextEncoding::ascii()}) {
        if (std::optional<QString> text = each.decode(*bytes))
            return text;
    }
    return std::nullopt;
}

std::optional<RichText> richTextFromProperty(icalproperty *property) {
    const std::optional<QString> type = parameterText(property, "FMTTYPE");
    const std::optional<QByteArray> bytes = valueBytes(property);
    if (!bytes || !type ||
        type->compare(QLatin1String("application/x-nsarchive"), Qt::CaseInsensitive) != 0)
        return std::nullopt;
    const QByteArray archive = QByteArray::fromBase64(*bytes);
    QString error;
    const QVariant list = PropertyList::fromData(archive, &error);
    if (!error.isEmpty()) {
        logError("NSKeyedUnarchiver - %@", error);
        return std::nullopt;
    }
    return RichText::fromPropertyList(list);
}

QVariantMap unknownProperties(icalcomponent *component, bool (*isKnown)(const QString &name)) {
    QVariantMap properties;
    for (icalproperty *property = icalcomponent_get_first_property(component, ICAL_X_PROPERTY);
         property; property = icalcomponent_get_next_property(component, ICAL_X_PROPERTY)) {
        const QString name = propertyName(property);
        if (name.isEmpty() || name.startsWith(QLatin1String("X-LIC-"), Qt::CaseInsensitive) ||
            isKnown(name))
            continue;
        QVariantMap entry;
        for (icalparameter *parameter =
                 icalproperty_get_first_parameter(property, ICAL_ANY_PARAMETER);
             parameter; parameter = icalproperty_get_next_parameter(property, ICAL_ANY_PARAMETER))
            entry.insert(parameterName(parameter), parameterValue(parameter));
        entry.insert(kValueKey, QString::fromUtf8(valueBytes(property).value_or(QByteArray())));
        properties.insert(name, entry);
    }
    return properties;
}

}  // namespace ICalPropertyReader
