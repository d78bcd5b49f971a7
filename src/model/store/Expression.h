#pragma once

#include <QList>
#include <QString>
#include <QVariant>

// One side of a comparison in a predicate: a constant value, a key path
// evaluated on the object, a substitution variable ("$NAME") filled in before
// the predicate is used, or an aggregate ("{1, 2, 3}") of expressions.
class Expression {
public:
    enum class Kind { Constant, KeyPath, Variable, Aggregate, Self };

    Expression();  // the constant "no value" (nil)
    static Expression constant(const QVariant &value);
    static Expression keyPath(const QString &path);
    static Expression variable(const QString &name);
    static Expression aggregate(const QList<Expression> &elements);
    static Expression self();  // the evaluated object itself ("SELF")

    Kind kind() const { return m_kind; }
    const QVariant &constantValue() const { return m_value; }
    const QString &keyPath() const { return m_name; }
    const QString &variableName() const { return m_name; }
    const QList<Expression> &elements() const { return m_elements; }

    // Text that Predicate::fromFormat reads back: strings double-quoted with
    // backslash escapes, nil, YES/NO, numbers (reals keep a fraction or an
    // exponent), dates as "DATE(seconds since 2001)", key paths bare (with
    // "#" before a reserved first key), "$NAME", "{a, b}", SELF. See
    // Predicate::description for values that do not read back.
    QString description() const;
    // Same kind and the same contents. Constants are equal when both are nil,
    // both numbers of equal value (of any numeric types), or of one type and
    // equal by QVariant.
    bool operator==(const Expression &other) const;

private:
    Kind m_kind = Kind::Constant;
    QVariant m_value;
    QString m_name;
    QList<Expression> m_elements;
};
