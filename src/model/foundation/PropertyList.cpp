#include "model/foundation/PropertyList.h"

#include <plist/plist.h>

#include <QtEndian>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>

#include "model/foundation/Date.h"
#include "model/foundation/PropertyListGuard.h"

namespace PropertyList {
namespace {

struct NodeFree {
    void operator()(plist_t node) const { plist_free(node); }
};
using NodePtr = std::unique_ptr<void, NodeFree>;
struct MemoryFree {
    void operator()(char *memory) const { std::free(memory); }
};
using TextPtr = std::unique_ptr<char, MemoryFree>;

constexpr char kBinaryMagic[] = "bplist00";

[[noreturn]] void fail(const QString &message) {
    throw Error(message.toStdString());
}

[[noreturn]] void failNesting() {
    throw Error("property list is nested too deeply");
}

// Dates as libplist makes them: whole seconds from 2001 that fit in 32 bits,
// and microseconds that are never negative (so a date before 2001 with a
// fraction has the second before it).
struct DateParts {
    int32_t seconds = 0;
    int32_t microseconds = 0;
};

DateParts partsOf(double seconds) {
    constexpr double kEarliest = std::numeric_limits<int32_t>::min();
    constexpr double kLatest = std::numeric_limits<int32_t>::max();
    double whole = std::floor(seconds);
    double micro = std::round((seconds - whole) * 1e6);
    if (micro >= 1e6) {
        whole += 1;
        micro = 0;
    }
    // (Comparisons with NaN are false, so it is outside the range too.)
    if (!(whole >= kEarliest && whole <= kLatest))
        fail(QStringLiteral("the date %1 is outside the range a property list can hold (%2 to %3)")
                 .arg(Date(seconds).description(), Date(kEarliest).description(),
                      Date(kLatest).description()));
    return {int32_t(whole), int32_t(micro)};
}

// Strings reach libplist as UTF-8 ending in a NUL, so they cannot hold U+0000
// or a lone surrogate; XML 1.0 carries tab, line feed, carriage return and the
// characters from U+0020 up but for U+FFFE and U+FFFF.
void checkText(const QString &text, Format format) {
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        if (QChar::isHighSurrogate(c) && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
            ++i;
            continue;
        }
        const auto code = [c] { return QString::number(c, 16).toUpper().rightJustified(4, u'0'); };
        if (c == 0 || QChar::isSurrogate(c))
            fail(QStringLiteral("a property list cannot hold a string with the character U+") +
                 code());
        const bool xmlCarries =
            c >= 0x20 ? c != 0xFFFE && c != 0xFFFF : c == u'\t' || c == u'\n' || c == u'\r';
        if (format == Format::Xml && !xmlCarries)
            fail(QStringLiteral("an XML property list cannot hold a string with the character U+") +
                 code());
    }
}

// libplist writes UIDs in 32 bits.
UID checkedUid(quint64 value) {
    if (value > std::numeric_limits<uint32_t>::max())
        fail(QStringLiteral("a property list cannot hold the UID %1, which does not fit in 32 bits")
                 .arg(value));
    return UID{value};
}

// Reading

QVariant integerOf(plist_t node) {
    uint64_t value = 0;
    plist_get_uint_val(node, &value);
    if (value <= uint64_t(std::numeric_limits<qint64>::max()))
        return qint64(value);
    // libplist gives both negative and large unsigned integers as the same
    // 64 bits; only the integers plist_new_uint makes are signed ones.
    const NodePtr signedInteger(plist_new_uint(value));
    if (plist_compare_node_value(node, signedInteger.get()))
        return qint64(value);
    return quint64(value);
}

// libplist hands dates out as 32-bit seconds and a fraction without sign; the
// binary form of the date alone holds it exactly: a big-endian double after
// the header and the marker 0x33.
Date dateOf(plist_t node) {
    char *bytes = nullptr;
    uint32_t length = 0;
    plist_to_bin(node, &bytes, &length);
    const std::unique_ptr<char, void (*)(char *)> owner(bytes, plist_to_bin_free);
    constexpr uint32_t kMarker = sizeof(kBinaryMagic) - 1;
    if (!bytes || length < kMarker + 1 + sizeof(double) || uchar(bytes[kMarker]) != 0x33)
        fail(QStringLiteral("property list holds a date that libplist cannot give back"));
    const double seconds = qFromBigEndian<double>(bytes + kMarker + 1);
    partsOf(seconds);  // what cannot be written is not read either
    return Date(seconds);
}

QVariant toVariant(plist_t node, int depth, Format format);

QVariant dictionaryOf(plist_t node, int depth, Format format) {
    // XML writes a UID as a dictionary holding the integer under "CF$UID".
    if (const plist_t uid = plist_dict_get_item(node, "CF$UID");
        format == Format::Xml && uid && plist_dict_get_size(node) == 1 &&
        plist_get_node_type(uid) == PLIST_UINT) {
        uint64_t value = 0;
        plist_get_uint_val(uid, &value);
        return QVariant::fromValue(checkedUid(value));
    }
    QVariantMap map;
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(node, &iterator);
    const std::unique_ptr<void, void (*)(void *)> owner(iterator, std::free);
    for (;;) {
        char *key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node, iterator, &key, &value);
        const TextPtr keyOwner(key);
        if (!value)
            return map;
        map.insert(QString::fromUtf8(key ? key : ""), toVariant(value, depth + 1, format));
    }
}

