#include "model/foundation/PropertyList.h"

#include <cmath>
#include <limits>

#include "model/foundation/BinaryPropertyList.h"
#include "model/foundation/Date.h"
#include "model/foundation/XmlPropertyList.h"

namespace PropertyList {

QVariant fromData(const QByteArray &data) {
    if (data.isEmpty())
        throw Error("property list is empty");
    if (data.startsWith(BinaryPropertyList::kMagic))
        return BinaryPropertyList::read(data);
    return XmlPropertyList::read(data);
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
    return format == Format::Xml ? XmlPropertyList::write(value) : BinaryPropertyList::write(value);
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
