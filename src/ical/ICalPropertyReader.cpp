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

// Text that the library writes as it stands: no character it replaces
// (controls, the bytes F9 to FF), encodes (line feed, double quote) or
// quotes the whole for (comma, colon, semicolon).
bool isWrittenAsItStands(const char *text) {
    for (const char *c = text; *c; ++c) {
        const auto byte = uchar(*c);
        if ((byte < 0x20 && byte != '\t') || byte == 0x7f || byte >= 0xf9 || byte == '"' ||
            byte == ',' || byte == ':' || byte == ';')
            return false;
    }
    return true;
}

// The word of a parameter whose value is one of the library's own words;
// nullptr for an X- value and for kinds not listed here.
const char *enumWord(icalparameter *parameter) {
    int word = 0;
    switch (icalparameter_isa(parameter)) {
        case ICAL_PARTSTAT_PARAMETER:
            word = icalparameter_get_partstat(parameter);
            break;
        case ICAL_CUTYPE_PARAMETER:
            word = icalparameter_get_cutype(parameter);
            break;
        case ICAL_ROLE_PARAMETER:
            word = icalparameter_get_role(parameter);
            break;
        case ICAL_RSVP_PARAMETER:
            word = icalparameter_get_rsvp(parameter);
            break;
        case ICAL_SCHEDULEAGENT_PARAMETER:
            word = icalparameter_get_scheduleagent(parameter);
            break;
        case ICAL_ENCODING_PARAMETER:
            word = icalparameter_get_encoding(parameter);
            break;
        case ICAL_VALUE_PARAMETER:
            word = icalparameter_get_value(parameter);
            break;
        default:
            return nullptr;
    }
    return word ? icalparameter_enum_to_string(word) : nullptr;
}

// The value's bytes as the parser left them: text unescaped.
const char *parsedValueText(icalproperty *property) {
    icalvalue *value = icalproperty_get_value(property);
    if (!value)
        return nullptr;
    switch (icalvalue_isa(value)) {
        case ICAL_TEXT_VALUE:
            return icalvalue_get_text(value);
        case ICAL_X_VALUE:
            return icalvalue_get_x(value);
        case ICAL_CALADDRESS_VALUE:
            return icalvalue_get_caladdress(value);
        default:
            return icalproperty_get_value_as_string(property);
    }
}

std::optional<QByteArray> valueBytes(icalproperty *property) {
    const char *text = parsedValueText(property);
    return text ? std::optional(QByteArray(text)) : std::nullopt;
}

bool isAsciiBytes(const char *text) {
    for (const char *c = text; *c; ++c) {
        if (uchar(*c) >= 0x80)
            return false;
    }
    return true;
}

// The parameter's value as the library writes it ("NAME=value"), unquoted.
QString parameterValue(icalparameter *parameter) {
    // Most values are read without writing the parameter out first.
    if (const char *text = icalparameter_get_xvalue(parameter)) {
        if (isWrittenAsItStands(text))
            return QString::fromUtf8(text);
    } else if (const char *word = enumWord(parameter)) {
        return QString::fromLatin1(word);
    }
    char *written = icalparameter_as_ical_string_r(parameter);
    if (!written)
        return {};
    QString value = QString::fromUtf8(written);
    icalmemory_free_buffer(written);
    value = value.mid(value.indexOf(QLatin1Char('=')) + 1);
    if (value.size() >= 2 && value.startsWith(QLatin1Char('"')) && value.endsWith(QLatin1Char('"')))
        value = value.mid(1, value.size() - 2);
    return value;
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

bool isWord(const std::optional<QString> &text, const char *word) {
    return text && text->compare(QLatin1String(word), Qt::CaseInsensitive) == 0;
}

std::optional<QString> parameterTextOfKind(icalproperty *property, int kind) {
    icalparameter *parameter = icalproperty_get_first_parameter(property, icalparameter_kind(kind));
    return parameter ? std::optional(parameterValue(parameter)) : std::nullopt;
}

std::optional<QString> parameterText(icalproperty *property, const char *name) {
    // A parameter the library knows is found by its kind; others by name.
    const icalparameter_kind kind = icalparameter_string_to_kind(name);
    if (kind != ICAL_X_PARAMETER && kind != ICAL_IANA_PARAMETER && kind != ICAL_NO_PARAMETER)
        return parameterTextOfKind(property, kind);
    for (icalparameter *parameter = icalproperty_get_first_parameter(property, ICAL_ANY_PARAMETER);
         parameter; parameter = icalproperty_get_next_parameter(property, ICAL_ANY_PARAMETER)) {
        if (qstricmp(rawParameterName(parameter), name) == 0)
            return parameterValue(parameter);
    }
    return std::nullopt;
}

std::optional<QString> textOfProperty(icalproperty *property) {
    const char *text = parsedValueText(property);
    if (!text)
        return std::nullopt;
    const bool quotedPrintable =
        isWord(parameterTextOfKind(property, ICAL_ENCODING_PARAMETER), "QUOTED-PRINTABLE");
    const std::optional<QString> charset = parameterTextOfKind(property, ICAL_CHARSET_PARAMETER);
    // ASCII reads the same in UTF-8, the encoding without a CHARSET.
    if (!quotedPrintable && !charset && *text && isAsciiBytes(text))
        return QString::fromLatin1(text);
    QByteArray bytes(text);
    if (quotedPrintable)
        bytes = bytesFromQuotedPrintable(bytes);
    for (const TextEncoding &each :
         {encodingOfCharset(charset), TextEncoding::isoLatin1(), TextEncoding::ascii()}) {
        if (std::optional<QString> decoded = each.decode(bytes))
            return decoded;
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