QVariant toVariant(plist_t node, int depth, Format format) {
    switch (plist_get_node_type(node)) {
        case PLIST_BOOLEAN: {
            uint8_t value = 0;
            plist_get_bool_val(node, &value);
            return bool(value);
        }
        case PLIST_UINT:
            return integerOf(node);
        case PLIST_REAL: {
            double value = 0;
            plist_get_real_val(node, &value);
            return value;
        }
        case PLIST_STRING: {
            // (plist_get_string_val asserts on a string holding U+0000.)
            uint64_t length = 0;
            const char *text = plist_get_string_ptr(node, &length);
            const QString string = QString::fromUtf8(text, text ? qsizetype(length) : 0);
            checkText(string, Format::Binary);
            return string;
        }
        case PLIST_DATA: {
            uint64_t length = 0;
            const char *bytes = plist_get_data_ptr(node, &length);
            return bytes ? QByteArray(bytes, qsizetype(length)) : QByteArray();
        }
        case PLIST_DATE:
            return QVariant::fromValue(dateOf(node));
        case PLIST_UID: {
            uint64_t value = 0;
            plist_get_uid_val(node, &value);
            return QVariant::fromValue(checkedUid(value));
        }
        case PLIST_ARRAY: {
            if (depth >= kMaximumDepth)
                failNesting();
            QVariantList list;
            const uint32_t count = plist_array_get_size(node);
            list.reserve(count);
            for (uint32_t i = 0; i < count; ++i)
                list.append(toVariant(plist_array_get_item(node, i), depth + 1, format));
            return list;
        }
        case PLIST_DICT:
            if (depth >= kMaximumDepth)
                failNesting();
            return dictionaryOf(node, depth, format);
        default:
            fail(QStringLiteral("property list holds a value of unknown type"));
    }
}

// Writing

// plist_new_uint makes signed 64-bit integers only; libplist's XML reader
// makes the unsigned ones above INT64_MAX, which both formats then keep.
plist_t unsignedNode(quint64 value) {
    const QByteArray xml = "<integer>" + QByteArray::number(value) + "</integer>";
    plist_t node = nullptr;
    plist_from_xml(xml.constData(), uint32_t(xml.size()), &node);
    if (!node)
        fail(QStringLiteral("libplist cannot make the integer %1").arg(value));
    return node;
}

plist_t dateNode(double seconds, Format format) {
    const DateParts parts = partsOf(seconds);
    // XML carries whole seconds: a date is written as the second it falls in.
    return plist_new_date(parts.seconds, format == Format::Xml ? 0 : parts.microseconds);
}

plist_t stringNode(const QString &text, Format format) {
    checkText(text, format);
    return plist_new_string(text.toUtf8().constData());
}

plist_t toNode(const QVariant &value, int depth, Format format) {
    switch (kindOf(value)) {
        case Kind::Boolean:
            return plist_new_bool(value.toBool());
        case Kind::Integer:
            return plist_new_uint(uint64_t(value.toLongLong()));
        case Kind::UnsignedInteger:
            return unsignedNode(value.toULongLong());
        case Kind::Real:
            return plist_new_real(value.toDouble());
        case Kind::String:
            return stringNode(value.toString(), format);
        case Kind::Data: {
            const QByteArray data = value.toByteArray();
            return plist_new_data(data.constData(), uint64_t(data.size()));
        }
        case Kind::Date:
            return dateNode(dateSecondsOf(value), format);
        case Kind::UID:
            return plist_new_uid(checkedUid(value.value<UID>().value).value);
        case Kind::Array: {
            if (depth >= kMaximumDepth)
                failNesting();
            NodePtr array(plist_new_array());
            for (const QVariant &item : value.toList())
                plist_array_append_item(array.get(), toNode(item, depth + 1, format));
            return array.release();
        }
        case Kind::Dictionary: {
            if (depth >= kMaximumDepth)
                failNesting();
            NodePtr dictionary(plist_new_dict());
            const QVariantMap map = value.toMap();
            for (auto it = map.begin(); it != map.end(); ++it) {
                checkText(it.key(), format);
                plist_dict_set_item(dictionary.get(), it.key().toUtf8().constData(),
                                    toNode(it.value(), depth + 1, format));
            }
            return dictionary.release();
        }
    }
    fail(QStringLiteral("a property list cannot hold this value"));
}

}  // namespace

