#include "model/store/ValueComparison.h"

#include <cmath>

#include "model/foundation/Date.h"
#include "model/store/KeyValueCoding.h"
#include "model/store/ManagedObject.h"
#include "model/store/StringFolding.h"

namespace {

enum class Kind { Nil, Number, String, Data, Object, Other };

Kind kindOf(const QVariant &value) {
    if (ValueComparison::isNil(value))
        return Kind::Nil;
    if (value.metaType() == QMetaType::fromType<Date>())
        return Kind::Number;
    if (ValueComparison::isNumber(value))
        return Kind::Number;
    switch (value.typeId()) {
        case QMetaType::QString:
            return Kind::String;
        case QMetaType::QByteArray:
            return Kind::Data;
        default:
            return KeyValue::object(value) || value.metaType() == QMetaType::fromType<ObjectID>()
                       ? Kind::Object
                       : Kind::Other;
    }
}

// An object is the same as its ObjectID; other objects are only themselves.
bool sameObject(const QVariant &a, const QVariant &b) {
    const auto idOf = [](const QVariant &value) -> std::optional<ObjectID> {
        if (value.metaType() == QMetaType::fromType<ObjectID>())
            return value.value<ObjectID>();
        const ManagedObject *object = value.metaType() == QMetaType::fromType<ManagedObject *>()
                                          ? value.value<ManagedObject *>()
                                          : nullptr;
        return object ? std::optional<ObjectID>(object->objectID()) : std::nullopt;
    };
    const std::optional<ObjectID> first = idOf(a);
    const std::optional<ObjectID> second = idOf(b);
    if (first && second)
        return *first == *second;
    return KeyValue::object(a) == KeyValue::object(b);
}

double realOf(const QVariant &value) {
    if (value.metaType() == QMetaType::fromType<Date>())
        return value.value<Date>().secondsSinceReference();
    return value.toDouble();
}

template <typename T>
int threeWay(const T &a, const T &b) {
    return a < b ? -1 : (b < a ? 1 : 0);
}

std::optional<int> compareOther(const QVariant &a, const QVariant &b) {
    if (a.metaType() != b.metaType())
        return std::nullopt;
    const QPartialOrdering order = QVariant::compare(a, b);
    if (order == QPartialOrdering::Less)
        return -1;
    if (order == QPartialOrdering::Greater)
        return 1;
    if (order == QPartialOrdering::Equivalent || a == b)
        return 0;
    return std::nullopt;
}

}  // namespace

namespace ValueComparison {

bool isNil(const QVariant &value) {
    return !value.isValid() || value.isNull();
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
        case QMetaType::Char:
        case QMetaType::SChar:
        case QMetaType::UChar:
            return true;
        default:
            return false;
    }
}

bool isNumber(const QVariant &value) {
    switch (value.typeId()) {
        case QMetaType::ULongLong:
        case QMetaType::ULong:
        case QMetaType::Double:
        case QMetaType::Float:
            return true;
        default:
            return isInteger(value);
    }
}

int compareStrings(const QString &a, const QString &b) {
    const qsizetype length = std::min(a.size(), b.size());
    for (qsizetype i = 0; i < length; ++i) {
        const char16_t x = a[i].unicode(), y = b[i].unicode();
        if (x == y)
            continue;
        // UTF-16 order is code point order except that surrogates (the
        // supplementary planes) must sort after U+E000..U+FFFF.
        if (QChar::isSurrogate(x) != QChar::isSurrogate(y))
            return QChar::isSurrogate(x) ? 1 : -1;
        return x < y ? -1 : 1;
    }
    return threeWay(a.size(), b.size());
}

std::optional<int> compare(const QVariant &a, const QVariant &b, int options) {
    const Kind kind = kindOf(a);
    if (kind == Kind::Nil || kind != kindOf(b))
        return std::nullopt;
    switch (kind) {
        case Kind::Number:
            if (isInteger(a) && isInteger(b))
                return threeWay(a.toLongLong(), b.toLongLong());
            if (std::isnan(realOf(a)) || std::isnan(realOf(b)))
                return std::nullopt;
            return threeWay(realOf(a), realOf(b));
        case Kind::String:
            return compareStrings(foldString(a.toString(), options),
                                  foldString(b.toString(), options));
        case Kind::Data:
            return threeWay(a.toByteArray(), b.toByteArray());
        case Kind::Object:  // equal or not, never ordered
            return sameObject(a, b) ? std::optional<int>(0) : std::nullopt;
        case Kind::Other:
            return compareOther(a, b);
        case Kind::Nil:
            break;
    }
    return std::nullopt;
}

bool equal(const QVariant &a, const QVariant &b, int options) {
    if (isNil(a) || isNil(b))
        return isNil(a) && isNil(b);
    return compare(a, b, options) == 0;
}

int order(const QVariant &a, const QVariant &b) {
    const Kind kind = kindOf(a);
    if (kind != kindOf(b))
        return threeWay(int(kind), int(kindOf(b)));
    if (kind == Kind::Nil)
        return 0;
    if (const std::optional<int> ordered = compare(a, b))
        return *ordered;
    switch (kind) {
        case Kind::Number:
            return threeWay(std::isnan(realOf(a)), std::isnan(realOf(b)));
        case Kind::Object:
            return threeWay(KeyValue::object(a), KeyValue::object(b));
        default:
            return threeWay(a.toString(), b.toString());
    }
}

}  // namespace ValueComparison
