#include "model/store/ValueOrdering.h"

#include "model/foundation/Date.h"
#include "model/store/KeyValueCoding.h"

namespace {

enum class Kind { None, Number, String, Data, Object, Other };

Kind kindOf(const QVariant &value) {
    if (!value.isValid() || value.isNull())
        return Kind::None;
    if (value.metaType() == QMetaType::fromType<Date>())
        return Kind::Number;
    switch (value.typeId()) {
        case QMetaType::Bool:
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
        case QMetaType::Long:
        case QMetaType::ULong:
        case QMetaType::Short:
        case QMetaType::UShort:
        case QMetaType::Double:
        case QMetaType::Float:
            return Kind::Number;
        case QMetaType::QString:
            return Kind::String;
        case QMetaType::QByteArray:
            return Kind::Data;
        default:
            return KeyValue::object(value) ? Kind::Object : Kind::Other;
    }
}

bool isInteger(const QVariant &value) {
    switch (value.typeId()) {
        case QMetaType::Bool:
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
        case QMetaType::Long:
        case QMetaType::Short:
        case QMetaType::UShort:
            return true;
        default:
            return false;
    }
}

double numberOf(const QVariant &value) {
    if (value.metaType() == QMetaType::fromType<Date>())
        return value.value<Date>().secondsSinceReference();
    return value.toDouble();
}

template <typename T>
int threeWay(const T &a, const T &b) {
    return a < b ? -1 : (b < a ? 1 : 0);
}

}  // namespace

int compareValues(const QVariant &a, const QVariant &b) {
    const Kind ka = kindOf(a), kb = kindOf(b);
    if (ka != kb)
        return threeWay(int(ka), int(kb));
    switch (ka) {
        case Kind::None:
            return 0;
        case Kind::Number:
            if (isInteger(a) && isInteger(b))
                return threeWay(a.toLongLong(), b.toLongLong());
            return threeWay(numberOf(a), numberOf(b));
        case Kind::String:
            return a.toString().compare(b.toString());
        case Kind::Data:
            return threeWay(a.toByteArray(), b.toByteArray());
        case Kind::Object:
            return threeWay(KeyValue::object(a), KeyValue::object(b));
        case Kind::Other:
            return threeWay(a.toString(), b.toString());
    }
    return 0;
}