QVariant fromData(const QByteArray &data) {
    if (data.isEmpty())
        throw Error("property list is empty");
    if (data.size() > qsizetype(std::numeric_limits<uint32_t>::max()))
        throw Error("property list is too large");
    const bool binary = data.startsWith(kBinaryMagic);
    plist_t root = nullptr;
    if (binary) {
        PropertyListGuard::checkBinary(data);
        plist_from_bin(data.constData(), uint32_t(data.size()), &root);
    } else {
        PropertyListGuard::checkXml(data);
        plist_from_xml(data.constData(), uint32_t(data.size()), &root);
    }
    if (!root)
        throw Error(binary ? "binary property list is damaged"
                           : "XML property list holds no value that libplist can read");
    const NodePtr owner(root);
    return toVariant(root, 0, binary ? Format::Binary : Format::Xml);
}

QVariant fromData(const QByteArray &data, QString *error) {
    try {
        return fromData(data);
    } catch (const Error &e) {
        if (error)
            *error = QString::fromUtf8(e.what());
        return QVariant();
    }
}

QByteArray toData(const QVariant &value, Format format) {
    const NodePtr root(toNode(value, 0, format));
    char *bytes = nullptr;
    uint32_t length = 0;
    if (format == Format::Xml)
        plist_to_xml(root.get(), &bytes, &length);
    else
        plist_to_bin(root.get(), &bytes, &length);
    const std::unique_ptr<char, void (*)(char *)> owner(
        bytes, format == Format::Xml ? plist_to_xml_free : plist_to_bin_free);
    if (!bytes)
        throw Error("libplist could not write the property list");
    return QByteArray(bytes, qsizetype(length));
}

Kind kindOf(const QVariant &value) {
    const QMetaType type = value.metaType();
    if (type == QMetaType::fromType<Date>())
        return Kind::Date;
    if (type == QMetaType::fromType<UID>())
        return Kind::UID;
    switch (value.typeId()) {
        case QMetaType::Bool:
            return Kind::Boolean;
        case QMetaType::Int:
        case QMetaType::LongLong:
        case QMetaType::Long:
        case QMetaType::Short:
        case QMetaType::Char:
        case QMetaType::SChar:
        case QMetaType::UInt:
        case QMetaType::UShort:
        case QMetaType::UChar:
            return Kind::Integer;
        case QMetaType::ULong:
        case QMetaType::ULongLong:
            return value.toULongLong() > quint64(std::numeric_limits<qint64>::max())
                       ? Kind::UnsignedInteger
                       : Kind::Integer;
        case QMetaType::Double:
        case QMetaType::Float:
            return Kind::Real;
        case QMetaType::QString:
            return Kind::String;
        case QMetaType::QByteArray:
            return Kind::Data;
        case QMetaType::QDateTime:
            if (!value.toDateTime().isValid())
                throw Error("a property list cannot hold an invalid date");
            return Kind::Date;
        case QMetaType::QStringList:
        case QMetaType::QVariantList:
            return Kind::Array;
        case QMetaType::QVariantMap:
        case QMetaType::QVariantHash:
            return Kind::Dictionary;
        default:
            break;
    }
    if (!value.isValid())
        throw Error("a property list cannot hold no value");
    throw Error(std::string("a property list cannot hold a value of type ") +
                (type.name() ? type.name() : "?"));
}

double dateSecondsOf(const QVariant &value) {
    const double seconds = value.metaType() == QMetaType::fromType<Date>()
                               ? value.value<Date>().secondsSinceReference()
                               : Date::fromDateTime(value.toDateTime()).secondsSinceReference();
    if (!std::isfinite(seconds))
        throw Error("a property list cannot hold a date that is not finite");
    return seconds;
}

}  // namespace PropertyList
