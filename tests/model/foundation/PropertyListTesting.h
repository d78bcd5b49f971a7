#pragma once
// Helpers shared by the property list tests.

#include <gtest/gtest.h>

#include <QVariant>
#include <cmath>
#include <string>

#include "model/foundation/Date.h"
#include "model/foundation/PropertyList.h"

namespace PropertyListTesting {

// Same types all the way down, same values (NaN equal to NaN, -0.0 apart from 0.0).
inline ::testing::AssertionResult same(const QVariant &expected, const QVariant &actual,
                                       const QString &path = QStringLiteral("/")) {
    if (expected.metaType() != actual.metaType())
        return ::testing::AssertionFailure()
               << path.toStdString() << ": type " << actual.metaType().name() << " instead of "
               << expected.metaType().name();
    bool equal = true;
    switch (expected.typeId()) {
        case QMetaType::QVariantList: {
            const QVariantList a = expected.toList(), b = actual.toList();
            if (a.size() != b.size())
                return ::testing::AssertionFailure() << path.toStdString() << ": length differs";
            for (qsizetype i = 0; i < a.size(); ++i) {
                if (auto r = same(a[i], b[i], path + QString::number(i) + u'/'); !r)
                    return r;
            }
            return ::testing::AssertionSuccess();
        }
        case QMetaType::QVariantMap: {
            const QVariantMap a = expected.toMap(), b = actual.toMap();
            if (a.keys() != b.keys())
                return ::testing::AssertionFailure() << path.toStdString() << ": keys differ";
            for (auto it = a.begin(); it != a.end(); ++it) {
                if (auto r = same(it.value(), b.value(it.key()), path + it.key() + u'/'); !r)
                    return r;
            }
            return ::testing::AssertionSuccess();
        }
        case QMetaType::Double: {
            const double a = expected.toDouble(), b = actual.toDouble();
            equal =
                (std::isnan(a) && std::isnan(b)) || (a == b && std::signbit(a) == std::signbit(b));
            break;
        }
        default:
            if (expected.metaType() == QMetaType::fromType<Date>())
                equal = expected.value<Date>() == actual.value<Date>();
            else if (expected.metaType() == QMetaType::fromType<PropertyList::UID>())
                equal = expected.value<PropertyList::UID>() == actual.value<PropertyList::UID>();
            else
                equal = expected == actual;
    }
    if (equal)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << path.toStdString() << ": " << actual.toString().toStdString() << " instead of "
           << expected.toString().toStdString();
}

inline QVariant date(double seconds) {
    return QVariant::fromValue(Date(seconds));
}
inline QVariant uid(quint64 value) {
    return QVariant::fromValue(PropertyList::UID{value});
}

// The message of the Error that reading `data` raises; empty when it does not.
inline std::string readError(const QByteArray &data) {
    try {
        PropertyList::fromData(data);
    } catch (const PropertyList::Error &error) {
        return error.what();
    }
    return {};
}

}  // namespace PropertyListTesting
