#pragma once

#include <gtest/gtest.h>

#include <QStringList>

#include "model/foundation/Date.h"
#include "model/store/FakeObject.h"
#include "model/store/Predicate.h"

// What the predicate tests share: shorthands for building predicates, and a
// fixture with one object holding a value of every kind.

inline Predicate parse(const QString &format, const QVariantList &arguments = {}) {
    return Predicate::fromFormat(format, arguments);
}

inline QVariantList keys(std::initializer_list<const char *> names) {
    QVariantList list;
    for (const char *name : names)
        list << QString::fromLatin1(name);
    return list;
}

inline Predicate comparison(const char *key, ComparisonOperator op, const QVariant &value) {
    return Predicate::comparison(Expression::keyPath(QString::fromLatin1(key)), op,
                                 Expression::constant(value));
}

// One object with a value of every kind; "missing" has none.
class PredicateTest : public ::testing::Test {
protected:
    PredicateTest() {
        sample.set(QStringLiteral("n"), 5)
            .set(QStringLiteral("big"), qint64(1) << 40)
            .set(QStringLiteral("r"), 1.5)
            .set(QStringLiteral("s"), QStringLiteral("Hello"))
            .set(QStringLiteral("accented"), QStringLiteral("Le Caf\u00E9 Noir"))
            .set(QStringLiteral("empty"), QString(""))
            .set(QStringLiteral("flag"), true)
            .set(QStringLiteral("off"), false)
            .set(QStringLiteral("d"), QVariant::fromValue(Date(100.0)))
            .set(QStringLiteral("data"), QByteArray("ab"))
            .set(QStringLiteral("tags"),
                 QStringList{QStringLiteral("Red"), QStringLiteral("green")})
            .set(QStringLiteral("star"), QStringLiteral("a*b"))
            .set(QStringLiteral("emoji"), QString::fromUcs4(U"a\U0001F600b"))
            .set(QStringLiteral("low"), 1)
            .set(QStringLiteral("high"), 9);
    }

    struct Case {
        const char *format;
        bool expected;
    };

    bool holds(const QString &format, const QVariantList &arguments = {}) {
        return parse(format, arguments).evaluate(&sample);
    }
    void check(std::initializer_list<Case> cases) {
        for (const Case &c : cases) {
            SCOPED_TRACE(c.format);
            EXPECT_EQ(holds(QString::fromUtf8(c.format)), c.expected);
        }
    }

    FakeObject sample;
};
